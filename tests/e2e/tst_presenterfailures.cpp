#include "e2e/PresenterProcess.h"

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
    void channelThatDoesNotOpenIsExplained();
    void streamingThatNeverDeliversIsExplained();
    void lostConnectionIsExplained();
    void failedCommandEndsAScript_data();
    void failedCommandEndsAScript();
    void interruptWhileAWebSocketHangsEndsTheWait();
};

namespace
{

QStringList wordsFor(const QString &server)
{
    return {"--server", server, "--user", "teacher"};
}

QString writeFile(const QTemporaryDir &folder, const QString &name, const QByteArray &text)
{
    QFile file(folder.filePath(name));
    if (file.open(QIODevice::WriteOnly))
        file.write(text);
    return file.fileName();
}

} // namespace

void tst_PresenterFailures::helpIsNoFailure()
{
    PresenterProcess presenter;
    presenter.runWith({"--help"});
    QCOMPARE(presenter.ended(), 0);
    QVERIFY(presenter.output().contains("--server <URL>"));
    QCOMPARE(presenter.errors(), QString());
}

void tst_PresenterFailures::wrongCommandLineIsRefused()
{
    PresenterProcess presenter;
    presenter.runWith({"--user", "teacher"});
    QCOMPARE(presenter.ended(), 2);
    QCOMPARE(presenter.output(), QString());
    QCOMPARE(presenter.errors(),
             QString("tarvo-presenter: --server is missing: the address of the classroom service.\n"
                     "Try --help.\n"));
}

void tst_PresenterFailures::wrongScriptIsRefusedBeforeAnythingIsSent()
{
    const QTemporaryDir folder;
    const QString script = writeFile(folder, "bad.txt", "learners\npoll guess\nfly\n");
    Classroom classroom;
    PresenterProcess presenter;
    presenter.run(classroom, {"--script", script});
    QCOMPARE(presenter.ended(), 2);
    const QStringList errors = presenter.errors().split('\n');
    QVERIFY(
        errors.at(0).startsWith("tarvo-presenter: " + script
                                + ":2: There is no kind of poll 'guess'; there are true-false, "));
    QCOMPARE(errors.at(1),
             "tarvo-presenter: " + script + ":3: There is no command 'fly'; help lists them.");
    QCOMPARE(classroom.countNow({{"kind", "request"}}), 0);
}

void tst_PresenterFailures::fileWithoutCertificatesIsRefused()
{
    const QTemporaryDir folder;
    const QString file = writeFile(folder, "root.pem", "no certificate");
    PresenterProcess presenter;
    presenter.runWith(wordsFor("https://localhost:1") + QStringList{"--ca", file});
    QCOMPARE(presenter.ended(), 2);
    QCOMPARE(presenter.errors(),
             "tarvo-presenter: " + file + " holds no certificate.\nTry --help.\n");
}

void tst_PresenterFailures::wrongPasswordIsExplained()
{
    Classroom classroom;
    PresenterProcess presenter;
    presenter.run(classroom, {"--password", "wrong"});
    QCOMPARE(presenter.ended(), 1);
    QCOMPARE(presenter.output(), "Signing in to " + classroom.url() + " as teacher ...\n");
    QCOMPARE(presenter.errors(),
             QString("tarvo-presenter: Sign-in failed (error key login.error.wrongCredentials).\n"
                     "tarvo-presenter: Check --user and --password.\n"));
}

void tst_PresenterFailures::silenceIsExplained()
{
    PresenterProcess presenter;
    presenter.runWith(wordsFor("http://127.0.0.1:1"));
    QCOMPARE(presenter.ended(), 1);
    QCOMPARE(
        presenter.errors(),
        QString("tarvo-presenter: The classroom service does not answer as expected (no error "
                "key).\n"
                "tarvo-presenter: Check --server and the network. A certificate that has expired "
                "or is for another name ends here, too; --verbose tells.\n"));
}

void tst_PresenterFailures::unknownRootIsExplainedAndCured()
{
    TestCertificates certificates("School Root");
    const auto identity = certificates.issue("localhost");
    certificates.trust(); // for what the test itself asks the classroom
    Classroom classroom({"--learners", "1"}, &identity);
    PresenterProcess presenter;
    presenter.run(classroom, {});
    QCOMPARE(presenter.ended(), 1);
    QCOMPARE(
        presenter.errors(),
        QString("tarvo-presenter: The classroom service does not answer as expected (error key "
                "SSLRootCertificateMissing).\n"
                "tarvo-presenter: The root of the service's certificate is not trusted here. "
                "Have it installed on this machine, or name its file with --ca.\n"));
    QCOMPARE(classroom.countNow({{"kind", "request"}}), 0);

    for (const QString transport : {"websocket", "xhr-polling"}) {
        PresenterProcess trusting;
        trusting.runPiped(classroom, "await learners 1\nquit\n",
                          {"--ca", certificates.rootFile(), "--transport", transport});
        QVERIFY2(trusting.ended() == 0, qPrintable(trusting.output() + trusting.errors()));
        QVERIFY(trusting.output().contains(" is open over " + transport));
    }
}

void tst_PresenterFailures::refusedSessionIsExplained_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("what");
    QTest::newRow("create") << "/vantora/session/create"
                            << "The service created no session (error key session.error.full).";
    QTest::newRow("start")
        << "/vantora/session/start"
        << "The session could not be started on a collaboration server (error key "
           "session.error.full).";
}

