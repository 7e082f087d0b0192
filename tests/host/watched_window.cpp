// The README's window, with a test that looks at it and clicks as a teacher does.
//
//   watched_window URL USER PASSWORD FUNCTION      FUNCTION of the test below

#include "support/Text.h"

#include "host/LiveClass.h"

#include <QtCore/QAbstractItemModel>
#include <QtTest/QtTest>
#include <QtWidgets/QApplication>
#include <QtWidgets/QLabel>
#include <QtWidgets/QListView>
#include <QtWidgets/QPushButton>

int readmeMain(int argc, char *argv[]);

namespace
{

constexpr int LONG_MS = 60000;

} // namespace

class WatchedWindow : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void classIsShown();
    void failureIsToldInWords();

private:
    QPushButton *button(const QString &text) const;
    QList<int> counts() const;
    // How many pixels of the row's middle line have the bars' colour.
    int barLength(int row) const;

    QWidget *m_window = nullptr;
    QLabel *m_code = nullptr;
    QLabel *m_trouble = nullptr;
    QListView *m_learners = nullptr;
    QListView *m_results = nullptr;
};

void WatchedWindow::initTestCase()
{
    QCOMPARE(QApplication::topLevelWidgets().size(), 1);
    m_window = QApplication::topLevelWidgets().at(0);
    m_window->showNormal();
    m_window->resize(1280, 800);
    const auto labels = m_window->findChildren<QLabel *>(QString(), Qt::FindDirectChildrenOnly);
    const auto lists = m_window->findChildren<QListView *>();
    QCOMPARE(labels.size(), 2);
    QCOMPARE(lists.size(), 2);
    m_code = labels.at(0);
    m_trouble = labels.at(1);
    m_learners = lists.at(0);
    m_results = lists.at(1);
}

QPushButton *WatchedWindow::button(const QString &text) const
{
    const auto buttons = m_window->findChildren<QPushButton *>();
    for (QPushButton *button : buttons) {
        if (button->text() == text)
            return button;
    }
    return nullptr;
}

QList<int> WatchedWindow::counts() const
{
    QList<int> counts;
    const QAbstractItemModel *results = m_results->model();
    for (int row = 0; row < results->rowCount(); ++row)
        counts.append(results->index(row, 0).data(Tarvo::LiveClass::CountRole).toInt());
    return counts;
}

int WatchedWindow::barLength(int row) const
{
    const QRect cell = m_results->visualRect(m_results->model()->index(row, 0));
    const QImage image = m_results->viewport()->grab().toImage();
    const QRgb color = m_results->palette().highlight().color().rgb();
    int length = 0;
    for (int x = cell.left(); x <= cell.right(); ++x)
        length += image.pixel(x, cell.center().y()) == color ? 1 : 0;
    return length;
}

// Of five learners, three say yes and two say no.
void WatchedWindow::classIsShown()
{
    QTRY_COMPARE_WITH_TIMEOUT(m_learners->model()->rowCount(), 5, LONG_MS);
    QCOMPARE(m_learners->model()->index(0, 0).data().toString(), u"Ada"_s);
    QCOMPARE(m_code->text().size(), 6);
    QVERIFY2(m_code->fontMetrics().capHeight() > m_window->height() / 8,
             qPrintable(QString::number(m_code->fontMetrics().capHeight())));
    QCOMPARE(m_results->model()->rowCount(), 0);

    QTest::mouseClick(button(u"Yes or no?"_s), Qt::LeftButton);
    QTRY_COMPARE_WITH_TIMEOUT(counts(), (QList<int>{3, 2}), LONG_MS);
    const int whole = m_results->viewport()->width() * 5 / 8;
    QVERIFY2(qAbs(barLength(0) - whole * 3 / 5) < 30, qPrintable(QString::number(barLength(0))));
    QVERIFY2(qAbs(barLength(1) - whole * 2 / 5) < 30, qPrintable(QString::number(barLength(1))));
    QVERIFY(m_window->grab().save(u"readme-window.png"_s));
    QTest::mouseClick(button(u"Stop"_s), Qt::LeftButton);
    QCOMPARE(m_trouble->text(), QString());
}

void WatchedWindow::failureIsToldInWords()
{
    QTRY_VERIFY_WITH_TIMEOUT(m_trouble->text().size() > 10, LONG_MS);
    QCOMPARE(m_code->text(), QString());
}

int main(int argc, char *argv[])
{
    WatchedWindow watched;
    int failures = -1;
    const QStringList arguments{u"watched_window"_s, QString::fromLocal8Bit(argv[4])};
    const auto watch = [&] {
        failures = QTest::qExec(&watched, arguments);
        QApplication::closeAllWindows();
    };
    QMetaObject::invokeMethod(&watched, watch, Qt::QueuedConnection); // when the window's loop runs
    const int code = readmeMain(argc, argv);
    return code != 0 ? code : failures;
}

#include "watched_window.moc"
