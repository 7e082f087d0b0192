// Session operations: the REST half of a class session, from its creation to its end. The other half is
// the channel that startWebsocket opens.

#include "client/PresenterClient.h"

#include "client/JsonReply.h"
#include "collab/PresenterCollab.h"
#include "support/PrintableUrl.h"
#include "support/Wait.h"

#include <QtCore/QDebug>
#include <QtCore/QJsonArray>
#include <QtCore/QPointer>
#include <QtCore/QUrl>

namespace
{

const QLatin1String CREATE_PATH("/vantora/session/create");
const QLatin1String COLLAB_URL_PATH("/vantora/session/getcollabserverurl");
const QLatin1String TENANT_FEATURES_PATH("/vantora/config/findTenantFeatureDetails");
const QLatin1String START_PATH("/vantora/session/start");
const QLatin1String JOIN_PATH("/vantora/classroom/session/join");
const QLatin1String LEARNERS_PATH("/vantora/session/getusers");
const QLatin1String STOP_PATH("/vantora/session/stop");

// Filled with one arg(a, b, ...) call each, so that a percent sign in a value arrives as it is.
const QLatin1String START_BODY(
    R"({"sessionCode": "%0","serverUrl":"%1","sourceSystem":"Corvel","version":"%2"})");
const QLatin1String JOIN_BODY(
    R"({"userName":"SessionStarter","sessionCode":"%0","mode":"presenter","deviceName":"%1_SessionStarter","deviceType":"presenter"})");
const QLatin1String TOKEN_BODY(R"({"sessionToken":"%0"})");
const QLatin1String NO_ARGUMENTS("{}");

constexpr int LAST_WORD_WAIT_MS = 2000;

// The service lists everyone in the session; the presenter is not a learner.
const QLatin1String LEARNER_MODE("learner");

} // namespace

// ---- Creating -------------------------------------------------------------------------------------

bool PresenterClient::doStartSession(QString)
{
    // Asking who is signed in clears the stored id when nobody is, and signing in again needs it.
    const QPointer<PresenterClient> self(this);
    const QString storedUserId = userId;
    doGetUserName();
    if (self && !loggedIn) {
        userId = storedUserId;
        reLogin();
    }
    if (!self || !loggedIn)
        return false;

    sessionToken.clear();
    sessionCode.clear();
    lastErrorKey.clear();
    if (!post(CREATE_PATH, NO_ARGUMENTS, &PresenterClient::sessionSuccessResponse,
              &PresenterClient::sessionFailureResponse))
        return false;
    return lastErrorKey.isNull() && !sessionCode.isNull();
}

void PresenterClient::sessionSuccessResponse(QString body)
{
    const JsonReply reply(body);
    if (reply.isValid())
        sessionCode = reply.text(QStringLiteral("sessionCode"));
}

// ---- Starting and joining -------------------------------------------------------------------------

bool PresenterClient::startWebsocket(PresenterCollab **collabOut)
{
    if (!findCollabServer() || !startCreatedSession() || !joinSession())
        return false;

    qDebug().noquote() << sessionToken << Tarvo::withoutUserInfo(collabServerUrl);
    const QPointer<PresenterClient> self(this);
    const QPointer<PresenterCollab> channel = makeChannel();
    channel->open(sockJSProtocols);
    if (!self || !channel)
        return false;

    *collabOut = channel;
    return true;
}

// An earlier channel stays a child of the client. One that goes is let go at once, as a slot of the host
// behind this one may delete the client. The client's own end cuts the connection first.
PresenterCollab *PresenterClient::makeChannel()
{
    auto *channel =
        new PresenterCollab(this, collabServerUrl, sessionCode, sessionToken, userToken);
    connect(channel, &QObject::destroyed, this, [this](QObject *gone) {
        gone->setParent(nullptr);
        if (collab == gone)
            collab = nullptr;
    });
    collab = channel;
    living = channel;
    return channel;
}

bool PresenterClient::findCollabServer()
{
    if (!post(COLLAB_URL_PATH, NO_ARGUMENTS, &PresenterClient::getCollabUrlResponse))
        return false;
    if (collabServerUrl.isEmpty()) {
        qDebug().noquote() << "ERROR: Failed to get collab server URL!";
        return false;
    }

    if (!post(TENANT_FEATURES_PATH, NO_ARGUMENTS,
              &PresenterClient::getTenantFeatureDetailsResponse))
        return false;
    if (!overrideSockJSProtocols.isEmpty())
        sockJSProtocols = overrideSockJSProtocols;
    return true;
}

