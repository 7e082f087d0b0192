#include "console/Bars.h"

#include "console/Printable.h"
#include "console/TextWidth.h"

#include <algorithm>

namespace Host
{

namespace
{

constexpr int GAP = 2; // columns between label, bar and numbers
constexpr int MIN_BAR_COLUMNS = 5;
constexpr int MIN_LABEL_COLUMNS = 4;
constexpr int PERCENT_COLUMNS = 4; // "100%"
constexpr int EIGHTHS = 8;
constexpr ushort FULL_BLOCK = 0x2588; // an eighth less for every code point that follows

// How the columns of one line are shared out.
struct Layout {
    int label = 0;
    int bar = 0; // 0: none
    int count = 0;
    bool stacked = false; // numbers below the label
};

Layout layOut(int longestLabel, int longestCount, int columns)
{
    Layout layout;
    layout.count = longestCount;
    const int numbers = longestCount + GAP + PERCENT_COLUMNS;
    const int beforeNumbers = columns - numbers - GAP;
    if (beforeNumbers < std::min(longestLabel, MIN_LABEL_COLUMNS)) {
        layout.stacked = true;
        return layout;
    }
    // Long labels leave half of the room to the bars.
    const int labelBesideBar = std::min(longestLabel, (beforeNumbers - GAP) / 2);
    const int bar = beforeNumbers - GAP - labelBesideBar;
    if (bar >= MIN_BAR_COLUMNS && labelBesideBar >= std::min(longestLabel, MIN_LABEL_COLUMNS)) {
        layout.label = labelBesideBar;
        layout.bar = bar;
    } else {
        layout.label = std::min(longestLabel, beforeNumbers);
    }
    return layout;
}

QString bar(int count, int total, int columns, BarStyle style)
{
    if (total <= 0 || count <= 0)
        return QString();
    const int steps = style == BarStyle::Blocks ? EIGHTHS : 1;
    const qint64 whole = qint64(columns) * steps;
    // Rounded to the nearest step; what was chosen at all shows at least one, and only what everybody
    // chose fills the line.
    qint64 length = (whole * count + total / 2) / total;
    length = std::clamp<qint64>(length, 1, count < total ? std::max<qint64>(1, whole - 1) : whole);
    if (style == BarStyle::Ascii)
        return QString(int(length), QLatin1Char('#'));
    QString drawn(int(length / EIGHTHS), QChar(FULL_BLOCK));
    if (const int eighths = int(length % EIGHTHS))
        drawn.append(QChar(FULL_BLOCK + EIGHTHS - eighths));
    return drawn;
}

QString rightAligned(const QString &text, int columns)
{
    return text.rightJustified(columns, QLatin1Char(' '));
}

QString percentText(int count, int total)
{
    return QString::number(percentage(count, total)) + QLatin1Char('%');
}

QStringList stackedLines(const BarRow &row, int total, int columns)
{
    QStringList lines{elided(row.label, columns)};
    QString numbers = QString::number(row.count) + QLatin1Char(' ') + percentText(row.count, total);
    for (; !numbers.isEmpty(); numbers.remove(0, columns))
        lines.append(numbers.left(columns));
    return lines;
}

QString barLine(const BarRow &row, int total, const Layout &layout, BarStyle style)
{
    QString line = padded(elided(row.label, layout.label), layout.label + GAP);
    if (layout.bar > 0)
        line += padded(bar(row.count, total, layout.bar, style), layout.bar + GAP);
    line += rightAligned(QString::number(row.count), layout.count);
    return line + rightAligned(percentText(row.count, total), GAP + PERCENT_COLUMNS);
}

} // namespace

int percentage(int count, int total)
{
    return total <= 0 ? 0 : int((qint64(count) * 200 + total) / (qint64(total) * 2));
}

QStringList renderBars(const QVector<BarRow> &rows, int total, int columns, BarStyle style)
{
    const int room = std::max(1, columns);
    int longestLabel = 0;
    int longestCount = 1;
    QVector<BarRow> shown = rows;
    for (BarRow &row : shown) {
        row.label = elided(printable(row.label), room);
        longestLabel = std::max(longestLabel, textWidth(row.label));
        longestCount = std::max(longestCount, int(QString::number(row.count).size()));
    }

    const Layout layout = layOut(longestLabel, longestCount, room);
    QStringList lines;
    for (const BarRow &row : qAsConst(shown)) {
        if (layout.stacked)
            lines.append(stackedLines(row, total, room));
        else
            lines.append(barLine(row, total, layout, style));
    }
    return lines;
}

} // namespace Host
