#pragma once

#include <QtCore/QtGlobal>

#ifdef TARVOHOST_LIBRARY
#define TARVOHOST_EXPORT Q_DECL_EXPORT
#else
#define TARVOHOST_EXPORT Q_DECL_IMPORT
#endif
