#include "console/Terminal.h"

#include <cerrno>
#include <clocale>
#include <langinfo.h>
#include <poll.h>
#include <strings.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace Host
{

namespace
{

constexpr int DEFAULT_COLUMNS = 80;
constexpr int DEFAULT_ROWS = 24;
constexpr int READ_BYTES = 4096;

QString promptText()
{
    return QStringLiteral("lesson> ");
}

winsize terminalSize()
{
    winsize size{};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) {
        size.ws_col = DEFAULT_COLUMNS;
        size.ws_row = DEFAULT_ROWS;
    }
    return size;
}

BarStyle styleOfTerminal()
{
    // Without a terminal the lines may end up anywhere; plain characters are read everywhere.
    const bool isUtf8 = strcasecmp(nl_langinfo(CODESET), "UTF-8") == 0;
    return isatty(STDOUT_FILENO) && isUtf8 ? BarStyle::Blocks : BarStyle::Ascii;
}

// Writes all of it, also to a pipe or terminal that takes only a part at a time or was made
// non-blocking by somebody who shares it.
void writeAll(int descriptor, const QByteArray &bytes)
{
    qsizetype written = 0;
    while (written < bytes.size()) {
        const ssize_t count =
            write(descriptor, bytes.constData() + written, size_t(bytes.size() - written));
        if (count > 0) {
            written += count;
        } else if (errno == EAGAIN) {
            pollfd writable{descriptor, POLLOUT, 0};
            poll(&writable, 1, -1);
        } else if (errno != EINTR) {
            return; // nobody reads any more; the session goes on
        }
    }
}

} // namespace

Terminal::Terminal(QObject *parent) : QObject(parent), m_barStyle(styleOfTerminal()) { }

Terminal::~Terminal()
{
    closePrompt();
}

bool Terminal::openPrompt()
{
    if (!isatty(STDIN_FILENO) || !isatty(STDOUT_FILENO) || tcgetattr(STDIN_FILENO, &m_before) != 0)
        return false;
    m_hasPrompt = true;
    restore();
    return true;
}

void Terminal::closePrompt()
{
    if (!m_hasPrompt)
        return;
    const QMutexLocker lock(&m_mutex);
    writeOut(m_screen.leave());
    tcsetattr(STDIN_FILENO, TCSADRAIN, &m_before);
    m_hasPrompt = false;
}

void Terminal::restore()
{
    if (!m_hasPrompt)
        return;
    termios raw = m_before;
    raw.c_lflag &= ~tcflag_t(ICANON | ECHO); // ISIG stays: Ctrl-C and Ctrl-Z do what they always do
    raw.c_cc[VMIN] = 1;
    raw.c_cc[VTIME] = 0;
    tcsetattr(STDIN_FILENO, TCSADRAIN, &raw);
    const winsize size = terminalSize();
    const QMutexLocker lock(&m_mutex);
    m_screen.setSize(size.ws_col, size.ws_row);
    updateInput();
    redraw();
}

void Terminal::print(const QStringList &lines)
{
    const QMutexLocker lock(&m_mutex);
    if (m_hasPrompt)
        writeOut(m_screen.print(lines));
    else if (!lines.isEmpty())
        writeOut(lines.join(QLatin1Char('\n')) + QLatin1Char('\n'));
}

void Terminal::complain(const QString &line)
{
    const QMutexLocker lock(&m_mutex);
    // Both streams may go to the same place: what was written before has to stand before it.
    if (m_hasPrompt)
        writeOut(m_screen.leave());
    writeAll(STDERR_FILENO, (line + QLatin1Char('\n')).toUtf8());
    if (m_hasPrompt)
        redraw();
}

void Terminal::diagnostic(const QString &line)
{
    complain(line);
}

void Terminal::setBlock(const QStringList &lines)
{
    const QMutexLocker lock(&m_mutex);
    m_screen.setBlock(lines);
    if (m_hasPrompt)
        redraw();
}

int Terminal::columns() const
{
    return isatty(STDOUT_FILENO) ? terminalSize().ws_col : DEFAULT_COLUMNS;
}

bool Terminal::readKeys()
{
    char keys[READ_BYTES];
    const ssize_t count = read(STDIN_FILENO, keys, sizeof(keys));
    if (count < 0)
        return errno == EINTR || errno == EAGAIN;
    if (count == 0)
        return false;
    // Not under the lock, which printing takes: a complete line is carried out from here.
    m_editor.type(QByteArray(keys, int(count)));
    const QMutexLocker lock(&m_mutex);
    updateInput();
    if (m_hasPrompt)
        redraw();
    return true;
}

void Terminal::updateInput()
{
    m_screen.setInput(promptText(), m_editor.text(), m_editor.cursor());
}

void Terminal::redraw()
{
    writeOut(m_screen.redraw());
}

void Terminal::writeOut(const QString &text)
{
    writeAll(STDOUT_FILENO, text.toUtf8());
}

} // namespace Host
