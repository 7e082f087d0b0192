#pragma once

#include "host/Assessment.h"
#include "host/Failure.h"
#include "host/HostExport.h"
#include "host/Operation.h"
#include "model/Learner.h"

#include <QtCore/QAbstractItemModel>
#include <QtCore/QByteArray>
#include <QtCore/QDateTime>
#include <QtCore/QList>
#include <QtCore/QObject>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVariant>
#include <QtNetwork/QNetworkProxy>
#include <QtNetwork/QSslCertificate>

#include <memory>

class QIODevice;

namespace Tarvo
{

class LiveClassPrivate;

/// A live class as one object: signs a teacher in, runs a session and its polls, keeps it alive
/// through every trouble of the network, and shows learners and results as models.
///
/// **Nothing waits.** Every slot returns at once; what it asks for happens on a thread of the class's
/// own, and its end is told by the `Operation` that it returns and by `operationFinished()`. Signals
/// come from the event loop of the thread that the class lives on, usually the GUI's, and no event
/// loop is nested there. Should that thread stand still, the session goes on.
///
/// **States.** `state()` is as the class last told it. A call that the state does not allow fails with
/// `Failure::NotAllowed`, and nothing is sent; docs/kit.md has the whole table.
///
/// **A lost connection comes back** by itself, as long as the host does not `stop()`: see `attempt()`.
/// What a host wishes meanwhile (pause, resume, stop the activity) is made up for; what is meant for
/// learners fails at once, with a failure that `isRepeatable()`.
///
/// **Life.** The class may be deleted at any time, in a slot of any of its signals, too. That returns
/// at once; its session is then stopped in the background, and the end of the application waits for
/// that, at most 5 s. `QCoreApplication::aboutToQuit` stops it, too. It needs an application object of
/// any kind. All calls are made on the thread that it lives on.
class TARVOHOST_EXPORT LiveClass : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(LiveClass)

    /// What `state()` tells.
    Q_PROPERTY(State state READ state NOTIFY stateChanged)
    /// What `userName()` tells.
    Q_PROPERTY(QString userName READ userName NOTIFY userNameChanged)
    /// What `sessionCode()` tells.
    Q_PROPERTY(QString sessionCode READ sessionCode NOTIFY sessionCodeChanged)
    /// What `transport()` tells.
    Q_PROPERTY(QString transport READ transport NOTIFY transportChanged)
    /// What `activity()` tells.
    Q_PROPERTY(Activity activity READ activity NOTIFY activityChanged)
    /// What `isPaused()` tells.
    Q_PROPERTY(bool paused READ isPaused NOTIFY pausedChanged)
    /// What `attempt()` tells.
    Q_PROPERTY(int attempt READ attempt NOTIFY attemptChanged)
    /// What `nextAttemptAt()` tells.
    Q_PROPERTY(QDateTime nextAttemptAt READ nextAttemptAt NOTIFY attemptChanged)
    /// What `reason()` tells.
    Q_PROPERTY(Tarvo::Failure::Reason reason READ reason NOTIFY reasonChanged)
    /// The model that `learners()` returns.
    Q_PROPERTY(QAbstractItemModel *learners READ learners CONSTANT)
    /// The model that `results()` returns.
    Q_PROPERTY(QAbstractItemModel *results READ results CONSTANT)

public:
    /// Where the class stands; docs/kit.md has the table of what leads where.
    enum State : int {
        SignedOut,    ///< nobody is signed in
        SigningIn,    ///< the service is being asked
        SignInNeeded, ///< a session is running, but the service no longer knows who is signed in
        SignedIn,     ///< no session is running
        Starting,     ///< a session is being started and its channel opened
        Live,         ///< learners can join, and are heard
        Reconnecting, ///< the channel is gone and is opened anew
        Stopping,     ///< the session is being stopped, or the teacher signed out
        Ended         ///< the session is over; the teacher is still signed in
    };
    Q_ENUM(State)

