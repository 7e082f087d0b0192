#include "console/Input.h"

#include "console/Terminal.h"

#include <QtCore/QSocketNotifier>

#include <cerrno>
#include <sys/stat.h>
#include <unistd.h>

namespace Host
{

namespace
{

constexpr int READ_BYTES = 4096;

} // namespace

Input::Input(Terminal &terminal, QObject *parent) : QObject(parent), m_terminal(terminal) { }

void Input::start()
{
    if (m_terminal.hasPrompt()) {
        connect(&m_terminal.editor(), &LineEditor::line, this, &Input::line);
        connect(&m_terminal.editor(), &LineEditor::ended, this, &Input::ended);
        return m_terminal.editor().start();
    }
    m_notifier = new QSocketNotifier(STDIN_FILENO, QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, &Input::readPiped);
}

bool Input::isNone()
{
    struct stat status {
    };
    if (fstat(STDIN_FILENO, &status) != 0)
        return true;
    return S_ISCHR(status.st_mode) && !isatty(STDIN_FILENO);
}

void Input::readPiped()
{
    char bytes[READ_BYTES];
    const ssize_t count = read(STDIN_FILENO, bytes, sizeof(bytes));
    if (count < 0 && (errno == EINTR || errno == EAGAIN))
        return;
    if (count > 0)
        m_unfinished.append(bytes, int(count));
    for (int end = m_unfinished.indexOf('\n'); end >= 0; end = m_unfinished.indexOf('\n')) {
        const QByteArray whole = m_unfinished.left(end);
        m_unfinished.remove(0, end + 1);
        emit line(QString::fromUtf8(whole));
    }
    if (count > 0)
        return;
    if (!m_unfinished.isEmpty())
        emit line(QString::fromUtf8(m_unfinished));
    m_unfinished.clear();
    m_notifier->setEnabled(false);
    emit ended();
}

} // namespace Host
