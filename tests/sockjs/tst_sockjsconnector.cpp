#include "DeadPort.h"
#include "RawWebSocketServer.h"
#include "SockJSProbe.h"
#include "support/LogCapture.h"
#include "support/ScriptedServer.h"
#include "support/TestCertificates.h"
#include "support/Text.h"

#include <QtNetwork/QSslKey>
#include <QtTest/QtTest>
#include <QtWebSockets/QWebSocketServer>

using namespace Scripted;
using Protocols = QList<SockJSConnector::PROTOCOL_TYPE>;

// The connector: its addresses and frames, the choice of a transport, and what it logs.
class tst_SockJSConnector : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void metaObjectIsAsDeclared();
    void protocolNames();
    void freshConnectorIsIdle();
    void serverUrlIsTakenApart_data();
    void serverUrlIsTakenApart();
    void emptyListStartsNothing();
    void unknownProtocolIsLoggedAndSkipped();
    void pastTheEndOfTheListIsLogged();
    void sessionIdIsMadeForEveryOpen();
    void incomingFrames_data();
    void incomingFrames();
    void openFrameCountsOnce();
    void outgoingFrames_data();
    void outgoingFrames();
    void mapIsSentAsIndentedJson();
    void sendingWithoutATransportLosesTheMessage();
    void onConnectedSlotOpensTheSession();
    void slotsActOnAnIdleConnector();
    void timeoutSlotActsOnAnIdleConnector();
    void websocketSessionOpens_data();
    void websocketSessionOpens();
    void refusedWebsocketGivesWayToTheNextEntry();
    void handshakeRefusedOnAnOpenConnectionGivesWayToo();
    void invalidUrlGivesWayToo();
    void untrustedTlsServerGivesWayToo();
    void framesThatComeWithTheHandshakeAreHandledInOrder();
    void endThatComesWithTheHandshakeIsNotMissed();
    void websocketLostBeforeTheOpenFrameFallsBackToPolling();
    void fallbackThatFailsIsReportedAsClosed();
    void websocketLostAfterTheOpenFrameIsReportedAsClosed();
    void xhrSessionOpens_data();
    void xhrSessionOpens();
    void xhrLostBeforeTheOpenFrameIsReportedAsClosed();
    void failedXhrAttemptIsFreedAtOnce();
    void inactivity_data();
    void inactivity();
    void inactivityTimerIsMadeOnce();
    void waitingForAWebsocketDispatchesEventsWithoutSpinning();
    void openstateSlotEndsTheWait_data();
    void openstateSlotEndsTheWait();
    void openstateSlotMeansNothingToASessionInUse();
    void applicationMayQuitDuringAnAttempt();
    void hostOfAnApplicationThatWasToldToQuitMayOpen();
    void withoutAProxyTheEnvironmentStays();
    void idleSessionsCostNextToNoTime();
};

namespace
{

const QString CLOSED_LINE = u"[SockJSConnector] Websocket CLOSED"_s;
const QString CONNECTED_LINE = u"[SockJSConnector] CONNECTED via Websocket"_s;
const QString FALLBACK_LINE = u"[SockJSConnector] Fallback to XHR_Polling"_s;

constexpr auto WEBSOCKET = SockJSConnector::WEBSOCKET;
constexpr auto XHR_STREAMING = SockJSConnector::XHR_STREAMING;
constexpr auto XHR_POLLING = SockJSConnector::XHR_POLLING;

QUrl serverUrl(quint16 port, const QString &scheme = u"ws"_s)
{
    return QUrl(u"%1://127.0.0.1:%2/bus/"_s.arg(scheme).arg(port));
}

// The line that a web-socket attempt writes first.
QString urlLine(const SockJSConnector &connector)
{
    return u"[SockJSConnector] Websocket url = %1://%2:%3%4/eventbus/119/%5/websocket"_s.arg(
        SockJSProbe::ssl(connector) ? u"wss"_s : u"ws"_s, SockJSProbe::host(connector),
        QString::number(SockJSProbe::port(connector)), SockJSProbe::path(connector),
        SockJSProbe::sessionId(connector));
}

struct Spies {
    explicit Spies(SockJSConnector &connector)
        : connected(&connector, &SockJSConnector::connected),
          messages(&connector, &SockJSConnector::sockJSMessage),
          closed(&connector, &SockJSConnector::closed)
    {
    }
    QStringList texts() const
    {
        QStringList list;
        for (const QList<QVariant> &message : messages)
            list.append(message.at(0).toString());
        return list;
    }
    QSignalSpy connected;
    QSignalSpy messages;
    QSignalSpy closed;
};

} // namespace

void tst_SockJSConnector::metaObjectIsAsDeclared()
{
    const QMetaObject &meta = SockJSConnector::staticMetaObject;
    QList<QByteArray> methods;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i)
        methods.append(meta.method(i).methodSignature());
    QCOMPARE(
        methods,
        (QList<QByteArray>{"connected()", "sockJSMessage(QString)", "error(int)", "closed(bool)",
                           "onConnected()", "onClosed()", "onTextMessageReceived(QString)",
                           "onTimeout()", "openstate1()", "openstate2()"}));
}

