// Session operations: the REST half of a class session, from its creation to its end. The other half is
// the channel that startWebsocket opens.

#include "client/PresenterClient.h"

#include "client/JsonReply.h"
#include "collab/PresenterCollab.h"
#include "support/Http.h"
#include "support/Log.h"
#include "support/Wait.h"

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
    return ensureSignedIn() && createSession();
}

bool PresenterClient::createSession()
{
    sessionToken.clear();
    sessionCode.clear();
    lastErrorKey.clear();
    return post(CREATE_PATH, NO_ARGUMENTS, &PresenterClient::sessionSuccessResponse,
                &PresenterClient::sessionFailureResponse)
        && lastErrorKey.isNull() && !sessionCode.isNull();
}

void PresenterClient::sessionSuccessResponse(QString body)
{
    JsonReply(body).read(QLatin1String("sessionCode"), &sessionCode);
}

// ---- Starting and joining -------------------------------------------------------------------------

bool PresenterClient::startWebsocket(PresenterCollab **collabOut)
{
    if (!findCollabServer() || !startCreatedSession() || !joinSession())
        return false;

    TARVO_LOG(rest, sessionToken, " ", Tarvo::withoutUserInfo(collabServerUrl));
    const QPointer<PresenterCollab> channel = makeChannel();
    if (!survives([&] { channel->open(sockJSProtocols); }) || !channel)
        return false;

    *collabOut = channel;
    return true;
}

// An earlier channel stays a child of the client. One that is destroyed is let go at once: the slot of the
// host that hears of it next may delete the client, which must not delete the channel again. When the
// client itself ends, this connection goes before its children do.
PresenterCollab *PresenterClient::makeChannel()
{
    auto *channel =
        new PresenterCollab(this, collabServerUrl, sessionCode, sessionToken, userToken);
    channel->setRobustTransport(robustTransport);
    channel->setTrustedCertificates(trustedCertificates);
    channel->setProxy(proxy);
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
        TARVO_LOG(rest, "ERROR: Failed to get collab server URL!");
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

// A failed join is not detected. Returns whether the operation goes on.
bool PresenterClient::joinSession()
{
    return post(JOIN_PATH, JOIN_BODY.arg(sessionCode, userId),
                &PresenterClient::sessionJoinResponse);
}

void PresenterClient::getCollabUrlResponse(QString body)
{
    JsonReply(body).read(QLatin1String("url"), &collabServerUrl);
}

void PresenterClient::getTenantFeatureDetailsResponse(QString body)
{
    const JsonReply reply(body);
    if (reply.isValid())
        sockJSProtocols = textsOf(reply.data(QLatin1String("sockJSProtocols")));
}

void PresenterClient::sessionStartSuccessResponse(QString body)
{
    JsonReply(body).read(QLatin1String("sessionToken"), &sessionToken);
}

void PresenterClient::sessionJoinResponse(QString body)
{
    JsonReply(body).read(QLatin1String("userToken"), &userToken);
}

void PresenterClient::setRobustTransport(bool robust)
{
    robustTransport = robust;
}

void PresenterClient::setSockJSOverrideProtocols(QStringList protocols)
{
    overrideSockJSProtocols = protocols;
}

// ---- Learners -------------------------------------------------------------------------------------

bool PresenterClient::doGetLearners()
{
    if (sessionToken.isNull()) {
        TARVO_LOG(rest, "[PresenterClient] No session to get users for!");
        return false;
    }
    return post(LEARNERS_PATH, TOKEN_BODY.arg(sessionToken), &PresenterClient::getLearnersResponse);
}

void PresenterClient::getLearnersResponse(QString body)
{
    const QJsonValue users = JsonReply(body).data(QLatin1String("users"));
    if (!users.isArray())
        return;

    learners.clear();
    const QJsonArray entries = users.toArray();
    for (const QJsonValue &entry : entries) {
        const QJsonObject user = entry.toObject();
        if (textOf(user.value(QLatin1String("mode"))) != LEARNER_MODE)
            continue;
        learners.append({textOf(user.value(QLatin1String("userToken"))),
                         textOf(user.value(QLatin1String("userName"))),
                         textOf(user.value(QLatin1String("deviceType")))});
    }
}

// ---- Stopping -------------------------------------------------------------------------------------

bool PresenterClient::doStopSession()
{
    stopConfirmed = false;
    wasStopEnded = false;
    if (sessionToken.isNull()) {
        TARVO_LOG(rest, "[PresenterClient] No session to stop!");
        return false;
    }

    // Made first: closing the channel reaches slots of the host, which may stop the session themselves.
    const QString body = TOKEN_BODY.arg(sessionToken);
    if (!closeChannel() || !postStop(body))
        return false;

    TARVO_LOG(rest, "[PresenterClient] Stopping session, closing websocket...");
    sessionToken.clear();
    sessionCode.clear();
    return true;
}

// The service drops what comes for a session that has stopped, and the channel's last word to the
// learners takes another way than the request that stops it, so that is waited for.
bool PresenterClient::closeChannel()
{
    const QPointer<PresenterCollab> channel(living);
    if (!channel)
        return true;
    const auto said = [&] { return !channel || !channel->hasUnsentMessages(); };
    return survives([&] {
        channel->close();
        Tarvo::Wait(QEventLoop::ExcludeUserInputEvents).until(said, LAST_WORD_WAIT_MS);
    });
}

bool PresenterClient::postStop(const QString &body)
{
    stopReply = send(QUrl(serverUrl + STOP_PATH), body.toUtf8(), nullptr, nullptr, false);
    bool goesOn = false;
    if (!survives([&] { goesOn = goesOnAfter(stopReply); }))
        return false;
    stopReply = nullptr;
    wasStopEnded = !goesOn;
    return true;
}
