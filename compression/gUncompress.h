#pragma once

#include "support/Export.h"

#include <QtCore/QByteArray>

/// Inflates a gzip or zlib body, as the classroom service sends its compressed replies.
///
/// A broken body, and one for which there is no memory, gives an empty array; of one that was cut off,
/// what can be read is returned. Only a body under 5 bytes gives a warning. Nothing throws. A pure
/// function that may run on any thread.
TARVOCLIENT_EXPORT QByteArray gUncompress(const QByteArray &data);
