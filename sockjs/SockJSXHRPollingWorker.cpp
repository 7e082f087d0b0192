#include "sockjs/SockJSXHRPollingWorker.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QDeadlineTimer>
#include <QtCore/QDebug>
#include <QtCore/QEvent>
#include <QtCore/QEventLoop>
#include <QtCore/QScopedValueRollback>
#include <QtCore/QTimer>
#include <QtNetwork/QSslSocket>

namespace
{

constexpr int CONNECT_WAIT_MS = 30000;
constexpr int READ_WAIT_MS = 1000;
constexpr int MUTEX_WAIT_MS = 1000;
// Data that is not yet a whole header or chunk is given up after this pause.
constexpr int INCOMPLETE_DATA_MS = 2000;
constexpr int MAX_FAILED_RECONNECTIONS = 10;
// Tested before a request is added, so that the queue holds at most one more.
constexpr int MAX_QUEUED_REQUESTS = 50;

// At load time, so that no connection can be made before the name is known.
void registerHeaderMap()
{
    qRegisterMetaType<QStringMap>("QStringMap");
}
Q_CONSTRUCTOR_FUNCTION(registerHeaderMap)

QDebug debug()
{
    return qDebug().noquote() << "[SockJSXHRPollingWorker]";
}

} // namespace

SockJSXHRPollingWorker::SockJSXHRPollingWorker(QObject *parent, QTcpSocket *socket, QString host,
                                               int port, bool ssl, bool keepAlive)
    : QObject(parent), host(host), port(port), ssl(ssl), keepAlive(keepAlive), socket(socket)
{
    registerHeaderMap();
}

SockJSXHRPollingWorker::~SockJSXHRPollingWorker() = default;

// ---- Connecting ---------------------------------------------------------------------------------

bool SockJSXHRPollingWorker::connectToServer()
{
    auto *tlsSocket = qobject_cast<QSslSocket *>(socket);
    if (ssl)
        tlsSocket->connectToHostEncrypted(host, quint16(port));
    else
        socket->connectToHost(host, quint16(port));

    // Inside the loop the wait must be one that forceClose() can end.
    if (running)
        return waitForConnection();
    return ssl ? tlsSocket->waitForEncrypted(CONNECT_WAIT_MS)
               : socket->waitForConnected(CONNECT_WAIT_MS);
}

bool SockJSXHRPollingWorker::isEstablished() const
{
    return ssl ? qobject_cast<QSslSocket *>(socket)->isEncrypted()
               : socket->state() == QAbstractSocket::ConnectedState;
}

bool SockJSXHRPollingWorker::waitForConnection()
{
    const QDeadlineTimer deadline(CONNECT_WAIT_MS);
    while (!isEstablished()) {
        if (closing || deadline.hasExpired()
            || socket->state() == QAbstractSocket::UnconnectedState)
            return false;
        sleep(int(deadline.remainingTime()));
    }
    return true;
}

SockJSXHRPollingWorker::Turn SockJSXHRPollingWorker::reconnect()
{
    if (keepAlive)
        debug() << "Connection lost, attempting to re-establish...";
    if (connectToServer()) {
        retryCount = 0;
        forgetResponse();
        lastOfOldConnection = lastWritten;
        Q_EMIT reconnected();
        return Turn::CONTINUE;
    }
    resetSocket();
    if (closing)
        return Turn::END;
    if (++retryCount > MAX_FAILED_RECONNECTIONS) {
        debug() << "Connection attempts exceeded retry limit!";
        return Turn::END;
    }
    return Turn::CONTINUE;
}

// Leaves the socket unconnected but open: the loop makes the connection again, where it would take a
// closed socket for the end.
void SockJSXHRPollingWorker::resetSocket()
{
    socket->abort();
    socket->open(QIODevice::ReadWrite);
}

// ---- The queue ----------------------------------------------------------------------------------

bool SockJSXHRPollingWorker::queueRequest(XHRRequest *request)
{
    if (closing) {
        debug() << "Async socket tx queue error: Socket closing!";
        return false;
    }
    if (!queueMutex.tryLock(MUTEX_WAIT_MS)) {
        debug() << "Async socket tx queue error: Failed to establish mutex lock!";
        return false;
    }
    const bool accepted = txQueue.size() <= MAX_QUEUED_REQUESTS;
    if (accepted)
        txQueue.append(request);
    queueMutex.unlock();
    if (!accepted)
        debug() << "Async socket tx queue error: Too many items in queue!";
    return accepted;
}

