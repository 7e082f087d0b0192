#include "sockjs/ConnectionEnd.h"

#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

ConnectionEnd::ConnectionEnd(int descriptor) : m_descriptor(::fcntl(descriptor, F_DUPFD_CLOEXEC, 0))
{
}

ConnectionEnd::~ConnectionEnd()
{
    if (m_descriptor >= 0)
        ::close(m_descriptor);
}

// An ended connection waits for our own end; a reset one is closed. A reset may also follow an
// orderly end, as the answer to a request that crossed it: reading finds that end first, and leaves
// the error of the reset where it is. Reading that finds a reset takes its error away.
bool ConnectionEnd::wasReset() const
{
    tcp_info info = {};
    socklen_t size = sizeof info;
    if (::getsockopt(m_descriptor, IPPROTO_TCP, TCP_INFO, &info, &size) != 0
        || info.tcpi_state != TCP_CLOSE)
        return false;
    int error = 0;
    size = sizeof error;
    return ::getsockopt(m_descriptor, SOL_SOCKET, SO_ERROR, &error, &size) == 0 && error == 0;
}
