#include "sockjs/SockJSXHRPollingWorker.h"

#include "sockjs/ResponseReader.h"
#include "support/Log.h"
#include "support/Utf8.h"

#include <QtCore/QAbstractEventDispatcher>
#include <QtCore/QCoreApplication>
#include <QtCore/QDeadlineTimer>
#include <QtCore/QEventLoop>
#include <QtCore/QTimer>
#include <QtNetwork/QSslSocket>

#include <utility>

using Tarvo::ResponseReader;

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

// A connection that was made again and is lost sooner than this is followed by a pause.
constexpr int SHORT_CONNECTION_MS = 1000;
constexpr int FIRST_PAUSE_MS = 250;
constexpr int LONGEST_PAUSE_MS = 5000;

// At load time, so that no connection can be made before the name is known.
void registerHeaderMap()
{
    qRegisterMetaType<QStringMap>("QStringMap");
}
Q_CONSTRUCTOR_FUNCTION(registerHeaderMap)

} // namespace

SockJSXHRPollingWorker::SockJSXHRPollingWorker(QObject *parent, QTcpSocket *socket, QString host,
                                               int port, bool ssl, bool keepAlive)
    : QObject(parent), host(host), port(port), ssl(ssl), keepAlive(keepAlive), socket(socket),
      reader(std::make_unique<ResponseReader>())
{
    registerHeaderMap();
}

SockJSXHRPollingWorker::~SockJSXHRPollingWorker() = default;

// ---- From any thread ----------------------------------------------------------------------------

bool SockJSXHRPollingWorker::queueRequest(XHRRequest *request)
{
    if (closing) {
        TARVO_LOG(sockjs, "[SockJSXHRPollingWorker] Async socket tx queue error: Socket closing!");
        return false;
    }
    if (!queueMutex.tryLock(MUTEX_WAIT_MS)) {
        TARVO_LOG(sockjs,
                  "[SockJSXHRPollingWorker] Async socket tx queue error: Failed to establish mutex "
                  "lock!");
        return false;
    }
    const bool accepted = txQueue.size() <= MAX_QUEUED_REQUESTS;
    if (accepted)
        txQueue.append(request);
    queueMutex.unlock();
    if (!accepted)
        TARVO_LOG(sockjs,
                  "[SockJSXHRPollingWorker] Async socket tx queue error: Too many items in queue!");
    return accepted;
}

void SockJSXHRPollingWorker::forceClose()
{
    const QMutexLocker lock(&sharedMutex);
    closing = true;
    closed.wakeAll();
    if (dispatcher)
        dispatcher->wakeUp();
}

QList<XHRRequest *> SockJSXHRPollingWorker::takeUnanswered()
{
    const QMutexLocker lock(&sharedMutex);
    return std::exchange(unanswered, {});
}

// ---- The loop -----------------------------------------------------------------------------------

