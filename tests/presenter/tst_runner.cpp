#include "Performer.h"
#include "Runner.h"
#include "support/Text.h"

#include <QtTest/QtTest>

#include <memory>

using namespace Host;

Q_DECLARE_METATYPE(Host::Command)

// Commands in their order, waits and awaits. The performer does as the test says: it ends commands at
// once, or keeps them until they are ended by hand.
class tst_Runner : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void commandsRunInTheirOrder();
    void nextCommandWaitsForTheEndOfTheOneBefore();
    void failedCommandIsReportedAndTheNextRuns();
    void lineThatCouldNotBeReadFailsWhenItsTurnComes();
    void waitHoldsBackWhatIsBehindIt();
    void awaitEndsWhenTheLearnersAreThere();
    void awaitEndsWhenTheResponsesAreThere();
    void awaitAllFollowsWhatIsExpected();
    void awaitThatIsFulfilledDoesNotWait();
    void awaitInVainFailsAndGoesOn_data();
    void awaitInVainFailsAndGoesOn();
    void linesAddedMeanwhileAreCounted();
    void quitGivesUpTheRest();
    void endOfCommandsIsReportedAfterTheLast();
    void endOfNoCommandsIsReportedAtOnce();
    void clearedCommandsDoNotRun();
    void failureCanClearTheRest();
    void endOfAClearedCommandIsNotToldAndDisturbsNothing();
    void endIsTakenOnce();
    void endAfterTheRunnerIsGoneIsHarmless();
    void longScriptNeedsNoDeepStack();

private:
    void add(const QString &line);
    void takeEvents(const QStringList &expected);

    class FakePerformer;
    std::unique_ptr<FakePerformer> m_performer;
    std::unique_ptr<Runner> m_runner;
    QStringList m_events; // "started ...", "failed ...", "queued", "finished"
};

class tst_Runner::FakePerformer : public Performer
{
public:
    void execute(const Command &, const Done &done) override
    {
        m_deepest = qMax(m_deepest, ++m_depth);
        m_begun.append(done);
        if (endsAtOnce)
            end(m_begun.size() - 1, error);
        --m_depth;
    }

    int learnerCount() const override { return learners; }
    int responseCount() const override { return responses; }
    int expectedResponses() const override { return expected; }

    // Ends the command that was begun as number `index`.
    void end(int index, const std::optional<QString> &why = std::nullopt)
    {
        const Done done = m_begun.at(index); // a further command may begin meanwhile
        done(why);
    }
    int begun() const { return m_begun.size(); }
    int deepest() const { return m_deepest; }

    bool endsAtOnce = true;
    std::optional<QString> error;
    int learners = 0;
    int responses = 0;
    int expected = 0;

private:
    QVector<Done> m_begun;
    int m_depth = 0;
    int m_deepest = 0;
};

void tst_Runner::init()
{
    m_performer = std::make_unique<FakePerformer>();
    m_runner = std::make_unique<Runner>(*m_performer);
    m_events.clear();
    connect(m_runner.get(), &Runner::started, this,
            [this](const ScriptLine &line) { m_events.append(u"started "_s + line.text); });
    connect(m_runner.get(), &Runner::failed, this,
            [this](const ScriptLine &line, const QString &why) {
                m_events.append(u"failed %1: %2"_s.arg(line.text, why));
            });
    connect(m_runner.get(), &Runner::queued, this, [this] { m_events.append(u"queued"_s); });
    connect(m_runner.get(), &Runner::finished, this, [this] { m_events.append(u"finished"_s); });
}

void tst_Runner::cleanup()
{
    m_runner.reset();
    m_performer.reset();
}

void tst_Runner::add(const QString &line)
{
    const std::optional<ScriptLine> read = readLine(line, 1);
    QVERIFY(read);
    m_runner->add(*read);
}

// Waits for exactly these, and forgets them.
void tst_Runner::takeEvents(const QStringList &expected)
{
    QTRY_COMPARE(m_events, expected);
    m_events.clear();
}

void tst_Runner::commandsRunInTheirOrder()
{
    add(u"learners"_s);
    add(u"who"_s);
    takeEvents({u"started learners"_s, u"started who"_s});
    QCOMPARE(m_runner->pending(), 0);
}

