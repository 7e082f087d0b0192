#include "e2e/Guest.h"
#include "e2e/LiveSession.h"
#include "support/Text.h"

#include <QtCore/QSet>

#include <utility>

// With the robust transport a host that is busy for a while goes on where it was, and hosts that begin
// together do not get in each other's way.
class tst_LiveHosts : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { silenceTheLibrary(); }
    void hostThatWasBusyHasLostNothing_data() { addRobustOnlyRows(HTTP_TRANSPORTS); }
    void hostThatWasBusyHasLostNothing();
    void hostsThatBeginTogetherHearTheirOwnLearners_data()
    {
        addRobustOnlyRows({u"xhr-polling"_s});
    }
    void hostsThatBeginTogetherHearTheirOwnLearners();
};

namespace
{

// The devices of the learners that are connected, one a session, by the session that they are in.
QMap<QString, QString> devices(Classroom &classroom)
{
    QMap<QString, QString> found;
    for (const QJsonValue learner : classroom.learners())
        found.insert(learner[u"sessionToken"_s].toString(), learner[u"deviceId"_s].toString());
    return found;
}

// The session ids in the paths of receiving requests.
QSet<QString> pollingSessions(Classroom &classroom)
{
    QSet<QString> found;
    for (const QJsonValue entry : classroom.journal(u"busRequest"_s, {}, 0)) {
        const QStringList path = entry[u"path"_s].toString().split(QLatin1Char('/'));
        if (path.last() == u"xhr"_s)
            found.insert(path.at(path.size() - 2));
    }
    return found;
}

} // namespace

// The server gives a session up 5 s after its last receiving request. Messages come all the time
// meanwhile, enough to end a stream several times, and a poll each.
void tst_LiveHosts::hostThatWasBusyHasLostNothing()
{
    constexpr int MESSAGES = 1000;
    bool wasBusy = false;
    const Far far(rowWay(), words(u"--learners 1 --think 20"_s));
    LiveSession session(*far, rowWay());
    QVERIFY(openWithLearners(session, 1));
    QSignalSpy closed(session.channel, &PresenterCollab::connectionClosed);
    const Heard heard(session.channel);
    Guest guest(*far, {{session.token() + u".presenter"_s}, MESSAGES, 1, 10, 1500});
    connect(session.channel, &PresenterCollab::unhandledMessage, this, [&wasBusy] {
        if (!std::exchange(wasBusy, true))
            QThread::sleep(8);
    });
    guest.start();

    turnUntil(LONG_MS, [&] { return heard.count() >= MESSAGES || closed.count() > 0; });
    QVERIFY2(closed.isEmpty(), qPrintable(session.channel->getCloseReason()));
    QCOMPARE(heard.count(), MESSAGES);
    QCOMPARE(heard.firstWrong(), -1);
    QSignalSpy answers(session.channel, &PresenterCollab::learnerPollResponse);
    session.channel->startPoll(Tarvo::PollType::TEXT, Tarvo::OrdinalType::GENERIC, 0, 0);
    QTRY_COMPARE_WITH_TIMEOUT(answers.count(), 1, LONG_MS);
    QCOMPARE(heard.count(), MESSAGES);
}

// Hosts under the same session id would share one session of the SockJS server, or refuse each other.
void tst_LiveHosts::hostsThatBeginTogetherHearTheirOwnLearners()
{
    constexpr int TIMES = 20;
    const Far far(rowWay(), words(u"--learners 1"_s));
    for (int i = 0; i < TIMES; ++i) {
        LiveSession one(*far, rowWay());
        LiveSession other(*far, rowWay());
        QVERIFY(one.create());
        QVERIFY(other.create());
        QVERIFY(one.startChannel());
        QSignalSpy joinedOne(one.channel, &PresenterCollab::learnerJoin);
        QVERIFY(other.startChannel());
        QSignalSpy joinedOther(other.channel, &PresenterCollab::learnerJoin);
        QTRY_COMPARE_WITH_TIMEOUT(joinedOne.count(), 1, LONG_MS);
        QTRY_COMPARE_WITH_TIMEOUT(joinedOther.count(), 1, LONG_MS);
        const auto learners = devices(*far);
        QCOMPARE(joinedOne.first().first().value<Tarvo::Learner>().deviceId,
                 learners.value(one.token()));
        QCOMPARE(joinedOther.first().first().value<Tarvo::Learner>().deviceId,
                 learners.value(other.token()));
        QVERIFY(one.client->doStopSession());
        QVERIFY(other.client->doStopSession());
        QCOMPARE(joinedOne.count(), 1);
        QCOMPARE(joinedOther.count(), 1);
    }
    QCOMPARE(pollingSessions(*far).size(), 2 * TIMES);
}

QTEST_GUILESS_MAIN(tst_LiveHosts)
#include "tst_livehosts.moc"
