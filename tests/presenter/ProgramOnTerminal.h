#pragma once

#include "examples/presenter/console/Utf8Reader.h"

#include <QtCore/QDeadlineTimer>
#include <QtCore/QFile>
#include <QtCore/QRegularExpression>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVector>

#include <csignal>
#include <cwchar>
#include <poll.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

// What a terminal shows: as much of its language as the console host speaks, and no more.
class TerminalScreen
{
public:
    TerminalScreen(int columns, int rows) : m_columns(columns), m_rows(rows) { clear(); }

    void take(const QByteArray &bytes)
    {
        m_unread += m_reader.read(bytes);
        static const QRegularExpression sequence(QStringLiteral("^\x1b\\[([0-9]*)([ACHJ])"));
        while (!m_unread.isEmpty()) {
            const QRegularExpressionMatch match = sequence.match(m_unread);
            if (match.hasMatch())
                obey(match.captured(2), match.captured(1).toInt());
            else if (m_unread.startsWith(QLatin1String("\x1b")) && m_unread.size() < 8)
                return; // the rest of it has not come yet
            else
                put(m_unread.left(m_unread.at(0).isHighSurrogate() ? 2 : 1).toStdU32String().at(0));
            const int character = m_unread.at(0).isHighSurrogate() ? 2 : 1;
            m_unread.remove(0, match.hasMatch() ? match.capturedLength() : character);
        }
    }

    // The rows down to the last that holds anything, without blanks at their ends; "|" stands for the
    // cursor.
    QString text() const
    {
        QStringList rows;
        for (int row = 0; row < m_rows; ++row) {
            QStringList cells = m_cells.at(row);
            if (row == m_row)
                cells.insert(m_column, QStringLiteral("|"));
            QString text = cells.join(QString());
            while (text.endsWith(QLatin1Char(' ')))
                text.chop(1);
            rows.append(text);
        }
        while (!rows.isEmpty() && rows.constLast().isEmpty())
            rows.removeLast();
        return rows.join(QLatin1Char('\n'));
    }

    // How often something was taken off to be drawn anew.
    int erasures() const { return m_erasures; }

private:
    QStringList emptyRow() const
    {
        QStringList row;
        for (int column = 0; column < m_columns; ++column)
            row.append(QStringLiteral(" "));
        return row;
    }
    void clear() { m_cells = QVector<QStringList>(m_rows, emptyRow()); }

    void obey(const QString &letter, int number)
    {
        if (letter == QLatin1String("A")) {
            m_row = qMax(0, m_row - number);
        } else if (letter == QLatin1String("C")) {
            m_column = qMin(m_columns - 1, m_column + number);
        } else if (letter == QLatin1String("H")) {
            m_row = m_column = 0;
        } else if (number == 2) {
            clear();
        } else {
            ++m_erasures;
            m_cells[m_row] = m_cells.at(m_row).mid(0, m_column) + emptyRow().mid(m_column);
            for (int row = m_row + 1; row < m_rows; ++row)
                m_cells[row] = emptyRow();
        }
    }

    void put(uint character)
    {
        if (character == '\r') {
            m_column = 0;
            return;
        }
        if (character == '\n')
            return nextRow();
        const int width = wcwidth(wchar_t(character));
        if (m_column + width > m_columns) {
            m_column = 0;
            nextRow();
        }
        const QString text = QString::fromStdU32String({char32_t(character)});
        if (width == 0)
            m_cells[m_row][qMax(0, m_column - 1)] += text;
        else
            m_cells[m_row][m_column] = width < 0 ? QStringLiteral("?") : text;
        if (width == 2)
            m_cells[m_row][m_column + 1].clear();
        m_column += qMax(width, 0);
    }

    void nextRow()
    {
        if (m_row + 1 < m_rows) {
            ++m_row;
            return;
        }
        m_cells.removeFirst();
        m_cells.append(emptyRow());
    }