void SockJSXHRPollingWorker::process()
{
    if (running)
        return;
    running = true;
    setDispatcher(QAbstractEventDispatcher::instance());
    forgetResponse();
    connect(socket, &QTcpSocket::readyRead, this, &SockJSXHRPollingWorker::wakeUp);
    connect(socket, &QTcpSocket::stateChanged, this, &SockJSXHRPollingWorker::wakeUp);
    connect(socket, &QTcpSocket::errorOccurred, this, &SockJSXHRPollingWorker::wakeUp);
    if (auto *tlsSocket = qobject_cast<QSslSocket *>(socket))
        connect(tlsSocket, &QSslSocket::encrypted, this, &SockJSXHRPollingWorker::wakeUp);

    while (turn() == Turn::CONTINUE) { }

    disconnect(socket, nullptr, this, nullptr);
    setDispatcher(nullptr);
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

void SockJSXHRPollingWorker::onNoData()
{
    if (!reader->hasPending()) {
        transmitNextRequest();
        return;
    }
    if (!receivedNothingForLong())
        return;
    // The first letters of a response that did not go on are a part of the body.
    reader->noteSilence();
    readResponses();
    if (reader->hasPending())
        clearBuffer();
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
    pauseAfterShortConnection();
    if (closing)
        return Turn::END;
    if (keepAlive)
        TARVO_LOG(sockjs,
                  "[SockJSXHRPollingWorker] Connection lost, attempting to re-establish...");
    if (connectToServer()) {
        retryCount = 0;
        sinceReconnected.start();
        forgetResponse();
        forgetRequests();
        Q_EMIT reconnected();
        return Turn::CONTINUE;
    }
    resetSocket();
    if (closing)
        return Turn::END;
    if (++retryCount > MAX_FAILED_RECONNECTIONS) {
        TARVO_LOG(sockjs, "[SockJSXHRPollingWorker] Connection attempts exceeded retry limit!");
        return Turn::END;
    }
    return Turn::CONTINUE;
}

// A server that takes connections and drops them would be asked thousands of times a second. Nothing
// of ours is lost by the pause: a request is written no sooner than a second after its connection.
void SockJSXHRPollingWorker::pauseAfterShortConnection()
{
    if (!sinceReconnected.isValid())
        return;
    const bool wasShort = sinceReconnected.elapsed() < SHORT_CONNECTION_MS;
    sinceReconnected.invalidate();
    pauseMs = wasShort ? qBound(FIRST_PAUSE_MS, 2 * pauseMs, LONGEST_PAUSE_MS) : 0;
    const QDeadlineTimer deadline(pauseMs);
    while (!closing && !deadline.hasExpired())
        sleep(int(qMin<qint64>(deadline.remainingTime(), READ_WAIT_MS)));
}

// Leaves the socket unconnected but open: the loop makes the connection again, where it would take a
// closed socket for the end.
void SockJSXHRPollingWorker::resetSocket()
{
    socket->abort();
    socket->open(QIODevice::ReadWrite);
}

// ---- Sleeping -----------------------------------------------------------------------------------

// So that forceClose() can wake the thread for as long as it has a dispatcher.
void SockJSXHRPollingWorker::setDispatcher(QAbstractEventDispatcher *ofThisThread)
{
    const QMutexLocker lock(&sharedMutex);
    dispatcher = ofThisThread;
}

// Sleeps until something happens on the socket or forceClose() is called, or until the time has
// passed, of which it returns true.
bool SockJSXHRPollingWorker::sleep(int timeoutMs)
{
    const QDeadlineTimer deadline(timeoutMs, Qt::PreciseTimer);
    woken = false;
    while (!woken && !closing && !deadline.hasExpired())
        waitForEvent(deadline);
    return !woken && !closing;
}

// Without an application object the toolkit delivers no event, so that a dispatcher would come back
// at once for data which nobody takes. Should the object go in the middle of a wait, the timer still
// ends that, though its event is dropped.
void SockJSXHRPollingWorker::waitForEvent(const QDeadlineTimer &deadline)
{
    QAbstractEventDispatcher *events = QAbstractEventDispatcher::instance();
    if (!events || !QCoreApplication::instance()) {
        const QMutexLocker lock(&sharedMutex);
        if (!closing)
            closed.wait(&sharedMutex, deadline);
        return;
    }
    QTimer timer;
    timer.setTimerType(Qt::PreciseTimer);
    timer.start(int(deadline.remainingTime()));
    events->processEvents(QEventLoop::WaitForMoreEvents);
}

void SockJSXHRPollingWorker::wakeUp()
{
    woken = true;
}

// ---- Reading responses --------------------------------------------------------------------------

void SockJSXHRPollingWorker::onData()
{
    if (receivedNothingForLong())
        reader->noteSilence();
    lastReceived = QDateTime::currentDateTimeUtc();
    reader->append(socket->readAll());
    readResponses();
}

bool SockJSXHRPollingWorker::receivedNothingForLong() const
{
    // Either way: the clock may have been set back.
    return qAbs(lastReceived.msecsTo(QDateTime::currentDateTimeUtc())) > INCOMPLETE_DATA_MS;
}

// Who closes the worker does not wait until all that has come is read.
void SockJSXHRPollingWorker::readResponses()
{
    while (!closing) {
        switch (reader->next(&message)) {
        case ResponseReader::Found::NOTHING_YET:
            return;
        case ResponseReader::Found::PIECE:
            break;
        case ResponseReader::Found::HEADER:
            onHeader();
            break;
        case ResponseReader::Found::BODY:
            deliverMessage();
            break;
        case ResponseReader::Found::TOO_MUCH:
            TARVO_LOG(sockjs,
                      "[SockJSXHRPollingWorker] Response too large, dropping the connection");
            resetSocket();
            forgetResponse();
            return;
        }
    }
}

void SockJSXHRPollingWorker::onHeader()
{
    message.clear();
    current = inFlight.isEmpty() ? nullptr : inFlight.takeFirst();
    if (!current) {
        reader->expectNothing();
        return;
    }
    const QStringMap headers = reader->headers();
    const auto transferEncoding = headers.constFind(QStringLiteral("Transfer-Encoding"));
    current->chunked = transferEncoding != headers.constEnd()
        && transferEncoding->endsWith(QLatin1String("chunked"));
    if (current->chunked)
        TARVO_LOG(sockjs, "[SockJSXHRPollingWorker] Detected transfer-encoding: chunked header");
    const auto contentLength = headers.constFind(QStringLiteral("Content-Length"));
    const bool hasLength = contentLength != headers.constEnd();
    if (hasLength)
        current->contentLength = contentLength->toInt();
    reader->expectBody(*current, hasLength);
    Q_EMIT receivedHeadersResponse(current, headers);
}

void SockJSXHRPollingWorker::deliverMessage()
{
    QByteArray bytes = message.toLatin1();
    if (bytes.endsWith('\n'))
        bytes.chop(1);
    message = QString();
    Q_EMIT receivedMessageResponse(current, Tarvo::wholeUtf8(bytes));
}

// The request keeps waiting.
void SockJSXHRPollingWorker::clearBuffer()
{
    TARVO_LOG(sockjs, "[SockJSXHRPollingWorker] Incoming data timeout, clearing buffer");
    TARVO_LOG(sockjs,
              "[SockJSXHRPollingWorker.BufferData] = ", Tarvo::wholeUtf8(reader->pending()));
    reader->dropPending();
}

void SockJSXHRPollingWorker::forgetResponse()
{
    reader->reset();
    current = nullptr;
    message = QString();
}

// No answer to what was written on a lost connection comes on another.
void SockJSXHRPollingWorker::forgetRequests()
{
    const QMutexLocker lock(&sharedMutex);
    unanswered += inFlight;
    inFlight.clear();
}

// ---- The parsers --------------------------------------------------------------------------------

int SockJSXHRPollingWorker::parseHttpHeaderResponse(QByteArray data, int *status,
                                                    QStringMap *headers)
{
    return ResponseReader::parseHttpHeaderResponse(data, status, headers);
}

int SockJSXHRPollingWorker::parseMessageResponse(QByteArray data, bool chunked, QString *message,
                                                 int expectedLength)
{
    return ResponseReader::parseMessageResponse(data, chunked, message, expectedLength);
}
