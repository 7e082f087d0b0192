#include "e2e/LiveSession.h"

// A live class: how it is opened, and how its learners are followed.
class tst_LiveSession : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void learnersAreFollowedFromJoinToLeave_data() { addTransportAndTlsRows(); }
    void learnersAreFollowedFromJoinToLeave();
    void serviceIsAskedInOrder();
    void channelRegistersOnItsThreeAddresses_data() { addTransportAndTlsRows(); }
    void channelRegistersOnItsThreeAddresses();
    void learnersWhoCameBeforeAreListed();
    void removedLearnerIsDisconnected_data() { addTransportAndTlsRows(); }
    void removedLearnerIsDisconnected();
    void sessionsFollowEachOther_data() { addTransportRows(); }
    void sessionsFollowEachOther();
    void tenantsOrderOfTransportsIsFollowed();
    void serverWithoutWebSocketsIsPolled();
    void stickyCookieComesBackOnPollsAndPosts();
};

void tst_LiveSession::learnersAreFollowedFromJoinToLeave()
{
    QFETCH(QString, transport);
    QFETCH(bool, tls);
    const Far far(tls, {"--learners", "3"});
    LiveSession session(*far, transport);
    QVERIFY(session.open());
    QSignalSpy joined(session.channel, &PresenterCollab::learnerJoin);
    QSignalSpy left(session.channel, &PresenterCollab::learnerUnregister);

    QTRY_COMPARE_WITH_TIMEOUT(joined.count(), 3, LONG_MS);
    QStringList people;
    QStringList devices;
    for (const QList<QVariant> &arguments : joined) {
        const auto learner = arguments.first().value<Tarvo::Learner>();
        people.append(learner.userName + ", " + learner.deviceType);
        devices.append(learner.deviceId);
    }
    QCOMPARE(people, QStringList({"Ada, tablet", "Ben, phone", "Cleo, laptop"}));

    QVERIFY(session.client->doGetLearners());
    QCOMPARE(session.client->getLearners().size(), 3);
    for (int i = 0; i < 3; ++i)
        QCOMPARE(session.client->getLearners().at(i).deviceId, devices.at(i));

    far->remove("learners/" + devices.at(1));
    QTRY_COMPARE_WITH_TIMEOUT(left.count(), 1, LONG_MS);
    QCOMPARE(left.first().first().toString(), devices.at(1));
    QVERIFY(session.client->doGetLearners());
    QCOMPARE(session.client->getLearners().size(), 2);

    QVERIFY(session.client->doStopSession());
    QVERIFY(session.client->doLogout());
}

void tst_LiveSession::serviceIsAskedInOrder()
{
    const Far far(false);
    LiveSession session(*far, "websocket");
    QVERIFY(session.open());
    const QString code = session.client->getSessionCode();
    const QString token = session.token();
    QVERIFY(session.client->doStopSession());
    QVERIFY(session.client->doLogout());

    QStringList requests;
    for (const QJsonValue entry : far->journal({{"kind", "request"}}, 10))
        requests.append(entry["path"].toString() + " " + entry["body"].toString());
    QCOMPARE(
        requests,
        QStringList(
            {"/vantora ",
             R"(/vantora/login/submit {"userId":"teacher","password":"secret","sourceSystem":"Corvel"})",
             "/vantora/login/user {}", "/vantora/session/create {}",
             "/vantora/session/getcollabserverurl {}",
             "/vantora/config/findTenantFeatureDetails {}",
             R"(/vantora/session/start {"sessionCode": ")" + code + R"(","serverUrl":")"
                 + far->url() + R"(","sourceSystem":"Corvel","version":"3.0.0"})",
             R"(/vantora/classroom/session/join {"userName":"SessionStarter","sessionCode":")"
                 + code
                 + R"(","mode":"presenter","deviceName":"teacher_SessionStarter","deviceType":"presenter"})",
             R"(/vantora/session/stop {"sessionToken":")" + token + R"("})",
             "/vantora/login/logout {}"}));
    // The sign-in's cookie rides along with every request behind it.
    const QJsonArray entries = far->journal({{"kind", "request"}}, 10);
    const QString cookie = entries.at(2)["cookie"].toString();
    QVERIFY(!cookie.isEmpty());
    for (int i = 2; i < entries.size(); ++i)
        QCOMPARE(entries.at(i)["cookie"].toString(), cookie);
}

void tst_LiveSession::channelRegistersOnItsThreeAddresses()
{
    QFETCH(QString, transport);
    QFETCH(bool, tls);
    const Far far(tls);
    LiveSession session(*far, transport);
    QVERIFY(session.open());

    QStringList addresses;
    for (const QJsonValue entry :
         far->journal({{"kind", "register"}, {"transport", transport}}, 3)) {
        QCOMPARE(entry["accepted"].toBool(), true);
        addresses.append(entry["address"].toString());
    }
    QCOMPARE(addresses,
             QStringList({session.token(), session.token() + ".presenter",
                          session.token() + ".presenter." + session.client->getUserToken()}));
}

