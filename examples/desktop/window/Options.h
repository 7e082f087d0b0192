#pragma once

#include <QtCore/QCoreApplication>
#include <QtCore/QPair>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVector>

namespace Desktop
{

// What the program was asked to do on the command line.
struct Options {
    QString server;
    QString user;
    QString password;       // from the environment only: others can read a command line
    QString caFile;         // empty for the remembered one
    QStringList transports; // empty for the service's choice
    bool start = false;     // the class begins as soon as the teacher is signed in

    // Nothing is missing that the sign-in page would ask for.
    bool canSignIn() const { return !server.isEmpty() && !user.isEmpty() && !password.isEmpty(); }
};

// A command line read: options to run with, a text to print instead, or what is wrong with it.
struct ParsedOptions {
    enum Action {
        Run,
        Print,
        Refuse
    };
    Action action = Refuse;
    Options options;
    QString text; // what to print, or what is wrong
};

// The command line of tarvo-desktop.
class CommandLine
{
    Q_DECLARE_TR_FUNCTIONS(Desktop::CommandLine)

public:
    CommandLine() = delete;

    // Reads the arguments, the program's name first.
    static ParsedOptions parse(const QStringList &arguments);
    // Every option as it is typed, such as "--user NAME", with what it means.
    static QVector<QPair<QString, QString>> rows();
    // The password of the environment, which is taken out of it at once: no other program gets it.
    static QString takePassword();
};

} // namespace Desktop
