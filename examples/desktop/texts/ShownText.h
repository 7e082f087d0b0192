#pragma once

#include <QtCore/QString>

namespace Desktop
{

// What others have typed, made fit to be shown: names and answers are text, never markup, and a long one
// costs no more than what can be seen of it.

// More than a line of anything that is named shows.
constexpr int MAX_SHOWN = 200;

// At most `mostCharacters` of it, on one line: breaks and control characters become blanks, and "…" stands
// for what is cut off. What shows nothing is left out, as it could turn the line around or hide in it.
QString shownText(const QString &text, int mostCharacters = MAX_SHOWN);
// The same to stand within a sentence: a text that can change the direction of what is around it is
// isolated from it.
QString quotedText(const QString &text, int mostCharacters = MAX_SHOWN);
// The text as a tool tip, which the toolkit would otherwise read as markup. What is isolated in it stays so.
QString plainToolTip(const QString &text);

} // namespace Desktop
