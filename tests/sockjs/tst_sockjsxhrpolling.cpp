#include "OpenTransport.h"
#include "support/MetaMethods.h"
#include "support/TestCertificates.h"

#include <QtNetwork/QNetworkAccessManager>
#include <QtNetwork/QNetworkCookie>
#include <QtNetwork/QNetworkCookieJar>
#include <QtNetwork/QTcpServer>

using namespace Scripted;

// What the XHR transport asks on its polling connection, and when.
class tst_SockJSXHRPolling : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void metaObjectIsAsDeclared();
    void addressesAreBuilt_data();
    void addressesAreBuilt();
    void ipv6AddressesStandInBrackets();
    void firstRequestIsExact_data();
    void firstRequestIsExact();
    void failedTlsStartTellsWhy();
    void pollFollowsEveryResponse();
    void streamingResponseIsNotFollowedByARequest();
    void reconnectionStartsAPoll();
    void slotForReconnectionsAlwaysPolls();
    void rawRequestThatWaitsIsNoPoll();
    void pollsThatAreAnsweredByACloseAreFreed();
    void serverThatClosesAfterEveryResponseIsPolledOnceAtATime();
    void answeredRequestsAreFreed();
    void refusedRequestsAreFreed();
    void headerSlotByHandLeavesTheResponseBeingRead();
    void payloadIsFramedWithItsLengthInCharacters();
    void cookiesAreReturnedOnPollsAndPosts();
    void onlyTheLastCookieLineIsKept();
    void cookieStringIsExact();
    void percentSignsArriveAsTheyAre();
};

void tst_SockJSXHRPolling::metaObjectIsAsDeclared()
{
    QCOMPARE(methodsOf(SockJSXHRPolling::staticMetaObject),
             (QStringList{"connectionClosed()", "textMessageReceived(QString)",
                          "onReceivedHeadersResponse(XHRRequest*,QStringMap)",
                          "onReceivedMessageResponse(XHRRequest*,QString)",
                          "onNAMRequestFinished(QNetworkReply*)", "onReconnected()"}));
}

void tst_SockJSXHRPolling::addressesAreBuilt_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("requestPath");
    QTest::addColumn<QString>("sessionPath");
    const auto row = [](const char *name, const char *path, const char *requestPath,
                        const char *sessionPath) {
        QTest::newRow(name) << path << requestPath << sessionPath;
    };
    row("usual", "/eventbus/119/abcdefgh", "/eventbus/119/abcdefgh", "/eventbus/119/abcdefgh");
    row("relative", "a/b", "/a/b", "/a/b");
    row("one slash at the end is dropped from the address only", "/a//", "/a//", "/a/");
    row("empty", "", "/", "");
    row("only the first slash is dropped", "//a", "//a", "//a");
}

