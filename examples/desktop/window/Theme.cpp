#include "window/Theme.h"

#include <QtGui/QPalette>
#include <QtWidgets/QApplication>

namespace Desktop
{

namespace
{

struct ModeName {
    Theme::Mode mode;
    const char *name;
};

constexpr ModeName MODE_NAMES[] = {
    {Theme::System, "system"},
    {Theme::Light, "light"},
    {Theme::Dark, "dark"},
};

// A colour of each role, with the one that it has where nothing can be done.
struct Row {
    QPalette::ColorRole role;
    QRgb light;
    QRgb dark;
};

constexpr Row ROWS[] = {
    {QPalette::Window, 0xfff3f4f6, 0xff23262b},
    {QPalette::WindowText, 0xff16181c, 0xffeceef1},
    {QPalette::Base, 0xffffffff, 0xff1a1c20},
    {QPalette::AlternateBase, 0xffeceef1, 0xff2a2d33},
    {QPalette::Text, 0xff16181c, 0xffeceef1},
    {QPalette::Button, 0xffe6e8ec, 0xff363a42},
    {QPalette::ButtonText, 0xff16181c, 0xffeceef1},
    {QPalette::BrightText, 0xffffffff, 0xffffffff},
    {QPalette::ToolTipBase, 0xffffffff, 0xff363a42},
    {QPalette::ToolTipText, 0xff16181c, 0xffeceef1},
    {QPalette::PlaceholderText, 0xff5d636e, 0xffa3a9b4},
    {QPalette::Highlight, 0xff1d5fbf, 0xff6aa5f2},
    {QPalette::HighlightedText, 0xffffffff, 0xff10131a},
    {QPalette::Link, 0xff1d5fbf, 0xff8dbbf7},
    {QPalette::LinkVisited, 0xff6a3fa0, 0xffc3a6ee},
};

constexpr Row DISABLED_ROWS[] = {
    {QPalette::WindowText, 0xff767c87, 0xff8a909b},
    {QPalette::Text, 0xff767c87, 0xff8a909b},
    {QPalette::ButtonText, 0xff767c87, 0xff8a909b},
    {QPalette::HighlightedText, 0xff767c87, 0xff8a909b},
    {QPalette::Highlight, 0xffc9cdd4, 0xff4a4f59},
};

QPalette paletteOf(Theme::Mode mode)
{
    const bool isDark = mode == Theme::Dark;
    const auto color = [isDark](const Row &row) {
        return QColor::fromRgba(isDark ? row.dark : row.light);
    };
    // The style makes the shades of frames from these two.
    QPalette palette(color(ROWS[5]), color(ROWS[0]));
    for (const Row &row : ROWS)
        palette.setColor(row.role, color(row));
    for (const Row &row : DISABLED_ROWS)
        palette.setColor(QPalette::Disabled, row.role, color(row));
    return palette;
}

} // namespace

void Theme::apply(Mode mode)
{
    QApplication::setPalette(mode == System ? QPalette() : paletteOf(mode));
}

QString Theme::nameOf(Mode mode)
{
    for (const ModeName &row : MODE_NAMES) {
        if (row.mode == mode)
            return QLatin1String(row.name);
    }
    return QString();
}

Theme::Mode Theme::modeNamed(const QString &name)
{
    for (const ModeName &row : MODE_NAMES) {
        if (name == QLatin1String(row.name))
            return row.mode;
    }
    return System;
}

} // namespace Desktop
