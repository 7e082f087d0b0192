#include "console/SignalPipe.h"

#include <QtCore/QSocketNotifier>

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <unistd.h>

namespace Host
{

namespace
{

constexpr int HANDLED_SIGNALS[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGWINCH, SIGCONT};

int pipeEnds[2] = {-1, -1}; // read end, write end

void noteSignal(int number)
{
    const int savedErrno = errno;
    const char byte = char(number);
    // A full pipe means that the loop has plenty to read already.
    const ssize_t written = write(pipeEnds[1], &byte, 1);
    static_cast<void>(written);
    errno = savedErrno;
}

void handleSignals(void (*handler)(int))
{
    for (const int number : HANDLED_SIGNALS) {
        struct sigaction action = {};
        action.sa_handler = handler;
        action.sa_flags = SA_RESTART;
        sigemptyset(&action.sa_mask);
        sigaction(number, &action, nullptr);
    }
}

} // namespace

SignalPipe::SignalPipe(QObject *parent) : QObject(parent)
{
    if (pipe2(pipeEnds, O_CLOEXEC | O_NONBLOCK) != 0)
        return; // signals keep their default action
    m_notifier = new QSocketNotifier(pipeEnds[0], QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, &SignalPipe::readPending);
    handleSignals(&noteSignal);
}

SignalPipe::~SignalPipe()
{
    if (!m_notifier)
        return;
    handleSignals(SIG_DFL);
    delete m_notifier;
    close(pipeEnds[0]);
    close(pipeEnds[1]);
}

void SignalPipe::readPending()
{
    char numbers[64];
    const ssize_t count = read(pipeEnds[0], numbers, sizeof(numbers));
    for (ssize_t i = 0; i < count; ++i)
        tell(numbers[i]);
}

void SignalPipe::tell(int number)
{
    if (number == SIGINT)
        emit interrupted();
    else if (number == SIGWINCH)
        emit screenChanged();
    else if (number == SIGCONT)
        emit continued();
    else
        emit terminated();
}

} // namespace Host
