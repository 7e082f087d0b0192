#include "ResultLists.h"
#include "results/ChartTheme.h"
#include "results/ResultsView.h"
#include "support/Slowness.h"
#include "support/Text.h"

#include <QtTest/QtTest>
#include <QtWidgets/QProxyStyle>
#include <QtWidgets/QScrollBar>

#include <algorithm>
#include <ctime>
#include <memory>

using namespace Desktop;

namespace
{

// As long as the test says, whatever the desktop wants.
class GlidingStyle : public QProxyStyle
{
public:
    explicit GlidingStyle(int duration) : m_duration(duration) { }

    int styleHint(StyleHint hint, const QStyleOption *option, const QWidget *widget,
                  QStyleHintReturn *data) const override
    {
        if (hint == SH_Widget_Animation_Duration)
            return m_duration;
        return QProxyStyle::styleHint(hint, option, widget, data);
    }

private:
    const int m_duration;
};

// How many pixels of the picture have the colour of this bar, on the line where they are the most.
int barLength(const QImage &picture, int bar, const ChartTheme &theme = ChartTheme::light())
{
    int longest = 0;
    for (int y = 0; y < picture.height(); ++y) {
        const auto *const line = reinterpret_cast<const QRgb *>(picture.constScanLine(y));
        const auto length = std::count(line, line + picture.width(), theme.bars.at(bar).rgb());
        longest = qMax(longest, static_cast<int>(length));
    }
    return longest;
}

double processorMs()
{
    return 1000.0 * static_cast<double>(std::clock()) / CLOCKS_PER_SEC;
}

} // namespace

class tst_ResultsView : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void barsAreAsLongAsTheirShares();
    void barsFollowTheAnswers();
    void barsGlideWhereAnimationIsWanted();
    void hiddenResultsLeaveNoBar();
    void theColoursAreTheWindows();
    void coloursStandOut();
    void whatDoesNotFitScrolls();
    void onlyWhatChangedIsPaintedAnew();
    void screenReadersGetSentences();
    void hostileAnswersAreDrawnInTime();
    void aHundredRowsArePaintedInTime();
    void tenThousandAnswersArePaintedInTime();

private:
    QImage grabbed()
    {
        return m_view->viewport()->grab().toImage().convertToFormat(QImage::Format_RGB32);
    }
    void addChoice(int number, int count, int respondents);
    double worstPaint();

    std::unique_ptr<QStandardItemModel> m_results;
    std::unique_ptr<QStandardItemModel> m_learners;
    std::unique_ptr<ChartSource> m_source;
    std::unique_ptr<QStyle> m_style;
    std::unique_ptr<ResultsView> m_view;
};

void tst_ResultsView::init()
{
    QLocale::setDefault(QLocale::c());
    m_view.reset();
    m_source.reset();
    m_results = std::make_unique<QStandardItemModel>();
    m_learners = std::make_unique<QStandardItemModel>();
    m_source = std::make_unique<ChartSource>(m_results.get(), m_learners.get());
    m_style = std::make_unique<GlidingStyle>(0);
    m_view = std::make_unique<ResultsView>(m_source.get());
    m_view->setStyle(m_style.get());
    m_view->setPalette(QPalette(Qt::lightGray, Qt::white));
    m_view->resize(1280, 720);
    m_view->show();
}

void tst_ResultsView::addChoice(int number, int count, int respondents)
{
    const QString id = QString(QChar('A' + number));
    addResult(m_results.get(), {u"q"_s, u"Is it?"_s, id, id + u" choice"_s, count, respondents});
}

void tst_ResultsView::barsAreAsLongAsTheirShares()
{
    addChoice(0, 30, 30);
    addChoice(1, 15, 30);
    addChoice(2, 0, 30);
    QTRY_VERIFY(barLength(grabbed(), 0) > 500);
    const int whole = barLength(grabbed(), 0);
    QVERIFY2(qAbs(barLength(grabbed(), 1) - whole / 2) <= 2, qPrintable(QString::number(whole)));
    QCOMPARE(barLength(grabbed(), 2), 0);
}

void tst_ResultsView::barsFollowTheAnswers()
{
    addChoice(0, 30, 30);
    addChoice(1, 0, 30);
    QTRY_VERIFY(barLength(grabbed(), 0) > 500);
    setResult(m_results->item(1), {u"q"_s, u"Is it?"_s, u"B"_s, u"B choice"_s, 30, 30});
    QTRY_VERIFY(qAbs(barLength(grabbed(), 1) - barLength(grabbed(), 0)) <= 1);
}

void tst_ResultsView::barsGlideWhereAnimationIsWanted()
{
    const auto style = std::make_unique<GlidingStyle>(1500);
    m_view->setStyle(style.get());
    addChoice(0, 30, 30);
    addChoice(1, 0, 30);
    QTRY_VERIFY(barLength(grabbed(), 0) > 500);
    const int whole = barLength(grabbed(), 0);
    setResult(m_results->item(1), {u"q"_s, u"Is it?"_s, u"B"_s, u"B choice"_s, 30, 30});
    int between = 0;
    QTRY_VERIFY([&] {
        const int length = barLength(grabbed(), 1);
        between += length > 0 && length < whole - 1 ? 1 : 0;
        return length >= whole - 1;
    }());
    QVERIFY(between > 0);
    m_view->setStyle(m_style.get());
}

void tst_ResultsView::hiddenResultsLeaveNoBar()
{
    addChoice(0, 30, 30);
    QTRY_VERIFY(barLength(grabbed(), 0) > 500);
    m_source->setHiddenUntilClosed(true);
    m_source->setRunning(true);
    QTRY_COMPARE(barLength(grabbed(), 0), 0);
    QCOMPARE(barLength(m_view->picture({1920, 1080}), 0), 0);
    m_source->setRunning(false);
    QVERIFY(barLength(m_view->picture({1920, 1080}), 0) > 500);
}

