#pragma once

#include "model/Learner.h"
#include "support/Export.h"

#include <QtCore/QByteArray>
#include <QtCore/QList>
#include <QtCore/QMap>
#include <QtCore/QObject>
#include <QtCore/QPointer>
#include <QtCore/QSet>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QTimer>
#include <QtCore/QUrl>
#include <QtCore/QVariant>
#include <QtNetwork/QAuthenticator>
#include <QtNetwork/QNetworkCookie>
#include <QtNetwork/QNetworkProxy>
#include <QtNetwork/QNetworkReply>
#include <QtNetwork/QSslCertificate>
#include <QtNetwork/QSslConfiguration>
#include <QtNetwork/QSslError>

class PresenterCollab;
class QNetworkAccessManager;

namespace Tarvo
{
class CookieJar;
} // namespace Tarvo

/// The host's entry point to the classroom service: signs a teacher in, creates and starts a class
/// session, opens its real-time channel, uploads files and stops the session again.
///
/// **Operations wait.** Every `do...` operation (and `checkServer`, `sendKeepAlive`, `reLogin` and
/// `startWebsocket`) sends POST requests and waits for each reply in a local event
/// loop, at most 10,000 ms a request by default. User input is kept back meanwhile, but timers, sockets
/// and slots of the host run. The client is meant to have one request in flight at a time: the first
/// reply that is handled ends every wait in progress, and the requests that are still open then are
/// aborted and fail.
///
/// **Results.** Nothing throws. An operation returns its result; why it failed is told by
/// `getLastErrorKey()`, as far as the service or the TLS policy gave a reason, and by the debug
/// stream.
///
/// **Values are sent as they are.** User ids, passwords and names stand in the JSON texts without
/// any escaping; a value with a double quote in it makes a text that the service refuses.
///
/// **Sizes.** The largest reply is 64 MiB, as it comes and inflated: a larger one is aborted and fails,
/// one that inflates to more reads as empty.
///
/// **Events.** Handlers and slots of the host run from the event loop, never below a signal of the
/// network manager. A `quit()` of the application does not cut a wait short. Without an application
/// object, or once it is being destroyed, nothing is delivered: operations return at once, without a
/// reply.
///
/// **Life.** The client may be deleted at any time, also in a slot of any of its or its channel's
/// signals, in a handler, and in a timer that runs while one of its operations waits: the operation
/// then returns false (or a null string) without touching the client again. The destructor forgets
/// the handlers of open requests, stops a running session (once, also when it is being stopped) and
/// waits for that like any other operation. Meanwhile client and channel emit nothing, not even
/// `PresenterCollab::connectionClosed`: `QObject::destroyed` tells the end.
///
/// **What a host must not do.** While the destructor waits, timers and queued calls of the host still
/// run, and a `QPointer` to the client is not null yet: they must not delete the client again (a
/// `deleteLater()` is harmless) nor begin an operation. Slots connected directly to the signals of the
/// network manager or its replies must not delete the client. Everything runs on the thread that the
/// client lives on; no other thread may call it.
class TARVOCLIENT_EXPORT PresenterClient : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(PresenterClient)

