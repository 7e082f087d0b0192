#pragma once

#include <QtCore/QString>

// u"..."_s is a QString, as the toolkit itself spells it from version 6.4 on.
inline QString operator""_s(const char16_t *text, std::size_t length)
{
    return QString(reinterpret_cast<const QChar *>(text), static_cast<int>(length));
}
