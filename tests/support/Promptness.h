#pragma once

#include "Slowness.h"

#include <QtCore/QString>
#include <QtCore/QStringList>

// That something takes no longer than promised, however busy the machine is: a machine that has stopped the
// test for a while makes one measurement too long, code that is too slow makes all of them so. One that keeps
// within its limits is enough. A build that is slower by itself has so many times as long.
//
//     Promptness promptness;
//     while (promptness.isOpen()) {
//         ... what takes the time, from the beginning ...
//         promptness.take(clock.elapsed(), 2000);
//     }
//     VERIFY_PROMPT(promptness);
class Promptness
{
public:
    explicit Promptness(int slowness = SLOWNESS) : m_slowness(slowness) { }

    // Whether to measure, once more perhaps.
    bool isOpen()
    {
        if (m_count > 0 && m_isWithin) {
            m_isKept = true;
            return false;
        }
        m_isWithin = true;
        return ++m_count <= MOST;
    }

    // A time of this measurement. One measurement may have several, which have to keep their limits together.
    void take(qint64 time, qint64 limit, const QString &unit = QStringLiteral("ms"))
    {
        const qint64 longest = limit * m_slowness;
        if (time <= longest)
            return;
        m_isWithin = false;
        m_excesses += QStringLiteral("%1 %2 instead of %3").arg(time).arg(unit).arg(longest);
    }

    bool isKept() const { return m_isKept; }
    QString excesses() const { return m_excesses.join(QStringLiteral(", ")); }

private:
    static constexpr int MOST = 3;

    const int m_slowness;
    int m_count = 0; // of the measurements that were begun
    bool m_isWithin = false;
    bool m_isKept = false;
    QStringList m_excesses;
};

#define VERIFY_PROMPT(promptness) \
    QVERIFY2((promptness).isKept(), qPrintable((promptness).excesses()))
