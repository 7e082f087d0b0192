#pragma once

#include <QtCore/QByteArray>

// How many seconds a reply asks to wait, by its headers "Retry-After", a number or a date, and "Date",
// which need not be there; at most a day's. -1 when it asks for nothing that can be read, or for a time
// that has passed.
int retryAfterSeconds(const QByteArray &retryAfter, const QByteArray &date);
