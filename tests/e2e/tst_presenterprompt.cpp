#include "e2e/TerminalProcess.h"
#include "host/OutageProxy.h"
#include "support/Text.h"

// The console host at a terminal: what the teacher sees, and the ways out.
class tst_PresenterPrompt : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void promptShowsResultsInPlace();
    void aPauseStandsInThePromptAndTheHeading();
    void theRemotesPauseIsShownToo();
    void ctrlCClearsAHalfTypedLine();
    void leavingIsAskedOnce_data();
    void leavingIsAskedOnce();
    void quitIsAskedOnceWhileAPollRuns();
    void terminationIsNotAsked();
    void linesTypedAheadWaitAndAreCounted();
    void anImageThatDidNotLeaveIsKept();
    void passwordIsAskedAndNotShown();
    void givingUpEndsAtOnce();
};

namespace
{

const QString HOW_TO_LEAVE = u"Ctrl-C or Ctrl-D again, or quit, ends the session."_s;

} // namespace

void tst_PresenterPrompt::promptShowsResultsInPlace()
{
    Classroom classroom(words(u"--learners 2 --think 20"_s));
    TerminalProcess presenter;
    presenter.run(classroom, {});
    QVERIFY2(presenter.shows(u"+ Ben (phone), 2 learners now"_s), qPrintable(presenter.screen()));
    QVERIFY(presenter.shows(u"\n> "_s));
    presenter.type("poll true-falxe\x7f\x7fse\r");
    // Both have answered, so the block has its two bars, below the title and above the prompt.
    QVERIFY2(presenter.shows(u"Poll true-false: 2 of 2 answered"_s),
             qPrintable(presenter.screen()));
    QVERIFY(presenter.shows(u"> poll true-false"_s));
    const QString bar(17, QChar(0x2588));
    QVERIFY2(presenter.screen().contains(u"A TRUE   "_s + bar), qPrintable(presenter.screen()));
    // Before a new drawing, the three rows above the prompt are taken off.
    presenter.forget();
    presenter.type("x");
    QVERIFY2(presenter.shows(u"\r\x1b[3A\x1b[JPoll true-false: 2 of 2 answered"_s),
             qPrintable(presenter.screen()));
    QVERIFY(presenter.shows(u"\n> x\r\x1b[3C"_s));
    presenter.type("\x15nonsense\r");
    QVERIFY(presenter.shows(u"There is no command 'nonsense'; help lists them."_s));
    QVERIFY(!presenter.screen().contains(u"Session stopped."_s));
    presenter.type("stop\r\x04\x04");
    QVERIFY(presenter.shows(u"Session stopped."_s));
    QCOMPARE(presenter.ended(), 0);
    QVERIFY(classroom.get(u"sessions"_s).toArray().isEmpty());
}

void tst_PresenterPrompt::aPauseStandsInThePromptAndTheHeading()
{
    Classroom classroom(words(u"--learners 2 --think 20"_s));
    TerminalProcess presenter;
    presenter.run(classroom, {});
    QVERIFY(presenter.shows(u"2 learners now"_s));
    presenter.type("poll true-false\r");
    QVERIFY(presenter.shows(u"Poll true-false: 2 of 2 answered"_s));
    presenter.type("pause\r");
    QVERIFY(presenter.shows(u"Paused."_s));
    QVERIFY(presenter.shows(u"Poll true-false (paused): 2 of 2 answered"_s));
    QVERIFY(presenter.shows(u"\n(paused) > "_s));
    presenter.forget();
    presenter.type("stop\r");
    // The pause is lifted before, and so the next question finds nobody paused.
    QVERIFY(presenter.shows(u"Poll true-false: 2 of 2 answered"_s));
    QCOMPARE(classroom.received(u"resume"_s, 2).size(), 2);
    presenter.forget();
    presenter.type("resume\r");
    QVERIFY(presenter.shows(u"Resumed."_s));
    QVERIFY(!presenter.screen().contains(u"(paused)"_s));
    QCOMPARE(classroom.received(u"resume"_s, 4).size(), 4);
}

