#pragma once

#include <QtCore/QString>
#include <QtCore/QStringList>

// That something takes no longer than promised, however busy the machine is: a machine that has stopped the
// test for a while makes one measurement too long, code that is too slow makes all of them so. One that keeps
// within its limits is enough.
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
    void take(qint64 ms, qint64 limitMs)
    {
        if (ms <= limitMs)
            return;
        m_isWithin = false;
        m_excesses += QStringLiteral("%1 ms instead of %2").arg(ms).arg(limitMs);
    }

    bool isKept() const { return m_isKept; }
    QString excesses() const { return m_excesses.join(QStringLiteral(", ")); }

private:
    static constexpr int MOST = 3;

    int m_count = 0; // of the measurements that were begun
    bool m_isWithin = false;
    bool m_isKept = false;
    QStringList m_excesses;
};

#define VERIFY_PROMPT(promptness) \
    QVERIFY2((promptness).isKept(), qPrintable((promptness).excesses()))
