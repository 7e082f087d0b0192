#include "OpeningRun.h"
#include "RawServers.h"

// A web socket in use, the robust way: how it ends, and what is told of it.
class tst_SockJSRobustWebSocket : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void endIsTold_data();
    void endIsTold();
    void endIsLogged();
    void faultOfTheServerIsNotItsCode_data();
    void faultOfTheServerIsNotItsCode();
    void tooLargeAMessageEndsTheConnection();
    void closeFrameOfSockJSIsPassedOver();
    void whatCameBeforeTheEndIsDelivered();
    void hostsCloseIsNormal();
};

namespace
{

using Server = RawWebSocketServer;

// A close frame with a code of two bytes, and words.
QByteArray closeFrame(int code, const QByteArray &words)
{
    return Server::frame(Server::CLOSE, QByteArray(1, char(code >> 8)) + char(code & 0xff) + words);
}

} // namespace

void tst_SockJSRobustWebSocket::endIsTold_data()
{
    QTest::addColumn<QByteArray>("frame");
    QTest::addColumn<bool>("isReset");
    QTest::addColumn<QString>("end");
    const auto row = [](const char *name, const QByteArray &frame, bool isReset, const char *end) {
        QTest::newRow(name) << frame << isReset << QString(end);
    };
    row("code and words", closeFrame(4001, "class over"), false, "4001 class over");
    row("code alone", closeFrame(1001, ""), false, "1001");
    row("code of a protocol fault", closeFrame(1002, "your frame"), false, "1002 your frame");
    row("code of too much", closeFrame(1009, "your size"), false, "1009 your size");
    row("no close frame", "", false, "1006 The remote host closed the connection");
    row("reset", "", true, "1006 The remote host closed the connection");
}

void tst_SockJSRobustWebSocket::endIsTold()
{
    QFETCH(QByteArray, frame);
    QFETCH(bool, isReset);
    QFETCH(QString, end);
    OpeningServer server;
    const LogCapture log;
    for (const bool robust : {true, false}) {
        OpeningRun run(robust);
        run.open(server.port());
        QTRY_COMPARE(run.connected.size(), 1);
        QCOMPARE(run.connector.getCloseCode(), 0);
        QCOMPARE(run.connector.getCloseReason(), QString());
        server.client->write(frame);
        if (isReset)
            server.client->abort();
        else
            server.client->disconnectFromHost();
        QTRY_COMPARE(run.ends, QStringList{end});
        QTest::qWait(50);
        QCOMPARE(run.closed.size(), 1);
        QCOMPARE(run.closed.at(0).at(0).toBool(), false);
        QVERIFY(!run.connector.isConnected());
    }
}

void tst_SockJSRobustWebSocket::endIsLogged()
{
    OpeningServer server;
    ConnectorRun run;
    run.connector.setRobustTransport(true);
    run.open(server.port());
    QTRY_COMPARE(run.connected.size(), 1);
    QCOMPARE(run.log.messages(), (QStringList{run.urlLine(), CONNECTED_LINE}));
    run.log.clear();
    server.client->write(closeFrame(4001, "class over"));
    QTRY_COMPARE(run.closed.size(), 1);
    QCOMPARE(run.log.messages(),
             (QStringList{CLOSED_LINE,
                          "[SockJSConnector] Connection ended with code 4001: class over"}));
}

void tst_SockJSRobustWebSocket::faultOfTheServerIsNotItsCode_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QString>("end");
    const auto row = [](const char *name, const QByteArray &bytes, const char *end) {
        QTest::newRow(name) << bytes << QString(end);
    };
    row("frame of no known kind", Server::frame(0x83, "x"), "1006 Used reserved opcode");
    row("reserved bits", Server::frame(0xf1, "x"), "1006 Rsv field is non-zero");
    row("no text", Server::text("\xff\xfe"), "1006 Invalid UTF-8 code encountered.");
}

void tst_SockJSRobustWebSocket::faultOfTheServerIsNotItsCode()
{
    QFETCH(QByteArray, bytes);
    QFETCH(QString, end);
    OpeningServer server;
    const LogCapture log;
    OpeningRun run;
    run.open(server.port());
    QTRY_COMPARE(run.connected.size(), 1);
    server.client->write(bytes);
    QTRY_COMPARE(run.ends, QStringList{end});
}

void tst_SockJSRobustWebSocket::tooLargeAMessageEndsTheConnection()
{
    OpeningServer server;
    const LogCapture log;
    OpeningRun run;
    run.open(server.port());
    QTRY_COMPARE(run.connected.size(), 1);
    const QByteArray text = "a[\"" + QByteArray(16 * 1024 * 1024, 'x') + "\"]";
    for (const QByteArray &frame : Server::fragments(text, 4))
        server.client->write(frame);
    QTRY_COMPARE_WITH_TIMEOUT(run.closed.size(), 1, 20000);
    QCOMPARE(run.ends, QStringList{"1006 Received message is too big."});
    QCOMPARE(run.messages.size(), 0);
}

// The web socket itself says when it ends.
void tst_SockJSRobustWebSocket::closeFrameOfSockJSIsPassedOver()
{
    OpeningServer server(Server::text("c[3000,\"Go away!\"]") + Server::text("a[\"x\"]"));
    const LogCapture log;
    OpeningRun run;
    run.open(server.port());
    QTRY_COMPARE(run.messages.size(), 1);
    QTest::qWait(100);
    QCOMPARE(run.closed.size(), 0);
    QVERIFY(run.connector.isConnected());
    server.client->disconnectFromHost();
    QTRY_COMPARE(run.ends, QStringList{"1006 The remote host closed the connection"});
}

void tst_SockJSRobustWebSocket::whatCameBeforeTheEndIsDelivered()
{
    OpeningServer server(Server::text("a[\"1\"]") + Server::text("a[\"2\",\"3\"]")
                         + closeFrame(4001, "class over"));
    const LogCapture log;
    OpeningRun run;
    run.open(server.port());
    QTRY_COMPARE(run.ends, QStringList{"4001 class over"});
    QCOMPARE(run.connected.size(), 1);
    QCOMPARE(run.messages.size(), 3);
}

void tst_SockJSRobustWebSocket::hostsCloseIsNormal()
{
    OpeningServer server;
    ConnectorRun run;
    run.connector.setRobustTransport(true);
    run.open(server.port());
    QTRY_COMPARE(run.connected.size(), 1);
    run.log.clear();
    run.connector.sendMessage(u"last"_s, false);
    run.connector.close();
    QCOMPARE(run.closed.size(), 1);
    QCOMPARE(run.connector.getCloseCode(), 1000);
    QCOMPARE(run.connector.getCloseReason(), u"Closed by the host"_s);
    QCOMPARE(run.log.messages(), QStringList{CLOSED_LINE});
    QTRY_COMPARE(server.frames.value(0).payload, QByteArray("[\n    \"last\"\n]\n"));
    QTRY_COMPARE(server.frames.last().opcode, int(Server::CLOSE));
    QCOMPARE(server.frames.last().payload, QByteArray("\x03\xe8", 2)); // 1000
}

QTEST_GUILESS_MAIN(tst_SockJSRobustWebSocket)
#include "tst_sockjsrobustwebsocket.moc"