void tst_PresenterFailures::refusedSessionIsExplained()
{
    QFETCH(QString, path);
    QFETCH(QString, what);
    Classroom classroom;
    classroom.post(
        "faults",
        {{"path", path}, {"status", 503}, {"body", R"({"errorMsgKeys":["session.error.full"]})"}});
    PresenterProcess presenter;
    presenter.run(classroom, {});
    QCOMPARE(presenter.ended(), 1);
    QCOMPARE(presenter.errors(),
             "tarvo-presenter: " + what
                 + "\ntarvo-presenter: Try again in a moment; --verbose shows what the service "
                   "answered.\n");
    QVERIFY(!presenter.output().contains("Session stopped."));
    // It does not stay signed in.
    QCOMPARE(classroom.countNow({{"kind", "request"}, {"path", "/vantora/login/logout"}}), 1);
}

void tst_PresenterFailures::channelThatDoesNotOpenIsExplained()
{
    // Nothing listens at the collaboration server's address.
    Classroom classroom({"--collab-url", "http://127.0.0.1:1"});
    PresenterProcess presenter;
    presenter.run(classroom, {});
    QCOMPARE(presenter.ended(), 1);
    QCOMPARE(presenter.errors(),
             QString("tarvo-presenter: The collaboration server did not open the channel (no error "
                     "key).\n"
                     "tarvo-presenter: Web sockets may be blocked on the way; try --transport "
                     "xhr-polling.\n"));
    QVERIFY(classroom.get("sessions").toArray().isEmpty());
}

void tst_PresenterFailures::streamingThatNeverDeliversIsExplained()
{
    Classroom classroom;
    PresenterProcess presenter;
    presenter.run(classroom, {"--transport", "xhr-streaming"});
    QCOMPARE(presenter.ended(), 1);
    QCOMPARE(presenter.errors(),
             QString("tarvo-presenter: The collaboration server did not open the channel (no error "
                     "key).\n"
                     "tarvo-presenter: Over xhr-streaming frames arrive when the server ends a "
                     "response; try --transport xhr-polling.\n"));
    QVERIFY(classroom.get("sessions").toArray().isEmpty());
}

void tst_PresenterFailures::lostConnectionIsExplained()
{
    Classroom classroom;
    PresenterProcess presenter;
    presenter.run(classroom, {"--transport", "websocket"});
    QVERIFY(presenter.says("is open"));
    classroom.remove("connections");
    QCOMPARE(presenter.ended(), 1);
    QCOMPARE(
        presenter.errors(),
        QString("tarvo-presenter: The connection to the collaboration server was lost (no error "
                "key).\n"
                "tarvo-presenter: Check the network and start a new session.\n"));
    QVERIFY(classroom.get("sessions").toArray().isEmpty());
}

void tst_PresenterFailures::failedCommandEndsAScript_data()
{
    QTest::addColumn<QByteArray>("command");
    QTest::addColumn<QString>("why");
    QTest::newRow("nothing to stop") << QByteArray("stop") << "There is nothing to stop.";
    QTest::newRow("nothing to pause") << QByteArray("pause") << "There is nothing to pause.";
    QTest::newRow("nothing to resume") << QByteArray("resume") << "There is nothing to resume.";
    QTest::newRow("no results") << QByteArray("results") << "There are no results yet.";
    QTest::newRow("no such learner")
        << QByteArray("remove Zoe") << "There is no single learner 'Zoe'.";
    QTest::newRow("no such receiver")
        << QByteArray("message Zoe hi") << "There is no single learner 'Zoe'.";
    QTest::newRow("no such image")
        << QByteArray("image /nonexistent.png") << "/nonexistent.png: No such file or directory";
    QTest::newRow("no such upload")
        << QByteArray("upload /nonexistent") << "/nonexistent: No such file or directory";
    QTest::newRow("no such assessment") << QByteArray("assessment /nonexistent.json")
                                        << "/nonexistent.json: No such file or directory";
    QTest::newRow("awaited in vain")
        << QByteArray("await learners 1 1")
        << "It has not come to that in time (learners: 0, responses: 0).";
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
             "tarvo-presenter: standard input:2: " + QString::fromUtf8(command) + ": " + why
                 + "\n");
    QVERIFY(
        presenter.output().endsWith("> " + QString::fromUtf8(command) + "\nSession stopped.\n"));
    QVERIFY(classroom.get("sessions").toArray().isEmpty());
}

void tst_PresenterFailures::interruptWhileAWebSocketHangsEndsTheWait()
{
    // Takes the connection and never answers the handshake.
    QTcpServer silent;
    QVERIFY(silent.listen(QHostAddress::LocalHost));
    Classroom classroom({"--collab-url", QString("http://127.0.0.1:%1").arg(silent.serverPort())});
    PresenterProcess presenter;
    presenter.run(classroom, {"--transport", "websocket"});
    QTRY_VERIFY_WITH_TIMEOUT(silent.hasPendingConnections(), PresenterProcess::LIMIT_MS);
    ::kill(pid_t(presenter.processId()), SIGINT);
    QCOMPARE(presenter.ended(), 130);
    QVERIFY(classroom.get("sessions").toArray().isEmpty());
}

QTEST_GUILESS_MAIN(tst_PresenterFailures)
#include "tst_presenterfailures.moc"
