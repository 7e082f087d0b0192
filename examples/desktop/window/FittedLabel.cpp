#include "window/FittedLabel.h"

#include <QtGui/QFontMetricsF>

namespace Desktop
{

namespace
{

constexpr int MEASURED_PIXELS = 100;
constexpr int SMALLEST_WIDTH = 120;
constexpr qreal USED_WIDTH = 0.98; // widths do not grow quite evenly with the size

QFont withPixels(QFont font, int pixels)
{
    font.setPixelSize(pixels);
    return font;
}

} // namespace

FittedLabel::FittedLabel(int smallest, int largest, QWidget *parent)
    : QLabel(parent), m_smallest(smallest), m_largest(largest)
{
    setTextFormat(Qt::PlainText);
    setAlignment(Qt::AlignCenter);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
}

void FittedLabel::setLine(const QString &text)
{
    setText(text);
    fit();
}

QSize FittedLabel::sizeHint() const
{
    return {SMALLEST_WIDTH, (m_smallest + m_largest) / 2};
}

QSize FittedLabel::minimumSizeHint() const
{
    return {SMALLEST_WIDTH, m_smallest * 3 / 2};
}

void FittedLabel::resizeEvent(QResizeEvent *event)
{
    QLabel::resizeEvent(event);
    fit();
}

void FittedLabel::fit()
{
    const QFontMetricsF measured(withPixels(font(), MEASURED_PIXELS));
    const qreal wide = measured.horizontalAdvance(text());
    const qreal byWidth = wide > 0 ? width() * USED_WIDTH / wide : 1;
    const qreal byHeight = height() / measured.height();
    const int pixels =
        qBound(m_smallest, int(qMin(byWidth, byHeight) * MEASURED_PIXELS), m_largest);
    if (font().pixelSize() != pixels)
        setFont(withPixels(font(), pixels));
}

} // namespace Desktop
