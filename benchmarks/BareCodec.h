#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QVector>

// The LZMA SDK and base64 called directly, with the least that a program can do around them: bytes in,
// bytes out.
namespace BareCodec
{

QByteArray pack(const QByteArray &text);
QByteArray unpack(const QByteArray &base64);

} // namespace BareCodec