public:
    /// Takes the decoded body of a reply that came without an error.
    using SuccessHandler = void (PresenterClient::*)(QString);
    /// Takes a failed reply and its decoded body. The reply is the client's.
    using FailureHandler = void (PresenterClient::*)(QNetworkReply *, QString);

    /// What runs when an outstanding reply has come; null pointers run nothing.
    struct CALLBACKS {
        /// Called with the body when the reply came without an error.
        SuccessHandler success;
        /// Called with the reply and its body when it failed.
        FailureHandler failure;
    };

    /// What became of a request. A plain value.
    struct Reply {
        /// The toolkit's verdict; `TimeoutError` when the client has given up waiting, and
        /// `OperationCanceledError` after `abortRequests()`.
        QNetworkReply::NetworkError error = QNetworkReply::NoError;
        /// Of the answer; 0 when none came.
        int httpStatus = 0;
        /// Seconds from its arrival that the answer asks to wait ("Retry-After", which may also name a
        /// date); -1 without that.
        int retryAfter = -1;
        /// Where the answer redirects to; empty when it does not.
        QUrl redirect;
        /// The decoded body.
        QString text;
        /// The toolkit's words for `error`.
        QString errorText;
    };

    /// Parts the fields of a multipart form: "----boundary".
    static const QString MULTIPART_BOUNDARY;

    /// A client of the service at `server`, such as "https://classroom.example.com". One trailing
    /// slash is dropped. Sends nothing yet.
    PresenterClient(QObject *parent, QString server);
    /// Stops a running session as `doStopSession` does, which waits up to 2,000 ms for the channel and
    /// up to 10,000 ms for the service, and drops open requests.
    /// A channel that `startWebsocket` made is a child of the client and goes with it. Emits nothing.
    ~PresenterClient() override;

    // ---- State that the host reads -----------------------------------------------------------------

    /// Whether the last sign-in succeeded and was not undone since.
    bool isLoggedIn() const { return loggedIn; }
    /// Whether the last check or keep-alive was answered with JSON, or a redirect was followed. A
    /// keep-alive that fails leaves it as it was.
    bool isServerReachable() const { return serverReachable; }
    /// The service's base address without a trailing slash; a followed redirect rewrites it.
    QString getServerUrl() const { return serverUrl; }
    /// The error key that was recorded last, such as "SSLRootCertificateMissing", or null.
    /// `checkServer`, `doLogin` and `doLoginWithOAuth` clear it before they send, `doStartSession` just
    /// before it asks for the session: if nobody is signed in then, an earlier key may still stand.
    QString getLastErrorKey() const { return lastErrorKey; }
    /// The code that learners type in, or null without a session.
    QString getSessionCode() const { return sessionCode; }
    /// The token of the started session, or null when none is running.
    QString getSessionToken() const { return sessionToken; }
    /// The presenter's own token in the session that was joined last.
    QString getUserToken() const { return userToken; }
    /// The collaboration server that `startWebsocket` found last.
    QString getCollabServerUrl() const { return collabServerUrl; }
    /// The learners that `doGetLearners` found last.
    QList<Tarvo::Learner> getLearners() const { return learners; }

    /// The transports that `startWebsocket` opened the channel with, in their order.
    QStringList getSockJSProtocols() const { return sockJSProtocols; }
    /// What became of the request that was handled last; all values are as constructed before the first.
    Reply getLastReply() const { return lastReply; }
    /// Whether the service has confirmed the last `doStopSession`, or the destructor's: a reply without
    /// an error, and without an error key, came to it.
    bool wasStopConfirmed() const { return stopConfirmed; }

    // ---- Settings for the network ------------------------------------------------------------------

    /// Certificates to trust beside the system's, for requests and channels that are begun from now on.
    /// New ones are asked over new connections; see `resetConnections()`.
    void setTrustedCertificates(const QList<QSslCertificate> &certificates);
    /// The proxy for everything that is begun from now on: requests, web sockets, HTTP polling and its
    /// posts. Without one (type DefaultProxy) channels ask the system, as always.
    void setProxy(const QNetworkProxy &proxy);
    /// The service's cookies, all of them, and others in their place: with them another client of the
    /// same service is signed in, too.
    QList<QNetworkCookie> getCookies() const;
    /// Replaces the service's cookies by these; an empty list forgets that anybody is signed in.
    void setCookies(const QList<QNetworkCookie> &cookies);
    /// How long a request is waited for, 10,000 ms by default.
    void setRequestTimeout(int ms);
    /// How often a keep-alive is sent while somebody is signed in, 60,000 ms by default; 0 for never, for
    /// hosts that call `sendKeepAlive()` when no other operation waits.
    void setKeepAliveInterval(int ms);
    /// Moves the client to another address of the service, or back after a redirect.
    void setServerUrl(const QString &server);
    /// Ends every request that is open, which fails as if it had been waited for in vain, with
    /// `OperationCanceledError`. A waiting operation then returns without its next request: false or a
    /// null text, but `doGetUserName` and `doStopSession` return what they do after any failure.
    void abortRequests();
    /// Does that, and forgets every connection to the service, but not the cookies: the next request
    /// makes a new one. For a network that has changed, or a computer that has slept. What the host
    /// has connected to the client's network manager is not connected to the new one's.
    void resetConnections();
    /// Forgets password, device token and OAuth code: `reLogin` does nothing then, and a
    /// `doStartSession` that finds nobody signed in fails.
    void forgetCredentials();

    // ---- Requests ----------------------------------------------------------------------------------

    /// Sends `body` to `url` as a POST and, if `wait` is set, waits up to 10,000 ms, or the time of
    /// `setRequestTimeout()`, until a reply has been handled; a reply that is still missing then is
    /// aborted and counts as failed. The content type is JSON, or that of a form parted by
    /// `MULTIPART_BOUNDARY` if `multipart` is set. Handlers may be null. The client may be gone when a
    /// waiting call returns.
    void doRequest(bool wait, const QUrl &url, const QByteArray &body, SuccessHandler success,
                   FailureHandler failure, bool multipart);
    /// The same with a text, which is sent as UTF-8.
    void doRequest(bool wait, const QUrl &url, const QString &body, SuccessHandler success,
                   FailureHandler failure, bool multipart);
    /// The same with a JSON text and no failure handler.
    void doRequest(bool wait, const QUrl &url, const QString &body, SuccessHandler success);

    /// Looks for an error key in a reply: the first element of its "errorMsgKeys" list, if that
    /// contains "error". Sets `errorKey` to it and returns true; otherwise sets `errorKey` to null
    /// and returns false. Later elements are not looked at.
    bool isErrorInErrorMsgKeys(const QVariant &reply, QString &errorKey);

    // ---- Sign-in and account -----------------------------------------------------------------------

    /// Asks whether the service answers. `user` and `password` are the credentials for HTTP
    /// authentication, not for signing in; an empty one keeps the one given before. Sends an empty
    /// body. Returns true when the reply is JSON or a redirect was followed, which also moves
    /// `getServerUrl()` to the service's own address.
    bool checkServer(const QString &user, const QString &password);
    /// Signs in with a password. On success the keep-alive starts: one request every 60,000 ms until
    /// `doLogout`. On failure returns false, and `getLastErrorKey()` tells the service's reason.
    bool doLogin(QString userId, QString password);
    /// Signs in with a token that `doGetAccessToken` or `doGetOAuthAccessToken` got for the device
    /// `deviceId`. Otherwise as with a password.
    bool doLogin(QString userId, QString deviceId, QString deviceAccessToken);
    /// Signs in with the authorisation code of the OAuth provider named `provider`, which stands in
    /// the request's path as it is.
    ///
    /// Call it with an empty `registrationData` first. If it returns false with a non-empty one, the
    /// user must register: let them complete that JSON object and call again with it. What
    /// `registrationData` holds is replaced in any case, unless the client is deleted meanwhile.
    bool doLoginWithOAuth(QString provider, QString code, QString &registrationData);
    /// Gets an access token for the device, with a password. Returns the token, the earlier one if the
    /// request failed, or null. The keep-alive is not started.
    QString doGetAccessToken(QString userId, QString password, QString deviceId,
                             QString deviceName);
    /// Gets an access token for the device through OAuth. An empty token with a non-empty
    /// `registrationData` means that the user must register first, as with `doLoginWithOAuth`.
    QString doGetOAuthAccessToken(QString provider, QString code, QString deviceId,
                                  QString deviceName, QString &registrationData);
    /// Signs in again with what was used last, the password before the device token before OAuth.
    /// Does nothing without a stored user id. The result is `isLoggedIn()`.
    void reLogin();
    /// Sends one keep-alive, whose answer refreshes `isServerReachable()`.
    void sendKeepAlive();
    /// Asks the service who is signed in. Returns the user's login id, which also says whether the
    /// client counts as signed in; the id known before if the request failed.
    QString doGetUserName();
    /// Stops the keep-alive and a running session, then signs out. Returns true when no longer signed
    /// in, also without a request when that was so before.
    bool doLogout();

    // ---- Session -----------------------------------------------------------------------------------

    /// Creates a session, after signing in again if the service no longer knows the teacher. Returns
    /// false if that fails or no session code comes back. The argument is accepted and ignored.
    bool doStartSession(QString ignored);
    /// Starts and joins the created session and opens its channel: four requests, then
    /// `PresenterCollab::open`, which waits for the web socket. With the robust transport it does
    /// not wait: this returns before a transport stands, and the channel tells the outcome. On
    /// success `*collabOut` is the channel, a child of this client that the host may delete
    /// earlier. A second call makes a second channel; the first stays until the client goes or the
    /// host deletes it. Returns false, without touching `*collabOut`, if no collaboration server is
    /// named, the start is refused with an error key, or the host deletes the client or the channel
    /// meanwhile.
    bool startWebsocket(PresenterCollab **collabOut);
    /// The transports ("websocket", "xhr-streaming", "xhr-polling") that later sessions use instead of
    /// those the tenant prefers; an empty list goes back to the tenant's.
    void setSockJSOverrideProtocols(QStringList protocols);
    /// Whether the channels of later sessions use the robust transport, off by default: see
    /// `PresenterCollab::setRobustTransport()`.
    void setRobustTransport(bool robust);
    /// Refreshes `getLearners()`. Returns false, without a request, when no session is running, and
    /// true otherwise, also if the request fails and the list stays as it was.
    bool doGetLearners();
    /// Closes the channel, waits up to 2,000 ms until its last word to the learners has arrived, and
    /// stops the session. Returns false, without a request, when no session is running, and true
    /// otherwise, also if the request fails. Code and token are null afterwards: begin the next session
    /// when this has returned, not in a slot that runs meanwhile.
    bool doStopSession();

    // ---- Resources ---------------------------------------------------------------------------------

    /// Uploads one file, which should be small (the image of a slide): it is held in memory twice.
    /// `fileName` is sent as it is and must not contain a double quote. On success `*resourceIdOut` is
    /// the resource's id and `*downloadPathOut` the path, to be appended to `getServerUrl()`, from
    /// which it is downloaded. On failure returns false and leaves both alone.
    bool doUploadResource(QString fileName, QByteArray data, QString *resourceIdOut,
                          QString *downloadPathOut);
    /// One text field of a form and the boundary line that follows it; the form ends after it if
    /// `last` is set.
    QString addMultipartValue(QString name, QString value, bool last);
    /// Unpacks a base64 block as `Lzma::decompress64` does and returns its result, 0 or 1. A block that
    /// gives more than 16 MiB counts as one that cannot be unpacked.
    int LzmaDecompress64(QString input, QString *output);