void tst_SockJSConnector::protocolNames()
{
    QCOMPARE(int(WEBSOCKET), 1);
    QCOMPARE(int(XHR_STREAMING), 2);
    QCOMPARE(int(XHR_POLLING), 4);
    const QMap<SockJSConnector::PROTOCOL_TYPE, QString> names =
        SockJSConnector::PROTOCOL_TYPE_STR();
    QCOMPARE(names.keys(), (Protocols{WEBSOCKET, XHR_STREAMING, XHR_POLLING}));
    QCOMPARE(names.values(), (QStringList{"websocket", "xhr-streaming", "xhr-polling"}));
}

void tst_SockJSConnector::freshConnectorIsIdle()
{
    SockJSConnector connector;
    QVERIFY(!connector.isConnected());
    QVERIFY(!SockJSProbe::inactivityTimer(connector));
    QVERIFY(!SockJSProbe::closing(connector));
    QVERIFY(!SockJSProbe::xhrPolling(connector));
    QVERIFY(!SockJSProbe::webSocket(connector));
    QVERIFY(SockJSProbe::lastActivity(connector).isNull());
    QCOMPARE(SockJSProbe::path(connector), QString());
    QVERIFY(!SockJSProbe::path(connector).isNull());
}

void tst_SockJSConnector::serverUrlIsTakenApart_data()
{
    QTest::addColumn<QString>("url");
    QTest::addColumn<bool>("ssl");
    QTest::addColumn<int>("port");
    QTest::addColumn<QString>("host");
    QTest::addColumn<QString>("path");
    QTest::newRow("wss") << "wss://h/x/" << true << 443 << "h"
                         << "/x";
    QTest::newRow("https") << "https://h/x" << true << 443 << "h"
                           << "/x";
    QTest::newRow("http with a port") << "http://h:8080" << false << 8080 << "h"
                                      << "";
    QTest::newRow("ws") << "ws://h/" << false << 80 << "h"
                        << "";
    QTest::newRow("wss with a port") << "wss://h:8443/x/y" << true << 8443 << "h"
                                     << "/x/y";
    // The URL class itself writes schemes in small letters.
    QTest::newRow("capitals") << "HTTPS://h/x" << true << 443 << "h"
                              << "/x";
    QTest::newRow("other scheme") << "ftp://h/x" << false << 80 << "h"
                                  << "/x";
    QTest::newRow("no scheme") << "//h/x" << false << 80 << "h"
                               << "/x";
    QTest::newRow("only one slash is dropped") << "ws://h/x//" << false << 80 << "h"
                                               << "/x/";
    QTest::newRow("path is decoded") << "ws://h/a%20b%2541" << false << 80 << "h"
                                     << "/a b%41";
    QTest::newRow("empty") << "" << false << 80 << ""
                           << "";
}

void tst_SockJSConnector::serverUrlIsTakenApart()
{
    QFETCH(QString, url);
    SockJSConnector connector;
    QVERIFY(!connector.open(QUrl(url), {}));
    QTEST(SockJSProbe::ssl(connector), "ssl");
    QTEST(SockJSProbe::port(connector), "port");
    QTEST(SockJSProbe::host(connector), "host");
    QTEST(SockJSProbe::path(connector), "path");
}

void tst_SockJSConnector::emptyListStartsNothing()
{
    const LogCapture log;
    SockJSConnector connector;
    Spies spies(connector);
    QVERIFY(!connector.open(serverUrl(1), {}));
    QCOMPARE(log.messages(), QStringList());
    QCOMPARE(spies.closed.size(), 0);
    QVERIFY(!SockJSProbe::webSocket(connector));
    QVERIFY(!SockJSProbe::xhrPolling(connector));
}

void tst_SockJSConnector::unknownProtocolIsLoggedAndSkipped()
{
    ScriptedServer server;
    server.onConnection({});
    QVERIFY(server.listen());
    const LogCapture log;
    SockJSConnector connector;
    QVERIFY(!connector.open(serverUrl(server.port()),
                            {SockJSConnector::PROTOCOL_TYPE(3), XHR_POLLING, WEBSOCKET}));
    QCOMPARE(log.messages(),
             (QStringList{"[SockJSConnector] No more protocols found!",
                          "[SockJSConnector] CONNECTED via xhr_polling"}));
}

void tst_SockJSConnector::pastTheEndOfTheListIsLogged()
{
    SockJSConnector connector;
    connector.open(serverUrl(1), {});
    const LogCapture log;
    QVERIFY(!SockJSProbe::tryNextProtocol(connector));
    QCOMPARE(log.messages(), QStringList{"[SockJSConnector] No more protocols found!"});
}

void tst_SockJSConnector::sessionIdIsMadeForEveryOpen()
{
    SockJSConnector connector;
    connector.open(serverUrl(1), {});
    const QString first = SockJSProbe::sessionId(connector);
    QVERIFY(QRegularExpression(u"^[A-Za-z0-9]{8}$"_s).match(first).hasMatch());
    // The seed is the time in whole seconds.
    QTest::qWait(1100);
    connector.open(serverUrl(1), {});
    QVERIFY(SockJSProbe::sessionId(connector) != first);
}

