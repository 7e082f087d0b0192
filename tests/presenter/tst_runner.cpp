#include "CommandParser.h"
#include "Lesson.h"
#include "Runner.h"
#include "Terminal.h"

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
    m_client = std::make_unique<PresenterClient>(nullptr, "http://127.0.0.1:1");
    m_channel = std::make_unique<PresenterCollab>(nullptr, "http://127.0.0.1:1", "123456", "token",
                                                  "presenter");
    m_terminal = std::make_unique<Terminal>();
    m_lesson = std::make_unique<Lesson>(*m_client, *m_channel, *m_terminal);
    m_runner = std::make_unique<Runner>(*m_lesson);
    m_events.clear();
    connect(m_runner.get(), &Runner::started, this,
            [this](const ScriptLine &line) { m_events.append("started " + line.text); });
    connect(m_runner.get(), &Runner::failed, this,
            [this](const ScriptLine &line, const QString &why) {
                m_events.append("failed " + line.text + ": " + why);
            });
    connect(m_runner.get(), &Runner::finished, this, [this] { m_events.append("finished"); });
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
    m_runner->add({*parsed.command, line, 1});
}

void tst_Runner::join(const QString &device)
{
    emit m_channel->learnerJoin({device, "Ada", "tablet"});
}

void tst_Runner::respond(const QString &device, const QString &answer)
{
    emit m_channel->learnerPollResponse(device, "question", 10, answer);
}

void tst_Runner::commandsRunInTheirOrder()
{
    add("learners");
    add("lesson L Rivers");
    QCOMPARE(m_events, QStringList({"started learners", "started lesson L Rivers"}));
    QCOMPARE(m_runner->pending(), 0);
}

void tst_Runner::waitHoldsBackWhatIsBehindIt()
{
    QElapsedTimer clock;
    clock.start();
    add("wait 200");
    add("learners");
    QCOMPARE(m_events, QStringList({"started wait 200"}));
    QCOMPARE(m_runner->pending(), 2);
    QTRY_COMPARE(m_events, QStringList({"started wait 200", "started learners"}));
    QVERIFY(clock.elapsed() >= 190); // timers of the toolkit may be 5 % early
}

void tst_Runner::awaitEndsWhenTheLearnersAreThere()
{
    add("await learners 2");
    add("learners");
    join("d1");
    join("d1");
    QTest::qWait(0);
    QCOMPARE(m_events, QStringList({"started await learners 2"}));
    join("d2");
    QTRY_COMPARE(m_events, QStringList({"started await learners 2", "started learners"}));
}

void tst_Runner::awaitEndsWhenTheResponsesAreThere()
{
    add("poll text");
    add("await responses 2");
    add("stop");
    respond("d1", "one");
    respond("d1", "one again");
    QTest::qWait(0);
    QCOMPARE(m_events.last(), QString("started await responses 2"));
    respond("d2", "two");
    QTRY_COMPARE(m_events.last(), QString("started stop"));
}

void tst_Runner::awaitAllFollowsTheLearners()
{
    join("d1");
    join("d2");
    add("poll text");
    add("await responses all");
    add("stop");
    respond("d1", "one");
    QTest::qWait(0);
    QCOMPARE(m_events.last(), QString("started await responses all"));
    emit m_channel->learnerUnregister("d2"); // nobody waits for who has left
    QTRY_COMPARE(m_events.last(), QString("started stop"));
}

void tst_Runner::awaitThatIsFulfilledDoesNotWait()
{
    join("d1");
    add("await learners 1");
    add("learners");
    QCOMPARE(m_events, QStringList({"started await learners 1", "started learners"}));
}

void tst_Runner::awaitInVainFailsAndGoesOn()
{
    join("d1");
    add("await learners 2 1");
    add("learners");
    QTRY_COMPARE(m_events,
                 QStringList({"started await learners 2 1",
                              "failed await learners 2 1: It has not come to that in time "
                              "(learners: 1, responses: 0).",
                              "started learners"}));
}

void tst_Runner::failedCommandIsReportedAndTheNextRuns()
{
    add("stop");
    add("learners");
    QCOMPARE(m_events,
             QStringList(
                 {"started stop", "failed stop: There is nothing to stop.", "started learners"}));
}

void tst_Runner::quitGivesUpTheRest()
{
    add("wait 10");
    add("quit");
    add("learners");
    QTRY_COMPARE(m_events, QStringList({"started wait 10", "started quit", "finished"}));
    QCOMPARE(m_runner->pending(), 0);
}

void tst_Runner::endOfCommandsIsReportedAfterTheLast()
{
    add("wait 10");
    m_runner->endOfCommands();
    QCOMPARE(m_events, QStringList({"started wait 10"}));
    QTRY_COMPARE(m_events, QStringList({"started wait 10", "finished"}));
}

void tst_Runner::clearedCommandsDoNotRun()
{
    add("wait 10");
    add("learners");
    m_runner->clear();
    QTest::qWait(50);
    QCOMPARE(m_events, QStringList({"started wait 10"}));
    add("learners");
    QCOMPARE(m_events.last(), QString("started learners"));
}

void tst_Runner::lateAnswersAreNotCounted()
{
    add("poll text");
    respond("d1", "in time");
    QCOMPARE(m_lesson->responseCount(), 1);
    add("stop");
    respond("d2", "too late");
    QCOMPARE(m_lesson->responseCount(), 1);
    // The id of a poll that was started within the same second is the same; wait for the next.
    const qint64 second = QDateTime::currentSecsSinceEpoch();
    QTRY_VERIFY(QDateTime::currentSecsSinceEpoch() > second);
    add("poll text");
    respond("d2", "far too late");
    QCOMPARE(m_lesson->responseCount(), 0);
}

QTEST_GUILESS_MAIN(tst_Runner)
#include "tst_runner.moc"
