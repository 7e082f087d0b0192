#include "DeadPort.h"
#include "SockJSProbe.h"
#include "support/LogCapture.h"
#include "support/ScriptedServer.h"
#include "support/TestCertificates.h"
#include "support/Text.h"

#include <QtNetwork/QNetworkAccessManager>
#include <QtNetwork/QNetworkCookie>
#include <QtNetwork/QNetworkCookieJar>
#include <QtNetwork/QTcpServer>
#include <QtTest/QtTest>

using namespace Scripted;

// The XHR transport against a scripted server: what it asks, what it posts, how it ends.
class tst_SockJSXHRPolling : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void metaObjectIsAsDeclared();
    void addressesAreBuilt_data();
    void addressesAreBuilt();
    void firstRequestIsExact_data();
    void firstRequestIsExact();
    void pollFollowsEveryResponse();
    void streamingResponseIsNotFollowedByARequest();
    void reconnectionStartsAPoll();
    void slotForReconnectionsAlwaysPolls();
    void rawRequestThatWaitsIsNoPoll();
    void pollsThatAreAnsweredByACloseAreFreed();
    void serverThatClosesAfterEveryResponseIsPolledOnceAtATime();
    void payloadIsFramedWithItsLengthInCharacters();
    void cookiesAreReturnedOnPollsAndPosts();
    void onlyTheLastCookieLineIsKept();
    void cookieStringIsExact();
    void percentSignsArriveAsTheyAre();
    void failedStartTellsWhyAndLeavesNothing();
    void failedTlsStartTellsWhy();
    void postIsExact();
    void postsLeaveOneAfterAnother();
    void failedPostIsLoggedAndTheNextLeaves();
    void postToADeadServerIsLogged();
    void closeIsReportedOnce();
    void nothingIsAskedAfterClose();
    void waitingPostsLeaveAfterClose();
    void postsAreTakenAfterClose();
    void lostServerIsReportedOnce();
    void answeredRequestsAreFreed();
    void refusedRequestsAreFreed();
    void secondStartReplacesTheFirst();
    void startInASlotPollsOnce();
    void headerSlotByHandLeavesTheResponseBeingRead();
    void ipv6AddressesStandInBrackets();
    void destroyingFromASlotIsSafe();
    void destroyingWithAPostUnderWayIsSafe();
};

namespace
{

const QByteArray FRAME_O = reply("o\n");

QString localhost()
{
    return u"127.0.0.1"_s;
}

QByteArray pollText(const QByteArray &path, const QByteArray &cookieLine = QByteArray())
{
    return "POST " + path
        + " HTTP/1.1\r\n"
          "Host: 127.0.0.1\r\n"
          "Connection: keep-alive\r\n"
          "Accept-Encoding: identity\r\n"
          "Content-Type: application/json\r\n"
          "Content-Length: 0\r\n"
        + cookieLine + "\r\n\r\n\r\n";
}

QByteArray bodyOf(const QByteArray &request)
{
    return request.mid(request.indexOf("\r\n\r\n") + 4);
}

// The value of a header of a request, null when it is not there.
QByteArray headerOf(const QByteArray &request, const QByteArray &name)
{
    const int start = request.indexOf("\r\n" + name + ": ");
    if (start < 0)
        return QByteArray();
    const int value = start + 2 + name.size() + 2;
    return request.mid(value, request.indexOf("\r\n", value) - value);
}

} // namespace

void tst_SockJSXHRPolling::metaObjectIsAsDeclared()
{
    const QMetaObject &meta = SockJSXHRPolling::staticMetaObject;
    QList<QByteArray> methods;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i)
        methods.append(meta.method(i).methodSignature());
    QCOMPARE(methods,
             (QList<QByteArray>{"connectionClosed()", "textMessageReceived(QString)",
                                "onReceivedHeadersResponse(XHRRequest*,QStringMap)",
                                "onReceivedMessageResponse(XHRRequest*,QString)",
                                "onNAMRequestFinished(QNetworkReply*)", "onReconnected()"}));
}

void tst_SockJSXHRPolling::addressesAreBuilt_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("requestPath");
    QTest::addColumn<QString>("sessionPath");
    QTest::newRow("usual") << "/eventbus/119/abcdefgh"
                           << "/eventbus/119/abcdefgh"
                           << "/eventbus/119/abcdefgh";
    QTest::newRow("relative") << "a/b"
                              << "/a/b"
                              << "/a/b";
    QTest::newRow("one slash at the end is dropped from the address only") << "/a//"
                                                                           << "/a//"
                                                                           << "/a/";
    QTest::newRow("empty") << ""
                           << "/"
                           << "";
    QTest::newRow("only the first slash is dropped") << "//a"
                                                     << "//a"
                                                     << "//a";
}

