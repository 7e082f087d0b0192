#pragma once

#include "results/ChartLayout.h"
#include "results/ChartSource.h"
#include "results/ChartTheme.h"

#include <QtCore/QRectF>
#include <QtCore/QString>
#include <QtGui/QFont>
#include <QtGui/QImage>

class QPainter;

namespace Desktop
{

// Draws a chart's parts where its layout has them. Texts are drawn as typed, each in its own direction.
class ChartPainter
{
public:
    ChartPainter(QPainter *painter, const ChartLayout &layout, const ChartTheme &theme);

    void drawHead(const ChartHead &head, const QSize &size);
    // `lines` of type are for the label; `share` is how long the bar is just now.
    void drawRow(const ChartRow &row, const QRectF &rect, int lines, double share);

    // How high a text is in so many lines at most.
    static double textHeight(const QString &text, const QFont &font, double width, int mostLines);
    // The whole chart, at least as large as `size`; what is much too long for a picture ends with how many
    // lines are left out.
    static QImage picture(const ChartSource &source, const QSize &size, const QFont &font,
                          const ChartTheme &theme);

private:
    void drawBar(QRectF bar, double share, const QColor &color);
    void drawText(const QString &text, const QFont &font, const QRectF &rect, int mostLines,
                  const QColor &color);

    QPainter *const m_painter;
    const ChartLayout &m_layout;
    const ChartTheme &m_theme;
};

} // namespace Desktop
