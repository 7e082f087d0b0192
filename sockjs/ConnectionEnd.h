#pragma once

// How a TCP connection has ended, which the toolkit does not tell: to it a reset is an orderly end,
// too.
//
// It holds on to the connection, so it must go as soon as the socket has.
class ConnectionEnd
{
public:
    // `descriptor` is that of a connected socket.
    explicit ConnectionEnd(int descriptor);
    ~ConnectionEnd();
    ConnectionEnd(const ConnectionEnd &) = delete;
    ConnectionEnd &operator=(const ConnectionEnd &) = delete;

    // The far end broke the connection off, and did not end it before. False when that is not
    // known.
    bool wasReset() const;

private:
    const int m_descriptor;
};