void tst_SockJSConnector::incomingFrames_data()
{
    QTest::addColumn<QString>("frame");
    QTest::addColumn<QStringList>("messages");
    QTest::newRow("two messages") << "a[\"x\",\"y\"]" << QStringList{"x", "y"};
    QTest::newRow("none") << "a[]" << QStringList();
    QTest::newRow("number") << "a[1]" << QStringList{"1"};
    QTest::newRow("fraction") << "a[1.5]" << QStringList{"1.5"};
    QTest::newRow("booleans") << "a[true,false]" << QStringList{"true", "false"};
    QTest::newRow("object, array, null")
        << "a[{\"a\":1},[\"b\"],null,\"c\"]" << QStringList{"", "", "", "c"};
    QTest::newRow("escapes") << "a[\"{\\\"t\\\":\\\"\\u00e4\\n\\\"}\"]"
                             << QStringList{u"{\"t\":\"\u00e4\n\"}"_s};
    QTest::newRow("letters") << u"a[\"\u20ac\"]"_s << QStringList{u"\u20ac"_s};
    QTest::newRow("spaces") << "a [ \"x\" ] " << QStringList{"x"};
    QTest::newRow("heartbeat") << "h" << QStringList();
    QTest::newRow("close frame") << "c[3000,\"Go away!\"]" << QStringList();
    QTest::newRow("capital") << "A[\"x\"]" << QStringList();
    QTest::newRow("empty") << "" << QStringList();
    QTest::newRow("bare string is no list") << "a\"x\"" << QStringList();
    QTest::newRow("object is no list") << "a{\"x\":1}" << QStringList();
    QTest::newRow("does not parse") << "a[\"x\",]" << QStringList();
    QTest::newRow("cut off") << "a[\"x\",\"y" << QStringList();
    QTest::newRow("just the letter") << "a" << QStringList();
    QTest::newRow("not quite open") << "open" << QStringList();
    QTest::newRow("deep") << QString(QLatin1Char('a') + QString(100000, QLatin1Char('[')))
                          << QStringList();
}

void tst_SockJSConnector::incomingFrames()
{
    QFETCH(QString, frame);
    SockJSConnector connector;
    Spies spies(connector);
    connector.onTextMessageReceived(frame);
    QTEST(spies.texts(), "messages");
    QCOMPARE(spies.connected.size(), 0);
    QCOMPARE(spies.closed.size(), 0);
}

void tst_SockJSConnector::openFrameCountsOnce()
{
    SockJSConnector connector;
    Spies spies(connector);
    connector.onTextMessageReceived(u"O"_s);
    connector.onTextMessageReceived(u"o "_s);
    QCOMPARE(spies.connected.size(), 0);
    connector.onTextMessageReceived(u"o"_s);
    QVERIFY(connector.isConnected());
    connector.onTextMessageReceived(u"o"_s);
    QCOMPARE(spies.connected.size(), 1);
}

void tst_SockJSConnector::outgoingFrames_data()
{
    QTest::addColumn<QString>("message");
    QTest::addColumn<QByteArray>("frame");
    QTest::newRow("text") << "abc" << QByteArray("[\n    \"abc\"\n]\n");
    QTest::newRow("empty") << "" << QByteArray("[\n    \"\"\n]\n");
    QTest::newRow("brackets lose their spaces") << "a [ b" << QByteArray("[\n    \"a [b\"\n]\n");
    QTest::newRow("at both sides, once each") << "[  x  ]" << QByteArray("[\n    \"[ x ]\"\n]\n");
    QTest::newRow("opening before closing") << "[ ]" << QByteArray("[\n    \"[]\"\n]\n");
    QTest::newRow("escapes") << u"\"\\/\n\t\x01"_s
                             << QByteArray("[\n    \"\\\"\\\\/\\n\\t\\u0001\"\n]\n");
    QTest::newRow("zero") << QString(QLatin1Char('a') + QString(1, QChar(0)) + QLatin1Char('b'))
                          << QByteArray("[\n    \"a\\u0000b\"\n]\n");
    QTest::newRow("letters") << u"\u20ac"_s << QByteArray("[\n    \"\u20ac\"\n]\n");
    QTest::newRow("percent") << "%1 %0" << QByteArray("[\n    \"%1 %0\"\n]\n");
}

void tst_SockJSConnector::outgoingFrames()
{
    QFETCH(QString, message);
    RawWebSocketServer server;
    SockJSConnector connector;
    connector.open(serverUrl(server.port()), {WEBSOCKET});
    connector.sendMessage(message, true);
    QTRY_COMPARE(server.frames.size(), 1);
    QCOMPARE(server.frames.at(0).opcode, int(RawWebSocketServer::TEXT));
    QTEST(server.frames.at(0).payload, "frame");
}

