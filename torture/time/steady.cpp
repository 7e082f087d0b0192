// A host that goes on and on: one short lesson after another, then a long one with many messages. It says what
// it holds of memory, threads and descriptors, a line for each look. torture/time/run.js starts it, plays the
// devices of the long lesson and judges.
//
// Usage: steady URL websocket|xhr-polling default|robust LESSONS SECONDS RATE
//
//   look lessons 5 KIB BYTES THREADS DESCRIPTORS    after so many lessons: resident, in use on the heap
//   session TOKEN                                   the long lesson is open; it waits for "go"
//   look messages 30 ...                            after so many seconds of it
//   sent NUMBER                                     its messages have left; it waits for the devices' last
//   heard NUMBER IN-ORDER                           theirs, and how many came where they were expected
//
// Then it waits for "end". It ends with 1, and a line on standard error, when something is not done in time.

#include "client/PresenterClient.h"
#include "collab/PresenterCollab.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QDir>
#include <QtCore/QElapsedTimer>
#include <QtCore/QEventLoop>
#include <QtCore/QFile>
#include <QtCore/QPointer>
#include <QtCore/QSocketNotifier>
#include <QtCore/QTimer>

#include <cstdio>
#include <malloc.h>
#include <memory>
#include <unistd.h>

namespace
{

constexpr int LIMIT_MS = 60000;
constexpr int LOOKS = 60; // at each part
constexpr int TICK_MS = 5;
constexpr int TICKS_A_SECOND = 1000 / TICK_MS;
constexpr int MOST_AT_ONCE = 50;       // messages, of a host that has fallen behind
constexpr int POLL_EVERY = 20;         // messages
constexpr int DISTINCT_MESSAGES = 100; // with which the devices begin anew
constexpr int LONGEST_FILLING = 2000;  // characters

struct Options {
    QString url;
    QString transport;
    bool isRobust = false;
    int lessons = 0;
    int seconds = 0;
    int rate = 0;
};

[[noreturn]] void giveUp(const char *what)
{
    std::fprintf(stderr, "steady: not done in time: %s\n", what);
    std::_Exit(1);
}

// Lets an event loop turn, as a host's does, until the condition holds. Says whether that was within the limit.
template<typename Condition> bool turnUntil(int limitMs, const Condition &condition)
{
    QEventLoop loop;
    QTimer timer;
    QObject::connect(&timer, &QTimer::timeout, &loop, [&] {
        if (condition())
            loop.quit();
    });
    timer.start(TICK_MS);
    QTimer::singleShot(limitMs, &loop, &QEventLoop::quit);
    loop.exec();
    return condition();
}

template<typename Condition> void waitUntil(const char *what, const Condition &condition)
{
    if (!turnUntil(LIMIT_MS, condition))
        giveUp(what);
}

// ---- What this process holds ---------------------------------------------------------------------

long residentKib()
{
    QFile file(QStringLiteral("/proc/self/statm"));
    if (!file.open(QIODevice::ReadOnly))
        qFatal("No /proc/self/statm.");
    return file.readAll().split(' ').at(1).toLong() * (sysconf(_SC_PAGESIZE) / 1024);
}

std::size_t heapBytes()
{
    const struct mallinfo2 heap = mallinfo2();
    return heap.uordblks + heap.hblkhd;
}

int entries(const QString &folder)
{
    return QDir(folder).entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot).size();
}

int threads()
{
    return entries(QStringLiteral("/proc/self/task"));
}

// The folder is open itself while it is read.
int descriptors()
{
    return entries(QStringLiteral("/proc/self/fd")) - 1;
}

void look(const char *part, qint64 done)
{
    std::printf("look %s %lld %ld %zu %d %d\n", part, static_cast<long long>(done), residentKib(),
                heapBytes(), threads(), descriptors());
    std::fflush(stdout);
}

// ---- Lessons -------------------------------------------------------------------------------------

