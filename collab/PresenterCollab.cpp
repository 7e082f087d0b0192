// The channel itself: opening, closing, keeping alive, publishing. Polls and cards have files of
// their own.
#include "collab/PresenterCollab.h"

#include "collab/Addresses.h"
#include "collab/CollaborationMessageHandler.h"
#include "collab/MessageTemplates.h"
#include "collab/TarvoCollabMessage.h"
#include "compression/Lzma.h"
#include "model/JsonSerializer.h"
#include "sockjs/SockJSConnector.h"
#include "support/Http.h"
#include "support/Log.h"

#include <QtCore/QUrl>

using namespace Tarvo;

namespace
{

const QLatin1String TYPE_DISCONNECT("disconnect");
const QLatin1String TYPE_PAUSE("pause");
const QLatin1String TYPE_RESUME("resume");
const QLatin1String TYPE_HEAVY("heavy");

// The payload of "disconnect": a JSON empty string.
const QLatin1String EMPTY_DATA("\"\"");

} // namespace

PresenterCollab::PresenterCollab(QObject *parent, QString serverUrl, QString sessionCode,
                                 QString sessionToken, QString userToken)
    : QObject(parent), serverUrl(std::move(serverUrl)), sessionCode(std::move(sessionCode)),
      sessionToken(std::move(sessionToken)), userToken(std::move(userToken)),
      connector(new SockJSConnector(this)), m_messageHandler(new CollaborationMessageHandler(this))
{
    using Handler = CollaborationMessageHandler;

    connect(connector, &SockJSConnector::connected, this, &PresenterCollab::onConnected);
    connect(connector, &SockJSConnector::closed, this, &PresenterCollab::onClosed);
    connect(connector, &SockJSConnector::sockJSMessage, m_messageHandler,
            &Handler::onHandleMessage);

    const auto relay = [this](auto from, auto to) { connect(m_messageHandler, from, this, to); };
    relay(&Handler::learnerPollResponse, &PresenterCollab::learnerPollResponse);
    relay(&Handler::learnerJoin, &PresenterCollab::learnerJoin);
    relay(&Handler::learnerUnregister, &PresenterCollab::learnerUnregister);
    relay(&Handler::controllerRegister, &PresenterCollab::controllerRegister);
    relay(&Handler::remoteControl, &PresenterCollab::remoteControl);
    relay(&Handler::unhandledMessage, &PresenterCollab::unhandledMessage);

    connect(&pingTimer, &QTimer::timeout, this, &PresenterCollab::onPingTimer);
}

PresenterCollab::~PresenterCollab() = default;

// ---- Settings ------------------------------------------------------------------------------------

void PresenterCollab::setRobustTransport(bool robust)
{
    connector->setRobustTransport(robust);
}

void PresenterCollab::setPingInterval(int ms)
{
    pingIntervalMs = ms;
    if (isConnected())
        startPings();
}

void PresenterCollab::setHeartbeatTimeout(int ms)
{
    connector->setHeartbeatTimeout(ms);
}

void PresenterCollab::setSilenceTimeout(int ms)
{
    connector->setSilenceTimeout(ms);
}

void PresenterCollab::setTrustedCertificates(const QList<QSslCertificate> &certificates)
{
    connector->setTrustedCertificates(certificates);
}

void PresenterCollab::setProxy(const QNetworkProxy &proxy)
{
    connector->setProxy(proxy);
}

void PresenterCollab::probe(int timeoutMs)
{
    connector->probe(PING_MESSAGE, timeoutMs);
}

// ---- Opening and closing -------------------------------------------------------------------------

void PresenterCollab::open(QStringList protocols)
{
    TARVO_LOG(channel, "Connecting to collaboration server: ", withoutUserInfo(serverUrl), " [",
              protocols.join(QLatin1String(", ")), "]");

    const auto known = SockJSConnector::PROTOCOL_TYPE_STR();
    const auto none = SockJSConnector::PROTOCOL_TYPE(0);
    QList<SockJSConnector::PROTOCOL_TYPE> transports;
    for (const QString &name : qAsConst(protocols)) {
        const auto transport = known.key(name, none);
        if (transport != none)
            transports.append(transport);
    }
    if (transports.isEmpty()) {
        TARVO_LOG(sockjs, "[SockJSConnector] No protocols specified. Using defaults.");
        transports = known.keys();
    }
    connector->open(QUrl(serverUrl), transports);
}

