#include "sockjs/ReceivingLine.h"

#include "sockjs/CloseReason.h"
#include "sockjs/ConnectionEnd.h"
#include "sockjs/CookieText.h"
#include "support/Log.h"
#include "support/Utf8.h"

#include <QtNetwork/QSslSocket>

using Tarvo::HttpResponseReader;

namespace
{

// From the lost connection, or the first attempt, to a connection that stands.
constexpr int CONNECT_WAIT_MS = 10000;
// The last attempt has time to learn why it fails.
constexpr int SHORTEST_ATTEMPT_MS = 250;

// So long a request and the end of its connection may be on their way towards each other.
constexpr int CROSSING_MS = 1000;

// A connection that was made again, brought nothing and is lost sooner than this is followed by a
// pause.
constexpr int SHORT_CONNECTION_MS = 1000;
constexpr int FIRST_PAUSE_MS = 250;
constexpr int LONGEST_PAUSE_MS = 5000;
// An empty answer is no reason to wait long, but a server that gives nothing else must not be asked
// thousands of times a second.
constexpr int PAUSE_AFTER_EMPTY_MS = 10;

// For what has arrived when the line is told to end.
constexpr int LAST_LOOK_MS = 100;

// What the toolkit reads ahead of us.
constexpr int READ_AHEAD_BYTES = 256 * 1024;

constexpr int STATUS_OK = 200;
constexpr int STATUS_NO_CONTENT = 204;

const char OPEN_FRAME[] = "o";
const char HEARTBEAT_FRAME[] = "h";
constexpr char CLOSE_FRAME_START = 'c';

} // namespace

ReceivingLine::ReceivingLine(const Server &server, const Backlog &backlog)
    : m_server(server), m_backlog(backlog)
{
    for (QTimer *timer : {&m_connecting, &m_pause, &m_silence})
        timer->setSingleShot(true);
    connect(&m_connecting, &QTimer::timeout, this, [this] {
        dropSocket();
        onNotConnected(QStringLiteral("the server does not answer"));
    });
    connect(&m_pause, &QTimer::timeout, this, &ReceivingLine::ask);
    connect(&m_silence, &QTimer::timeout, this, &ReceivingLine::onSilence);
}

ReceivingLine::~ReceivingLine() = default;

// ---- When a request leaves -----------------------------------------------------------------------

void ReceivingLine::start(const Request &request)
{
    m_request = request;
    for (const QNetworkCookie &cookie : request.cookies)
        m_cookies.insertCookie(cookie);
    askNext();
}

void ReceivingLine::addCookies(const QByteArray &setCookies)
{
    m_cookies.setCookiesFromUrl(QNetworkCookie::parseCookies(setCookies), m_request.url);
}

void ReceivingLine::goOn()
{
    // What has come may be no more than the line ends behind an answer.
    if (m_socket && m_socket->bytesAvailable() > 0)
        onReadyRead();
    askNext();
}

// As soon as the line is free: when the answer before is whole, and the host keeps up.
void ReceivingLine::askNext()
{
    if (m_state != State::RESTING || m_pause.isActive() || isHeld())
        return;
    const int pause = nextPause();
    if (pause > 0)
        m_pause.start(pause);
    else
        ask();
}

void ReceivingLine::ask()
{
    if (!m_socket) {
        connectToServer();
        return;
    }
    m_state = State::ASKING;
    m_isAnswerEmpty = true;
    m_sinceAsked.start();
    const QString cookies = Tarvo::cookieLine(m_cookies.cookiesForUrl(m_request.url));
    m_socket->write(m_request.header + cookies.toUtf8() + "\r\n");
}

// None behind an answer that brought something.
int ReceivingLine::nextPause()
{
    if (m_socket)
        return m_isAnswerEmpty ? PAUSE_AFTER_EMPTY_MS : 0;
    const bool isInRow = m_isMended && !m_hasBrought && m_lastAgeMs < SHORT_CONNECTION_MS;
    m_pauseMs = isInRow ? qBound(FIRST_PAUSE_MS, 2 * m_pauseMs, LONGEST_PAUSE_MS) : 0;
    return int(
        qMin<qint64>(m_pauseMs, m_standBy.isForever() ? m_pauseMs : m_standBy.remainingTime()));
}

// ---- The connection ------------------------------------------------------------------------------

void ReceivingLine::connectToServer()
{
    if (m_standBy.isForever())
        m_standBy.setRemainingTime(CONNECT_WAIT_MS);
    m_connecting.start(qMax(SHORTEST_ATTEMPT_MS, int(m_standBy.remainingTime())));
    m_state = State::CONNECTING;
    m_isMended = m_hasStood;
    m_hasBrought = false;
    m_reader.reset();

    m_socket = m_server.ssl ? new QSslSocket(this) : new QTcpSocket(this);
    m_socket->setProxy(m_server.proxy);
    m_socket->setReadBufferSize(READ_AHEAD_BYTES);
    connect(m_socket, &QTcpSocket::readyRead, this, &ReceivingLine::onReadyRead);
    connect(m_socket, &QTcpSocket::stateChanged, this, [this](QAbstractSocket::SocketState state) {
        if (state == QAbstractSocket::UnconnectedState)
            onConnectionLost();
    });
    const auto port = quint16(m_server.port);
    if (auto *tlsSocket = qobject_cast<QSslSocket *>(m_socket)) {
        if (!m_server.tls.isNull())
            tlsSocket->setSslConfiguration(m_server.tls);
        connect(tlsSocket, &QSslSocket::encrypted, this, &ReceivingLine::onEstablished);
        tlsSocket->connectToHostEncrypted(m_server.host, port);
    } else {
        connect(m_socket, &QTcpSocket::connected, this, &ReceivingLine::onEstablished);
        m_socket->connectToHost(m_server.host, port);
    }
    mindRefusal();
}