void tst_SockJSXHRPolling::addressesAreBuilt()
{
    QFETCH(QString, path);
    ScriptedServer server;
    server.onConnection({});
    QVERIFY(server.listen());
    SockJSXHRPolling transport;
    QVERIFY(transport.start(localhost(), server.port(), false, path, false));
    const QString base = u"http://127.0.0.1:"_s + QString::number(server.port());
    QCOMPARE(SockJSProbe::baseUrl(transport), base);
    QTEST(SockJSProbe::requestPath(transport), "requestPath");
    QFETCH(QString, sessionPath);
    QCOMPARE(SockJSProbe::sessionUrl(transport), base + sessionPath);
}

void tst_SockJSXHRPolling::firstRequestIsExact_data()
{
    QTest::addColumn<bool>("tls");
    QTest::addColumn<bool>("streaming");
    QTest::addColumn<QByteArray>("path");
    QTest::newRow("polling") << false << false << QByteArray("/eventbus/119/abcdefgh/xhr");
    QTest::newRow("streaming") << false << true
                               << QByteArray("/eventbus/119/abcdefgh/xhr_streaming");
    QTest::newRow("polling, TLS") << true << false << QByteArray("/eventbus/119/abcdefgh/xhr");
    QTest::newRow("streaming, TLS")
        << true << true << QByteArray("/eventbus/119/abcdefgh/xhr_streaming");
}

void tst_SockJSXHRPolling::firstRequestIsExact()
{
    QFETCH(bool, tls);
    QFETCH(bool, streaming);
    QFETCH(QByteArray, path);
    TestCertificates certificates;
    certificates.trust();
    ScriptedServer server;
    if (tls)
        server.setCertificate(certificates.issue(u"localhost"_s));
    server.onConnection({expect(pollText(path))});
    QVERIFY(server.listen());
    SockJSXHRPolling transport;
    QVERIFY(
        transport.start(localhost(), server.port(), tls, u"/eventbus/119/abcdefgh"_s, streaming));
    QCOMPARE(SockJSProbe::baseUrl(transport),
             u"%1://127.0.0.1:%2"_s.arg(tls ? u"https"_s : u"http"_s).arg(server.port()));
    QVERIFY2(server.finished(), qPrintable(server.failure()));
}

void tst_SockJSXHRPolling::pollFollowsEveryResponse()
{
    ScriptedServer server;
    server.onConnection({expect(pollText("/s/xhr")), send(FRAME_O), expect(pollText("/s/xhr")),
                         send(reply("a[\"x\"]\n")), expect(pollText("/s/xhr"))});
    QVERIFY(server.listen());
    const LogCapture log;
    SockJSXHRPolling transport;
    QSignalSpy frames(&transport, &SockJSXHRPolling::textMessageReceived);
    QVERIFY(transport.start(localhost(), server.port(), false, u"/s"_s, false));
    QTRY_COMPARE_WITH_TIMEOUT(frames.size(), 2, 20000);
    QVERIFY2(server.finished(), qPrintable(server.failure()));
    QCOMPARE(frames.at(0).at(0).toString(), u"o"_s);
    QCOMPARE(frames.at(1).at(0).toString(), u"a[\"x\"]"_s);
    QCOMPARE(
        log.messages(),
        (QStringList{"[SockJSXHRPolling] RECEIVED: o", "[SockJSXHRPolling] RECEIVED: a[\"x\"]"}));
}

void tst_SockJSXHRPolling::streamingResponseIsNotFollowedByARequest()
{
    ScriptedServer server;
    server.onConnection({expect(pollText("/s/xhr_streaming")), send(FRAME_O), pause(2500)});
    QVERIFY(server.listen());
    SockJSXHRPolling transport;
    QSignalSpy frames(&transport, &SockJSXHRPolling::textMessageReceived);
    QVERIFY(transport.start(localhost(), server.port(), false, u"/s"_s, true));
    QTRY_COMPARE_WITH_TIMEOUT(frames.size(), 1, 20000);
    QTest::qWait(2200); // two idle turns, in which a queued request would have left
    QCOMPARE(server.received(0), pollText("/s/xhr_streaming"));
}

