#pragma once

#include "Command.h"

#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVector>

#include <optional>

namespace Host
{

// A command and where it was read.
struct ScriptLine {
    Command command;
    QString text;
    int number;    // of the line, from 1
    QString error; // what is wrong with it; the command is to be passed over then
};

// One line as it is run: a command, or what is wrong with it; none when the line is blank or a comment.
std::optional<ScriptLine> readLine(const QString &text, int number);

// A whole script. It is read before anything is sent, so that a misspelt last line does not end a
// lesson that is under way.
struct Script {
    QVector<ScriptLine> lines;
    QStringList errors; // "FILE:LINE: what is wrong"; empty when every line was read
};

// Where the files of a lesson may be: it can have been written by somebody else than runs it.
enum class LessonFiles {
    InItsFolder, // or below
    Anywhere
};

// Has the command read files of this folder alone, and of those below.
void confineFiles(Command &command, const QString &folder);

// Reads UTF-8 text, one command a line.
Script parseScript(const QString &text, const QString &fileName);
// The same from a file. The files that it names are those beside it, unless their paths are absolute;
// a script out of a pipe has the current folder for its own. Its assessments are read, too, to see
// whether they can be, and that its other files are where they may be.
Script readScript(const QString &fileName, LessonFiles files);

} // namespace Host
