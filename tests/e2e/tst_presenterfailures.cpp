#include "e2e/PresenterProcess.h"
#include "support/Text.h"

#include <QtCore/QTemporaryDir>
#include <QtNetwork/QTcpServer>
#include <QtNetwork/QTcpSocket>

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
    void wrongAddressIsExplained_data();
    void wrongAddressIsExplained();
    void unknownRootIsExplainedAndCured();
    void refusedSessionIsExplained_data();
    void refusedSessionIsExplained();
    void channelThatDoesNotOpenIsExplained_data();
    void channelThatDoesNotOpenIsExplained();
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

// Some web server, with a page for everything.
class WebServer : public QTcpServer
{
public:
    WebServer()
    {
        connect(this, &QTcpServer::newConnection, this, [this] {
            QTcpSocket *socket = nextPendingConnection();
            connect(socket, &QTcpSocket::readyRead, socket, [socket] {
                if (!socket->readAll().contains("\r\n\r\n"))
                    return;
                socket->write("HTTP/1.1 200 OK\r\nContent-Type: text/html\r\n"
                              "Content-Length: 18\r\n\r\n<html>Hello</html>");
            });
        });
    }
};

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
             u"tarvo-presenter: Signing in failed: the classroom service does not accept what was "
             "entered. [login.error.wrongCredentials]\n"
             "tarvo-presenter: Check --user and the password (TARVO_PASSWORD).\n"_s);
}

void tst_PresenterFailures::wrongAddressIsExplained_data()
{
    QTest::addColumn<QString>("server");
    QTest::addColumn<QString>("what");
    QTest::addColumn<QString>("advice");
    const auto row = [](const char *name, const QString &server, const char *what,
                        const char *advice) {
        QTest::newRow(name) << server << QString::fromUtf8(what) << QString::fromUtf8(advice);
    };
    row("nothing listens there", u"http://127.0.0.1:1"_s,
        "the classroom service takes no connections.",
        "Check the port in --server, and whether the service runs.");
    row("no such host", u"http://classroom.invalid"_s,
        "no classroom service is known by this address.",
        "Check the name in --server, and the network.");
    row("another web server", u"WEB"_s, "what answers at WEB is not the classroom service.",
        "Check name, port and path in --server. A guest network may want you to sign in with a web "
        "browser first.");
    row("wrong path", u"CLASSROOM/school"_s,
        "what answers at CLASSROOM/school is not the classroom service.",
        "Check name, port and path in --server. A guest network may want you to sign in with a web "
        "browser first.");
    row("no https", u"TLS"_s, "the connection to the classroom service is not safe.",
        "Check that --server names an https port, and this computer's date and time; the "
        "certificate may have expired, too. --verbose tells.");
}

void tst_PresenterFailures::wrongAddressIsExplained()
{
    QFETCH(QString, server);
    QFETCH(QString, what);
    QFETCH(QString, advice);
    Classroom classroom;
    WebServer web;
    QVERIFY(web.listen(QHostAddress::LocalHost));
    const auto place = [&](QString text) {
        return text.replace(u"WEB"_s, u"http://127.0.0.1:%1"_s.arg(web.serverPort()))
            .replace(u"CLASSROOM"_s, classroom.url())
            .replace(u"TLS"_s, u"https"_s + classroom.url().mid(4));
    };
    PresenterProcess presenter;
    presenter.runWith(wordsFor(place(server)));
    QCOMPARE(presenter.ended(), 1);
    QCOMPARE(presenter.errors(),
             u"tarvo-presenter: Signing in failed: %1\n"
             "tarvo-presenter: %2\n"_s.arg(place(what), advice));
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
             u"tarvo-presenter: Signing in failed: this computer does not trust the classroom "
             "service yet.\n"
             "tarvo-presenter: Have the root of the service's certificate installed on this "
             "computer, or name its file with --ca.\n"_s);
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
    QTest::newRow("create") << u"/vantora/session/create"_s;
    QTest::newRow("start") << u"/vantora/session/start"_s;
}

void tst_PresenterFailures::refusedSessionIsExplained()
{
    QFETCH(QString, path);
    Classroom classroom;
    classroom.fail(path, 409, uR"({"errorMsgKeys":["session.error.full"]})"_s);
    PresenterProcess presenter;
    presenter.run(classroom, {});
    QCOMPARE(presenter.ended(), 1);
    QCOMPARE(presenter.errors(),
             u"tarvo-presenter: Starting the class failed: the classroom service does not allow "
             "it. [session.error.full]\n"
             "tarvo-presenter: Try again in a moment; --verbose shows what the service "
             "answered.\n"_s);
    QVERIFY(!presenter.output().contains(u"Session stopped."_s));
    // It does not stay signed in.
    QCOMPARE(classroom.requestsTo(u"/vantora/login/logout"_s), 1);
}

void tst_PresenterFailures::channelThatDoesNotOpenIsExplained_data()
{
    QTest::addColumn<QStringList>("classroomOptions");
    QTest::addColumn<QStringList>("options");
    const auto row = [](const char *name, const char *server, const char *options) {
        QTest::newRow(name) << QString::fromLatin1(server).split(u' ', Qt::SkipEmptyParts)
                            << QString::fromLatin1(options).split(u' ', Qt::SkipEmptyParts);
    };
    row("nothing listens there", "--collab-url http://127.0.0.1:1", "");
    row("streaming is not offered", "--transports xhr-polling", "--transport xhr-streaming");
}

void tst_PresenterFailures::channelThatDoesNotOpenIsExplained()
{
    QFETCH(QStringList, classroomOptions);
    QFETCH(QStringList, options);
    Classroom classroom(classroomOptions);
    PresenterProcess presenter;
    presenter.run(classroom, options);
    QCOMPARE(presenter.ended(), 1);
    QCOMPARE(presenter.errors(),
             u"tarvo-presenter: Starting the class failed: the connection to the learners could "
             "not be opened.\n"
             "tarvo-presenter: Check the network, or name another transport with --transport. "
             "--verbose tells why.\n"_s);
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
    row("no results", "results", "There are no results yet.");
    row("no such learner", "remove Zoe", "There is no learner 'Zoe'.");
    row("no such receiver", "message Zoe hi", "There is no learner 'Zoe'.");
    row("no image", "card", "There is no image to show; set one with image FILE.");
    row("no PNG image", "image " EXAMPLE_FOLDER "/lesson.txt",
        EXAMPLE_FOLDER "/lesson.txt is no PNG image; devices show nothing else.");
    row("a file elsewhere", "image ../../README.md",
        "../../README.md: The file is not in the lesson's folder " EXAMPLE_FOLDER
        "; put it there, or "
        "let the lesson read all files with --allow-files.");
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
    presenter.setWorkingDirectory(QStringLiteral(EXAMPLE_FOLDER));
    presenter.runPiped(classroom, "# one\n" + command + "\npoll text\n");
    QCOMPARE(presenter.ended(), 1);
    QCOMPARE(presenter.errors(),
             u"tarvo-presenter: standard input:2: "_s + QString::fromUtf8(command) + u": "_s + why
                 + u"\n"_s);
    const QString output = presenter.output();
    QVERIFY2(output.endsWith(u"> "_s + QString::fromUtf8(command) + u"\nSession stopped.\n"_s),
             qPrintable(output));
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
