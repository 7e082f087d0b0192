#include "sockjs/Patience.h"

namespace
{

// Enough for all that waits in the event queue and in the system's buffers.
constexpr int LAST_LOOK_MS = 100;

} // namespace

Patience::Patience(QObject *parent) : QObject(parent)
{
    m_timer.setSingleShot(true);
    connect(&m_timer, &QTimer::timeout, this, &Patience::onTimeout);
}

void Patience::start(int ms)
{
    m_isLastLook = false;
    m_timer.start(ms);
}

void Patience::stop()
{
    m_timer.stop();
}

void Patience::onTimeout()
{
    if (m_isLastLook) {
        Q_EMIT ended();
        return;
    }
    m_isLastLook = true;
    m_timer.start(LAST_LOOK_MS);
}
