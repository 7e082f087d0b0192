#include "host/WakeWatch.h"

#include <QtCore/QDateTime>
#include <QtNetwork/QNetworkInterface>

#include <utility>

namespace Tarvo
{

namespace
{

const int LOOK_EVERY_MS = 1000;
const int ADDRESSES_EVERY_LOOKS = 3; // asking the system for them takes its time
// The clocks drift, and the wall clock is set: by less than this it is no sleep.
const qint64 SLEPT_MS = 5000;

bool carriesTraffic(const QNetworkInterface &adapter)
{
    const auto flags = adapter.flags();
    return flags.testFlag(QNetworkInterface::IsUp) && flags.testFlag(QNetworkInterface::IsRunning)
        && !flags.testFlag(QNetworkInterface::IsLoopBack);
}

// Every adapter gives itself link-local addresses, also where no network has answered: no service is
// reached from them.
QSet<QString> usableAddresses()
{
    QSet<QString> addresses;
    const QList<QNetworkInterface> adapters = QNetworkInterface::allInterfaces();
    for (const QNetworkInterface &adapter : adapters) {
        if (!carriesTraffic(adapter))
            continue;
        const QList<QNetworkAddressEntry> entries = adapter.addressEntries();
        for (const QNetworkAddressEntry &entry : entries) {
            if (!entry.ip().isLinkLocal() && !entry.ip().isLoopback())
                addresses.insert(entry.ip().toString());
        }
    }
    return addresses;
}

} // namespace

WakeWatch::Senses WakeWatch::system()
{
    QElapsedTimer clock;
    clock.start();
    return {&QDateTime::currentMSecsSinceEpoch, [clock] { return clock.elapsed(); },
            &usableAddresses};
}

WakeWatch::WakeWatch(QObject *parent, Senses senses)
    : QObject(parent), m_senses(std::move(senses)), m_timer(this)
{
    m_timer.setInterval(LOOK_EVERY_MS);
    connect(&m_timer, &QTimer::timeout, this, &WakeWatch::look);
}

void WakeWatch::start()
{
    m_lead = m_senses.wallMs() - m_senses.monotonicMs();
    m_addresses = m_senses.addresses();
    m_looks = 0;
    m_timer.start();
}

void WakeWatch::stop()
{
    m_timer.stop();
}

void WakeWatch::look()
{
    const bool slept = hasSlept();
    const bool connected = hasNewAddress();
    if (slept || connected)
        Q_EMIT changed();
}

// The monotonic clock stands still while the computer sleeps. A wall clock that was set back is no sleep.
bool WakeWatch::hasSlept()
{
    const qint64 lead = m_senses.wallMs() - m_senses.monotonicMs();
    const qint64 before = std::exchange(m_lead, lead);
    return lead - before > SLEPT_MS;
}

bool WakeWatch::hasNewAddress()
{
    if (++m_looks % ADDRESSES_EVERY_LOOKS != 0)
        return false;
    const QSet<QString> now = m_senses.addresses();
    const QSet<QString> before = std::exchange(m_addresses, now);
    return !before.contains(now);
}

} // namespace Tarvo
