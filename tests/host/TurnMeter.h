#pragma once

#include "sockjs/CpuTime.h"

#include <QtCore/QAbstractEventDispatcher>
#include <QtCore/QCoreApplication>
#include <QtCore/QElapsedTimer>
#include <QtCore/QThread>
#include <QtCore/QVector>

#include <algorithm>
#include <numeric>
#include <utility>

// Durations in milliseconds: of the processor's work, and by the clock on the wall.
class Durations
{
public:
    void add(double cpu, double wall)
    {
        m_cpu.append(cpu);
        m_wall.append(wall);
    }
    int count() const { return m_cpu.size(); }
    double total() const { return std::accumulate(m_cpu.begin(), m_cpu.end(), 0.0); }
    // What 999 of 1000 do not exceed.
    double highest() const
    {
        QVector<double> sorted = m_cpu;
        std::sort(sorted.begin(), sorted.end());
        return sorted.value(qMin(sorted.size() - 1, sorted.size() * 999 / 1000));
    }
    double worst() const { return worst(m_cpu); }
    double worstWall() const { return worst(m_wall); }

private:
    static double worst(const QVector<double> &values)
    {
        return values.isEmpty() ? 0 : *std::max_element(values.begin(), values.end());
    }

    QVector<double> m_cpu;
    QVector<double> m_wall;
};

// A stretch of work on the calling thread.
class Stretch
{
public:
    Stretch() { m_clock.start(); }
    double cpu() const { return cpuMs(CLOCK_THREAD_CPUTIME_ID) - m_start; }
    double wall() const { return double(m_clock.nsecsElapsed()) / 1e6; }

private:
    double m_start = cpuMs(CLOCK_THREAD_CPUTIME_ID);
    QElapsedTimer m_clock;
};

// An application that measures what its thread does between two looks at what has come in: all the
// events of a turn together, as long as they hold up a window.
class MeteredApplication : public QCoreApplication
{
public:
    MeteredApplication(int &argc, char **argv) : QCoreApplication(argc, argv)
    {
        connect(QAbstractEventDispatcher::instance(), &QAbstractEventDispatcher::awake, this,
                &MeteredApplication::endTurn);
    }
    static MeteredApplication *self() { return static_cast<MeteredApplication *>(instance()); }

    bool notify(QObject *receiver, QEvent *event) override
    {
        // Events of every thread come by.
        if (QThread::currentThread() != thread() || m_depth > 0)
            return QCoreApplication::notify(receiver, event);
        const Stretch stretch;
        ++m_depth;
        const bool isTaken = QCoreApplication::notify(receiver, event);
        --m_depth;
        m_turnCpu += stretch.cpu();
        m_turnWall += stretch.wall();
        return isTaken;
    }

    // What was measured since the last time.
    Durations take()
    {
        endTurn();
        return std::exchange(m_turns, {});
    }

private:
    void endTurn()
    {
        if (m_turnWall > 0)
            m_turns.add(m_turnCpu, m_turnWall);
        m_turnCpu = m_turnWall = 0;
    }

    int m_depth = 0;
    double m_turnCpu = 0;
    double m_turnWall = 0;
    Durations m_turns;
};