class SteadyLesson
{
public:
    explicit SteadyLesson(const Options &options)
        : m_client(std::make_unique<PresenterClient>(nullptr, options.url))
    {
        m_client->setSockJSOverrideProtocols({options.transport});
        m_client->setRobustTransport(options.isRobust);
        PresenterCollab *channel = nullptr;
        demand("the service answers", m_client->checkServer(QString(), QString()));
        demand("the teacher signs in",
               m_client->doLogin(QStringLiteral("teacher"), QStringLiteral("secret")));
        demand("a session is made", m_client->doStartSession(QString()));
        demand("the session starts", m_client->startWebsocket(&channel));
        m_channel = channel;
        QObject::connect(channel, &PresenterCollab::connectionClosed, channel, [channel] {
            if (channel->getCloseCode() != 1000) {
                std::fprintf(stderr, "steady: %s: %d %s\n", qPrintable(channel->getTransport()),
                             channel->getCloseCode(), qPrintable(channel->getCloseReason()));
                giveUp("the lesson");
            }
        });
        waitUntil("the channel opens", [this] { return m_channel && m_channel->isConnected(); });
    }
    ~SteadyLesson() { demand("the teacher signs out", m_client->doLogout()); }
    Q_DISABLE_COPY_MOVE(SteadyLesson)

    PresenterCollab *channel() const { return m_channel; }
    QString token() const { return m_client->getSessionToken(); }

private:
    void demand(const char *what, bool isDone)
    {
        if (isDone)
            return;
        const PresenterClient::Reply reply = m_client->getLastReply();
        std::fprintf(stderr, "steady: %d %d %s %s\n", reply.error, reply.httpStatus,
                     qPrintable(reply.errorText), qPrintable(reply.text));
        giveUp(what);
    }

    std::unique_ptr<PresenterClient> m_client;
    QPointer<PresenterCollab> m_channel;
};

void startPoll(PresenterCollab *channel)
{
    channel->startPoll(Tarvo::PollType::MULTIPLE, Tarvo::OrdinalType::ALPHA_UPPER, 4, 0);
}

// What has been given up is freed in the background. What is still there after a while has been forgotten.
class Settling
{
public:
    void wait()
    {
        if (m_threads == 0) {
            turnUntil(FIRST_MS, [] { return false; });
            m_threads = threads();
            m_descriptors = descriptors();
        }
        turnUntil(LIMIT_MS,
                  [this] { return threads() <= m_threads && descriptors() <= m_descriptors; });
    }

private:
    static constexpr int FIRST_MS = 1000;
    static constexpr int LIMIT_MS = 5000;
    int m_threads = 0; // after the first lesson
    int m_descriptors = 0;
};

void holdLessons(const Options &options)
{
    const int lookEvery = qMax(1, options.lessons / LOOKS);
    Settling settling;
    for (int held = 1; held <= options.lessons; ++held) {
        {
            const SteadyLesson lesson(options);
            startPoll(lesson.channel());
            lesson.channel()->stopPoll();
        }
        settling.wait();
        if (held % lookEvery == 0)
            look("lessons", held);
    }
}

// ---- The long lesson -----------------------------------------------------------------------------

// What run.js says, a word at a time.
class Director
{
public:
    Director()
    {
        QObject::connect(&m_notifier, &QSocketNotifier::activated, [this] {
            char bytes[64];
            const auto size = read(STDIN_FILENO, bytes, sizeof bytes);
            if (size <= 0)
                giveUp("run.js is gone");
            m_words += QByteArray(bytes, static_cast<int>(size));
        });
    }
    void await(const char *word)
    {
        waitUntil(word, [this, word] { return m_words.contains(word); });
    }

private:
    QSocketNotifier m_notifier{STDIN_FILENO, QSocketNotifier::Read};
    QByteArray m_words;
};