Q_SIGNALS:
    /// A reply has been handled. Ends the waits of all operations in progress. The host may do
    /// anything in a slot, deleting the client included.
    void requestProcessed();

protected:
    /// Keeps a `deleteLater()` from deleting the client a second time while its destructor waits.
    bool event(QEvent *event) override;

    // ---- What becomes of replies: derived classes may call these for replies of their own ----------

    /// Sets the last error key to the first of the body's "errorMsgKeys"; a body that is no JSON leaves
    /// it as it was.
    void loginFailureResponse(QNetworkReply *reply, QString body);
    /// Records why the service did not start a session, as `loginFailureResponse()` does.
    void sessionStartFailureResponse(QNetworkReply *reply, QString body);
    /// Records why the service created no session, as `loginFailureResponse()` does.
    void sessionFailureResponse(QNetworkReply *reply, QString body);

    /// The service is reachable when the body is JSON.
    void serverCheckResponse(QString body);
    /// Reads whether the sign-in succeeded, or the data of a registration that is needed first.
    void loginSuccessResponse(QString body);
    /// Reads the device's access token, or the data of a registration that is needed first.
    void getDeviceAccessTokenResponse(QString body);
    /// Reads the login id of who is signed in.
    void userNameResponse(QString body);
    /// Nobody is signed in any more when the body is JSON.
    void logoutResponse(QString body);

    /// Reads the code of the created session.
    void sessionSuccessResponse(QString body);
    /// Reads the collaboration server's address.
    void getCollabUrlResponse(QString body);
    /// Reads which transports the tenant prefers.
    void getTenantFeatureDetailsResponse(QString body);
    /// Reads the token of the started session.
    void sessionStartSuccessResponse(QString body);
    /// Reads the presenter's own token.
    void sessionJoinResponse(QString body);
    /// Reads the learners of the session.
    void getLearnersResponse(QString body);

    /// Reads the uploaded file's id and path.
    void uploadResourceResponse(QString body);