void tst_Runner::nextCommandWaitsForTheEndOfTheOneBefore()
{
    m_performer->endsAtOnce = false;
    add(u"poll text"_s);
    add(u"pause"_s);
    takeEvents({u"started poll text"_s, u"queued"_s});
    QCOMPARE(m_runner->pending(), 2);
    m_performer->end(0);
    takeEvents({u"started pause"_s});
    m_performer->end(1);
    takeEvents({});
    QCOMPARE(m_runner->pending(), 0);
}

void tst_Runner::failedCommandIsReportedAndTheNextRuns()
{
    m_performer->endsAtOnce = false;
    add(u"stop"_s);
    add(u"who"_s);
    m_events.clear();
    m_performer->end(0, u"There is nothing to stop."_s);
    takeEvents({u"failed stop: There is nothing to stop."_s, u"started who"_s});
}

void tst_Runner::lineThatCouldNotBeReadFailsWhenItsTurnComes()
{
    add(u"await learners 1"_s);
    add(u"dance"_s);
    add(u"who"_s);
    takeEvents({u"started await learners 1"_s, u"queued"_s, u"queued"_s});
    m_performer->learners = 1;
    Q_EMIT m_performer->changed();
    takeEvents({u"started dance"_s,
                u"failed dance: There is no command 'dance'; help lists them."_s,
                u"started who"_s});
    QCOMPARE(m_performer->begun(), 1); // who alone
}

void tst_Runner::waitHoldsBackWhatIsBehindIt()
{
    QElapsedTimer clock;
    clock.start();
    add(u"wait 200"_s);
    add(u"who"_s);
    takeEvents({u"started wait 200"_s, u"queued"_s});
    QCOMPARE(m_runner->pending(), 2);
    takeEvents({u"started who"_s});
    QVERIFY(clock.elapsed() >= 190); // timers of the toolkit may be 5 % early
}

void tst_Runner::awaitEndsWhenTheLearnersAreThere()
{
    add(u"await learners 2"_s);
    m_performer->learners = 1;
    Q_EMIT m_performer->changed();
    QCoreApplication::processEvents();
    takeEvents({u"started await learners 2"_s});
    QCOMPARE(m_runner->pending(), 1);
    m_performer->learners = 2;
    Q_EMIT m_performer->changed();
    QTRY_COMPARE(m_runner->pending(), 0);
}

void tst_Runner::awaitEndsWhenTheResponsesAreThere()
{
    m_performer->responses = 1;
    add(u"await responses 2"_s);
    QCOMPARE(m_runner->pending(), 1);
    m_performer->responses = 2;
    Q_EMIT m_performer->changed();
    QTRY_COMPARE(m_runner->pending(), 0);
}

void tst_Runner::awaitAllFollowsWhatIsExpected()
{
    m_performer->responses = 1;
    m_performer->expected = 2;
    add(u"await responses all"_s);
    QCOMPARE(m_runner->pending(), 1);
    m_performer->expected = 1; // nobody waits for who has left
    Q_EMIT m_performer->changed();
    QTRY_COMPARE(m_runner->pending(), 0);
}

void tst_Runner::awaitThatIsFulfilledDoesNotWait()
{
    m_performer->learners = 3;
    add(u"await learners 2"_s);
    QCOMPARE(m_runner->pending(), 0);
    takeEvents({u"started await learners 2"_s});
}

void tst_Runner::awaitInVainFailsAndGoesOn_data()
{
    QTest::addColumn<Command>("command");
    QTest::addColumn<QString>("error");
    const int all = Commands::AwaitResponses::ALL;
    QTest::newRow("learners") << Command(Commands::AwaitLearners{4, 20})
                              << u"Only 1 of 4 learners are there after 0.02 s."_s;
    QTest::newRow("responses") << Command(Commands::AwaitResponses{5, 1000})
                               << u"Only 2 of 5 responses have come after 1 s."_s;
    QTest::newRow("all responses") << Command(Commands::AwaitResponses{all, 20})
                                   << u"Only 2 of 3 responses have come after 0.02 s."_s;
}

