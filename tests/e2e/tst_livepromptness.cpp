#include "e2e/Guest.h"
#include "e2e/LiveSession.h"
#include "support/Text.h"

#include "sockjs/SockJSConnector.h"

// With the robust transport a message is under way over HTTP hardly longer than over a web socket, and
// many messages come and leave together, whole and in order.
class tst_LivePromptness : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { silenceTheLibrary(); }
    void httpIsAsPromptAsAWebSocket_data();
    void httpIsAsPromptAsAWebSocket();
    void tenThousandMessagesArriveOnceEach_data();
    void tenThousandMessagesArriveOnceEach();
    void hundredMessagesLeaveInThreePosts_data() { addRobustOnlyRows(HTTP_TRANSPORTS); }
    void hundredMessagesLeaveInThreePosts();
};

namespace
{

// Requests of the bus so far whose path ends so.
int busRequests(Classroom &classroom, const QString &path)
{
    int count = 0;
    for (const QJsonValue entry : classroom.journal(u"busRequest"_s, {}, 0))
        count += entry[u"path"_s].toString().endsWith(path);
    return count;
}

QString presenters(const LiveSession &session)
{
    return session.token() + u".presenter"_s;
}

} // namespace

// ---- From a device to the host -------------------------------------------------------------------

void tst_LivePromptness::httpIsAsPromptAsAWebSocket_data()
{
    QTest::addColumn<bool>("tls");
    QTest::newRow("plain") << false;
    QTest::newRow("TLS") << true;
}

// The three are measured in turn, message by message, so that what else the machine does hits all of
// them. Below a millisecond a delay is the scheduler's rather than the transport's.
void tst_LivePromptness::httpIsAsPromptAsAWebSocket()
{
    QFETCH(bool, tls);
    constexpr int MESSAGES = 300;
    constexpr qint64 FLOOR_US = 1000;
    constexpr qint64 SLOWEST_US = 50000;
    const Far far(Way{QString(), tls, true});
    LiveSession webSocket(*far, Way{u"websocket"_s, tls, true});
    LiveSession streaming(*far, Way{u"xhr-streaming"_s, tls, true});
    LiveSession polling(*far, Way{u"xhr-polling"_s, tls, true});
    for (LiveSession *session : {&webSocket, &streaming, &polling})
        QVERIFY(openRegistered(*session, *far));
    const Heard overWebSocket(webSocket.channel);
    const Heard overStreaming(streaming.channel);
    const Heard overPolling(polling.channel);

    Guest guest(
        *far,
        {{presenters(webSocket), presenters(streaming), presenters(polling)}, MESSAGES, 1, 5, 0});
    guest.start();
    QVERIFY(turnUntil(LONG_MS, [&] {
        return overWebSocket.count() + overStreaming.count() + overPolling.count() == 3 * MESSAGES;
    }));

    const qint64 limit = qMax(3 * overWebSocket.delay(50), FLOOR_US);
    for (const Heard *heard : {&overStreaming, &overPolling}) {
        const QString figures = u"median %1 us, over the web socket %2 us; 99 of 100 within %3 us"_s
                                    .arg(heard->delay(50))
                                    .arg(overWebSocket.delay(50))
                                    .arg(heard->delay(99));
        QVERIFY2(heard->delay(50) <= limit, qPrintable(figures));
        QVERIFY2(heard->delay(99) <= SLOWEST_US, qPrintable(figures));
    }
}

void tst_LivePromptness::tenThousandMessagesArriveOnceEach_data()
{
    addWayColumns();
    QTest::addColumn<QString>("path");
    for (const bool tls : {false, true}) {
        const char *suffix = tls ? ", TLS" : "";
        QTest::addRow("xhr-streaming%s", suffix)
            << u"xhr-streaming"_s << tls << true << u"/xhr_streaming"_s;
        QTest::addRow("xhr-polling%s", suffix) << u"xhr-polling"_s << tls << true << u"/xhr"_s;
    }
}

// Each message is some 800 bytes long, so that a stream of 128 KiB ends behind 160 of them.
void tst_LivePromptness::tenThousandMessagesArriveOnceEach()
{
    QFETCH(QString, path);
    constexpr int MESSAGES = 10000;
    const Far far(rowWay());
    LiveSession session(*far, rowWay());
    QVERIFY(openRegistered(session, *far));
    const Heard heard(session.channel);
    Guest guest(*far, {{presenters(session)}, MESSAGES, 10, 2, 600});
    guest.start();
    QVERIFY2(turnUntil(LONG_MS, [&heard] { return heard.count() >= MESSAGES; }),
             qPrintable(u"%1 came"_s.arg(heard.count())));

    // A message that came twice would come before the answer to this.
    QVERIFY(session.client->doGetLearners());
    QCOMPARE(heard.firstWrong(), -1);
    QCOMPARE(heard.count(), MESSAGES);
    QVERIFY(session.channel->isConnected());
    QVERIFY2(busRequests(*far, path) > 40, qPrintable(QString::number(busRequests(*far, path))));
}

// ---- From the host to the devices ----------------------------------------------------------------

// The messages are handed over within a moment: packing them, as a channel does, takes longer than
// a post.
void tst_LivePromptness::hundredMessagesLeaveInThreePosts()
{
    constexpr int MESSAGES = 100;
    const Far far(rowWay());
    LiveSession session(*far, Way{u"websocket"_s, rowWay().isTls, true});
    QVERIFY(session.open());
    const auto transport = SockJSConnector::PROTOCOL_TYPE_STR().key(rowTransport());
    SockJSConnector connector;
    connector.setRobustTransport(true);
    connector.open(QUrl(far->url()), {transport});
    QTRY_VERIFY_WITH_TIMEOUT(connector.isConnected(), LONG_MS);

    // The line takes the channel's place.
    session.channel->close();
    connector.sendMessage(uR"({"type":"register","address":"%1.presenter.%2"})"_s.arg(
                              session.token(), session.client->getUserToken()),
                          false);
    for (int i = 0; i < MESSAGES; ++i) {
        connector.sendMessage(
            uR"({"type":"publish","address":"%1","body":{"type":"tick","action":"%2"}})"_s
                .arg(session.token())
                .arg(i),
            false);
    }
    const QJsonArray messages = far->journal(u"publish"_s, {{u"type"_s, u"tick"_s}}, MESSAGES);
    QCOMPARE(messages.size(), MESSAGES);
    for (int i = 0; i < MESSAGES; ++i)
        QCOMPARE(messages.at(i)[u"action"_s].toString(), QString::number(i));
    const int posts = busRequests(*far, u"/xhr_send"_s);
    QVERIFY2(posts >= 1 && posts <= 3, qPrintable(u"%1 posts"_s.arg(posts)));
}

QTEST_GUILESS_MAIN(tst_LivePromptness)
#include "tst_livepromptness.moc"
