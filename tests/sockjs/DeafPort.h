#pragma once

#include <QtCore/QtGlobal>

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

// A port whose queue of connections is full, so that a further one gets no answer at all.
class DeafPort
{
public:
    DeafPort() : m_listener(::socket(AF_INET, SOCK_STREAM, 0))
    {
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        if (::bind(m_listener, reinterpret_cast<sockaddr *>(&address), length) != 0)
            qFatal("no deaf port");
        ::listen(m_listener, 0);
        ::getsockname(m_listener, reinterpret_cast<sockaddr *>(&address), &length);
        m_port = ntohs(address.sin_port);
        for (int &client : m_clients) {
            client = ::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0);
            (void)::connect(client, reinterpret_cast<sockaddr *>(&address), length);
        }
    }
    ~DeafPort()
    {
        for (const int client : m_clients)
            ::close(client);
        ::close(m_listener);
    }
    DeafPort(const DeafPort &) = delete;
    DeafPort &operator=(const DeafPort &) = delete;
    quint16 port() const { return m_port; }

private:
    int m_listener;
    int m_clients[4] = {};
    quint16 m_port = 0;
};
