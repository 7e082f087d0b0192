#pragma once

#include <QtCore/QString>
#include <QtCore/QStringList>

namespace Host
{

// Terminal columns that a text takes: two for the wide characters of East Asian scripts and for most
// pictographs, none for combining marks, one for the rest.
int textWidth(const QString &text);

// The beginning of the text that takes at most `columns` columns.
QString fitting(const QString &text, int columns);

// The text cut to at most `columns` columns, with an ellipsis in the last one when something was cut.
QString elided(const QString &text, int columns);

// The text in lines of at most `columns` columns, broken at blanks; a word that is longer stays whole.
QStringList wrapped(const QString &text, int columns);

// The text filled up with blanks behind it to `columns` columns.
QString padded(const QString &text, int columns);

// The text with control characters, line ends and changes of direction replaced by blanks. Names and
// answers come from the learners' devices: an escape sequence in one of them must not reach the
// terminal.
QString printable(const QString &text);

} // namespace Host