    /// What runs on the devices.
    enum Activity : int {
        NoActivity, ///< nothing
        Poll,       ///< a poll, or a question of `ask()`
        Assessment  ///< an assessment
    };
    Q_ENUM(Activity)

    /// What a row of `learners()` tells.
    enum LearnerRole : int {
        NameRole = Qt::UserRole, ///< QString; also Qt::DisplayRole
        DeviceTypeRole,          ///< QString, as the device reports it
        DeviceIdRole,            ///< QString, what the device is addressed by
        PresentRole,             ///< bool, whether the device is in the session now
        AnsweredRole,            ///< bool, whether it has answered in the activity shown
        LastAnswerRole           ///< QString, its last answer in it
    };
    Q_ENUM(LearnerRole)

    /// What a row of `results()` tells: a choice of a question, or a free answer to it.
    enum ResultRole : int {
        QuestionRole = Qt::UserRole, ///< QString, the question's id
        QuestionTextRole,            ///< QString, what is asked; empty for polls of the fixed kinds
        ChoiceRole,                  ///< QString, the choice's id, or the free answer
        LabelRole,                   ///< QString, what a person reads; also Qt::DisplayRole
        CountRole,                   ///< int, how many people have chosen it
        ShareRole,                   ///< double from 0 to 1: of the people who have answered
        AverageRole,                 ///< double, of a scale's answers; invalid for other kinds
        RespondentsRole              ///< int, how many people have answered the question
    };
    Q_ENUM(ResultRole)

    /// How a text is shown on a device.
    enum TextOption : int {
        PlainText, ///< the learner can close it
        FixedText, ///< the learner cannot close it
        ReviewText ///< as part of the review of a set of questions
    };
    Q_ENUM(TextOption)

    /// The longest name that is taken from a learner, in characters; the rest is cut off.
    static constexpr int MAX_NAME_LENGTH = 64;
    /// The longest answer that is taken from a learner, in characters; the rest is cut off.
    static constexpr int MAX_ANSWER_LENGTH = 10000;

    /// A class that nobody is signed in to. Sends nothing yet.
    explicit LiveClass(QObject *parent = nullptr);
    /// Returns at once; a running session is stopped in the background.
    ~LiveClass() override;

    // ---- Settings: they count from the next `signIn...()` on ---------------------------------------

    /// The transports ("websocket", "xhr-streaming", "xhr-polling") to be tried, in this order; an empty
    /// list, the default, for those that the service prefers.
    void setTransports(const QStringList &names);
    /// Whether the robust transport is used, as it is by default: see
    /// `PresenterCollab::setRobustTransport()`.
    void setRobustTransport(bool robust);
    /// Certificates to trust beside the system's, such as a school's own root.
    void setTrustedCertificates(const QList<QSslCertificate> &certificates);
    /// The proxy for everything; without it the one that the system names for the service, never the
    /// application's.
    void setProxy(const QNetworkProxy &proxy);
    /// The longest pause between two attempts to connect, 30,000 ms by default; each is up to a half
    /// shorter or longer, so that a whole school does not come back in one moment.
    void setLongestPause(int ms);
    /// How long a channel must have worked before the pauses begin anew with the shortest, 30,000 ms by
    /// default.
    void setWorkingTime(int ms);
    /// After how long a silence a connection counts as lost, or a request as unanswered, 30,000 ms by
    /// default (requests: at most 10,000 ms). An answer waits as long, at most 30,000 ms, for the service to
    /// list its device.
    void setSilenceLimit(int ms);
    /// Whether the password, or token, may be kept in memory for signing in again; off by default. Never
    /// written anywhere.
    void setKeepPassword(bool keep);

    // ---- Properties --------------------------------------------------------------------------------

