#include "sockjs/Patience.h"

#include <utility>

Patience::Patience(QObject *parent) : QObject(parent)
{
    m_timer.setSingleShot(true);
    connect(&m_timer, &QTimer::timeout, this, &Patience::onTimeout);
}

void Patience::start(int ms, int lastLookMs)
{
    m_lastLookMs = lastLookMs;
    m_timer.start(ms);
}

void Patience::startOrShorten(int ms)
{
    if (!m_timer.isActive() || m_timer.remainingTime() > ms)
        start(ms);
}

void Patience::stop()
{
    m_timer.stop();
}

void Patience::onTimeout()
{
    if (m_lastLookMs > 0)
        m_timer.start(std::exchange(m_lastLookMs, 0));
    else
        Q_EMIT ended();
}
