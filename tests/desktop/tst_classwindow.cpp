#include "Letters.h"
#include "WindowStage.h"
#include "window/LearnerRows.h"
#include "window/QrCodeView.h"
#include "window/Theme.h"

#include "model/PollType.h"

#include <QtGui/QAccessible>
#include <QtGui/QClipboard>
#include <QtWidgets/QDockWidget>

#include <memory>
#include <qrencode.h>

using namespace Desktop;
using Tarvo::LiveClass;

Q_DECLARE_METATYPE(Desktop::Theme::Mode)

// The class in the window: how to join it, who is there, and how it is stopped.
class tst_ClassWindow : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void codeAndAddressAreShown();
    void qrCodeIsThatOfTheAddress_data();
    void qrCodeIsThatOfTheAddress();
    void codeFillsAScreenOnF11();
    void learnersAndAnswersAreCounted();
    void namesCanBeHidden();
    void learnerIsRemovedAfterAQuestion();
    void stoppingIsAskedBack();
    void closingIsAskedBackWhileTheClassRuns();
    void answersHaveMostOfTheMiddleAndTheCodeStays();
    void lettersWithAltLeadToOnePlaceOnly();
    void everythingHasAName();
};

namespace
{

const QStringList THREE_LEARNERS{u"--learners"_s, u"3"_s, u"--think"_s, u"1"_s};

QStringList spoken(const QListView *list)
{
    QStringList lines;
    for (int row = 0; row < list->model()->rowCount(); ++row)
        lines.append(list->model()->index(row, 0).data(Qt::AccessibleTextRole).toString());
    return lines;
}

// What can be seen or reached and has no name, as the path of its ancestors.
QStringList nameless(QAccessibleInterface *object, const QString &path)
{
    QStringList found;
    const QAccessible::State state = object->state();
    const QString name = object->text(QAccessible::Name);
    const bool isWidget = object->object() && object->object()->isWidgetType();
    const bool isReached = state.focusable || object->role() == QAccessible::Button;
    if (isWidget && !state.invisible && isReached && name.isEmpty())
        found.append(path);
    for (int i = 0; i < object->childCount(); ++i) {
        QAccessibleInterface *const child = object->child(i);
        if (!child || child->state().invisible)
            continue;
        const QString kind = child->object()
            ? QString::fromLatin1(child->object()->metaObject()->className())
            : QString::number(child->role());
        found += nameless(child, path + u" / "_s + kind + u' ' + child->text(QAccessible::Name));
    }
    return found;
}

QString namelessIn(const WindowStage &stage)
{
    auto *const window = QAccessible::queryAccessibleInterface(stage.window.get());
    return nameless(window, QString()).join(u'\n');
}

} // namespace

void tst_ClassWindow::codeAndAddressAreShown()
{
    WindowStage stage;
    QVERIFY(stage.startHere());
    const QString code = stage.host->sessionCode();
    QCOMPARE(code.size(), 6);
    const QString shown = stage.text(u"sessionCode"_s);
    QCOMPARE(shown, code.left(3) + QChar(0xa0) + code.mid(3));
    QString spelt = u"Class code"_s;
    for (const QChar digit : code)
        spelt += u' ' + QString(digit);
    QCOMPARE(stage.find<QLabel>(u"sessionCode"_s)->accessibleName(), spelt);
    QCOMPARE(stage.text(u"joinAddress"_s), stage.proxy.url() + u"/join/"_s + code);
    // To be read from the last row.
    QVERIFY(stage.find<QLabel>(u"sessionCode"_s)->fontMetrics().capHeight()
            > stage.window->height() / 16);
    QTest::keyClick(stage.window.get(), Qt::Key_C, Qt::ControlModifier | Qt::ShiftModifier);
    QCOMPARE(QGuiApplication::clipboard()->text(), stage.proxy.url() + u"/join/"_s + code);
}

void tst_ClassWindow::qrCodeIsThatOfTheAddress_data()
{
    QTest::addColumn<Theme::Mode>("mode");
    QTest::newRow("light") << Theme::Light;
    QTest::newRow("dark") << Theme::Dark;
}

