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
    connect(&m_terminal.editor(), &LineEditor::line, this, &Input::line);
    // Ctrl-D is a wish, which may be asked about; more may be typed.
    connect(&m_terminal.editor(), &LineEditor::ended, this, &Input::ended);
    m_notifier = new QSocketNotifier(STDIN_FILENO, QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, &Input::read);
}

bool Input::isNone()
{
    struct stat status {
    };
    if (fstat(STDIN_FILENO, &status) != 0)
        return true;
    return S_ISCHR(status.st_mode) && !isatty(STDIN_FILENO);
}

void Input::read()
{
    char bytes[READ_BYTES];
    const ssize_t count = ::read(STDIN_FILENO, bytes, sizeof(bytes));
    if (count < 0 && (errno == EINTR || errno == EAGAIN))
        return;
    const QByteArray chunk(bytes, int(qMax<ssize_t>(0, count)));
    if (chunk.isEmpty())
        finish();
    else if (m_terminal.hasPrompt())
        m_terminal.editor().type(chunk); // and this may be gone afterwards
    else
        split(chunk);
}

void Input::split(const QByteArray &chunk)
{
    QList<QByteArray> lines = (m_unfinished + chunk).split('\n');
    m_unfinished = lines.takeLast();
    for (const QByteArray &whole : qAsConst(lines))
        emit line(QString::fromUtf8(whole));
}

void Input::finish()
{
    m_notifier->setEnabled(false);
    if (!m_unfinished.isEmpty())
        emit line(QString::fromUtf8(m_unfinished));
    m_unfinished.clear();
    emit ended();
}

} // namespace Host
