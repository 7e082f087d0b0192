#include "RobustRun.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>

using namespace Scripted;

// Messages on their way to the server, beside a poll that is out: a lost one ends the connection.
class tst_SockJSRobustPosts : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void postsAreTaken_data();
    void postsAreTaken();
    void lostPostEndsTheConnection_data();
    void lostPostEndsTheConnection();
    void postWithoutAnAnswerEndsTheConnection();
    void whatCameBeforeALostPostIsDelivered();
    void nothingIsSentBehindALostPost();
    void fullQueueEndsTheConnection();
    void hundredMessagesLeaveInThreePosts_data();
    void hundredMessagesLeaveInThreePosts();
    void whatWaitsIsPostedAfterTheHostsOwnClose_data();
    void whatWaitsIsPostedAfterTheHostsOwnClose();
    void receivingSideStaysUpUntilThePostsAreAnswered();
};

namespace
{

// The polls of a session that stays silent.
const Script POLLS = POLLED_OPEN + Script{expectRequest()};

QString lost(const QString &why)
{
    return u"A message could not be sent: "_s + why;
}

// All messages that were posted on the connections behind the first, in their order, and in how many
// posts.
QStringList posted(const RobustRun &run, int *posts)
{
    QStringList messages;
    *posts = 0;
    for (int i = 1; i < run.server.connectionCount(); ++i) {
        for (const QByteArray &request : run.server.requests(i)) {
            ++*posts;
            const QJsonArray array = QJsonDocument::fromJson(bodyOf(request)).array();
            for (const QJsonValue &message : array)
                messages.append(message.toString());
        }
    }
    return messages;
}

Script answeringPosts(int count, const QByteArray &answer = NO_CONTENT)
{
    Script script;
    for (int i = 0; i < count; ++i)
        script += {expectRequest(), pause(50), send(answer)};
    return script;
}

} // namespace

void tst_SockJSRobustPosts::postsAreTaken_data()
{
    QTest::addColumn<QByteArray>("answer");
    QTest::newRow("204") << NO_CONTENT;
    QTest::newRow("200") << reply("");
    QTest::newRow("200 with a body") << reply("ok\n");
    QTest::newRow("204 that ends the connection")
        << reply("", "204 No Content", "Connection: close\r\n");
}

void tst_SockJSRobustPosts::postsAreTaken()
{
    QFETCH(QByteArray, answer);
    RobustRun run({POLLED_OPEN + Script{expectRequest(), pause(400)}
                       + Script{send(reply("c[3000,\"Go away!\"]\n"))},
                   {expectRequest(), send(answer)}});
    run.open();
    QVERIFY(run.waitForSession());
    run.connector.sendMessage(u"x"_s, false);
    run.verifyGoodbye();
    QCOMPARE(bodyOf(run.server.requests(1).value(0)), framed(u"x"_s).toUtf8());
    QVERIFY(run.server.requests(1).value(0).startsWith(
        "POST /bus/eventbus/119/" + SockJSProbe::sessionId(run.connector).toLatin1()
        + "/xhr_send HTTP/1.1\r\n"));
}

void tst_SockJSRobustPosts::lostPostEndsTheConnection_data()
{
    QTest::addColumn<bool>("streaming");
    QTest::addColumn<Script>("answer");
    QTest::addColumn<QString>("why");
    const auto status = [](const QByteArray &line) {
        return Script{send(reply("", line, "Location: /x\r\n"))};
    };
    for (const bool streaming : {false, true}) {
        const char *way = streaming ? "streaming" : "polling";
        const auto row = [=](const char *name, const Script &answer, const QString &why) {
            QTest::addRow("%s, %s", name, way) << streaming << answer << lost(why);
        };
        row("500", status("500 Oh no"), u"The server answered with HTTP status 500 Oh no"_s);
        row("404", status("404 Not Found"),
            u"The server answered with HTTP status 404 Not Found"_s);
        row("302", status("302 Found"), u"The server answered with HTTP status 302 Found"_s);
        row("307", status("307 Temporary Redirect"),
            u"The server answered with HTTP status 307 Temporary Redirect"_s);
        row("201", status("201 Created"), u"The server answered with HTTP status 201 Created"_s);
        row("end without an answer", {close()}, u"The connection ended without an answer"_s);
        row("reset", {Scripted::abort()}, u"The connection ended without an answer"_s);
    }
}

void tst_SockJSRobustPosts::lostPostEndsTheConnection()
{
    QFETCH(bool, streaming);
    QFETCH(Script, answer);
    QFETCH(QString, why);
    RobustRun run({POLLS, Script{expectRequest()} + answer});
    run.open(streaming);
    QVERIFY(run.waitForSession());
    run.connector.sendMessage(u"x"_s, false);
    run.verifyEnd(1006, why);
    QCOMPARE(run.server.connectionCount(), 2);
}

void tst_SockJSRobustPosts::postWithoutAnAnswerEndsTheConnection()
{
    RobustRun run({POLLS, {expectRequest()}});
    run.open();
    QVERIFY(run.waitForSession());
    QElapsedTimer timer;
    timer.start();
    run.connector.sendMessage(u"x"_s, false);
    run.verifyEnd(1006, lost(u"The server does not answer"_s));
    QVERIFY2(timer.elapsed() >= 9400, qPrintable(QString::number(timer.elapsed())));
    QVERIFY2(timer.elapsed() < 12000, qPrintable(QString::number(timer.elapsed())));
}

