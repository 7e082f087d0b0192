#include "ClassStage.h"
#include "support/Promptness.h"

#include "model/PollType.h"

#include <functional>
#include <vector>

using namespace Tarvo;

// Every call in every state: what the state does not allow fails and sends nothing; and the class may go
// at any time.
class tst_LiveClassCalls : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyCallIsAllowedOrRefused_data();
    void everyCallIsAllowedOrRefused();
    void classMayGoInEveryState_data();
    void classMayGoInEveryState();
    void classMayGoInASlotOfEverySignal_data();
    void classMayGoInASlotOfEverySignal();
    void secondSignInIsRefused();
    void stopEndsAStartThatIsUnderWay();
    void signOutEndsASignInThatIsUnderWay();
    void operationsOfAClassThatGoesAreAbandoned();
};

namespace
{

const QByteArray PNG("\x89PNG\r\n\x1a\n");

using Call = std::function<Operation(LiveClass &)>;

struct NamedCall {
    const char *name;
    Call call;
};

// Those that leave the state alone, so that all can be tried in a row.
const std::vector<NamedCall> &harmlessCalls()
{
    static const std::vector<NamedCall> calls{
        {"ask", [](LiveClass &host) { return host.ask(u"Why?"_s, PollType::TEXT); }},
        {"pause", [](LiveClass &host) { return host.pause(); }},
        {"resume", [](LiveClass &host) { return host.resume(); }},
        {"stopActivity", [](LiveClass &host) { return host.stopActivity(); }},
        {"startPoll", [](LiveClass &host) { return host.startPoll(0, 0, 2); }},
        {"stopActivity again", [](LiveClass &host) { return host.stopActivity(); }},
        {"startPollWithImage",
         [](LiveClass &host) { return host.startPollWithImage(0, 0, 2, PNG); }},
        {"stopActivity once more", [](LiveClass &host) { return host.stopActivity(); }},
        {"showImage", [](LiveClass &host) { return host.showImageAt(u"http://x/y.png"_s); }},
        {"uploadImage", [](LiveClass &host) { return host.uploadImage(u"a.png"_s, PNG); }},
        {"showLesson", [](LiveClass &host) { return host.showLesson(u"L1"_s, u"Rivers"_s); }},
        {"showCard", [](LiveClass &host) { return host.showCard(1, 2); }},
        {"sendText", [](LiveClass &host) { return host.sendText(u"Hello"_s); }},
    };
    return calls;
}

// What becomes of them, in their order: "+" done, "-" not allowed, "?" not connected.
QString outcomes(LiveClass &host)
{
    QString outcomes;
    for (const NamedCall &named : harmlessCalls()) {
        const Operation operation = named.call(host);
        if (!ClassStage::ends(operation))
            return outcomes + u" (hangs)"_s;
        switch (operation.failure().reason()) {
        case Failure::NoReason:
            outcomes += u'+';
            break;
        case Failure::NotAllowed:
            outcomes += u'-';
            break;
        case Failure::NotConnected:
            outcomes += u'?';
            break;
        default:
            outcomes += u'!';
        }
    }
    return outcomes;
}

// A lesson in which every signal comes, as far as there is a class.
void teachEverything(ClassStage &stage, const QPointer<LiveClass> &host)
{
    const auto next = [&](const Call &call) {
        if (host)
            ClassStage::ends(call(*host));
    };
    const auto comes = [&](const std::function<bool()> &condition) {
        return QTest::qWaitFor([&] { return !host || condition(); }, ClassStage::LIMIT_MS);
    };
    next([&](LiveClass &one) { return one.signIn(stage.proxy.url(), u"teacher"_s, u"secret"_s); });
    next([](LiveClass &one) { return one.start(); });
    comes([&] { return host->learners()->rowCount() == 2; });
    next([](LiveClass &one) { return one.ask(u"Why?"_s, PollType::TEXT); });
    comes([&] { return host->results()->rowCount() > 0; });
    next([](LiveClass &one) { return one.pause(); });
    next([](LiveClass &one) { return one.uploadImage(u"a.png"_s, PNG); });
    next([](LiveClass &one) { return one.showLesson(u"\""_s, QString()); });
    if (host)
        stage.classroom.post(u"remote"_s, {{u"command"_s, u"nextCard"_s}});
    const QString ada = host ? stage.classroom.deviceId(0) : QString();
    next([&](LiveClass &one) { return one.removeLearner(ada); });
    if (host)
        stage.loseChannel();
    comes([&] { return host->state() == LiveClass::Reconnecting; });
    comes([&] { return host->state() == LiveClass::Live; });
    next([](LiveClass &one) { return one.stop(); });
    comes([] { return false; });
}

} // namespace

