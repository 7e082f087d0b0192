#include "e2e/PresenterProcess.h"
#include "host/OutageProxy.h"
#include "support/Text.h"

#include "client/PresenterClient.h"

#include <QtCore/QRegularExpression>

// The console host in a class that does not go as planned: every ending, a service that is gone, and a
// connection that comes back.
class tst_PresenterTroubles : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void resultsArePrintedOnceAtEveryEnding_data();
    void resultsArePrintedOnceAtEveryEnding();
    void aClosedWindowDoesNotGiveUp();
    void resultsArePrintedOnceWhenGivingUp();
    void sessionThatIsOverElsewhereEndsTheProgram();
    void killedServiceDoesNotConfirmTheStop_data();
    void killedServiceDoesNotConfirmTheStop();
    void hangingServiceIsGivenUp();
    void lostConnectionComesBack();
    void scriptsGoOnAfterALostConnection();
    void signInThatIsOverIsRenewed();
};

namespace
{

const QString UNCONFIRMED =
    u"tarvo-presenter: The service did not confirm that the session has stopped.\n"
    "tarvo-presenter: It may still be open there; on this computer the class has ended.\n"_s;
const QString RESULTS =
    u"Poll true-false: 1 of 1 answered\n"
    "A TRUE   ##############################################################  1  100%\n"
    "B FALSE                                                                  0    0%\n"_s;

// A class behind a proxy that fails when it is told to.
struct Stage {
    Classroom classroom;
    OutageProxy proxy;
    PresenterProcess presenter;

    explicit Stage(const QStringList &options = {})
        : classroom(options), proxy(quint16(QUrl(classroom.url()).port()))
    {
    }

    void run(const QStringList &arguments = {})
    {
        presenter.runWith(QStringList{u"--server"_s, u"http://127.0.0.1:%1"_s.arg(proxy.port()),
                                      u"--user"_s, u"teacher"_s}
                          + arguments);
    }

    // Up to a poll that the only learner has answered.
    bool enterPoll()
    {
        presenter.write("await learners 1\npoll true-false\n");
        return presenter.says(u"\n  Ada: A\n"_s);
    }
};

} // namespace

// ---- Endings -------------------------------------------------------------------------------------

void tst_PresenterTroubles::resultsArePrintedOnceAtEveryEnding_data()
{
    QTest::addColumn<QByteArray>("input");
    QTest::addColumn<int>("number");
    QTest::addColumn<QString>("remote");
    QTest::addColumn<QStringList>("options");
    QTest::newRow("quit") << QByteArray("quit\n") << 0 << QString() << QStringList();
    QTest::newRow("end of input") << QByteArray("<end>") << 0 << QString() << QStringList();
    QTest::newRow("Ctrl-C") << QByteArray() << SIGINT << QString() << QStringList();
    QTest::newRow("SIGTERM") << QByteArray() << SIGTERM << QString() << QStringList();
    QTest::newRow("remote") << QByteArray() << 0 << u"stopSession"_s << QStringList();
    QTest::newRow("duration") << QByteArray() << 0 << QString() << words(u"--duration 8"_s);
}

void tst_PresenterTroubles::resultsArePrintedOnceAtEveryEnding()
{
    QFETCH(QByteArray, input);
    QFETCH(int, number);
    QFETCH(QString, remote);
    QFETCH(QStringList, options);
    Stage stage(words(u"--learners 1 --think 20"_s));
    stage.run(options);
    QVERIFY(stage.enterPoll());
    if (input == "<end>")
        stage.presenter.closeWriteChannel();
    else
        stage.presenter.write(input);
    if (number != 0)
        ::kill(pid_t(stage.presenter.processId()), number);
    if (!remote.isEmpty())
        stage.classroom.post(u"remote"_s, {{u"command"_s, remote}});
    QCOMPARE(stage.presenter.ended(), 0);
    QCOMPARE(stage.presenter.errors(), QString());
    const QString output = stage.presenter.output();
    QVERIFY2(output.endsWith(u"\n"_s + RESULTS + u"Session stopped.\n"_s), qPrintable(output));
    QCOMPARE(output.count(u"Poll true-false: "_s), 1);
    QVERIFY(stage.classroom.get(u"sessions"_s).toArray().isEmpty());
}

// The shell and the system both tell it.
void tst_PresenterTroubles::aClosedWindowDoesNotGiveUp()
{
    Stage stage;
    stage.run();
    QVERIFY(stage.presenter.says(u"is open"_s));
    ::kill(pid_t(stage.presenter.processId()), SIGHUP);
    ::kill(pid_t(stage.presenter.processId()), SIGTERM);
    QCOMPARE(stage.presenter.ended(), 0);
    QVERIFY(stage.classroom.get(u"sessions"_s).toArray().isEmpty());
}

void tst_PresenterTroubles::resultsArePrintedOnceWhenGivingUp()
{
    Stage stage(words(u"--learners 1 --think 20"_s));
    stage.run();
    QVERIFY(stage.enterPoll());
    ::kill(pid_t(stage.presenter.processId()), SIGTERM);
    ::kill(pid_t(stage.presenter.processId()), SIGINT);
    stage.presenter.ended();
    QCOMPARE(stage.presenter.output().count(RESULTS), 1);
}