void PresenterCollab::open()
{
    TARVO_LOG(channel,
              "Connecting to collaboration server (default): ", withoutUserInfo(serverUrl));
    connector->open(QUrl(serverUrl), SockJSConnector::PROTOCOL_TYPE_STR().keys());
}

void PresenterCollab::close()
{
    publishMessage(sessionToken, TYPE_DISCONNECT, EMPTY_DATA);
    pingTimer.stop();
    connector->close(); // the host may delete this object in connectionClosed()
}

void PresenterCollab::onConnected()
{
    const QString presenter = sessionToken + Address::PRESENTER;
    for (const QString &address :
         {sessionToken, presenter, presenter + Address::RELATIVE_MARK + userToken})
        connector->sendMessage(filled(REGISTER_MESSAGE, address), false);
    startPings();
}

void PresenterCollab::startPings()
{
    if (pingIntervalMs > 0)
        pingTimer.start(pingIntervalMs);
    else
        pingTimer.stop();
}

void PresenterCollab::onClosed(bool bClosedForInactivity)
{
    pingTimer.stop();
    Q_EMIT connectionClosed(bClosedForInactivity);
}

void PresenterCollab::onPingTimer()
{
    sendPing();
}

void PresenterCollab::sendPing()
{
    connector->sendMessage(PING_MESSAGE, true);
}

// ---- Publishing ----------------------------------------------------------------------------------

QString PresenterCollab::fullAddress(const QString &address) const
{
    return address.startsWith(Address::RELATIVE_MARK) ? sessionToken + address : address;
}

void PresenterCollab::publishMessage(QString address, TarvoCollabMessage *message)
{
    if (!message) {
        TARVO_LOG(channel, "[PresenterCollab] No message to send!");
        return;
    }
    message->setfrom(userToken);
    message->compileData();
    const QString body = JsonSerializer::serializeToJson(message);
    const QString text = filled(PUBLISH_MESSAGE_3, fullAddress(address), body);
    TARVO_LOG(channel, "TRANSMIT: ", text);
    connector->sendMessage(text, false);
}

void PresenterCollab::publishMessage(QString address, QString type, QString data)
{
    publishMessage64(address, type, data);
}

void PresenterCollab::publishMessage64(QString address, QString type, QString data)
{
    if (!connector->isConnected()) {
        TARVO_LOG(channel, "[PresenterCollab] SockJS socket not connected!");
        return;
    }
    QString compressed;
    Lzma::compress64(data, &compressed);
    const QString text =
        filled(PUBLISH_MESSAGE64, fullAddress(address), userToken, type, compressed);
    connector->sendMessage(text, false);
}

// ---- The session's devices -----------------------------------------------------------------------

void PresenterCollab::removeLearner(QString deviceId)
{
    publishMessage(Address::USER + deviceId, TYPE_DISCONNECT, EMPTY_DATA);
    Q_EMIT learnerUnregister(deviceId);
}

void PresenterCollab::pausePoll()
{
    publishMessage(sessionToken, TYPE_PAUSE, filled(PLAIN_DATA, currentPollId));
}

void PresenterCollab::resumePoll()
{
    publishMessage(sessionToken, TYPE_RESUME, filled(PLAIN_DATA, currentPollId));
}

void PresenterCollab::sendHeavy()
{
    // Unfilled on purpose: the payload is the text "%0".
    publishMessage(Address::LEARNER, TYPE_HEAVY, PLAIN_DATA);
}

// ---- What the channel knows ----------------------------------------------------------------------

bool PresenterCollab::isConnected() const
{
    return connector->isConnected();
}

QString PresenterCollab::getTransport() const
{
    return connector->getTransport();
}

int PresenterCollab::getCloseCode() const
{
    return connector->getCloseCode();
}

QString PresenterCollab::getCloseReason() const
{
    return connector->getCloseReason();
}

bool PresenterCollab::hasUnsentMessages() const
{
    return connector->isSending();
}
