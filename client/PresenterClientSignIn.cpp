// Sign-in and account operations: each is one waiting request whose reply handler sets the state.

#include "client/PresenterClient.h"

#include "client/JsonReply.h"

namespace
{

const QLatin1String CHECK_PATH("/vantora");
const QLatin1String LOGIN_PATH("/vantora/login/submit");
const QLatin1String OAUTH_PATH("/vantora/login/oauth/%1/callback");
const QLatin1String REGISTER_PATH("/vantora/register/oauth/submit");
const QLatin1String KEEP_ALIVE_PATH("/vantora/login/keepSessionAlive");
const QLatin1String USER_PATH("/vantora/login/user");
const QLatin1String LOGOUT_PATH("/vantora/login/logout");

// Filled with one arg(a, b, ...) call each, so that a percent sign in a value arrives as it is.
const QLatin1String PASSWORD_BODY(R"({"userId":"%0","password":"%1","sourceSystem":"Corvel"})");
const QLatin1String DEVICE_BODY(
    R"({"userId":"%0","deviceId":"%1","deviceAccessToken":"%2","sourceSystem":"Corvel"})");
const QLatin1String PASSWORD_TOKEN_BODY(
    R"({"userId":"%0","password":"%1","deviceId":"%2","deviceName":"%3","sourceSystem":"Corvel"})");
const QLatin1String OAUTH_BODY(R"({"code":"%0","callbackUrl":"%1","sourceSystem":"Corvel"})");
const QLatin1String OAUTH_TOKEN_BODY(
    R"({"code":"%0","callbackUrl":"%1","deviceId":"%2","deviceName":"%3","sourceSystem":"Corvel"})");
const QLatin1String REGISTRATION_FRAGMENT(R"(,"sourceSystem":"Corvel")");
const QLatin1String NO_ARGUMENTS("{}");

// Registered with this provider, the service's address ends in a slash.
const QLatin1String PROVIDER_WITH_SLASH("facebook");

const QLatin1String SUCCESS_MARK("success");
const QLatin1String REGISTRATION_MARK("registration");
const QLatin1String DATA_MARK("\"data\":");

// The user's registration with the source system added as its last property. The place for it is
// found by the last double quote, as registrations end in a text value.
QString completedRegistration(QString registration)
{
    return registration.insert(registration.lastIndexOf(QLatin1Char('"')) + 1,
                               REGISTRATION_FRAGMENT);
}

} // namespace

// ---- Is the service there? ------------------------------------------------------------------------

bool PresenterClient::checkServer(const QString &user, const QString &password)
{
    if (!user.isEmpty())
        httpUser = user;
    if (!password.isEmpty())
        httpPassword = password;

    lastErrorKey.clear();
    serverReachable = false;
    return post(CHECK_PATH, QString(), &PresenterClient::serverCheckResponse) && serverReachable;
}

void PresenterClient::serverCheckResponse(QString body)
{
    serverReachable = JsonReply(body).isValid();
}

void PresenterClient::sendKeepAlive()
{
    post(KEEP_ALIVE_PATH, QString(), &PresenterClient::serverCheckResponse);
}

void PresenterClient::setKeepAliveInterval(int ms)
{
    keepAliveMs = ms;
    if (ms <= 0)
        pingTimer.stop();
    else if (loggedIn)
        pingTimer.start(ms);
}

void PresenterClient::onPingTimer()
{
    sendKeepAlive();
}

// ---- Signing in -----------------------------------------------------------------------------------

bool PresenterClient::doLogin(QString userId, QString password)
{
    this->userId = userId;
    this->password = password;
    return signIn(LOGIN_PATH, PASSWORD_BODY.arg(userId, password));
}

bool PresenterClient::doLogin(QString userId, QString deviceId, QString deviceAccessToken)
{
    this->userId = userId;
    this->deviceId = deviceId;
    loginDeviceAccessToken = deviceAccessToken;
    return signIn(LOGIN_PATH, DEVICE_BODY.arg(userId, deviceId, deviceAccessToken));
}

bool PresenterClient::doLoginWithOAuth(QString provider, QString code, QString &registrationData)
{
    this->registrationData.clear();
    oauthProvider = provider;
    oauthCode = code;

    bool signedIn = false;
    const bool isAlive = survives([&] {
        signedIn = registrationData.isEmpty()
            ? signIn(OAUTH_PATH.arg(provider), OAUTH_BODY.arg(code, oauthCallbackUrl(provider)))
            : signIn(REGISTER_PATH, completedRegistration(registrationData));
    });
    if (isAlive)
        registrationData = this->registrationData;
    return signedIn;
}

// Sends one sign-in and starts the keep-alive if it succeeds. False also when the client was deleted
// meanwhile.
bool PresenterClient::signIn(const QString &path, const QString &body)
{
    lastErrorKey.clear();
    loggedIn = false;
    if (!post(path, body, &PresenterClient::loginSuccessResponse,
              &PresenterClient::loginFailureResponse)
        || !loggedIn)
        return false;
    if (keepAliveMs > 0)
        pingTimer.start(keepAliveMs);
    return true;
}