void tst_SockJSConnector::mapIsSentAsIndentedJson()
{
    RawWebSocketServer server;
    SockJSConnector connector;
    connector.open(serverUrl(server.port()), {WEBSOCKET});
    connector.sendMessage(QVariantMap{{u"type"_s, u"ping"_s}, {u"n"_s, 1}});
    QTRY_COMPARE(server.frames.size(), 1);
    QCOMPARE(server.frames.at(0).payload,
             QByteArray(
                 "[\n    \"{\\n    \\\"n\\\": 1,\\n    \\\"type\\\": \\\"ping\\\"\\n}\\n\"\n]\n"));
}

void tst_SockJSConnector::sendingWithoutATransportLosesTheMessage()
{
    const LogCapture log;
    SockJSConnector connector;
    connector.sendMessage(u"x"_s, true);
    QVERIFY(SockJSProbe::lastActivity(connector).isNull());
    connector.sendMessage(u"x"_s, false);
    QVERIFY(!SockJSProbe::lastActivity(connector).isNull());
    QCOMPARE(log.messages(), QStringList());
}

void tst_SockJSConnector::onConnectedSlotOpensTheSession()
{
    const LogCapture log;
    SockJSConnector connector;
    Spies spies(connector);
    connector.onConnected();
    QVERIFY(connector.isConnected());
    QCOMPARE(spies.connected.size(), 1);
    QCOMPARE(log.messages(), QStringList{"[SockJSConnector] Websocket connected"});
}

// A host may drive the slots by hand; what they say of a transport then has none behind it.
void tst_SockJSConnector::slotsActOnAnIdleConnector()
{
    const LogCapture log;
    SockJSConnector connector;
    Spies spies(connector);
    connector.onTextMessageReceived(u"o"_s);
    QVERIFY(connector.isConnected());
    connector.onTextMessageReceived(u"a[\"x\",\"y\"]"_s);
    QCOMPARE(spies.texts(), (QStringList{"x", "y"}));
    connector.openstate1();
    QCOMPARE(SockJSProbe::openState(connector), 1);
    connector.openstate2();
    QCOMPARE(SockJSProbe::openState(connector), 2);
    QVERIFY(connector.isConnected());
    QCOMPARE(log.messages(), QStringList());

    connector.onClosed();
    QVERIFY(!connector.isConnected());
    QCOMPARE(spies.connected.size(), 1);
    QCOMPARE(spies.closed.size(), 1);
    QCOMPARE(spies.closed.at(0).at(0).toBool(), false);
    connector.onClosed(); // it has no connection to count
    QCOMPARE(spies.closed.size(), 2);
    QCOMPARE(log.messages(), (QStringList{CLOSED_LINE, CLOSED_LINE}));
}

void tst_SockJSConnector::timeoutSlotActsOnAnIdleConnector()
{
    SockJSConnector connector;
    Spies spies(connector);
    SockJSProbe::lastActivity(connector) = QDateTime::currentDateTimeUtc().addSecs(-4000);
    connector.onTimeout();
    QVERIFY(!SockJSProbe::closing(connector)); // nothing is open
    connector.onConnected();
    connector.onTimeout();
    QVERIFY(!connector.isConnected());
    QVERIFY(SockJSProbe::closing(connector));
    QCOMPARE(spies.closed.size(), 0); // no transport that could end
}

void tst_SockJSConnector::websocketSessionOpens_data()
{
    QTest::addColumn<bool>("tls");
    QTest::newRow("plain") << false;
    QTest::newRow("TLS") << true;
}

void tst_SockJSConnector::websocketSessionOpens()
{
    QFETCH(bool, tls);
    TestCertificates certificates;
    certificates.trust();
    QWebSocketServer server(QString(),
                            tls ? QWebSocketServer::SecureMode : QWebSocketServer::NonSecureMode);
    if (tls)
        server.setSslConfiguration(certificates.issue(u"localhost"_s).serverConfiguration());
    QVERIFY(server.listen(QHostAddress::LocalHost));
    QWebSocket *far = nullptr;
    QStringList heard;
    connect(&server, &QWebSocketServer::newConnection, this, [&] {
        far = server.nextPendingConnection();
        far->setParent(&server);
        connect(far, &QWebSocket::textMessageReceived, this,
                [&](const QString &text) { heard.append(text); });
    });

    const LogCapture log;
    SockJSConnector connector;
    Spies spies(connector);
    QVERIFY(!connector.open(serverUrl(server.serverPort(), tls ? u"https"_s : u"http"_s),
                            {WEBSOCKET, XHR_POLLING}));
    QCOMPARE(log.messages(), (QStringList{urlLine(connector), CONNECTED_LINE}));
    QVERIFY(!connector.isConnected());
    QTRY_VERIFY(far);
    QCOMPARE(far->requestUrl().path(),
             u"/bus/eventbus/119/"_s + SockJSProbe::sessionId(connector) + u"/websocket"_s);
    QCOMPARE(far->origin(), QString());
    QCOMPARE(far->version(), QWebSocketProtocol::Version13);

    far->sendTextMessage(u"o"_s);
    QTRY_COMPARE(spies.connected.size(), 1);
    QVERIFY(connector.isConnected());
    far->sendTextMessage(u"h"_s);
    far->sendTextMessage(u"a[\"x\",\"y\"]"_s);
    QTRY_COMPARE(spies.texts(), (QStringList{"x", "y"}));
    connector.sendMessage(u"hello"_s, false);
    QTRY_COMPARE(heard, QStringList{"[\n    \"hello\"\n]\n"});
}

