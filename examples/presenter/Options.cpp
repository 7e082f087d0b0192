#include "Options.h"

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
    {"server", "URL", "Address of the classroom service, for example https://classroom.example."},
    {"user", "NAME", "Who signs in."},
    {"password", "TEXT", "The password; without this option TARVO_PASSWORD in the environment."},
    {"transport", "NAME",
     "websocket, xhr-streaming or xhr-polling; without this option what the service prefers."},
    {"compatible-transport", nullptr,
     "Use the transport that every version of the library knows; without this option the robust "
     "one."},
    {"duration", "SECONDS", "End the session after this time; without this option on quit."},
    {"script", "FILE", "Run the commands in FILE and end the session after the last one."},
    {"ca", "FILE", "Trust the root certificates in FILE (PEM or DER) as well as the system's."},
    {"verbose", nullptr, "Write the library's diagnostics to standard error."},
    {"help", nullptr, "Show this text."},
};

constexpr char EXIT_CODES[] = R"(
Ends with 0 when the session was opened and stopped as asked, 1 when something
failed (the reason is on standard error), 2 for a wrong option or script, and
130 when interrupted before the session was open.
)";

void addOptions(QCommandLineParser &parser)
{
    parser.setApplicationDescription(
        QStringLiteral("Signs a teacher in, opens a class session and runs a lesson from a prompt, "
                       "a script or standard input.\nType help at the prompt for the commands."));
    for (const OptionRow &row : OPTION_ROWS) {
        parser.addOption({QString::fromLatin1(row.name), QString::fromLatin1(row.help),
                          QString::fromLatin1(row.value)});
    }
}

ParsedOptions refuse(const QString &why)
{
    ParsedOptions result;
    result.text = why;
    return result;
}

bool isServiceAddress(const QUrl &url)
{
    return url.isValid() && !url.host().isEmpty()
        && (url.scheme() == QLatin1String("http") || url.scheme() == QLatin1String("https"));
}

} // namespace

ParsedOptions parseOptions(const QStringList &arguments, const QString &fallbackPassword)
{
    QCommandLineParser parser;
    addOptions(parser);
    if (!parser.parse(arguments))
        return refuse(parser.errorText());
    ParsedOptions result;
    if (parser.isSet(QStringLiteral("help"))) {
        result.action = ParsedOptions::ShowHelp;
        result.text = parser.helpText() + QString::fromLatin1(EXIT_CODES);
        return result;
    }
    const QStringList strays = parser.positionalArguments();
    if (!strays.isEmpty()) {
        return refuse(QStringLiteral("Unexpected argument '%1'.").arg(strays.first()));
    }

    Options &options = result.options;
    const QString server = parser.value(QStringLiteral("server"));
    if (server.isEmpty())
        return refuse(QStringLiteral("--server is missing: the address of the classroom service."));
    options.server = QUrl(server, QUrl::StrictMode);
    if (!isServiceAddress(options.server)) {
        return refuse(QStringLiteral("--server takes an address that begins with http:// or "
                                     "https://, not '%1'.")
                          .arg(server));
    }
    options.user = parser.value(QStringLiteral("user"));
    if (options.user.isEmpty())
        return refuse(QStringLiteral("--user is missing: who signs in."));
    options.password = parser.isSet(QStringLiteral("password"))
        ? parser.value(QStringLiteral("password"))
        : fallbackPassword;
    if (options.password.isEmpty()) {
        return refuse(
            QStringLiteral("--password is missing; TARVO_PASSWORD in the environment will "
                           "do, too."));
    }
    options.transport = parser.value(QStringLiteral("transport"));
    if (!options.transport.isEmpty() && !transportNames().contains(options.transport)) {
        return refuse(QStringLiteral("--transport takes one of %1, not '%2'.")
                          .arg(transportNames().join(QStringLiteral(", ")), options.transport));
    }
    options.compatibleTransport = parser.isSet(QStringLiteral("compatible-transport"));
    if (parser.isSet(QStringLiteral("duration"))) {
        const QString text = parser.value(QStringLiteral("duration"));
        bool isNumber = false;
        const double seconds = text.toDouble(&isNumber);
        // Written so that "nan" is refused, too.
        if (!isNumber || !(seconds > 0 && seconds <= MAX_DURATION_S)) {
            return refuse(QStringLiteral("--duration takes a number of seconds above 0 and up to "
                                         "%1, not '%2'.")
                              .arg(QString::number(MAX_DURATION_S), text));
        }
        options.durationMs = qMax(1, qRound(seconds * MS_PER_S));
    }
    options.scriptFile = parser.value(QStringLiteral("script"));
    options.caFile = parser.value(QStringLiteral("ca"));
    options.verbose = parser.isSet(QStringLiteral("verbose"));
    result.action = ParsedOptions::Run;
    return result;
}

} // namespace Host
