#include "host/SessionKeeper.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QDeadlineTimer>
#include <QtCore/QThread>

#include <algorithm>
#include <mutex>
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

class RunnerThread : public QThread
{
public:
    RunnerThread(std::shared_ptr<ToRunner> requests, std::shared_ptr<ToHost> notices)
        : m_requests(std::move(requests)), m_notices(std::move(notices))
    {
    }

    ToRunner &requests() { return *m_requests; }

protected:
    void run() override
    {
        ClassRunner runner(m_requests, m_notices);
        QObject::connect(&runner, &ClassRunner::finished, this, &QThread::quit,
                         Qt::DirectConnection);
        exec();
    }

private:
    const std::shared_ptr<ToRunner> m_requests;
    const std::shared_ptr<ToHost> m_notices;
};

class Keeper
{
public:
    void add(std::unique_ptr<RunnerThread> thread)
    {
        const std::lock_guard lock(m_mutex);
        const auto isOver = [](const auto &one) { return one->isFinished(); };
        m_threads.erase(std::remove_if(m_threads.begin(), m_threads.end(), isOver),
                        m_threads.end());
        thread->start();
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
        for (auto &thread : threads) {
            if (!thread->wait(deadline))
                abandon(thread.release());
        }
    }

private:
    // A thread that runs cannot be deleted; it ends with the process.
    static void abandon(RunnerThread *)
    {
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