void tst_SockJSConnector::refusedWebsocketGivesWayToTheNextEntry()
{
    const DeadPort port;
    const LogCapture log;
    SockJSConnector connector;
    Spies spies(connector);
    QVERIFY(!connector.open(serverUrl(port), {WEBSOCKET, XHR_STREAMING, XHR_POLLING}));
    QCOMPARE(log.messages(),
             (QStringList{urlLine(connector), "[SockJSXHRPolling] Connection refused",
                          "[SockJSXHRPolling] Connection refused"}));
    QTest::qWait(50);
    QCOMPARE(spies.closed.size(), 0);
    QVERIFY(!SockJSProbe::webSocket(connector));
    QVERIFY(!SockJSProbe::xhrPolling(connector));
}

// Only the socket's error tells of it.
void tst_SockJSConnector::handshakeRefusedOnAnOpenConnectionGivesWayToo()
{
    RawWebSocketServer server;
    server.refusal = "HTTP/1.1 403 Forbidden\r\nContent-Length: 0\r\n\r\n";
    SockJSConnector connector;
    Spies spies(connector);
    const LogCapture log;
    connector.open(serverUrl(server.port()), {WEBSOCKET, SockJSConnector::PROTOCOL_TYPE(0)});
    QCOMPARE(log.messages(),
             (QStringList{urlLine(connector), "[SockJSConnector] No more protocols found!"}));
    QCOMPARE(SockJSProbe::openState(connector), 2);
    QCOMPARE(spies.closed.size(), 0);
}

void tst_SockJSConnector::invalidUrlGivesWayToo()
{
    SockJSConnector connector;
    const LogCapture log;
    connector.open(QUrl(u"ws:///x"_s), {WEBSOCKET, SockJSConnector::PROTOCOL_TYPE(0)});
    QCOMPARE(log.messages().last(), u"[SockJSConnector] No more protocols found!"_s);
    QCOMPARE(SockJSProbe::openState(connector), 2);
}

void tst_SockJSConnector::untrustedTlsServerGivesWayToo()
{
    TestCertificates certificates;
    ScriptedServer server;
    server.setCertificate(certificates.issue(u"localhost"_s));
    server.onEveryOther({});
    QVERIFY(server.listen());
    SockJSConnector connector;
    Spies spies(connector);
    const LogCapture log;
    connector.open(serverUrl(server.port(), u"wss"_s), {WEBSOCKET, XHR_POLLING});
    QCOMPARE(log.messages().size(), 2);
    QCOMPARE(log.messages().at(0), urlLine(connector));
    QVERIFY2(log.messages().at(1).startsWith(u"[SockJSXHRPolling] The "_s),
             qPrintable(log.messages().at(1)));
    QCOMPARE(server.received(0), QByteArray());
    QCOMPARE(server.received(1), QByteArray());
    QCOMPARE(spies.closed.size(), 0);
}

void tst_SockJSConnector::framesThatComeWithTheHandshakeAreHandledInOrder()
{
    RawWebSocketServer server;
    server.behindHandshake = RawWebSocketServer::text("o") + RawWebSocketServer::text("a[\"1\"]")
        + RawWebSocketServer::text("a[\"2\",\"3\"]");
    const LogCapture log;
    SockJSConnector connector;
    Spies spies(connector);
    QStringList logAtConnected;
    connect(&connector, &SockJSConnector::connected, this, [&] {
        logAtConnected = log.messages();
        // The frame that comes now must not overtake those that wait.
        server.client->write(RawWebSocketServer::text("a[\"4\"]"));
        QTest::qWait(100);
    });
    connector.open(serverUrl(server.port()), {WEBSOCKET});
    QTRY_COMPARE(spies.texts(), (QStringList{"1", "2", "3", "4"}));
    QCOMPARE(spies.connected.size(), 1);
    QCOMPARE(logAtConnected, (QStringList{urlLine(connector), CONNECTED_LINE}));
}

void tst_SockJSConnector::endThatComesWithTheHandshakeIsNotMissed()
{
    RawWebSocketServer server;
    server.behindHandshake = RawWebSocketServer::text("o") + RawWebSocketServer::text("a[\"1\"]");
    server.closesAfterHandshake = true;
    for (int i = 0; i < 20; ++i) {
        const LogCapture log;
        SockJSConnector connector;
        Spies spies(connector);
        connector.open(serverUrl(server.port()), {WEBSOCKET});
        QTRY_COMPARE(spies.closed.size(), 1);
        QCOMPARE(spies.closed.at(0).at(0).toBool(), false);
        QCOMPARE(spies.connected.size(), 1);
        QCOMPARE(spies.texts(), QStringList{"1"});
        QCOMPARE(log.messages(), (QStringList{urlLine(connector), CONNECTED_LINE, CLOSED_LINE}));
    }
}

