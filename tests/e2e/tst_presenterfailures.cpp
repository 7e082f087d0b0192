#include "e2e/PresenterProcess.h"
#include "support/Text.h"

#include <QtCore/QTemporaryDir>
#include <QtNetwork/QTcpServer>

// What the console host says when something does not work, and how it ends.
class tst_PresenterFailures : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void helpIsNoFailure();
    void wrongCommandLineIsRefused();
    void wrongScriptIsRefusedBeforeAnythingIsSent();
    void fileWithoutCertificatesIsRefused();
    void wrongPasswordIsExplained();
    void silenceIsExplained();
    void unknownRootIsExplainedAndCured();
    void refusedSessionIsExplained_data();
    void refusedSessionIsExplained();
    void channelThatDoesNotOpenIsExplained_data();
    void channelThatDoesNotOpenIsExplained();
    void lostConnectionIsExplained_data();
    void lostConnectionIsExplained();
    void failedCommandEndsAScript_data();
    void failedCommandEndsAScript();
    void interruptWhileAWebSocketHangsEndsTheWait_data();
    void interruptWhileAWebSocketHangsEndsTheWait();
};

namespace
{

QStringList wordsFor(const QString &server)
{
    return {u"--server"_s, server, u"--user"_s, u"teacher"_s};
}

} // namespace

void tst_PresenterFailures::helpIsNoFailure()
{
    PresenterProcess presenter;
    presenter.runWith({u"--help"_s});
    QCOMPARE(presenter.ended(), 0);
    QVERIFY(presenter.output().contains(u"--server URL"_s));
    QCOMPARE(presenter.errors(), QString());
}

void tst_PresenterFailures::wrongCommandLineIsRefused()
{
    PresenterProcess presenter;
    presenter.runWith(words(u"--user teacher"_s));
    QCOMPARE(presenter.ended(), 2);
    QCOMPARE(presenter.output(), QString());
    QCOMPARE(presenter.errors(),
             u"tarvo-presenter: There is no server: name the classroom service, such as --server "
             "https://classroom.example.\nTry --help.\n"_s);
}

void tst_PresenterFailures::wrongScriptIsRefusedBeforeAnythingIsSent()
{
    const QTemporaryDir folder;
    const QString script = writeFile(folder, u"bad.txt"_s, "learners\npoll guess\nfly\n");
    Classroom classroom;
    PresenterProcess presenter;
    presenter.run(classroom, {u"--script"_s, script});
    QCOMPARE(presenter.ended(), 2);
    const QStringList errors = presenter.errors().split(QLatin1Char('\n'));
    QVERIFY(errors.at(0).startsWith(
        u"tarvo-presenter: "_s + script
        + u":2: There is no kind of poll 'guess'; there are true-false, "_s));
    QCOMPARE(errors.at(1),
             u"tarvo-presenter: "_s + script
                 + u":3: There is no command 'fly'; help lists them."_s);
    QCOMPARE(classroom.countNow(u"request"_s), 0);
}

void tst_PresenterFailures::fileWithoutCertificatesIsRefused()
{
    const QTemporaryDir folder;
    const QString file = writeFile(folder, u"root.pem"_s, "no certificate");
    PresenterProcess presenter;
    presenter.runWith(wordsFor(u"https://localhost:1"_s) + QStringList{u"--ca"_s, file});
    QCOMPARE(presenter.ended(), 2);
    QCOMPARE(presenter.errors(),
             u"tarvo-presenter: "_s + file + u" holds no certificate.\nTry --help.\n"_s);
}

void tst_PresenterFailures::wrongPasswordIsExplained()
{
    Classroom classroom;
    PresenterProcess presenter;
    presenter.run(classroom, words(u"--password wrong"_s));
    QCOMPARE(presenter.ended(), 1);
    QCOMPARE(presenter.output(), u"Signing in to "_s + classroom.url() + u" as teacher ...\n"_s);
    QCOMPARE(presenter.errors(),
             u"tarvo-presenter: Sign-in failed (error key login.error.wrongCredentials).\n"
             "tarvo-presenter: Check --user and --password.\n"_s);
}

void tst_PresenterFailures::silenceIsExplained()
{
    PresenterProcess presenter;
    presenter.runWith(wordsFor(u"http://127.0.0.1:1"_s));
    QCOMPARE(presenter.ended(), 1);
    QCOMPARE(presenter.errors(),
             u"tarvo-presenter: The classroom service does not answer as expected (no error "
             "key).\n"
             "tarvo-presenter: Check --server and the network. A certificate that has expired "
             "or is for another name ends here, too; --verbose tells.\n"_s);
}

