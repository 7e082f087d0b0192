#pragma once

#include "support/Text.h"

#include <QtCore/QDir>

// How many threads and open descriptors this process has.

inline int processEntries(const QString &folder)
{
    const QDir entries(u"/proc/self/"_s + folder);
    return entries.entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot).size();
}

inline int threads()
{
    return processEntries(u"task"_s);
}

inline int descriptors()
{
    return processEntries(u"fd"_s);
}
