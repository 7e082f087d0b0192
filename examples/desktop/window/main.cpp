// tarvo-desktop: a host for live class sessions with a window, on the host kit.

#include "window/AppIcon.h"
#include "window/MainWindow.h"
#include "window/Options.h"
#include "window/Resolution.h"
#include "window/Settings.h"

#include "host/LiveClass.h"

#include <QtCore/QLoggingCategory>
#include <QtWidgets/QApplication>

#include <cstdio>

using namespace Desktop;

namespace
{

constexpr int WRONG_USAGE = 2;

// The help is for those who have no screen here, too.
bool isPrinted(const ParsedOptions &parsed)
{
    if (parsed.action == ParsedOptions::Print)
        std::fputs(qPrintable(parsed.text), stdout);
    return parsed.action == ParsedOptions::Print;
}

int refuse(const QString &why)
{
    std::fputs(qPrintable(QStringLiteral("tarvo-desktop: %1\nTry --help.\n").arg(why)), stderr);
    return WRONG_USAGE;
}

QStringList argumentsOf(int argc, char *argv[])
{
    QStringList arguments;
    for (int i = 0; i < argc; ++i)
        arguments.append(QString::fromLocal8Bit(argv[i]));
    return arguments;
}

} // namespace

int main(int argc, char *argv[])
{
    const QString password = CommandLine::takePassword();
    if (isPrinted(CommandLine::parse(argumentsOf(argc, argv))))
        return 0;
    QLoggingCategory::setFilterRules(QStringLiteral("tarvo.*.debug=false"));
    useWholeResolution();
    QApplication::setStyle(QStringLiteral("Fusion"));
    QApplication application(argc, argv);
    QApplication::setApplicationName(QStringLiteral("tarvo-desktop")); // its data has this folder
    QApplication::setApplicationDisplayName(QStringLiteral("Tarvo"));
    QApplication::setWindowIcon(appIcon());

    ParsedOptions parsed =
        CommandLine::parse(QApplication::arguments()); // without the toolkit's own
    if (parsed.action == ParsedOptions::Refuse)
        return refuse(parsed.text);
    parsed.options.password = password;

    Settings settings;
    Tarvo::LiveClass live;
    MainWindow window(live, settings);
    window.show();
    window.take(parsed.options);
    return QApplication::exec();
}
