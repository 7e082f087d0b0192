#pragma once

#include <QtCore/QString>

namespace Desktop
{

// Light or dark. The window is drawn in the Fusion style, whose colours a palette decides alone.
class Theme
{
public:
    enum Mode {
        System, // as the desktop says, also when it changes
        Light,
        Dark
    };

    Theme() = delete;

    static void apply(Mode mode);
    // What settings call a mode; an unknown name is the system's.
    static QString nameOf(Mode mode);
    static Mode modeNamed(const QString &name);
};

} // namespace Desktop
