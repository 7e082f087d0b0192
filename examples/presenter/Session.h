#pragma once

#include "Failure.h"
#include "Options.h"

#include "client/PresenterClient.h"
#include "collab/PresenterCollab.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QObject>
#include <QtCore/QPointer>
#include <QtCore/QTimer>

#include <optional>

namespace Host
{

// One class session from sign-in to stop: owns the client and, through it, the channel.
class Session : public QObject
{
    Q_OBJECT

public:
    explicit Session(const Options &options, QObject *parent = nullptr);

    // Signs in and starts the session; waits for the service, at most 10 s a request, while the event
    // loop turns. Returns what failed; when nothing did, opened() or failed() follows.
    std::optional<Failure> start();
    // Ends the session and signs out; waits in the same way. closed() follows when the last messages
    // have left.
    void stop();
    // Makes a start() that is waiting come back.
    void interrupt();

    bool isInterrupted() const { return m_isInterrupted; }
    PresenterClient &client() { return m_client; }
    // Null before start() and when it failed.
    PresenterCollab *channel() const { return m_channel; }
    // Which carries the channel, or carried it last; empty before one was up.
    QString transport() const { return m_transport; }

Q_SIGNALS:
    void opened();                             // messages flow
    void failed(const Host::Failure &failure); // not opened in time, or lost later
    void closed();                             // after stop()

private:
    void noteTransport();
    void lookAtChannel();
    void channelClosed();
    Failure failure(Step step) const;

    const Options m_options;
    PresenterClient m_client;
    QPointer<PresenterCollab> m_channel; // a child of the client
    QString m_transport;
    QTimer m_lookTimer; // runs while the channel opens, and while it says goodbye
    QElapsedTimer m_opening;
    QElapsedTimer m_goodbye;
    bool m_isChannelClosed = true; // or not open yet
    bool m_isStopping = false;
    bool m_isInterrupted = false;
};

} // namespace Host
