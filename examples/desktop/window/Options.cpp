#include "window/Options.h"

#include "window/ServerAddress.h"

#include <QtCore/QCommandLineParser>

namespace Desktop
{

namespace
{

const char *const PASSWORD_VARIABLE = "TARVO_PASSWORD";
const char *const VERSION = "1.0.0";

// The options as one table: name, value name, what it means.
struct OptionRow {
    const char *name;
    const char *value;
    const char *help;
};

// clang-format off
constexpr OptionRow OPTION_ROWS[] = {
    {"server",    "URL",   QT_TRANSLATE_NOOP("Desktop::CommandLine", "the classroom service, such as https://classroom.example")},
    {"user",      "NAME",  QT_TRANSLATE_NOOP("Desktop::CommandLine", "who signs in")},
    {"ca",        "FILE",  QT_TRANSLATE_NOOP("Desktop::CommandLine", "trusts the root certificates in the file (PEM or DER) as well as the system's")},
    {"transport", "NAME",  QT_TRANSLATE_NOOP("Desktop::CommandLine", "websocket, xhr-streaming or xhr-polling, instead of what the service prefers; several are tried in their order")},
    {"start",     nullptr, QT_TRANSLATE_NOOP("Desktop::CommandLine", "starts the class as soon as you are signed in")},
    {"help",      nullptr, QT_TRANSLATE_NOOP("Desktop::CommandLine", "shows the options")},
    {"version",   nullptr, QT_TRANSLATE_NOOP("Desktop::CommandLine", "shows the version")},
};
// clang-format on

const QStringList &transportNames()
{
    static const QStringList names{QStringLiteral("websocket"), QStringLiteral("xhr-streaming"),
                                   QStringLiteral("xhr-polling")};
    return names;
}

QString helpText()
{
    QString text =
        CommandLine::tr("Usage: tarvo-desktop [options]\n"
                        "A window for a live class. With --server, --user and a password "
                        "in the environment\nas TARVO_PASSWORD it signs in at once.\n\n"
                        "Options:\n");
    for (const auto &row : CommandLine::rows())
        text += QStringLiteral("  %1  %2\n").arg(row.first.leftJustified(16), row.second);
    return text;
}

// What is wrong with what the options say, or nothing.
QString complaint(const QCommandLineParser &parser)
{
    const QStringList strays = parser.positionalArguments();
    if (!strays.isEmpty())
        return CommandLine::tr("Unexpected argument '%1': options begin with --.")
            .arg(strays.first());
    for (const OptionRow &row : OPTION_ROWS) {
        const QString name = QLatin1String(row.name);
        if (row.value && parser.values(name).contains(QString()))
            return CommandLine::tr("--%1 takes a value, not an empty one.").arg(name);
    }
    if (parser.isSet(QStringLiteral("server"))) {
        const ServerAddress address(parser.value(QStringLiteral("server")));
        if (!address.isValid())
            return QStringLiteral("--server: ") + address.complaint();
    }
    for (const QString &name : parser.values(QStringLiteral("transport"))) {
        if (!transportNames().contains(name)) {
            return CommandLine::tr("--transport takes one of %1, not '%2'.")
                .arg(transportNames().join(QStringLiteral(", ")), name);
        }
    }
    return QString();
}

Options optionsOf(const QCommandLineParser &parser)
{
    Options options;
    options.server = ServerAddress(parser.value(QStringLiteral("server"))).text();
    options.user = parser.value(QStringLiteral("user"));
    options.caFile = parser.value(QStringLiteral("ca"));
    options.transports = parser.values(QStringLiteral("transport"));
    options.start = parser.isSet(QStringLiteral("start"));
    return options;
}

} // namespace

ParsedOptions CommandLine::parse(const QStringList &arguments)
{
    QCommandLineParser parser;
    for (const OptionRow &row : OPTION_ROWS)
        parser.addOption({QLatin1String(row.name), tr(row.help), QLatin1String(row.value)});
    if (!parser.parse(arguments))
        return {ParsedOptions::Refuse, {}, parser.errorText()};
    if (parser.isSet(QStringLiteral("help")))
        return {ParsedOptions::Print, {}, helpText()};
    if (parser.isSet(QStringLiteral("version")))
        return {ParsedOptions::Print,
                {},
                QStringLiteral("tarvo-desktop %1\n").arg(QLatin1String(VERSION))};
    const QString wrong = complaint(parser);
    if (!wrong.isEmpty())
        return {ParsedOptions::Refuse, {}, wrong};
    return {ParsedOptions::Run, optionsOf(parser), {}};
}

QVector<QPair<QString, QString>> CommandLine::rows()
{
    QVector<QPair<QString, QString>> rows;
    for (const OptionRow &row : OPTION_ROWS) {
        const QString value = row.value ? QLatin1Char(' ') + QLatin1String(row.value) : QString();
        rows.append({QStringLiteral("--%1%2").arg(QLatin1String(row.name), value), tr(row.help)});
    }
    return rows;
}

QString CommandLine::takePassword()
{
    const QString password = qEnvironmentVariable(PASSWORD_VARIABLE);
    qunsetenv(PASSWORD_VARIABLE);
    return password;
}

} // namespace Desktop
