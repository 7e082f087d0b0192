// Signing in, staying signed in, signing out.
#include "host/ClassRunner.h"

#include "host/QuestionRecords.h"
#include "host/ReplyReason.h"

#include <QtCore/QUrl>
#include <QtNetwork/QNetworkProxyFactory>

namespace Tarvo
{

namespace
{

constexpr int MAX_REQUEST_MS = 10000;

bool areSameTeacher(const Credentials &a, const Credentials &b)
{
    const bool isSameUser =
        a.kind == Credentials::OAuth || b.kind == Credentials::OAuth || a.userId == b.userId;
    return a.server == b.server && isSameUser;
}

} // namespace

int ClassRunner::requestTimeoutMs() const
{
    return qMin(MAX_REQUEST_MS, m_settings.silenceMs);
}

// The system is asked each time, since a laptop moves from one network to another. What the application
// has set for other purposes does not count.
QNetworkProxy ClassRunner::proxy() const
{
    if (m_settings.proxy.type() != QNetworkProxy::DefaultProxy)
        return m_settings.proxy;
    const QNetworkProxyQuery query{QUrl(m_serverUrl)};
    const QList<QNetworkProxy> proxies = QNetworkProxyFactory::systemProxyForQuery(query);
    return proxies.isEmpty() ? QNetworkProxy(QNetworkProxy::NoProxy) : proxies.first();
}

void ClassRunner::makeClient(const QString &server)
{
    m_client = std::make_unique<PresenterClient>(nullptr, server);
    m_serverUrl = m_client->getServerUrl();
    configureClient();
}

void ClassRunner::configureClient()
{
    m_client->setTrustedCertificates(m_settings.certificates);
    m_client->setProxy(proxy());
    m_client->setRequestTimeout(requestTimeoutMs());
    m_client->setKeepAliveInterval(0); // it would end the wait of the request under way
    m_client->setSockJSOverrideProtocols(m_settings.transports);
    m_client->setRobustTransport(m_settings.isRobust);
    m_backoff.setLongest(m_settings.longestPauseMs);
}

// ---- Signing in ----------------------------------------------------------------------------------

void ClassRunner::signIn(int id, const ClassSettings &settings, const Credentials &credentials)
{
    if (!isSendable(credentials.userId) || !isSendable(credentials.secret)
        || !isSendable(credentials.deviceId)) {
        signInEnded(
            id,
            {Action::SignIn, Failure::InvalidArgument, QString(),
             QStringLiteral("the name or password: it holds a quotation mark or a backslash")});
        return;
    }
    if (m_hasSession && !areSameTeacher(credentials, m_credentials)) {
        signInEnded(id, {Action::SignIn, Failure::NotAllowed});
        return;
    }
    m_settings = settings;
    m_lesson.setLongestWait(settings.silenceMs);
    m_credentials = credentials;
    enqueue([this, id](int turn) { signInNow(turn, id); });
}

void ClassRunner::signInNow(int turn, int id)
{
    Failure failure;
    if (!isInterrupted(turn)) {
        if (m_hasSession) {
            configureClient();
            m_client->resetConnections();
            m_client->setServerUrl(m_serverUrl);
        } else {
            makeClient(m_credentials.server);
        }
        failure = reachService(turn);
    }
    if (!failure && !isInterrupted(turn))
        failure = tryCredentials(QString());
    if (isInterrupted(turn))
        finish(id, {Action::SignIn, Failure::Abandoned});
    else
        signInEnded(id, failure);
}

// Services that have moved redirect once; a page that stands in between the network and the service
// redirects, too, but does not answer as the service does.
Failure ClassRunner::reachService(int turn)
{
    bool isReached = m_client->checkServer(QString(), QString());
    if (isReached && !m_client->getLastReply().redirect.isEmpty() && !isInterrupted(turn))
        isReached = m_client->checkServer(QString(), QString())
            && m_client->getLastReply().redirect.isEmpty();
    return isReached ? Failure() : lastFailure(Action::SignIn, Failure::SignInPage);
}

Failure ClassRunner::tryCredentials(const QString &registration)
{
    QString data = registration;
    if (!sendCredentials(&data)) {
        if (registration.isEmpty() && !data.isEmpty()) {
            m_notices->post(Notices::RegistrationIsNeeded{data});
            return {Action::SignIn, Failure::NotRegistered};
        }
        const Failure failure = lastFailure(Action::SignIn, Failure::SignInRefused);
        const bool isRefusal = failure.reason() == Failure::RefusedByService
            || failure.reason() == Failure::SignInOver;
        return isRefusal ? Failure(Action::SignIn, Failure::SignInRefused, failure.key()) : failure;
    }
    m_serverUrl = m_client->getServerUrl();
    const QString name = m_client->doGetUserName();
    m_signedInAs = name.isEmpty() ? m_credentials.userId : name;
    return {};
}

bool ClassRunner::sendCredentials(QString *registration)
{
    const Credentials &who = m_credentials;
    switch (who.kind) {
    case Credentials::Password:
        return m_client->doLogin(who.userId, who.secret);
    case Credentials::DeviceToken:
        return m_client->doLogin(who.userId, who.deviceId, who.secret);
    case Credentials::OAuth:
        return m_client->doLoginWithOAuth(who.userId, who.secret, *registration);
    }
    return false;
}

void ClassRunner::signInEnded(int id, const Failure &failure)
{
    const bool isRegistering = failure.reason() == Failure::NotRegistered;
    if (!isRegistering && (!m_settings.keepsPassword || failure)) {
        m_credentials.secret.clear();
        if (m_client)
            m_client->forgetCredentials();
    }
    if (failure) {
        happens(m_hasSession ? ClassEvent::SignInFailedAgain : ClassEvent::SignInFailed,
                failure.reason());
        finish(id, failure);
        return;
    }
    m_signInLossIsTold = false;
    m_keepAlive.start();
    m_notices->post(Notices::UserIs{m_signedInAs});
    if (m_hasSession)
        happens(ClassEvent::SignInRenewed, Failure::ConnectionLost);
    else
        happens(ClassEvent::SignInAccepted);
    finish(id);
    if (m_hasSession)
        beginAttempt();
}

void ClassRunner::completeRegistration(int id, const QString &data)
{
    enqueue([this, id, data](int turn) {
        Failure failure{Action::CompleteRegistration, Failure::NotAllowed};
        if (m_client && m_credentials.kind == Credentials::OAuth && !isInterrupted(turn)) {
            failure = tryCredentials(data);
            if (failure)
                failure = {Action::CompleteRegistration, failure.reason(), failure.key()};
        }
        if (isInterrupted(turn))
            finish(id, {Action::CompleteRegistration, Failure::Abandoned});
        else
            signInEnded(id, failure);
    });
}

// ---- Staying signed in ---------------------------------------------------------------------------

// With what the host has let us keep, until it is refused: more tries may lock the teacher out.
bool ClassRunner::signInAgain(int turn)
{
    if (!m_settings.keepsPassword || m_credentials.secret.isEmpty() || isInterrupted(turn))
        return false;
    const Failure failure = tryCredentials(QString());
    if (failure.reason() == Failure::SignInRefused) {
        m_credentials.secret.clear();
        m_client->forgetCredentials();
    }
    return !failure;
}

void ClassRunner::keepAlive(int turn)
{
    if (isInterrupted(turn) || !m_client)
        return;
    m_client->setServerUrl(m_serverUrl);
    m_client->sendKeepAlive();
    if (isInterrupted(turn) || lastReason() != Failure::SignInOver || signInAgain(turn)
        || m_signInLossIsTold)
        return;
    m_signInLossIsTold = true;
    m_notices->post(Notices::SomethingFailed{{Action::None, Failure::SignInOver}});
}

// ---- Signing out ---------------------------------------------------------------------------------

void ClassRunner::signOut(int id)
{
    if (m_startId)
        finish(std::exchange(m_startId, 0), {Action::Start, Failure::Abandoned});
    m_nextAttempt.stop();
    interrupt();
    enqueue([this, id](int) { signOutNow(id); });
}

void ClassRunner::signOutNow(int id)
{
    Failure failure;
    if (m_hasSession || m_startIsUnclear) {
        if (!stopSession())
            failure = {Action::SignOut, Failure::StopUnconfirmed};
        m_notices->post(Notices::SessionIsOver{Failure::NoReason});
    }
    m_notices->post(Notices::CodeIs{QString()});
    m_keepAlive.stop();
    if (m_client) {
        m_client->setServerUrl(m_serverUrl);
        if (m_client->isLoggedIn() && !m_client->doLogout() && !failure)
            failure = lastFailure(Action::SignOut, Failure::UnexpectedAnswer);
    }
    m_client.reset();
    m_credentials = {};
    m_notices->post(Notices::UserIs{QString()});
    happens(ClassEvent::SignOutEnded);
    finish(id, failure);
}

} // namespace Tarvo
