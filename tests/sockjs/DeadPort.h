#pragma once

#include <QtNetwork/QHostAddress>
#include <QtNetwork/QTcpSocket>

// A port of this machine that refuses connections for as long as the object lives: taken, but nobody
// listens on it.
class DeadPort
{
public:
    DeadPort() { m_socket.bind(QHostAddress(QHostAddress::LocalHost)); }
    operator quint16() const { return m_socket.localPort(); }

private:
    QTcpSocket m_socket;
};
