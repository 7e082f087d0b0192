#pragma once

#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVector>

namespace Host
{

// With what a bar is drawn.
enum class BarStyle {
    Blocks, // block elements, to an eighth of a column
    Ascii   // number signs, to a column
};

// One line of a result.
struct BarRow {
    QString label;
    int count;
};

// Draws results as one labelled bar a line, with count and percentage of `total`:
//
//     A TRUE   ███████████████████▊              3  60%
//
// No line takes more than `columns` columns, at any width. When there is no room for a bar, it goes
// first; when label and numbers do not fit side by side, they stand below each other; numbers are
// broken rather than cut.
QStringList renderBars(const QVector<BarRow> &rows, int total, int columns, BarStyle style);

// `count` of `total` in whole percent, rounded to the nearest; 0 of 0 is 0.
int percentage(int count, int total);

} // namespace Host
