#include "Session.h"

namespace Host
{

namespace
{

// The channel does not say when it is connected; it is asked.
constexpr int LOOK_MS = 20;
// The compatible transport alone may never open without a word; polling has its opening frame after
// one cycle, about 4 s. The robust one takes at most 15 s for each transport that it tries, and
// then says so.
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
    m_client.setRobustTransport(!m_options.compatibleTransport);
    PresenterCollab *channel = nullptr;
    if (!m_client.startWebsocket(&channel) || m_isInterrupted)
        return failure(Step::OpenChannel);

    m_channel = channel;
    noteTransport();
    // The compatible transport has been started by now, or nothing more will come of it. The robust one
    // has only begun, and says later when none could be opened.
    if (m_options.compatibleTransport && m_transport.isEmpty())
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
    // While the client waits for a web socket, which only the compatible transport lets it do, it
    // has made the channel but not yet handed it over. Closing the channel ends the wait, which has
    // no limit.
    if (!m_channel) {
        if (auto *channel = m_client.findChild<PresenterCollab *>())
            channel->close();
    }
}

// Kept, because a channel that is lost no longer tells what carried it. A transport that ends
// before the session has opened is followed by another, so it is asked again.
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
    } else if (m_options.compatibleTransport && m_opening.hasExpired(OPENING_MS)) {
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
    Failure failure{step, m_client.getLastErrorKey(), m_transport, 0, QString()};
    if (m_channel && !m_options.compatibleTransport) {
        failure.closeCode = m_channel->getCloseCode();
        failure.closeReason = m_channel->getCloseReason();
    }
    return failure;
}

} // namespace Host
