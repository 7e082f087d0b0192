#pragma once

#include "support/Export.h"

#include <QtCore/QVersionNumber>

/// The version of these headers, from which the build has its own, too: the only place to change it. The
/// library and the host kit have the same. What each number promises, says docs/compatibility.md.
#define TARVO_VERSION_MAJOR 1
#define TARVO_VERSION_MINOR 0
#define TARVO_VERSION_PATCH 0

/// A version as one number, for comparing when a host is compiled: each part has 8 bits.
#define TARVO_VERSION_CHECK(major, minor, patch) (((major) << 16) | ((minor) << 8) | (patch))

/// `#if TARVO_VERSION >= TARVO_VERSION_CHECK(1, 1, 0)` stands around what needs the headers of 1.1.
#define TARVO_VERSION \
    TARVO_VERSION_CHECK(TARVO_VERSION_MAJOR, TARVO_VERSION_MINOR, TARVO_VERSION_PATCH)

/// The same as a text, "1.0.0".
#define TARVO_VERSION_STR             \
    QT_STRINGIFY(TARVO_VERSION_MAJOR) \
    "." QT_STRINGIFY(TARVO_VERSION_MINOR) "." QT_STRINGIFY(TARVO_VERSION_PATCH)

namespace Tarvo
{

/// The version of the library that the program runs with: that of `TARVO_VERSION`, or a later one of the
/// same major version, since a library is replaced without building its hosts anew. It compares by its
/// numbers, so that 1.10 is later than 1.9, and `toString()` prints it. Any thread may call this at any
/// time.
TARVOCLIENT_EXPORT QVersionNumber libraryVersion();

} // namespace Tarvo
