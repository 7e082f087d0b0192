#pragma once

#include <QtCore/QProcess>

#include <csignal>
#include <functional>
#include <sys/prctl.h>

// As that for Qt 5, which tells what it is for.
class ChildProcess : public QProcess
{
public:
    ChildProcess() { setInChild({}); }

protected:
    void setInChild(const std::function<void()> &action)
    {
        setChildProcessModifier([action] {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            if (action)
                action();
        });
    }
};