    /// Where the class stands, as it was last told by `stateChanged()`.
    State state() const;
    /// The signed-in user's id as the service tells it; empty while nobody is.
    QString userName() const;
    /// The code that learners type in; empty until they can join and are heard, and without a session.
    QString sessionCode() const;
    /// The transport that carries the channel, or carried it last: "websocket", "xhr-streaming" or
    /// "xhr-polling".
    QString transport() const;
    /// What runs on the devices, or will again once the connection is back.
    Activity activity() const;
    /// Whether the devices are paused, or will be once the connection is back.
    bool isPaused() const;
    /// Which attempt to come back is under way or comes next, from 1 on; 0 when none is needed.
    int attempt() const;
    /// When the next attempt begins; invalid while one is under way, and when none is needed.
    QDateTime nextAttemptAt() const;
    /// Why the class is `Reconnecting`, `SignInNeeded` or `Ended`, or `SignedOut` or `SignedIn` after a
    /// failure; `NoReason` otherwise.
    Failure::Reason reason() const;
    /// The learners of the session, a row each: see `LearnerRole`. Rows are inserted, changed and
    /// removed, never reset; who leaves stays as not present until the next activity begins, who is
    /// removed by `removeLearner()` goes at once.
    QAbstractItemModel *learners() const;
    /// The answers of the activity that runs or ran last: see `ResultRole`. Choices come first, in their
    /// order, then free answers as they came.
    QAbstractItemModel *results() const;

    /// Writes everybody's answers as CSV (UTF-8): name, device, question, answer, milliseconds. Cells
    /// that a spreadsheet would take for a formula begin with an apostrophe. Returns whether all could be
    /// written.
    bool exportCsv(QIODevice *device) const;

public Q_SLOTS:
    // ---- Signing in --------------------------------------------------------------------------------

    /// Signs in at `server`, such as "https://classroom.example.com", with a password. Done when the
    /// service has accepted it. In `SignInNeeded` the session goes on, for the same server and user.
    Tarvo::Operation signIn(const QString &server, const QString &userId, const QString &password);
    /// The same with a token that the service has given the device.
    Tarvo::Operation signInWithDeviceToken(const QString &server, const QString &userId,
                                           const QString &deviceId, const QString &token);
    /// The same with an OAuth provider's code. When the user must register first, it fails with
    /// `Failure::NotRegistered`, and `registrationNeeded()` tells what to complete.
    Tarvo::Operation signInWithOAuth(const QString &server, const QString &provider,
                                     const QString &code);
    /// Registers with the completed data and signs in.
    Tarvo::Operation completeRegistration(const QString &data);

    // ---- The session -------------------------------------------------------------------------------

    /// Starts a session and opens its channel. Done when learners can join and are heard.
    Tarvo::Operation start();
    /// Stops the session. Done when the service has confirmed it; fails with
    /// `Failure::StopUnconfirmed` when it has not, and the session has ended here all the same.
    Tarvo::Operation stop();
    /// Stops the session, if there is one, and signs out; ends a sign-in that is under way.
    Tarvo::Operation signOut();
    /// Tries at once to come back. When the channel is there, asks it for a sign of life over a web
    /// socket, and opens it anew, without a word, over HTTP. Done when that has begun.
    Tarvo::Operation reconnectNow();

    // ---- Activities --------------------------------------------------------------------------------

    /// Starts a poll of a fixed kind: `kind` and `ordinals` are `Tarvo::PollType::POLL_TYPE` and
    /// `Tarvo::OrdinalType::ORDINAL_TYPE`, `count` the number of options. Done when it has left. Two polls
    /// leave at least a second apart.
    Tarvo::Operation startPoll(int kind, int ordinals, int count);
    /// The same on a picture, such as the slide that is up: a PNG image, uploaded and shown by its
    /// address, or sent whole when the service takes no upload.
    Tarvo::Operation startPollWithImage(int kind, int ordinals, int count, const QByteArray &png);
    /// The same on an image that the devices load from `url`.
    Tarvo::Operation startPollWithImageAt(int kind, int ordinals, int count, const QString &url);
    /// Asks a question with words of its own, `kind` is a `Tarvo::PollType::POLL_TYPE` that has a question;
    /// `options` are the choices' texts, labelled A, B, C ... (the scale's and the sort's, too).
    Tarvo::Operation ask(const QString &text, int kind, const QStringList &options = {});
    /// Starts an assessment on every device that is present, and on those that come later. The id of
    /// each of its questions ends with a hyphen and the question's number.
    Tarvo::Operation startAssessment(const Tarvo::Assessment &assessment);
    /// Ends what is running, after lifting a pause.
    Tarvo::Operation stopActivity();
    /// Pauses the devices. Done when it has left, or is noted for when the connection is back.
    Tarvo::Operation pause();
    /// Lets the devices go on. Done as `pause()` is.
    Tarvo::Operation resume();

