#include "Script.h"
#include "lessonfiles/NamedFile.h"
#include "support/Text.h"

#include <QtTest/QtTest>

#include <sys/stat.h>
#include <unistd.h>

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
    void scriptMayReadFilesInItsFolder_data();
    void scriptMayReadFilesInItsFolder();
    void scriptMayNotReadFilesElsewhere_data();
    void scriptMayNotReadFilesElsewhere();
    void scriptThatIsTrustedMayReadFilesElsewhere();
    void linkThatComesLaterIsNotFollowedOut();
    void scriptOutOfAPipeHasTheCurrentFolder();
    void noFileIsLargerThanTheServiceTakes_data();
    void noFileIsLargerThanTheServiceTakes();
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

// A lesson's folder "class" with what is beside it, below it and outside, and links between them.
class LessonFolder
{
public:
    LessonFolder()
    {
        for (const QString &name : {u"class/sub"_s, u"class2"_s})
            QVERIFY(QDir(m_root).mkpath(name));
        for (const QString &name : {u"class/here.png"_s, u"class/sub/below.png"_s})
            write(path(name), "inside");
        for (const QString &name : {u"secret.png"_s, u"class2/secret.png"_s})
            write(path(name), "secret");
        QVERIFY(QFile::link(path(u"class/here.png"_s), path(u"class/inside"_s)));
        QVERIFY(QFile::link(path(u"secret.png"_s), path(u"class/outside"_s)));
        QVERIFY(QFile::link(m_root, path(u"class/up"_s)));
        QVERIFY(QFile::link(path(u"class"_s), path(u"way"_s)));
        QCOMPARE(::mkfifo(QFile::encodeName(path(u"class/pipe"_s)).constData(), 0600), 0);
    }

    QString path(const QString &name) const { return QDir(m_root).filePath(name); }

    Script scriptSaying(const QByteArray &line, LessonFiles files = LessonFiles::InItsFolder) const
    {
        write(path(u"class/lesson.txt"_s), line + '\n');
        return readScript(path(u"class/lesson.txt"_s), files);
    }

private:
    const QTemporaryDir m_folder;
    const QString m_root = QFileInfo(m_folder.path()).canonicalFilePath();
};

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
    const Script script = readScript(QStringLiteral(EXAMPLE_SCRIPT), LessonFiles::InItsFolder);
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
    const Script script = readScript(name, LessonFiles::Anywhere);
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

void tst_Script::scriptMayReadFilesInItsFolder_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("beside it") << u"here.png"_s;
    QTest::newRow("below it") << u"sub/below.png"_s;
    QTest::newRow("out and in again") << u"../class/here.png"_s;
    QTest::newRow("by a link that stays inside") << u"inside"_s;
    QTest::newRow("by a link to the folder") << u"../way/here.png"_s;
}

void tst_Script::scriptMayReadFilesInItsFolder()
{
    QFETCH(QString, name);
    const LessonFolder folder;
    const Script script = folder.scriptSaying("upload " + name.toUtf8());
    QCOMPARE(script.errors, QStringList());
    const auto upload = std::get<Commands::Upload>(script.lines.at(0).command);
    const NamedFile file = readNamed(upload.file, upload.folder);
    QCOMPARE(file.error, QString());
    QCOMPARE(file.bytes, QByteArray("inside"));
}

void tst_Script::scriptMayNotReadFilesElsewhere_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("why");
    const QString elsewhere =
        u"The file is not in the lesson's folder %1; put it there, or let the lesson read all "
        "files with --allow-files."_s;
    const QString strange = u"This is no ordinary file; name another one, or let the lesson read "
                            "everything with --allow-files."_s;
    QTest::newRow("above") << u"../secret.png"_s << elsewhere;
    QTest::newRow("a neighbour that begins alike") << u"../class2/secret.png"_s << elsewhere;
    QTest::newRow("by its whole path") << u"/etc/passwd"_s << elsewhere;
    QTest::newRow("by a link") << u"outside"_s << elsewhere;
    QTest::newRow("by a link to its folder") << u"up/secret.png"_s << elsewhere;
    QTest::newRow("an open file") << u"/proc/self/fd/0"_s << elsewhere;
    QTest::newRow("a device") << u"/dev/zero"_s << elsewhere;
    QTest::newRow("a pipe") << u"pipe"_s << strange;
    QTest::newRow("a folder") << u"sub"_s << strange;
}

