#include "HostedClass.h"
#include "TurnMeter.h"
#include "e2e/Guest.h"
#include "sockjs/DeadPort.h"
#include "support/MachineSpeed.h"
#include "support/Promptness.h"

#include <functional>

using Tarvo::LiveClass;

// The class never holds up the thread that it lives on.
class tst_Freezes : public QObject
{
    Q_OBJECT

public:
    enum Trouble {
        SlowService,
        NoService,
        Outage,
        ManyJoins,
        ManyAnswers
    };
    Q_ENUM(Trouble)

private Q_SLOTS:
    void initTestCase() { silenceTheLibrary(); }
    void slotsReturnAtOnce_data() { addTroubles(); }
    void slotsReturnAtOnce();
    void loopIsNeverHeld_data() { addTroubles(); }
    void loopIsNeverHeld();
    void destructorReturnsAtOnce_data() { addTroubles(); }
    void destructorReturnsAtOnce();
    void answersCostLittle();
    void rowsChangeSixtyTimesASecondAtMost();

private:
    static void addTroubles();
};

namespace
{

// The limits are for the library as hosts use it.
#if defined(NDEBUG) && !defined(__SANITIZE_ADDRESS__)
constexpr bool LIMITS_COUNT = true;
#else
constexpr bool LIMITS_COUNT = false;
#endif

constexpr double SLOT_MS = 1;
constexpr double TURN_MS = 8;
// By the clock on the wall, on a machine that is busy: what waits for a service takes seconds.
constexpr qint64 WAITED_MS = 500;
constexpr double ANSWER_US = 5;

constexpr int MANY = 10000;
constexpr int SLOW_REPLY_MS = 5000;

struct Call {
    const char *name;
    std::function<void(LiveClass &)> run;
};

Tarvo::Assessment assessment()
{
    Tarvo::AssessmentQuestion question;
    question.text = u"Which of them are prime?"_s;
    question.choices = {{u"A"_s, u"17"_s}, {u"B"_s, u"27"_s}};
    Tarvo::Assessment set;
    set.title = u"Prime numbers"_s;
    set.questions = QVector<Tarvo::AssessmentQuestion>(20, question);
    return set;
}

const QByteArray IMAGE = "\x89PNG\r\n\x1a\n" + QByteArray(1000000, 'x');

// Every slot; those that end the session come last.
const QVector<Call> CALLS{
    {"ask", [](LiveClass &host) { host.ask(u"Why?"_s, Tarvo::PollType::TEXT); }},
    {"pause", [](LiveClass &host) { host.pause(); }},
    {"resume", [](LiveClass &host) { host.resume(); }},
    {"stopActivity", [](LiveClass &host) { host.stopActivity(); }},
    {"startPoll",
     [](LiveClass &host) {
         host.startPoll(Tarvo::PollType::MULTIPLE, Tarvo::OrdinalType::ALPHA_UPPER, 4);
     }},
    {"startAssessment", [](LiveClass &host) { host.startAssessment(assessment()); }},
    {"showImage", [](LiveClass &host) { host.showImage(IMAGE); }},
    {"showImageAt", [](LiveClass &host) { host.showImageAt(u"http://127.0.0.1/1.png"_s); }},
    {"uploadImage", [](LiveClass &host) { host.uploadImage(u"1.png"_s, IMAGE); }},
    {"showLesson", [](LiveClass &host) { host.showLesson(u"7"_s, u"Primes"_s); }},
    {"showCard", [](LiveClass &host) { host.showCard(1, 9); }},
    {"sendText", [](LiveClass &host) { host.sendText(u"Five minutes left."_s); }},
    {"sendTextTo", [](LiveClass &host) { host.sendTextTo(u"device-2"_s, u"Well done."_s); }},
    {"removeLearner", [](LiveClass &host) { host.removeLearner(u"device-2"_s); }},
    {"reconnectNow", [](LiveClass &host) { host.reconnectNow(); }},
    {"start", [](LiveClass &host) { host.start(); }},
    {"stop", [](LiveClass &host) { host.stop(); }},
    {"signOut", [](LiveClass &host) { host.signOut(); }},
    {"signIn",
     [](LiveClass &host) { host.signIn(u"http://127.0.0.1:1"_s, u"teacher"_s, u"secret"_s); }},
    {"signInWithDeviceToken",
     [](LiveClass &host) {
         host.signInWithDeviceToken(u"http://127.0.0.1:1"_s, u"teacher"_s, u"d1"_s, u"t1"_s);
     }},
    {"signInWithOAuth",
     [](LiveClass &host) { host.signInWithOAuth(u"http://127.0.0.1:1"_s, u"google"_s, u"c"_s); }},
    {"completeRegistration", [](LiveClass &host) { host.completeRegistration(u"{}"_s); }},
};

// A class that has just got into trouble.
class TroubledClass
{
public:
    using Trouble = tst_Freezes::Trouble;