// Also while a poll is out: a host that calls it wants one.
void tst_SockJSXHRPolling::slotForReconnectionsAlwaysPolls()
{
    ScriptedServer server;
    server.onConnection({expectRequest(), expectRequest(), expectRequest()});
    QVERIFY(server.listen());
    SockJSXHRPolling transport;
    QVERIFY(transport.start(u"127.0.0.1"_s, server.port(), false, u"/s"_s, false));
    transport.onReconnected();
    transport.onReconnected();
    QTRY_COMPARE_WITH_TIMEOUT(server.requests(0).size(), 3, 10000);
    for (const QByteArray &request : server.requests(0))
        QVERIFY(request.startsWith("POST /s/xhr HTTP/1.1\r\n"));
}

// A host's own request leaves on the new connection, and a poll besides.
void tst_SockJSXHRPolling::rawRequestThatWaitsIsNoPoll()
{
    ScriptedServer server;
    server.onConnection({expect(pollText("/s/xhr")), close()});
    server.onConnection({expect(pollText("/own")), send(reply("own\n")), expect(pollText("/s/xhr")),
                         send(FRAME_O)});
    QVERIFY(server.listen());
    SockJSXHRPolling transport;
    QSignalSpy frames(&transport, &SockJSXHRPolling::textMessageReceived);
    QVERIFY(transport.start(localhost(), server.port(), false, u"/s"_s, false));
    QVERIFY(transport.doRequestXHR(u"/own"_s, QString()));
    QTRY_COMPARE_WITH_TIMEOUT(frames.size(), 2, 20000);
    QCOMPARE(frames.at(0).at(0).toString(), u"own"_s);
    QCOMPARE(frames.at(1).at(0).toString(), u"o"_s);
    QVERIFY2(server.finished(), qPrintable(server.failure()));
}

void tst_SockJSXHRPolling::reconnectionStartsAPoll()
{
    ScriptedServer server;
    server.onConnection({expect(pollText("/s/xhr")), close()});
    server.onConnection({expect(pollText("/s/xhr")), send(FRAME_O)});
    QVERIFY(server.listen());
    SockJSXHRPolling transport;
    QSignalSpy frames(&transport, &SockJSXHRPolling::textMessageReceived);
    QSignalSpy ends(&transport, &SockJSXHRPolling::connectionClosed);
    QVERIFY(transport.start(localhost(), server.port(), false, u"/s"_s, false));
    QTRY_COMPARE_WITH_TIMEOUT(frames.size(), 1, 20000);
    QVERIFY2(server.finished(), qPrintable(server.failure()));
    QCOMPARE(ends.size(), 0);
}

void tst_SockJSXHRPolling::pollsThatAreAnsweredByACloseAreFreed()
{
    ScriptedServer server;
    for (int i = 0; i < 4; ++i)
        server.onConnection({expect(pollText("/s/xhr")), close()});
    server.onConnection({expect(pollText("/s/xhr")), send(FRAME_O), expect(pollText("/s/xhr"))});
    QVERIFY(server.listen());
    SockJSXHRPolling transport;
    QSignalSpy frames(&transport, &SockJSXHRPolling::textMessageReceived);
    QVERIFY(transport.start(localhost(), server.port(), false, u"/s"_s, false));
    QTRY_COMPARE_WITH_TIMEOUT(frames.size(), 1, 30000);
    QVERIFY2(server.finished(), qPrintable(server.failure()));
    // The one that was answered last, and the one that is out.
    QCOMPARE(SockJSProbe::requestsAlive(transport), 2);
}

void tst_SockJSXHRPolling::serverThatClosesAfterEveryResponseIsPolledOnceAtATime()
{
    ScriptedServer server;
    for (int i = 0; i < 3; ++i)
        server.onConnection({expect(pollText("/s/xhr")), send(FRAME_O), close()});
    server.onConnection({expect(pollText("/s/xhr")), pause(2500)});
    QVERIFY(server.listen());
    SockJSXHRPolling transport;
    QVERIFY(transport.start(localhost(), server.port(), false, u"/s"_s, false));
    QTRY_COMPARE_WITH_TIMEOUT(server.connectionCount(), 4, 20000);
    QTRY_VERIFY_WITH_TIMEOUT(server.finished(), 20000);
    QCOMPARE(server.received(3), pollText("/s/xhr"));
    QCOMPARE(server.connectionCount(), 4);
}

