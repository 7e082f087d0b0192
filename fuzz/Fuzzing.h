#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QString>

#include <cstddef>
#include <cstdint>
#include <cstdlib>

// Shared by the fuzz targets. Each takes one input, from a zero-length one up, and aborts when the
// code under test breaks its word; the sanitizers see the rest.
namespace Fuzzing
{

inline QByteArray bytesOf(const std::uint8_t *data, std::size_t size)
{
    return {reinterpret_cast<const char *>(data), static_cast<int>(size)};
}

inline QString textOf(const std::uint8_t *data, std::size_t size)
{
    return QString::fromUtf8(reinterpret_cast<const char *>(data), static_cast<int>(size));
}

inline void require(bool holds)
{
    if (!holds)
        std::abort();
}

} // namespace Fuzzing