// Where there is no TLS to be had, the socket refuses at once and stays as it was.
void ReceivingLine::mindRefusal()
{
    const QTcpSocket *socket = m_socket;
    if (!socket || socket->state() != QAbstractSocket::UnconnectedState)
        return;
    const auto refused = [this, socket] {
        if (m_socket == socket)
            onConnectionLost();
    };
    QMetaObject::invokeMethod(m_socket, refused, Qt::QueuedConnection);
}

void ReceivingLine::onEstablished()
{
    m_connecting.stop();
    m_standBy = QDeadlineTimer(QDeadlineTimer::Forever);
    m_age.start();
    // The descriptor of a connection over a proxy is none of the system's.
    if (m_server.proxy.type() == QNetworkProxy::NoProxy)
        m_end = std::make_unique<ConnectionEnd>(int(m_socket->socketDescriptor()));
    // A request is one packet, and the next may follow before it is acknowledged.
    m_socket->setSocketOption(QAbstractSocket::LowDelayOption, 1);
    if (!m_hasStood) {
        m_hasStood = true;
        Q_EMIT connected();
    }
    ask();
}

void ReceivingLine::onConnectionLost()
{
    const bool wasReset = m_end && m_end->wasReset();
    const bool wasOrderly =
        !wasReset && m_socket->error() == QAbstractSocket::RemoteHostClosedError;
    const QString why =
        wasReset ? QStringLiteral("Connection reset by peer") : m_socket->errorString();
    const QByteArray lastBytes = m_socket->readAll();
    dropSocket();
    if (m_state == State::CONNECTING) {
        onNotConnected(why);
        return;
    }
    if (m_state == State::RESTING) {
        onConnectionLostAtRest(lastBytes);
        return;
    }
    // What the server said before it went is read first.
    if (!lastBytes.isEmpty()) {
        m_reader.append(lastBytes);
        readAnswer();
    }
    if (m_state == State::ASKING && !m_socket)
        onUnanswered(wasOrderly, why);
}

// The next request makes the next connection, after the pause that befits one.
void ReceivingLine::onConnectionLostAtRest(const QByteArray &lastBytes)
{
    if (isUnasked(lastBytes)) {
        endUnasked();
        return;
    }
    m_pause.stop();
    askNext();
}

// The server is asked again until the time for it is over, unless it has never been there.
void ReceivingLine::onNotConnected(const QString &why)
{
    m_state = State::RESTING;
    if (!m_hasStood)
        end(Tarvo::Close::ABNORMAL, QStringLiteral("The server cannot be reached: %0").arg(why));
    else if (m_standBy.hasExpired())
        end(Tarvo::Close::ABNORMAL,
            QStringLiteral("The server cannot be reached any more: %0").arg(why));
    else
        askNext();
}

void ReceivingLine::onUnanswered(bool wasOrderly, const QString &why)
{
    if (wasOrderly && m_reader.endOfInput() == HttpResponseReader::Found::END) {
        onAnswerWhole();
    } else if ((wasOrderly || hasCrossed()) && !hasAnswerBegun() && !m_isRepeated) {
        TARVO_LOG(sockjs, "[SockJSXHRPolling] Connection ended before an answer, asking once more");
        m_isRepeated = true;
        m_state = State::RESTING;
        askNext();
    } else {
        m_frames.drop();
        end(Tarvo::Close::ABNORMAL,
            QStringLiteral("The connection to the server broke: %0").arg(why));
    }
}

// Line ends are no answer.
bool ReceivingLine::hasAnswerBegun() const
{
    return m_reader.hasBegun() || m_reader.hasPending();
}

// A server that closes a connection behind its answer resets it when the next request is there
// already.
bool ReceivingLine::hasCrossed() const
{
    return m_hasBrought && !m_sinceAsked.hasExpired(CROSSING_MS);
}

void ReceivingLine::dropSocket()
{
    m_connecting.stop();
    if (!m_socket)
        return;
    m_lastAgeMs = m_age.isValid() ? m_age.elapsed() : 0;
    m_age.invalidate();
    m_socket->disconnect(this);
    m_socket->abort();
    m_socket->deleteLater();
    m_socket = nullptr;
    m_end.reset();
}

// ---- Answers -------------------------------------------------------------------------------------