    bool begin(Trouble trouble)
    {
        m_trouble = trouble;
        switch (trouble) {
        case Trouble::NoService:
            return signInInVain();
        case Trouble::SlowService:
            return m_room.goLive(3) && isSlow();
        case Trouble::Outage:
            return m_room.goLive(3) && isOut();
        case Trouble::ManyJoins:
            return m_room.goLive(1) && areJoining();
        case Trouble::ManyAnswers:
            return m_room.goLive(MANY) && areAnswering();
        }
        return false;
    }

    // Lets the event loop turn until there is nothing more to come.
    bool outlast()
    {
        switch (m_trouble) {
        case Trouble::ManyJoins:
            return turnUntil(LONG_MS, [this] { return host().learners()->rowCount() == MANY; });
        case Trouble::ManyAnswers:
            return turnUntil(LONG_MS, [this] { return answers() == MANY; });
        case Trouble::SlowService:
            host().uploadImage(u"1.png"_s, IMAGE);
            turnUntil(SLOW_REPLY_MS + 1000, [] { return false; });
            return true;
        case Trouble::NoService:
            for (int i = 0; i < 20; ++i) {
                signInInVain();
                turnUntil(50, [] { return false; });
            }
            return true;
        case Trouble::Outage:
            turnUntil(2000, [] { return false; });
            return true;
        }
        return false;
    }

    int answers() const { return m_room.result(0, LiveClass::RespondentsRole).toInt(); }
    LiveClass &host() { return *m_room.host; }
    void deleteHost() { m_room.host.reset(); }

private:
    bool signInInVain()
    {
        host().signIn(u"http://127.0.0.1:%1"_s.arg(m_nobody), u"teacher"_s, u"secret"_s);
        return true;
    }
    bool isSlow()
    {
        m_room.proxy.delayReplies(SLOW_REPLY_MS);
        return true;
    }
    bool isOut()
    {
        m_room.proxy.setMode(OutageProxy::Restart);
        return true;
    }
    bool areJoining()
    {
        m_room.devices.pretendToJoin(MANY - 1);
        return true;
    }
    // All at once, as when the network has been away for a while: what arrives one by one costs the waking up.
    bool areAnswering()
    {
        const QString question = m_room.ask(u"Ready?"_s);
        if (question.isEmpty())
            return false;
        m_room.proxy.setMode(OutageProxy::Stall);
        m_room.devices.answerOnce(question, {u"A"_s, u"B"_s, u"C"_s});
        const bool haveAnswered =
            turnUntil(LONG_MS, [this] { return m_room.devices.answersSent() == MANY; });
        turnUntil(3000, [] { return false; }); // the service hands them on
        m_room.proxy.setMode(OutageProxy::Pass);
        return haveAnswered;
    }

    DeadPort m_nobody;
    HostedClass m_room;
    Trouble m_trouble = Trouble::NoService;
};

// The processor's work, whose limit is for the machine on which it was set.
void takeWork(Promptness &promptness, double ms, double limitMs)
{
    if (LIMITS_COUNT)
        promptness.take(qRound64(ms * 1000), qRound64(limitMs * 1000 * machineSlowness()), u"us"_s);
}

void takeWait(Promptness &promptness, double ms)
{
    if (LIMITS_COUNT)
        promptness.take(qRound64(ms), WAITED_MS);
}

void report(const char *what, const Durations &durations)
{
    qInfo("%s: %d, processor %.3f ms at most in 999 of 1000, worst %.3f ms, on the wall %.1f ms",
          what, durations.count(), durations.highest(), durations.worst(), durations.worstWall());
}

// When the rows of a model have changed.
class RowChanges
{
public:
    explicit RowChanges(QAbstractItemModel *model)
    {
        m_clock.start();
        QObject::connect(model, &QAbstractItemModel::dataChanged, model,
                         [this](const QModelIndex &first, const QModelIndex &last) {
                             for (int row = first.row(); row <= last.row(); ++row)
                                 m_times[row].append(m_clock.elapsed());
                         });
    }

