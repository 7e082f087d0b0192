#include "ConnectorRun.h"
#include "RawServers.h"

// What the connector makes of frames that come, and how it frames what the host says.
class tst_SockJSFrames : public QObject
{
    Q_OBJECT

private Q_SLOTS:
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
};

void tst_SockJSFrames::incomingFrames_data()
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
    const QString escaped = u"{\"t\":\"\u00e4\n\"}"_s;
    QTest::newRow("escapes") << "a[\"{\\\"t\\\":\\\"\\u00e4\\n\\\"}\"]" << QStringList{escaped};
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
    const QString deep = QLatin1Char('a') + QString(100000, QLatin1Char('['));
    QTest::newRow("deep") << deep << QStringList();
}

void tst_SockJSFrames::incomingFrames()
{
    QFETCH(QString, frame);
    ConnectorRun run;
    run.connector.onTextMessageReceived(frame);
    QTEST(run.texts(), "messages");
    QCOMPARE(run.connected.size(), 0);
    QCOMPARE(run.closed.size(), 0);
}

void tst_SockJSFrames::openFrameCountsOnce()
{
    ConnectorRun run;
    run.connector.onTextMessageReceived(u"O"_s);
    run.connector.onTextMessageReceived(u"o "_s);
    QCOMPARE(run.connected.size(), 0);
    run.connector.onTextMessageReceived(u"o"_s);
    QVERIFY(run.connector.isConnected());
    run.connector.onTextMessageReceived(u"o"_s);
    QCOMPARE(run.connected.size(), 1);
}

void tst_SockJSFrames::outgoingFrames_data()
{
    QTest::addColumn<QString>("message");
    QTest::addColumn<QByteArray>("frame");
    const auto row = [](const char *name, const QString &message, const QByteArray &quoted) {
        QTest::newRow(name) << message << "[\n    " + quoted + "\n]\n";
    };
    row("text", u"abc"_s, "\"abc\"");
    row("empty", u""_s, "\"\"");
    row("brackets lose their spaces", u"a [ b"_s, "\"a [b\"");
    row("at both sides, once each", u"[  x  ]"_s, "\"[ x ]\"");
    row("opening before closing", u"[ ]"_s, "\"[]\"");
    row("escapes", u"\"\\/\n\t\x01"_s, "\"\\\"\\\\/\\n\\t\\u0001\"");
    row("zero", u"a\0b"_s, "\"a\\u0000b\"");
    row("letters", u"\u20ac"_s, "\"\u20ac\"");
    row("percent", u"%1 %0"_s, "\"%1 %0\"");
}

void tst_SockJSFrames::outgoingFrames()
{
    QFETCH(QString, message);
    RawWebSocketServer server;
    ConnectorRun run;
    run.open(server.port());
    run.connector.sendMessage(message, true);
    QTRY_COMPARE(server.frames.size(), 1);
    QCOMPARE(server.frames.at(0).opcode, int(RawWebSocketServer::TEXT));
    QTEST(server.frames.at(0).payload, "frame");
}

void tst_SockJSFrames::mapIsSentAsIndentedJson()
{
    RawWebSocketServer server;
    ConnectorRun run;
    run.open(server.port());
    run.connector.sendMessage(QVariantMap{{u"type"_s, u"ping"_s}, {u"n"_s, 1}});
    QTRY_COMPARE(server.frames.size(), 1);
    QCOMPARE(server.frames.at(0).payload,
             QByteArray(
                 "[\n    \"{\\n    \\\"n\\\": 1,\\n    \\\"type\\\": \\\"ping\\\"\\n}\\n\"\n]\n"));
}

void tst_SockJSFrames::sendingWithoutATransportLosesTheMessage()
{
    ConnectorRun run;
    run.connector.sendMessage(u"x"_s, true);
    QVERIFY(SockJSProbe::lastActivity(run.connector).isNull());
    run.connector.sendMessage(u"x"_s, false);
    QVERIFY(!SockJSProbe::lastActivity(run.connector).isNull());
    QCOMPARE(run.log.messages(), QStringList());
}

void tst_SockJSFrames::onConnectedSlotOpensTheSession()
{
    ConnectorRun run;
    run.connector.onConnected();
    QVERIFY(run.connector.isConnected());
    QCOMPARE(run.connected.size(), 1);
    QCOMPARE(run.log.messages(), QStringList{"[SockJSConnector] Websocket connected"});
}

// A host may drive the slots by hand; what they say of a transport then has none behind it.
void tst_SockJSFrames::slotsActOnAnIdleConnector()
{
    ConnectorRun run;
    run.connector.onTextMessageReceived(u"o"_s);
    QVERIFY(run.connector.isConnected());
    run.connector.onTextMessageReceived(u"a[\"x\",\"y\"]"_s);
    QCOMPARE(run.texts(), (QStringList{"x", "y"}));
    run.connector.openstate1();
    QCOMPARE(SockJSProbe::openState(run.connector), 1);
    run.connector.openstate2();
    QCOMPARE(SockJSProbe::openState(run.connector), 2);
    QVERIFY(run.connector.isConnected());
    QCOMPARE(run.log.messages(), QStringList());

    run.connector.onClosed();
    QVERIFY(!run.connector.isConnected());
    QCOMPARE(run.connected.size(), 1);
    QCOMPARE(run.closed.size(), 1);
    QCOMPARE(run.closed.at(0).at(0).toBool(), false);
    run.connector.onClosed(); // it has no connection to count
    QCOMPARE(run.closed.size(), 2);
    QCOMPARE(run.log.messages(), (QStringList{CLOSED_LINE, CLOSED_LINE}));
}

void tst_SockJSFrames::timeoutSlotActsOnAnIdleConnector()
{
    ConnectorRun run;
    SockJSProbe::lastActivity(run.connector) = QDateTime::currentDateTimeUtc().addSecs(-4000);
    run.connector.onTimeout();
    QVERIFY(!SockJSProbe::closing(run.connector)); // nothing is open
    run.connector.onConnected();
    run.connector.onTimeout();
    QVERIFY(!run.connector.isConnected());
    QVERIFY(SockJSProbe::closing(run.connector));
    QCOMPARE(run.closed.size(), 0); // no transport that could end
}

QTEST_GUILESS_MAIN(tst_SockJSFrames)
#include "tst_sockjsframes.moc"