void tst_PresenterTroubles::sessionThatIsOverElsewhereEndsTheProgram()
{
    Stage stage(words(u"--learners 1 --think 20"_s));
    stage.run();
    QVERIFY(stage.enterPoll());
    stage.proxy.setMode(OutageProxy::Restart);
    QVERIFY(stage.presenter.says(u"The connection to the classroom service broke off.\n"_s));
    const QJsonValue session = stage.classroom.get(u"sessions"_s).toArray().at(0);
    PresenterClient other(nullptr, stage.classroom.url());
    QVERIFY(other.doLogin(u"teacher"_s, u"secret"_s));
    other.doRequest(true, QUrl(stage.classroom.url() + u"/vantora/session/stop"_s),
                    u"{\"sessionToken\":\"%1\"}"_s.arg(session[u"token"_s].toString()), nullptr,
                    nullptr, false);
    stage.proxy.setMode(OutageProxy::Pass);
    QCOMPARE(stage.presenter.ended(), 1);
    QCOMPARE(stage.presenter.errors(),
             u"tarvo-presenter: The classroom service no longer knows this class.\n"
             "tarvo-presenter: Start a new class.\n"_s);
    QVERIFY2(stage.presenter.output().endsWith(RESULTS), qPrintable(stage.presenter.output()));
}

void tst_PresenterTroubles::killedServiceDoesNotConfirmTheStop_data()
{
    QTest::addColumn<bool>("noticed");
    QTest::newRow("at once") << false;
    QTest::newRow("while coming back") << true;
}

void tst_PresenterTroubles::killedServiceDoesNotConfirmTheStop()
{
    QFETCH(bool, noticed);
    Stage stage(words(u"--learners 1 --think 20"_s));
    stage.run();
    QVERIFY(stage.enterPoll());
    stage.proxy.setMode(OutageProxy::Restart);
    if (noticed)
        QVERIFY(stage.presenter.says(u"Coming back, attempt 2 in "_s));
    stage.presenter.write("quit\n");
    QCOMPARE(stage.presenter.ended(), 1);
    QCOMPARE(stage.presenter.errors(), UNCONFIRMED);
    QVERIFY(stage.presenter.output().contains(RESULTS));
    QVERIFY(!stage.presenter.output().contains(u"Session stopped."_s));
}

void tst_PresenterTroubles::hangingServiceIsGivenUp()
{
    Stage stage;
    stage.run();
    QVERIFY(stage.presenter.says(u"is open"_s));
    stage.proxy.setMode(OutageProxy::Mute);
    stage.presenter.write("quit\n");
    QVERIFY(stage.presenter.says(u"Stopping ..., Ctrl-C again to give up\n"_s));
    QElapsedTimer clock;
    clock.start();
    ::kill(pid_t(stage.presenter.processId()), SIGINT);
    QCOMPARE(stage.presenter.ended(), 1);
    QVERIFY2(clock.elapsed() < 2000, qPrintable(QString::number(clock.elapsed())));
    QCOMPARE(stage.presenter.errors(), UNCONFIRMED);
}

// ---- The connection ------------------------------------------------------------------------------

void tst_PresenterTroubles::lostConnectionComesBack()
{
    Stage stage(words(u"--learners 1 --think 20"_s));
    stage.run();
    QVERIFY(stage.enterPoll());
    stage.proxy.setMode(OutageProxy::Restart);
    QVERIFY(stage.presenter.says(u"The connection to the classroom service broke off.\n"
                                 "Coming back, attempt 1 in 1 s ...\n"_s));
    QVERIFY(stage.presenter.says(u"The classroom service takes no connections.\n"
                                 "Coming back, attempt 2 in "_s));
    stage.presenter.write("pause\n"); // is made up for
    QVERIFY(stage.presenter.says(u"Paused.\n"_s));
    stage.proxy.setMode(OutageProxy::Pass);
    QVERIFY(stage.presenter.says(u"Connected again over websocket.\n"_s));
    QCOMPARE(stage.classroom.received(u"pause"_s).size(), 1);
    stage.presenter.write("stop\nquit\n");
    QCOMPARE(stage.presenter.ended(), 0);
    QCOMPARE(stage.presenter.errors(), QString());
    QVERIFY(stage.presenter.output().endsWith(u"\n> stop\n"_s + RESULTS
                                              + u"> quit\nSession stopped.\n"_s));
}

void tst_PresenterTroubles::scriptsGoOnAfterALostConnection()
{
    Stage stage(words(u"--learners 1 --think 20"_s));
    stage.run();
    QVERIFY(stage.presenter.says(u"1 learner now"_s));
    stage.proxy.setMode(OutageProxy::Restart);
    QVERIFY(stage.presenter.says(u"Coming back"_s));
    stage.presenter.write("poll true-false\nawait responses all\nstop\nquit\n");
    QVERIFY(stage.presenter.says(u"> poll true-false\n"_s));
    stage.proxy.setMode(OutageProxy::Pass);
    QCOMPARE(stage.presenter.ended(), 0);
    QCOMPARE(stage.presenter.errors(), QString());
    QVERIFY2(stage.presenter.output().contains(u"\n> stop\n"_s + RESULTS),
             qPrintable(stage.presenter.output()));
}

void tst_PresenterTroubles::signInThatIsOverIsRenewed()
{
    Stage stage;
    stage.run();
    QVERIFY(stage.presenter.says(u"is open"_s));
    stage.proxy.setMode(OutageProxy::Restart);
    QVERIFY(stage.presenter.says(u"Coming back"_s));
    stage.classroom.remove(u"sign-ins"_s);
    stage.proxy.setMode(OutageProxy::Pass);
    QVERIFY(stage.presenter.says(u"Connected again over websocket.\n"_s));
    stage.presenter.write("quit\n");
    QCOMPARE(stage.presenter.ended(), 0);
}

QTEST_GUILESS_MAIN(tst_PresenterTroubles)
#include "tst_presentertroubles.moc"
