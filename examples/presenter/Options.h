#pragma once

#include "ExitCode.h"

#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QUrl>
#include <QtCore/QVector>

namespace Host
{

// What the command line asks for.
struct Options {
    QUrl server;
    QString user;
    QString password;
    QString transport;       // empty: the order that the service prefers
    QString scriptFile;      // empty: commands come from the terminal or from standard input
    QString caFile;          // PEM or DER; empty: the system's trusted roots alone
    int durationMs = 0;      // 0: until told to quit
    bool allowFiles = false; // a lesson may read files outside its folder, too
    bool verbose = false;
    bool compatibleTransport = false; // the way of every version of the library, not the robust one
    bool askPassword = false;         // the password is still to be typed at the terminal
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
// other users of the machine could read in the process list. Without either the password is to be
// asked for, if somebody can be asked: standard input is a terminal.
ParsedOptions parseOptions(const QStringList &arguments, const QString &fallbackPassword,
                           bool canAsk = false);

// Every option as it is typed, such as "--user NAME", with what it means.
QVector<HelpRow> optionRows();

} // namespace Host
