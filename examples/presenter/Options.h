#pragma once

#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QUrl>

namespace Host
{

// What the command line asks for.
struct Options {
    QUrl server;
    QString user;
    QString password;
    QString transport;  // empty: the order that the service prefers
    QString scriptFile; // empty: commands come from the terminal or from standard input
    QString caFile;     // PEM or DER; empty: the system's trusted roots alone
    int durationMs = 0; // 0: until told to quit
    bool verbose = false;
    bool compatibleTransport = false; // the way of every version of the library, not the robust one
};

// A command line read: options to run with, a text to print instead, or what is wrong with it.
struct ParsedOptions {
    enum Action {
        Run,
        ShowHelp,
        Refuse
    };
    Action action = Refuse;
    Options options;
    QString text; // the help, or what is wrong
};

// Reads a command line, the program's name first. fallbackPassword stands in for --password, which
// other users of the machine could read in the process list.
ParsedOptions parseOptions(const QStringList &arguments, const QString &fallbackPassword);

} // namespace Host
