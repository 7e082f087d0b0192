#pragma once

#include <QtCore/QByteArray>

// gUncompress() for a body from the network: gives up as soon as more than `limit` bytes come out. The
// result is empty then, and `*tooLarge`, which must be false before, is set.
QByteArray inflateAtMost(const QByteArray &data, int limit, bool *tooLarge);