void tst_SockJSXHRPolling::payloadIsFramedWithItsLengthInCharacters()
{
    ScriptedServer server;
    server.onConnection({expect(pollText("/s/xhr")),
                         expect("POST /else HTTP/1.1\r\n"
                                "Host: 127.0.0.1\r\n"
                                "Connection: keep-alive\r\n"
                                "Accept-Encoding: identity\r\n"
                                "Content-Type: application/json\r\n"
                                "Content-Length: 4\r\n"
                                "\r\n"
                                "\xc3\xa4%1x\r\n\r\n")});
    QVERIFY(server.listen());
    SockJSXHRPolling transport;
    QVERIFY(transport.start(localhost(), server.port(), false, u"/s"_s, false));
    QVERIFY(transport.doRequestXHR(u"/else"_s, u"\u00e4%1x"_s));
    QVERIFY2(server.finished(), qPrintable(server.failure()));
}

void tst_SockJSXHRPolling::cookiesAreReturnedOnPollsAndPosts()
{
    ScriptedServer server;
    server.onConnection({expect(pollText("/s/xhr")),
                         send(reply("o\n", "200 OK", "Set-Cookie: JSESSIONID=a%20%1b; path=/\r\n")),
                         expect(pollText("/s/xhr", "Cookie: JSESSIONID=a%20%1b;\r\n"))});
    server.onConnection({expectRequest(), send(reply("", "204 No Content"))});
    QVERIFY(server.listen());
    const LogCapture log;
    SockJSXHRPolling transport;
    QSignalSpy frames(&transport, &SockJSXHRPolling::textMessageReceived);
    QVERIFY(transport.start(localhost(), server.port(), false, u"/s"_s, false));
    QTRY_COMPARE_WITH_TIMEOUT(frames.size(), 1, 20000);
    QCOMPARE(log.messages(),
             (QStringList{"[SockJSXHRPolling] parsed cookies", "[SockJSXHRPolling] RECEIVED: o"}));
    transport.sendTextMessage(u"[\"x\"]"_s);
    QTRY_COMPARE_WITH_TIMEOUT(server.requests(1).size(), 1, 20000);
    QCOMPARE(headerOf(server.requests(1).at(0), "Cookie"), QByteArray("JSESSIONID=a%20%1b"));
    QVERIFY2(server.finished(), qPrintable(server.failure()));
}

void tst_SockJSXHRPolling::onlyTheLastCookieLineIsKept()
{
    ScriptedServer server;
    server.onConnection({expect(pollText("/s/xhr")),
                         send(reply("o\n", "200 OK",
                                    "Set-Cookie: a=1; path=/\r\nSet-Cookie: b=2; path=/\r\n"
                                    "X-Set-Cookie-Too: c=3; path=/\r\n"
                                    "set-cookie: d=4; path=/\r\n"))});
    QVERIFY(server.listen());
    const LogCapture log;
    SockJSXHRPolling transport;
    QSignalSpy frames(&transport, &SockJSXHRPolling::textMessageReceived);
    QVERIFY(transport.start(localhost(), server.port(), false, u"/s"_s, false));
    QTRY_COMPARE_WITH_TIMEOUT(frames.size(), 1, 20000);
    // Every header whose name holds "Set-Cookie", by case, and of each name the last line.
    QCOMPARE(log.count(u"[SockJSXHRPolling] parsed cookies"_s), 2);
    QCOMPARE(transport.getCookieCount(), 2);
    QCOMPARE(transport.getCookieString(), u"b=2;c=3;"_s);
}

void tst_SockJSXHRPolling::cookieStringIsExact()
{
    ScriptedServer server;
    server.onConnection({expect(pollText("/s/xhr")), send(FRAME_O),
                         expect(pollText("/s/xhr", "Cookie: a=1;b=2;\r\n"))});
    QVERIFY(server.listen());
    SockJSXHRPolling transport;
    QVERIFY(transport.start(localhost(), server.port(), false, u"/s"_s, false));
    QCOMPARE(transport.getCookieString(), QString());
    QCOMPARE(transport.getCookieCount(), 0);
    SockJSProbe::cookieJar(transport)->setCookiesFromUrl(
        {QNetworkCookie("a", "1"), QNetworkCookie("b", "2")},
        QUrl(SockJSProbe::sessionUrl(transport)));
    QCOMPARE(transport.getCookieString(), u"a=1;b=2;"_s);
    QCOMPARE(transport.getCookieCount(), 2);
    QVERIFY(transport.findChild<QNetworkAccessManager *>()->cookieJar()
            == SockJSProbe::cookieJar(transport));
    QVERIFY(SockJSProbe::cookieJar(transport)->parent() == &transport);
    QTRY_COMPARE_WITH_TIMEOUT(
        server.received(0), pollText("/s/xhr") + pollText("/s/xhr", "Cookie: a=1;b=2;\r\n"), 20000);
}

