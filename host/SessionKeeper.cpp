#include "host/SessionKeeper.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QDeadlineTimer>
#include <QtCore/QEventLoop>

#include <algorithm>
#include <chrono>
#include <future>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace Tarvo
{

namespace
{

// How long the end of the application waits for all sessions together; the requests that are out are
// given up a little earlier, so that the threads can end.
constexpr int LAST_WAIT_MS = 5000;
constexpr int GIVING_UP_MS = 4500;

// The thread of one runner. Not a QThread: its wait() returns before the thread has freed what other
// libraries keep for it (OpenSSL its random numbers), and the process must not end in the midst of that.
class RunnerThread
{
public:
    RunnerThread(std::shared_ptr<ToRunner> requests, const std::shared_ptr<ToHost> &notices)
        : m_requests(std::move(requests)), m_thread(run, m_requests, notices, std::move(m_ended))
    {
    }

    ToRunner &requests() { return *m_requests; }

    // Waits for the thread, and true once it has gone.
    bool join(const QDeadlineTimer &deadline)
    {
        const std::chrono::milliseconds rest(deadline.remainingTime());
        if (m_hasEnded.wait_for(rest) != std::future_status::ready)
            return false;
        m_thread.join();
        return true;
    }

    // It ends with the process.
    void abandon() { m_thread.detach(); }

private:
    static void run(const std::shared_ptr<ToRunner> &requests,
                    const std::shared_ptr<ToHost> &notices, std::promise<void> ended)
    {
        QEventLoop loop;
        {
            ClassRunner runner(requests, notices);
            QObject::connect(&runner, &ClassRunner::finished, &loop, &QEventLoop::quit);
            loop.exec();
        }
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        ended.set_value();
    }

    const std::shared_ptr<ToRunner> m_requests;
    std::promise<void> m_ended;
    const std::future<void> m_hasEnded = m_ended.get_future();
    std::thread m_thread;
};

class Keeper
{
public:
    void add(std::unique_ptr<RunnerThread> thread)
    {
        const std::lock_guard lock(m_mutex);
        const auto isOver = [](const auto &one) { return one->join(QDeadlineTimer(0)); };
        m_threads.erase(std::remove_if(m_threads.begin(), m_threads.end(), isOver),
                        m_threads.end());
        m_threads.push_back(std::move(thread));
    }

    // The application ends, and so do the sessions that still run.
    void endAll()
    {
        std::vector<std::unique_ptr<RunnerThread>> threads;
        {
            const std::lock_guard lock(m_mutex);
            threads.swap(m_threads);
        }
        for (const auto &thread : threads) {
            SessionKeeper::letGo(thread->requests());
            thread->requests().post(
                {Action::None, 0, [](ClassRunner &runner, int) { runner.hurry(GIVING_UP_MS); }});
        }
        const QDeadlineTimer deadline(LAST_WAIT_MS);
        for (const auto &thread : threads) {
            if (!thread->join(deadline))
                abandon(*thread);
        }
    }

private:
    static void abandon(RunnerThread &thread)
    {
        thread.abandon();
        qWarning("[LiveClass] A session may still be open: the application has ended before the "
                 "service has confirmed that it has stopped.");
    }

    std::mutex m_mutex;
    std::vector<std::unique_ptr<RunnerThread>> m_threads;
};

// Never destroyed: threads may outlive every static object.
Keeper &keeper()
{
    static auto *const instance = new Keeper;
    return *instance;
}

// While there is an application object still, which the client's requests need.
void endAllSessions()
{
    keeper().endAll();
}

void watchApplication()
{
    qAddPostRoutine(endAllSessions);
}

} // namespace

Q_COREAPP_STARTUP_FUNCTION(watchApplication)

void SessionKeeper::keep(const std::shared_ptr<ToRunner> &requests,
                         const std::shared_ptr<ToHost> &notices)
{
    keeper().add(std::make_unique<RunnerThread>(requests, notices));
}

void SessionKeeper::letGo(ToRunner &requests)
{
    requests.post({Action::None, 0, [](ClassRunner &runner, int) { runner.end(); }});
}

} // namespace Tarvo
