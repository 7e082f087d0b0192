#include "CommandParser.h"
#include "Runner.h"
#include "console/Terminal.h"
#include "lesson/Lesson.h"
#include "support/Text.h"

#include "client/PresenterClient.h"
#include "collab/PresenterCollab.h"

#include <QtTest/QtTest>

using namespace Host;

// Commands in their order, waits and awaits, on a channel that is not connected: the test speaks for the
// learners by emitting the channel's signals.
class tst_Runner : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void commandsRunInTheirOrder();
    void waitHoldsBackWhatIsBehindIt();
    void awaitEndsWhenTheLearnersAreThere();
    void awaitEndsWhenTheResponsesAreThere();
    void awaitAllFollowsTheLearners();
    void awaitThatIsFulfilledDoesNotWait();
    void awaitInVainFailsAndGoesOn();
    void failedCommandIsReportedAndTheNextRuns();
    void quitGivesUpTheRest();
    void endOfCommandsIsReportedAfterTheLast();
    void clearedCommandsDoNotRun();
    void lateAnswersAreNotCounted();

private:
    void add(const QString &line);
    void join(const QString &device);
    void respond(const QString &device, const QString &answer);

    std::unique_ptr<PresenterClient> m_client;
    std::unique_ptr<PresenterCollab> m_channel;
    std::unique_ptr<Terminal> m_terminal;
    std::unique_ptr<Lesson> m_lesson;
    std::unique_ptr<Runner> m_runner;
    QStringList m_events; // "started ...", "failed ...", "finished"
};

void tst_Runner::init()
{
    m_client = std::make_unique<PresenterClient>(nullptr, u"http://127.0.0.1:1"_s);
    m_channel = std::make_unique<PresenterCollab>(nullptr, u"http://127.0.0.1:1"_s, u"123456"_s,
                                                  u"token"_s, u"presenter"_s);
    m_terminal = std::make_unique<Terminal>();
    m_lesson = std::make_unique<Lesson>(*m_client, *m_channel, *m_terminal);
    m_runner = std::make_unique<Runner>(*m_lesson);
    m_events.clear();
    connect(m_runner.get(), &Runner::started, this,
            [this](const ScriptLine &line) { m_events.append(u"started "_s + line.text); });
    connect(m_runner.get(), &Runner::failed, this,
            [this](const ScriptLine &line, const QString &why) {
                m_events.append(u"failed "_s + line.text + u": "_s + why);
            });
    connect(m_runner.get(), &Runner::finished, this, [this] { m_events.append(u"finished"_s); });
}

void tst_Runner::cleanup()
{
    m_runner.reset();
    m_lesson.reset();
    m_terminal.reset();
    m_channel.reset();
    m_client.reset();
}

void tst_Runner::add(const QString &line)
{
    const ParsedCommand parsed = parseCommand(line);
    QVERIFY2(parsed.command, qPrintable(parsed.error));
    m_runner->add({*parsed.command, line, 1, QString()});
}

void tst_Runner::join(const QString &device)
{
    Q_EMIT m_channel->learnerJoin({device, u"Ada"_s, u"tablet"_s});
}

void tst_Runner::respond(const QString &device, const QString &answer)
{
    Q_EMIT m_channel->learnerPollResponse(device, u"question"_s, 10, answer);
}

void tst_Runner::commandsRunInTheirOrder()
{
    add(u"learners"_s);
    add(u"lesson L Rivers"_s);
    QCOMPARE(m_events, QStringList({u"started learners"_s, u"started lesson L Rivers"_s}));
    QCOMPARE(m_runner->pending(), 0);
}

void tst_Runner::waitHoldsBackWhatIsBehindIt()
{
    QElapsedTimer clock;
    clock.start();
    add(u"wait 200"_s);
    add(u"learners"_s);
    QCOMPARE(m_events, QStringList({u"started wait 200"_s}));
    QCOMPARE(m_runner->pending(), 2);
    QTRY_COMPARE(m_events, QStringList({u"started wait 200"_s, u"started learners"_s}));
    QVERIFY(clock.elapsed() >= 190); // timers of the toolkit may be 5 % early
}

