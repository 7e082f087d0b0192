#include "console/LiveScreen.h"

#include "console/TextWidth.h"

namespace Host
{

namespace
{

// No terminal is wider.
constexpr int MAX_TYPED = Printable::MAX_CHARACTERS / 4;

const QLatin1String TO_FIRST_COLUMN("\r");
const QLatin1String ERASE_BELOW("\x1b[J");
const QLatin1String TO_TOP_AND_ERASE("\x1b[H\x1b[2J");
const QLatin1String NEW_LINE("\n");

QString rowsUp(int rows)
{
    return rows > 0 ? QStringLiteral("\x1b[%1A").arg(rows) : QString();
}

QString columnsRight(int columns)
{
    return columns > 0 ? QStringLiteral("\x1b[%1C").arg(columns) : QString();
}

// The end of the text that fits into `columns`.
QString tail(const QString &text, int columns)
{
    QString end = text.right(2 * columns); // a character takes two code units at most
    while (textWidth(end) > columns)
        end.remove(0, end.at(0).isHighSurrogate() ? 2 : 1);
    return end;
}

} // namespace

void LiveScreen::setSize(int columns, int rows)
{
    m_columns = qMax(1, columns);
    m_rows = qMax(1, rows);
}

void LiveScreen::setBlock(const Lines &lines, int further)
{
    m_block = lines;
    m_further = further;
}

void LiveScreen::setInput(const Printable &prompt, const QString &text, int cursor)
{
    m_prompt = prompt.text();
    m_beforeCursor = printable(text.left(cursor).right(MAX_TYPED));
    m_afterCursor = printable(text.mid(cursor, MAX_TYPED));
}

QString LiveScreen::print(const Lines &lines)
{
    QString output = leave(lines);
    const QStringList block = visibleBlock();
    for (const QString &line : block)
        output += line + NEW_LINE;

    // The last column stays free: a terminal may wrap once it is filled.
    const int room = m_columns - 1;
    const QString before = tail(m_prompt + m_beforeCursor, room);
    output += before + fitting(m_afterCursor, room - textWidth(before));
    output += TO_FIRST_COLUMN + columnsRight(textWidth(before));

    m_drawnAbove = block.size();
    m_isDrawn = true;
    return output;
}

QString LiveScreen::clear()
{
    m_isDrawn = false;
    return TO_TOP_AND_ERASE + redraw();
}

QString LiveScreen::leave(const Lines &lines)
{
    QString output = eraseDrawn();
    for (const Printable &line : lines)
        output += line.text() + NEW_LINE;
    return output;
}

QString LiveScreen::eraseDrawn()
{
    if (!m_isDrawn)
        return QString();
    const QString output = TO_FIRST_COLUMN + rowsUp(m_drawnAbove) + ERASE_BELOW;
    m_drawnAbove = 0;
    m_isDrawn = false;
    return output;
}

QStringList LiveScreen::visibleBlock() const
{
    // A block higher than the screen would scroll out of reach; its last rows give way.
    const int room = m_rows - 1;
    QStringList lines;
    const Lines shown = m_block.mid(0, room);
    for (const Printable &line : shown)
        lines.append(elided(line.text(), m_columns));
    const int all = m_block.size() + m_further;
    if (all > room && !lines.isEmpty())
        lines.last() = elided(QStringLiteral("… %1 more").arg(all - shown.size() + 1), m_columns);
    return lines;
}

} // namespace Host