void tst_SockJSXHRPolling::addressesAreBuilt()
{
    QFETCH(QString, path);
    OpenTransport m{{}};
    QVERIFY(m.start(path));
    const QString base = u"http://127.0.0.1:"_s + QString::number(m.server.port());
    QCOMPARE(SockJSProbe::baseUrl(m.transport), base);
    QTEST(SockJSProbe::requestPath(m.transport), "requestPath");
    QFETCH(QString, sessionPath);
    QCOMPARE(SockJSProbe::sessionUrl(m.transport), base + sessionPath);
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

void tst_SockJSXHRPolling::firstRequestIsExact_data()
{
    QTest::addColumn<bool>("tls");
    QTest::addColumn<bool>("streaming");
    QTest::addColumn<QByteArray>("path");
    const QByteArray polling = "/eventbus/119/abcdefgh/xhr";
    const QByteArray streaming = "/eventbus/119/abcdefgh/xhr_streaming";
    QTest::newRow("polling") << false << false << polling;
    QTest::newRow("streaming") << false << true << streaming;
    QTest::newRow("polling, TLS") << true << false << polling;
    QTest::newRow("streaming, TLS") << true << true << streaming;
}

void tst_SockJSXHRPolling::firstRequestIsExact()
{
    QFETCH(bool, tls);
    QFETCH(bool, streaming);
    QFETCH(QByteArray, path);
    TestCertificates certificates;
    certificates.trust();
    const TestCertificates::Identity identity = certificates.issue(u"localhost"_s);
    OpenTransport m({{expect(pollText(path))}}, tls ? &identity : nullptr);
    QVERIFY(m.start(u"/eventbus/119/abcdefgh"_s, streaming));
    QCOMPARE(SockJSProbe::baseUrl(m.transport),
             u"%1://127.0.0.1:%2"_s.arg(tls ? u"https"_s : u"http"_s).arg(m.server.port()));
}

void tst_SockJSXHRPolling::failedTlsStartTellsWhy()
{
    TestCertificates certificates;
    const TestCertificates::Identity identity = certificates.issue(u"localhost"_s);
    OpenTransport m({}, &identity);
    m.server.onEveryOther({});
    QVERIFY(!m.start());
    QCOMPARE(m.log.messages().size(), 1);
    QVERIFY2(m.log.messages().at(0).startsWith(u"[SockJSXHRPolling] The "_s),
             qPrintable(m.log.messages().at(0)));
}

void tst_SockJSXHRPolling::pollFollowsEveryResponse()
{
    OpenTransport m{
        {expect(POLL), send(FRAME_O), expect(POLL), send(reply("a[\"x\"]\n")), expect(POLL)}};
    QVERIFY(m.start());
    QTRY_COMPARE_WITH_TIMEOUT(m.frames.size(), 2, 20000);
    QCOMPARE(m.frames.at(0).at(0).toString(), u"o"_s);
    QCOMPARE(m.frames.at(1).at(0).toString(), u"a[\"x\"]"_s);
    QCOMPARE(
        m.log.messages(),
        (QStringList{"[SockJSXHRPolling] RECEIVED: o", "[SockJSXHRPolling] RECEIVED: a[\"x\"]"}));
}

// Requests leave in their order: what is asked next would have to wait for a poll.
void tst_SockJSXHRPolling::streamingResponseIsNotFollowedByARequest()
{
    OpenTransport m{
        {expect(pollText("/s/xhr_streaming")), send(FRAME_O), expect(pollText("/own"))}};
    QVERIFY(m.start(u"/s"_s, true));
    QTRY_COMPARE_WITH_TIMEOUT(m.frames.size(), 1, 20000);
    QVERIFY(m.transport.doRequestXHR(u"/own"_s, QString()));
}

void tst_SockJSXHRPolling::reconnectionStartsAPoll()
{
    OpenTransport m{{expect(POLL), close()}, {expect(POLL), send(FRAME_O)}};
    QVERIFY(m.start());
    QTRY_COMPARE_WITH_TIMEOUT(m.frames.size(), 1, 20000);
    QCOMPARE(m.ends.size(), 0);
}

// Also while a poll is out: a host that calls it wants one.
void tst_SockJSXHRPolling::slotForReconnectionsAlwaysPolls()
{
    OpenTransport m{{expectRequest(), expectRequest(), expectRequest()}};
    QVERIFY(m.start());
    m.transport.onReconnected();
    m.transport.onReconnected();
    QTRY_COMPARE_WITH_TIMEOUT(m.server.requests(0).size(), 3, 10000);
    for (const QByteArray &request : m.server.requests(0))
        QVERIFY(request.startsWith("POST /s/xhr HTTP/1.1\r\n"));
}

// A host's own request leaves on the new connection, and a poll besides.
void tst_SockJSXHRPolling::rawRequestThatWaitsIsNoPoll()
{
    OpenTransport m{{expect(POLL), close()},
                    {expect(pollText("/own")), send(reply("own\n")), expect(POLL), send(FRAME_O)}};
    QVERIFY(m.start());
    QVERIFY(m.transport.doRequestXHR(u"/own"_s, QString()));
    QTRY_COMPARE_WITH_TIMEOUT(m.frames.size(), 2, 20000);
    QCOMPARE(m.frames.at(0).at(0).toString(), u"own"_s);
    QCOMPARE(m.frames.at(1).at(0).toString(), u"o"_s);
}

void tst_SockJSXHRPolling::pollsThatAreAnsweredByACloseAreFreed()
{
    const Script closing{expect(POLL), close()};
    OpenTransport m{
        closing, closing, closing, closing, {expect(POLL), send(FRAME_O), expect(POLL)}};
    QVERIFY(m.start());
    QTRY_COMPARE_WITH_TIMEOUT(m.frames.size(), 1, 30000);
    QVERIFY(m.server.finished());
    // The one that was answered last, and the one that is out.
    QCOMPARE(SockJSProbe::requestsAlive(m.transport), 2);
}

void tst_SockJSXHRPolling::serverThatClosesAfterEveryResponseIsPolledOnceAtATime()
{
    const Script closing{expect(POLL), send(FRAME_O), close()};
    OpenTransport m{closing, closing, closing, {expect(POLL), expect(pollText("/own"))}};
    QVERIFY(m.start());
    QTRY_COMPARE_WITH_TIMEOUT(m.server.received(3), POLL, 20000);
    // A second poll would wait before it.
    QVERIFY(m.transport.doRequestXHR(u"/own"_s, QString()));
    QVERIFY(m.server.finished());
    QCOMPARE(m.server.connectionCount(), 4);
}

void tst_SockJSXHRPolling::answeredRequestsAreFreed()
{
    OpenTransport m{{expectRequest(), send(FRAME_O), expectRequest(), send(FRAME_O),
                     expectRequest(), send(FRAME_O), expectRequest()}};
    QVERIFY(m.start());
    QTRY_COMPARE_WITH_TIMEOUT(m.server.requests(0).size(), 4, 20000);
    // The one whose response came last, and the one that waits for its own.
    QCOMPARE(SockJSProbe::requestsAlive(m.transport), 2);
}

void tst_SockJSXHRPolling::refusedRequestsAreFreed()
{
    OpenTransport m{{}};
    QVERIFY(m.start());
    for (int i = 1; i < 60; ++i)
        m.transport.doPoll();
    // 51 in the queue, and what the worker may have written in the meantime.
    QVERIFY(SockJSProbe::requestsAlive(m.transport) <= 53);
}

// The slot counts the request that the worker reads as done, while its body is still to come.
void tst_SockJSXHRPolling::headerSlotByHandLeavesTheResponseBeingRead()
{
    OpenTransport m{{expect(POLL),
                     send("HTTP/1.1 200 OK\r\nSet-Cookie: a=1\r\nContent-Length: 2\r\n\r\n"),
                     pause(1000), send("o\n"), expectRequest()}};
    QVERIFY(m.start());
    QTRY_COMPARE_WITH_TIMEOUT(m.transport.getCookieCount(), 1, 20000);
    m.transport.onReceivedHeadersResponse(nullptr, QStringMap());
    QTRY_COMPARE_WITH_TIMEOUT(m.frames.size(), 1, 20000);
}

void tst_SockJSXHRPolling::payloadIsFramedWithItsLengthInCharacters()
{
    OpenTransport m{{expect(POLL),
                     expect("POST /else HTTP/1.1\r\n"
                            "Host: 127.0.0.1\r\n"
                            "Connection: keep-alive\r\n"
                            "Accept-Encoding: identity\r\n"
                            "Content-Type: application/json\r\n"
                            "Content-Length: 4\r\n"
                            "\r\n"
                            "\xc3\xa4%1x\r\n\r\n")}};
    QVERIFY(m.start());
    QVERIFY(m.transport.doRequestXHR(u"/else"_s, u"\u00e4%1x"_s));
}

void tst_SockJSXHRPolling::cookiesAreReturnedOnPollsAndPosts()
{
    OpenTransport m{{expect(POLL),
                     send(reply("o\n", "200 OK", "Set-Cookie: JSESSIONID=a%20%1b; path=/\r\n")),
                     expect(pollText("/s/xhr", "Cookie: JSESSIONID=a%20%1b;\r\n"))},
                    {expectRequest(), send(NO_CONTENT)}};
    QVERIFY(m.start());
    QTRY_COMPARE_WITH_TIMEOUT(m.frames.size(), 1, 20000);
    QCOMPARE(m.log.messages(),
             (QStringList{"[SockJSXHRPolling] parsed cookies", "[SockJSXHRPolling] RECEIVED: o"}));
    m.transport.sendTextMessage(u"[\"x\"]"_s);
    QTRY_COMPARE_WITH_TIMEOUT(m.server.requests(1).size(), 1, 20000);
    QCOMPARE(headerOf(m.server.requests(1).at(0), "Cookie"), QByteArray("JSESSIONID=a%20%1b"));
}

void tst_SockJSXHRPolling::onlyTheLastCookieLineIsKept()
{
    OpenTransport m{{expect(POLL),
                     send(reply("o\n", "200 OK",
                                "Set-Cookie: a=1; path=/\r\nSet-Cookie: b=2; path=/\r\n"
                                "X-Set-Cookie-Too: c=3; path=/\r\n"
                                "set-cookie: d=4; path=/\r\n"))}};
    QVERIFY(m.start());
    QTRY_COMPARE_WITH_TIMEOUT(m.frames.size(), 1, 20000);
    // Every header whose name holds "Set-Cookie", by case, and of each name the last line.
    QCOMPARE(m.log.count(u"[SockJSXHRPolling] parsed cookies"_s), 2);
    QCOMPARE(m.transport.getCookieCount(), 2);
    QCOMPARE(m.transport.getCookieString(), u"b=2;c=3;"_s);
}

void tst_SockJSXHRPolling::cookieStringIsExact()
{
    OpenTransport m{
        {expect(POLL), send(FRAME_O), expect(pollText("/s/xhr", "Cookie: a=1;b=2;\r\n"))}};
    QVERIFY(m.start());
    QCOMPARE(m.transport.getCookieString(), QString());
    QCOMPARE(m.transport.getCookieCount(), 0);
    QNetworkCookieJar *jar = SockJSProbe::cookieJar(m.transport);
    jar->setCookiesFromUrl({QNetworkCookie("a", "1"), QNetworkCookie("b", "2")},
                           QUrl(SockJSProbe::sessionUrl(m.transport)));
    QCOMPARE(m.transport.getCookieString(), u"a=1;b=2;"_s);
    QCOMPARE(m.transport.getCookieCount(), 2);
    QVERIFY(m.transport.findChild<QNetworkAccessManager *>()->cookieJar() == jar);
    QVERIFY(jar->parent() == &m.transport);
    QTRY_COMPARE_WITH_TIMEOUT(m.server.received(0),
                              POLL + pollText("/s/xhr", "Cookie: a=1;b=2;\r\n"), 20000);
}

void tst_SockJSXHRPolling::percentSignsArriveAsTheyAre()
{
    const QByteArray first = pollText("/a%1b%2%0/xhr");
    const QByteArray second = pollText("/a%1b%2%0/xhr", "Cookie: %1=%2%0;\r\n");
    OpenTransport m{{expect(first), send(FRAME_O), expect(second)}};
    QVERIFY(m.start(u"/a%1b%2%0"_s));
    SockJSProbe::cookieJar(m.transport)
        ->setCookiesFromUrl({QNetworkCookie("%1", "%2%0")},
                            QUrl(SockJSProbe::sessionUrl(m.transport)));
    QTRY_COMPARE_WITH_TIMEOUT(m.server.received(0), first + second, 20000);
}

QTEST_GUILESS_MAIN(tst_SockJSXHRPolling)
#include "tst_sockjsxhrpolling.moc"
