#include "Options.h"
#include "support/Text.h"

#include <QtTest/QtTest>

using namespace Host;

class tst_PresenterOptions : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyOptionIsRead();
    void whatIsNotGivenHasItsDefault();
    void passwordComesFromTheEnvironmentWhenNotGiven();
    void wrongCommandLinesAreRefused_data();
    void wrongCommandLinesAreRefused();
    void helpNamesEveryOption();
    void helpComesBeforeEveryRefusal();
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

} // namespace

void tst_PresenterOptions::everyOptionIsRead()
{
    const ParsedOptions parsed =
        parse(complete()
              + QStringList{u"--transport"_s, u"xhr-polling"_s, u"--compatible-transport"_s,
                            u"--duration"_s, u"2.5"_s, u"--script"_s, u"lesson.txt"_s, u"--ca"_s,
                            u"root.pem"_s, u"--verbose"_s});
    QCOMPARE(parsed.action, ParsedOptions::Run);
    QCOMPARE(parsed.options.server, QUrl(u"https://c.example:8443"_s));
    QCOMPARE(parsed.options.user, u"ann"_s);
    QCOMPARE(parsed.options.password, u"p%1 w"_s);
    QCOMPARE(parsed.options.transport, u"xhr-polling"_s);
    QVERIFY(parsed.options.compatibleTransport);
    QCOMPARE(parsed.options.durationMs, 2500);
    QCOMPARE(parsed.options.scriptFile, u"lesson.txt"_s);
    QCOMPARE(parsed.options.caFile, u"root.pem"_s);
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
    QVERIFY(!parsed.options.verbose);
}

void tst_PresenterOptions::passwordComesFromTheEnvironmentWhenNotGiven()
{
    const QStringList withoutPassword = complete().mid(0, 4);
    QCOMPARE(parse(withoutPassword, u"secret"_s).options.password, u"secret"_s);
    QCOMPARE(parse(complete(), u"secret"_s).options.password, u"p%1 w"_s);
    QCOMPARE(parse(withoutPassword).text,
             u"--password is missing; TARVO_PASSWORD in the environment will do, too."_s);
}

void tst_PresenterOptions::wrongCommandLinesAreRefused_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("why");
    const auto row = [](const char *name, const QStringList &arguments, const char *why) {
        QTest::newRow(name) << arguments << QString::fromUtf8(why);
    };
    row("no server", complete().mid(2),
        "--server is missing: the address of the classroom service.");
    row("server without scheme",
        complete().replaceInStrings(u"https://c.example:8443"_s, u"c.example"_s),
        "--server takes an address that begins with http:// or https://, not 'c.example'.");
    row("server of another scheme", complete().replaceInStrings(u"https:"_s, u"ftp:"_s),
        "--server takes an address that begins with http:// or https://, not "
        "'ftp://c.example:8443'.");
    row("server without host", complete().replaceInStrings(u"c.example:8443"_s, u""_s),
        "--server takes an address that begins with http:// or https://, not 'https://'.");
    row("no user", complete().mid(0, 2) + complete().mid(4), "--user is missing: who signs in.");
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
        "Unexpected argument 'lesson.txt'.");
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
    for (const char *option :
         {"--server <URL>", "--user <NAME>", "--password <TEXT>", "--transport <NAME>",
          "--compatible-transport", "--duration <SECONDS>", "--script <FILE>", "--ca <FILE>",
          "--verbose", "--help"}) {
        QVERIFY2(parsed.text.contains(QLatin1String(option)), option);
    }
    QVERIFY(parsed.text.contains(u"Ends with 0 when"_s));
}

void tst_PresenterOptions::helpComesBeforeEveryRefusal()
{
    QCOMPARE(parse({u"--help"_s, u"stray"_s, u"--duration"_s, u"x"_s}).action,
             ParsedOptions::ShowHelp);
}

QTEST_GUILESS_MAIN(tst_PresenterOptions)
#include "tst_presenteroptions.moc"
