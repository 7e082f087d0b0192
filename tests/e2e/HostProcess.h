#pragma once

#include "ChildProcess.h"

#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtTest/QtTest>

// A host as a child process, with what it wrote. It is killed when the object goes.
//
// Waiting lets the event loop of the test turn.
class HostProcess : public ChildProcess
{
public:
    static constexpr int LIMIT_MS = 80000;

    HostProcess()
    {
        connect(this, &QProcess::readyReadStandardOutput, this,
                [this] { m_output += QString::fromUtf8(readAllStandardOutput()); });
        connect(this, &QProcess::readyReadStandardError, this,
                [this] { m_errors += QString::fromUtf8(readAllStandardError()); });
    }
    ~HostProcess() override
    {
        kill();
        waitForFinished();
    }

    // The exit code, or -1 when it crashed or did not end in time.
    int ended(int limitMs = LIMIT_MS)
    {
        const bool hasEnded =
            QTest::qWaitFor([this] { return state() == QProcess::NotRunning; }, limitMs);
        return hasEnded && exitStatus() == QProcess::NormalExit ? exitCode() : -1;
    }
    bool says(const QString &text)
    {
        return QTest::qWaitFor(
                   [&] { return m_output.contains(text) || state() == QProcess::NotRunning; },
                   LIMIT_MS)
            && m_output.contains(text);
    }

    QString output() const { return m_output; }
    QString errors() const { return m_errors; }
    QStringList lines() const { return m_output.split(QLatin1Char('\n')); }

private:
    QString m_output;
    QString m_errors;
};