    // How often the row that changes most has changed within a second.
    int mostInASecond() const
    {
        int most = 0;
        for (const QVector<qint64> &times : m_times) {
            for (auto first = times.begin(); first != times.end(); ++first) {
                const auto end = std::lower_bound(first, times.end(), *first + 1000);
                most = qMax(most, int(end - first));
            }
        }
        return most;
    }

private:
    QElapsedTimer m_clock;
    QHash<int, QVector<qint64>> m_times;
};

} // namespace

void tst_Freezes::addTroubles()
{
    QTest::addColumn<Trouble>("trouble");
    QTest::newRow("service takes 5 s for every reply") << SlowService;
    QTest::newRow("service cannot be reached") << NoService;
    QTest::newRow("service restarts") << Outage;
    QTest::newRow("10,000 joins") << ManyJoins;
    QTest::newRow("10,000 answers") << ManyAnswers;
}

void tst_Freezes::slotsReturnAtOnce()
{
    QFETCH(Trouble, trouble);
    Promptness promptness;
    while (promptness.isOpen()) {
        TroubledClass troubled;
        QVERIFY(troubled.begin(trouble));
        Durations calls;
        for (const Call &call : CALLS) {
            const Stretch stretch;
            call.run(troubled.host());
            calls.add(stretch.cpu(), stretch.wall());
            if (calls.worst() > SLOT_MS || calls.worstWall() > WAITED_MS)
                qInfo("up to %s(): %.3f ms, on the wall %.1f ms", call.name, calls.worst(),
                      calls.worstWall());
            turnUntil(10, [] { return false; });
        }
        report("slots", calls);
        takeWork(promptness, calls.worst(), SLOT_MS);
        takeWait(promptness, calls.worstWall());
    }
    VERIFY_PROMPT(promptness);
}

void tst_Freezes::loopIsNeverHeld()
{
    QFETCH(Trouble, trouble);
    Promptness promptness;
    while (promptness.isOpen()) {
        TroubledClass troubled;
        QVERIFY(troubled.begin(trouble));
        MeteredApplication::self()->take();
        QVERIFY(troubled.outlast());
        const Durations turns = MeteredApplication::self()->take();
        report("turns", turns);
        takeWork(promptness, turns.highest(), TURN_MS);
        takeWait(promptness, turns.worstWall());
    }
    VERIFY_PROMPT(promptness);
}

void tst_Freezes::destructorReturnsAtOnce()
{
    QFETCH(Trouble, trouble);
    Promptness promptness;
    while (promptness.isOpen()) {
        TroubledClass troubled;
        QVERIFY(troubled.begin(trouble));
        turnUntil(50, [] { return false; });
        Durations calls;
        const Stretch stretch;
        troubled.deleteHost();
        calls.add(stretch.cpu(), stretch.wall());
        report("destructor", calls);
        takeWork(promptness, calls.worst(), TURN_MS);
        takeWait(promptness, calls.worstWall());
    }
    VERIFY_PROMPT(promptness);
}

void tst_Freezes::answersCostLittle()
{
    Promptness promptness;
    while (promptness.isOpen()) {
        TroubledClass troubled;
        QVERIFY(troubled.begin(ManyAnswers));
        MeteredApplication::self()->take();
        QVERIFY(troubled.outlast());
        const Durations turns = MeteredApplication::self()->take();
        const double answersMs = turns.total();
        qInfo("an answer takes %.2f us of the host's thread, in %d turns", answersMs * 1000 / MANY,
              turns.count());
        takeWork(promptness, answersMs, ANSWER_US * MANY / 1000);
    }
    VERIFY_PROMPT(promptness);
}

// All learners change their minds a hundred times a second.
void tst_Freezes::rowsChangeSixtyTimesASecondAtMost()
{
    HostedClass room;
    QVERIFY(room.goLive(20));
    const QString question = room.ask(u"Ready?"_s);
    QVERIFY(!question.isEmpty());
    const RowChanges results(room.host->results());
    const RowChanges learners(room.host->learners());
    for (int i = 0; i < 200; ++i) {
        room.devices.answerOnce(question, {QStringLiteral("ABC").mid(i % 3, 1)});
        turnUntil(10, [] { return false; });
    }
    qInfo("a row changed %d and %d times a second", results.mostInASecond(),
          learners.mostInASecond());
    QVERIFY(results.mostInASecond() > 1 && learners.mostInASecond() > 1);
    QVERIFY(results.mostInASecond() <= 60);
    QVERIFY(learners.mostInASecond() <= 60);
}

int main(int argc, char *argv[])
{
    MeteredApplication application(argc, argv);
    tst_Freezes test;
    QTEST_SET_MAIN_SOURCE_PATH
    return QTest::qExec(&test, argc, argv);
}

#include "tst_freezes.moc"