// Deletes the class, whichever signal it is told by.
class Deleter : public QObject
{
    Q_OBJECT

public:
    explicit Deleter(LiveClass *one) : host(one) { }
    ~Deleter() override { delete host; }

    QPointer<LiveClass> host;

public Q_SLOTS:
    void deleteHost() { delete host; }
};

void tst_LiveClassCalls::everyCallIsAllowedOrRefused_data()
{
    QTest::addColumn<LiveClass::State>("state");
    QTest::addColumn<QString>("expected");
    QTest::newRow("SignedOut") << LiveClass::SignedOut << u"-------------"_s;
    QTest::newRow("SigningIn") << LiveClass::SigningIn << u"-------------"_s;
    QTest::newRow("SignInNeeded") << LiveClass::SignInNeeded << u"--+----------"_s;
    QTest::newRow("SignedIn") << LiveClass::SignedIn << u"---------+---"_s;
    QTest::newRow("Starting") << LiveClass::Starting << u"-------------"_s;
    QTest::newRow("Live") << LiveClass::Live << u"+++++++++++++"_s;
    QTest::newRow("Reconnecting") << LiveClass::Reconnecting << u"?-+-?-?-?????"_s;
    QTest::newRow("Stopping") << LiveClass::Stopping << u"-------------"_s;
    QTest::newRow("Ended") << LiveClass::Ended << u"---------+---"_s;
}

void tst_LiveClassCalls::everyCallIsAllowedOrRefused()
{
    QFETCH(LiveClass::State, state);
    ClassStage stage;
    QVERIFY(stage.enter(state));
    QTEST(outcomes(*stage.host), "expected");
}

void tst_LiveClassCalls::classMayGoInEveryState_data()
{
    addStateRows();
}

void tst_LiveClassCalls::classMayGoInEveryState()
{
    QFETCH(LiveClass::State, state);
    Promptness promptness;
    while (promptness.isOpen()) {
        ClassStage stage;
        QVERIFY(stage.enter(state));
        // A session that cannot be reached, or that the teacher has lost, stays behind, with a word.
        const bool staysBehind =
            state == LiveClass::Reconnecting || state == LiveClass::SignInNeeded;
        if (staysBehind)
            QTest::ignoreMessage(QtWarningMsg, QRegularExpression(u"may still be open"_s));
        QElapsedTimer timer;
        timer.start();
        stage.host.reset();
        promptness.take(timer.elapsed(), 1000); // tst_freezes measures it
        QVERIFY(staysBehind || stage.hasNoSession());
    }
    VERIFY_PROMPT(promptness);
}

