#include "window/AppIcon.h"

#include <QtGui/QPainter>
#include <QtGui/QPixmap>

namespace Desktop
{

namespace
{

constexpr int SIDES[] = {16, 24, 32, 48, 64, 128, 256};
constexpr QRgb BOARD = 0xff1d5fbf;
constexpr QRgb CHALK = 0xffffffff;

// In a square of 16 by 16.
constexpr double CORNER = 3;
constexpr QRectF BARS[] = {{3, 9, 2.5, 4}, {6.75, 3, 2.5, 10}, {10.5, 6, 2.5, 7}};

QPixmap drawn(int side)
{
    QPixmap pixmap(side, side);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.scale(side / 16.0, side / 16.0);
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor::fromRgba(BOARD));
    painter.drawRoundedRect(QRectF(0, 0, 16, 16), CORNER, CORNER);
    painter.setBrush(QColor::fromRgba(CHALK));
    for (const QRectF &bar : BARS)
        painter.drawRect(bar);
    return pixmap;
}

} // namespace

QIcon appIcon()
{
    QIcon icon;
    for (const int side : SIDES)
        icon.addPixmap(drawn(side));
    return icon;
}

} // namespace Desktop
