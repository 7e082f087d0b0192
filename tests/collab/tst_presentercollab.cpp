// The channel: what it is given, how it opens, registers, pings and closes, byte for byte.
#include "OpenChannel.h"
#include "collab/TarvoCollabMessage.h"
#include "sockjs/SockJSProbe.h"

#include <QtCore/QTimer>
#include <QtTest/QtTest>

namespace
{

const char helloBlock[] = "XQBAAAAFAAAABQAAAAA0GUnbhWTxk7H/+4/AAA=="; // hello

const QString defaultsLine = u"[SockJSConnector] No protocols specified. Using defaults."_s;

SockJSConnector &connectorOf(const PresenterCollab &channel)
{
    return *channel.findChild<SockJSConnector *>();
}

QTimer *pingTimer(const PresenterCollab &channel)
{
    return channel.findChild<QTimer *>(QString(), Qt::FindDirectChildrenOnly);
}

} // namespace

class tst_PresenterCollab : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void signalsAndSlotsStandInOrder();
    void knowsWhatItWasGiven();

    void openTriesTheNamedTransports_data();
    void openTriesTheNamedTransports();
    void openWithoutNamesTriesAll();
    void openFallsBackWhenATransportFails();
    void secondOpenRegistersAgain();

    void registersThreeAddressesAndNothingMore();
    void registrationsAreNotWrittenToTheDebugStream();
    void pingsEveryMinuteUntilClosed();
    void pingDoesNotCountAsActivity();
    void everythingElseCountsAsActivity();

    void closeSaysDisconnectAndTellsTheHostOnce();
    void closeBeforeOpenIsHarmless();
    void closeByTheServerTellsTheHost();
    void closeForInactivityTellsTheHost();
};

void tst_PresenterCollab::signalsAndSlotsStandInOrder()
{
    const QMetaObject &meta = PresenterCollab::staticMetaObject;
    QCOMPARE(methodsOf(meta),
             (QStringList{
                 "connectionClosed(bool)", "learnerPollResponse(QString,QString,int,QString)",
                 "learnerJoin(Learner)", "learnerUnregister(QString)", "controllerRegister(bool)",
                 "remoteControl(RemoteControlMessage)", "unhandledMessage(QVariantMap,QVariant)",
                 "onConnected()", "onClosed(bool)", "onPingTimer()"}));
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
        if (meta.method(i).methodType() == QMetaMethod::Slot)
            QCOMPARE(meta.method(i).access(), QMetaMethod::Protected);
    }
}

void tst_PresenterCollab::knowsWhatItWasGiven()
{
    QObject parent;
    const UnopenedChannel channel(&parent);
    QCOMPARE(channel.parent(), &parent);
    QCOMPARE(channel.getSessionCode(), u"CODE"_s);
    QCOMPARE(channel.getSessionToken(), u"session"_s);
    QCOMPARE(channel.getUserToken(), u"teacher"_s);
    QCOMPARE(channel.getCurrentPollId(), QString());
    QVERIFY(!channel.isConnected());
    QVERIFY(channel.messageHandler());
    QCOMPARE(channel.messageHandler()->parent(), &channel);
    QCOMPARE(channel.findChildren<SockJSConnector *>().size(), 1);
    QVERIFY(!pingTimer(channel)->isActive());
}

// ---- Opening -------------------------------------------------------------------------------------

void tst_PresenterCollab::openTriesTheNamedTransports_data()
{
    QTest::addColumn<QStringList>("names");
    QTest::addColumn<QList<int>>("transports");
    QTest::addColumn<bool>("defaults");
    const auto row = [](const char *name, const QStringList &names, const QList<int> &transports) {
        QTest::newRow(name) << names << transports << false;
    };
    const auto defaultsRow = [](const char *name, const QStringList &names) {
        QTest::newRow(name) << names << QList<int>{1, 2, 4} << true;
    };
    row("one", {"websocket"}, {1});
    row("all, in the given order", {"websocket", "xhr-polling", "xhr-streaming"}, {1, 4, 2});
    row("twice the same", {"websocket", "websocket"}, {1, 1});
    row("unknown names are skipped", {"carrier-pigeon", "websocket", "", "xhr-polling"}, {1, 4});
    defaultsRow("only unknown names", {"carrier-pigeon"});
    defaultsRow("names are case-sensitive", {"WebSocket", "XHR-polling"});
    defaultsRow("an empty name", {""});
    defaultsRow("no names", {});
}

