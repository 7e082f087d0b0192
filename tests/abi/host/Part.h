#pragma once

#include <QtCore/QtGlobal>

// Each uses the classes of a folder, as hosts do, and returns whether all went as it did when it was written.
bool usesContent();
bool usesCodec();
bool usesChannel();
bool usesTransports();
bool usesClient();
bool usesKit();

// Says what did not.
#define EXPECT(condition)                                           \
    do {                                                            \
        if (!(condition)) {                                         \
            qCritical("%s: %s is not so", Q_FUNC_INFO, #condition); \
            return false;                                           \
        }                                                           \
    } while (false)