void tst_LiveSession::learnersWhoCameBeforeAreListed()
{
    const Far far(false, {"--learners", "2"});
    LiveSession session(*far, "websocket");
    QVERIFY(session.open());
    QTRY_COMPARE_WITH_TIMEOUT(far->learners().size(), 2, LONG_MS);
    QVERIFY(session.client->doGetLearners());
    QStringList names;
    for (const Tarvo::Learner &learner : session.client->getLearners())
        names.append(learner.userName);
    QCOMPARE(names, QStringList({"Ada", "Ben"}));
}

void tst_LiveSession::removedLearnerIsDisconnected()
{
    QFETCH(QString, transport);
    QFETCH(bool, tls);
    const Far far(tls, {"--learners", "2"});
    LiveSession session(*far, transport);
    QVERIFY(session.open());
    QSignalSpy joined(session.channel, &PresenterCollab::learnerJoin);
    QSignalSpy left(session.channel, &PresenterCollab::learnerUnregister);
    QTRY_COMPARE_WITH_TIMEOUT(joined.count(), 2, LONG_MS);
    const QString device = joined.at(0).first().value<Tarvo::Learner>().deviceId;

    session.channel->removeLearner(device);
    QCOMPARE(left.count(), 1); // at once
    const QJsonValue message = far->receivedOne("disconnect");
    QCOMPARE(message["deviceId"].toString(), device);
    QCOMPARE(message["address"].toString(), session.token() + ".user." + device);
    QCOMPARE(message["from"].toString(), session.client->getUserToken());
    QCOMPARE(message["text"].toString(), QString("\"\""));
    // The server's own word follows.
    QTRY_COMPARE_WITH_TIMEOUT(left.count(), 2, LONG_MS);
    QCOMPARE(left.at(1).first().toString(), device);
    QCOMPARE(far->learners().size(), 1);
}

void tst_LiveSession::sessionsFollowEachOther()
{
    QFETCH(QString, transport);
    QFETCH(bool, tls);
    const Far far(tls, {"--learners", "1"});
    LiveSession session(*far, transport);
    QVERIFY(session.open());
    const QString firstCode = session.client->getSessionCode();
    QSignalSpy joinedFirst(session.channel, &PresenterCollab::learnerJoin);
    QTRY_COMPARE_WITH_TIMEOUT(joinedFirst.count(), 1, LONG_MS);
    QVERIFY(session.client->doStopSession());

    QVERIFY(session.client->doStartSession(QString()));
    QVERIFY(session.client->getSessionCode() != firstCode);
    QVERIFY(session.openChannel());
    QSignalSpy joinedSecond(session.channel, &PresenterCollab::learnerJoin);
    QTRY_COMPARE_WITH_TIMEOUT(joinedSecond.count(), 1, LONG_MS);
    QVERIFY(session.client->doStopSession());
}

void tst_LiveSession::tenantsOrderOfTransportsIsFollowed()
{
    const Far far(false, {"--tenant-protocols", "xhr-polling,websocket"});
    LiveSession session(*far, QString());
    QVERIFY(session.open());
    QCOMPARE(far->countNow({{"kind", "open"}, {"transport", "xhr-polling"}}), 1);
    QCOMPARE(far->countNow({{"kind", "open"}, {"transport", "websocket"}}), 0);
}

void tst_LiveSession::serverWithoutWebSocketsIsPolled()
{
    const Far far(false,
                  {"--transports", "xhr-polling", "--tenant-protocols", "websocket,xhr-polling",
                   "--learners", "1"});
    LiveSession session(*far, QString());
    QVERIFY(openWithLearners(session, 1));
    QCOMPARE(far->countNow({{"kind", "open"}, {"transport", "xhr-polling"}}), 1);
    // The web socket was tried first.
    const QString first = far->journal({{"kind", "busRequest"}}).at(0)["path"].toString();
    QVERIFY2(first.endsWith("/websocket"), qPrintable(first));
}

void tst_LiveSession::stickyCookieComesBackOnPollsAndPosts()
{
    const Far far(false);
    LiveSession session(*far, "xhr-polling");
    QVERIFY(session.open());
    session.channel->sendHeavy();
    QTRY_VERIFY_WITH_TIMEOUT(far->countNow({{"kind", "publish"}, {"type", "heavy"}}) == 1, LONG_MS);
    QTRY_VERIFY_WITH_TIMEOUT(
        [&far] {
            int polls = 0;
            int posts = 0;
            for (const QJsonValue entry : far->journal({{"kind", "busRequest"}}, 3)) {
                const bool hasCookie = QRegularExpression("JSESSIONID=[0-9a-f]{12}%1\\.node119")
                                           .match(entry["cookie"].toString())
                                           .hasMatch();
                polls += hasCookie && entry["path"].toString().endsWith("/xhr");
                posts += hasCookie && entry["path"].toString().endsWith("/xhr_send");
            }
            return polls > 0 && posts > 0;
        }(),
        LONG_MS);
}

QTEST_GUILESS_MAIN(tst_LiveSession)
#include "tst_livesession.moc"