void SockJSXHRPollingWorker::transmitNextRequest()
{
    if (!queueMutex.tryLock(MUTEX_WAIT_MS))
        return;
    XHRRequest *request = txQueue.isEmpty() ? nullptr : txQueue.takeFirst();
    queueMutex.unlock();
    if (!request)
        return;
    if (!request->payload().isNull())
        socket->write(request->payload().toUtf8());
    inFlight.append(request);
    lastWritten = request->requestId();
}

// ---- The loop -----------------------------------------------------------------------------------

void SockJSXHRPollingWorker::process()
{
    if (running)
        return;
    running = true;
    forgetResponse();
    connect(socket, &QTcpSocket::readyRead, this, &SockJSXHRPollingWorker::wakeUp);
    connect(socket, &QTcpSocket::stateChanged, this, &SockJSXHRPollingWorker::wakeUp);
    connect(socket, &QTcpSocket::errorOccurred, this, &SockJSXHRPollingWorker::wakeUp);
    if (auto *tlsSocket = qobject_cast<QSslSocket *>(socket))
        connect(tlsSocket, &QSslSocket::encrypted, this, &SockJSXHRPollingWorker::wakeUp);

    while (turn() == Turn::CONTINUE) { }

    disconnect(socket, nullptr, this, nullptr);
    running = false;
    Q_EMIT finished();
}

SockJSXHRPollingWorker::Turn SockJSXHRPollingWorker::turn()
{
    if (closing || (keepAlive && !socket->isOpen()))
        return Turn::END;
    bool waitedInVain = false;
    // What a server said before it closed the connection is read first.
    if (socket->bytesAvailable() == 0) {
        if (socket->state() == QAbstractSocket::UnconnectedState)
            return reconnect();
        if (socket->state() != QAbstractSocket::ConnectedState) {
            settle();
            return Turn::CONTINUE;
        }
        waitedInVain = sleep(READ_WAIT_MS);
    }
    if (socket->bytesAvailable() > 0)
        onData();
    else if (waitedInVain)
        onNoData();
    return Turn::CONTINUE;
}

// Sleeps until something happens on the socket or forceClose() is called, or until the time has
// passed, of which it returns true.
bool SockJSXHRPollingWorker::sleep(int timeoutMs)
{
    QEventLoop loop;
    QTimer timer;
    timer.setSingleShot(true);
    timer.setTimerType(Qt::PreciseTimer);
    connect(&timer, &QTimer::timeout, &loop, &QEventLoop::quit);
    timer.start(timeoutMs);
    const QScopedValueRollback<QEventLoop *> restore(sleeping, &loop);
    loop.exec();
    return !timer.isActive();
}

void SockJSXHRPollingWorker::wakeUp()
{
    if (sleeping)
        sleeping->quit();
}

bool SockJSXHRPollingWorker::isForThisConnection(const XHRRequest &request) const
{
    return request.requestId() - lastOfOldConnection > 0;
}

void SockJSXHRPollingWorker::forceClose()
{
    closing = true;
    QCoreApplication::postEvent(this, new QEvent(QEvent::User));
}

void SockJSXHRPollingWorker::customEvent(QEvent *)
{
    wakeUp();
}

// A socket on its way from connected to unconnected still tries to write what it holds. A peer that
// takes nothing more must not hold up the loop.
void SockJSXHRPollingWorker::settle()
{
    const QAbstractSocket::SocketState before = socket->state();
    sleep(READ_WAIT_MS);
    if (socket->state() == before && !closing)
        resetSocket();
}

bool SockJSXHRPollingWorker::receivedNothingForLong() const
{
    // Either way: the clock may have been set back.
    return qAbs(lastReceived.msecsTo(QDateTime::currentDateTimeUtc())) > INCOMPLETE_DATA_MS;
}

void SockJSXHRPollingWorker::onNoData()
{
    if (!buffer.isEmpty()) {
        if (!receivedNothingForLong())
            return;
        // The first letters of a response that did not go on are a part of the body.
        if (resumedAt >= 0) {
            resumedAt = -1;
            parseBuffer();
        }
        if (!buffer.isEmpty())
            clearBuffer();
        return;
    }
    if (socket->state() == QAbstractSocket::ConnectedState)
        transmitNextRequest();
}