void tst_SockJSXHRPolling::percentSignsArriveAsTheyAre()
{
    ScriptedServer server;
    server.onConnection({expect(pollText("/a%1b%2%0/xhr")), send(FRAME_O),
                         expect(pollText("/a%1b%2%0/xhr", "Cookie: %1=%2%0;\r\n"))});
    QVERIFY(server.listen());
    SockJSXHRPolling transport;
    QVERIFY(transport.start(localhost(), server.port(), false, u"/a%1b%2%0"_s, false));
    SockJSProbe::cookieJar(transport)->setCookiesFromUrl({QNetworkCookie("%1", "%2%0")},
                                                         QUrl(SockJSProbe::sessionUrl(transport)));
    QTRY_COMPARE_WITH_TIMEOUT(
        server.received(0),
        pollText("/a%1b%2%0/xhr") + pollText("/a%1b%2%0/xhr", "Cookie: %1=%2%0;\r\n"), 20000);
}

void tst_SockJSXHRPolling::failedStartTellsWhyAndLeavesNothing()
{
    const DeadPort port;
    const LogCapture log;
    SockJSXHRPolling transport;
    QSignalSpy ends(&transport, &SockJSXHRPolling::connectionClosed);
    QVERIFY(!transport.start(localhost(), port, false, u"/s"_s, false));
    QCOMPARE(log.messages(), QStringList{"[SockJSXHRPolling] Connection refused"});
    QVERIFY(!SockJSProbe::worker(transport));
    QCOMPARE(SockJSProbe::requestsAlive(transport), 0);
    transport.close();
    QTest::qWait(50);
    QCOMPARE(ends.size(), 0);
}

void tst_SockJSXHRPolling::failedTlsStartTellsWhy()
{
    TestCertificates certificates;
    ScriptedServer server;
    server.setCertificate(certificates.issue(u"localhost"_s));
    server.onEveryOther({});
    QVERIFY(server.listen());
    const LogCapture log;
    SockJSXHRPolling transport;
    QVERIFY(!transport.start(localhost(), server.port(), true, u"/s"_s, false));
    QCOMPARE(log.messages().size(), 1);
    QVERIFY2(log.messages().at(0).startsWith(u"[SockJSXHRPolling] The "_s),
             qPrintable(log.messages().at(0)));
}

void tst_SockJSXHRPolling::postIsExact()
{
    ScriptedServer server;
    server.onConnection({expect(pollText("/s/xhr"))});
    server.onConnection({expectRequest(), send(reply("", "204 No Content"))});
    QVERIFY(server.listen());
    const LogCapture log;
    SockJSXHRPolling transport;
    QVERIFY(transport.start(localhost(), server.port(), false, u"/s"_s, false));
    transport.sendTextMessage(u"[\n    \"\u20ac %1\"\n]\n"_s);
    QTRY_COMPARE_WITH_TIMEOUT(server.requests(1).size(), 1, 20000);
    const QByteArray request = server.requests(1).at(0);
    QVERIFY2(request.startsWith("POST /s/xhr_send HTTP/1.1\r\n"), request.constData());
    QCOMPARE(headerOf(request, "accept-encoding"), QByteArray("identity"));
    QCOMPARE(headerOf(request, "Content-Type"), QByteArray("application/json; charset=UTF-8"));
    QCOMPARE(headerOf(request, "Connection"), QByteArray("keep-alive"));
    QCOMPARE(headerOf(request, "Content-Length"), QByteArray("17"));
    QVERIFY(headerOf(request, "Cookie").isNull());
    QCOMPARE(bodyOf(request), QByteArray("[\n    \"\xe2\x82\xac %1\"\n]\n"));
    QVERIFY2(server.finished(), qPrintable(server.failure()));
    QCOMPARE(log.messages(), QStringList());
}

void tst_SockJSXHRPolling::postsLeaveOneAfterAnother()
{
    ScriptedServer server;
    server.onConnection({});
    Script script;
    for (int i = 0; i < 10; ++i)
        script << expectRequest() << pause(30) << send(reply("", "204 No Content"));
    server.onConnection(script);
    QVERIFY(server.listen());
    SockJSXHRPolling transport;
    QVERIFY(transport.start(localhost(), server.port(), false, u"/s"_s, false));
    for (int i = 0; i < 10; ++i)
        transport.sendTextMessage(QString::number(i));
    QTRY_COMPARE_WITH_TIMEOUT(server.requests(1).size(), 10, 30000);
    for (int i = 0; i < 10; ++i)
        QCOMPARE(bodyOf(server.requests(1).at(i)), QByteArray::number(i));
    QCOMPARE(server.connectionCount(), 2);
}

