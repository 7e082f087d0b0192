#pragma once

#include <QtCore/QCoreApplication>
#include <QtCore/QEvent>
#include <QtCore/QObject>

#include <deque>
#include <mutex>
#include <utility>

namespace Tarvo
{

// What one thread leaves for an object on another, in order. The object is woken by one event for all
// that waits, of type WAKE, and takes it then.
//
// Shared by both ends; each may go first. Everything that passes goes through the mutex.
template<typename Item> class Mailbox
{
public:
    static constexpr QEvent::Type WAKE = QEvent::User;

    Mailbox() = default;
    Q_DISABLE_COPY_MOVE(Mailbox)

    // From any thread. False, and nothing is kept, when the receiver has closed it. `bytes` is what the
    // item weighs, if that is worth counting.
    bool post(Item item, std::size_t bytes = 0)
    {
        const std::lock_guard lock(m_mutex);
        if (m_isClosed)
            return false;
        m_items.push_back(std::move(item));
        m_bytes += bytes;
        if (m_items.size() == 1)
            wake();
        return true;
    }

    // How much waits.
    std::size_t size() const
    {
        const std::lock_guard lock(m_mutex);
        return m_items.size();
    }
    std::size_t bytes() const
    {
        const std::lock_guard lock(m_mutex);
        return m_bytes;
    }

    // On the receiver's thread.
    void open(QObject *receiver)
    {
        const std::lock_guard lock(m_mutex);
        m_receiver = receiver;
        if (!m_items.empty())
            wake();
    }
    // What waits is gone with it. Before the receiver goes.
    void close()
    {
        std::deque<Item> dropped;
        const std::lock_guard lock(m_mutex);
        m_isClosed = true;
        m_receiver = nullptr;
        m_items.swap(dropped);
    }
    std::deque<Item> take()
    {
        std::deque<Item> items;
        const std::lock_guard lock(m_mutex);
        m_items.swap(items);
        m_bytes = 0;
        return items;
    }

private:
    void wake()
    {
        if (m_receiver)
            QCoreApplication::postEvent(m_receiver, new QEvent(WAKE));
    }

    mutable std::mutex m_mutex;
    std::deque<Item> m_items;
    std::size_t m_bytes = 0;
    QObject *m_receiver = nullptr;
    bool m_isClosed = false;
};

} // namespace Tarvo
