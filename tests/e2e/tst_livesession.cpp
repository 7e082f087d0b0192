#include "e2e/LiveSession.h"
#include "support/Text.h"

// A live class: how it is opened, and how its learners are followed.
class tst_LiveSession : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void learnersAreFollowedFromJoinToLeave_data() { addLessonAndTlsRows(); }
    void learnersAreFollowedFromJoinToLeave();
    void serviceIsAskedInOrder_data() { addWebSocketAndRobustRows(); }
    void serviceIsAskedInOrder();
    void channelRegistersOnItsThreeAddresses_data() { addLessonAndTlsRows(); }
    void channelRegistersOnItsThreeAddresses();
    void learnersWhoCameBeforeAreListed_data() { addWebSocketAndRobustRows(); }
    void learnersWhoCameBeforeAreListed();
    void removedLearnerIsDisconnected_data() { addLessonAndTlsRows(); }
    void removedLearnerIsDisconnected();
    void sessionsFollowEachOther_data() { addLessonRows(); }
    void sessionsFollowEachOther();
    void tenantsOrderOfTransportsIsFollowed();
    void serverWithoutWebSocketsIsPolled();
    void transportThatIsSwitchedOffGivesWayToTheNext_data();
    void transportThatIsSwitchedOffGivesWayToTheNext();
    void stickyCookieComesBackOnPollsAndPosts_data();
    void stickyCookieComesBackOnPollsAndPosts();
};

void tst_LiveSession::learnersAreFollowedFromJoinToLeave()
{
    const Far far(rowWay(), words(u"--learners 3"_s));
    LiveSession session(*far, rowWay());
    QVERIFY(session.open());
    QCOMPARE(session.channel->getTransport(), rowTransport());
    QSignalSpy joined(session.channel, &PresenterCollab::learnerJoin);
    QSignalSpy left(session.channel, &PresenterCollab::learnerUnregister);

    QTRY_COMPARE_WITH_TIMEOUT(joined.count(), 3, LONG_MS);
    QStringList people;
    QStringList devices;
    for (const QList<QVariant> &arguments : joined) {
        const auto learner = arguments.first().value<Tarvo::Learner>();
        people.append(learner.userName + u", "_s + learner.deviceType);
        devices.append(learner.deviceId);
    }
    QCOMPARE(people, QStringList({u"Ada, tablet"_s, u"Ben, phone"_s, u"Cleo, laptop"_s}));

    QVERIFY(session.client->doGetLearners());
    QCOMPARE(session.client->getLearners().size(), 3);
    for (int i = 0; i < 3; ++i)
        QCOMPARE(session.client->getLearners().at(i).deviceId, devices.at(i));

    far->remove(u"learners/"_s + devices.at(1));
    QTRY_COMPARE_WITH_TIMEOUT(left.count(), 1, LONG_MS);
    QCOMPARE(left.first().first().toString(), devices.at(1));
    QVERIFY(session.client->doGetLearners());
    QCOMPARE(session.client->getLearners().size(), 2);

    QVERIFY(session.client->doStopSession());
    QCOMPARE(session.channel->getTransport(), QString());
    QVERIFY(session.client->doLogout());
}

