#pragma once

class QFrame;
class QLabel;
class QString;
class QWidget;

namespace Desktop
{

// What the bars at the window's edges share. Their colours are their own, dark on light, in a dark window
// as well: they have to be seen.
enum class BarKind {
    Notice,
    Trouble
};

void paintAsBar(QFrame *bar, BarKind kind);
// A label for plain text on a bar, wrapped.
QLabel *newBarLabel(QWidget *bar, bool isBold);
// Has screen readers say it.
void announce(QWidget *bar, const QString &text);

} // namespace Desktop