void tst_ClassWindow::qrCodeIsThatOfTheAddress()
{
    QFETCH(Theme::Mode, mode);
    Theme::apply(mode);
    const QByteArray address("https://classroom.example/join/123456");
    const std::unique_ptr<QRcode, decltype(&QRcode_free)> code(
        QRcode_encodeString8bit(address.constData(), 0, QR_ECLEVEL_M), &QRcode_free);
    QrCodeView view;
    view.setText(QString::fromLatin1(address));
    QCOMPARE(view.modules(), code->width);
    QCOMPARE(view.accessibleName(),
             u"QR code of the address https://classroom.example/join/123456"_s);

    const int across = code->width + 2 * QrCodeView::QUIET_ZONE;
    const int module = 5;
    view.resize(across * module + 3, across * module + 40); // more than it needs, and no square
    const QImage image = view.grab().toImage();
    for (int y = 0; y < across; ++y) {
        for (int x = 0; x < across; ++x) {
            const int row = y - QrCodeView::QUIET_ZONE;
            const int column = x - QrCodeView::QUIET_ZONE;
            const bool isInside = qMin(row, column) >= 0 && qMax(row, column) < code->width;
            const bool isDark = isInside && (code->data[row * code->width + column] & 1);
            for (const int corner : {0, module - 1}) { // no module is blurred or a pixel short
                const QRgb pixel = image.pixel(1 + x * module + corner, 20 + y * module + corner);
                QCOMPARE(QColor(pixel), QColor(isDark ? Qt::black : Qt::white));
            }
        }
    }
    Theme::apply(Theme::System);
}

void tst_ClassWindow::codeFillsAScreenOnF11()
{
    WindowStage stage;
    QVERIFY(!stage.action(u"projector"_s)->isEnabled());
    QVERIFY(stage.startHere());
    QTest::keyClick(stage.window.get(), Qt::Key_F11);
    QWidget *const screen = stage.find<QWidget>(u"projectorView"_s);
    QTRY_VERIFY(screen->isVisible());
    QVERIFY(screen->isFullScreen());
    const auto *const code = screen->findChild<QLabel *>(u"sessionCode"_s);
    QCOMPARE(code->text(), stage.text(u"sessionCode"_s));
    QTest::keyClick(screen, Qt::Key_Escape);
    QVERIFY(!screen->isVisible());
}

void tst_ClassWindow::learnersAndAnswersAreCounted()
{
    WindowStage stage(THREE_LEARNERS);
    QVERIFY(stage.startHere());
    QTRY_COMPARE(stage.text(u"learnerCount"_s), u"3 learners are here"_s);
    const auto *const list = stage.find<QListView>(u"learners"_s);
    QCOMPARE(spoken(list), (QStringList{u"Ada, is here"_s, u"Ben, is here"_s, u"Cleo, is here"_s}));
    QVERIFY(ClassStage::succeeds(stage.host->ask(u"Why?"_s, Tarvo::PollType::TEXT)));
    QTRY_COMPARE(stage.text(u"learnerCount"_s), u"3 of 3 have answered"_s);
    QCOMPARE(
        spoken(list),
        (QStringList{u"Ada, has answered"_s, u"Ben, has answered"_s, u"Cleo, has answered"_s}));
    QVERIFY(ClassStage::succeeds(stage.host->stopActivity()));
    QVERIFY(ClassStage::succeeds(stage.host->stop()));
    QTRY_COMPARE(stage.text(u"learnerCount"_s), u"Nobody is here"_s);
}

void tst_ClassWindow::namesCanBeHidden()
{
    WindowStage stage(THREE_LEARNERS);
    QVERIFY(stage.startHere());
    const auto *const list = stage.find<QListView>(u"learners"_s);
    QTRY_COMPARE(list->model()->rowCount(), 3);
    QCOMPARE(list->model()->index(1, 0).data(Qt::ToolTipRole).toString(),
             u"<p dir=\"auto\">Ben</p>"_s);
    stage.action(u"hideNames"_s)->trigger();
    QCOMPARE(spoken(list).at(1), u"Learner 2, is here"_s);
    QCOMPARE(list->model()->index(1, 0).data().toString(), u"Learner 2"_s);
    QCOMPARE(list->model()->index(1, 0).data(Qt::ToolTipRole).toString(),
             u"<p dir=\"auto\">Learner 2</p>"_s);
    stage.action(u"hideNames"_s)->trigger();
    QCOMPARE(list->model()->index(1, 0).data().toString(), u"Ben"_s);
}