void tst_PresenterCollab::openTriesTheNamedTransports()
{
    QFETCH(QStringList, names);
    QFETCH(QList<int>, transports);
    QFETCH(bool, defaults);
    OpenChannel host;
    const LogCapture log;
    host.channel.open(names);

    QStringList lines{"Connecting to collaboration server: " + host.bus.url() + " ["
                      + names.join(", ") + ']'};
    if (defaults)
        lines.append(defaultsLine);
    QCOMPARE(log.messages().mid(0, lines.size()), lines);
    QCOMPARE(log.count(defaultsLine), defaults ? 1 : 0);
    QList<int> tried;
    for (const SockJSConnector::PROTOCOL_TYPE transport :
         SockJSProbe::protocols(connectorOf(host.channel)))
        tried.append(transport);
    QCOMPARE(tried, transports);
    QTRY_VERIFY(host.channel.isConnected());
    QVERIFY(host.bus.paths().value(0).startsWith("/eventbus/119/"));
}

void tst_PresenterCollab::openWithoutNamesTriesAll()
{
    OpenChannel host;
    const LogCapture log;
    host.channel.open();
    QCOMPARE(log.messages().value(0),
             "Connecting to collaboration server (default): " + host.bus.url());
    QCOMPARE(log.count(defaultsLine), 0);
    QCOMPARE(SockJSProbe::protocols(connectorOf(host.channel)),
             (QList<SockJSConnector::PROTOCOL_TYPE>{SockJSConnector::WEBSOCKET,
                                                    SockJSConnector::XHR_STREAMING,
                                                    SockJSConnector::XHR_POLLING}));
    QTRY_VERIFY(host.channel.isConnected());
}

void tst_PresenterCollab::openFallsBackWhenATransportFails()
{
    // Nothing listens on port 1: every transport fails, and nobody is told anything.
    UnopenedChannel channel;
    const QSignalSpy closed(&channel, &PresenterCollab::connectionClosed);
    channel.open({"websocket", "xhr-polling"});
    QVERIFY(!channel.isConnected());
    QCOMPARE(closed.size(), 0);
    QVERIFY(!pingTimer(channel)->isActive());
}

void tst_PresenterCollab::secondOpenRegistersAgain()
{
    OpenChannel host;
    QVERIFY(host.open());
    const QSignalSpy closed(&host.channel, &PresenterCollab::connectionClosed);
    host.channel.close();
    QTRY_COMPARE(closed.size(), 1);
    QTRY_VERIFY(!host.bus.hasConnection());
    host.bus.clear();
    QVERIFY(host.open());
    QCOMPARE(host.bus.messages().value(0), uR"({"type":"register","address":"session"})"_s);
    QVERIFY(pingTimer(host.channel)->isActive());
}

// ---- Registering and pinging ---------------------------------------------------------------------

void tst_PresenterCollab::registersThreeAddressesAndNothingMore()
{
    OpenChannel host;
    QVERIFY(host.open());
    host.channel.publishMessage("end", "t", "hello"); // what was sent before it has arrived with it
    QTRY_COMPARE(host.bus.messages(),
                 (QStringList{R"({"type":"register","address":"session"})",
                              R"({"type":"register","address":"session.presenter"})",
                              R"({"type":"register","address":"session.presenter.teacher"})",
                              typedMessage("end", "t", helloBlock)}));
    QCOMPARE(host.bus.frames().first(),
             u"[\n    \"{\\\"type\\\":\\\"register\\\",\\\"address\\\":\\\"session\\\"}\"\n]\n"_s);
}

void tst_PresenterCollab::registrationsAreNotWrittenToTheDebugStream()
{
    OpenChannel host;
    const LogCapture log;
    QVERIFY(host.open());
    QCOMPARE(log.messages().filter("register"), QStringList());
}

