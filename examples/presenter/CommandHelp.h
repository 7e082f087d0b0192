#pragma once

#include <QtCore/QString>
#include <QtCore/QStringList>

// The words of every command and what is said about it; commandHelp() shows them.
namespace Host
{

// In the order of the help.
QStringList commandNames();
bool isCommandName(const QString &name);
// The command's words, such as "wait MS"; several are separated by ", or ".
QString usageOf(const QString &command);
QString noSuchCommand(const QString &name);

} // namespace Host
