#include "Devices.h"

#include "support/Text.h"

#include "compression/Lzma.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QQueue>
#include <QtCore/QTimer>
#include <QtCore/QUrl>
#include <QtNetwork/QTcpSocket>
#include <QtWebSockets/QWebSocket>

namespace
{

constexpr int REPEAT_MS = 200;

QByteArray compact(const QJsonObject &json)
{
    return QJsonDocument(json).toJson(QJsonDocument::Compact);
}

// How many bytes follow the header of a reply.
int lengthOf(const QByteArray &header)
{
    const QByteArray name("content-length:");
    const int start = header.toLower().indexOf(name) + name.size();
    return header.mid(start, header.indexOf('\r', start) - start).trimmed().toInt();
}

// Has the object's thread do it, and waits for that.
template<typename Work> void now(QObject *object, const Work &work)
{
    QMetaObject::invokeMethod(object, work, Qt::BlockingQueuedConnection);
}

template<typename Work> void later(QObject *object, const Work &work)
{
    QMetaObject::invokeMethod(object, work, Qt::QueuedConnection);
}

} // namespace

class Devices::Crowd : public QObject
{
public:
    Crowd(const QString &url, std::atomic<int> &announced, std::atomic<int> &answersSent)
        : m_url(url), m_announced(announced), m_answersSent(answersSent)
    {
        connect(&m_door, &QTcpSocket::readyRead, this, &Crowd::readReplies);
        connect(&m_socket, &QWebSocket::connected, this, &Crowd::sendWaiting);
        connect(&m_socket, &QWebSocket::textMessageReceived, this, &Crowd::hear);
        connect(&m_repetition, &QTimer::timeout, this, &Crowd::sayAnswers);
    }

    void open() { m_socket.open(u"ws://%1/classroom/bus"_s.arg(m_url.authority())); }

    void join(const QString &sessionCode, int count)
    {
        if (m_door.state() == QTcpSocket::UnconnectedState)
            m_door.connectToHost(m_url.host(), quint16(m_url.port()));
        for (int i = 0; i < count; ++i)
            join(sessionCode, nextName());
    }

    void pretendToJoin(int count)
    {
        for (int i = 0; i < count; ++i) {
            const QString name = nextName();
            announce(u"device-%1"_s.arg(m_named), name);
        }
        sendWaiting();
    }

    void answer(const QString &question, const QStringList &choices)
    {
        m_question = question;
        m_choices = choices;
        ++m_number;
        sayAnswers();
    }
    void repeat() { m_repetition.start(REPEAT_MS); }
    void confirm() { m_repetition.stop(); }

    QMap<QString, int> chosen() const
    {
        QMap<QString, int> counts;
        for (int device = 0; device < ids.size() && !m_choices.isEmpty(); ++device)
            ++counts[choiceOf(device)];
        return counts;
    }

    QStringList ids;
    QMap<QString, int> heard; // by type

private:
    QString nextName() { return u"Learner %1"_s.arg(++m_named); }
    QString choiceOf(int device) const { return m_choices.at(device % m_choices.size()); }

    // Whole requests one after the other on one connection: 10,000 devices come within seconds.
    void join(const QString &sessionCode, const QString &name)
    {
        const QByteArray body = compact({{u"userName"_s, name},
                                         {u"sessionCode"_s, sessionCode},
                                         {u"mode"_s, u"learner"_s},
                                         {u"deviceName"_s, name + u"'s tablet"_s},
                                         {u"deviceType"_s, u"tablet"_s}});
        m_joining.enqueue(name);
        m_door.write("POST /vantora/classroom/session/join HTTP/1.1\r\nHost: "
                     + m_url.authority().toLatin1()
                     + "\r\nContent-Type: application/json\r\nContent-Length: "
                     + QByteArray::number(body.size()) + "\r\n\r\n" + body);
    }

    void readReplies()
    {
        m_replies += m_door.readAll();
        for (;;) {
            const int header = m_replies.indexOf("\r\n\r\n") + 4;
            const int length = lengthOf(m_replies.left(header));
            if (header < 4 || m_replies.size() < header + length)
                return sendWaiting();
            admit(m_replies.mid(header, length), m_joining.dequeue());
            m_replies.remove(0, header + length);
        }
    }

    void admit(const QByteArray &reply, const QString &name)
    {
        const QJsonValue data = QJsonDocument::fromJson(reply)[u"data"_s];
        m_sessionToken = data[u"sessionToken"_s].toString();
        if (m_sessionToken.isEmpty())
            qWarning("a device cannot join: %s", reply.constData());
        else
            enter(data[u"userToken"_s].toString(), name);
    }

    void enter(const QString &id, const QString &name)
    {
        if (ids.isEmpty()) {
            enroll(m_sessionToken);
            enroll(m_sessionToken + u".learner"_s);
        }
        enroll(m_sessionToken + u".user."_s + id);
        announce(id, name);
    }