void tst_Runner::awaitEndsWhenTheLearnersAreThere()
{
    add(u"await learners 2"_s);
    add(u"learners"_s);
    join(u"d1"_s);
    join(u"d1"_s);
    QTest::qWait(0);
    QCOMPARE(m_events, QStringList({u"started await learners 2"_s}));
    join(u"d2"_s);
    QTRY_COMPARE(m_events, QStringList({u"started await learners 2"_s, u"started learners"_s}));
}

void tst_Runner::awaitEndsWhenTheResponsesAreThere()
{
    add(u"poll text"_s);
    add(u"await responses 2"_s);
    add(u"stop"_s);
    respond(u"d1"_s, u"one"_s);
    respond(u"d1"_s, u"one again"_s);
    QTest::qWait(0);
    QCOMPARE(m_events.last(), u"started await responses 2"_s);
    respond(u"d2"_s, u"two"_s);
    QTRY_COMPARE(m_events.last(), u"started stop"_s);
}

void tst_Runner::awaitAllFollowsTheLearners()
{
    join(u"d1"_s);
    join(u"d2"_s);
    add(u"poll text"_s);
    add(u"await responses all"_s);
    add(u"stop"_s);
    respond(u"d1"_s, u"one"_s);
    QTest::qWait(0);
    QCOMPARE(m_events.last(), u"started await responses all"_s);
    Q_EMIT m_channel->learnerUnregister(u"d2"_s); // nobody waits for who has left
    QTRY_COMPARE(m_events.last(), u"started stop"_s);
}

void tst_Runner::awaitThatIsFulfilledDoesNotWait()
{
    join(u"d1"_s);
    add(u"await learners 1"_s);
    add(u"learners"_s);
    QCOMPARE(m_events, QStringList({u"started await learners 1"_s, u"started learners"_s}));
}

void tst_Runner::awaitInVainFailsAndGoesOn()
{
    join(u"d1"_s);
    add(u"await learners 2 1"_s);
    add(u"learners"_s);
    QTRY_COMPARE(m_events,
                 QStringList({u"started await learners 2 1"_s,
                              u"failed await learners 2 1: It has not come to that in time "
                              "(learners: 1, responses: 0)."_s,
                              u"started learners"_s}));
}

void tst_Runner::failedCommandIsReportedAndTheNextRuns()
{
    add(u"stop"_s);
    add(u"learners"_s);
    QCOMPARE(m_events,
             QStringList({u"started stop"_s, u"failed stop: There is nothing to stop."_s,
                          u"started learners"_s}));
}

void tst_Runner::quitGivesUpTheRest()
{
    add(u"wait 10"_s);
    add(u"quit"_s);
    add(u"learners"_s);
    QTRY_COMPARE(m_events, QStringList({u"started wait 10"_s, u"started quit"_s, u"finished"_s}));
    QCOMPARE(m_runner->pending(), 0);
}

void tst_Runner::endOfCommandsIsReportedAfterTheLast()
{
    add(u"wait 10"_s);
    m_runner->endOfCommands();
    QCOMPARE(m_events, QStringList({u"started wait 10"_s}));
    QTRY_COMPARE(m_events, QStringList({u"started wait 10"_s, u"finished"_s}));
}

void tst_Runner::clearedCommandsDoNotRun()
{
    add(u"wait 10"_s);
    add(u"learners"_s);
    m_runner->clear();
    QTest::qWait(50);
    QCOMPARE(m_events, QStringList({u"started wait 10"_s}));
    add(u"learners"_s);
    QCOMPARE(m_events.last(), u"started learners"_s);
}

void tst_Runner::lateAnswersAreNotCounted()
{
    add(u"poll text"_s);
    respond(u"d1"_s, u"in time"_s);
    QCOMPARE(m_lesson->responseCount(), 1);
    add(u"stop"_s);
    respond(u"d2"_s, u"too late"_s);
    QCOMPARE(m_lesson->responseCount(), 1);
    // The id of a poll that was started within the same second is the same; wait for the next.
    const qint64 second = QDateTime::currentSecsSinceEpoch();
    QTRY_VERIFY(QDateTime::currentSecsSinceEpoch() > second);
    add(u"poll text"_s);
    respond(u"d2"_s, u"far too late"_s);
    QCOMPARE(m_lesson->responseCount(), 0);
}

QTEST_GUILESS_MAIN(tst_Runner)
#include "tst_runner.moc"
