#pragma once

#include "Command.h"

#include <QtCore/QString>
#include <QtCore/QStringList>

#include <optional>

namespace Host
{

// A line read: a command, what is wrong with it, or neither when it holds nothing but a comment.
struct ParsedCommand {
    std::optional<Command> command;
    QString error;
};

// Reads one line. Words are separated by blanks; quotes of either kind keep blanks in a word, and a
// backslash outside single quotes takes the next character as it is. A "#" that begins a word begins
// a comment.
ParsedCommand parseCommand(const QString &line);

// All that there is to type, short enough for a terminal of 80 columns and 24 rows; or one command at
// length: its words, what they mean, what goes without saying, and examples.
QStringList commandHelp(const QString &command = QString());

// What the word at the end of the line can become, each a whole word as it has to be typed: commands,
// kinds, labels, options, the names of learners, and files beside the current folder. The word begins
// at wordBegin().
QStringList completions(const QString &lineUpToCursor, const QStringList &learners);
int wordBegin(const QString &lineUpToCursor);

} // namespace Host
