#include "Script.h"
#include "support/Text.h"

#include <QtTest/QtTest>

using namespace Host;

class tst_Script : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void lineKeepsItsCommandTextAndNumber();
    void lineThatCannotBeReadKeepsTheReason();
    void blankLinesAndCommentsMakeNoLine_data();
    void blankLinesAndCommentsMakeNoLine();
    void exampleScriptIsRead();
    void scriptKeepsCommandsWithTheirLines();
    void scriptReportsEveryWrongLine();
    void filesOfAScriptAreThoseBesideIt();
    void typedFilesAreThoseOfTheCurrentFolder();
    void assessmentThatCannotBeReadIsReported();
    void scriptThatCannotBeReadIsReported();
};

namespace
{

void write(const QString &fileName, const QByteArray &text)
{
    QFile file(fileName);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(text);
}

const QByteArray ASSESSMENT = R"({"questions": [{"kind": "text", "instructions": "Why?"}]})";

} // namespace

void tst_Script::lineKeepsItsCommandTextAndNumber()
{
    const std::optional<ScriptLine> line = readLine(u"  wait 7 # a moment\r"_s, 12);
    QVERIFY(line);
    QCOMPARE(std::get<Commands::Wait>(line->command).milliseconds, 7);
    QCOMPARE(line->text, u"wait 7 # a moment"_s);
    QCOMPARE(line->number, 12);
    QCOMPARE(line->error, QString());
}

void tst_Script::lineThatCannotBeReadKeepsTheReason()
{
    const std::optional<ScriptLine> line = readLine(u" dance \"all night"_s, 3);
    QVERIFY(line);
    QCOMPARE(line->text, u"dance \"all night"_s);
    QCOMPARE(line->number, 3);
    QCOMPARE(line->error, u"A quote is opened but not closed."_s);
}

void tst_Script::blankLinesAndCommentsMakeNoLine_data()
{
    QTest::addColumn<QString>("text");
    QTest::newRow("empty") << u""_s;
    QTest::newRow("blanks") << u" \t\r"_s;
    QTest::newRow("comment") << u"  # poll text"_s;
}

void tst_Script::blankLinesAndCommentsMakeNoLine()
{
    QFETCH(QString, text);
    QVERIFY(!readLine(text, 1));
}

void tst_Script::exampleScriptIsRead()
{
    const Script script = readScript(QStringLiteral(EXAMPLE_SCRIPT));
    QCOMPARE(script.errors, QStringList());
    QVERIFY(std::holds_alternative<Commands::Quit>(script.lines.last().command));
}

void tst_Script::scriptKeepsCommandsWithTheirLines()
{
    const Script script = parseScript(u"# a lesson\r\n\r\n  poll text\r\nquit"_s, u"lesson.txt"_s);
    QVERIFY2(script.errors.isEmpty(), qPrintable(script.errors.join(QLatin1Char('\n'))));
    QCOMPARE(script.lines.size(), 2);
    QVERIFY(std::holds_alternative<Commands::StartPoll>(script.lines.at(0).command));
    QCOMPARE(script.lines.at(0).number, 3);
    QCOMPARE(script.lines.at(0).text, u"poll text"_s);
    QVERIFY(std::holds_alternative<Commands::Quit>(script.lines.at(1).command));
    QCOMPARE(script.lines.at(1).number, 4);
}

void tst_Script::scriptReportsEveryWrongLine()
{
    const Script script = parseScript(u"help\nhop\nstop now\n"_s, u"lesson.txt"_s);
    QCOMPARE(script.errors,
             QStringList({u"lesson.txt:2: There is no command 'hop'; help lists them."_s,
                          u"lesson.txt:3: Usage: stop"_s}));
}

void tst_Script::filesOfAScriptAreThoseBesideIt()
{
    const QTemporaryDir folder;
    const QString name = folder.filePath(u"lesson.txt"_s);
    write(name,
          "image a.png\nimage /x/b.png\nimage http://h/c.png\nupload sub/d.bin\n"
          "assessment e.json\n");
    write(folder.filePath(u"e.json"_s), ASSESSMENT);
    const Script script = readScript(name);
    QCOMPARE(script.errors, QStringList());
    QCOMPARE(script.lines.size(), 5);
    const auto image = [&script](int line) {
        return std::get<Commands::SetImage>(script.lines.at(line).command).source;
    };
    QCOMPARE(image(0), folder.filePath(u"a.png"_s));
    QCOMPARE(image(1), u"/x/b.png"_s);
    QCOMPARE(image(2), u"http://h/c.png"_s);
    QCOMPARE(std::get<Commands::Upload>(script.lines.at(3).command).file,
             folder.filePath(u"sub/d.bin"_s));
    QCOMPARE(std::get<Commands::StartAssessment>(script.lines.at(4).command).file,
             folder.filePath(u"e.json"_s));
}

void tst_Script::typedFilesAreThoseOfTheCurrentFolder()
{
    QCOMPARE(std::get<Commands::Upload>(readLine(u"upload sub/d.bin"_s, 1)->command).file,
             u"sub/d.bin"_s);
}

void tst_Script::assessmentThatCannotBeReadIsReported()
{
    const QTemporaryDir folder;
    const QString name = folder.filePath(u"lesson.txt"_s);
    write(name, "poll text\nassessment missing.json\nassessment good.json\n");
    write(folder.filePath(u"good.json"_s), ASSESSMENT);
    QCOMPARE(readScript(name).errors,
             QStringList({u"%1:2: %2: No such file or directory"_s.arg(
                 name, folder.filePath(u"missing.json"_s))}));
}

void tst_Script::scriptThatCannotBeReadIsReported()
{
    const Script script = readScript(u"/nonexistent/lesson.txt"_s);
    QCOMPARE(script.errors,
             QStringList({u"/nonexistent/lesson.txt: cannot be read: No such file or "
                          "directory"_s}));
}

QTEST_GUILESS_MAIN(tst_Script)
#include "tst_script.moc"