void tst_SockJSRobustPosts::whatCameBeforeALostPostIsDelivered()
{
    RobustRun run({POLLS + Script{send(CHUNKED + chunk("a[\"1\",\"2\"]\na[\"3\"]\na[\"4\""))},
                   {expectRequest(), send(reply("", "500 Oh no"))}});
    // The host is busy while both arrive.
    connect(&run.connector, &SockJSConnector::sockJSMessage, this, [] { QThread::msleep(200); });
    run.open(true);
    QVERIFY(run.waitForSession());
    run.connector.sendMessage(u"x"_s, false);
    run.verifyEnd(1006, lost(u"The server answered with HTTP status 500 Oh no"_s));
    QCOMPARE(run.texts(), (QStringList{"1", "2", "3"}));
}

void tst_SockJSRobustPosts::nothingIsSentBehindALostPost()
{
    RobustRun run({POLLS, {expectRequest(), pause(200), send(reply("", "500 Oh no"))}});
    connect(&run.connector, &SockJSConnector::closed, this,
            [&] { run.connector.sendMessage(u"y"_s, false); });
    run.open();
    QVERIFY(run.waitForSession());
    run.connector.sendMessage(u"x"_s, false);
    QTRY_COMPARE_WITH_TIMEOUT(run.server.requests(1).size(), 1, 20000);
    run.connector.sendMessage(u"y"_s, false);
    run.verifyEnd(1006, lost(u"The server answered with HTTP status 500 Oh no"_s));
    QVERIFY(!run.connector.isSending());
    QCOMPARE(run.requestCount(), 3);
}

// One message is under way, 67 are just below 64 MiB, and the next one is too much.
void tst_SockJSRobustPosts::fullQueueEndsTheConnection()
{
    RobustRun run({POLLS, {expectRequest(), pause(60000)}});
    run.open();
    QVERIFY(run.waitForSession());
    const QString large(1000000, QLatin1Char('x'));
    for (int i = 0; i < 68; ++i)
        run.connector.sendMessage(large, false);
    QVERIFY(!QTest::qWaitFor([&] { return !run.closed.isEmpty(); }, 300));
    run.connector.sendMessage(large, false);
    run.verifyEnd(1006, lost(u"Too much waits to be sent, 1000011 bytes are dropped"_s));
    QVERIFY(!run.connector.isSending());
}

void tst_SockJSRobustPosts::hundredMessagesLeaveInThreePosts_data()
{
    addBothWays();
}

void tst_SockJSRobustPosts::hundredMessagesLeaveInThreePosts()
{
    QFETCH(bool, streaming);
    RobustRun run({POLLS, answeringPosts(3)});
    run.open(streaming);
    QVERIFY(run.waitForSession());
    QStringList messages;
    for (int i = 1; i <= 100; ++i)
        messages.append(u"message, \"%1\" [ ]"_s.arg(i));
    for (const QString &message : qAsConst(messages))
        run.connector.sendMessage(message, false);
    QTRY_VERIFY_WITH_TIMEOUT(!run.connector.isSending(), 20000);
    int posts = 0;
    const QStringList arrived = posted(run, &posts);
    QCOMPARE(arrived, messages.replaceInStrings(u"[ ]"_s, u"[]"_s));
    QVERIFY2(posts <= 3, qPrintable(QString::number(posts)));
}

void tst_SockJSRobustPosts::whatWaitsIsPostedAfterTheHostsOwnClose_data()
{
    addBothWays();
}

void tst_SockJSRobustPosts::whatWaitsIsPostedAfterTheHostsOwnClose()
{
    QFETCH(bool, streaming);
    const QString large(5 * 1024 * 1024, QLatin1Char('x'));
    RobustRun run({POLLS, answeringPosts(2)});
    run.open(streaming);
    QVERIFY(run.waitForSession());
    run.connector.sendMessage(large, false);
    run.connector.sendMessage(u"last"_s, false);
    run.connector.close();
    QVERIFY(run.connector.isSending());
    QTRY_COMPARE_WITH_TIMEOUT(run.closed.size(), 1, 20000);
    QCOMPARE(run.connector.getCloseCode(), 1000);
    QCOMPARE(run.connector.getCloseReason(), u"Closed by the host"_s);
    QTRY_VERIFY_WITH_TIMEOUT(!run.connector.isSending(), 20000);
    int posts = 0;
    QVERIFY(posted(run, &posts) == (QStringList{large, u"last"_s}));
    QCOMPARE(posts, 2);
    QCOMPARE(run.closed.size(), 1);
}

// Servers end a session, and drop its messages, when its receiving connection goes.
void tst_SockJSRobustPosts::receivingSideStaysUpUntilThePostsAreAnswered()
{
    RobustRun run({POLLED_OPEN
                       + Script{expectRequest(), pause(400), send(reply("a[\"unheard\"]\n")),
                                expectRequest(), pause(200), expectEnd()},
                   {expectRequest(), pause(1000), send(NO_CONTENT)}});
    run.open();
    QVERIFY(run.waitForSession());
    run.connector.sendMessage(u"last"_s, false);
    run.connector.close();
    QElapsedTimer timer;
    timer.start();
    QTRY_VERIFY_WITH_TIMEOUT(!run.connector.isSending(), 20000);
    QVERIFY2(run.server.finished(), qPrintable(run.server.failure()));
    QVERIFY2(timer.elapsed() >= 900, qPrintable(QString::number(timer.elapsed())));
    run.verifyEnd(1000, u"Closed by the host"_s);
    QCOMPARE(run.texts(), QStringList());
    QCOMPARE(run.requestCount(), 4);
}

QTEST_GUILESS_MAIN(tst_SockJSRobustPosts)
#include "tst_sockjsrobustposts.moc"
