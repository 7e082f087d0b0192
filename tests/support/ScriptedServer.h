#pragma once

#include "support/TestCertificates.h"

#include <QtCore/QByteArray>
#include <QtCore/QList>
#include <QtCore/QMutex>
#include <QtCore/QString>
#include <QtCore/QThread>
#include <QtCore/QVector>

#include <atomic>
#include <memory>

// A far end that says and hears exactly what a test wrote down, over TCP or TLS, on 127.0.0.1 and on
// threads of its own (so it also answers a test that blocks).
//
//   using namespace Scripted;
//   ScriptedServer server;
//   server.onConnection({expectRequest(), send("HTTP/1.1 200 OK\r\nContent-Le"), pause(50),
//                        send("ngth: 2\r\n\r\n{}"), close()});
//   server.onConnection({expect("GET / HTTP/1.1\r\n\r\n"), close()});   // the second connection
//   QVERIFY(server.listen());
//   ... use server.port() ...
//   QVERIFY2(server.finished(), qPrintable(server.failure()));
//   QCOMPARE(server.received(0), QByteArray("POST ..."));
//
// A connection beyond the scripted ones, bytes other than the expected ones, or a script that waits
// longer than its deadline make `failure()` say what happened and close the connection. A script
// that has run to its end keeps the connection open until the server goes; say close() to close.
namespace Scripted
{

struct Step {
    enum Kind {
        Expect,        // exactly these bytes come next
        ExpectRequest, // a whole HTTP request comes next: header, and as many bytes as it announces
        ExpectMatch,   // bytes come until these have been seen
        ExpectEnd,     // the other side closes
        Send,          // these bytes, in one piece
        SendBytewise,  // these bytes, each in a packet of its own
        Pause,         // for so many milliseconds
        Close,         // in order, after what was sent
        Abort,         // at once, as a reset
        StartTls, // the handshake of a TLS server (a TLS server's script begins with it unsaid)
    };
    Kind kind;
    QByteArray bytes;
    int ms = 0;
};
using Script = QVector<Step>;

inline Step expect(const QByteArray &bytes)
{
    return {Step::Expect, bytes};
}
inline Step expectRequest()
{
    return {Step::ExpectRequest, {}};
}
inline Step expectMatch(const QByteArray &bytes)
{
    return {Step::ExpectMatch, bytes};
}
inline Step expectEnd()
{
    return {Step::ExpectEnd, {}};
}
inline Step send(const QByteArray &bytes)
{
    return {Step::Send, bytes};
}
inline Step sendBytewise(const QByteArray &bytes)
{
    return {Step::SendBytewise, bytes};
}
inline Step pause(int ms)
{
    return {Step::Pause, {}, ms};
}
inline Step close()
{
    return {Step::Close, {}};
}
inline Step abort()
{
    return {Step::Abort, {}};
}
inline Step startTls()
{
    return {Step::StartTls, {}};
}

// An HTTP reply with a body of known length.
QByteArray reply(const QByteArray &body, const QByteArray &status = "200 OK",
                 const QByteArray &furtherHeaders = QByteArray());

} // namespace Scripted

class ScriptedServer
{
public:
    ScriptedServer();
    ~ScriptedServer();
    ScriptedServer(const ScriptedServer &) = delete;
    ScriptedServer &operator=(const ScriptedServer &) = delete;

    // Scripts are handed to the connections in the order in which they are made.
    void onConnection(const Scripted::Script &script);
    // Every connection that has no script of its own gets this one.
    void onEveryOther(const Scripted::Script &script);
    // Before listen(): speak TLS with this certificate. With `plainFirst`, a script starts the
    // handshake itself with startTls() (or never does).
    void setCertificate(const TestCertificates::Identity &identity, bool plainFirst = false);
    // How long one step may wait for the other side.
    void setDeadline(int ms) { m_deadlineMs = ms; }

    bool listen(quint16 port = 0);
    quint16 port() const { return m_port; }
    // Stops listening and drops every connection; listen(port()) takes up again.
    void stop();

    // Waits until every script has run to its end; false on a failure or after the deadline.
    bool finished();
    QString failure() const;

    int connectionCount() const;
    // Whatever has come in on a connection, decrypted; and its HTTP requests, one by one.
    QByteArray received(int connection) const;
    QList<QByteArray> requests(int connection) const;
    // All requests of all connections, in the order in which they were read.
    QList<QByteArray> requests() const;

private:
    struct Shared;
    class Listener;
    class Conversation;

    std::shared_ptr<Shared> m_shared;
    std::unique_ptr<Listener> m_listener;
    quint16 m_port = 0;
    int m_deadlineMs = 20000;
};