void tst_PresenterFailures::unknownRootIsExplainedAndCured()
{
    TestCertificates certificates(u"School Root"_s);
    const auto identity = certificates.issue(u"localhost"_s);
    certificates.trust(); // for what the test itself asks the classroom
    Classroom classroom(words(u"--learners 1"_s), &identity);
    PresenterProcess presenter;
    presenter.run(classroom, {});
    QCOMPARE(presenter.ended(), 1);
    QCOMPARE(presenter.errors(),
             u"tarvo-presenter: The classroom service does not answer as expected (error key "
             "SSLRootCertificateMissing).\n"
             "tarvo-presenter: The root of the service's certificate is not trusted here. "
             "Have it installed on this machine, or name its file with --ca.\n"_s);
    QCOMPARE(classroom.countNow(u"request"_s), 0);

    for (const QString &transport : {u"websocket"_s, u"xhr-polling"_s}) {
        PresenterProcess trusting;
        trusting.runPiped(classroom, "await learners 1\nquit\n",
                          {u"--ca"_s, certificates.rootFile(), u"--transport"_s, transport});
        QVERIFY2(trusting.ended() == 0, qPrintable(trusting.output() + trusting.errors()));
        QVERIFY(trusting.output().contains(u" is open over "_s + transport));
    }
}

void tst_PresenterFailures::refusedSessionIsExplained_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("what");
    QTest::newRow("create") << u"/vantora/session/create"_s
                            << u"The service created no session (error key session.error.full)."_s;
    QTest::newRow("start")
        << u"/vantora/session/start"_s
        << u"The session could not be started on a collaboration server (error key "
           "session.error.full)."_s;
}

void tst_PresenterFailures::refusedSessionIsExplained()
{
    QFETCH(QString, path);
    QFETCH(QString, what);
    Classroom classroom;
    classroom.fail(path, 503, uR"({"errorMsgKeys":["session.error.full"]})"_s);
    PresenterProcess presenter;
    presenter.run(classroom, {});
    QCOMPARE(presenter.ended(), 1);
    QCOMPARE(presenter.errors(),
             u"tarvo-presenter: "_s + what
                 + u"\ntarvo-presenter: Try again in a moment; --verbose shows what the service "
                   "answered.\n"_s);
    QVERIFY(!presenter.output().contains(u"Session stopped."_s));
    // It does not stay signed in.
    QCOMPARE(classroom.requestsTo(u"/vantora/login/logout"_s), 1);
}

void tst_PresenterFailures::channelThatDoesNotOpenIsExplained_data()
{
    QTest::addColumn<QStringList>("classroomOptions");
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<QString>("why");
    QTest::addColumn<QString>("advice");
    const auto row = [](const char *name, const char *server, const char *options, const char *why,
                        const char *advice) {
        QTest::newRow(name) << QString::fromLatin1(server).split(u' ', Qt::SkipEmptyParts)
                            << QString::fromLatin1(options).split(u' ', Qt::SkipEmptyParts)
                            << QString::fromLatin1(why) << QString::fromLatin1(advice);
    };
    const char *nobody = "--collab-url http://127.0.0.1:1";
    const char *allTried = "Check the network, or name another transport with --transport.";
    row("nothing listens there", nobody, "",
        "code 1006: No transport could be opened: websocket: Connection refused; xhr-polling: The "
        "server cannot be reached: Connection refused",
        allTried);
    row("nothing listens there for streaming", nobody, "--transport xhr-streaming",
        "code 1006: No transport could be opened: xhr-streaming: The server cannot be reached: "
        "Connection refused",
        allTried);
    row("streaming is not offered", "--transports xhr-polling", "--transport xhr-streaming",
        "code 1006: No transport could be opened: xhr-streaming: The server answered with HTTP "
        "status 404 Not Found",
        allTried);
    row("compatible, nothing listens there", nobody, "--compatible-transport", "no error key",
        "Web sockets may be blocked on the way; try --transport xhr-polling.");
    row("compatible, streaming never delivers", "",
        "--compatible-transport --transport xhr-streaming", "no error key",
        "Over xhr-streaming frames arrive when the server ends a response; try --transport "
        "xhr-polling.");
}

void tst_PresenterFailures::channelThatDoesNotOpenIsExplained()
{
    QFETCH(QStringList, classroomOptions);
    QFETCH(QStringList, options);
    QFETCH(QString, why);
    QFETCH(QString, advice);
    Classroom classroom(classroomOptions);
    PresenterProcess presenter;
    presenter.run(classroom, options);
    QCOMPARE(presenter.ended(), 1);
    QCOMPARE(presenter.errors(),
             u"tarvo-presenter: The collaboration server did not open the channel (%1).\n"
             "tarvo-presenter: %2\n"_s.arg(why, advice));
    QVERIFY(classroom.get(u"sessions"_s).toArray().isEmpty());
}

