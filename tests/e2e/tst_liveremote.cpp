#include "e2e/LiveSession.h"
#include "e2e/PayloadJson.h"
#include "support/Text.h"

#include "collab/PresenterAssessment.h"

// The remote controller is told what is shown and sends its commands; messages of unknown types are
// handed over; without a connection nothing is sent.
class tst_LiveRemote : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void remoteIsToldLessonAndCard_data() { addLessonRows(); }
    void remoteIsToldLessonAndCard();
    void remoteCommandsReachTheHost_data() { addLessonRows(); }
    void remoteCommandsReachTheHost();
    void unknownMessagesAreHandedOver_data() { addLessonRows(); }
    void unknownMessagesAreHandedOver();
    void nothingIsSentWithoutAConnection_data() { addWebSocketAndRobustRows(); }
    void nothingIsSentWithoutAConnection();
};

using Tarvo::OrdinalType;
using Tarvo::PollType;

void tst_LiveRemote::remoteIsToldLessonAndCard()
{
    const Far far(rowWay(), words(u"--learners 1 --remote --remote-commands none"_s));
    LiveSession session(*far, rowWay());
    QVERIFY(openWithLearners(session, 1));
    session.channel->sendCurrentLessonToRemote(u"L-7"_s, u"Flüsse"_s);
    session.channel->sendCurrentCardToRemote(2, 3);
    session.channel->sendPresenterIsActiveToRemote();

    struct Told {
        QString type;
        QString text;
    };
    const Told told[] = {
        {u"currentLesson"_s, uR"({"lessonId":"L-7", "name":"Flüsse"})"_s},
        {u"currentCard"_s,
         uR"({"currentCard":"2", "cards": [{"name":"1"},{"name":"2"},{"name":"3"}], "totalCards":"3"})"_s},
        {u"presenterIsActive"_s, u"\"%0\""_s},
    };
    for (const Told &one : told) {
        const QJsonValue message = far->receivedOne(one.type);
        QCOMPARE(message[u"role"_s].toString(), u"controller"_s);
        QCOMPARE(message[u"address"_s].toString(), session.token() + u".controller"_s);
        QCOMPARE(message[u"from"_s].toString(), session.client->getUserToken());
        QCOMPARE(message[u"text"_s].toString(), one.text);
    }
    // Learners get none of it.
    QCOMPARE(far->journal(u"received"_s, {{u"role"_s, u"learner"_s}}, 0), QJsonArray());
}

void tst_LiveRemote::remoteCommandsReachTheHost()
{
    const Far far(rowWay());
    LiveSession session(*far, rowWay());
    QVERIFY(session.open());
    QVERIFY(far->presenterIsRegistered());
    QSignalSpy commands(session.channel, &PresenterCollab::remoteControl);
    QSignalSpy registered(session.channel, &PresenterCollab::controllerRegister);

    struct Sent {
        QString command;
        QJsonObject data;
    };
    const Sent sent[] = {
        {u"requestLessonInfo"_s, {}},
        {u"requestLesson"_s, {{u"lessonId"_s, u"L-7"_s}}},
        {u"presenterActive"_s, {}},
        {u"pause"_s, {}},
        {u"resume"_s, {}},
        {u"lockAll"_s, {{u"reason"_s, u"100%1 \"attention\""_s}}},
        {u"unlockAll"_s, {}},
        {u"nextCard"_s, {}},
        {u"previousCard"_s, {}},
        {u"pushCurrentCard"_s, {}},
        {u"addImageCard"_s, {{u"url"_s, u"/a?b=c"_s}, {u"size"_s, QJsonArray{1, 2}}}},
        {u"stopSession"_s, {}},
    };
    QString device;
    for (const Sent &one : sent)
        device = far->post(u"remote"_s,
                           {{u"command"_s, one.command}, {u"data"_s, one.data}})[u"deviceId"_s]
                     .toString();
    QVERIFY(!device.isEmpty());
    QTRY_COMPARE_WITH_TIMEOUT(commands.count(), int(std::size(sent)), LONG_MS);
    for (int i = 0; i < commands.count(); ++i) {
        const auto message = commands.at(i).first().value<Tarvo::RemoteControlMessage>();
        QCOMPARE(message.type, sent[i].command);
        QCOMPARE(message.from, device);
        QCOMPARE(QJsonObject::fromVariantMap(message.data.toMap()), sent[i].data);
    }
    // Commands are not for the library to obey.
    QVERIFY(session.channel->isConnected());

    QCOMPARE(registered.count(), 0);
    far->remove(u"remote"_s);
    QTRY_COMPARE_WITH_TIMEOUT(registered.count(), 1, LONG_MS);
    QCOMPARE(registered.first().first().toBool(), false);
}

void tst_LiveRemote::unknownMessagesAreHandedOver()
{
    const Far far(rowWay());
    LiveSession session(*far, rowWay());
    QVERIFY(session.open());
    QVERIFY(far->presenterIsRegistered());
    QSignalSpy unhandled(session.channel, &PresenterCollab::unhandledMessage);
    far->post(u"publish"_s,
              {{u"address"_s, u".presenter"_s},
               {u"body"_s, QJsonObject{{u"type"_s, u"chat"_s}, {u"from"_s, u"x"_s}}},
               {u"text"_s, uR"({"say":"hi"})"_s}});
    QTRY_COMPARE_WITH_TIMEOUT(unhandled.count(), 1, LONG_MS);
    const QVariantMap body = unhandled.first().at(0).toMap();
    QCOMPARE(body.value(u"type"_s).toString(), u"chat"_s);
    QCOMPARE(body.value(u"from"_s).toString(), u"x"_s);
    // A QVariant argument comes as it is.
    QCOMPARE(unhandled.first().at(1).toMap(), QVariantMap({{u"say"_s, u"hi"_s}}));
}

void tst_LiveRemote::nothingIsSentWithoutAConnection()
{
    const Far far(rowWay(), words(u"--learners 1"_s));
    LiveSession session(*far, rowWay());
    QVERIFY(openWithLearners(session, 1));
    far->remove(u"connections"_s);
    QTRY_VERIFY_WITH_TIMEOUT(!session.channel->isConnected(), LONG_MS);
    session.channel->startPoll(PollType::TEXT, OrdinalType::GENERIC, 0, 0);
    session.channel->startPoll(PollType::CREATIVE, OrdinalType::GENERIC, 2, 0);
    session.channel->pausePoll();
    session.channel->stopPoll();
    session.channel->showImageCard(false);
    session.channel->sendCurrentCardToRemote(1, 1);
    PresenterAssessment assessment(nullptr, session.channel);
    assessment.stop();
    // A request that does arrive comes after all of these would have.
    QVERIFY(session.client->doGetLearners());
    QCOMPARE(far->countNow(u"publish"_s, {{u"transport"_s, rowTransport()}}), 0);
}

QTEST_GUILESS_MAIN(tst_LiveRemote)
#include "tst_liveremote.moc"
