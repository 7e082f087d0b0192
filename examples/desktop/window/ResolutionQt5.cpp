#include "window/Resolution.h"

#include <QtWidgets/QApplication>

namespace Desktop
{

void useWholeResolution()
{
    QApplication::setAttribute(Qt::AA_EnableHighDpiScaling);
    QApplication::setAttribute(Qt::AA_UseHighDpiPixmaps);
}

} // namespace Desktop
