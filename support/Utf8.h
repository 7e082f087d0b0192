#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QString>

// The two ways of reading bytes as UTF-8. The toolkit's own conversion of a byte array stops at the first
// zero byte in version 5 and takes the whole in version 6.
namespace Tarvo
{

inline QString wholeUtf8(const QByteArray &bytes)
{
    return QString::fromUtf8(bytes.constData(), bytes.size());
}

// Devices and the service take a text to end at its first zero byte.
inline QString utf8UpToZero(const QByteArray &bytes)
{
    return QString::fromUtf8(bytes.constData());
}

} // namespace Tarvo
