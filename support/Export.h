#pragma once

#include <QtCore/qglobal.h>

// Marks what a host may link against; everything else in the library is hidden.
#if defined(TARVOCLIENT_LIBRARY)
#define TARVOCLIENT_EXPORT Q_DECL_EXPORT
#else
#define TARVOCLIENT_EXPORT Q_DECL_IMPORT
#endif