// What comes from the devices: answers, numbered, and a message of its own behind the last of them.
class Ear
{
public:
    explicit Ear(PresenterCollab *channel)
    {
        QObject::connect(channel, &PresenterCollab::learnerPollResponse,
                         [this](const QString &, const QString &, int, const QString &answer) {
                             if (answer.section(QLatin1Char(' '), 0, 0).toInt()
                                 == heard % DISTINCT_MESSAGES)
                                 ++inOrder;
                             ++heard;
                         });
        QObject::connect(channel, &PresenterCollab::unhandledMessage,
                         [this] { hasHeardLast = true; });
    }

    int heard = 0;
    int inOrder = 0;
    bool hasHeardLast = false;
};

// Publishes at the rate that was asked for, so far as the connection carries it: once a second, and in the default
// way over HTTP, where each message is a post of its own, before every tick, everything has left.
class Mouth
{
public:
    Mouth(PresenterCollab *channel, const Options &options)
        : m_channel(channel), m_options(options),
          m_ticksAtOnce(!options.isRobust && options.transport != "websocket" ? 1 : TICKS_A_SECOND)
    {
        m_clock.start();
        m_timer.setTimerType(Qt::PreciseTimer);
        QObject::connect(&m_timer, &QTimer::timeout, [this] { catchUp(); });
        m_timer.start(TICK_MS);
    }

    int sent() const { return m_sent; }

private:
    void catchUp()
    {
        if (m_ticks >= m_ticksAtOnce && m_channel->hasUnsentMessages())
            return;
        m_ticks = m_ticks >= m_ticksAtOnce ? 1 : m_ticks + 1;
        const qint64 due = m_clock.elapsed() * m_options.rate / 1000;
        for (int i = 0; i < MOST_AT_ONCE && m_sent < due; ++i)
            publishOne();
    }
    void publishOne()
    {
        if (m_sent % POLL_EVERY == POLL_EVERY - 1) {
            startPoll(m_channel);
        } else {
            const QString filling(m_sent * 37 % LONGEST_FILLING, QLatin1Char('x'));
            m_channel->publishMessage(QStringLiteral(".learner"), QStringLiteral("tick"),
                                      QStringLiteral(R"({"number":%1,"filling":"%2"})")
                                          .arg(QString::number(m_sent), filling));
        }
        ++m_sent;
    }

    PresenterCollab *m_channel;
    Options m_options;
    int m_ticksAtOnce;
    int m_ticks = 0; // since everything had left
    QElapsedTimer m_clock;
    QTimer m_timer;
    int m_sent = 0;
};

int publishAll(PresenterCollab *channel, const Options &options)
{
    const Mouth mouth(channel, options);
    const int lookEveryMs = qMax(1, options.seconds * 1000 / LOOKS);
    QElapsedTimer clock;
    clock.start();
    for (int looks = 1; looks <= LOOKS; ++looks) {
        turnUntil(lookEveryMs, [&] { return clock.hasExpired(qint64(looks) * lookEveryMs); });
        look("messages", clock.elapsed() / 1000);
    }
    return mouth.sent();
}

void holdLongLesson(const Options &options)
{
    Director director;
    const SteadyLesson lesson(options);
    const Ear ear(lesson.channel());
    std::printf("session %s\n", qPrintable(lesson.token()));
    std::fflush(stdout);
    director.await("go");
    std::printf("sent %d\n", publishAll(lesson.channel(), options));
    std::fflush(stdout);
    waitUntil("the devices' last message", [&ear] { return ear.hasHeardLast; });
    std::printf("heard %d %d\n", ear.heard, ear.inOrder);
    std::fflush(stdout);
    director.await("end");
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    // Lines are made as ever, but nobody reads them.
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
    const QStringList words = QCoreApplication::arguments().mid(1);
    if (words.size() != 6)
        giveUp("six arguments");
    const Options options{words.at(0),         words.at(1),         words.at(2) == "robust",
                          words.at(3).toInt(), words.at(4).toInt(), words.at(5).toInt()};
    holdLessons(options);
    if (options.seconds > 0)
        holdLongLesson(options);
    return 0;
}
