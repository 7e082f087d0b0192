#pragma once

#include <QtCore/QString>
#include <QtCore/QStringList>

namespace Host
{

// Terminal columns that a character takes.
int characterWidth(uint character);

// Terminal columns that a text takes: two for the wide characters of East Asian scripts and for most
// pictographs, none for combining marks, one for the rest.
int textWidth(const QString &text);

// The functions below look at no more of a text than may fit, as long as it is printable: one with
// thousands of marks on a letter may be cut before it is too wide.

// The beginning of the text that takes at most `columns` columns.
QString fitting(const QString &text, int columns);

// Whether the text takes more than `columns` columns.
bool isWider(const QString &text, int columns);

// The text cut to at most `columns` columns, with an ellipsis in the last one when something was cut.
QString elided(const QString &text, int columns);

// The text in lines of at most `columns` columns, broken at blanks; a word that is longer stays whole.
QStringList wrapped(const QString &text, int columns);

// The text filled up with blanks behind it to `columns` columns.
QString padded(const QString &text, int columns);

} // namespace Host
