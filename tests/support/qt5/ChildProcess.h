#pragma once

#include <QtCore/QProcess>

#include <csignal>
#include <functional>
#include <sys/prctl.h>

// A process that is killed when the test ends, however it ends. QProcess has one way to run something in the
// child with Qt 5, and another with Qt 6.
class ChildProcess : public QProcess
{
protected:
    // Runs between fork and exec.
    void setInChild(const std::function<void()> &action) { m_inChild = action; }

private:
    void setupChildProcess() final
    {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (m_inChild)
            m_inChild();
    }

    std::function<void()> m_inChild;
};
