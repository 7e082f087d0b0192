// A program in which two threads touch the same memory, with an order or without one: its argument names the
// function. When the thread sanitizer has seen a race, it ends with 66.

#include <QtCore/QCoreApplication>
#include <QtCore/QMutex>
#include <QtCore/QSemaphore>
#include <QtCore/QThread>
#include <QtCore/QWaitCondition>

#include <array>
#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <string>

// What a signal takes along is copied by code that the sanitizer sees.
struct Parcel {
    int content = 0;
};
Q_DECLARE_METATYPE(Parcel)

namespace
{

constexpr int ROUNDS = 1000; // a thread that is busy hears of several events at once

class Sender : public QObject
{
    Q_OBJECT

Q_SIGNALS:
    void sent();
    void parcelSent(Parcel parcel);
    void textSent(const QString &text);
};

class Receiver : public QObject
{
    Q_OBJECT

public:
    explicit Receiver(std::function<void()> act) : m_act(std::move(act)) { }
    bool event(QEvent *event) override
    {
        if (event->type() == QEvent::User)
            m_act();
        return QObject::event(event);
    }

public Q_SLOTS:
    void act() { m_act(); }
    void take(Parcel parcel)
    {
        m_sum += parcel.content;
        m_act();
    }

private:
    std::function<void()> m_act;
    int m_sum = 0;
};

// A thread with an event loop, which ends with the object.
class Loop
{
    Q_DISABLE_COPY(Loop)

public:
    Loop() { m_thread.start(); }
    ~Loop()
    {
        m_thread.quit();
        m_thread.wait();
    }
    void take(QObject *object) { object->moveToThread(&m_thread); }

private:
    QThread m_thread;
};

// The one way of the result: whoever waits here is told nothing but the number.
void waitFor(const std::atomic<int> &count, int number)
{
    while (count.load(std::memory_order_relaxed) < number)
        QThread::msleep(1);
}

// ---- In order -----------------------------------------------------------------------------------

// Writes a number and posts, a thousand times; the other thread reads one each time.
template<typename Post> void readWhatWasWritten(Post post)
{
    std::array<int, ROUNDS> numbers;
    std::atomic<int> heard{0};
    Receiver receiver([&] {
        const int now = heard.load(std::memory_order_relaxed);
        numbers[size_t(now)] += 1;
        heard.store(now + 1, std::memory_order_relaxed);
    });
    Sender sender;
    QObject::connect(&sender, &Sender::sent, &receiver, &Receiver::act);
    QObject::connect(&sender, &Sender::parcelSent, &receiver, &Receiver::take);
    Loop loop;
    loop.take(&receiver);
    for (int &number : numbers) {
        number = 7;
        post(sender, receiver);
    }
    waitFor(heard, ROUNDS);
}

void signal()
{
    readWhatWasWritten([](Sender &sender, Receiver &) { Q_EMIT sender.sent(); });
}

void signalWithValue()
{
    readWhatWasWritten([](Sender &sender, Receiver &) { Q_EMIT sender.parcelSent({}); });
}

void invokedFunctor()
{
    readWhatWasWritten([](Sender &, Receiver &receiver) {
        QMetaObject::invokeMethod(
            &receiver, [&receiver] { receiver.act(); }, Qt::QueuedConnection);
    });
}

void invokedByName()
{
    readWhatWasWritten([](Sender &, Receiver &receiver) {
        QMetaObject::invokeMethod(&receiver, "act", Qt::QueuedConnection);
    });
}

void postedEvent()
{
    readWhatWasWritten([](Sender &, Receiver &receiver) {
        QCoreApplication::postEvent(&receiver, new QEvent(QEvent::User));
    });
}

// The caller's stack is used again at once.
void awaitedFunctor()
{
    int sum = 0;
    Receiver receiver([&] { ++sum; });
    Loop loop;
    loop.take(&receiver);
    for (int round = 0; round < ROUNDS; ++round) {
        ++sum;
        QMetaObject::invokeMethod(
            &receiver, [&receiver, round] { round < ROUNDS ? receiver.act() : void(); },
            Qt::BlockingQueuedConnection);
    }
}

// The other thread has read what this one frees, and its event has let go of it.
void sharedText()
{
    std::atomic<int> heard{0};
    Receiver receiver([] {});
    Loop loop;
    loop.take(&receiver);
    Sender sender;
    QObject::connect(&sender, &Sender::textSent, &receiver, [&heard](const QString &text) {
        heard.fetch_add(text.size(), std::memory_order_relaxed);
    });
    QString before;
    for (int round = 0; round < ROUNDS / 10; ++round) {
        const QString text(1, QChar(round));
        Q_EMIT sender.textSent(text);
        waitFor(heard, round + 1);
        before = text;
    }
}

// The functor that the other thread has called goes with the connection.
void disconnectedFunctor()
{
    for (int round = 0; round < 50; ++round) {
        std::atomic<int> heard{0};
        Receiver receiver([] {});
        Loop loop;
        loop.take(&receiver);
        Sender sender;
        QObject::connect(&sender, &Sender::sent, &receiver,
                         [&heard] { heard.store(1, std::memory_order_relaxed); });
        Q_EMIT sender.sent();
        waitFor(heard, 1);
    }
}

void deletedLater()
{
    std::array<int, ROUNDS> numbers;
    std::atomic<int> gone{0};
    Loop loop;
    for (int &number : numbers) {
        auto *object = new Receiver([] {});
        QObject::connect(object, &QObject::destroyed, [&number, &gone] {
            ++number;
            gone.fetch_add(1, std::memory_order_relaxed);
        });
        loop.take(object);
        number = 7;
        object->deleteLater();
    }
    waitFor(gone, ROUNDS);
}

// The thread has ended before anybody waits for it.
void endedThread()
{
    for (int round = 0; round < 20; ++round) {
        int number = 7;
        std::atomic<int> written{0};
        const std::unique_ptr<QThread> thread(QThread::create([&] {
            ++number;
            written.store(1, std::memory_order_relaxed);
        }));
        thread->start();
        waitFor(written, 1);
        QThread::msleep(5);
        thread->wait();
        ++number;
    }
}

template<typename Act> void onTwoThreads(Act act)
{
    const std::unique_ptr<QThread> thread(QThread::create(act));
    thread->start();
    act();
    thread->wait();
}

void mutex()
{
    int sum = 0;
    QMutex guard;
    onTwoThreads([&] {
        for (int round = 0; round < ROUNDS; ++round) {
            const QMutexLocker lock(&guard);
            ++sum;
        }
    });
}

void waitCondition()
{
    int turn = 0;
    QMutex guard;
    QWaitCondition changed;
    onTwoThreads([&] {
        const QMutexLocker lock(&guard);
        for (const int before = turn; turn < before + ROUNDS; ++turn) {
            changed.wakeAll();
            changed.wait(&guard, 1);
        }
        changed.wakeAll();
    });
}

void semaphore()
{
    int sum = 0;
    QSemaphore free(1);
    onTwoThreads([&] {
        for (int round = 0; round < ROUNDS; ++round) {
            free.acquire();
            ++sum;
            free.release();
        }
    });
}

// ---- Races --------------------------------------------------------------------------------------

void raceBehindASignal()
{
    int number = 0;
    std::atomic<int> heard{0};
    Receiver receiver([&] {
        ++number;
        heard.store(1, std::memory_order_relaxed);
    });
    Sender sender;
    QObject::connect(&sender, &Sender::sent, &receiver, &Receiver::act);
    Loop loop;
    loop.take(&receiver);
    Q_EMIT sender.sent();
    ++number; // nobody has heard yet, or perhaps somebody has
    waitFor(heard, 1);
}

void raceOfTwoLoops()
{
    int number = 0;
    onTwoThreads([&] {
        for (int round = 0; round < ROUNDS; ++round)
            ++number;
    });
}

// Each has events of its own, and what the one emits, the other does not hear.
void raceBesideEvents()
{
    int number = 0;
    onTwoThreads([&] {
        Sender sender;
        Receiver receiver([&] { ++number; });
        QObject::connect(&sender, &Sender::sent, &receiver, &Receiver::act, Qt::QueuedConnection);
        for (int round = 0; round < ROUNDS; ++round) {
            Q_EMIT sender.sent();
            QCoreApplication::sendPostedEvents(&receiver);
        }
    });
}

void raceUnderTwoMutexes()
{
    int number = 0;
    onTwoThreads([&] {
        QMutex guard;
        for (int round = 0; round < ROUNDS; ++round) {
            const QMutexLocker lock(&guard);
            ++number;
        }
    });
}

void raceBeforeTheThreadHasEnded()
{
    int number = 0;
    const std::unique_ptr<QThread> thread(QThread::create([&] { ++number; }));
    thread->start();
    ++number;
    thread->wait();
}

const std::map<std::string, void (*)()> FUNCTIONS{
    {"signal", signal},
    {"signalWithValue", signalWithValue},
    {"invokedFunctor", invokedFunctor},
    {"invokedByName", invokedByName},
    {"awaitedFunctor", awaitedFunctor},
    {"postedEvent", postedEvent},
    {"disconnectedFunctor", disconnectedFunctor},
    {"sharedText", sharedText},
    {"deletedLater", deletedLater},
    {"endedThread", endedThread},
    {"mutex", mutex},
    {"waitCondition", waitCondition},
    {"semaphore", semaphore},
    {"raceBehindASignal", raceBehindASignal},
    {"raceOfTwoLoops", raceOfTwoLoops},
    {"raceBesideEvents", raceBesideEvents},
    {"raceUnderTwoMutexes", raceUnderTwoMutexes},
    {"raceBeforeTheThreadHasEnded", raceBeforeTheThreadHasEnded},
};

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    qRegisterMetaType<Parcel>();
    const auto found = FUNCTIONS.find(argc > 1 ? argv[1] : "");
    if (found == FUNCTIONS.end())
        return 2;
    found->second();
    return 0;
}

#include "racing_threads.moc"
