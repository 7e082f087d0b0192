#include "ExitCode.h"
#include "Options.h"
#include "support/Text.h"

#include <QtCore/QFile>
#include <QtTest/QtTest>

using namespace Host;

class tst_PresenterOptions : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyOptionIsRead();
    void whatIsNotGivenHasItsDefault();
    void passwordComesFromTheEnvironmentWhenNotGiven();
    void passwordIsAskedForAtATerminal();
    void wrongCommandLinesAreRefused_data();
    void wrongCommandLinesAreRefused();
    void helpNamesEveryOption();
    void helpNamesEveryExitCode();
    void helpFitsEightyColumns();
    void helpComesBeforeEveryRefusal();
    void exitCodesAreWhatShellsGet();
    void documentationShowsTheOptionsAsTheyAre();
    void documentationShowsTheExitCodesAsTheyAre();
};

namespace
{

ParsedOptions parse(const QStringList &arguments, const QString &fallbackPassword = QString())
{
    return parseOptions(QStringList{u"tarvo-presenter"_s} + arguments, fallbackPassword);
}

QStringList complete()
{
    return {u"--server"_s, u"https://c.example:8443"_s, u"--user"_s, u"ann"_s, u"--password"_s,
            u"p%1 w"_s};
}

// A table of the page as it has to stand there.
QString markdownTable(const QString &heading, const QString &row, const QVector<HelpRow> &rows)
{
    QString table = heading + u"\n|---|---|\n"_s;
    for (const HelpRow &one : rows)
        table += row.arg(one.name, one.help) + u"\n"_s;
    return table + u"\n"_s;
}

bool isInDocumentation(const QString &text)
{
    QFile page(QStringLiteral(DOCUMENTATION_FILE));
    return page.open(QIODevice::ReadOnly) && QString::fromUtf8(page.readAll()).contains(text);
}

} // namespace

void tst_PresenterOptions::everyOptionIsRead()
{
    const ParsedOptions parsed =
        parse(complete()
              + QStringList{u"--transport"_s, u"xhr-polling"_s, u"--compatible-transport"_s,
                            u"--duration"_s, u"2.5"_s, u"--script"_s, u"lesson.txt"_s, u"--ca"_s,
                            u"root.pem"_s, u"--allow-files"_s, u"--verbose"_s});
    QCOMPARE(parsed.action, ParsedOptions::Run);
    QCOMPARE(parsed.options.server, QUrl(u"https://c.example:8443"_s));
    QCOMPARE(parsed.options.user, u"ann"_s);
    QCOMPARE(parsed.options.password, u"p%1 w"_s);
    QCOMPARE(parsed.options.transport, u"xhr-polling"_s);
    QVERIFY(parsed.options.compatibleTransport);
    QCOMPARE(parsed.options.durationMs, 2500);
    QCOMPARE(parsed.options.scriptFile, u"lesson.txt"_s);
    QCOMPARE(parsed.options.caFile, u"root.pem"_s);
    QVERIFY(parsed.options.allowFiles);
    QVERIFY(parsed.options.verbose);
}

void tst_PresenterOptions::whatIsNotGivenHasItsDefault()
{
    const ParsedOptions parsed = parse(complete());
    QCOMPARE(parsed.action, ParsedOptions::Run);
    QCOMPARE(parsed.options.transport, QString());
    QVERIFY(!parsed.options.compatibleTransport);
    QCOMPARE(parsed.options.durationMs, 0);
    QCOMPARE(parsed.options.scriptFile, QString());
    QCOMPARE(parsed.options.caFile, QString());
    QVERIFY(!parsed.options.allowFiles);
    QVERIFY(!parsed.options.verbose);
}

void tst_PresenterOptions::passwordComesFromTheEnvironmentWhenNotGiven()
{
    const QStringList withoutPassword = complete().mid(0, 4);
    QCOMPARE(parse(withoutPassword, u"secret"_s).options.password, u"secret"_s);
    QCOMPARE(parse(complete(), u"secret"_s).options.password, u"p%1 w"_s);
    QVERIFY(!parse(withoutPassword, u"secret"_s).options.askPassword);
    const ParsedOptions parsed = parse(withoutPassword);
    QCOMPARE(parsed.action, ParsedOptions::Refuse);
    QCOMPARE(parsed.text,
             u"There is no password, and no terminal to ask for it: put it into the environment as "
             "TARVO_PASSWORD."_s);
}

void tst_PresenterOptions::passwordIsAskedForAtATerminal()
{
    const QStringList withoutPassword = QStringList{u"tarvo-presenter"_s} + complete().mid(0, 4);
    const ParsedOptions parsed = parseOptions(withoutPassword, QString(), true);
    QCOMPARE(parsed.action, ParsedOptions::Run);
    QVERIFY(parsed.options.askPassword);
    QCOMPARE(parsed.options.password, QString());
    QVERIFY(!parseOptions(withoutPassword, u"secret"_s, true).options.askPassword);
}

