#pragma once

#include <QtCore/QString>
#include <QtCore/QThread>

#include <atomic>

// A proxy on 127.0.0.1 in front of a service on this machine, which fails as networks and services do,
// as soon as it is told to. It runs on a thread of its own, so it goes on while the test's is busy or
// stands still.
class OutageProxy
{
public:
    enum Mode {
        Pass,
        Restart,    // connections are closed in order, new ones refused
        Reset,      // connections are reset, new ones, too
        Stall,      // nothing goes through; what waits is delivered afterwards
        Mute,       // connections carry nothing any more, also afterwards, and stay open
        BadGateway, // connections are closed in order; on new ones each request is answered with 502
        NoWebSockets, // connections are closed in order, new ones that ask for a web socket, too
        NameGone      // as Restart, and the name in url() is not known
    };

    explicit OutageProxy(quint16 service);
    ~OutageProxy();
    Q_DISABLE_COPY_MOVE(OutageProxy)

    quint16 port() const { return m_port; }
    // By a name that only this program knows.
    QString url() const;

    // Returns when it is so.
    void setMode(Mode mode);
    // How long what the service says is under way.
    void delayReplies(int ms);
    // How many have been made so far.
    int connections() const { return m_connections; }

private:
    class Gate;
    class Link;
    class Lane;

    QThread m_thread;
    std::atomic<int> m_connections{0};
    Gate *m_gate; // lives on the thread
    quint16 m_port = 0;
};
