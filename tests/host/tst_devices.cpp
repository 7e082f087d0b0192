#include "Devices.h"
#include "e2e/LiveSession.h"
#include "support/Text.h"

#include <QtTest/QtTest>

// The devices that the other tests rely on, as the library's own session hears them.
class tst_Devices : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanup();
    void joinedDevicesAreTheServicesUsers();
    void pretendersAreHeardOnly();
    void answersAreRepeatedUntilConfirmed();
    void answersAreNumbered();
    void questionsAreHeard();
    void devicesGoOnWhileTheTestStandsStill();

private:
    using Counts = QMap<QString, int>;
    bool open(int count);

    Classroom m_classroom;
    std::unique_ptr<LiveSession> m_session;
    std::unique_ptr<Devices> m_devices;
};

// A session with so many devices, which has heard of all of them.
bool tst_Devices::open(int count)
{
    m_session = std::make_unique<LiveSession>(m_classroom, u"websocket"_s);
    if (!m_session->open())
        return false;
    m_devices = std::make_unique<Devices>(m_classroom.url());
    QSignalSpy joined(m_session->channel, &PresenterCollab::learnerJoin);
    m_devices->join(m_session->client->getSessionCode(), count);
    return QTest::qWaitFor([&joined, count] { return joined.count() == count; }, LONG_MS);
}

void tst_Devices::initTestCase()
{
    QVERIFY2(!m_classroom.url().isEmpty(), qPrintable(m_classroom.errors()));
}

void tst_Devices::cleanup()
{
    m_devices.reset();
    m_session.reset();
}

void tst_Devices::joinedDevicesAreTheServicesUsers()
{
    QVERIFY(open(3));
    QCOMPARE(m_devices->announced(), 3);
    const QStringList ids = m_devices->ids();
    QCOMPARE(ids.size(), 3);
    for (const QString &id : ids) {
        const QString address = m_session->token() + u".user."_s + id;
        QCOMPARE(m_classroom.journal(u"register"_s, {{u"address"_s, address}}).size(), 1);
    }
}

void tst_Devices::pretendersAreHeardOnly()
{
    QVERIFY(open(1));
    QSignalSpy joined(m_session->channel, &PresenterCollab::learnerJoin);
    m_devices->pretendToJoin(100);
    QTRY_COMPARE_WITH_TIMEOUT(joined.count(), 100, LONG_MS);
    QCOMPARE(joined.last().first().value<Tarvo::Learner>().deviceId, u"device-101"_s);
    QCOMPARE(joined.last().first().value<Tarvo::Learner>().userName, u"Learner 101"_s);
    QCOMPARE(m_devices->announced(), 101);
}

void tst_Devices::answersAreRepeatedUntilConfirmed()
{
    QVERIFY(open(3));
    QSignalSpy answers(m_session->channel, &PresenterCollab::learnerPollResponse);
    m_devices->answer(u"q1"_s, {u"A"_s, u"B"_s});
    QTRY_VERIFY_WITH_TIMEOUT(answers.count() >= 9, LONG_MS);
    m_devices->confirm();
    const int sent = m_devices->answersSent();
    QTRY_COMPARE_WITH_TIMEOUT(answers.count(), sent, LONG_MS);
    QTest::qWait(300);
    QCOMPARE(m_devices->answersSent(), sent);
    QCOMPARE(m_devices->chosen(), Counts({{u"A"_s, 2}, {u"B"_s, 1}}));
}

void tst_Devices::answersAreNumbered()
{
    QVERIFY(open(2));
    const QStringList ids = m_devices->ids();
    QSignalSpy answers(m_session->channel, &PresenterCollab::learnerPollResponse);
    m_devices->answerOnce(u"q1"_s, {u"A"_s});
    m_devices->answerOnce(u"q2"_s, {u"B"_s, u"C"_s});
    QTRY_COMPARE_WITH_TIMEOUT(answers.count(), 4, LONG_MS);
    QCOMPARE(answers.at(0), QVariantList({ids.at(0), u"q1"_s, 1, u"A"_s}));
    QCOMPARE(answers.at(1), QVariantList({ids.at(1), u"q1"_s, 1, u"A"_s}));
    QCOMPARE(answers.at(2), QVariantList({ids.at(0), u"q2"_s, 2, u"B"_s}));
    QCOMPARE(answers.at(3), QVariantList({ids.at(1), u"q2"_s, 2, u"C"_s}));
}

void tst_Devices::questionsAreHeard()
{
    QVERIFY(open(2));
    QCOMPARE(m_devices->heard(u"questionStart"_s), 0);
    m_session->channel->startPoll(Tarvo::PollType::TEXT, Tarvo::OrdinalType::GENERIC, 0, 0);
    QTRY_COMPARE_WITH_TIMEOUT(m_devices->heard(u"questionStart"_s), 1, LONG_MS);
}

void tst_Devices::devicesGoOnWhileTheTestStandsStill()
{
    QVERIFY(open(1));
    m_devices->join(m_session->client->getSessionCode(), 2);
    m_devices->answer(u"q1"_s, {u"A"_s});
    const QDeadlineTimer limit(LONG_MS);
    while ((m_devices->announced() < 3 || m_devices->answersSent() < 6) && !limit.hasExpired())
        QThread::msleep(1);
    QCOMPARE(m_devices->announced(), 3);
    QVERIFY(m_devices->answersSent() >= 6);
}

QTEST_GUILESS_MAIN(tst_Devices)

#include "tst_devices.moc"
