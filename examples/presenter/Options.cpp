#include "Options.h"

#include "console/TextWidth.h"

#include <QtCore/QCommandLineParser>

namespace Host
{

namespace
{

constexpr int MAX_DURATION_S = 7 * 24 * 3600;
constexpr int MS_PER_S = 1000;

const QStringList &transportNames()
{
    static const QStringList names{QStringLiteral("websocket"), QStringLiteral("xhr-streaming"),
                                   QStringLiteral("xhr-polling")};
    return names;
}

// The options as one table: name, value name, what it means.
struct OptionRow {
    const char *name;
    const char *value;
    const char *help;
};

constexpr OptionRow OPTION_ROWS[] = {
    {"server", "URL", "the classroom service; its address begins with http:// or https://"},
    {"user", "NAME", "who signs in"},
    {"password", "TEXT",
     "the password, which other users of the machine can read in the process list; rather put it "
     "into the environment as TARVO_PASSWORD, or type it when the terminal asks"},
    {"transport", "NAME",
     "websocket, xhr-streaming or xhr-polling, instead of what the service prefers"},
    {"compatible-transport", nullptr,
     "the transport that every version of the library knows, instead of the robust one"},
    {"duration", "SECONDS",
     "ends the session after this time, counted from when it is open; fractions are fine, and a "
     "week (604800) is the most"},
    {"script", "FILE",
     "runs the commands in the file; the session ends behind the last one, or after --duration"},
    {"allow-files", nullptr,
     "lets the script or piped input read every file that you can read, not only those of its "
     "folder"},
    {"ca", "FILE", "trusts the root certificates in the file (PEM or DER) as well as the system's"},
    {"verbose", nullptr, "writes the library's diagnostics to standard error"},
    {"help", nullptr, "shows the options and the exit codes"},
};

// ---- The help ------------------------------------------------------------------------------------

constexpr int HELP_COLUMNS = 79;

QString tableText(const QVector<HelpRow> &rows)
{
    int widest = 0;
    for (const HelpRow &row : rows)
        widest = qMax(widest, int(row.name.size()));
    const QString nextLine = QLatin1Char('\n') + QString(widest + 4, QLatin1Char(' '));
    QString text;
    for (const HelpRow &row : rows) {
        text += QStringLiteral("  %1  %2\n")
                    .arg(row.name.leftJustified(widest),
                         wrapped(row.help, HELP_COLUMNS + 1 - nextLine.size()).join(nextLine));
    }
    return text;
}

QString helpText()
{
    return QStringLiteral(
               "Usage: tarvo-presenter [options]\n"
               "Signs a teacher in, opens a class session and runs a lesson from a prompt, a\n"
               "script or standard input. Type help at the prompt for the commands.\n\n"
               "Options:\n%1\nExit codes:\n%2")
        .arg(tableText(optionRows()), tableText(exitCodeRows()));
}

// ---- Reading -------------------------------------------------------------------------------------

void addOptions(QCommandLineParser &parser)
{
    for (const OptionRow &row : OPTION_ROWS) {
        parser.addOption({QString::fromLatin1(row.name), QString::fromLatin1(row.help),
                          QString::fromLatin1(row.value)});
    }
}

bool isServiceAddress(const QUrl &url)
{
    return url.isValid() && !url.host().isEmpty()
        && (url.scheme() == QLatin1String("http") || url.scheme() == QLatin1String("https"));
}

// Each takes an option from the command line, and returns what is wrong with it, or nothing.

QString takeServer(const QCommandLineParser &parser, Options &options)
{
    const QString server = parser.value(QStringLiteral("server"));
    if (server.isEmpty()) {
        return QStringLiteral("There is no server: name the classroom service, such as --server "
                              "https://classroom.example.");
    }
    options.server = QUrl(server, QUrl::StrictMode);
    if (isServiceAddress(options.server))
        return QString();
    return QStringLiteral(
               "--server takes an address that begins with http:// or https://, not '%1'.")
        .arg(server);
}

QString takeUser(const QCommandLineParser &parser, Options &options)
{
    options.user = parser.value(QStringLiteral("user"));
    return options.user.isEmpty()
        ? QStringLiteral("There is no user: name who signs in, such as --user ann.")
        : QString();
}

QString takePassword(const QCommandLineParser &parser, Options &options,
                     const QString &fallbackPassword, bool canAsk)
{
    const QString name = QStringLiteral("password");
    options.password = parser.isSet(name) ? parser.value(name) : fallbackPassword;
    options.askPassword = options.password.isEmpty() && canAsk;
    if (!options.password.isEmpty() || options.askPassword)
        return QString();
    return QStringLiteral("There is no password, and no terminal to ask for it: put it into the "
                          "environment as TARVO_PASSWORD.");
}

QString takeTransport(const QCommandLineParser &parser, Options &options)
{
    options.compatibleTransport = parser.isSet(QStringLiteral("compatible-transport"));
    const QString name = QStringLiteral("transport");
    options.transport = parser.value(name);
    if (!parser.isSet(name) || transportNames().contains(options.transport))
        return QString();
    return QStringLiteral("--transport takes one of %1, not '%2'.")
        .arg(transportNames().join(QStringLiteral(", ")), options.transport);
}

QString takeDuration(const QCommandLineParser &parser, Options &options)
{
    const QString name = QStringLiteral("duration");
    if (!parser.isSet(name))
        return QString();
    const QString text = parser.value(name);
    bool isNumber = false;
    const double seconds = text.toDouble(&isNumber);
    // Written so that "nan" is refused, too.
    if (!isNumber || !(seconds > 0 && seconds <= MAX_DURATION_S)) {
        return QStringLiteral(
                   "--duration takes a number of seconds above 0 and up to %1, not '%2'.")
            .arg(QString::number(MAX_DURATION_S), text);
    }
    options.durationMs = qMax(1, qRound(seconds * MS_PER_S));
    return QString();
}

QString takeFile(const QCommandLineParser &parser, const QString &name, QString &file)
{
    file = parser.value(name);
    return parser.isSet(name) && file.isEmpty()
        ? QStringLiteral("--%1 takes the name of a file, not an empty one.").arg(name)
        : QString();
}

QString takeAll(const QCommandLineParser &parser, Options &options, const QString &fallbackPassword,
                bool canAsk)
{
    const QStringList strays = parser.positionalArguments();
    if (!strays.isEmpty()) {
        return QStringLiteral("Unexpected argument '%1': options begin with --, and values with "
                              "blanks stand in quotes.")
            .arg(strays.first());
    }
    options.allowFiles = parser.isSet(QStringLiteral("allow-files"));
    options.verbose = parser.isSet(QStringLiteral("verbose"));
    const QStringList errors{
        takeServer(parser, options),
        takeUser(parser, options),
        takePassword(parser, options, fallbackPassword, canAsk),
        takeTransport(parser, options),
        takeDuration(parser, options),
        takeFile(parser, QStringLiteral("script"), options.scriptFile),
        takeFile(parser, QStringLiteral("ca"), options.caFile),
    };
    for (const QString &error : errors) {
        if (!error.isEmpty())
            return error;
    }
    return QString();
}

} // namespace

ParsedOptions parseOptions(const QStringList &arguments, const QString &fallbackPassword,
                           bool canAsk)
{
    QCommandLineParser parser;
    addOptions(parser);
    ParsedOptions result;
    if (!parser.parse(arguments)) {
        result.text = parser.errorText();
        return result;
    }
    if (parser.isSet(QStringLiteral("help"))) {
        result.action = ParsedOptions::ShowHelp;
        result.text = helpText();
        return result;
    }
    result.text = takeAll(parser, result.options, fallbackPassword, canAsk);
    result.action = result.text.isEmpty() ? ParsedOptions::Run : ParsedOptions::Refuse;
    return result;
}

QVector<HelpRow> optionRows()
{
    QVector<HelpRow> rows;
    for (const OptionRow &row : OPTION_ROWS) {
        const QString value = row.value ? QLatin1Char(' ') + QLatin1String(row.value) : QString();
        rows.append({QStringLiteral("--%1%2").arg(QLatin1String(row.name), value),
                     QLatin1String(row.help)});
    }
    return rows;
}

} // namespace Host
