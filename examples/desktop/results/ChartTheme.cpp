#include "results/ChartTheme.h"

#include <algorithm>
#include <cmath>

namespace Desktop
{

namespace
{

constexpr int MIDDLE_LIGHTNESS = 128;

double linear(double channel)
{
    return channel <= 0.03928 ? channel / 12.92 : std::pow((channel + 0.055) / 1.055, 2.4);
}

double luminance(const QColor &color)
{
    return 0.2126 * linear(color.redF()) + 0.7152 * linear(color.greenF())
        + 0.0722 * linear(color.blueF());
}

} // namespace

ChartTheme ChartTheme::of(const QPalette &palette)
{
    const bool isDark = palette.color(QPalette::Window).lightness() < MIDDLE_LIGHTNESS;
    return isDark ? dark() : light();
}

ChartTheme ChartTheme::light()
{
    return {QColor(0xFFFFFF),
            QColor(0x14171C),
            QColor(0x4A505A),
            QColor(0xE9ECF0),
            {QColor(0x0072B2), QColor(0xB84A00), QColor(0x005A46), QColor(0xA84C82),
             QColor(0x3A3F8F), QColor(0x7A5C00)}};
}

ChartTheme ChartTheme::dark()
{
    return {QColor(0x15181E),
            QColor(0xF4F5F7),
            QColor(0xBCC2CC),
            QColor(0x2B3038),
            {QColor(0x56B4E9), QColor(0xE69F00), QColor(0x2BB58A), QColor(0xE39AC4),
             QColor(0xF0E442), QColor(0xF07F3C)}};
}

double contrast(const QColor &one, const QColor &other)
{
    const auto [darker, lighter] = std::minmax({luminance(one), luminance(other)});
    return (lighter + 0.05) / (darker + 0.05);
}

} // namespace Desktop
