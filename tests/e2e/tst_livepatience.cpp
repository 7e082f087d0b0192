#include "e2e/LiveSession.h"
#include "support/Text.h"

#include <QtCore/QElapsedTimer>

#include <vector>

// With the robust transport a class that has nothing to say stays together, and one that the server
// gives up is told why.
class tst_LivePatience : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void idleClassesLiveOn();
    void pingsKeepAChannelThatWouldBeClosed();
};

namespace
{

// What one of several sessions of a test has come to.
struct Class {
    Class(Classroom &classroom, const QString &transport)
        : session(classroom, Way{transport, false, true}), transport(transport)
    {
    }
    bool open()
    {
        if (!session.open())
            return false;
        closed = std::make_unique<QSignalSpy>(session.channel, &PresenterCollab::connectionClosed);
        joined = std::make_unique<QSignalSpy>(session.channel, &PresenterCollab::learnerJoin);
        answers =
            std::make_unique<QSignalSpy>(session.channel, &PresenterCollab::learnerPollResponse);
        return true;
    }
    bool isOpen() const { return session.channel->isConnected() && closed->count() == 0; }

    LiveSession session;
    QString transport;
    std::unique_ptr<QSignalSpy> closed;
    std::unique_ptr<QSignalSpy> joined;
    std::unique_ptr<QSignalSpy> answers;
};

// One over each transport.
std::vector<std::unique_ptr<Class>> classes(Classroom &classroom)
{
    std::vector<std::unique_ptr<Class>> all;
    for (const QString &transport : EVERY_TRANSPORT)
        all.push_back(std::make_unique<Class>(classroom, transport));
    return all;
}

} // namespace

// Half of the classes send no ping either: then the server's heartbeats are all there is.
void tst_LivePatience::idleClassesLiveOn()
{
    constexpr int IDLE_MS = 180000;
    const Far far(false, words(u"--stock --learners 1 --think 20"_s));
    auto all = classes(*far);
    for (auto &silent : classes(*far))
        all.push_back(std::move(silent));
    for (size_t i = 0; i < all.size(); ++i) {
        QVERIFY2(all[i]->open(), qPrintable(all[i]->transport));
        if (i >= all.size() / 2)
            all[i]->session.channel->setPingInterval(0);
    }
    for (const auto &one : all)
        QTRY_COMPARE_WITH_TIMEOUT(one->joined->count(), 1, LONG_MS);

    QElapsedTimer clock;
    clock.start();
    while (!clock.hasExpired(IDLE_MS)) {
        QTest::qWait(1000);
        for (const auto &one : all) {
            QVERIFY2(one->isOpen(),
                     qPrintable(u"%1 after %2 ms: %3 %4"_s.arg(one->transport)
                                    .arg(clock.elapsed())
                                    .arg(one->session.channel->getCloseCode())
                                    .arg(one->session.channel->getCloseReason())));
        }
    }
    for (const auto &one : all) {
        one->session.channel->startPoll(Tarvo::PollType::TEXT, Tarvo::OrdinalType::GENERIC, 0, 0);
        QTRY_COMPARE_WITH_TIMEOUT(one->answers->count(), 1, LONG_MS);
        QCOMPARE(one->answers->first().at(3).toString(), u"The answer is river."_s);
    }
}

// Over a web socket the server's words are those of the socket's own close frame.
void tst_LivePatience::pingsKeepAChannelThatWouldBeClosed()
{
    const Far far(false, words(u"--stock --ping-timeout 10"_s));
    const auto pinging = classes(*far);
    const auto silent = classes(*far);
    for (size_t i = 0; i < pinging.size(); ++i) {
        QVERIFY2(pinging[i]->open(), qPrintable(pinging[i]->transport));
        pinging[i]->session.channel->setPingInterval(3000);
        QVERIFY2(silent[i]->open(), qPrintable(silent[i]->transport));
        silent[i]->session.channel->setPingInterval(0);
    }
    QElapsedTimer clock;
    clock.start();

    for (const auto &one : silent) {
        QTRY_COMPARE_WITH_TIMEOUT(one->closed->count(), 1, 20000);
        QCOMPARE(one->closed->first().first().toBool(), false);
        const bool isWebSocket = one->transport == u"websocket"_s;
        QCOMPARE(one->session.channel->getCloseCode(), isWebSocket ? 1000 : 3000);
        QCOMPARE(one->session.channel->getCloseReason(),
                 isWebSocket ? u"Normal closure"_s : u"No ping for 10 s"_s);
    }
    QTest::qWait(qMax(0, 26000 - int(clock.elapsed())));
    for (const auto &one : pinging)
        QVERIFY2(one->isOpen(), qPrintable(one->transport));
    for (const auto &one : silent)
        QCOMPARE(one->closed->count(), 1);
}

QTEST_GUILESS_MAIN(tst_LivePatience)
#include "tst_livepatience.moc"