void tst_PresenterPrompt::theRemotesPauseIsShownToo()
{
    Classroom classroom(words(u"--learners 1"_s));
    TerminalProcess presenter;
    presenter.run(classroom, {});
    QVERIFY(presenter.shows(u"1 learner now"_s));
    presenter.type("poll text\r");
    QVERIFY(presenter.shows(u"Poll text: 0 of 1 answered"_s));
    classroom.post(u"remote"_s, {{u"command"_s, u"pause"_s}});
    QVERIFY(presenter.shows(u"* remote: pause"_s));
    QVERIFY(presenter.shows(u"(paused) > "_s));
    QVERIFY(presenter.shows(u"Poll text (paused): 0 of 1 answered"_s));
}

void tst_PresenterPrompt::ctrlCClearsAHalfTypedLine()
{
    Classroom classroom;
    TerminalProcess presenter;
    presenter.run(classroom, {});
    QVERIFY(presenter.shows(u"Type help for the commands, quit to leave."_s));
    presenter.type("quit nobody");
    QVERIFY(presenter.shows(u"> quit nobody"_s));
    presenter.forget();
    presenter.type("\x03");
    QVERIFY(presenter.shows(u"> "_s));
    presenter.type("learners\r");
    QVERIFY(presenter.shows(u"0 learners."_s));
    QVERIFY(!presenter.screen().contains(HOW_TO_LEAVE));
}

void tst_PresenterPrompt::leavingIsAskedOnce_data()
{
    QTest::addColumn<QByteArray>("first");
    QTest::addColumn<QByteArray>("second");
    QTest::newRow("Ctrl-C") << QByteArray("\x03") << QByteArray("\x03");
    QTest::newRow("Ctrl-D") << QByteArray("\x04") << QByteArray("\x04");
    QTest::newRow("Ctrl-D, Ctrl-C") << QByteArray("\x04") << QByteArray("\x03");
    QTest::newRow("Ctrl-C, quit") << QByteArray("\x03") << QByteArray("quit\r");
}

void tst_PresenterPrompt::leavingIsAskedOnce()
{
    QFETCH(QByteArray, first);
    QFETCH(QByteArray, second);
    Classroom classroom;
    TerminalProcess presenter;
    presenter.run(classroom, {});
    QVERIFY(presenter.shows(u"Type help for the commands, quit to leave."_s));
    presenter.type(first);
    QVERIFY(presenter.shows(HOW_TO_LEAVE));
    // Who goes on with something else is asked again.
    presenter.type("learners\r");
    QVERIFY(presenter.shows(u"0 learners."_s));
    presenter.forget();
    presenter.type(first);
    QVERIFY(presenter.shows(HOW_TO_LEAVE));
    QVERIFY(!presenter.screen().contains(u"Session stopped."_s));
    presenter.type(second);
    QVERIFY(presenter.shows(u"Session stopped."_s));
    QCOMPARE(presenter.ended(), 0);
}

void tst_PresenterPrompt::quitIsAskedOnceWhileAPollRuns()
{
    Classroom classroom;
    TerminalProcess presenter;
    presenter.run(classroom, {});
    QVERIFY(presenter.shows(u"Type help for the commands, quit to leave."_s));
    presenter.type("poll text\rquit\r");
    QVERIFY(presenter.shows(u"Something is running; quit again ends the session."_s));
    presenter.forget();
    presenter.type("quit\r");
    QVERIFY(presenter.shows(u"Poll text: 0 of 0 answered"_s));
    QVERIFY(presenter.shows(u"Session stopped."_s));
    QCOMPARE(presenter.ended(), 0);
}

void tst_PresenterPrompt::terminationIsNotAsked()
{
    Classroom classroom;
    TerminalProcess presenter;
    presenter.run(classroom, {});
    QVERIFY(presenter.shows(u"Type help for the commands, quit to leave."_s));
    presenter.type("half a line");
    QVERIFY(presenter.shows(u"> half a line"_s));
    ::kill(pid_t(presenter.processId()), SIGTERM);
    QVERIFY(presenter.shows(u"Session stopped."_s));
    QCOMPARE(presenter.ended(), 0);
}

