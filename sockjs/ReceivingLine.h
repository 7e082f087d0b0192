#pragma once

#include "sockjs/FrameReader.h"
#include "sockjs/HttpResponseReader.h"

#include <QtCore/QByteArray>
#include <QtCore/QDeadlineTimer>
#include <QtCore/QElapsedTimer>
#include <QtCore/QList>
#include <QtCore/QObject>
#include <QtCore/QString>
#include <QtCore/QTimer>
#include <QtCore/QUrl>
#include <QtNetwork/QNetworkCookie>
#include <QtNetwork/QNetworkCookieJar>
#include <QtNetwork/QNetworkProxy>
#include <QtNetwork/QSslConfiguration>

#include <atomic>
#include <memory>
#include <utility>

class ConnectionEnd;
class QTcpSocket;

// The receiving half of the robust HTTP transport: asks the server for frames, one request at a
// time, and takes its answers apart. It lives on a thread of its own, which its XHRReceiver owns,
// and is driven by that thread's event loop; so a host that is busy keeps its session.
//
//                  +--> CONNECTING --stands--> ASKING --answer whole--> RESTING --+--> ASKING
//                  |                                                              |
//                  +------------- the connection is used up or gone --------------+
//
// Nothing that arrived is lost, nothing comes twice, and no gap is silent: whatever might have
// swallowed a frame ends the line, and ended() says why. The one request that is repeated is a
// request that met an orderly end, or a reset of a connection in use, before any byte of its
// answer: the server had closed the connection before it read it, or tells by a second "o" or a
// close frame that a frame went with it.
class ReceivingLine : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(ReceivingLine)

public:
    struct Server {
        QString host;
        int port = 0;
        bool ssl = false;
        QNetworkProxy proxy;
        QSslConfiguration tls = {}; // a null one is the default
    };
    // What it asks for, beside the cookies.
    struct Request {
        QByteArray header; // to the end of its last line
        QUrl url;
        QList<QNetworkCookie> cookies; // that the first request carries
    };
    // How many characters of frames the host has not taken yet; shared with the XHRReceiver.
    using Backlog = std::shared_ptr<std::atomic<qint64>>;
    // With more than this nothing is read, and the server has to wait.
    static constexpr qint64 MAX_BACKLOG_CHARACTERS = 32LL * 1024 * 1024;
    // What a frame counts there: its way through the event queue takes memory, too.
    static qint64 backlogOf(const QString &frame) { return frame.size() + EVENT_CHARACTERS; }

    ReceivingLine(const Server &server, const Backlog &backlog);
    ~ReceivingLine() override;

    // ---- On the line's thread ------------------------------------------------------------------------

    // Begins to ask.
    void start(const Request &request);
    // "Set-Cookie" lines, one a line, that have come in another way. The line keeps those of its
    // own answers.
    void addCookies(const QByteArray &setCookies);
    void setHeartbeatTimeout(int ms);
    // The host has caught up.
    void goOn();
    // Ends the line with this, unless it ends by itself before: what has arrived is read first, the
    // server's own word about an end, which a post that fails often is the first sign of, among it.
    void endSoon(int code, const QString &reason);

Q_SIGNALS:
    // The first connection stands.
    void connected();
    // "Set-Cookie" lines have come, one a line.
    void cookiesCame(const QByteArray &setCookies);
    void frameCame(const QString &frame);
    // The line has ended, for good.
    void ended(int code, const QString &reason);

private:
    static constexpr qint64 EVENT_CHARACTERS = 128;

    enum class State {
        RESTING,    // no request is out
        CONNECTING, // for the next one
        ASKING,     // a request is out, and its answer not yet whole
        ENDED
    };

    void askNext();
    void ask();
    int nextPause();

    void connectToServer();
    void mindRefusal();
    void onEstablished();
    void onConnectionLost();
    void onConnectionLostAtRest(const QByteArray &lastBytes);
    void onNotConnected(const QString &why);
    void onUnanswered(bool wasOrderly, const QString &why);
    bool hasAnswerBegun() const;
    bool hasCrossed() const;
    void dropSocket();

    void onReadyRead();
    void readAnswer();
    void onHeader();
    void onPiece(const QByteArray &piece);
    void onAnswerWhole();
    bool isUnasked(const QByteArray &bytes);
    void onFrame(const QByteArray &frame);
    bool isHeld() const;

    void heardSomething();
    void onSilence();
    void endUnasked();
    void end(int code, const QString &reason);

    const Server m_server;
    const Backlog m_backlog;
    State m_state = State::RESTING;
    Request m_request;
    QNetworkCookieJar m_cookies{this}; // of its own, so that nothing waits for the host

    QTcpSocket *m_socket = nullptr;                    // a child; null between two connections
    std::unique_ptr<ConnectionEnd> m_end;              // of the connection, once it stands
    bool m_hasStood = false;                           // connected() was emitted
    QDeadlineTimer m_standBy{QDeadlineTimer::Forever}; // when a connection has to stand
    QTimer m_connecting{this};                         // until then
    QElapsedTimer m_age;                               // of the connection
    qint64 m_lastAgeMs = 0;                            // of the one before, when it ended
    bool m_isMended = false;                           // the connection is not the line's first
    bool m_hasBrought = false; // it has brought a whole answer that was not empty
    QElapsedTimer m_sinceAsked;
    QTimer m_pause{this}; // before the next request
    int m_pauseMs = 0;    // the last pause of those in a row

    Tarvo::HttpResponseReader m_reader;
    Tarvo::FrameReader m_frames;
    bool m_isAnswerEmpty = true; // no frame of it has come
    bool m_isRepeated = false;   // the request was asked before, and met an end
    bool m_wasAnswered = false;  // there has been an answer with status 200
    bool m_isOpen = false;       // the server has said "o"

    bool m_hasHeartbeats = false; // the server has sent one
    int m_heartbeatTimeoutMs = 0;
    QTimer m_silence{this}; // runs once there are heartbeats
};
