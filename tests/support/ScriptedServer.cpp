#include "support/ScriptedServer.h"
#include "support/Text.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QWaitCondition>
#include <QtNetwork/QSslSocket>
#include <QtNetwork/QTcpServer>

#include <sys/socket.h>

using Scripted::Script;
using Scripted::Step;

namespace
{

constexpr int SLICE_MS = 20; // how soon a stop is noticed

// The length of the whole request at the start of `data`, or -1 while some of it is missing.
int requestLength(const QByteArray &data)
{
    const int headerEnd = data.indexOf("\r\n\r\n");
    if (headerEnd < 0)
        return -1;
    int bodyLength = 0;
    const QList<QByteArray> lines = data.left(headerEnd).split('\n');
    for (const QByteArray &line : lines) {
        if (line.toLower().startsWith("content-length:"))
            bodyLength = line.mid(line.indexOf(':') + 1).trimmed().toInt();
    }
    const int length = headerEnd + 4 + bodyLength;
    return data.size() < length ? -1 : length;
}

} // namespace

QByteArray Scripted::reply(const QByteArray &body, const QByteArray &status,
                           const QByteArray &furtherHeaders)
{
    return "HTTP/1.1 " + status + "\r\nContent-Length: " + QByteArray::number(body.size()) + "\r\n"
        + furtherHeaders + "\r\n" + body;
}

// What the threads share with the test's; `mutex` guards all of it but the two flags.
struct ScriptedServer::Shared {
    struct Record {
        QByteArray received;
        QList<QByteArray> requests;
        bool ended = false;
    };

    mutable QMutex mutex;
    QWaitCondition changed;
    QVector<Script> scripts;
    Script everyOther;
    bool answersEveryOther = false;
    QVector<Record> records;
    QList<QByteArray> requests;
    QString failure;
    QSslConfiguration tls;
    bool usesTls = false;
    bool plainFirst = false;
    int deadlineMs = 0;
    // Listening ends before the conversations do, so that nobody connects again in between.
    std::atomic_bool closing{false};
    std::atomic_bool stopping{false};

    void fail(int connection, const QString &what)
    {
        QMutexLocker lock(&mutex);
        if (failure.isEmpty())
            failure = u"connection %1: %2"_s.arg(connection).arg(what);
        changed.wakeAll();
    }
};

// One connection: a blocking socket on a thread of its own that runs one script.
class ScriptedServer::Conversation : public QThread
{
public:
    Conversation(std::shared_ptr<Shared> shared, qintptr descriptor, int index, Script script)
        : m_shared(std::move(shared)), m_descriptor(descriptor), m_index(index),
          m_script(std::move(script))
    {
    }

protected:
    void run() override
    {
        QSslSocket socket;
        m_socket = &socket;
        if (!socket.setSocketDescriptor(m_descriptor))
            return m_shared->fail(m_index, socket.errorString());
        const bool ran = (!m_shared->usesTls || m_shared->plainFirst || startTls()) && runScript();
        {
            QMutexLocker lock(&m_shared->mutex);
            m_shared->records[m_index].ended = true;
            m_shared->changed.wakeAll();
        }
        // What still comes is recorded, but no longer scripted.
        while (ran && !m_shared->stopping && socket.state() == QAbstractSocket::ConnectedState)
            read();
        if (socket.state() != QAbstractSocket::UnconnectedState)
            socket.abort();
    }

private:
    bool runScript()
    {
        for (const Step &step : qAsConst(m_script)) {
            if (m_shared->stopping || !runStep(step))
                return false;
        }
        return true;
    }

    bool runStep(const Step &step)
    {
        switch (step.kind) {
        case Step::Expect:
            return expect(step.bytes);
        case Step::ExpectRequest:
            return expectRequest();
        case Step::ExpectMatch:
            return expectMatch(step.bytes);
        case Step::ExpectEnd:
            return expectEnd();
        case Step::Send:
            return send(step.bytes);
        case Step::SendBytewise:
            return sendBytewise(step.bytes);
        case Step::Pause:
            return pause(step.ms);
        case Step::Close:
            m_socket->disconnectFromHost();
            if (m_socket->state() != QAbstractSocket::UnconnectedState)
                m_socket->waitForDisconnected(m_shared->deadlineMs);
            return true;
        case Step::Abort:
            resetOnClose();
            m_socket->abort();
            return true;
        case Step::StartTls:
            return startTls();
        }
        return false;
    }

    bool startTls()
    {
        m_socket->setSslConfiguration(m_shared->tls);
        m_socket->startServerEncryption();
        QElapsedTimer timer;
        timer.start();
        while (!m_socket->isEncrypted()) {
            if (m_socket->waitForEncrypted(SLICE_MS))
                break;
            // A refused certificate ends the handshake; that is the test's business, not a failure.
            if (m_socket->state() != QAbstractSocket::ConnectedState || m_shared->stopping
                || timer.elapsed() > m_shared->deadlineMs)
                return false;
        }
        return true;
    }