    // ---- Pictures, cards, messages -----------------------------------------------------------------

    /// Shows a PNG image on the devices: it is uploaded and shown by its address, or sent whole when the
    /// service takes no upload. Done when it has left.
    Tarvo::Operation showImage(const QByteArray &png);
    /// Shows an image that the devices load from `url`.
    Tarvo::Operation showImageAt(const QString &url);
    /// Uploads a file; `uploaded()` tells where it is.
    Tarvo::Operation uploadImage(const QString &fileName, const QByteArray &bytes);
    /// Shows the lesson on the remote controllers.
    Tarvo::Operation showLesson(const QString &id, const QString &name);
    /// Shows on the remote controllers that card `number` of 1 to `total` is up.
    Tarvo::Operation showCard(int number, int total);
    /// Shows a text on the device of each learner who is present.
    Tarvo::Operation sendText(const QString &text, Tarvo::LiveClass::TextOption option = PlainText);
    /// Shows a text on one device.
    Tarvo::Operation sendTextTo(const QString &deviceId, const QString &text,
                                Tarvo::LiveClass::TextOption option = PlainText);
    /// Sends one learner's device away.
    Tarvo::Operation removeLearner(const QString &deviceId);

Q_SIGNALS:
    /// The class has come to another `state()`.
    void stateChanged();
    /// Somebody else, or nobody, is signed in: see `userName()`.
    void userNameChanged();
    /// Learners can join with another `sessionCode()`, or not any more.
    void sessionCodeChanged();
    /// Another `transport()` carries the channel.
    void transportChanged();
    /// Another `activity()` runs, or none any more.
    void activityChanged();
    /// The devices have been paused, or go on: see `isPaused()`.
    void pausedChanged();
    /// `attempt()` or `nextAttemptAt()` has changed.
    void attemptChanged();
    /// `reason()` has changed.
    void reasonChanged();

    /// An operation has ended, well if `failure` has no reason.
    void operationFinished(int id, const Tarvo::Failure &failure);
    /// An operation has failed, or something went wrong by itself.
    void failed(const Tarvo::Failure &failure);

    /// A learner has joined, or come back. Whoever joins while the class still starts is told of once it is
    /// live, so that a host may ask at once.
    void learnerJoined(const Tarvo::Learner &learner);
    /// The learner of this device has left, is not listed any more, or the session is over.
    void learnerLeft(const QString &deviceId);
    /// An answer to a question of the running activity was counted. `responseTimeMs` is as the device
    /// counts it.
    void answered(const QString &deviceId, const QString &question, const QString &answer,
                  int responseTimeMs);
    /// An answer came to a question that is over; it is not counted.
    void answeredLate(const QString &deviceId, const QString &question, const QString &answer,
                      int responseTimeMs);
    /// A remote controller has sent its first command, or has gone.
    void remoteChanged(bool isThere);
    /// A remote controller sent a command, such as "nextCard". Pause, resume and the session's stop have
    /// been obeyed already, and its questions about lesson and card answered.
    void remoteCommand(const QString &command, const QVariant &data);
    /// `url` is where the uploaded file is; `id` the service's name for it.
    void uploaded(const QString &id, const QString &url);
    /// The user must register: complete the JSON object and call `completeRegistration()` with it.
    void registrationNeeded(const QString &data);
    /// The session is over: `NoReason` after the host's own `stop()`.
    void ended(Tarvo::Failure::Reason reason);

private:
    friend class LiveClassPrivate;
    const std::unique_ptr<LiveClassPrivate> d;
};

} // namespace Tarvo
