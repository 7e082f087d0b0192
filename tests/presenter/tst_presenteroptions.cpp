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
    return {"--server", "https://c.example:8443", "--user", "ann", "--password", "p%1 w"};
}

} // namespace

void tst_PresenterOptions::everyOptionIsRead()
{
    const ParsedOptions parsed =
        parse(complete()
              + QStringList{"--transport", "xhr-polling", "--duration", "2.5", "--script",
                            "lesson.txt", "--ca", "root.pem", "--verbose"});
    QCOMPARE(parsed.action, ParsedOptions::Run);
    QCOMPARE(parsed.options.server, QUrl("https://c.example:8443"));
    QCOMPARE(parsed.options.user, QString("ann"));
    QCOMPARE(parsed.options.password, QString("p%1 w"));
    QCOMPARE(parsed.options.transport, QString("xhr-polling"));
    QCOMPARE(parsed.options.durationMs, 2500);
    QCOMPARE(parsed.options.scriptFile, QString("lesson.txt"));
    QCOMPARE(parsed.options.caFile, QString("root.pem"));
    QVERIFY(parsed.options.verbose);
}

void tst_PresenterOptions::whatIsNotGivenHasItsDefault()
{
    const ParsedOptions parsed = parse(complete());
    QCOMPARE(parsed.action, ParsedOptions::Run);
    QCOMPARE(parsed.options.transport, QString());
    QCOMPARE(parsed.options.durationMs, 0);
    QCOMPARE(parsed.options.scriptFile, QString());
    QCOMPARE(parsed.options.caFile, QString());
    QVERIFY(!parsed.options.verbose);
}

void tst_PresenterOptions::passwordComesFromTheEnvironmentWhenNotGiven()
{
    const QStringList withoutPassword = complete().mid(0, 4);
    QCOMPARE(parse(withoutPassword, "secret").options.password, QString("secret"));
    QCOMPARE(parse(complete(), "secret").options.password, QString("p%1 w"));
    QCOMPARE(parse(withoutPassword).text,
             QString("--password is missing; TARVO_PASSWORD in the environment will do, too."));
}

void tst_PresenterOptions::wrongCommandLinesAreRefused_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("why");

    QTest::newRow("no server") << QStringList(complete().mid(2))
                               << "--server is missing: the address of the classroom service.";
    QTest::newRow("server without scheme")
        << complete().replaceInStrings("https://c.example:8443", "c.example")
        << "--server takes an address that begins with http:// or https://, not 'c.example'.";
    QTest::newRow("server of another scheme")
        << complete().replaceInStrings("https:", "ftp:")
        << "--server takes an address that begins with http:// or https://, not "
           "'ftp://c.example:8443'.";
    QTest::newRow("server without host")
        << complete().replaceInStrings("c.example:8443", "")
        << "--server takes an address that begins with http:// or https://, not 'https://'.";
    QTest::newRow("no user") << QStringList(complete().mid(0, 2) + complete().mid(4))
                             << "--user is missing: who signs in.";
    QTest::newRow("unknown transport")
        << complete() + QStringList{"--transport", "carrier-pigeon"}
        << "--transport takes one of websocket, xhr-streaming, xhr-polling, not 'carrier-pigeon'.";
    for (const QString duration : {"0", "-1", "nan", "soon", "604801", ""}) {
        QTest::addRow("duration '%s'", qPrintable(duration))
            << complete() + QStringList{"--duration", duration}
            << QString("--duration takes a number of seconds above 0 and up to 604800, not '%1'.")
                   .arg(duration);
    }
    QTest::newRow("unknown option")
        << complete() + QStringList{"--colour"} << "Unknown option 'colour'.";
    QTest::newRow("value missing")
        << complete() + QStringList{"--script"} << "Missing value after '--script'.";
    QTest::newRow("stray argument")
        << complete() + QStringList{"lesson.txt"} << "Unexpected argument 'lesson.txt'.";
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
    const ParsedOptions parsed = parse({"--help"});
    QCOMPARE(parsed.action, ParsedOptions::ShowHelp);
    for (const char *option :
         {"--server <URL>", "--user <NAME>", "--password <TEXT>", "--transport <NAME>",
          "--duration <SECONDS>", "--script <FILE>", "--ca <FILE>", "--verbose", "--help"}) {
        QVERIFY2(parsed.text.contains(option), option);
    }
    QVERIFY(parsed.text.contains("Ends with 0 when"));
}

void tst_PresenterOptions::helpComesBeforeEveryRefusal()
{
    QCOMPARE(parse({"--help", "stray", "--duration", "x"}).action, ParsedOptions::ShowHelp);
}

QTEST_GUILESS_MAIN(tst_PresenterOptions)
#include "tst_presenteroptions.moc"
