#include "support/Text.h"
#include "window/Options.h"
#include "window/ServerAddress.h"

#include <QtCore/QFile>
#include <QtTest/QtTest>

using namespace Desktop;

// What the program takes from the command line, from the environment and from people.
class tst_DesktopOptions : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyOptionIsRead();
    void wrongCommandLinesAreRefused_data();
    void wrongCommandLinesAreRefused();
    void helpNamesEveryOption();
    void pageHasTheOptionsAsTheyAre();
    void passwordLeavesTheEnvironment();
    void addressesAreTakenAsPeopleTypeThem_data();
    void addressesAreTakenAsPeopleTypeThem();
};

namespace
{

ParsedOptions parse(const QStringList &arguments)
{
    return CommandLine::parse(QStringList{u"tarvo-desktop"_s} + arguments);
}

} // namespace

void tst_DesktopOptions::everyOptionIsRead()
{
    const ParsedOptions parsed =
        parse({u"--server"_s, u"https://c.example:8443/"_s, u"--user"_s, u"ann"_s, u"--ca"_s,
               u"root.pem"_s, u"--transport"_s, u"xhr-polling"_s, u"--transport"_s, u"websocket"_s,
               u"--start"_s});
    QCOMPARE(parsed.action, ParsedOptions::Run);
    QCOMPARE(parsed.options.server, u"https://c.example:8443"_s);
    QCOMPARE(parsed.options.user, u"ann"_s);
    QCOMPARE(parsed.options.caFile, u"root.pem"_s);
    QCOMPARE(parsed.options.transports, (QStringList{u"xhr-polling"_s, u"websocket"_s}));
    QVERIFY(parsed.options.start);
    QVERIFY(!parsed.options.canSignIn());
    QCOMPARE(parse({}).action, ParsedOptions::Run);
    QCOMPARE(parse({u"--version"_s}).text, u"tarvo-desktop 1.0.0\n"_s);
}

void tst_DesktopOptions::wrongCommandLinesAreRefused_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("why");
    QTest::newRow("unknown") << QStringList{u"--sever"_s} << u"Unknown option 'sever'."_s;
    QTest::newRow("password") << QStringList{u"--password"_s, u"p"_s}
                              << u"Unknown option 'password'."_s;
    QTest::newRow("stray") << QStringList{u"ann"_s}
                           << u"Unexpected argument 'ann': options begin with --."_s;
    QTest::newRow("server")
        << QStringList{u"--server"_s, u"c://example"_s}
        << u"--server: This is no address of a service: it begins with http:// or https://."_s;
    QTest::newRow("empty") << QStringList{u"--ca"_s, QString()}
                           << u"--ca takes a value, not an empty one."_s;
    QTest::newRow("transport")
        << QStringList{u"--transport"_s, u"pigeon"_s}
        << u"--transport takes one of websocket, xhr-streaming, xhr-polling, not 'pigeon'."_s;
}

void tst_DesktopOptions::wrongCommandLinesAreRefused()
{
    QFETCH(QStringList, arguments);
    const ParsedOptions parsed = parse(arguments);
    QCOMPARE(parsed.action, ParsedOptions::Refuse);
    QTEST(parsed.text, "why");
}

void tst_DesktopOptions::helpNamesEveryOption()
{
    const ParsedOptions parsed = parse({u"--help"_s, u"ann"_s});
    QCOMPARE(parsed.action, ParsedOptions::Print);
    for (const auto &row : CommandLine::rows())
        QVERIFY2(parsed.text.contains(u"  "_s + row.first + u" "_s), qPrintable(row.first));
}

void tst_DesktopOptions::pageHasTheOptionsAsTheyAre()
{
    QFile file(QStringLiteral(DOCUMENTATION_FILE));
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QString page = QString::fromUtf8(file.readAll());
    QString table = u"| Option | Meaning |\n|---|---|\n"_s;
    for (const auto &row : CommandLine::rows())
        table += u"| `%1` | %2 |\n"_s.arg(row.first, row.second);
    QVERIFY2(page.contains(table + u"\n"_s), qPrintable(table));
}

void tst_DesktopOptions::passwordLeavesTheEnvironment()
{
    qputenv("TARVO_PASSWORD", "secret");
    QCOMPARE(CommandLine::takePassword(), u"secret"_s);
    QVERIFY(!qEnvironmentVariableIsSet("TARVO_PASSWORD"));
    QCOMPARE(CommandLine::takePassword(), QString());
}

void tst_DesktopOptions::addressesAreTakenAsPeopleTypeThem_data()
{
    QTest::addColumn<QString>("typed");
    QTest::addColumn<QString>("joinAddress");
    QTest::newRow("name") << u" c.example "_s << u"https://c.example/join/123456"_s;
    QTest::newRow("slash") << u"https://c.example/"_s << u"https://c.example/join/123456"_s;
    QTest::newRow("port") << u"http://10.0.0.2:8089"_s << u"http://10.0.0.2:8089/join/123456"_s;
    QTest::newRow("name and port")
        << u"c.example:8443"_s << u"https://c.example:8443/join/123456"_s;
    QTest::newRow("nothing") << u"  "_s << QString();
    QTest::newRow("no host") << u"https:///x"_s << QString();
    QTest::newRow("query") << u"https://c.example?x"_s << QString();
}

void tst_DesktopOptions::addressesAreTakenAsPeopleTypeThem()
{
    QFETCH(QString, typed);
    QTEST(ServerAddress(typed).joinAddress(u"123456"_s), "joinAddress");
}

QTEST_MAIN(tst_DesktopOptions)

#include "tst_desktopoptions.moc"