QString PresenterClient::oauthCallbackUrl(const QString &provider) const
{
    return provider == PROVIDER_WITH_SLASH ? serverUrl + QLatin1Char('/') : serverUrl;
}

// A success in "infoMsgs" is never a registration request; only the one in "infoMsgKeys" can be.
void PresenterClient::loginSuccessResponse(QString body)
{
    const JsonReply reply(body);
    if (reply.firstOf(QLatin1String("infoMsgs")).contains(SUCCESS_MARK)) {
        loggedIn = true;
        return;
    }

    const QString key = reply.firstOf(QLatin1String("infoMsgKeys"));
    if (!key.contains(SUCCESS_MARK))
        return;
    loggedIn = true;

    const bool throughOAuth = !oauthProvider.isEmpty() && !oauthCode.isEmpty();
    if (throughOAuth && key.contains(REGISTRATION_MARK)) {
        loggedIn = false;
        extractRegistrationData(body);
    }
}

// The text behind the first "data" key up to the brace that closes the reply. Without that key the
// position is -1, so that the text from position 6 on is taken: hosts have always been given that.
void PresenterClient::extractRegistrationData(const QString &body)
{
    const int mark = body.indexOf(DATA_MARK);
    if (mark == 0)
        return;
    const int from = mark + DATA_MARK.size();
    registrationData = body.mid(from, qMax(0, body.size() - 1 - from));
}

void PresenterClient::reLogin()
{
    signInAgain();
}

bool PresenterClient::signInAgain()
{
    if (userId.isEmpty())
        return false;
    if (!password.isEmpty())
        return doLogin(userId, password);
    if (!deviceId.isEmpty() && !loginDeviceAccessToken.isEmpty())
        return doLogin(userId, deviceId, loginDeviceAccessToken);
    QString registration;
    return !oauthProvider.isEmpty() && !oauthCode.isEmpty()
        && doLoginWithOAuth(oauthProvider, oauthCode, registration);
}

// Signs in again if nobody is signed in any more. Asking clears the stored id then, which is needed.
bool PresenterClient::ensureSignedIn()
{
    const QString storedUserId = userId;
    if (!post(USER_PATH, NO_ARGUMENTS, &PresenterClient::userNameResponse))
        return false;
    if (loggedIn)
        return true;
    userId = storedUserId;
    return signInAgain();
}

// ---- Access tokens --------------------------------------------------------------------------------

QString PresenterClient::doGetAccessToken(QString userId, QString password, QString deviceId,
                                          QString deviceName)
{
    this->userId = userId;
    this->password = password;
    const QString body = PASSWORD_TOKEN_BODY.arg(userId, password, deviceId, deviceName);
    if (!post(LOGIN_PATH, body, &PresenterClient::getDeviceAccessTokenResponse))
        return QString();
    return deviceAccessToken;
}

QString PresenterClient::doGetOAuthAccessToken(QString provider, QString code, QString deviceId,
                                               QString deviceName, QString &registrationData)
{
    oauthProvider = provider;
    oauthCode = code;
    const QString body =
        OAUTH_TOKEN_BODY.arg(code, oauthCallbackUrl(provider), deviceId, deviceName);
    if (!post(OAUTH_PATH.arg(provider), body, &PresenterClient::getDeviceAccessTokenResponse))
        return QString();
    registrationData = this->registrationData;
    return deviceAccessToken;
}

void PresenterClient::getDeviceAccessTokenResponse(QString body)
{
    const JsonReply reply(body);
    if (!reply.isValid())
        return;

    deviceAccessToken = reply.text(QLatin1String("deviceAccessToken"));
    loggedIn = !deviceAccessToken.isEmpty();
    if (!loggedIn)
        extractRegistrationData(body);
}

// ---- Who is signed in, signing out ----------------------------------------------------------------

QString PresenterClient::doGetUserName()
{
    const auto ask = [&] { post(USER_PATH, NO_ARGUMENTS, &PresenterClient::userNameResponse); };
    return survives(ask) ? userId : QString();
}

void PresenterClient::userNameResponse(QString body)
{
    userId = JsonReply(body).text(QLatin1String("userLoginId"));
    loggedIn = !userId.isEmpty();
}

bool PresenterClient::doLogout()
{
    pingTimer.stop();
    if (hasSession() && (!survives([&] { doStopSession(); }) || wasStopEnded))
        return false;
    return !loggedIn
        || (post(LOGOUT_PATH, NO_ARGUMENTS, &PresenterClient::logoutResponse) && !loggedIn);
}

void PresenterClient::logoutResponse(QString body)
{
    if (JsonReply(body).isValid())
        loggedIn = false;
}
