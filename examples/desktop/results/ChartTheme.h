#pragma once

#include <QtCore/QVector>
#include <QtGui/QColor>
#include <QtGui/QPalette>

namespace Desktop
{

// The colours of a chart, light or dark. Text stands out from the ground by 4.5 to 1 at least, bars by 3 to 1.
// Bars differ in lightness as well as in colour, so that who sees some colours alike can tell them apart;
// none of them means anything without the label beside it.
struct ChartTheme {
    QColor ground;
    QColor text;
    QColor quietText;
    QColor track; // what a bar of 100 percent would cover
    QVector<QColor> bars;

    // The one that belongs to a window with this palette.
    static ChartTheme of(const QPalette &palette);
    static ChartTheme light();
    static ChartTheme dark();
};

// The contrast of two colours, from 1 to 21, as the accessibility guidelines for the web define it.
double contrast(const QColor &one, const QColor &other);

} // namespace Desktop