void tst_SockJSXHRPolling::failedPostIsLoggedAndTheNextLeaves()
{
    ScriptedServer server;
    server.onConnection({});
    server.onConnection({expectRequest(), send(reply("", "404 Not Found")), expectRequest(),
                         send(reply("", "204 No Content"))});
    QVERIFY(server.listen());
    const LogCapture log;
    SockJSXHRPolling transport;
    QVERIFY(transport.start(localhost(), server.port(), false, u"/s"_s, false));
    transport.sendTextMessage(u"lost"_s);
    transport.sendTextMessage(u"next"_s);
    QTRY_COMPARE_WITH_TIMEOUT(server.requests(1).size(), 2, 20000);
    QCOMPARE(bodyOf(server.requests(1).at(1)), QByteArray("next"));
    QCOMPARE(log.messages(),
             QStringList{u"[SockJSXHRPolling] xhr_send error: Error transferring "
                         "http://127.0.0.1:%1/s/xhr_send - server replied: Not Found"_s.arg(
                             server.port())});
}

void tst_SockJSXHRPolling::postToADeadServerIsLogged()
{
    ScriptedServer server;
    server.onConnection({});
    QVERIFY(server.listen());
    SockJSXHRPolling transport;
    QVERIFY(transport.start(localhost(), server.port(), false, u"/s"_s, false));
    transport.close();
    server.stop();
    const LogCapture log;
    transport.sendTextMessage(u"x"_s);
    transport.sendTextMessage(u"y"_s);
    const QString line = u"[SockJSXHRPolling] xhr_send error: Connection refused"_s;
    QTRY_COMPARE_WITH_TIMEOUT(log.messages(), (QStringList{line, line}), 20000);
}

void tst_SockJSXHRPolling::closeIsReportedOnce()
{
    ScriptedServer server;
    server.onConnection({expectEnd()});
    QVERIFY(server.listen());
    SockJSXHRPolling transport;
    QSignalSpy ends(&transport, &SockJSXHRPolling::connectionClosed);
    QVERIFY(transport.start(localhost(), server.port(), false, u"/s"_s, false));
    transport.close();
    transport.close();
    QCOMPARE(ends.size(), 0);
    QTRY_COMPARE_WITH_TIMEOUT(ends.size(), 1, 20000);
    transport.close();
    QVERIFY2(server.finished(), qPrintable(server.failure()));
    QTest::qWait(50);
    QCOMPARE(ends.size(), 1);
    QCOMPARE(SockJSProbe::requestsAlive(transport), 0);
}

void tst_SockJSXHRPolling::nothingIsAskedAfterClose()
{
    ScriptedServer server;
    server.onConnection({});
    QVERIFY(server.listen());
    SockJSXHRPolling transport;
    QVERIFY(transport.start(localhost(), server.port(), false, u"/s"_s, false));
    const int before = SockJSProbe::requestsAlive(transport);
    transport.close();
    const LogCapture log;
    transport.onReconnected();
    QVERIFY(!transport.doRequestXHR(u"/s/xhr"_s, QString()));
    QCOMPARE(log.messages(),
             (QStringList{"[SockJSXHRPolling] Can't make request when in closed state!",
                          "[SockJSXHRPolling] Can't make request when in closed state!"}));
    QCOMPARE(SockJSProbe::requestsAlive(transport), before);
}

void tst_SockJSXHRPolling::waitingPostsLeaveAfterClose()
{
    ScriptedServer server;
    server.onConnection({});
    server.onConnection({expectRequest(), pause(200), send(reply("", "204 No Content")),
                         expectRequest(), send(reply("", "204 No Content"))});
    QVERIFY(server.listen());
    SockJSXHRPolling transport;
    QSignalSpy ends(&transport, &SockJSXHRPolling::connectionClosed);
    QVERIFY(transport.start(localhost(), server.port(), false, u"/s"_s, false));
    transport.sendTextMessage(u"first"_s);
    transport.sendTextMessage(u"last"_s);
    transport.close();
    QTRY_COMPARE_WITH_TIMEOUT(server.requests(1).size(), 2, 20000);
    QCOMPARE(bodyOf(server.requests(1).at(1)), QByteArray("last"));
    QCOMPARE(ends.size(), 1);
}