    Host::Utf8Reader m_reader;
    QString m_unread;
    int m_columns;
    int m_rows;
    QVector<QStringList> m_cells; // a wide character's second cell is empty
    int m_row = 0;
    int m_column = 0;
    int m_erasures = 0;
};

// A program that believes a person sits at its terminal, which is `columns` wide and `rows` high.
class ProgramOnTerminal
{
public:
    // How long the program may take for anything: what it does is looked at, not how fast it is.
    static constexpr int LIMIT_MS = 60'000;

    ProgramOnTerminal(const char *program, const char *argument, int columns = 40, int rows = 8)
        : m_screen(columns, rows)
    {
        const winsize size{ushort(rows), ushort(columns), 0, 0};
        m_process = forkpty(&m_master, nullptr, nullptr, &size);
        if (m_process == 0) {
            std::signal(SIGINT, SIG_DFL); // whatever runs the test may ignore it
            execl(program, program, argument, nullptr);
            _exit(127);
        }
    }
    ~ProgramOnTerminal()
    {
        if (m_process > 0) {
            ::kill(m_process, SIGKILL);
            waitpid(m_process, nullptr, 0);
        }
        close(m_master);
    }
    Q_DISABLE_COPY_MOVE(ProgramOnTerminal)

    void type(const QByteArray &keys)
    {
        const ssize_t written = write(m_master, keys.constData(), size_t(keys.size()));
        Q_ASSERT(written == keys.size());
        Q_UNUSED(written)
    }

    // The screen as soon as it is the expected one; any other screen only after a while.
    QString screen(const QString &expected)
    {
        QDeadlineTimer limit(LIMIT_MS);
        while (m_screen.text() != expected && !limit.hasExpired())
            readScreen();
        return m_screen.text();
    }

    // The screen as it is, with what has been written meanwhile.
    QString screenNow()
    {
        readScreen();
        return m_screen.text();
    }

    int erasures() const { return m_screen.erasures(); }

    void resize(int columns, int rows)
    {
        m_screen = TerminalScreen(columns, rows);
        const winsize size{ushort(rows), ushort(columns), 0, 0};
        ioctl(m_master, TIOCSWINSZ, &size); // and the program gets SIGWINCH
    }

    // Whether it waits for something; once it has asked, for an answer.
    bool sleeps() const
    {
        QFile status(QStringLiteral("/proc/%1/stat").arg(m_process));
        return status.open(QIODevice::ReadOnly) && status.readAll().contains(") S ");
    }

    void signal(int number) { ::kill(m_process, number); }

    // The terminal's local modes, such as ECHO, and setting them as a shell does between.
    tcflag_t modes() const
    {
        termios settings{};
        tcgetattr(m_master, &settings);
        return settings.c_lflag & (ECHO | ICANON | ISIG);
    }
    void setModes(tcflag_t modes)
    {
        termios settings{};
        tcgetattr(m_master, &settings);
        settings.c_lflag |= modes;
        tcsetattr(m_master, TCSANOW, &settings);
    }

    // The exit code; -1 when a signal ended the program, -2 when it goes on.
    int exitCode()
    {
        QDeadlineTimer limit(LIMIT_MS);
        int status = 0;
        while (waitpid(m_process, &status, WNOHANG) == 0) {
            if (limit.hasExpired())
                return -2;
            readScreen();
        }
        m_process = -1;
        readScreen(); // its last words
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

private:
    void readScreen()
    {
        pollfd readable{m_master, POLLIN, 0};
        char bytes[4096];
        if (poll(&readable, 1, 10) <= 0 || !(readable.revents & POLLIN))
            return;
        const ssize_t count = read(m_master, bytes, sizeof(bytes));
        if (count > 0)
            m_screen.take(QByteArray(bytes, int(count)));
    }

    int m_master = -1;
    pid_t m_process = -1;
    TerminalScreen m_screen;
};