    // Takes in what there is, waiting a little; false once the other side has closed.
    bool read()
    {
        const bool arrived = m_socket->bytesAvailable() > 0 || m_socket->waitForReadyRead(SLICE_MS);
        if (arrived) {
            const QByteArray bytes = m_socket->readAll();
            m_pending += bytes;
            QMutexLocker lock(&m_shared->mutex);
            m_shared->records[m_index].received += bytes;
            m_shared->changed.wakeAll();
        }
        return arrived || m_socket->state() == QAbstractSocket::ConnectedState;
    }

    template<typename Enough> bool readUntil(const QString &what, Enough enough)
    {
        QElapsedTimer timer;
        timer.start();
        while (!enough()) {
            if (m_shared->stopping)
                return false;
            if (!read() && !enough())
                return fail(u"closed while waiting for "_s + what);
            if (timer.elapsed() > m_shared->deadlineMs)
                return fail(u"no "_s + what);
        }
        return true;
    }

    bool expect(const QByteArray &bytes)
    {
        const auto enough = [this, &bytes] {
            return m_pending.size() >= bytes.size() || !bytes.startsWith(m_pending);
        };
        if (!readUntil(u"expected bytes: "_s + QString::fromLatin1(bytes), enough))
            return false;
        if (!m_pending.startsWith(bytes)) {
            return fail(u"expected\n%1\ngot\n%2"_s.arg(QString::fromLatin1(bytes),
                                                       QString::fromLatin1(m_pending)));
        }
        m_pending.remove(0, bytes.size());
        return true;
    }

    bool expectRequest()
    {
        const auto enough = [this] {
            // Line ends behind the request before, which its length did not count.
            while (m_pending.startsWith("\r\n"))
                m_pending.remove(0, 2);
            return requestLength(m_pending) >= 0;
        };
        if (!readUntil(u"request"_s, enough))
            return false;
        const QByteArray request = m_pending.left(requestLength(m_pending));
        m_pending.remove(0, request.size());
        QMutexLocker lock(&m_shared->mutex);
        m_shared->records[m_index].requests.append(request);
        m_shared->requests.append(request);
        m_shared->changed.wakeAll();
        return true;
    }

    bool expectMatch(const QByteArray &bytes)
    {
        if (!readUntil(u"match of "_s + QString::fromLatin1(bytes),
                       [this, &bytes] { return m_pending.contains(bytes); }))
            return false;
        m_pending.remove(0, m_pending.indexOf(bytes) + bytes.size());
        return true;
    }

    bool expectEnd()
    {
        QElapsedTimer timer;
        timer.start();
        while (read()) {
            if (m_shared->stopping)
                return false;
            if (timer.elapsed() > m_shared->deadlineMs)
                return fail(u"the other side did not close"_s);
        }
        if (!m_pending.isEmpty())
            return fail(u"unscripted: "_s + QString::fromLatin1(m_pending));
        return true;
    }

    bool send(const QByteArray &bytes)
    {
        m_socket->write(bytes);
        QElapsedTimer timer;
        timer.start();
        while (m_socket->bytesToWrite() > 0 || m_socket->encryptedBytesToWrite() > 0) {
            m_socket->waitForBytesWritten(SLICE_MS);
            if (m_shared->stopping || m_socket->state() != QAbstractSocket::ConnectedState)
                return false;
            if (timer.elapsed() > m_shared->deadlineMs)
                return fail(u"the other side does not read"_s);
        }
        return true;
    }

    bool sendBytewise(const QByteArray &bytes)
    {
        m_socket->setSocketOption(QAbstractSocket::LowDelayOption, 1);
        for (const char byte : bytes) {
            if (!send(QByteArray(1, byte)))
                return false;
            QThread::msleep(1);
        }
        return true;
    }

    bool pause(int ms)
    {
        QElapsedTimer timer;
        timer.start();
        // One look at the clock a round: between two of them the pause may have ended.
        for (qint64 left = ms; left > 0 && !m_shared->stopping; left = ms - timer.elapsed())
            QThread::msleep(static_cast<unsigned long>(qMin<qint64>(SLICE_MS, left)));
        return !m_shared->stopping;
    }

    void resetOnClose()
    {
        const linger none = {1, 0};
        ::setsockopt(static_cast<int>(m_socket->socketDescriptor()), SOL_SOCKET, SO_LINGER, &none,
                     sizeof none);
    }

    bool fail(const QString &what)
    {
        m_shared->fail(m_index, what);
        return false;
    }

    std::shared_ptr<Shared> m_shared;
    qintptr m_descriptor;
    int m_index;
    Script m_script;
    QSslSocket *m_socket = nullptr; // lives on run()'s stack
    QByteArray m_pending;           // received, not yet taken by a step
};

// Accepts connections and starts a conversation for each.
class ScriptedServer::Listener : public QThread
{
public:
    explicit Listener(std::shared_ptr<Shared> shared) : m_shared(std::move(shared)) { }