void tst_SockJSConnector::websocketLostBeforeTheOpenFrameFallsBackToPolling()
{
    RawWebSocketServer server; // of both transports
    const LogCapture log;
    SockJSConnector connector;
    Spies spies(connector);
    connector.open(serverUrl(server.port()), {WEBSOCKET});
    QTRY_VERIFY(server.client);
    const QString session = SockJSProbe::sessionId(connector);
    server.client->disconnectFromHost();
    QTRY_COMPARE(log.messages(),
                 (QStringList{urlLine(connector), CONNECTED_LINE, CLOSED_LINE,
                              "[SockJSConnector] CONNECTED via xhr_polling", FALLBACK_LINE}));
    QVERIFY(!SockJSProbe::webSocket(connector));
    QVERIFY(SockJSProbe::xhrPolling(connector));
    QTRY_VERIFY_WITH_TIMEOUT(server.request().startsWith("POST /bus/eventbus/119/"
                                                         + session.toLatin1() + "/xhr HTTP/1.1"),
                             20000);
    QCOMPARE(spies.closed.size(), 0);
    server.client->write(reply("o\n"));
    QTRY_COMPARE_WITH_TIMEOUT(spies.connected.size(), 1, 20000);
}

void tst_SockJSConnector::fallbackThatFailsIsReportedAsClosed()
{
    auto server = std::make_unique<RawWebSocketServer>();
    const LogCapture log;
    SockJSConnector connector;
    Spies spies(connector);
    connector.open(serverUrl(server->port()), {WEBSOCKET});
    server.reset();
    QTRY_COMPARE_WITH_TIMEOUT(spies.closed.size(), 1, 20000);
    QCOMPARE(spies.closed.at(0).at(0).toBool(), false);
    QCOMPARE(log.messages(),
             (QStringList{urlLine(connector), CONNECTED_LINE, CLOSED_LINE,
                          "[SockJSXHRPolling] Connection refused"}));
}

void tst_SockJSConnector::websocketLostAfterTheOpenFrameIsReportedAsClosed()
{
    RawWebSocketServer server;
    server.behindHandshake = RawWebSocketServer::text("o");
    const LogCapture log;
    SockJSConnector connector;
    Spies spies(connector);
    connector.open(serverUrl(server.port()), {WEBSOCKET, XHR_POLLING});
    QVERIFY(connector.isConnected());
    server.client->disconnectFromHost();
    QTRY_COMPARE(spies.closed.size(), 1);
    QCOMPARE(spies.closed.at(0).at(0).toBool(), false);
    QVERIFY(!connector.isConnected());
    QVERIFY(!SockJSProbe::webSocket(connector));
    QCOMPARE(log.messages(), (QStringList{urlLine(connector), CONNECTED_LINE, CLOSED_LINE}));
}

void tst_SockJSConnector::xhrSessionOpens_data()
{
    QTest::addColumn<bool>("streaming");
    QTest::addColumn<bool>("tls");
    QTest::newRow("polling") << false << false;
    QTest::newRow("streaming") << true << false;
    QTest::newRow("polling, TLS") << false << true;
}

void tst_SockJSConnector::xhrSessionOpens()
{
    QFETCH(bool, streaming);
    QFETCH(bool, tls);
    TestCertificates certificates;
    certificates.trust();
    ScriptedServer server;
    if (tls)
        server.setCertificate(certificates.issue(u"localhost"_s));
    server.onConnection({expectRequest(), send(reply("o\n") + reply("a[\"x\"]\n"))});
    server.onConnection({expectRequest(), send(reply("", "204 No Content"))});
    QVERIFY(server.listen());
    const LogCapture log;
    SockJSConnector connector;
    Spies spies(connector);
    QVERIFY(!connector.open(serverUrl(server.port(), tls ? u"wss"_s : u"ws"_s),
                            {streaming ? XHR_STREAMING : XHR_POLLING, WEBSOCKET}));
    QCOMPARE(log.messages(),
             QStringList{streaming ? "[SockJSConnector] CONNECTED via xhr_streaming"
                                   : "[SockJSConnector] CONNECTED via xhr_polling"});
    QTRY_COMPARE_WITH_TIMEOUT(spies.connected.size(), 1, 20000);
    const QByteArray sessionPath =
        "POST /bus/eventbus/119/" + SockJSProbe::sessionId(connector).toLatin1();
    QVERIFY(server.requests(0).at(0).startsWith(
        sessionPath + (streaming ? "/xhr_streaming HTTP/1.1\r\n" : "/xhr HTTP/1.1\r\n")));
    connector.sendMessage(u"hello"_s, false);
    QTRY_COMPARE_WITH_TIMEOUT(server.requests(1).size(), 1, 20000);
    QVERIFY(server.requests(1).at(0).startsWith(sessionPath + "/xhr_send HTTP/1.1\r\n"));
    QVERIFY(server.requests(1).at(0).endsWith("\r\n\r\n[\n    \"hello\"\n]\n"));
}

