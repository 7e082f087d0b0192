#include "sockjs/ConnectionEnd.h"

#include <QtTest/QtTest>

#include <arpa/inet.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>

// How connections have ended, each with the system's own sockets.
class tst_ConnectionEnd : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void endInOrderIsNoReset();
    void resetIsOne();
    void resetBehindAnEndInOrderIsNone();
    void connectionThatIsNoneWasNotReset();
};

namespace
{

// A connection of this machine with itself.
class Connection
{
public:
    Connection()
    {
        const int listener = ::socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        auto *anyAddress = reinterpret_cast<sockaddr *>(&address);
        socklen_t size = sizeof address;
        near = ::socket(AF_INET, SOCK_STREAM, 0);
        if (::bind(listener, anyAddress, size) != 0 || ::listen(listener, 1) != 0
            || ::getsockname(listener, anyAddress, &size) != 0
            || ::connect(near, anyAddress, size) != 0)
            qFatal("no connection: %s", std::strerror(errno));
        far = ::accept(listener, nullptr, nullptr);
        ::close(listener);
    }
    ~Connection()
    {
        ::close(near);
        endFar();
    }
    Connection(const Connection &) = delete;
    Connection &operator=(const Connection &) = delete;

    void resetFar()
    {
        const linger atOnce = {1, 0};
        ::setsockopt(far, SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
        endFar();
    }
    void endFar()
    {
        if (far >= 0)
            ::close(far);
        far = -1;
    }
    // What reading gives once there is something: how many bytes, 0 for an end in order.
    int read() const
    {
        char byte;
        return int(::recv(near, &byte, 1, 0));
    }

    // By a reset, whatever has been read.
    bool isGone() const
    {
        tcp_info info = {};
        socklen_t size = sizeof info;
        return ::getsockopt(near, IPPROTO_TCP, TCP_INFO, &info, &size) == 0
            && info.tcpi_state == TCP_CLOSE;
    }

    int near = -1;
    int far = -1;
};

} // namespace

void tst_ConnectionEnd::endInOrderIsNoReset()
{
    Connection connection;
    const ConnectionEnd end(connection.near);
    QVERIFY(!end.wasReset());
    connection.endFar();
    QCOMPARE(connection.read(), 0);
    QVERIFY(!end.wasReset());
}

void tst_ConnectionEnd::resetIsOne()
{
    Connection connection;
    const ConnectionEnd end(connection.near);
    connection.resetFar();
    QCOMPARE(connection.read(), -1);
    QVERIFY(end.wasReset());
}

// A far end that has gone answers what is sent to it with a reset.
void tst_ConnectionEnd::resetBehindAnEndInOrderIsNone()
{
    Connection connection;
    const ConnectionEnd end(connection.near);
    connection.endFar();
    QCOMPARE(connection.read(), 0);
    QCOMPARE(int(::send(connection.near, "x", 1, MSG_NOSIGNAL)), 1);
    QTRY_VERIFY(connection.isGone());
    QVERIFY(!end.wasReset());
}

// As when the system has no descriptor left for it.
void tst_ConnectionEnd::connectionThatIsNoneWasNotReset()
{
    const ConnectionEnd end(-1);
    QVERIFY(!end.wasReset());
}

QTEST_GUILESS_MAIN(tst_ConnectionEnd)
#include "tst_connectionend.moc"