void tst_LiveSession::serviceIsAskedInOrder()
{
    const Far far(rowWay());
    LiveSession session(*far, rowWay());
    QVERIFY(session.open());
    const QString code = session.client->getSessionCode();
    const QString token = session.token();
    QVERIFY(session.client->doStopSession());
    QVERIFY(session.client->doLogout());

    QStringList requests;
    for (const QJsonValue entry : far->journal(u"request"_s, {}, 10))
        requests.append(entry[u"path"_s].toString() + u" "_s + entry[u"body"_s].toString());
    QCOMPARE(
        requests,
        QStringList(
            {u"/vantora "_s,
             uR"(/vantora/login/submit {"userId":"teacher","password":"secret","sourceSystem":"Corvel"})"_s,
             u"/vantora/login/user {}"_s, u"/vantora/session/create {}"_s,
             u"/vantora/session/getcollabserverurl {}"_s,
             u"/vantora/config/findTenantFeatureDetails {}"_s,
             uR"(/vantora/session/start {"sessionCode": ")"_s + code + uR"(","serverUrl":")"_s
                 + far->url() + uR"(","sourceSystem":"Corvel","version":"3.0.0"})"_s,
             uR"(/vantora/classroom/session/join {"userName":"SessionStarter","sessionCode":")"_s
                 + code
                 + uR"(","mode":"presenter","deviceName":"teacher_SessionStarter","deviceType":"presenter"})"_s,
             uR"(/vantora/session/stop {"sessionToken":")"_s + token + uR"("})"_s,
             u"/vantora/login/logout {}"_s}));
    // The sign-in's cookie rides along with every request behind it.
    const QJsonArray entries = far->journal(u"request"_s, {}, 10);
    const QString cookie = entries.at(2)[u"cookie"_s].toString();
    QVERIFY(!cookie.isEmpty());
    for (int i = 2; i < entries.size(); ++i)
        QCOMPARE(entries.at(i)[u"cookie"_s].toString(), cookie);
}

void tst_LiveSession::channelRegistersOnItsThreeAddresses()
{
    const Far far(rowWay());
    LiveSession session(*far, rowWay());
    QVERIFY(session.open());

    QStringList addresses;
    for (const QJsonValue entry :
         far->journal(u"register"_s, {{u"transport"_s, rowTransport()}}, 3)) {
        QCOMPARE(entry[u"accepted"_s].toBool(), true);
        addresses.append(entry[u"address"_s].toString());
    }
    QCOMPARE(addresses,
             QStringList({session.token(), session.token() + u".presenter"_s,
                          session.token() + u".presenter."_s + session.client->getUserToken()}));
}

void tst_LiveSession::learnersWhoCameBeforeAreListed()
{
    const Far far(rowWay(), words(u"--learners 2"_s));
    LiveSession session(*far, rowWay());
    QVERIFY(session.open());
    QTRY_COMPARE_WITH_TIMEOUT(far->learners().size(), 2, LONG_MS);
    QVERIFY(session.client->doGetLearners());
    QStringList names;
    for (const Tarvo::Learner &learner : session.client->getLearners())
        names.append(learner.userName);
    QCOMPARE(names, QStringList({u"Ada"_s, u"Ben"_s}));
}

void tst_LiveSession::removedLearnerIsDisconnected()
{
    const Far far(rowWay(), words(u"--learners 2"_s));
    LiveSession session(*far, rowWay());
    QVERIFY(session.open());
    QSignalSpy joined(session.channel, &PresenterCollab::learnerJoin);
    QSignalSpy left(session.channel, &PresenterCollab::learnerUnregister);
    QTRY_COMPARE_WITH_TIMEOUT(joined.count(), 2, LONG_MS);
    const QString device = joined.at(0).first().value<Tarvo::Learner>().deviceId;

    session.channel->removeLearner(device);
    QCOMPARE(left.count(), 1); // at once
    const QJsonValue message = far->receivedOne(u"disconnect"_s);
    QCOMPARE(message[u"deviceId"_s].toString(), device);
    QCOMPARE(message[u"address"_s].toString(), session.token() + u".user."_s + device);
    QCOMPARE(message[u"from"_s].toString(), session.client->getUserToken());
    QCOMPARE(message[u"text"_s].toString(), u"\"\""_s);
    // The server's own word follows.
    QTRY_COMPARE_WITH_TIMEOUT(left.count(), 2, LONG_MS);
    QCOMPARE(left.at(1).first().toString(), device);
    QCOMPARE(far->learners().size(), 1);
}

