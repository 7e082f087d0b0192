#include "WindowStage.h"
#include "window/ConnectionBanner.h"
#include "window/FailureBar.h"

#include <QtCore/QRegularExpression>

using namespace Desktop;
using Tarvo::Failure;
using Tarvo::LiveClass;

// What the window says and offers when something goes wrong.
class tst_WindowTroubles : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void lostConnectionIsCountedDown();
    void nowDoesNotWaitForTheCountDown();
    void signInIsAskedForInPlace();
    void endOfTheClassIsTold();
    void failuresComeToTheBarAndTakeNoFocus();
    void sameFailureIsCounted();
    void latestFailureIsDismissedFirst();
    void noMoreThanTwentyFailuresAreKept();
};

namespace
{

// So that there is something to be seen of a pause.
constexpr int LONG_PAUSE_MS = 3000;

qint64 pauseOf(const LiveClass &host)
{
    return host.nextAttemptAt().isValid()
        ? QDateTime::currentDateTime().msecsTo(host.nextAttemptAt())
        : 0;
}

} // namespace

void tst_WindowTroubles::lostConnectionIsCountedDown()
{
    WindowStage stage;
    QVERIFY(stage.startHere());
    const QString code = stage.text(u"sessionCode"_s);
    QVERIFY(!stage.find<QLabel>(u"bannerReason"_s)->isVisible());
    stage.proxy.setMode(OutageProxy::Restart);
    QVERIFY(stage.is(LiveClass::Reconnecting));
    QTRY_VERIFY(stage.find<QLabel>(u"bannerReason"_s)->isVisible());
    QTRY_COMPARE(stage.text(u"bannerReason"_s), u"The classroom service takes no connections."_s);
    QTRY_VERIFY_WITH_TIMEOUT(pauseOf(*stage.host) > 1000, ClassStage::LIMIT_MS);
    static const QRegularExpression words(u"^Trying again in (\\d+) s, attempt (\\d+)\\.$"_s);
    QTRY_VERIFY(words.match(stage.text(u"bannerNext"_s)).hasMatch());
    const int seconds = words.match(stage.text(u"bannerNext"_s)).captured(1).toInt();
    QVERIFY2(seconds >= 1 && seconds <= 45, qPrintable(stage.text(u"bannerNext"_s)));
    QCOMPARE(stage.text(u"sessionCode"_s), code);

    stage.proxy.setMode(OutageProxy::Pass);
    QVERIFY(stage.is(LiveClass::Live));
    QTRY_VERIFY(!stage.find<QLabel>(u"bannerReason"_s)->isVisible());
}

void tst_WindowTroubles::nowDoesNotWaitForTheCountDown()
{
    WindowStage stage;
    QVERIFY(stage.startHere());
    stage.proxy.setMode(OutageProxy::Restart);
    QTRY_VERIFY_WITH_TIMEOUT(pauseOf(*stage.host) > LONG_PAUSE_MS, ClassStage::LIMIT_MS);
    const QDateTime planned = stage.host->nextAttemptAt();
    const int attempt = stage.host->attempt();
    QTRY_VERIFY(stage.button(u"bannerNow"_s)->isEnabled());
    stage.click(u"bannerNow"_s);
    QTRY_VERIFY(stage.host->attempt() > attempt);
    QVERIFY(QDateTime::currentDateTime() < planned);
}

void tst_WindowTroubles::signInIsAskedForInPlace()
{
    WindowStage stage;
    QVERIFY(stage.startHere());
    const QString code = stage.text(u"sessionCode"_s);
    stage.loseSignIn();
    QVERIFY(stage.is(LiveClass::SignInNeeded));
    QTRY_VERIFY(stage.field(u"bannerPassword"_s)->isVisible());
    QCOMPARE(stage.text(u"bannerReason"_s), u"You are no longer signed in."_s);
    QVERIFY(!stage.find<QLabel>(u"failureMessage"_s)->isVisible()); // it is said once
    QCOMPARE(stage.text(u"sessionCode"_s), code);

    QTest::keyClicks(stage.field(u"bannerPassword"_s), u"guessed"_s);
    QTest::keyClick(stage.field(u"bannerPassword"_s), Qt::Key_Return);
    QTRY_COMPARE(stage.text(u"bannerReason"_s),
                 u"The classroom service does not accept what was entered."_s);
    QTRY_VERIFY(stage.field(u"bannerPassword"_s)->isEnabled());
    QCOMPARE(stage.field(u"bannerPassword"_s)->text(), QString());
    QTest::keyClicks(stage.field(u"bannerPassword"_s), u"secret"_s);
    stage.click(u"bannerSignIn"_s);
    QVERIFY(stage.is(LiveClass::Live));
    QCOMPARE(stage.text(u"sessionCode"_s), code);
    QTRY_VERIFY(!stage.field(u"bannerPassword"_s)->isVisible());
}