void tst_SockJSXHRPolling::postsAreTakenAfterClose()
{
    ScriptedServer server;
    server.onConnection({});
    server.onConnection({expectRequest(), send(reply("", "204 No Content"))});
    QVERIFY(server.listen());
    SockJSXHRPolling transport;
    QSignalSpy ends(&transport, &SockJSXHRPolling::connectionClosed);
    QVERIFY(transport.start(localhost(), server.port(), false, u"/s"_s, false));
    transport.close();
    QTRY_COMPARE_WITH_TIMEOUT(ends.size(), 1, 20000);
    transport.sendTextMessage(u"late"_s);
    QTRY_COMPARE_WITH_TIMEOUT(server.requests(1).size(), 1, 20000);
    QCOMPARE(bodyOf(server.requests(1).at(0)), QByteArray("late"));
}

void tst_SockJSXHRPolling::lostServerIsReportedOnce()
{
    ScriptedServer server;
    server.onConnection({expect(pollText("/s/xhr"))});
    QVERIFY(server.listen());
    const LogCapture log;
    SockJSXHRPolling transport;
    QSignalSpy ends(&transport, &SockJSXHRPolling::connectionClosed);
    QVERIFY(transport.start(localhost(), server.port(), false, u"/s"_s, false));
    QVERIFY2(server.finished(), qPrintable(server.failure()));
    server.stop();
    QTRY_COMPARE_WITH_TIMEOUT(ends.size(), 1, 20000);
    QCOMPARE(log.messages().last(),
             u"[SockJSXHRPollingWorker] Connection attempts exceeded retry limit!"_s);
    QVERIFY(!SockJSProbe::worker(transport));
    QCOMPARE(SockJSProbe::requestsAlive(transport), 0);
    transport.doPoll();
    transport.close();
    QTest::qWait(50);
    QCOMPARE(ends.size(), 1);
}

void tst_SockJSXHRPolling::answeredRequestsAreFreed()
{
    ScriptedServer server;
    server.onConnection({expectRequest(), send(FRAME_O), expectRequest(), send(FRAME_O),
                         expectRequest(), send(FRAME_O), expectRequest()});
    QVERIFY(server.listen());
    SockJSXHRPolling transport;
    QVERIFY(transport.start(localhost(), server.port(), false, u"/s"_s, false));
    QTRY_COMPARE_WITH_TIMEOUT(server.requests(0).size(), 4, 20000);
    // The one whose response came last, and the one that waits for its own.
    QCOMPARE(SockJSProbe::requestsAlive(transport), 2);
}

void tst_SockJSXHRPolling::refusedRequestsAreFreed()
{
    ScriptedServer server;
    server.onConnection({});
    QVERIFY(server.listen());
    SockJSXHRPolling transport;
    QVERIFY(transport.start(localhost(), server.port(), false, u"/s"_s, false));
    for (int i = 1; i < 60; ++i)
        transport.doPoll();
    // 51 in the queue, and what the worker may have written in the meantime.
    QVERIFY(SockJSProbe::requestsAlive(transport) <= 53);
}

void tst_SockJSXHRPolling::secondStartReplacesTheFirst()
{
    ScriptedServer server;
    server.onConnection({expect(pollText("/s/xhr")), send(FRAME_O), expectEnd()});
    server.onConnection({expect(pollText("/t/xhr")), send(FRAME_O)});
    QVERIFY(server.listen());
    SockJSXHRPolling transport;
    QSignalSpy frames(&transport, &SockJSXHRPolling::textMessageReceived);
    QSignalSpy ends(&transport, &SockJSXHRPolling::connectionClosed);
    QVERIFY(transport.start(localhost(), server.port(), false, u"/s"_s, false));
    // Without events: the response stays on its way between the threads.
    for (const QDeadlineTimer limit(20000); server.received(0) != pollText("/s/xhr");)
        QVERIFY(!limit.hasExpired());
    QThread::msleep(200);
    QVERIFY(transport.start(localhost(), server.port(), false, u"/t"_s, false));
    QCOMPARE(frames.size(), 0);
    QTRY_COMPARE_WITH_TIMEOUT(frames.size(), 1, 20000);
    QVERIFY2(server.finished(), qPrintable(server.failure()));
    QCOMPARE(ends.size(), 0);
}

void tst_SockJSXHRPolling::startInASlotPollsOnce()
{
    ScriptedServer server;
    server.onConnection({expect(pollText("/s/xhr")), send(FRAME_O), expectEnd()});
    server.onConnection({expect(pollText("/t/xhr")), pause(2500)});
    QVERIFY(server.listen());
    SockJSXHRPolling transport;
    bool restarted = false;
    connect(&transport, &SockJSXHRPolling::textMessageReceived, this, [&] {
        restarted = transport.start(localhost(), server.port(), false, u"/t"_s, false);
    });
    QVERIFY(transport.start(localhost(), server.port(), false, u"/s"_s, false));
    QTRY_VERIFY_WITH_TIMEOUT(restarted, 20000);
    QTRY_VERIFY_WITH_TIMEOUT(server.finished(), 20000);
    QCOMPARE(server.received(1), pollText("/t/xhr"));
}