void tst_LiveSession::sessionsFollowEachOther()
{
    const Far far(rowWay(), words(u"--learners 1"_s));
    LiveSession session(*far, rowWay());
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
    const Far far(false, words(u"--tenant-protocols xhr-polling,websocket"_s));
    LiveSession session(*far, QString());
    QVERIFY(session.open());
    QCOMPARE(far->countNow(u"open"_s, {{u"transport"_s, u"xhr-polling"_s}}), 1);
    QCOMPARE(far->countNow(u"open"_s, {{u"transport"_s, u"websocket"_s}}), 0);
}

void tst_LiveSession::serverWithoutWebSocketsIsPolled()
{
    const Far far(
        false,
        words(u"--transports xhr-polling --tenant-protocols websocket,xhr-polling --learners 1"_s));
    LiveSession session(*far, QString());
    QVERIFY(openWithLearners(session, 1));
    QCOMPARE(session.channel->getTransport(), u"xhr-polling"_s);
    QCOMPARE(far->countNow(u"open"_s, {{u"transport"_s, u"xhr-polling"_s}}), 1);
    // The web socket was tried first.
    const QString first = far->journal(u"busRequest"_s).at(0)[u"path"_s].toString();
    QVERIFY2(first.endsWith(u"/websocket"_s), qPrintable(first));
}

void tst_LiveSession::transportThatIsSwitchedOffGivesWayToTheNext_data()
{
    addWayColumns();
    QTest::addColumn<QString>("order");
    QTest::newRow("polling behind both")
        << u"xhr-polling"_s << false << true << u"websocket,xhr-streaming,xhr-polling"_s;
    QTest::newRow("streaming behind a web socket, TLS")
        << u"xhr-streaming"_s << true << true << u"websocket,xhr-streaming"_s;
    QTest::newRow("a web socket behind streaming")
        << u"websocket"_s << false << true << u"xhr-streaming,websocket"_s;
}

void tst_LiveSession::transportThatIsSwitchedOffGivesWayToTheNext()
{
    QFETCH(QString, order);
    const Far far(rowWay(),
                  {u"--learners"_s, u"1"_s, u"--transports"_s, rowTransport(),
                   u"--tenant-protocols"_s, order});
    LiveSession session(*far, Way{QString(), rowWay().isTls, true});
    QVERIFY(openWithLearners(session, 1));
    QCOMPARE(session.channel->getTransport(), rowTransport());
    QCOMPARE(far->countNow(u"open"_s, {{u"transport"_s, rowTransport()}}), 1);
}

void tst_LiveSession::stickyCookieComesBackOnPollsAndPosts_data()
{
    addWayColumns();
    QTest::newRow("xhr-polling") << u"xhr-polling"_s << false << false;
    addRobustRows({u"xhr-polling"_s});
}

void tst_LiveSession::stickyCookieComesBackOnPollsAndPosts()
{
    const Far far(rowWay());
    LiveSession session(*far, rowWay());
    QVERIFY(session.open());
    session.channel->sendHeavy();
    QTRY_VERIFY_WITH_TIMEOUT(far->countNow(u"publish"_s, {{u"type"_s, u"heavy"_s}}) == 1, LONG_MS);
    QTRY_VERIFY_WITH_TIMEOUT(
        [&far] {
            int polls = 0;
            int posts = 0;
            for (const QJsonValue entry : far->journal(u"busRequest"_s, {}, 3)) {
                const bool hasCookie = QRegularExpression(u"JSESSIONID=[0-9a-f]{12}%1\\.node119"_s)
                                           .match(entry[u"cookie"_s].toString())
                                           .hasMatch();
                polls += hasCookie && entry[u"path"_s].toString().endsWith(u"/xhr"_s);
                posts += hasCookie && entry[u"path"_s].toString().endsWith(u"/xhr_send"_s);
            }
            return polls > 0 && posts > 0;
        }(),
        LONG_MS);
}

QTEST_GUILESS_MAIN(tst_LiveSession)
#include "tst_livesession.moc"
