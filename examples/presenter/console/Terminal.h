#pragma once

#include "console/Bars.h"
#include "console/LineEditor.h"
#include "console/LiveScreen.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QMutex>
#include <QtCore/QObject>
#include <QtCore/QStringList>
#include <QtCore/QTimer>

#include <optional>

namespace Host
{

// Everything that the program shows. On a terminal with a prompt, lines scroll above a live block and
// the line being typed; everywhere else they are written one after another as they come.
//
// Used from the main thread, but for complain(), which any thread may call.
class Terminal : public QObject
{
    Q_OBJECT

public:
    explicit Terminal(QObject *parent = nullptr);
    ~Terminal() override;

    // Takes over the terminal: from here on keys are read and edited here. False when standard input
    // or output is not a terminal.
    bool openPrompt();
    bool hasPrompt() const { return m_hasPrompt; }
    // Gives the terminal back as it was. Also done by the destructor.
    void closePrompt();
    // After the window has changed its size.
    void fitToWindow();
    // After the process was stopped and continued.
    void restore();

    // A line of the caller is broken at blanks where it is wider than the terminal, and nowhere else.
    // Whatever it holds is made printable: much of it comes from learners, files and the service.
    void print(const QString &line) { print(QStringList{line}); }
    void print(const QStringList &lines);
    // The same for what happens by itself, of which there can be thousands of lines: with a prompt, the
    // screen is drawn for it ten times a second at most. It stays in front of whatever is printed later.
    void tell(const QString &line);
    // Goes to standard error.
    void complain(const QString &line);

    // What the line being typed begins with, "> " unless told otherwise.
    void setPrompt(const QString &prompt);
    // Throws away a half-typed line; false when nothing was typed.
    bool clearLine() { return m_editor.clear(); }
    // What Tab offers.
    void setCompletion(Completion completion) { m_editor.completion = std::move(completion); }

    // What stands above the prompt and changes in place, as often as what is told; nothing is shown
    // without a prompt. `further` lines belong below, but the screen has no room for them.
    void setBlock(const QStringList &lines, int further = 0);

    // For lines that are to fit: the width of the terminal that standard output goes to, or 80.
    int columns() const;
    int rows() const; // or 24
    BarStyle barStyle() const { return m_barStyle; }

    LineEditor &editor() { return m_editor; }

    // Asks for a password at the terminal that controls the process, whatever standard input is, and
    // shows nothing of what is typed. Nothing on Ctrl-C, at the end of the input, without a terminal, or
    // when no character was typed.
    static std::optional<QString> askPassword(const QString &prompt);

private:
    void showInput();
    void takeInput();
    void clearScreen();
    void offer(const QStringList &words);
    void drawSoon();
    void drawDue();
    void redraw();
    LiveScreen::Lines takeNews();
    void writeOut(const QString &composed);

    QRecursiveMutex m_mutex; // guards the screen and both output streams
    LiveScreen m_screen;
    LiveScreen::Lines m_news; // told, but not on screen yet
    QElapsedTimer m_drawn;    // since the last time
    QTimer m_drawing;
    LineEditor m_editor;
    QString m_prompt{QStringLiteral("> ")};
    BarStyle m_barStyle;
    bool m_hasPrompt = false;
};

} // namespace Host
