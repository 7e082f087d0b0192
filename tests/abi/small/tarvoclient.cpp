#include "Small.h"

#include <QtCore/QtGlobal>

bool Tarvo::isQt(int version)
{
    return qVersion()[0] == '0' + version;
}
