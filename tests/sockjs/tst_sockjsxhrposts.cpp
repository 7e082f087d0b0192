#include "OpenTransport.h"

using namespace Scripted;

// How the XHR transport posts what the host says.
class tst_SockJSXHRPosts : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void postIsExact();
    void postsLeaveOneAfterAnother();
    void failedPostIsLoggedAndTheNextLeaves();
    void postToADeadServerIsLogged();
    void waitingPostsLeaveAfterClose();
    void postsAreTakenAfterClose();
    void destroyingWithAPostUnderWayIsSafe();
};

void tst_SockJSXHRPosts::postIsExact()
{
    OpenTransport m{{expect(POLL)}, {expectRequest(), send(NO_CONTENT)}};
    QVERIFY(m.start());
    m.transport.sendTextMessage(u"[\n    \"\u20ac %1\"\n]\n"_s);
    QTRY_COMPARE_WITH_TIMEOUT(m.server.requests(1).size(), 1, 20000);
    const QByteArray request = m.server.requests(1).at(0);
    QVERIFY2(request.startsWith("POST /s/xhr_send HTTP/1.1\r\n"), request.constData());
    QCOMPARE(headerOf(request, "accept-encoding"), QByteArray("identity"));
    QCOMPARE(headerOf(request, "Content-Type"), QByteArray("application/json; charset=UTF-8"));
    QCOMPARE(headerOf(request, "Connection"), QByteArray("keep-alive"));
    QCOMPARE(headerOf(request, "Content-Length"), QByteArray("17"));
    QVERIFY(headerOf(request, "Cookie").isNull());
    QCOMPARE(bodyOf(request), QByteArray("[\n    \"\xe2\x82\xac %1\"\n]\n"));
    QVERIFY(m.server.finished());
    QCOMPARE(m.log.messages(), QStringList());
}

void tst_SockJSXHRPosts::postsLeaveOneAfterAnother()
{
    Script posts;
    for (int i = 0; i < 10; ++i)
        posts << expectRequest() << pause(30) << send(NO_CONTENT);
    OpenTransport m{{}, posts};
    QVERIFY(m.start());
    for (int i = 0; i < 10; ++i)
        m.transport.sendTextMessage(QString::number(i));
    QTRY_COMPARE_WITH_TIMEOUT(m.server.requests(1).size(), 10, 30000);
    for (int i = 0; i < 10; ++i)
        QCOMPARE(bodyOf(m.server.requests(1).at(i)), QByteArray::number(i));
    QCOMPARE(m.server.connectionCount(), 2);
}

void tst_SockJSXHRPosts::failedPostIsLoggedAndTheNextLeaves()
{
    OpenTransport m{
        {}, {expectRequest(), send(reply("", "404 Not Found")), expectRequest(), send(NO_CONTENT)}};
    QVERIFY(m.start());
    m.transport.sendTextMessage(u"lost"_s);
    m.transport.sendTextMessage(u"next"_s);
    QTRY_COMPARE_WITH_TIMEOUT(m.server.requests(1).size(), 2, 20000);
    QCOMPARE(bodyOf(m.server.requests(1).at(1)), QByteArray("next"));
    QCOMPARE(m.log.messages(),
             QStringList{u"[SockJSXHRPolling] xhr_send error: Error transferring "
                         "http://127.0.0.1:%1/s/xhr_send - server replied: Not Found"_s.arg(
                             m.server.port())});
}

void tst_SockJSXHRPosts::postToADeadServerIsLogged()
{
    OpenTransport m{};
    m.server.onEveryOther({}); // it may be gone before it has taken the connection
    QVERIFY(m.start());
    m.transport.close();
    m.server.stop();
    m.log.clear();
    m.transport.sendTextMessage(u"x"_s);
    m.transport.sendTextMessage(u"y"_s);
    const QString line = u"[SockJSXHRPolling] xhr_send error: Connection refused"_s;
    QTRY_COMPARE_WITH_TIMEOUT(m.log.messages(), (QStringList{line, line}), 20000);
}

void tst_SockJSXHRPosts::waitingPostsLeaveAfterClose()
{
    OpenTransport m{
        {}, {expectRequest(), pause(200), send(NO_CONTENT), expectRequest(), send(NO_CONTENT)}};
    QVERIFY(m.start());
    m.transport.sendTextMessage(u"first"_s);
    m.transport.sendTextMessage(u"last"_s);
    m.transport.close();
    QTRY_COMPARE_WITH_TIMEOUT(m.server.requests(1).size(), 2, 20000);
    QCOMPARE(bodyOf(m.server.requests(1).at(1)), QByteArray("last"));
    QCOMPARE(m.ends.size(), 1);
}

void tst_SockJSXHRPosts::postsAreTakenAfterClose()
{
    OpenTransport m{{}, {expectRequest(), send(NO_CONTENT)}};
    QVERIFY(m.start());
    m.transport.close();
    QTRY_COMPARE_WITH_TIMEOUT(m.ends.size(), 1, 20000);
    m.transport.sendTextMessage(u"late"_s);
    QTRY_COMPARE_WITH_TIMEOUT(m.server.requests(1).size(), 1, 20000);
    QCOMPARE(bodyOf(m.server.requests(1).at(0)), QByteArray("late"));
}

// The manager ends its replies without a word when it goes.
void tst_SockJSXHRPosts::destroyingWithAPostUnderWayIsSafe()
{
    ScriptedServer server;
    server.onConnection({expectEnd()});
    server.onConnection({expectRequest(), expectEnd()});
    QVERIFY(server.listen());
    const LogCapture log;
    {
        SockJSXHRPolling transport;
        QVERIFY(transport.start(localhost(), server.port(), false, u"/s"_s, false));
        transport.sendTextMessage(u"under way"_s);
        transport.sendTextMessage(u"waiting"_s);
        QTRY_COMPARE_WITH_TIMEOUT(server.requests(1).size(), 1, 20000);
    }
    QVERIFY2(server.finished(), qPrintable(server.failure()));
    QCOMPARE(log.messages(), QStringList());
    {
        SockJSXHRPolling neverStarted;
    }
}

QTEST_GUILESS_MAIN(tst_SockJSXHRPosts)
#include "tst_sockjsxhrposts.moc"
