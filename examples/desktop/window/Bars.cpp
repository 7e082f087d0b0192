#include "window/Bars.h"

#include <QtGui/QAccessible>
#include <QtWidgets/QFrame>
#include <QtWidgets/QLabel>

namespace Desktop
{

namespace
{

struct Colors {
    QRgb paper;
    QRgb ink;
};

constexpr Colors NOTICE{0xffffe6a3, 0xff3a2a00};
constexpr Colors TROUBLE{0xffffdcd8, 0xff5a0c07};

} // namespace

void paintAsBar(QFrame *bar, BarKind kind)
{
    const Colors &colors = kind == BarKind::Notice ? NOTICE : TROUBLE;
    QPalette palette = bar->palette();
    palette.setColor(QPalette::Window, QColor::fromRgba(colors.paper));
    palette.setColor(QPalette::WindowText, QColor::fromRgba(colors.ink));
    bar->setPalette(palette);
    bar->setAutoFillBackground(true);
    bar->setFrameShape(QFrame::StyledPanel);
}

QLabel *newBarLabel(QWidget *bar, bool isBold)
{
    auto *const label = new QLabel(bar);
    label->setTextFormat(Qt::PlainText);
    label->setWordWrap(true);
    QFont font = label->font();
    font.setBold(isBold);
    label->setFont(font);
    return label;
}

void announce(QWidget *bar, const QString &text)
{
    bar->setAccessibleName(text);
    QAccessibleEvent event(bar, QAccessible::Alert);
    QAccessible::updateAccessibility(&event);
}

} // namespace Desktop
