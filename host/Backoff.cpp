#include "host/Backoff.h"

#include <QtCore/QRandomGenerator>

#include <limits>
#include <utility>

namespace Tarvo
{

namespace
{

const int FIRST_SPAN_MS = 1000; // the first pause is shorter
const int SHORTEST_MS = 1000;   // the second, which doubles from then on
const int MOST_DOUBLINGS = 30;  // beyond every longest pause

} // namespace

Backoff::Backoff() : Backoff([] { return QRandomGenerator::system()->generateDouble(); }) { }

Backoff::Backoff(Random random) : m_random(std::move(random)) { }

void Backoff::setLongest(int ms)
{
    m_longestMs = qMax(0, ms);
}

int Backoff::next()
{
    const double random = qBound(0.0, m_random(), 1.0);
    const int pauses = m_count;
    m_count = qMin(m_count + 1, MOST_DOUBLINGS);
    if (pauses == 0) {
        const int span = qMin(FIRST_SPAN_MS, m_longestMs);
        return qBound(0, int(random * span), qMax(0, span - 1));
    }
    const qint64 base = qMin(qint64(SHORTEST_MS) << (pauses - 1), qint64(m_longestMs));
    const qint64 pause = qRound64(double(base) * (0.5 + random));
    return int(qMin(pause, qint64(std::numeric_limits<int>::max())));
}

void Backoff::reset()
{
    m_count = 0;
}

} // namespace Tarvo