void ReceivingLine::onReadyRead()
{
    heardSomething();
    if (isHeld())
        return;
    if (m_state != State::ASKING) {
        if (isUnasked(m_socket->readAll()))
            endUnasked();
        return;
    }
    m_reader.append(m_socket->readAll());
    readAnswer();
}

void ReceivingLine::readAnswer()
{
    QByteArray piece;
    while (m_state == State::ASKING) {
        switch (m_reader.next(&piece)) {
        case HttpResponseReader::Found::NOTHING_YET:
            return;
        case HttpResponseReader::Found::HEADER:
            onHeader();
            break;
        case HttpResponseReader::Found::PIECE:
            onPiece(piece);
            break;
        case HttpResponseReader::Found::END:
            onAnswerWhole();
            return;
        case HttpResponseReader::Found::BROKEN:
            end(Tarvo::Close::ABNORMAL,
                QStringLiteral("The server's answer cannot be read: %0").arg(m_reader.problem()));
            break;
        }
    }
}

void ReceivingLine::onHeader()
{
    const QByteArray setCookies = m_reader.setCookies();
    if (!setCookies.isEmpty()) {
        addCookies(setCookies);
        Q_EMIT cookiesCame(setCookies);
    }
    const int status = m_reader.status();
    if (status != STATUS_OK && status != STATUS_NO_CONTENT) {
        end(Tarvo::Close::ABNORMAL,
            Tarvo::Close::httpFailure(status, m_reader.reasonPhrase(), m_wasAnswered));
        return;
    }
    m_wasAnswered = true;
}

void ReceivingLine::onPiece(const QByteArray &piece)
{
    m_frames.append(piece);
    QByteArray frame;
    while (m_state == State::ASKING && m_frames.next(&frame))
        onFrame(frame);
    if (m_state == State::ASKING && m_frames.isTooLarge()) {
        TARVO_LOG(sockjs, "[SockJSXHRPolling] Response too large, dropping the connection");
        end(Tarvo::Close::ABNORMAL,
            QStringLiteral("The server sent a message of more than 16 MiB"));
    }
}

void ReceivingLine::onAnswerWhole()
{
    QByteArray frame;
    if (m_frames.rest(&frame))
        onFrame(frame);
    if (m_state == State::ENDED)
        return;
    if (isUnasked(QByteArray())) {
        endUnasked();
        return;
    }
    m_state = State::RESTING;
    m_isRepeated = false;
    m_hasBrought = m_hasBrought || !m_isAnswerEmpty;
    if (m_reader.isLast())
        dropSocket();
    askNext();
}

// Whether more has come behind an answer, `bytes` the last of it, than the line ends that some
// servers send.
bool ReceivingLine::isUnasked(const QByteArray &bytes)
{
    QByteArray piece;
    m_reader.append(bytes);
    return m_reader.next(&piece) != HttpResponseReader::Found::NOTHING_YET || m_reader.hasPending();
}

void ReceivingLine::onFrame(const QByteArray &frame)
{
    m_isAnswerEmpty = false;
    const QString text = Tarvo::wholeUtf8(frame);
    *m_backlog += backlogOf(text);
    Q_EMIT frameCame(text);

    int code = 0;
    QString reason;
    if (frame == HEARTBEAT_FRAME) {
        m_hasHeartbeats = true;
        heardSomething();
    } else if (frame == OPEN_FRAME && std::exchange(m_isOpen, true)) {
        end(Tarvo::Close::ABNORMAL,
            QStringLiteral("The server has forgotten the session and opened a new one"));
    } else if (frame.startsWith(CLOSE_FRAME_START)) {
        if (Tarvo::readCloseFrame(frame, &code, &reason))
            end(code, reason);
        else
            TARVO_LOG(sockjs, "[SockJSXHRPolling] Unreadable close frame, passed over");
    }
}

bool ReceivingLine::isHeld() const
{
    return *m_backlog > MAX_BACKLOG_CHARACTERS;
}

// ---- Silence and the end -------------------------------------------------------------------------

void ReceivingLine::setHeartbeatTimeout(int ms)
{
    m_heartbeatTimeoutMs = ms;
    heardSomething();
}

void ReceivingLine::heardSomething()
{
    if (m_hasHeartbeats && m_heartbeatTimeoutMs > 0)
        m_silence.start(m_heartbeatTimeoutMs);
    else
        m_silence.stop();
}

void ReceivingLine::onSilence()
{
    // It is we who do not listen.
    if (isHeld()) {
        heardSomething();
        return;
    }
    end(Tarvo::Close::ABNORMAL,
        QStringLiteral("The server was silent for %0 ms").arg(m_heartbeatTimeoutMs));
}

void ReceivingLine::endSoon(int code, const QString &reason)
{
    QTimer::singleShot(LAST_LOOK_MS, this, [=] { end(code, reason); });
}

void ReceivingLine::endUnasked()
{
    end(Tarvo::Close::ABNORMAL, QStringLiteral("The server sent what nobody had asked for"));
}

void ReceivingLine::end(int code, const QString &reason)
{
    if (m_state == State::ENDED)
        return;
    m_state = State::ENDED;
    m_pause.stop();
    m_silence.stop();
    dropSocket();
    Q_EMIT ended(code, reason);
}