void tst_ResultsView::theColoursAreTheWindows()
{
    addChoice(0, 30, 30);
    m_view->setPalette(QPalette(Qt::darkGray, Qt::black));
    QTRY_VERIFY(barLength(grabbed(), 0, ChartTheme::dark()) > 500);
    QCOMPARE(grabbed().pixelColor(0, 0), ChartTheme::dark().ground);
    QCOMPARE(m_view->picture({1920, 1080}).pixelColor(0, 0), ChartTheme::dark().ground);
}

void tst_ResultsView::coloursStandOut()
{
    QVERIFY(qAbs(contrast(Qt::black, Qt::white) - 21) < 0.01);
    for (const ChartTheme &theme : {ChartTheme::light(), ChartTheme::dark()}) {
        QVERIFY(contrast(theme.text, theme.ground) >= 7);
        QVERIFY(contrast(theme.quietText, theme.ground) >= 4.5);
        for (const QColor &bar : theme.bars) {
            QVERIFY2(contrast(bar, theme.ground) >= 3, qPrintable(bar.name()));
            QVERIFY2(contrast(bar, theme.track) >= 3, qPrintable(bar.name()));
        }
    }
}

void tst_ResultsView::whatDoesNotFitScrolls()
{
    for (int number = 0; number < 12; ++number)
        addChoice(number, 1, 12);
    QTRY_COMPARE(m_view->verticalScrollBar()->maximum(), 0);
    for (int number = 12; number < 60; ++number)
        addChoice(number, number == 59 ? 60 : 0, 60);
    QTRY_VERIFY(m_view->verticalScrollBar()->maximum() > 300);
    QVERIFY(barLength(grabbed(), 5) < 300);
    QTest::keyClick(m_view.get(), Qt::Key_End);
    QTRY_VERIFY(barLength(grabbed(), 5) > 500);
}

void tst_ResultsView::onlyWhatChangedIsPaintedAnew()
{
    struct Watch : QObject {
        bool eventFilter(QObject *, QEvent *event) override
        {
            if (event->type() == QEvent::Paint)
                painted += static_cast<QPaintEvent *>(event)->region();
            return false;
        }
        QRegion painted;
    } watch;
    for (int number = 0; number < 4; ++number)
        addChoice(number, 10, 40);
    QTRY_VERIFY(barLength(grabbed(), 3) > 100);
    QCoreApplication::processEvents();
    m_view->viewport()->installEventFilter(&watch);
    setResult(m_results->item(3), {u"q"_s, u"Is it?"_s, u"D"_s, u"D choice"_s, 20, 40});
    QTRY_VERIFY(!watch.painted.isEmpty());
    QVERIFY(watch.painted.boundingRect().top() > m_view->height() / 2);
}

void tst_ResultsView::screenReadersGetSentences()
{
    QCOMPARE(m_view->accessibleName(), u"Results"_s);
    addChoice(0, 12, 30);
    QTRY_COMPARE(m_view->accessibleDescription(),
                 u"Is it?. 30 of 30 have answered. Names are shown. "
                 "A choice: 12 of 30, 40 percent"_s);
}

// The paint that took the most time of the processor, out of a few.
double tst_ResultsView::worstPaint()
{
    double worst = 0;
    QPixmap target(m_view->size());
    for (int time = 0; time < 10; ++time) {
        const double before = processorMs();
        m_view->viewport()->render(&target);
        if (time > 0) // the first one loads the fonts
            worst = qMax(worst, processorMs() - before);
    }
    return worst;
}

void tst_ResultsView::hostileAnswersAreDrawnInTime()
{
    const QString answers[] = {
        u"<b>bold</b>"_s + QString(9989, u'x'),
        QString(5000, u'\u202e') + QString(5000, u'\u0301'),
        QString(10000, u'\u05d0'),
        QString(10000, QChar(0)),
        QString(10000, u'\u200d'),
        u"\U0001F469\u200d\U0001F467"_s.repeated(2000),
        QString(10000, u'\u2067'),
        QString(10000, QChar(0xd83d)),
    };
    for (const QString &answer : answers) {
        addResult(m_results.get(), {u"q"_s, answer, answer, answer, 1, 8});
        addLearner(m_learners.get(), answer.left(64), answer);
    }
    QTRY_VERIFY(m_view->verticalScrollBar()->maximum() >= 0 && m_source->rowCount() == 8);
    QTRY_VERIFY(m_view->accessibleDescription().size() > 100);
    const double worst = worstPaint();
    qInfo("hostile answers: %.1f ms", worst);
    QVERIFY(worst < 100 * SLOWNESS);
}

void tst_ResultsView::aHundredRowsArePaintedInTime()
{
    m_view->resize(1920, 2160); // all of them on one page
    for (int number = 0; number < 100; ++number)
        addChoice(number, number, 100);
    QTest::qWait(100);
    const double worst = worstPaint();
    qInfo("100 rows: %.1f ms", worst);
    QVERIFY(worst < 16 * SLOWNESS);
}

void tst_ResultsView::tenThousandAnswersArePaintedInTime()
{
    for (int number = 0; number < 10000; ++number) {
        const QString answer = u"Answer number %1"_s.arg(number);
        addResult(m_results.get(), {u"q"_s, u"Why?"_s, answer, answer, 1, 10000});
    }
    QTRY_VERIFY(m_view->verticalScrollBar()->maximum() > 100000);
    const double worst = worstPaint();
    qInfo("10,000 answers: %.1f ms", worst);
    QVERIFY(worst < 16 * SLOWNESS);
}

QTEST_MAIN(tst_ResultsView)
#include "tst_resultsview.moc"
