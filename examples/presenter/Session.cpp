#include "Session.h"

namespace Host
{

namespace
{

// The channel does not say when it is connected; it is asked.
constexpr int LOOK_MS = 20;
// A polling connection has its opening frame after one cycle, about 4 s.
constexpr int OPENING_MS = 20000;
// What the last messages get to leave this machine, however slow the network.
constexpr int GOODBYE_MS = 60000;

} // namespace

Session::Session(const Options &options, QObject *parent)
    : QObject(parent), m_options(options), m_client(nullptr, options.server.toString())
{
    m_lookTimer.setInterval(LOOK_MS);
    connect(&m_lookTimer, &QTimer::timeout, this, &Session::lookAtChannel);
}

std::optional<Failure> Session::start()
{
    if (!m_client.checkServer(QString(), QString()) || m_isInterrupted)
        return failure(Step::ReachService);
    if (!m_client.doLogin(m_options.user, m_options.password) || m_isInterrupted)
        return failure(Step::SignIn);
    if (!m_client.doStartSession(QString()) || m_isInterrupted)
        return failure(Step::StartSession);
    if (!m_options.transport.isEmpty())
        m_client.setSockJSOverrideProtocols({m_options.transport});
    PresenterCollab *channel = nullptr;
    if (!m_client.startWebsocket(&channel))
        return failure(Step::OpenChannel);

    m_channel = channel;
    noteTransport();
    if (m_transport.isEmpty()) // no transport could be started, and the channel tries no other
        return failure(Step::Connect);
    m_isChannelClosed = false;
    connect(channel, &PresenterCollab::connectionClosed, this, &Session::channelClosed);
    m_opening.start();
    m_lookTimer.start();
    return std::nullopt;
}

void Session::stop()
{
    m_isStopping = true;
    m_lookTimer.stop();
    m_client.doStopSession();
    m_client.doLogout();
    m_goodbye.start();
    m_lookTimer.start();
}

void Session::interrupt()
{
    m_isInterrupted = true;
    // While the client waits for a web socket, it has made the channel but not yet handed it over.
    // Closing the channel ends the wait, which has no limit of its own.
    if (!m_channel) {
        if (auto *channel = m_client.findChild<PresenterCollab *>())
            channel->close();
    }
}

// Kept, because a channel that is lost no longer tells what carried it. A web socket that ends before the
// session has opened is followed by polling, so it is asked again.
void Session::noteTransport()
{
    const QString transport = m_channel ? m_channel->getTransport() : QString();
    if (!transport.isEmpty())
        m_transport = transport;
}

void Session::lookAtChannel()
{
    noteTransport();
    if (m_isStopping) {
        const bool hasSaidAll = !m_channel || !m_channel->hasUnsentMessages();
        if ((hasSaidAll && m_isChannelClosed) || m_goodbye.hasExpired(GOODBYE_MS)) {
            m_lookTimer.stop();
            emit closed();
        }
    } else if (m_channel && m_channel->isConnected()) {
        m_lookTimer.stop();
        emit opened();
    } else if (m_opening.hasExpired(OPENING_MS)) {
        m_lookTimer.stop();
        emit failed(failure(Step::Connect));
    }
}

void Session::channelClosed()
{
    m_isChannelClosed = true;
    if (m_isStopping)
        return;
    const bool wasOpening = m_lookTimer.isActive();
    m_lookTimer.stop();
    emit failed(failure(wasOpening ? Step::Connect : Step::KeepChannel));
}

Failure Session::failure(Step step) const
{
    return {step, m_client.getLastErrorKey(), m_transport};
}

} // namespace Host