void tst_Runner::awaitInVainFailsAndGoesOn()
{
    QFETCH(Command, command);
    QFETCH(QString, error);
    m_performer->learners = 1;
    m_performer->responses = 2;
    m_performer->expected = 3;
    m_runner->add({command, u"await"_s, 1, QString()});
    add(u"who"_s);
    takeEvents({u"started await"_s, u"queued"_s});
    takeEvents({u"failed await: "_s + error, u"started who"_s});
}

void tst_Runner::linesAddedMeanwhileAreCounted()
{
    add(u"wait 20"_s);
    add(u"who"_s);
    add(u"dance"_s);
    add(u"wait 0"_s);
    takeEvents({u"started wait 20"_s, u"queued"_s, u"queued"_s, u"queued"_s});
    QTRY_COMPARE(m_runner->pending(), 0);
    m_events.clear();
    add(u"who"_s);
    takeEvents({u"started who"_s}); // none
}

void tst_Runner::quitGivesUpTheRest()
{
    add(u"wait 10"_s);
    add(u"quit"_s);
    add(u"who"_s);
    m_events.clear();
    takeEvents({u"started quit"_s, u"finished"_s});
    QCOMPARE(m_runner->pending(), 0);
}

void tst_Runner::endOfCommandsIsReportedAfterTheLast()
{
    m_performer->endsAtOnce = false;
    add(u"who"_s);
    m_runner->endOfCommands();
    takeEvents({u"started who"_s});
    m_performer->end(0);
    takeEvents({u"finished"_s});
}

void tst_Runner::endOfNoCommandsIsReportedAtOnce()
{
    m_runner->endOfCommands();
    QCOMPARE(m_events, QStringList{u"finished"_s});
}

void tst_Runner::clearedCommandsDoNotRun()
{
    add(u"wait 10"_s);
    add(u"learners"_s);
    m_runner->clear();
    m_events.clear();
    add(u"wait 50"_s); // longer than the one given up
    add(u"who"_s);
    takeEvents({u"started wait 50"_s, u"queued"_s});
    takeEvents({u"started who"_s});
}

void tst_Runner::failureCanClearTheRest()
{
    connect(m_runner.get(), &Runner::failed, m_runner.get(), &Runner::clear);
    m_performer->endsAtOnce = false;
    add(u"stop"_s);
    add(u"who"_s);
    m_runner->endOfCommands();
    m_events.clear();
    m_performer->end(0, u"No."_s);
    QCOMPARE(m_events, QStringList({u"failed stop: No."_s}));
    QCOMPARE(m_performer->begun(), 1);
    QCOMPARE(m_runner->pending(), 0);
}

void tst_Runner::endOfAClearedCommandIsNotToldAndDisturbsNothing()
{
    m_performer->endsAtOnce = false;
    add(u"upload a.png"_s);
    m_runner->clear();
    QCOMPARE(m_runner->pending(), 0);
    add(u"who"_s);
    m_events.clear();
    m_performer->end(0, u"The session has ended meanwhile."_s);
    QCOMPARE(m_events, QStringList());
    m_performer->end(1, u"Nobody is there."_s);
    takeEvents({u"failed who: Nobody is there."_s});
}

void tst_Runner::endIsTakenOnce()
{
    m_performer->endsAtOnce = false;
    add(u"pause"_s);
    add(u"resume"_s);
    m_performer->end(0);
    m_events.clear();
    m_performer->end(0, u"Once more."_s);
    QCOMPARE(m_events, QStringList());
    QCOMPARE(m_runner->pending(), 1);
}

void tst_Runner::endAfterTheRunnerIsGoneIsHarmless()
{
    m_performer->endsAtOnce = false;
    add(u"pause"_s);
    m_runner.reset();
    m_events.clear();
    m_performer->end(0, u"Too late."_s);
    QCOMPARE(m_events, QStringList());
}

void tst_Runner::longScriptNeedsNoDeepStack()
{
    constexpr int LINES = 10000;
    m_performer->endsAtOnce = false;
    for (int i = 0; i < LINES; ++i)
        add(u"who"_s);
    m_performer->endsAtOnce = true;
    m_performer->end(0);
    QCOMPARE(m_performer->begun(), LINES);
    QCOMPARE(m_performer->deepest(), 1);
}

QTEST_GUILESS_MAIN(tst_Runner)
#include "tst_runner.moc"