void tst_PresenterOptions::wrongCommandLinesAreRefused_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("why");
    const auto row = [](const char *name, const QStringList &arguments, const char *why) {
        QTest::newRow(name) << arguments << QString::fromUtf8(why);
    };
    row("no server", complete().mid(2),
        "There is no server: name the classroom service, such as --server "
        "https://classroom.example.");
    row("server without scheme",
        complete().replaceInStrings(u"https://c.example:8443"_s, u"c.example"_s),
        "--server takes an address that begins with http:// or https://, not 'c.example'.");
    row("server of another scheme", complete().replaceInStrings(u"https:"_s, u"ftp:"_s),
        "--server takes an address that begins with http:// or https://, not "
        "'ftp://c.example:8443'.");
    row("server without host", complete().replaceInStrings(u"c.example:8443"_s, u""_s),
        "--server takes an address that begins with http:// or https://, not 'https://'.");
    row("no user", complete().mid(0, 2) + complete().mid(4),
        "There is no user: name who signs in, such as --user ann.");
    row("unknown transport", complete() + QStringList{u"--transport"_s, u"carrier-pigeon"_s},
        "--transport takes one of websocket, xhr-streaming, xhr-polling, not 'carrier-pigeon'.");
    for (const QString &duration : {u"0"_s, u"-1"_s, u"nan"_s, u"soon"_s, u"604801"_s, u""_s}) {
        QTest::addRow("duration '%s'", qPrintable(duration))
            << complete() + QStringList{u"--duration"_s, duration}
            << u"--duration takes a number of seconds above 0 and up to 604800, not '%1'."_s.arg(
                   duration);
    }
    row("unknown option", complete() + QStringList{u"--colour"_s}, "Unknown option 'colour'.");
    row("value missing", complete() + QStringList{u"--script"_s},
        "Missing value after '--script'.");
    row("stray argument", complete() + QStringList{u"lesson.txt"_s},
        "Unexpected argument 'lesson.txt': options begin with --, and values with blanks stand in "
        "quotes.");
    row("transport empty", complete() + QStringList{u"--transport"_s, u""_s},
        "--transport takes one of websocket, xhr-streaming, xhr-polling, not ''.");
    row("script empty", complete() + QStringList{u"--script"_s, u""_s},
        "--script takes the name of a file, not an empty one.");
    row("certificates empty", complete() + QStringList{u"--ca"_s, u""_s},
        "--ca takes the name of a file, not an empty one.");
}

void tst_PresenterOptions::wrongCommandLinesAreRefused()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, why);
    const ParsedOptions parsed = parse(arguments);
    QCOMPARE(parsed.action, ParsedOptions::Refuse);
    QCOMPARE(parsed.text, why);
}

void tst_PresenterOptions::helpNamesEveryOption()
{
    const ParsedOptions parsed = parse({u"--help"_s});
    QCOMPARE(parsed.action, ParsedOptions::ShowHelp);
    for (const char *option : {"--server URL", "--user NAME", "--password TEXT", "--transport NAME",
                               "--compatible-transport", "--duration SECONDS", "--script FILE",
                               "--allow-files", "--ca FILE", "--verbose", "--help"}) {
        QVERIFY2(parsed.text.contains(u"\n  %1  "_s.arg(QLatin1String(option))), option);
    }
}

void tst_PresenterOptions::helpNamesEveryExitCode()
{
    const QString help = parse({u"--help"_s}).text;
    const QString codes = help.mid(help.indexOf(u"\nExit codes:\n"_s));
    for (const char *code : {"0", "1", "2", "130"})
        QVERIFY2(codes.contains(u"\n  %1  "_s.arg(QLatin1String(code), -3)), code);
}

void tst_PresenterOptions::helpFitsEightyColumns()
{
    const QStringList lines = parse({u"--help"_s}).text.split(QLatin1Char('\n'));
    for (const QString &line : lines)
        QVERIFY2(line.size() <= 79, qPrintable(line));
}

void tst_PresenterOptions::helpComesBeforeEveryRefusal()
{
    QCOMPARE(parse({u"--help"_s, u"stray"_s, u"--duration"_s, u"x"_s}).action,
             ParsedOptions::ShowHelp);
}

void tst_PresenterOptions::exitCodesAreWhatShellsGet()
{
    QCOMPARE(int(ExitCode::Success), 0);
    QCOMPARE(int(ExitCode::Failed), 1);
    QCOMPARE(int(ExitCode::WrongUsage), 2);
    QCOMPARE(int(ExitCode::Interrupted), 130);
}

void tst_PresenterOptions::documentationShowsTheOptionsAsTheyAre()
{
    const QString table =
        markdownTable(u"| Option | Meaning |"_s, u"| `%1` | %2 |"_s, optionRows());
    QVERIFY2(isInDocumentation(table), qPrintable(table));
}

void tst_PresenterOptions::documentationShowsTheExitCodesAsTheyAre()
{
    const QString table =
        markdownTable(u"| Exit code | When |"_s, u"| %1 | %2 |"_s, exitCodeRows());
    QVERIFY2(isInDocumentation(table), qPrintable(table));
}

QTEST_GUILESS_MAIN(tst_PresenterOptions)
#include "tst_presenteroptions.moc"