void tst_Script::scriptMayNotReadFilesElsewhere()
{
    QFETCH(QString, name);
    QFETCH(QString, why);
    const LessonFolder folder;
    const QString lesson = folder.path(u"class/lesson.txt"_s);
    const QString file = QDir(folder.path(u"class"_s)).filePath(name);
    const QString error =
        u"%1: %2"_s.arg(file, why.contains(u'%') ? why.arg(folder.path(u"class"_s)) : why);
    for (const char *command : {"image ", "image --upload ", "upload ", "assessment "}) {
        const Script script = folder.scriptSaying(command + name.toUtf8());
        QCOMPARE(script.errors, QStringList(lesson + u":1: "_s + error));
    }
    QCOMPARE(readNamed(file, folder.path(u"class"_s)).error, error);
}

void tst_Script::scriptThatIsTrustedMayReadFilesElsewhere()
{
    const LessonFolder folder;
    const Script script = folder.scriptSaying("upload ../secret.png", LessonFiles::Anywhere);
    QCOMPARE(script.errors, QStringList());
    const auto upload = std::get<Commands::Upload>(script.lines.at(0).command);
    QCOMPARE(readNamed(upload.file, upload.folder).bytes, QByteArray("secret"));
}

// Put there by somebody who shares the folder, once the script has been read.
void tst_Script::linkThatComesLaterIsNotFollowedOut()
{
    const LessonFolder folder;
    const Script script = folder.scriptSaying("upload later.png");
    QCOMPARE(script.errors, QStringList());
    QVERIFY(QFile::link(folder.path(u"secret.png"_s), folder.path(u"class/later.png"_s)));
    const auto upload = std::get<Commands::Upload>(script.lines.at(0).command);
    const NamedFile file = readNamed(upload.file, upload.folder);
    QVERIFY(file.error.contains(u"not in the lesson's folder"_s));
    QCOMPARE(file.bytes, QByteArray());
}

void tst_Script::scriptOutOfAPipeHasTheCurrentFolder()
{
    const LessonFolder folder;
    int ends[2];
    QCOMPARE(::pipe(ends), 0);
    const QByteArray text = "upload here.png\n";
    QCOMPARE(::write(ends[1], text.constData(), size_t(text.size())), ssize_t(text.size()));
    ::close(ends[1]);
    const Script script = readScript(u"/dev/fd/%1"_s.arg(ends[0]), LessonFiles::InItsFolder);
    ::close(ends[0]);
    QCOMPARE(script.errors, QStringList());
    const auto upload = std::get<Commands::Upload>(script.lines.at(0).command);
    QCOMPARE(upload.file, QDir::current().filePath(u"here.png"_s));
    QCOMPARE(upload.folder, QDir::currentPath());
}

void tst_Script::noFileIsLargerThanTheServiceTakes_data()
{
    QTest::addColumn<bool>("isTyped");
    QTest::newRow("of a lesson") << false;
    QTest::newRow("typed") << true;
}

void tst_Script::noFileIsLargerThanTheServiceTakes()
{
    QFETCH(bool, isTyped);
    const LessonFolder folder;
    const QString name = folder.path(u"class/here.png"_s);
    const QString home = isTyped ? QString() : folder.path(u"class"_s);
    QVERIFY(QFile::resize(name, 10000000));
    QCOMPARE(readNamed(name, home).bytes.size(), 10000000);
    QVERIFY(QFile::resize(name, 10000001));
    QCOMPARE(readNamed(name, home).error,
             name
                 + u": The file is larger than 10 MB, and the service takes no more; make it "
                   "smaller."_s);
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
    QCOMPARE(readScript(name, LessonFiles::InItsFolder).errors,
             QStringList({u"%1:2: %2: No such file or directory"_s.arg(
                 name, folder.filePath(u"missing.json"_s))}));
}

void tst_Script::scriptThatCannotBeReadIsReported()
{
    const Script script = readScript(u"/nonexistent/lesson.txt"_s, LessonFiles::InItsFolder);
    QCOMPARE(script.errors,
             QStringList({u"/nonexistent/lesson.txt: cannot be read: No such file or "
                          "directory"_s}));
}

QTEST_GUILESS_MAIN(tst_Script)
#include "tst_script.moc"
