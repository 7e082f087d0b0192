#pragma once

#include "sockjs/XHRRequest.h"
#include "support/Export.h"

#include <QtCore/QByteArray>
#include <QtCore/QDateTime>
#include <QtCore/QElapsedTimer>
#include <QtCore/QList>
#include <QtCore/QMutex>
#include <QtCore/QObject>
#include <QtCore/QString>
#include <QtCore/QWaitCondition>

#include <atomic>
#include <memory>

class QAbstractEventDispatcher;
class QDeadlineTimer;
class QTcpSocket;

namespace Tarvo
{
class ResponseReader;
}

/// The receiving half of the XHR transport: an HTTP/1.1 client written by hand over one TCP or TLS
/// socket, on a thread of its own.
///
/// **Life.** The transport makes the socket and the worker, lets the worker connect, moves both to a
/// thread and starts it; the thread runs `process()`, which loops until the worker ends: `forceClose()`
/// was called, the socket was closed from this side, or reconnecting failed too often. Each end emits
/// `finished()` once.
///
/// **The loop.** One turn a second while nothing arrives. A turn without data writes the oldest
/// queued request; a turn with data splits what has come into headers and bodies and reports them. A
/// connection that is lost is made again within the turn; when that one lasts less than 1,000 ms, the
/// worker pauses before the next: for 250 ms, then twice as long each time in a row, at most for
/// 5,000 ms. The worker sleeps in between and is woken early only by the socket and by `forceClose()`.
/// Once the application object is gone the toolkit delivers nothing, so that nothing is received;
/// `forceClose()` ends the worker as before.
///
/// **Errors.** HTTP status codes are not read: the body of an error response is delivered like any
/// other. A peer that sends a body of more than 16 MiB, or a header block or the size line of a chunk
/// of more than 64 KiB, loses the connection, with a debug line; it is then made again.
///
/// Requests belong to the transport; the worker never frees one. When it reports the header of a
/// response, it is done with the request before. `takeUnanswered()` hands back those whose response had
/// not begun when their connection was lost.
class TARVOCLIENT_EXPORT SockJSXHRPollingWorker : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(SockJSXHRPollingWorker)

public:
    /// A worker that will speak to `host`:`port` over `socket` (a QSslSocket when `ssl`). The socket
    /// stays the caller's and must live as long as the worker runs. With `keepAlive` a socket that is
    /// no longer open ends the worker; without, it is connected again.
    SockJSXHRPollingWorker(QObject *parent, QTcpSocket *socket, QString host, int port, bool ssl,
                           bool keepAlive);
    ~SockJSXHRPollingWorker() override;

    /// Connects the socket, with TLS when the worker was made so, and waits for it up to 30,000 ms.
    /// Called before `process()` runs, it blocks the calling thread.
    bool connectToServer();

    // ---- From any thread ---------------------------------------------------------------------------

    /// Puts a request at the end of the queue. Waits up to 1,000 ms for the queue's mutex. False,
    /// with a debug line, when the worker is closing, the mutex was not to be had or 51 requests
    /// wait already; the request is then not kept.
    bool queueRequest(XHRRequest *request);
    /// Ends `process()`, at once when it waits for the network. `finished()` follows from its thread.
    void forceClose();
    /// The requests that were written to connections which were lost before the response's header
    /// came, each once. The worker has forgotten them when it emits `reconnected()`, and reports
    /// nothing of them any more; the caller may free them.
    QList<XHRRequest *> takeUnanswered();

    // ---- On the worker's thread --------------------------------------------------------------------

    /// Writes the oldest queued request. Skips the turn when the queue's mutex is not to be had
    /// within 1,000 ms, or the queue is empty.
    void transmitNextRequest();

    /// Reads the first header block in `data`, wherever "HTTP/" stands in it. Sets `status` to 200,
    /// whatever the status line says, or to -1 when there is no header. Returns the position behind
    /// the empty line that ends the block, or the end of the data when that line is missing, or 0
    /// when there is no header. Values keep the space that follows the colon.
    int parseHttpHeaderResponse(QByteArray data, int *status, QStringMap *headers);
    /// Reads body bytes off the front of `data` and appends them to `message`, one character a byte:
    /// one chunk of a chunked body; else `expectedLength` bytes, or all of them when that is 1 or
    /// less. Returns the number of bytes used, 0 when more are needed, -1 at the end of a chunked
    /// body. (A chunk of a single byte counts as the end too: the server never sends one.)
    int parseMessageResponse(QByteArray data, bool chunked, QString *message, int expectedLength);

Q_SIGNALS:
    /// `process()` has ended, for good.
    void finished();
    /// A lost connection stands again. What was half read on the old one is forgotten, and so are
    /// the requests that were not answered on it: see `takeUnanswered()`.
    void reconnected();
    /// The header of the response to `request` has come.
    void receivedHeadersResponse(XHRRequest *request, QStringMap headers);
    /// A body has come whole: the text that its bytes read as UTF-8 give, without a final line feed.
    void receivedMessageResponse(XHRRequest *request, QString message);

public Q_SLOTS:
    /// The worker's loop; returns when the worker has ended.
    void process();

private:
    friend struct SockJSProbe;

    enum class Turn {
        CONTINUE,
        END
    };

    Turn turn();
    void onNoData();
    void settle();

    bool isEstablished() const;
    bool waitForConnection();
    Turn reconnect();
    void pauseAfterShortConnection();
    void resetSocket();

    void setDispatcher(QAbstractEventDispatcher *ofThisThread);
    bool sleep(int timeoutMs);
    void waitForEvent(const QDeadlineTimer &deadline);
    void wakeUp();

    void onData();
    bool receivedNothingForLong() const;
    void readResponses();
    void onHeader();
    void deliverMessage();
    void clearBuffer();
    void forgetResponse();
    void forgetRequests();

    // The worker's thread only, where not said otherwise.
    QDateTime lastReceived; // when the last read brought data
    int retryCount = 0;     // reconnections that failed in a row
    QString host;
    int port;
    bool ssl;
    bool keepAlive;
    std::atomic<bool> closing{false}; // set by any thread, read at every turn
    QMutex queueMutex;                // guards txQueue, which both threads touch
    QList<XHRRequest *> txQueue;      // to be written, oldest first
    QList<XHRRequest *> inFlight;     // written and not yet answered, oldest first
    QTcpSocket *socket;               // the transport's
    QString message;                  // the body gathered so far, one character a byte

    std::unique_ptr<Tarvo::ResponseReader> reader; // received, and not yet wholly read
    XHRRequest *current = nullptr;                 // whose response is being read
    bool running = false;                          // process() is on the stack
    bool woken = false;                            // something happened since the sleep began
    QElapsedTimer sinceReconnected;                // not valid on the first connection
    int pauseMs = 0;                               // the last pause of those in a row

    QMutex sharedMutex;                             // guards what follows, which any thread touches
    QAbstractEventDispatcher *dispatcher = nullptr; // of the thread, while process() runs
    QWaitCondition closed;                          // forceClose() was called
    QList<XHRRequest *> unanswered;                 // for takeUnanswered()
};