void tst_PresenterCollab::pingsEveryMinuteUntilClosed()
{
    OpenChannel host;
    QTimer *timer = pingTimer(host.channel);
    QVERIFY(!timer->isActive());
    QVERIFY(host.open());
    QVERIFY(timer->isActive());
    QVERIFY(!timer->isSingleShot());
    QCOMPARE(timer->interval(), 60000);
    QCOMPARE(host.bus.published(), QStringList());

    timer->setInterval(20); // the minute, shortened
    QCOMPARE(host.published(2).mid(0, 2),
             (QStringList{R"({"type":"ping"})", R"({"type":"ping"})"}));
    host.channel.close();
    QVERIFY(!timer->isActive());
}

void tst_PresenterCollab::pingDoesNotCountAsActivity()
{
    OpenChannel host;
    QVERIFY(host.open());
    QDateTime &lastActivity = SockJSProbe::lastActivity(connectorOf(host.channel));
    lastActivity = QDateTime();
    QVERIFY(host.hasPublishedNothing());
    QVERIFY(lastActivity.isNull());
}

void tst_PresenterCollab::everythingElseCountsAsActivity()
{
    OpenChannel host;
    QVERIFY(host.open());
    QDateTime &lastActivity = SockJSProbe::lastActivity(connectorOf(host.channel));
    QVERIFY(lastActivity.isValid());
    lastActivity = QDateTime();
    host.channel.sendHeavy();
    QVERIFY(lastActivity.isValid());
    lastActivity = QDateTime();
    Tarvo::TarvoCollabMessage message;
    message.setdata(QVariantMap());
    host.channel.publishMessage("session", &message);
    QVERIFY(lastActivity.isValid());
    lastActivity = QDateTime();
    QVERIFY(QMetaObject::invokeMethod(&host.channel, "onConnected"));
    QVERIFY(lastActivity.isValid());
}

// ---- Closing -------------------------------------------------------------------------------------

void tst_PresenterCollab::closeSaysDisconnectAndTellsTheHostOnce()
{
    OpenChannel host;
    QVERIFY(host.open());
    const QSignalSpy closed(&host.channel, &PresenterCollab::connectionClosed);
    host.channel.close();
    QTRY_COMPARE(closed.size(), 1);
    QCOMPARE(closed.first().first().toBool(), false);
    QVERIFY(!host.channel.isConnected());
    QVERIFY(!pingTimer(host.channel)->isActive());
    QCOMPARE(host.published(1), QStringList{typedMessage("session", "disconnect", emptyTextBlock)});
    QTRY_VERIFY(!host.bus.hasConnection());

    host.channel.close();
    QCoreApplication::processEvents();
    QCOMPARE(closed.size(), 1);
}

void tst_PresenterCollab::closeBeforeOpenIsHarmless()
{
    UnopenedChannel channel;
    const QSignalSpy closed(&channel, &PresenterCollab::connectionClosed);
    const LogCapture log;
    channel.close();
    QCOMPARE(log.messages(), QStringList{notConnectedLine});
    QCOMPARE(closed.size(), 0);
}

void tst_PresenterCollab::closeByTheServerTellsTheHost()
{
    OpenChannel host;
    QVERIFY(host.open());
    const QSignalSpy closed(&host.channel, &PresenterCollab::connectionClosed);
    host.bus.closeConnection();
    QTRY_COMPARE(closed.size(), 1);
    QCOMPARE(closed.first().first().toBool(), false);
    QVERIFY(!host.channel.isConnected());
    QVERIFY(!pingTimer(host.channel)->isActive());
}

void tst_PresenterCollab::closeForInactivityTellsTheHost()
{
    OpenChannel host;
    QVERIFY(host.open());
    const QSignalSpy closed(&host.channel, &PresenterCollab::connectionClosed);
    Q_EMIT connectorOf(host.channel).closed(true);
    QCOMPARE(closed.size(), 1);
    QCOMPARE(closed.first().first().toBool(), true);
    QVERIFY(!pingTimer(host.channel)->isActive());
}

QTEST_GUILESS_MAIN(tst_PresenterCollab)
#include "tst_presentercollab.moc"