void tst_WindowTroubles::endOfTheClassIsTold()
{
    WindowStage stage({u"--remote"_s, u"--remote-commands"_s, u"stopSession"_s});
    QVERIFY(stage.signInHere());
    stage.click(u"startButton"_s);
    QVERIFY(stage.is(LiveClass::Ended));
    QTRY_VERIFY(stage.find<QLabel>(u"bannerReason"_s)->isVisible());
    QCOMPARE(stage.text(u"bannerReason"_s), u"The class was stopped from the remote control."_s);
    QCOMPARE(stage.text(u"bannerNext"_s), u"Start a new class to go on."_s);
    QVERIFY(stage.button(u"startButton"_s)->isVisible());
}

void tst_WindowTroubles::failuresComeToTheBarAndTakeNoFocus()
{
    WindowStage stage;
    stage.field(u"user"_s)->setFocus();
    stage.host->pause();
    QTRY_VERIFY(stage.find<QLabel>(u"failureMessage"_s)->isVisible());
    QCOMPARE(stage.text(u"failureMessage"_s),
             u"Pausing the devices failed: this is not possible at the moment."_s);
    QCOMPARE(stage.text(u"failureAdvice"_s),
             u"Check that you are signed in and the class is running."_s);
    QVERIFY(stage.window->focusWidget() == stage.field(u"user"_s));
    stage.host->pause();
    QTRY_COMPARE(stage.text(u"failureMessage"_s),
                 u"Pausing the devices failed: this is not possible at the moment. (2 times)"_s);
    QTest::keyClick(stage.window.get(), Qt::Key_Escape);
    QTRY_VERIFY(!stage.find<QLabel>(u"failureMessage"_s)->isVisible());
}

void tst_WindowTroubles::sameFailureIsCounted()
{
    FailureBar bar;
    bar.add(u"A failed."_s, u"Do a."_s);
    bar.add(u"B failed."_s, u"Do b."_s);
    bar.add(u"A failed."_s, u"Do a."_s);
    bar.add(u"A failed."_s, u"Do a."_s);
    const auto *const message = bar.findChild<QLabel *>(u"failureMessage"_s);
    QCOMPARE(message->text(), u"A failed. (3 times)"_s);
    QCOMPARE(message->textFormat(), Qt::PlainText);
    QCOMPARE(bar.findChild<QPushButton *>(u"failureDismiss"_s)->text(), u"Dismiss (1 more)"_s);
}

void tst_WindowTroubles::latestFailureIsDismissedFirst()
{
    FailureBar bar;
    bar.add(u"A failed."_s, u"Do a."_s);
    bar.add(u"B failed."_s, u"Do b."_s);
    bar.dismiss();
    QCOMPARE(bar.findChild<QLabel *>(u"failureMessage"_s)->text(), u"A failed."_s);
    QCOMPARE(bar.findChild<QLabel *>(u"failureAdvice"_s)->text(), u"Do a."_s);
    QVERIFY(!bar.isHidden());
    bar.dismiss();
    QVERIFY(bar.isHidden());
}

void tst_WindowTroubles::noMoreThanTwentyFailuresAreKept()
{
    FailureBar bar;
    for (int i = 0; i < 50; ++i)
        bar.add(u"Number %1 failed."_s.arg(i), u"Count."_s);
    QCOMPARE(bar.findChild<QPushButton *>(u"failureDismiss"_s)->text(), u"Dismiss (19 more)"_s);
}

QTEST_MAIN(tst_WindowTroubles)

#include "tst_windowtroubles.moc"
