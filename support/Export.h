#pragma once

#include <QtCore/qglobal.h>

// Marks what a host may link against; everything else in the library is hidden.
#if defined(TARVOCLIENT_LIBRARY)
#define TARVOCLIENT_EXPORT Q_DECL_EXPORT
#else
#define TARVOCLIENT_EXPORT Q_DECL_IMPORT
#endif

/// Marks what the next major version will not have, with the words that the compiler tells a host:
/// "call newWay() instead". A host that knows defines `TARVO_NO_DEPRECATION_WARNINGS`.
#if defined(TARVO_NO_DEPRECATION_WARNINGS)
#define TARVO_DEPRECATED(words)
#else
#define TARVO_DEPRECATED(words) Q_DECL_DEPRECATED_X(words)
#endif
