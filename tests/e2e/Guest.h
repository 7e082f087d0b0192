#pragma once

#include "e2e/Classroom.h"

#include "collab/PresenterCollab.h"

#include <QtCore/QEventLoop>
#include <QtCore/QLoggingCategory>
#include <QtCore/QThread>
#include <QtCore/QTimer>
#include <QtCore/QVariant>
#include <QtCore/QVector>
#include <QtWebSockets/QWebSocket>

#include <algorithm>
#include <chrono>

// Debug lines take their time, and with a guest there are tens of thousands.
inline void silenceTheLibrary()
{
    QLoggingCategory::setFilterRules(u"tarvo.*=false"_s);
}

// The system's monotonic clock in microseconds.
inline qint64 monotonicUs()
{
    using namespace std::chrono;
    return duration_cast<microseconds>(steady_clock::now().time_since_epoch()).count();
}

// Lets the event loop turn without a pause until the condition holds: qWaitFor sleeps between two
// turns, which a message would have to wait for.
template<typename Condition> bool turnUntil(int limitMs, const Condition &condition)
{
    QEventLoop loop;
    QTimer look;
    QObject::connect(&look, &QTimer::timeout, &loop, [&] {
        if (condition())
            loop.quit();
    });
    look.start(5);
    QTimer::singleShot(limitMs, &loop, &QEventLoop::quit);
    loop.exec();
    return condition();
}

// A device on the tests' own line to the bus, which may say everything to everybody. It publishes
// numbered messages with the time at which each of them left, on a thread of its own: it goes on while
// the host's thread is busy. It ends with the object.
class Guest : public QThread
{
public:
    struct Plan {
        QStringList addresses; // in turn
        int messages;          // to each of them
        int atOnce;            // in a row, before the next pause
        int pauseMs;
        int filling; // characters that make a message longer
    };

    Guest(const Classroom &classroom, Plan plan)
        : m_url(classroom.url() + u"/classroom/bus"_s), m_plan(std::move(plan))
    {
        m_url.replace(0, 4, u"ws"_s); // also of https
    }
    ~Guest() override
    {
        quit();
        wait();
    }
    Q_DISABLE_COPY_MOVE(Guest)

protected:
    void run() override
    {
        QWebSocket socket;
        QTimer timer;
        timer.setTimerType(Qt::PreciseTimer);
        QObject::connect(&timer, &QTimer::timeout, &socket, [&] { publishSome(socket, timer); });
        QObject::connect(&socket, &QWebSocket::connected, &timer,
                         [&] { timer.start(m_plan.pauseMs); });
        socket.open(QUrl(m_url));
        exec();
    }

private:
    void publishSome(QWebSocket &socket, QTimer &timer)
    {
        const int addresses = m_plan.addresses.size();
        for (int i = 0; i < m_plan.atOnce && m_published < m_plan.messages * addresses; ++i) {
            const QString envelope =
                uR"({"type":"publish","address":"%1","body":{"type":"tick","number":%2,"filling":"%3","left":"%4"}})"_s;
            socket.sendTextMessage(envelope.arg(m_plan.addresses.at(m_published % addresses))
                                       .arg(m_published / addresses)
                                       .arg(QString(m_plan.filling, QLatin1Char('x')))
                                       .arg(monotonicUs()));
            ++m_published;
        }
        if (m_published == m_plan.messages * addresses)
            timer.stop();
    }

    QString m_url;
    Plan m_plan;
    int m_published = 0;
};

// What a channel hears of a guest: the messages' numbers as they came, and how long each was under way.
class Heard : public QObject
{
public:
    explicit Heard(PresenterCollab *channel)
    {
        connect(channel, &PresenterCollab::unhandledMessage, this, [this](const QVariantMap &body) {
            const qint64 now = monotonicUs();
            m_delays.append(now - body.value(u"left"_s).toString().toLongLong());
            m_numbers.append(body.value(u"number"_s).toInt());
        });
    }

    int count() const { return m_numbers.size(); }
    // The place of the first message that is not the one expected there; -1 when all are.
    int firstWrong() const
    {
        for (int i = 0; i < count(); ++i) {
            if (m_numbers.at(i) != i)
                return i;
        }
        return -1;
    }
    // The delay in microseconds that so many of a hundred messages did not exceed.
    qint64 delay(int percent) const
    {
        QVector<qint64> sorted = m_delays;
        std::sort(sorted.begin(), sorted.end());
        return sorted.value(qMin(sorted.size() - 1, sorted.size() * percent / 100));
    }

private:
    QVector<int> m_numbers;
    QVector<qint64> m_delays;
};