protected Q_SLOTS:
    /// Handles a reply that has come: notes it, follows its redirect or runs its handler, and emits
    /// `requestProcessed()`. Frees the reply.
    void slotRequestFinished(QNetworkReply *reply);
    /// Sends the keep-alive when its time has come.
    void onPingTimer();
    /// Logs what TLS found wrong, and records the missing root certificate. No error is ever passed over.
    void slotSslErrors(QNetworkReply *reply, QList<QSslError> errors);
    /// Answers the service's HTTP authentication with what `checkServer()` was given.
    void authenticationRequired(QNetworkReply *reply, QAuthenticator *authenticator);

private:
    // Does something during which the host may delete the client. Returns whether the client still
    // exists: if not, the caller must return without touching it.
    template<typename Step> bool survives(const Step &step)
    {
        const QPointer<PresenterClient> self(this);
        step();
        return !self.isNull();
    }

    bool post(const QString &path, const QString &body, SuccessHandler success,
              FailureHandler failure = nullptr);
    QNetworkReply *send(const QUrl &url, const QByteArray &body, SuccessHandler success,
                        FailureHandler failure, bool multipart);
    void waitForReply(QNetworkReply *reply);
    bool goesOnAfter(QNetworkReply *reply);
    void queueFinished(QNetworkReply *reply);
    bool followRedirect(const QNetworkReply *reply);
    void handleReply(QNetworkReply *reply, const QString &body);
    void noteReply(const QNetworkReply *reply, const QString &body);
    void noteStop();
    static void giveUp(QNetworkReply *reply);

    QNetworkAccessManager *makeManager();
    void renewManager();
    void dropOldManagers();

    bool signIn(const QString &path, const QString &body);
    bool signInAgain();
    QString oauthCallbackUrl(const QString &provider) const;
    void extractRegistrationData(const QString &body);

    // Steps of a session: whether each succeeded, or at the session's end whether the client still exists.
    bool ensureSignedIn();
    bool createSession();
    bool findCollabServer();
    bool startCreatedSession();
    bool joinSession();
    PresenterCollab *makeChannel();
    bool closeChannel();
    bool postStop(const QString &body);

    void silence();
    bool hasSession() const { return !sessionCode.isNull() || !sessionToken.isNull(); }

    // Engine. The manager is a child of the client and carries every request; the table has one entry
    // for each reply that has not been handled.
    QTimer pingTimer;
    bool loggedIn = false;
    bool serverReachable = false;
    QString protocolVersion;
    QString serverUrl;
    QNetworkAccessManager *networkManager = nullptr;
    QMap<QNetworkReply *, CALLBACKS> replyCallbacks;
    QString lastErrorKey;
    QString httpUser;
    QString httpPassword;

    // Sign-in. What was used last, for signing in again; kept in memory only.
    QString userId;
    QString password;
    QString deviceId;
    QString loginDeviceAccessToken;
    QString oauthProvider;
    QString oauthCode;
    QString deviceAccessToken;
    QString registrationData;

    // Session. The channel is a child of the client; one that the host deletes is forgotten.
    QString sessionCode;
    QString collabServerUrl;
    QStringList sockJSProtocols;
    QStringList overrideSockJSProtocols;
    QString sessionToken;
    QString userToken;
    QList<Tarvo::Learner> learners;
    PresenterCollab *collab = nullptr;

    // Upload.
    QString resourceId;
    QString resourcePath;

    QObject replyReceiver{this};        // hears of finished replies, from the event loop
    QNetworkReply *stopReply = nullptr; // while doStopSession() sees to it; never followed
    int processed = 0;                  // how often requestProcessed() was emitted
    bool ending = false;                // the destructor has begun
    bool robustTransport = false;       // setRobustTransport()
    Reply lastReply;
    bool stopConfirmed = false;
    int requestTimeoutMs = 10000;
    int keepAliveMs = 60000;
    int operationRequests = 0;                  // that were waited for so far
    QSet<int> endedRequests;                    // their numbers, until the operations have noticed
    bool wasStopEnded = false;                  // by the host, the last time
    Tarvo::CookieJar *cookieJar;                // a child; every manager's
    QList<QNetworkAccessManager *> oldManagers; // with replies that have not been handled
    QList<QSslCertificate> trustedCertificates; // for channels
    QSslConfiguration tls;                      // the same for requests; null for the default
    QNetworkProxy proxy;                        // of type DefaultProxy for none
    QPointer<PresenterCollab> living; // collab; a host may cut every connection of the channel
};
