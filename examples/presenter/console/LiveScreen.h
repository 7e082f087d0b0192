#pragma once

#include "console/Printable.h"

#include <QtCore/QString>
#include <QtCore/QVector>

namespace Host
{

// The lower edge of a terminal, where results change in place: lines that scroll away above, below
// them a live block (the bars of a running poll) and the prompt with what is being typed.
//
// Only composes the characters to write, so that a test can look at what a terminal gets. No line is
// wider than the terminal: each takes one row, and so the way back to the block's first is known.
// The only sequences in what it composes are its own: of others it takes printable text.
class LiveScreen
{
public:
    void setSize(int columns, int rows);

    using Lines = QVector<Printable>;

    // `further` lines belong below and were not even made, since no screen has room for them.
    void setBlock(const Lines &lines, int further = 0);
    void setInput(const Printable &prompt, const QString &text, int cursor);

    // The lines above block and prompt, which are taken off and put back below.
    QString print(const Lines &lines);
    // Block and prompt as they are now.
    QString redraw() { return print({}); }
    // Block and prompt alone, at the top.
    QString clear();
    // Somebody else has written below: block and prompt are drawn there, and what stands above stays.
    void forget() { m_drawnAbove = 0; }
    // Takes block and prompt off; the lines stand where they were.
    QString leave(const Lines &lines = {});

private:
    QString eraseDrawn();
    QStringList visibleBlock() const;

    int m_columns = 80;
    int m_rows = 24;
    Lines m_block;
    int m_further = 0; // lines of the block
    QString m_prompt;
    QString m_beforeCursor;
    QString m_afterCursor;
    int m_drawnAbove = 0; // rows of the block on screen, above the prompt's row
    bool m_isDrawn = false;
};

} // namespace Host
