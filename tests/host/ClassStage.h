#pragma once

#include "OutageProxy.h"
#include "e2e/Classroom.h"
#include "support/Text.h"

#include "host/LiveClass.h"

#include <QtCore/QUrl>
#include <QtTest/QSignalSpy>
#include <QtTest/QtTest>

#include <memory>

// A class and its service, brought into any state that a class can be in.
class ClassStage
{
public:
    using LiveClass = Tarvo::LiveClass;

    static constexpr int LIMIT_MS = 20000;
    // The service takes its time, so that the class stays where it is.
    static constexpr int HANGING_MS = 2000;
    // So long that a busy machine does anything else in three quarters of it.
    static constexpr int HANGING_LONG_MS = 16000;

    explicit ClassStage(const QStringList &options = {})
        : classroom(options), proxy(quint16(QUrl(classroom.url()).port())),
          host(std::make_unique<LiveClass>())
    {
    }

    // The service is there until the session has been stopped.
    ~ClassStage()
    {
        const bool hasSession = !host || !host->sessionCode().isEmpty();
        host.reset();
        if (hasSession)
            (void)QTest::qWaitFor([this] { return hasNoSessionNow(); }, 1000);
    }
    Q_DISABLE_COPY_MOVE(ClassStage)

    bool enter(LiveClass::State state)
    {
        switch (state) {
        case LiveClass::SignedOut:
            return true;
        case LiveClass::SigningIn:
            hang(u"/vantora"_s);
            signIn();
            return is(state);
        case LiveClass::SignedIn:
            return succeeds(signIn()) && is(state);
        case LiveClass::Starting:
            hang(u"/vantora/session/create"_s);
            return enter(LiveClass::SignedIn) && (host->start(), is(state));
        case LiveClass::Live:
            return enter(LiveClass::SignedIn) && succeeds(host->start()) && is(state);
        case LiveClass::Reconnecting:
            return enter(LiveClass::Live) && (proxy.setMode(OutageProxy::Restart), is(state));
        case LiveClass::SignInNeeded:
            return enter(LiveClass::Live) && (loseSignIn(), is(state));
        case LiveClass::Stopping:
            hang(u"/vantora/session/stop"_s);
            return enter(LiveClass::Live) && (host->stop(), is(state));
        case LiveClass::Ended:
            return enter(LiveClass::Live) && succeeds(host->stop()) && is(state);
        }
        return false;
    }

    Tarvo::Operation signIn(const QString &password = u"secret"_s)
    {
        return host->signIn(proxy.url(), u"teacher"_s, password);
    }
    // The service forgets who is signed in, and the channel goes.
    void loseSignIn()
    {
        classroom.remove(u"sign-ins"_s);
        loseChannel();
    }
    void loseChannel() { classroom.remove(u"connections"_s); }
    void hang(const QString &path, int ms = HANGING_MS) { fault(path, {{u"delayMs"_s, ms}}); }
    // The next request to the path goes wrong in this way; see Faults.h.
    void fault(const QString &path, QJsonObject how)
    {
        how.insert(u"path"_s, path);
        classroom.post(u"faults"_s, how);
    }

    bool is(LiveClass::State state) const
    {
        return QTest::qWaitFor([&] { return host->state() == state; }, LIMIT_MS);
    }
    static bool ends(const Tarvo::Operation &operation)
    {
        return QTest::qWaitFor([&] { return operation.isFinished(); }, LIMIT_MS);
    }
    static bool succeeds(const Tarvo::Operation &operation)
    {
        return ends(operation) && !operation.failure();
    }
    // The reason why it failed.
    static Tarvo::Failure::Reason failureOf(const Tarvo::Operation &operation)
    {
        return ends(operation) ? operation.failure().reason() : Tarvo::Failure::NoReason;
    }
    // A simulated learner comes and is shown.
    bool hasLearner()
    {
        classroom.post(u"learners"_s, {});
        return QTest::qWaitFor([&] { return host->learners()->rowCount() == 1; }, LIMIT_MS);
    }
    // Whether the service has no session any more.
    bool hasNoSession()
    {
        return QTest::qWaitFor([&] { return hasNoSessionNow(); }, LIMIT_MS);
    }

    bool hasNoSessionNow() { return classroom.get(u"sessions"_s).toArray().isEmpty(); }

    Classroom classroom;
    OutageProxy proxy;
    std::unique_ptr<LiveClass> host;
};

inline void addStateRows()
{
    using Tarvo::LiveClass;
    QTest::addColumn<LiveClass::State>("state");
    QTest::newRow("SignedOut") << LiveClass::SignedOut;
    QTest::newRow("SigningIn") << LiveClass::SigningIn;
    QTest::newRow("SignInNeeded") << LiveClass::SignInNeeded;
    QTest::newRow("SignedIn") << LiveClass::SignedIn;
    QTest::newRow("Starting") << LiveClass::Starting;
    QTest::newRow("Live") << LiveClass::Live;
    QTest::newRow("Reconnecting") << LiveClass::Reconnecting;
    QTest::newRow("Stopping") << LiveClass::Stopping;
    QTest::newRow("Ended") << LiveClass::Ended;
}
