#pragma once

#include "results/ChartSource.h"

#include <QtCore/QRectF>
#include <QtCore/QSize>
#include <QtCore/QVector>
#include <QtGui/QFont>

namespace Desktop
{

// Where the parts of a chart stand in a picture of some size: type as large as lets all lines fit, but never
// too small to be read across a room, and then the lines go on below the picture's end. Choices are equally
// high; a free answer has as many lines of type as it seems to need, up to three.
class ChartLayout
{
public:
    ChartLayout() = default;
    // Measures the first lines only; the others by the number of their characters.
    ChartLayout(const ChartSource &source, const QSize &size, const QFont &font);

    const QFont &questionFont() const { return m_questionFont; }
    const QFont &figuresFont() const { return m_figuresFont; }
    const QFont &rowFont() const { return m_rowFont; }
    const QFont &nameFont() const { return m_nameFont; }
    static constexpr int mostQuestionLines() { return 3; }
    static constexpr int mostFiguresLines() { return 2; }
    int labelLines(int row) const { return m_lines.at(row); }

    QRectF questionRect() const { return m_question; }
    QRectF figuresRect() const { return m_figures; }
    // Where the lines begin.
    double top() const { return m_top; }
    int rowCount() const { return m_lines.size(); }
    // Of all lines together.
    double rowsHeight() const { return m_tops.isEmpty() ? 0 : m_tops.last(); }
    // Within the lines, the first of which begins at 0.
    QRectF rowRect(int row) const;
    // Which line is there; the number of lines below the last.
    int rowAt(double y) const;
    // A step of the scroll bar.
    int step() const { return m_rowFont.pixelSize() * 2; }
    bool isSameAs(const ChartLayout &other) const;

    // Within a line's rectangle. A bar of 100 percent covers the bar's rectangle.
    QRectF labelRect(const QRectF &row, bool isFree, int lines) const;
    QRectF namesRect(const QRectF &label) const;
    QRectF barRect(const QRectF &row) const;
    QRectF numbersRect(const QRectF &row) const;

private:
    struct Measures;
    static Measures measured(const ChartSource &source, const QFont &font);
    void arrange(const Measures &measures, const QSize &size, int pixels);
    void stack(const Measures &measures, double gap);
    void spread(const Measures &measures, double height);

    QFont m_questionFont;
    QFont m_figuresFont;
    QFont m_rowFont;
    QFont m_nameFont;
    QRectF m_question;
    QRectF m_figures;
    double m_width = 0;
    double m_margin = 0;
    double m_top = 0;
    double m_namesHeight = 0;
    double m_labelWidth = 0;
    double m_numbersWidth = 0;
    QVector<int> m_lines;   // of type, by row
    QVector<double> m_tops; // by row, and where the last one ends
};

} // namespace Desktop
