// What a host may do to a channel from its signals, and what a destroyed channel leaves behind.
#include "OpenChannel.h"

#include <QtNetwork/QTcpServer>
#include <QtTest/QtTest>

#include <optional>

class tst_PresenterCollabHosts : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { QVERIFY(host.emplace().open()); }
    void cleanup() { host.reset(); }

    void hostMayDeleteTheChannelFromAnySignal_data();
    void hostMayDeleteTheChannelFromAnySignal();
    void hostMayDeleteTheChannelFromItsOwnOperation();
    void hostMayCloseTheChannelFromASignal();
    void hostMayPublishFromASignal();
    void hostMayDeleteTheChannelWhileItOpens_data();
    void hostMayDeleteTheChannelWhileItOpens();
    void destroyedChannelClosesItsConnectionQuietly();
    void destroyedChannelDropsWhatIsStillArriving();

private:
    std::optional<OpenChannel> host;
};

void tst_PresenterCollabHosts::hostMayDeleteTheChannelFromAnySignal_data()
{
    QTest::addColumn<QString>("fields");
    QTest::newRow("connectionClosed") << QString();
    QTest::newRow("learnerPollResponse") << R"("type":"pollResponse")";
    QTest::newRow("learnerJoin") << joinFields;
    QTest::newRow("learnerUnregister") << learnerLeaves;
    QTest::newRow("controllerRegister")
        << R"("action":"unregister","client":{"type":"controller"})";
    QTest::newRow("remoteControl") << R"("type":"nextCard")";
    QTest::newRow("unhandledMessage") << R"("type":"dance")";
}

void tst_PresenterCollabHosts::hostMayDeleteTheChannelFromAnySignal()
{
    QFETCH(QString, fields);
    const auto destroy = [this] { host->destroyChannel(); };
    PresenterCollab *channel = &host->channel;
    connect(channel, &PresenterCollab::connectionClosed, this, destroy);
    connect(channel, &PresenterCollab::learnerPollResponse, this, destroy);
    connect(channel, &PresenterCollab::learnerJoin, this, destroy);
    connect(channel, &PresenterCollab::learnerUnregister, this, destroy);
    connect(channel, &PresenterCollab::controllerRegister, this, destroy);
    connect(channel, &PresenterCollab::remoteControl, this, destroy);
    connect(channel, &PresenterCollab::unhandledMessage, this, destroy);
    if (fields.isEmpty()) {
        channel->close();
    } else {
        const QJsonArray twice{incomingMessage(fields), incomingMessage(fields)};
        host->bus.sendFrame('a' + QString::fromUtf8(QJsonDocument(twice).toJson()));
    }
    QTRY_VERIFY(!host->owner);
    QTRY_VERIFY(!host->bus.hasConnection());
}

void tst_PresenterCollabHosts::hostMayDeleteTheChannelFromItsOwnOperation()
{
    OpenChannel unopened;
    connect(&unopened.channel, &PresenterCollab::learnerUnregister, this,
            [&unopened] { unopened.destroyChannel(); });
    unopened.channel.removeLearner("d1");
    QVERIFY(!unopened.owner);
}

void tst_PresenterCollabHosts::hostMayCloseTheChannelFromASignal()
{
    PresenterCollab *channel = &host->channel;
    const QSignalSpy closed(channel, &PresenterCollab::connectionClosed);
    connect(channel, &PresenterCollab::learnerJoin, channel, &PresenterCollab::close);
    host->bus.send(incomingMessage(joinFields));
    QTRY_COMPARE(closed.size(), 1);
    QCOMPARE(host->published(1),
             QStringList{typedMessage("session", "disconnect", emptyTextBlock)});
}

void tst_PresenterCollabHosts::hostMayPublishFromASignal()
{
    connect(&host->channel, &PresenterCollab::learnerJoin, this, [this] {
        host->channel.startPoll(Tarvo::PollType::CREATIVE, Tarvo::OrdinalType::NUMBER, 2, 0);
    });
    connect(&host->channel, &PresenterCollab::learnerUnregister, this,
            [this] { host->channel.sendHeavy(); });
    host->bus.send(incomingMessage(joinFields));
    QCOMPARE(host->sent(0).type, u"poll"_s);
    host->channel.removeLearner("d1");
    QCOMPARE(host->published(3).mid(1),
             (QStringList{typedMessage("session.user.d1", "disconnect", emptyTextBlock),
                          typedMessage("session.learner", "heavy", unfilledBlock)}));
}

void tst_PresenterCollabHosts::hostMayDeleteTheChannelWhileItOpens_data()
{
    QTest::addColumn<bool>("onClosed");
    QTest::newRow("at once") << false;
    QTest::newRow("once it is closed") << true;
}

// A server that takes the connection and never answers holds open() for as long as it likes.
void tst_PresenterCollabHosts::hostMayDeleteTheChannelWhileItOpens()
{
    QFETCH(bool, onClosed);
    QTcpServer silent;
    QVERIFY(silent.listen(QHostAddress::LocalHost));
    const QString url = u"http://127.0.0.1:%1"_s.arg(silent.serverPort());
    QPointer<PresenterCollab> channel =
        new PresenterCollab(this, url, "CODE", "session", "teacher");
    const auto destroy = [&channel] { delete channel; };
    if (onClosed) {
        connect(channel, &PresenterCollab::connectionClosed, this, destroy);
        connect(&silent, &QTcpServer::newConnection, this, [&channel] { channel->close(); });
        channel->open();
    } else {
        connect(&silent, &QTcpServer::newConnection, this, destroy);
        channel->open({"websocket"});
        QVERIFY(channel.isNull());
    }
    QTRY_VERIFY(channel.isNull());
}

void tst_PresenterCollabHosts::destroyedChannelClosesItsConnectionQuietly()
{
    int closed = 0;
    connect(&host->channel, &PresenterCollab::connectionClosed, this, [&closed] { ++closed; });
    host->destroyChannel();
    QTRY_VERIFY(!host->bus.hasConnection());
    QCOMPARE(closed, 0);
    QCOMPARE(host->bus.published(), QStringList());
}

void tst_PresenterCollabHosts::destroyedChannelDropsWhatIsStillArriving()
{
    int joined = 0;
    connect(&host->channel, &PresenterCollab::learnerJoin, this, [&joined] { ++joined; });
    for (int i = 0; i < 100; ++i)
        host->bus.send(incomingMessage(joinFields));
    host->destroyChannel();
    QTRY_VERIFY(!host->bus.hasConnection());
    QCOMPARE(joined, 0);
}

QTEST_GUILESS_MAIN(tst_PresenterCollabHosts)
#include "tst_presentercollabhosts.moc"
