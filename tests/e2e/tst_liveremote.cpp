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
    void remoteIsToldLessonAndCard_data() { addTransportRows(); }
    void remoteIsToldLessonAndCard();
    void remoteCommandsReachTheHost_data() { addTransportRows(); }
    void remoteCommandsReachTheHost();
    void unknownMessagesAreHandedOver_data() { addTransportRows(); }
    void unknownMessagesAreHandedOver();
    void nothingIsSentWithoutAConnection();
};

namespace
{

using Tarvo::OrdinalType;
using Tarvo::PollType;

// The types of what devices of a role got, in order.
QStringList typesReceived(Classroom &classroom, const QString &role)
{
    QStringList types;
    for (const QJsonValue entry : classroom.journal({{"kind", "received"}, {"role", role}}, 0))
        types.append(entry["type"].toString());
    return types;
}

} // namespace

void tst_LiveRemote::remoteIsToldLessonAndCard()
{
    QFETCH(QString, transport);
    QFETCH(bool, tls);
    const Far far(tls, {"--learners", "1", "--remote", "--remote-commands", "none"});
    LiveSession session(*far, transport);
    QVERIFY(openWithLearners(session, 1));
    session.channel->sendCurrentLessonToRemote("L-7", u"Flüsse"_s);
    session.channel->sendCurrentCardToRemote(2, 3);
    session.channel->sendPresenterIsActiveToRemote();

    struct Told {
        QString type;
        QString text;
    };
    const Told told[] = {
        {"currentLesson", uR"({"lessonId":"L-7", "name":"Flüsse"})"_s},
        {"currentCard",
         R"({"currentCard":"2", "cards": [{"name":"1"},{"name":"2"},{"name":"3"}], "totalCards":"3"})"},
        {"presenterIsActive", "\"%0\""},
    };
    for (const Told &one : told) {
        const QJsonValue message = far->receivedOne(one.type);
        QCOMPARE(message["role"].toString(), QString("controller"));
        QCOMPARE(message["address"].toString(), session.token() + ".controller");
        QCOMPARE(message["from"].toString(), session.client->getUserToken());
        QCOMPARE(message["text"].toString(), one.text);
    }
    // Learners get none of it.
    QCOMPARE(typesReceived(*far, "learner"), QStringList());
}

void tst_LiveRemote::remoteCommandsReachTheHost()
{
    QFETCH(QString, transport);
    QFETCH(bool, tls);
    const Far far(tls);
    LiveSession session(*far, transport);
    QVERIFY(session.open());
    // Until the registrations have arrived, nothing reaches the presenter.
    QCOMPARE(far->journal({{"kind", "register"}}, 3).size(), 3);
    QSignalSpy commands(session.channel, &PresenterCollab::remoteControl);
    QSignalSpy registered(session.channel, &PresenterCollab::controllerRegister);

    struct Sent {
        const char *command;
        QJsonObject data;
    };
    const Sent sent[] = {
        {"requestLessonInfo", {}},
        {"requestLesson", {{"lessonId", "L-7"}}},
        {"presenterActive", {}},
        {"pause", {}},
        {"resume", {}},
        {"lockAll", {{"reason", "100%1 \"attention\""}}},
        {"unlockAll", {}},
        {"nextCard", {}},
        {"previousCard", {}},
        {"pushCurrentCard", {}},
        {"addImageCard", {{"url", "/a?b=c"}, {"size", QJsonArray{1, 2}}}},
        {"stopSession", {}},
    };
    QString device;
    for (const Sent &one : sent)
        device = far->post("remote", {{"command", one.command}, {"data", one.data}})["deviceId"]
                     .toString();
    QVERIFY(!device.isEmpty());
    QTRY_COMPARE_WITH_TIMEOUT(commands.count(), int(std::size(sent)), LONG_MS);
    for (int i = 0; i < commands.count(); ++i) {
        const auto message = commands.at(i).first().value<Tarvo::RemoteControlMessage>();
        QCOMPARE(message.type, QString(sent[i].command));
        QCOMPARE(message.from, device);
        QCOMPARE(QJsonObject::fromVariantMap(message.data.toMap()), sent[i].data);
    }
    // Commands are not for the library to obey.
    QVERIFY(session.channel->isConnected());

    QCOMPARE(registered.count(), 0);
    far->remove("remote");
    QTRY_COMPARE_WITH_TIMEOUT(registered.count(), 1, LONG_MS);
    QCOMPARE(registered.first().first().toBool(), false);
}

void tst_LiveRemote::unknownMessagesAreHandedOver()
{
    QFETCH(QString, transport);
    QFETCH(bool, tls);
    const Far far(tls);
    LiveSession session(*far, transport);
    QVERIFY(session.open());
    // Until the registrations have arrived, nothing reaches the presenter.
    QCOMPARE(far->journal({{"kind", "register"}}, 3).size(), 3);
    QSignalSpy unhandled(session.channel, &PresenterCollab::unhandledMessage);
    far->post("publish",
              {{"address", ".presenter"},
               {"body", QJsonObject{{"type", "chat"}, {"from", "x"}}},
               {"text", R"({"say":"hi"})"}});
    QTRY_COMPARE_WITH_TIMEOUT(unhandled.count(), 1, LONG_MS);
    const QVariantMap body = unhandled.first().at(0).toMap();
    QCOMPARE(body.value("type").toString(), QString("chat"));
    QCOMPARE(body.value("from").toString(), QString("x"));
    // A QVariant argument comes as it is.
    QCOMPARE(unhandled.first().at(1).toMap(), QVariantMap({{"say", "hi"}}));
}

void tst_LiveRemote::nothingIsSentWithoutAConnection()
{
    const Far far(false, {"--learners", "1"});
    LiveSession session(*far, "websocket");
    QVERIFY(openWithLearners(session, 1));
    far->remove("connections");
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
    QCOMPARE(far->countNow({{"kind", "publish"}, {"transport", "websocket"}}), 0);
}

QTEST_GUILESS_MAIN(tst_LiveRemote)
#include "tst_liveremote.moc"