void tst_ClassWindow::learnerIsRemovedAfterAQuestion()
{
    WindowStage stage(THREE_LEARNERS);
    QVERIFY(stage.startHere());
    auto *const list = stage.find<QListView>(u"learners"_s);
    QTRY_COMPARE(list->model()->rowCount(), 3);
    QVERIFY(!stage.action(u"removeLearner"_s)->isEnabled());
    const QPoint ben = list->visualRect(list->model()->index(1, 0)).center();
    QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, ben);
    QTest::keyClick(list, Qt::Key_Delete);
    QVERIFY(stage.question());
    QCOMPARE(stage.question()->text(), u"Remove Ben from the class?"_s);
    QTest::keyClick(stage.question(), Qt::Key_Return); // nothing is done in passing
    QTRY_VERIFY(!stage.question());

    stage.click(u"removeLearnerButton"_s);
    QVERIFY(stage.answer(u"Remove"_s));
    QTRY_COMPARE(spoken(list), (QStringList{u"Ada, is here"_s, u"Cleo, is here"_s}));
}

void tst_ClassWindow::stoppingIsAskedBack()
{
    WindowStage stage;
    QVERIFY(stage.startHere());
    stage.click(u"stopButton"_s);
    QVERIFY(stage.answer(u"Cancel"_s));
    QCOMPARE(stage.host->state(), LiveClass::Live);
    stage.click(u"stopButton"_s);
    QVERIFY(stage.answer(u"Stop the class"_s));
    QVERIFY(stage.is(LiveClass::Ended));
    QCOMPARE(stage.text(u"classStatus"_s), u"The class is over. You can start another."_s);
    QCOMPARE(stage.text(u"sessionCode"_s), u"No class is running"_s);
    QVERIFY(stage.hasNoSession());
}

void tst_ClassWindow::closingIsAskedBackWhileTheClassRuns()
{
    WindowStage stage;
    QVERIFY(stage.startHere());
    QVERIFY(!stage.window->close());
    QVERIFY(stage.answer(u"Cancel"_s));
    QVERIFY(stage.window->isVisible());
    QVERIFY(!stage.window->close());
    QVERIFY(stage.answer(u"Stop and quit"_s));
    QTRY_VERIFY(!stage.window->isVisible());
}

void tst_ClassWindow::answersHaveMostOfTheMiddleAndTheCodeStays()
{
    WindowStage stage(THREE_LEARNERS);
    stage.window->resize(1024, 700);
    QVERIFY(stage.startHere());
    const auto *const results = stage.find<QWidget>(u"resultsPanel"_s);
    const auto *const code = stage.find<QLabel>(u"sessionCode"_s);
    QVERIFY(!results->isVisible());
    QVERIFY(ClassStage::succeeds(stage.host->ask(u"Why?"_s, Tarvo::PollType::TEXT)));
    QTRY_VERIFY(results->isVisible());
    QTRY_VERIFY(results->width() > 600);
    QTRY_VERIFY(results->height() > 350);
    QVERIFY(code->isVisible());
    QVERIFY(code->fontMetrics().height() >= 40);
}

void tst_ClassWindow::lettersWithAltLeadToOnePlaceOnly()
{
    WindowStage stage(THREE_LEARNERS);
    QCOMPARE(lettersTwiceIn(*stage.window), QString());
    QVERIFY(stage.startHere());
    QVERIFY(ClassStage::succeeds(stage.host->ask(u"Why?"_s, Tarvo::PollType::TEXT)));
    QTRY_VERIFY(stage.find<QWidget>(u"resultsPanel"_s)->isVisible());
    const auto docks = stage.window->findChildren<QDockWidget *>();
    for (QDockWidget *const dock : docks) {
        dock->raise();
        QTRY_VERIFY(!dock->widget()->visibleRegion().isEmpty());
        QCOMPARE(lettersTwiceIn(*stage.window), QString());
    }
    stage.loseSignIn();
    QTRY_VERIFY(stage.field(u"bannerPassword"_s)->isVisible());
    QCOMPARE(lettersTwiceIn(*stage.window), QString());
}

void tst_ClassWindow::everythingHasAName()
{
    WindowStage stage(THREE_LEARNERS);
    QCOMPARE(namelessIn(stage), QString());
    QVERIFY(stage.startHere());
    QTRY_COMPARE(stage.text(u"learnerCount"_s), u"3 learners are here"_s);
    QCOMPARE(namelessIn(stage), QString());
}

QTEST_MAIN(tst_ClassWindow)

#include "tst_classwindow.moc"