void tst_PresenterFailures::lostConnectionIsExplained_data()
{
    QTest::addColumn<QStringList>("classroomOptions");
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<QString>("what");
    QTest::addColumn<QString>("advice");
    const auto row = [](const char *name, const char *server, const char *options, const char *what,
                        const char *advice) {
        QTest::newRow(name) << words(QLatin1String(server)) << words(QLatin1String(options))
                            << QString::fromLatin1(what) << QString::fromLatin1(advice);
    };
    // The host pings every 60 s, so the service hangs up.
    const char *impatient = "--ping-timeout 1";
    const char *again = "Start a new session.";
    row("no ping, polling", impatient, "--transport xhr-polling",
        "closed (code 3000: No ping for 1 s)", again);
    row("no ping, streaming", impatient, "--transport xhr-streaming",
        "closed (code 3000: No ping for 1 s)", again);
    row("no ping, web socket", impatient, "--transport websocket",
        "closed (code 1000: Normal closure)", again);
    row("no ping, compatible", impatient, "--compatible-transport --transport websocket",
        "lost (no error key)", "Check the network and start a new session.");
}

void tst_PresenterFailures::lostConnectionIsExplained()
{
    QFETCH(QStringList, classroomOptions);
    QFETCH(QStringList, options);
    QFETCH(QString, what);
    QFETCH(QString, advice);
    Classroom classroom(classroomOptions);
    PresenterProcess presenter;
    presenter.run(classroom, options);
    QCOMPARE(presenter.ended(), 1);
    QVERIFY(presenter.output().contains(u"is open"_s));
    QCOMPARE(presenter.errors(),
             u"tarvo-presenter: The connection to the collaboration server was %1.\n"
             "tarvo-presenter: %2\n"_s.arg(what, advice));
    QVERIFY(classroom.get(u"sessions"_s).toArray().isEmpty());
}

void tst_PresenterFailures::failedCommandEndsAScript_data()
{
    QTest::addColumn<QByteArray>("command");
    QTest::addColumn<QString>("why");
    const auto row = [](const char *name, const QByteArray &command, const char *why) {
        QTest::newRow(name) << command << QString::fromUtf8(why);
    };
    row("nothing to stop", "stop", "There is nothing to stop.");
    row("nothing to pause", "pause", "There is nothing to pause.");
    row("nothing to resume", "resume", "There is nothing to resume.");
    row("no results", "results", "There are no results yet.");
    row("no such learner", "remove Zoe", "There is no single learner 'Zoe'.");
    row("no such receiver", "message Zoe hi", "There is no single learner 'Zoe'.");
    row("no such image", "image /nonexistent.png", "/nonexistent.png: No such file or directory");
    row("no such upload", "upload /nonexistent", "/nonexistent: No such file or directory");
    row("no such assessment", "assessment /nonexistent.json",
        "/nonexistent.json: No such file or directory");
    row("awaited in vain", "await learners 1 1", "Only 0 of 1 learners are there after 1 s.");
}

void tst_PresenterFailures::failedCommandEndsAScript()
{
    QFETCH(QByteArray, command);
    QFETCH(QString, why);
    Classroom classroom;
    PresenterProcess presenter;
    presenter.runPiped(classroom, "# one\n" + command + "\npoll text\n");
    QCOMPARE(presenter.ended(), 1);
    QCOMPARE(presenter.errors(),
             u"tarvo-presenter: standard input:2: "_s + QString::fromUtf8(command) + u": "_s + why
                 + u"\n"_s);
    QVERIFY(presenter.output().endsWith(u"> "_s + QString::fromUtf8(command)
                                        + u"\nSession stopped.\n"_s));
    QVERIFY(classroom.get(u"sessions"_s).toArray().isEmpty());
}

void tst_PresenterFailures::interruptWhileAWebSocketHangsEndsTheWait_data()
{
    QTest::addColumn<QStringList>("options");
    QTest::newRow("robust") << QStringList();
    QTest::newRow("compatible") << words(u"--compatible-transport"_s);
}

void tst_PresenterFailures::interruptWhileAWebSocketHangsEndsTheWait()
{
    QFETCH(QStringList, options);
    // Takes the connection and never answers the handshake.
    QTcpServer silent;
    QVERIFY(silent.listen(QHostAddress::LocalHost));
    Classroom classroom({u"--collab-url"_s, u"http://127.0.0.1:%1"_s.arg(silent.serverPort())});
    PresenterProcess presenter;
    presenter.run(classroom, words(u"--transport websocket"_s) + options);
    QTRY_VERIFY_WITH_TIMEOUT(silent.hasPendingConnections(), PresenterProcess::LIMIT_MS);
    ::kill(pid_t(presenter.processId()), SIGINT);
    QCOMPARE(presenter.ended(), 130);
    QVERIFY(classroom.get(u"sessions"_s).toArray().isEmpty());
}

QTEST_GUILESS_MAIN(tst_PresenterFailures)
#include "tst_presenterfailures.moc"