void tst_PresenterPrompt::linesTypedAheadWaitAndAreCounted()
{
    Classroom classroom;
    TerminalProcess presenter;
    presenter.run(classroom, {});
    QVERIFY(presenter.shows(u"Type help for the commands, quit to leave."_s));
    presenter.type("wait 1500\rlearners\r");
    QVERIFY(presenter.shows(u"1 command waits\r\n"_s));
    presenter.type("fly\r");
    QVERIFY(presenter.shows(u"2 commands wait\r\n"_s));
    QVERIFY(!presenter.screen().contains(u"0 learners."_s));
    // A line that cannot be read is shown as the others are, in its turn.
    QVERIFY(presenter.shows(u"> learners\r\n"_s));
    QVERIFY(presenter.shows(u"> fly\r\n"_s));
    QVERIFY(presenter.shows(u"There is no command 'fly'"_s));
}

void tst_PresenterPrompt::anImageThatDidNotLeaveIsKept()
{
    Classroom classroom;
    OutageProxy proxy(quint16(QUrl(classroom.url()).port()));
    TerminalProcess presenter;
    presenter.runWith(words(u"--user teacher --server http://127.0.0.1:%1"_s.arg(proxy.port())));
    QVERIFY(presenter.shows(u"Type help for the commands"_s));
    proxy.setMode(OutageProxy::Restart);
    QVERIFY(presenter.shows(u"The connection to the classroom service broke off."_s));
    presenter.type("image " EXAMPLE_FOLDER "/slide.png\rcard\r");
    QVERIFY(presenter.shows(u"Showing the image failed: there is no connection"_s));
    proxy.setMode(OutageProxy::Pass);
    QVERIFY(presenter.shows(u"Connected again over websocket."_s));
    presenter.type("card\r");
    QVERIFY2(presenter.shows(u"Shown to nobody"_s), qPrintable(presenter.screen()));
    presenter.type("card\r");
    QVERIFY(presenter.shows(u"There is no image to show"_s));
}

void tst_PresenterPrompt::passwordIsAskedAndNotShown()
{
    Classroom classroom;
    TerminalProcess presenter;
    QProcessEnvironment environment = presenter.processEnvironment();
    environment.remove(u"TARVO_PASSWORD"_s);
    presenter.setProcessEnvironment(environment);
    presenter.run(classroom, {});
    QVERIFY(presenter.shows(u"Password for teacher: "_s));
    presenter.type("secret\r");
    QVERIFY(presenter.shows(u" is open over websocket."_s));
    QVERIFY(!presenter.screen().contains(u"secret"_s));
}

void tst_PresenterPrompt::givingUpEndsAtOnce()
{
    Classroom classroom;
    TerminalProcess presenter;
    presenter.run(classroom, {});
    QVERIFY(presenter.shows(u"Type help for the commands, quit to leave."_s));
    classroom.post(u"faults"_s, {{u"path"_s, u"/vantora/session/stop"_s}, {u"delayMs"_s, 60000}});
    presenter.type("quit\r");
    QVERIFY(presenter.shows(u"Stopping ..., Ctrl-C again to give up\r\n"_s));
    QElapsedTimer clock;
    clock.start();
    presenter.type("\x03");
    QCOMPARE(presenter.ended(), 1);
    QVERIFY2(clock.elapsed() < 2000, qPrintable(QString::number(clock.elapsed())));
    QVERIFY(presenter.shows(u"tarvo-presenter: The service did not confirm that the\r\n"
                            "session has stopped.\r\n"
                            "\rtarvo-presenter: It may still be open there; on this\r\n"
                            "computer the class has ended.\r\n"_s));
    QVERIFY(!presenter.screen().contains(u"Session stopped."_s));
}

QTEST_GUILESS_MAIN(tst_PresenterPrompt)
#include "tst_presenterprompt.moc"