void tst_SockJSConnector::xhrLostBeforeTheOpenFrameIsReportedAsClosed()
{
    ScriptedServer server;
    server.onConnection({});
    QVERIFY(server.listen());
    const LogCapture log;
    SockJSConnector connector;
    Spies spies(connector);
    connector.open(serverUrl(server.port()), {XHR_POLLING});
    server.stop();
    QTRY_COMPARE_WITH_TIMEOUT(spies.closed.size(), 1, 20000);
    QCOMPARE(log.messages().last(), CLOSED_LINE);
    QVERIFY(!SockJSProbe::xhrPolling(connector));
}

void tst_SockJSConnector::failedXhrAttemptIsFreedAtOnce()
{
    const DeadPort port;
    SockJSConnector connector;
    connector.open(serverUrl(port), {XHR_POLLING});
    QCOMPARE(connector.findChildren<SockJSXHRPolling *>().size(), 0);
}

void tst_SockJSConnector::inactivity_data()
{
    QTest::addColumn<qint64>("secondsAgo");
    QTest::addColumn<bool>("connected");
    QTest::addColumn<bool>("pinging");
    QTest::addColumn<bool>("closes");
    QTest::newRow("an hour is not enough") << qint64(3600) << true << false << false;
    QTest::newRow("more than an hour") << qint64(3602) << true << false << true;
    QTest::newRow("pings do not count") << qint64(3602) << true << true << true;
    QTest::newRow("not connected") << qint64(90000) << false << false << false;
}

void tst_SockJSConnector::inactivity()
{
    QFETCH(qint64, secondsAgo);
    QFETCH(bool, connected);
    QFETCH(bool, pinging);
    QFETCH(bool, closes);
    RawWebSocketServer server;
    if (connected)
        server.behindHandshake = RawWebSocketServer::text("o");
    SockJSConnector connector;
    Spies spies(connector);
    connector.open(serverUrl(server.port()), {WEBSOCKET});
    QCOMPARE(connector.isConnected(), connected);
    SockJSProbe::lastActivity(connector) = QDateTime::currentDateTimeUtc().addSecs(-secondsAgo);
    if (pinging)
        connector.sendMessage(u"{\"type\":\"ping\"}"_s, true);
    connector.onTimeout();
    QCOMPARE(spies.closed.size(), closes ? 1 : 0);
    QCOMPARE(SockJSProbe::inactivityTimer(connector)->isActive(), !closes);
    if (closes) {
        QCOMPARE(spies.closed.at(0).at(0).toBool(), true);
        QVERIFY(!connector.isConnected());
        // The next connection knows nothing of it.
        connector.open(serverUrl(server.port()), {WEBSOCKET});
        connector.close();
        QCOMPARE(spies.closed.at(1).at(0).toBool(), false);
    } else {
        connector.sendMessage(u"x"_s, false);
        QVERIFY(qAbs(SockJSProbe::lastActivity(connector).secsTo(QDateTime::currentDateTimeUtc()))
                < 60);
    }
}

void tst_SockJSConnector::inactivityTimerIsMadeOnce()
{
    SockJSConnector connector;
    connector.open(serverUrl(1), {});
    const QTimer *timer = SockJSProbe::inactivityTimer(connector);
    QVERIFY(timer);
    QCOMPARE(timer->interval(), 1800000);
    QVERIFY(timer->isActive());
    SockJSProbe::inactivityTimer(connector)->stop();
    connector.open(serverUrl(1), {});
    QCOMPARE(SockJSProbe::inactivityTimer(connector), timer);
    QVERIFY(!timer->isActive());
}

void tst_SockJSConnector::waitingForAWebsocketDispatchesEventsWithoutSpinning()
{
    RawWebSocketServer server;
    server.answersHandshake = false;
    SockJSConnector connector;
    int ticks = 0;
    QTimer timer;
    connect(&timer, &QTimer::timeout, this, [&] { ++ticks; });
    timer.start(100);
    timespec before = {};
    timespec after = {};
    QTimer::singleShot(2000, this, [&] {
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &after);
        connector.close();
    });
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &before);
    connector.open(serverUrl(server.port()), {WEBSOCKET, XHR_POLLING});
    QVERIFY2(ticks >= 10, qPrintable(QString::number(ticks)));
    const double cpuMs =
        double(after.tv_sec - before.tv_sec) * 1e3 + double(after.tv_nsec - before.tv_nsec) / 1e6;
    QVERIFY2(cpuMs < 200, qPrintable(QString::number(cpuMs)));
    QCOMPARE(server.connections, 1);
}

void tst_SockJSConnector::openstateSlotEndsTheWait_data()
{
    QTest::addColumn<bool>("connected");
    QTest::newRow("connected") << true;
    QTest::newRow("not connected") << false;
}

