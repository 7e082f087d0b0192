#pragma once

#include "host/Backoff.h"
#include "host/ClassSettings.h"
#include "host/ClassStates.h"
#include "host/Lesson.h"
#include "host/Mailbox.h"
#include "host/Notices.h"
#include "host/WakeWatch.h"

#include "client/PresenterClient.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QObject>
#include <QtCore/QPointer>
#include <QtCore/QQueue>
#include <QtCore/QTimer>

#include <functional>
#include <memory>
#include <optional>

class PresenterCollab;

namespace Tarvo
{

class ClassRunner;

// A call of the host on its way to the runner.
struct Request {
    Action::Type action;
    int id; // of the operation
    std::function<void(ClassRunner &, int id)> run;
};
// From the class to its runner.
using ToRunner = Mailbox<Request>;

// Runs one class: owns the client, its channel and the lesson, decides what the state allows, and comes
// back when the connection is lost. Lives on a thread of its own; the host's may stand still.
//
// What waits for the service is a job; there is one at a time, and each ends early when interrupt() has
// been called meanwhile. Jobs wait inside the client, in nested loops of this thread: calls of the host
// and messages of the channel are taken there, too.
class ClassRunner : public QObject
{
    Q_OBJECT

public:
    ClassRunner(std::shared_ptr<ToRunner> requests, std::shared_ptr<ToHost> notices);
    ~ClassRunner() override;

    // ---- What the host asks for; ClassRunner decides beforehand whether the state allows it ----------

    void signIn(int id, const ClassSettings &settings, const Credentials &credentials);
    void completeRegistration(int id, const QString &data);
    void start(int id);
    void stop(int id);
    void signOut(int id);
    void reconnectNow(int id);
    void startPoll(int id, const FixedPoll &poll);
    void startPollWithImage(int id, const FixedPoll &poll, const QByteArray &png);
    void showImage(int id, const QByteArray &png);
    void upload(int id, const QString &fileName, const QByteArray &bytes);
    // What the lesson does at once.
    void perform(int id, const std::function<Failure(Lesson &)> &what);
    // The class is gone: stops the session and ends the thread.
    void end();
    // The application is gone: what has not ended within this time is given up.
    void hurry(int ms);

Q_SIGNALS:
    // The session, if there was one, has been stopped as far as possible.
    void finished();

protected:
    bool event(QEvent *event) override;

private:
    // Takes the turn in which it was asked for: when another has begun, there is nothing to do but to
    // say so.
    using Job = std::function<void(int turn)>;
    // What was asked for, by its number.
    struct Operated {
        Action::Type action;
        int id;
    };
    struct WaitingJob {
        int turn;
        Job run;
    };

    // What the channel is doing.
    enum class Channel {
        None,
        Opening, // for the first time, or in an attempt to come back
        Open,    // and heard
        Renewing, // without a word to the host: after an hour without messages, or over HTTP after sleep
    };

    // ---- Requests, states, jobs --------------------------------------------------------------------
    void accept(const Request &request);
    bool happens(ClassEvent::Type event, Failure::Reason reason = Failure::NoReason);
    void enter(LiveClass::State state, Failure::Reason reason);
    void finish(int id, const Failure &failure = Failure());
    void enqueue(Job job);
    void work();
    void interrupt();
    void abort();
    Failure::Reason whyInterrupted() const;
    bool isInterrupted(int turn) const { return turn != m_turn; }
    Failure::Reason lastReason() const;
    Failure lastFailure(Action::Type action, Failure::Reason otherwise) const;

    // ---- Signing in ---------------------------------------------------------------------------------
    QNetworkProxy proxy() const;
    void makeClient(const QString &server);
    void configureClient();
    void signInNow(int turn, int id);
    Failure reachService(int turn);
    Failure tryCredentials(const QString &registration);
    bool sendCredentials(QString *registration);
    void signInEnded(int id, const Failure &failure);
    bool signInAgain(int turn);
    void keepAlive(int turn);

    // ---- The session --------------------------------------------------------------------------------
    void startNow(int turn);
    Failure createSession(int turn);
    Failure openSession(int turn);
    Failure startSession(PresenterCollab **channel);
    void startFailed(const Failure &failure);
    void stopNow();
    void signOutNow(int id);
    bool stopSession();
    void retireChannel();
    void sessionIsGone();
    void endSession(Failure::Reason reason);
    void endNow();
    void uploadNow(int turn, int id, const QString &fileName, const QByteArray &bytes);
    using Show = std::function<void(const Picture &)>;
    void withPicture(const Operated &operated, const QByteArray &png, const Show &show);
    void uploadPicture(int turn, const Operated &operated, const QByteArray &png, const Show &show);

    // ---- The channel --------------------------------------------------------------------------------
    void openChannel(Channel as);
    void watchOpening(Channel as);
    void lookAtChannel();
    void channelOpened();
    void channelNotOpened();
    void endOpening();
    void channelClosed(bool forInactivity);
    void channelFailed(Failure::Reason reason);
    void becomeLive(int turn);
    void readLearners(int turn);
    Failure::Reason listLearners();
    void wantLearners();
    void probe();

    // ---- Coming back --------------------------------------------------------------------------------
    void lose(Failure::Reason reason);
    void scheduleAttempt(int retryAfterS);
    void beginAttempt();
    void attemptNow(int turn);
    Failure::Reason prepareAttempt(int turn);
    void loseSignIn();
    void attemptFailed(Failure::Reason reason, int retryAfterS = -1);
    void tellAttempt();
    void lookAfterChannel();
    void somethingChanged();
    int requestTimeoutMs() const;

    const std::shared_ptr<ToRunner> m_requests;
    const std::shared_ptr<ToHost> m_notices;

    LiveClass::State m_state = LiveClass::SignedOut;
    Failure::Reason m_reason = Failure::NoReason;
    QQueue<WaitingJob> m_jobs;
    bool m_isWorking = false;
    int m_turn = 0; // changes with every interrupt()
    bool m_isEnding = false;
    bool m_isStopping = false; // stopSession() waits

    ClassSettings m_settings;
    Credentials m_credentials;
    std::unique_ptr<PresenterClient> m_client;
    QString m_serverUrl; // where the teacher has signed in; a redirect does not lead away from it
    QString m_signedInAs;
    bool m_hasSession = false;
    bool m_startIsUnclear = false; // whether the service has started the session
    QTimer m_keepAlive;
    bool m_signInLossIsTold = false;

    Lesson m_lesson;
    QPointer<PresenterCollab> m_channel; // the client's child
    QPointer<PresenterCollab> m_retired; // of the session before
    Channel m_channelIs = Channel::None;
    bool m_isReplacing = false;       // a connection by a new one
    bool m_isClosedOnPurpose = false; // by the server, when it closed last
    QTimer m_opening;                 // looks whether the channel is open, which it does not say
    QTimer m_openingLimit;
    QTimer m_probing;
    QTimer m_listing; // the learners are read at most once a second
    QElapsedTimer m_sinceListing;
    int m_startId = 0;                               // the operation that waits for the channel
    int m_stopId = 0;                                // the operation that waits for the stop
    Failure::Reason m_endReason = Failure::NoReason; // of a session that is being stopped

    Backoff m_backoff;
    QTimer m_nextAttempt;
    QTimer m_working; // long enough for the pauses to begin anew
    QElapsedTimer m_attemptBegan;
    int m_attempt = 0;
    bool m_isAttempting = false;
    WakeWatch m_wake;
};

} // namespace Tarvo
