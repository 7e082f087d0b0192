#pragma once

#include "console/Utf8Reader.h"

#include <QtCore/QObject>
#include <QtCore/QString>
#include <QtCore/QStringList>

#include <cstdio>
#include <functional>
#include <string>

#include <termios.h>

struct editline;
struct historyW;

QT_BEGIN_NAMESPACE
class QEventLoop;
QT_END_NAMESPACE

namespace Host
{

// What the word before the cursor may become, and where it begins in the line.
struct Candidates {
    int begin = 0;
    QStringList words;
};
using Completion = std::function<Candidates(const QString &lineUpToCursor)>;

// The line being typed at the terminal that standard input is, edited by libedit: its keys, its history
// (of this run alone), its search with Ctrl-R, and completion with Tab.
//
// libedit only edits here and draws nothing: results change above the line while it is typed, and
// libedit takes the screen for its own. Whoever owns the screen draws the line, on changed().
class LineEditor : public QObject
{
    Q_OBJECT

public:
    explicit LineEditor(QObject *parent = nullptr);
    ~LineEditor() override;
    Q_DISABLE_COPY_MOVE(LineEditor)

    Completion completion; // may be missing

    // Sets the terminal up for single keys; false when it cannot be. close() puts its settings back.
    bool open();
    void close();
    // Sets the terminal up again, after somebody else had it.
    void resume();

    // Takes what was typed, as the terminal sends it.
    void type(const QByteArray &bytes);
    // Throws away what was typed; false when nothing was.
    bool clear();

    QString text() const { return m_text; }
    int cursor() const { return m_cursor; }     // in UTF-16 code units
    QString search() const { return m_search; } // what to say of a search; empty without one

Q_SIGNALS:
    void changed(); // text(), cursor() or search()
    void line(const QString &text);
    void ended();
    void offered(const QStringList &candidates); // several, for the word at the cursor
    void screenClearAsked();

private:
    static LineEditor *of(editline *editor);
    static int nextKey(editline *editor, wchar_t *key);
    static unsigned char completeWord(editline *editor, int key);
    static unsigned char clearScreen(editline *editor, int key);

    void edit();
    bool takeKey();
    void takeLine(QString text);
    bool isSearching();
    bool waitForKeys();
    void lookAtLine();
    void show();
    void complete();
    void release();

    Utf8Reader m_typed;
    editline *m_editor = nullptr;
    historyW *m_history = nullptr;
    FILE *m_nowhere = nullptr; // where libedit draws
    termios m_before{};
    std::wstring m_keys; // typed, but not edited in yet
    QEventLoop *m_waiting = nullptr;
    bool m_isInside = false;  // libedit is working on a key
    bool m_hasKey = false;    // and has got the first of it
    bool m_isDry = false;     // and has asked for a key in vain
    bool m_isClosing = false; // as soon as libedit comes back
    QString m_text;
    QString m_search;
    int m_cursor = 0;
};

} // namespace Host