    void enroll(const QString &address)
    {
        enqueue({{u"type"_s, u"register"_s}, {u"address"_s, address}});
    }

    void announce(const QString &id, const QString &name)
    {
        ids.append(id);
        tellPresenters(id, u"join"_s, {{u"userName"_s, name}, {u"deviceType"_s, u"tablet"_s}});
        ++m_announced;
    }

    void sayAnswers()
    {
        for (int device = 0; device < ids.size(); ++device)
            sayAnswer(ids.at(device), choiceOf(device));
        sendWaiting();
    }

    void sayAnswer(const QString &id, const QString &choice)
    {
        const QJsonObject chosen{{u"activityOptionId"_s, choice}};
        tellPresenters(id, u"questionResponse"_s,
                       {{u"questionId"_s, m_question},
                        {u"studentAssessmentToken"_s, u""_s},
                        {u"questionSetMode"_s, u"Poll"_s},
                        {u"responseTime"_s, m_number},
                        {u"answer"_s, QJsonValue()},
                        {u"optionAnswers"_s, QJsonArray{chosen}}});
        ++m_answersSent;
    }

    void tellPresenters(const QString &id, const QString &type, const QJsonObject &payload)
    {
        QString block;
        Lzma::compress64(QString::fromUtf8(compact(payload)), &block);
        const QJsonObject body{{u"from"_s, id}, {u"type"_s, type}, {u"data"_s, QJsonArray{block}}};
        enqueue({{u"type"_s, u"publish"_s},
                 {u"address"_s, m_sessionToken + u".presenter"_s},
                 {u"body"_s, body}});
    }

    void enqueue(const QJsonObject &message)
    {
        m_waiting.append(QString::fromUtf8(compact(message)));
    }

    // All at once: what many devices say is made first.
    void sendWaiting()
    {
        if (m_socket.state() != QAbstractSocket::ConnectedState)
            return;
        for (const QString &text : qAsConst(m_waiting))
            m_socket.sendTextMessage(text);
        m_waiting.clear();
    }

    void hear(const QString &text)
    {
        const QJsonDocument message = QJsonDocument::fromJson(text.toUtf8());
        ++heard[message[u"body"_s][u"type"_s].toString()];
    }

    QUrl m_url;
    std::atomic<int> &m_announced;
    std::atomic<int> &m_answersSent;
    QTcpSocket m_door{this};   // of the service's REST interface
    QQueue<QString> m_joining; // who waits for its reply, by name
    QByteArray m_replies;      // that have not been read
    QWebSocket m_socket{QString(), QWebSocketProtocol::VersionLatest, this};
    QStringList m_waiting; // for the socket
    QTimer m_repetition{this};
    QString m_sessionToken;
    int m_named = 0;
    QString m_question;
    QStringList m_choices;
    int m_number = 0;
};

QStringList Devices::serviceOptions()
{
    return {u"--limit"_s, u"usersOfSession=20000"_s, u"--limit"_s, u"joiningMs=600000"_s};
}

Devices::Devices(const QString &url) : m_crowd(new Crowd(url, m_announced, m_answersSent))
{
    m_crowd->moveToThread(&m_thread);
    QObject::connect(&m_thread, &QThread::finished, m_crowd, &QObject::deleteLater);
    m_thread.start();
    later(m_crowd, [crowd = m_crowd] { crowd->open(); });
}

Devices::~Devices()
{
    m_thread.quit();
    m_thread.wait();
}

void Devices::join(const QString &sessionCode, int count)
{
    later(m_crowd, [crowd = m_crowd, sessionCode, count] { crowd->join(sessionCode, count); });
}

void Devices::pretendToJoin(int count)
{
    later(m_crowd, [crowd = m_crowd, count] { crowd->pretendToJoin(count); });
}

QStringList Devices::ids() const
{
    QStringList ids;
    now(m_crowd, [&] { ids = m_crowd->ids; });
    return ids;
}

int Devices::heard(const QString &type) const
{
    int count = 0;
    now(m_crowd, [&] { count = m_crowd->heard.value(type); });
    return count;
}

void Devices::answer(const QString &question, const QStringList &choices)
{
    answerOnce(question, choices);
    later(m_crowd, [crowd = m_crowd] { crowd->repeat(); });
}

void Devices::answerOnce(const QString &question, const QStringList &choices)
{
    later(m_crowd, [crowd = m_crowd, question, choices] { crowd->answer(question, choices); });
}

void Devices::confirm()
{
    now(m_crowd, [this] { m_crowd->confirm(); });
}

QMap<QString, int> Devices::chosen() const
{
    QMap<QString, int> counts;
    now(m_crowd, [&] { counts = m_crowd->chosen(); });
    return counts;
}