void tst_LiveClassCalls::classMayGoInASlotOfEverySignal_data()
{
    QTest::addColumn<QByteArray>("signal");
    QTest::newRow("stateChanged") << QByteArray("stateChanged()");
    QTest::newRow("userNameChanged") << QByteArray("userNameChanged()");
    QTest::newRow("sessionCodeChanged") << QByteArray("sessionCodeChanged()");
    QTest::newRow("transportChanged") << QByteArray("transportChanged()");
    QTest::newRow("activityChanged") << QByteArray("activityChanged()");
    QTest::newRow("pausedChanged") << QByteArray("pausedChanged()");
    QTest::newRow("attemptChanged") << QByteArray("attemptChanged()");
    QTest::newRow("reasonChanged") << QByteArray("reasonChanged()");
    QTest::newRow("operationFinished") << QByteArray("operationFinished(int,Tarvo::Failure)");
    QTest::newRow("failed") << QByteArray("failed(Tarvo::Failure)");
    QTest::newRow("learnerJoined") << QByteArray("learnerJoined(Tarvo::Learner)");
    QTest::newRow("learnerLeft") << QByteArray("learnerLeft(QString)");
    QTest::newRow("answered") << QByteArray("answered(QString,QString,QString,int)");
    QTest::newRow("remoteCommand") << QByteArray("remoteCommand(QString,QVariant)");
    QTest::newRow("remoteChanged") << QByteArray("remoteChanged(bool)");
    QTest::newRow("uploaded") << QByteArray("uploaded(QString,QString)");
    QTest::newRow("ended") << QByteArray("ended(Tarvo::Failure::Reason)");
}

void tst_LiveClassCalls::classMayGoInASlotOfEverySignal()
{
    QFETCH(QByteArray, signal);
    ClassStage stage({u"--learners"_s, u"2"_s, u"--think"_s, u"1"_s});
    Deleter deleter(stage.host.release());
    QVERIFY(connect(deleter.host, (QByteArray::number(QSIGNAL_CODE) + signal).constData(), &deleter,
                    SLOT(deleteHost())));
    teachEverything(stage, deleter.host);
    QVERIFY(!deleter.host);
}

void tst_LiveClassCalls::secondSignInIsRefused()
{
    ClassStage stage;
    QVERIFY(stage.enter(LiveClass::SigningIn));
    QCOMPARE(ClassStage::failureOf(stage.signIn()), Failure::NotAllowed);
    QVERIFY(stage.is(LiveClass::SignedIn));
}

void tst_LiveClassCalls::stopEndsAStartThatIsUnderWay()
{
    ClassStage stage;
    stage.hang(u"/vantora/session/start"_s);
    QVERIFY(stage.enter(LiveClass::SignedIn));
    const Operation start = stage.host->start();
    QVERIFY(stage.is(LiveClass::Starting));
    const Operation stop = stage.host->stop();
    QCOMPARE(ClassStage::failureOf(start), Failure::Abandoned);
    QVERIFY(ClassStage::ends(stop));
    QVERIFY(stage.is(LiveClass::Ended));
}

void tst_LiveClassCalls::signOutEndsASignInThatIsUnderWay()
{
    ClassStage stage;
    stage.hang(u"/vantora"_s);
    const Operation signIn = stage.signIn();
    QVERIFY(stage.is(LiveClass::SigningIn));
    QElapsedTimer timer;
    timer.start();
    QVERIFY(ClassStage::succeeds(stage.host->signOut()));
    QVERIFY(timer.elapsed() < ClassStage::HANGING_MS * 3 / 4);
    QCOMPARE(ClassStage::failureOf(signIn), Failure::Abandoned);
    QCOMPARE(stage.host->state(), LiveClass::SignedOut);
}

void tst_LiveClassCalls::operationsOfAClassThatGoesAreAbandoned()
{
    ClassStage stage;
    QVERIFY(stage.enter(LiveClass::SignedIn));
    QList<Failure::Reason> reasons;
    stage.host->start().then(
        this, [] {}, [&](const Failure &failure) { reasons.append(failure.reason()); });
    stage.host.reset();
    QTRY_COMPARE(reasons, QList<Failure::Reason>{Failure::Abandoned});
    QVERIFY(stage.hasNoSession());
}

QTEST_MAIN(tst_LiveClassCalls)

#include "tst_liveclasscalls.moc"