    // The port listened on, or 0.
    quint16 begin(quint16 port)
    {
        m_wanted = port;
        start();
        QMutexLocker lock(&m_shared->mutex);
        while (m_port < 0)
            m_shared->changed.wait(&m_shared->mutex);
        return static_cast<quint16>(m_port);
    }

protected:
    void run() override
    {
        struct Server : QTcpServer {
            void incomingConnection(qintptr descriptor) override { descriptors.append(descriptor); }
            QVector<qintptr> descriptors;
        } server;
        // The port may still be in use for a moment by connections of a listener that stopped.
        const bool listening = server.listen(QHostAddress::LocalHost, m_wanted);
        {
            QMutexLocker lock(&m_shared->mutex);
            m_port = listening ? server.serverPort() : 0;
            m_shared->changed.wakeAll();
        }
        QVector<Conversation *> conversations;
        while (listening && !m_shared->closing) {
            bool timedOut = false;
            server.waitForNewConnection(SLICE_MS, &timedOut);
            for (const qintptr descriptor : qAsConst(server.descriptors))
                conversations.append(converse(descriptor));
            server.descriptors.clear();
        }
        server.close();
        m_shared->stopping = true;
        for (Conversation *conversation : qAsConst(conversations)) {
            conversation->wait();
            delete conversation;
        }
    }

private:
    Conversation *converse(qintptr descriptor)
    {
        int index = 0;
        Script script;
        {
            QMutexLocker lock(&m_shared->mutex);
            index = m_shared->records.size();
            m_shared->records.append(Shared::Record());
            if (index < m_shared->scripts.size())
                script = m_shared->scripts.at(index);
            else if (m_shared->answersEveryOther)
                script = m_shared->everyOther;
            else if (m_shared->failure.isEmpty())
                m_shared->failure = u"connection %1 was not scripted"_s.arg(index);
            m_shared->changed.wakeAll();
        }
        auto *conversation = new Conversation(m_shared, descriptor, index, script);
        conversation->start();
        return conversation;
    }

    std::shared_ptr<Shared> m_shared;
    quint16 m_wanted = 0;
    int m_port = -1; // -1 until known
};

ScriptedServer::ScriptedServer() : m_shared(std::make_shared<Shared>()) { }

ScriptedServer::~ScriptedServer()
{
    stop();
}

void ScriptedServer::onConnection(const Script &script)
{
    QMutexLocker lock(&m_shared->mutex);
    m_shared->scripts.append(script);
}

void ScriptedServer::onEveryOther(const Script &script)
{
    QMutexLocker lock(&m_shared->mutex);
    m_shared->everyOther = script;
    m_shared->answersEveryOther = true;
}

void ScriptedServer::setCertificate(const TestCertificates::Identity &identity, bool plainFirst)
{
    m_shared->tls = identity.serverConfiguration();
    m_shared->usesTls = true;
    m_shared->plainFirst = plainFirst;
}

bool ScriptedServer::listen(quint16 port)
{
    stop();
    m_shared->closing = false;
    m_shared->stopping = false;
    m_shared->deadlineMs = m_deadlineMs;
    m_listener = std::make_unique<Listener>(m_shared);
    m_port = m_listener->begin(port);
    return m_port != 0;
}

void ScriptedServer::stop()
{
    if (!m_listener)
        return;
    m_shared->closing = true;
    m_listener->wait();
    m_listener.reset();
}

bool ScriptedServer::finished()
{
    QElapsedTimer timer;
    timer.start();
    QMutexLocker lock(&m_shared->mutex);
    const auto allEnded = [this] {
        if (m_shared->records.size() < m_shared->scripts.size())
            return false;
        for (const Shared::Record &record : qAsConst(m_shared->records)) {
            if (!record.ended)
                return false;
        }
        return true;
    };
    while (m_shared->failure.isEmpty() && !allEnded()) {
        if (timer.elapsed() > m_deadlineMs) {
            m_shared->failure = u"%1 of %2 scripted connections were made, or a "
                                "script did not end"_s.arg(m_shared->records.size())
                                    .arg(m_shared->scripts.size());
            break;
        }
        m_shared->changed.wait(&m_shared->mutex, SLICE_MS);
    }
    return m_shared->failure.isEmpty();
}

QString ScriptedServer::failure() const
{
    QMutexLocker lock(&m_shared->mutex);
    return m_shared->failure;
}

int ScriptedServer::connectionCount() const
{
    QMutexLocker lock(&m_shared->mutex);
    return m_shared->records.size();
}

QByteArray ScriptedServer::received(int connection) const
{
    QMutexLocker lock(&m_shared->mutex);
    return m_shared->records.value(connection).received;
}

QList<QByteArray> ScriptedServer::requests(int connection) const
{
    QMutexLocker lock(&m_shared->mutex);
    return m_shared->records.value(connection).requests;
}

QList<QByteArray> ScriptedServer::requests() const
{
    QMutexLocker lock(&m_shared->mutex);
    return m_shared->requests;
}