// The wait is for the state, whoever sets it.
void tst_SockJSConnector::openstateSlotEndsTheWait()
{
    QFETCH(bool, connected);
    RawWebSocketServer server;
    server.answersHandshake = false;
    const LogCapture log;
    SockJSConnector connector;
    Spies spies(connector);
    QTimer::singleShot(300, &connector, [&] {
        if (connected)
            connector.openstate1();
        else
            connector.openstate2();
    });
    QTimer::singleShot(4000, &connector, &SockJSConnector::close);
    QElapsedTimer clock;
    clock.start();
    connector.open(serverUrl(server.port()), {WEBSOCKET, SockJSConnector::PROTOCOL_TYPE(3)});
    QVERIFY2(clock.elapsed() >= 300 && clock.elapsed() < 2000,
             qPrintable(QString::number(clock.elapsed())));
    QStringList lines{urlLine(connector)};
    lines += connected ? CONNECTED_LINE : u"[SockJSConnector] No more protocols found!"_s;
    QCOMPARE(log.messages(), lines);
    QCOMPARE(SockJSProbe::webSocket(connector) != nullptr, connected);
    QCOMPARE(spies.closed.size(), 0);
}

void tst_SockJSConnector::openstateSlotMeansNothingToASessionInUse()
{
    RawWebSocketServer server;
    server.behindHandshake = RawWebSocketServer::text("o");
    SockJSConnector connector;
    Spies spies(connector);
    connector.open(serverUrl(server.port()), {WEBSOCKET});
    connector.openstate2();
    server.client->write(RawWebSocketServer::text("a[\"x\"]"));
    QTRY_COMPARE(spies.texts(), QStringList{"x"});
    connector.open(serverUrl(server.port()), {}); // ends it like any other
    QCOMPARE(spies.closed.size(), 1);
}

void tst_SockJSConnector::applicationMayQuitDuringAnAttempt()
{
    RawWebSocketServer server;
    server.answersHandshake = false;
    const LogCapture log;
    SockJSConnector connector;
    bool returned = false;
    QTimer::singleShot(0, this, [&] {
        connector.open(serverUrl(server.port()), {WEBSOCKET, XHR_POLLING});
        returned = true;
    });
    QTimer::singleShot(200, QCoreApplication::instance(), &QCoreApplication::quit);
    QCoreApplication::exec();
    QVERIFY(returned);
    QCOMPARE(log.messages(), QStringList{urlLine(connector)});
    QVERIFY(!SockJSProbe::webSocket(connector));
}

void tst_SockJSConnector::hostOfAnApplicationThatWasToldToQuitMayOpen()
{
    QCoreApplication::quit();
    RawWebSocketServer server;
    server.behindHandshake = RawWebSocketServer::text("o");
    SockJSConnector connector;
    Spies spies(connector);
    connector.open(serverUrl(server.port()), {WEBSOCKET});
    QCOMPARE(spies.connected.size(), 1);
}

void tst_SockJSConnector::withoutAProxyTheEnvironmentStays()
{
    const QByteArray before = qgetenv("http_proxy");
    const bool wasSet = qEnvironmentVariableIsSet("http_proxy");
    RawWebSocketServer server;
    SockJSConnector connector;
    connector.open(serverUrl(server.port()), {WEBSOCKET});
    QVERIFY(SockJSProbe::webSocket(connector));
    QCOMPARE(qgetenv("http_proxy"), before);
    QCOMPARE(qEnvironmentVariableIsSet("http_proxy"), wasSet);
}

void tst_SockJSConnector::idleSessionsCostNextToNoTime()
{
    const auto processCpuMs = [] {
        timespec time = {};
        clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
        return double(time.tv_sec) * 1e3 + double(time.tv_nsec) / 1e6;
    };
    const auto idleCostPerSecond = [&] {
        constexpr int SECONDS = 3;
        QEventLoop loop;
        QTimer::singleShot(SECONDS * 1000, &loop, &QEventLoop::quit);
        const double before = processCpuMs();
        loop.exec();
        return (processCpuMs() - before) / SECONDS;
    };
    RawWebSocketServer server; // keeps polls waiting, too
    server.behindHandshake = RawWebSocketServer::text("o");
    SockJSConnector overWebSocket;
    overWebSocket.open(serverUrl(server.port()), {WEBSOCKET});
    QVERIFY(overWebSocket.isConnected());
    const double webSocketCost = idleCostPerSecond();
    QVERIFY2(webSocketCost < 0.5, qPrintable(QString::number(webSocketCost)));

    SockJSConnector overXHR;
    Spies spies(overXHR);
    overXHR.open(serverUrl(server.port()), {XHR_POLLING});
    QTRY_VERIFY_WITH_TIMEOUT(server.request().startsWith("POST "), 20000);
    server.client->write(reply("o\n"));
    QTRY_COMPARE_WITH_TIMEOUT(spies.connected.size(), 1, 20000);
    QTest::qWait(1500); // the next poll has left
    const double bothCost = idleCostPerSecond();
    QVERIFY2(bothCost < 2.0, qPrintable(QString::number(bothCost)));
}

QTEST_GUILESS_MAIN(tst_SockJSConnector)
#include "tst_sockjsconnector.moc"
