#pragma once

#include <QtCore/QString>

// Whether a text of JSON can be read within the memory that one message may take, 480 MiB for the
// document and the variants made of it together. Texts of up to 2 Mi characters always can.
//
// JSON swells when it is read: sixty-fold and more where a hostile sender nests lists and objects with
// next to nothing in them. What outsiders send, and what the service replies, passes here before it is
// read.
bool isReadableJson(const QString &json);
