#include "console/Terminal.h"

#include "console/TextWidth.h"

#include <bsd/readpassphrase.h>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <langinfo.h>
#include <poll.h>
#include <strings.h>
#include <sys/ioctl.h>
#include <unistd.h>
#include <utility>

namespace Host
{

namespace
{

constexpr int DEFAULT_COLUMNS = 80;
constexpr int DEFAULT_ROWS = 24;
constexpr int CANDIDATE_GAP = 2;
// Block and prompt are not drawn sooner for what happens by itself, unless there is more of it.
constexpr int DRAWING_MS = 100;
constexpr int MOST_NEWS = 1000;
constexpr std::size_t MAX_PASSWORD_BYTES = 1024;

// The window of the terminal that the stream goes to.
winsize windowOf(int stream)
{
    winsize size{};
    if (ioctl(stream, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) {
        size.ws_col = DEFAULT_COLUMNS;
        size.ws_row = DEFAULT_ROWS;
    }
    return size;
}

// The lines as they are fit for the stream: a terminal obeys control characters, and breaks lines that
// are too long in the middle of a word.
LiveScreen::Lines rowsFor(int stream, const QStringList &lines)
{
    const bool isTerminal = isatty(stream) != 0;
    const int columns = windowOf(stream).ws_col;
    LiveScreen::Lines rows;
    for (const QString &line : lines) {
        const QString text = printable(line);
        const QStringList parts = isTerminal ? wrapped(text, columns) : QStringList{text};
        for (const QString &part : parts)
            rows.append(part);
    }
    return rows;
}

// The rows for a stream that has no prompt, over the "^C" that a terminal may have echoed.
QString asText(int stream, const LiveScreen::Lines &rows)
{
    QString text;
    for (const Printable &row : rows)
        text += row.text() + QLatin1Char('\n');
    return isatty(stream) ? QLatin1Char('\r') + text : text;
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

Terminal::Terminal(QObject *parent) : QObject(parent), m_barStyle(styleOfTerminal())
{
    connect(&m_editor, &LineEditor::changed, this, &Terminal::showInput);
    connect(&m_editor, &LineEditor::offered, this, &Terminal::offer);
    connect(&m_editor, &LineEditor::screenClearAsked, this, &Terminal::clearScreen);
    m_drawn.start();
    m_drawing.setSingleShot(true);
    connect(&m_drawing, &QTimer::timeout, this, &Terminal::drawDue);
}

Terminal::~Terminal()
{
    closePrompt();
}

bool Terminal::openPrompt()
{
    m_hasPrompt = isatty(STDIN_FILENO) && isatty(STDOUT_FILENO) && m_editor.open();
    fitToWindow();
    return m_hasPrompt;
}

void Terminal::closePrompt()
{
    if (!m_hasPrompt)
        return;
    const QMutexLocker lock(&m_mutex);
    writeOut(m_screen.leave(takeNews()));
    m_hasPrompt = false;
    m_editor.close();
}

void Terminal::restore()
{
    m_editor.resume();
    {
        const QMutexLocker lock(&m_mutex);
        m_screen.forget();
    }
    fitToWindow();
}

void Terminal::fitToWindow()
{
    const QMutexLocker lock(&m_mutex);
    const winsize window = windowOf(STDOUT_FILENO);
    m_screen.setSize(window.ws_col, window.ws_row);
    showInput();
}

void Terminal::print(const QStringList &lines)
{
    const LiveScreen::Lines rows = rowsFor(STDOUT_FILENO, lines);
    const QMutexLocker lock(&m_mutex);
    writeOut(m_hasPrompt ? m_screen.print(takeNews() + rows) : asText(STDOUT_FILENO, rows));
}

void Terminal::tell(const QString &line)
{
    if (!m_hasPrompt)
        return print(line);
    const LiveScreen::Lines rows = rowsFor(STDOUT_FILENO, {line});
    const QMutexLocker lock(&m_mutex);
    m_news += rows;
    drawSoon();
}

void Terminal::complain(const QString &line)
{
    // What takes time is done before: whoever types waits for the streams.
    const QByteArray text = asText(STDERR_FILENO, rowsFor(STDERR_FILENO, {line})).toUtf8();
    const QMutexLocker lock(&m_mutex);
    // Both streams may go to the same place: what was written before has to stand before it.
    if (m_hasPrompt)
        writeOut(m_screen.leave(takeNews()));
    writeAll(STDERR_FILENO, text);
    if (m_hasPrompt)
        redraw();
}

void Terminal::setBlock(const QStringList &lines, int further)
{
    const QMutexLocker lock(&m_mutex);
    m_screen.setBlock(LiveScreen::Lines(lines.cbegin(), lines.cend()), further);
    if (m_hasPrompt)
        drawSoon();
}

int Terminal::columns() const
{
    return windowOf(STDOUT_FILENO).ws_col;
}

int Terminal::rows() const
{
    return windowOf(STDOUT_FILENO).ws_row;
}

// ---- What is typed -------------------------------------------------------------------------------

void Terminal::setPrompt(const QString &prompt)
{
    const QMutexLocker lock(&m_mutex);
    m_prompt = prompt;
    takeInput();
    if (m_hasPrompt)
        drawSoon();
}

void Terminal::showInput()
{
    const QMutexLocker lock(&m_mutex);
    takeInput();
    if (m_hasPrompt)
        redraw();
}

void Terminal::takeInput()
{
    const QString search = m_editor.search();
    const QString prompt =
        search.isEmpty() ? m_prompt : QStringLiteral("(%1) ").arg(search) + m_prompt;
    m_screen.setInput(prompt, m_editor.text(), m_editor.cursor());
}

void Terminal::clearScreen()
{
    const QMutexLocker lock(&m_mutex);
    writeOut(m_screen.clear());
}

// Shows the candidates in columns, as many as fit.
void Terminal::offer(const QStringList &words)
{
    QStringList candidates;
    for (const QString &word : words)
        candidates.append(printable(word));
    int width = 1;
    for (const QString &candidate : qAsConst(candidates))
        width = qMax(width, textWidth(candidate) + CANDIDATE_GAP);
    const int perLine = qMax(1, (columns() + CANDIDATE_GAP) / width);
    QStringList lines;
    for (int i = 0; i < candidates.size(); ++i) {
        if (i % perLine == 0)
            lines.append(QString());
        lines.last() = padded(lines.last(), i % perLine * width) + candidates.at(i);
    }
    print(lines);
}

std::optional<QString> Terminal::askPassword(const QString &prompt)
{
    char password[MAX_PASSWORD_BYTES] = {};
    // Ctrl-C is an answer here; it would otherwise reach the process once the terminal is put back.
    struct sigaction before {
    };
    struct sigaction ignore {
    };
    ignore.sa_handler = SIG_IGN;
    sigaction(SIGINT, &ignore, &before);
    const char *answer = readpassphrase(qUtf8Printable(printable(prompt)), password,
                                        sizeof(password), RPP_REQUIRE_TTY);
    sigaction(SIGINT, &before, nullptr);
    const QString typed = QString::fromUtf8(answer);
    explicit_bzero(password, sizeof(password));
    return typed.isEmpty() ? std::nullopt : std::optional<QString>(typed);
}

void Terminal::drawSoon()
{
    if (m_drawn.hasExpired(DRAWING_MS) || m_news.size() >= MOST_NEWS)
        redraw();
    else if (!m_drawing.isActive())
        m_drawing.start(DRAWING_MS);
}

// On a slow machine the news that came last may have drawn, or the key that was typed, just before.
void Terminal::drawDue()
{
    const QMutexLocker lock(&m_mutex);
    const qint64 left = DRAWING_MS + 1 - m_drawn.elapsed();
    if (left > 0)
        m_drawing.start(int(left));
    else if (m_hasPrompt)
        redraw();
}

void Terminal::redraw()
{
    writeOut(m_screen.print(takeNews()));
    m_drawn.start();
}

LiveScreen::Lines Terminal::takeNews()
{
    return std::exchange(m_news, {});
}

void Terminal::writeOut(const QString &composed)
{
    writeAll(STDOUT_FILENO, composed.toUtf8());
}

} // namespace Host
