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

// What there is to type: one line per command with its arguments and what it does, then the kinds of
// poll and of labels.
QStringList commandHelp();

} // namespace Host
