#pragma once

#include <QtCore/QObject>
#include <QtCore/QThreadPool>

#include <functional>
#include <memory>
#include <utility>

namespace Desktop
{

// Tells from a worker thread that work has ended.
class WorkEnd : public QObject
{
    Q_OBJECT

Q_SIGNALS:
    void reached();
};

// Does `work` on a worker thread, and then calls `done` with what it made, from the event loop of this
// thread; not if `context` is gone by then. `work` knows nothing but what it was given.
template<typename Made>
void inBackground(QObject *context, std::function<Made()> work,
                  std::function<void(const Made &)> done)
{
    const auto end = std::make_shared<WorkEnd>();
    const auto made = std::make_shared<Made>();
    QObject::connect(
        end.get(), &WorkEnd::reached, context, [made, done] { done(*made); }, Qt::QueuedConnection);
    QThreadPool::globalInstance()->start([end, made, work = std::move(work)] {
        *made = work();
        Q_EMIT end->reached();
    });
}

} // namespace Desktop
