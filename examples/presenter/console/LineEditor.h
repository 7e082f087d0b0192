#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/QStringList>

#include <functional>
#include <memory>

QT_BEGIN_NAMESPACE
class QTextDecoder;
QT_END_NAMESPACE

namespace Host
{

// The line being typed at the prompt, from the bytes of a terminal that neither echoes them nor
// gathers lines: results are drawn above the line meanwhile, and then it has to be drawn again.
//
// Knows the usual keys: arrows, Home, End, Delete, Backspace, and Ctrl with A, E, B, F, P, N, U, K, W
// and D; the last ends the input on an empty line.
class LineEditor
{
public:
    LineEditor();
    ~LineEditor();
    Q_DISABLE_COPY_MOVE(LineEditor)

    std::function<void(const QString &line)> onLine;
    std::function<void()> onEndOfInput;

    void type(const QByteArray &bytes);

    QString text() const { return m_text; }
    int cursor() const { return m_cursor; } // in UTF-16 code units, always between characters

private:
    enum State {
        Typing,
        AfterEscape,
        InSequence // after ESC [ or ESC O, up to the letter that ends it
    };

    void takeCharacter(QChar character);
    void takeControl(ushort code);
    void takeSequence(QChar final);
    void insert(QChar character);
    void erase(int from, int to);
    void enter();
    void recall(int step);
    int previousBoundary() const;
    int nextBoundary() const;
    int previousWord() const;

    std::unique_ptr<QTextDecoder> m_decoder; // keeps the first bytes of a letter cut by a read
    State m_state = Typing;
    QString m_sequence;
    QString m_text;
    int m_cursor = 0;
    QStringList m_history; // oldest first
    int m_recalled = 0;    // position in m_history; its size stands for the line being typed
    QString m_draft;       // that line, while an older one is shown
};

} // namespace Host
