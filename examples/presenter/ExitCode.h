#pragma once

#include <QtCore/QString>
#include <QtCore/QVector>

namespace Host
{

// What the program says to the shell when it ends.
namespace ExitCode
{
enum Code : int {
    Success = 0,
    Failed = 1,
    WrongUsage = 2,
    Interrupted = 130 // as shells report SIGINT
};
} // namespace ExitCode

// A line of a table that --help shows.
struct HelpRow {
    QString name;
    QString help;
};

QVector<HelpRow> exitCodeRows();

} // namespace Host