// The slot counts the request that the worker reads as done, while its body is still to come.
void tst_SockJSXHRPolling::headerSlotByHandLeavesTheResponseBeingRead()
{
    ScriptedServer server;
    server.onConnection({expect(pollText("/s/xhr")),
                         send("HTTP/1.1 200 OK\r\nSet-Cookie: a=1\r\nContent-Length: 2\r\n\r\n"),
                         pause(1000), send("o\n"), expectRequest()});
    QVERIFY(server.listen());
    SockJSXHRPolling transport;
    QSignalSpy frames(&transport, &SockJSXHRPolling::textMessageReceived);
    QVERIFY(transport.start(localhost(), server.port(), false, u"/s"_s, false));
    QTRY_COMPARE_WITH_TIMEOUT(transport.getCookieCount(), 1, 20000);
    transport.onReceivedHeadersResponse(nullptr, QStringMap());
    QTRY_COMPARE_WITH_TIMEOUT(frames.size(), 1, 20000);
    QVERIFY2(server.finished(), qPrintable(server.failure()));
}

void tst_SockJSXHRPolling::ipv6AddressesStandInBrackets()
{
    QTcpServer server;
    if (!server.listen(QHostAddress::LocalHostIPv6))
        QSKIP("This machine has no IPv6.");
    SockJSXHRPolling transport;
    QVERIFY(transport.start(u"::1"_s, server.serverPort(), false, u"/s"_s, false));
    QCOMPARE(SockJSProbe::baseUrl(transport), u"http://[::1]:%1"_s.arg(server.serverPort()));
    QVERIFY(QUrl(SockJSProbe::sessionUrl(transport)).isValid());
    QTRY_VERIFY(server.hasPendingConnections());
    QTcpSocket *client = server.nextPendingConnection();
    QTRY_VERIFY_WITH_TIMEOUT(client->bytesAvailable() > 0, 20000);
    QVERIFY(client->readAll().startsWith("POST /s/xhr HTTP/1.1\r\nHost: [::1]\r\n"));
}

void tst_SockJSXHRPolling::destroyingFromASlotIsSafe()
{
    ScriptedServer server;
    server.onConnection({expect(pollText("/s/xhr")), send(FRAME_O), expectEnd()});
    QVERIFY(server.listen());
    auto *transport = new SockJSXHRPolling;
    QObject::connect(transport, &SockJSXHRPolling::textMessageReceived, this,
                     [transport] { delete transport; });
    const QPointer<SockJSXHRPolling> alive(transport);
    QVERIFY(transport->start(localhost(), server.port(), false, u"/s"_s, false));
    QTRY_VERIFY_WITH_TIMEOUT(!alive, 20000);

    ScriptedServer second;
    second.onConnection({expectEnd()});
    QVERIFY(second.listen());
    transport = new SockJSXHRPolling;
    const QPointer<SockJSXHRPolling> secondAlive(transport);
    QObject::connect(transport, &SockJSXHRPolling::connectionClosed, this,
                     [transport] { delete transport; });
    QVERIFY(transport->start(localhost(), second.port(), false, u"/s"_s, false));
    transport->close();
    QTRY_VERIFY_WITH_TIMEOUT(!secondAlive, 20000);
    QVERIFY2(server.finished(), qPrintable(server.failure()));
    QVERIFY2(second.finished(), qPrintable(second.failure()));
}

// The manager ends its replies without a word when it goes.
void tst_SockJSXHRPolling::destroyingWithAPostUnderWayIsSafe()
{
    ScriptedServer server;
    server.onConnection({expectEnd()});
    server.onConnection({expectRequest(), pause(20000)});
    QVERIFY(server.listen());
    const LogCapture log;
    {
        SockJSXHRPolling transport;
        QVERIFY(transport.start(localhost(), server.port(), false, u"/s"_s, false));
        transport.sendTextMessage(u"under way"_s);
        transport.sendTextMessage(u"waiting"_s);
        QTRY_COMPARE_WITH_TIMEOUT(server.requests(1).size(), 1, 20000);
    }
    QCOMPARE(log.messages(), QStringList());
    {
        SockJSXHRPolling neverStarted;
    }
}

QTEST_GUILESS_MAIN(tst_SockJSXHRPolling)
#include "tst_sockjsxhrpolling.moc"