bool PresenterClient::startCreatedSession()
{
    const QString body = START_BODY.arg(sessionCode, collabServerUrl, protocolVersion);
    return post(START_PATH, body, &PresenterClient::sessionStartSuccessResponse,
                &PresenterClient::sessionStartFailureResponse)
        && lastErrorKey.isNull();
}

// A failed join is not detected. Returns whether the client still exists.
bool PresenterClient::joinSession()
{
    return post(JOIN_PATH, JOIN_BODY.arg(sessionCode, userId),
                &PresenterClient::sessionJoinResponse);
}

void PresenterClient::getCollabUrlResponse(QString body)
{
    const JsonReply reply(body);
    if (reply.isValid())
        collabServerUrl = reply.text(QStringLiteral("url"));
}

void PresenterClient::getTenantFeatureDetailsResponse(QString body)
{
    const JsonReply reply(body);
    if (reply.isValid())
        sockJSProtocols = textsOf(reply.data(QStringLiteral("sockJSProtocols")));
}

void PresenterClient::sessionStartSuccessResponse(QString body)
{
    const JsonReply reply(body);
    if (reply.isValid())
        sessionToken = reply.text(QStringLiteral("sessionToken"));
}

void PresenterClient::sessionJoinResponse(QString body)
{
    const JsonReply reply(body);
    if (reply.isValid())
        userToken = reply.text(QStringLiteral("userToken"));
}

void PresenterClient::setSockJSOverrideProtocols(QStringList protocols)
{
    overrideSockJSProtocols = protocols;
}

// ---- Learners -------------------------------------------------------------------------------------

bool PresenterClient::doGetLearners()
{
    if (sessionToken.isNull()) {
        qDebug().noquote() << "[PresenterClient] No session to get users for!";
        return false;
    }
    return post(LEARNERS_PATH, TOKEN_BODY.arg(sessionToken), &PresenterClient::getLearnersResponse);
}

void PresenterClient::getLearnersResponse(QString body)
{
    const QJsonValue users = JsonReply(body).data(QStringLiteral("users"));
    if (!users.isArray())
        return;

    learners.clear();
    const QJsonArray entries = users.toArray();
    for (const QJsonValue &entry : entries) {
        const QJsonObject user = entry.toObject();
        if (textOf(user.value(QStringLiteral("mode"))) != LEARNER_MODE)
            continue;
        Tarvo::Learner learner;
        learner.deviceId = textOf(user.value(QStringLiteral("userToken")));
        learner.userName = textOf(user.value(QStringLiteral("userName")));
        learner.deviceType = textOf(user.value(QStringLiteral("deviceType")));
        learners.append(learner);
    }
}

// ---- Stopping -------------------------------------------------------------------------------------

bool PresenterClient::doStopSession()
{
    if (sessionToken.isNull()) {
        qDebug().noquote() << "[PresenterClient] No session to stop!";
        return false;
    }

    // Made first: closing the channel reaches slots of the host, which may stop the session themselves.
    const QString body = TOKEN_BODY.arg(sessionToken);
    const QPointer<PresenterClient> self(this);
    if (living)
        closeChannel();
    if (!self)
        return false;
    stopReply = send(QUrl(serverUrl + STOP_PATH), body.toUtf8(), nullptr, nullptr, false);
    waitForReply(stopReply);
    if (!self)
        return false;
    stopReply = nullptr;

    qDebug().noquote() << "[PresenterClient] Stopping session, closing websocket...";
    sessionToken.clear();
    sessionCode.clear();
    return true;
}

// The service drops what comes for a session that has stopped, and the channel's last word to the
// learners takes another way than the request that stops it, so that is waited for. The client or the
// channel may be gone afterwards.
void PresenterClient::closeChannel()
{
    const QPointer<PresenterClient> self(this);
    const QPointer<PresenterCollab> channel(living);
    channel->close();
    const auto said = [&] { return !self || !channel || !channel->hasUnsentMessages(); };
    Tarvo::Wait(QEventLoop::ExcludeUserInputEvents).until(said, LAST_WORD_WAIT_MS);
}
