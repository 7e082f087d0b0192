#include "CommandParser.h"
#include "support/Text.h"

#include <QtTest/QtTest>

using namespace Host;

class tst_Completions : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void wordAtTheCursorIsCompleted_data();
    void wordAtTheCursorIsCompleted();
    void filesAreCompleted_data();
    void filesAreCompleted();
    void everyCommandIsACandidateAtTheBeginning();
    void everyLearnerIsListedOnce();
    void learnersThatCannotBeTypedAreLeftOut();
    void completedWordIsReadAsItWas_data();
    void completedWordIsReadAsItWas();
    void wordBeginsBehindTheLastBlank_data();
    void wordBeginsBehindTheLastBlank();

private:
    QTemporaryDir m_folder;
    QString m_folderBefore;
};

namespace
{

void addColumns()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("words"); // one after another, with a bar between
}

void row(const char *name, const char *line, const char *words)
{
    QTest::newRow(name) << QString::fromUtf8(line) << QString::fromUtf8(words);
}

} // namespace

void tst_Completions::initTestCase()
{
    m_folderBefore = QDir::currentPath();
    for (const QString &name :
         {u"slide.png"_s, u"my slide.png"_s, u"quiz.json"_s, u".hidden"_s, u"line\nend"_s}) {
        QFile file(m_folder.filePath(name));
        QVERIFY(file.open(QIODevice::WriteOnly));
    }
    QVERIFY(QDir(m_folder.path()).mkpath(u"sub"_s));
    QFile file(m_folder.filePath(u"sub/d.json"_s));
    QVERIFY(file.open(QIODevice::WriteOnly));
    QVERIFY(QDir::setCurrent(m_folder.path()));
}

void tst_Completions::cleanupTestCase()
{
    QDir::setCurrent(m_folderBefore); // the temporary one can then be removed
}

void tst_Completions::wordAtTheCursorIsCompleted_data()
{
    addColumns();
    row("command", "re", "resume|results|remove");
    row("command behind blanks", "  qu", "quit");
    row("complete command", "quit", "quit");
    row("unknown command", "xy", "");
    row("behind an unknown command", "xy ", "");
    row("behind a bare command", "stop ", "");
    row("kind", "poll m", "multiple|math-formula");
    row("labels", "poll sort al", "alpha-upper|alpha-lower");
    row("count", "poll sort number ", "");
    row("help", "help wa", "wait");
    row("text of a question", "ask ", "");
    row("kind of a question", "ask \"Why so?\" s", "scale|sort");
    row("kind that has no question", "ask Why? creat", "");
    row("option of a question", "ask Why? sort s", "");
    row("message", "message ", "--review|--fixed|all|Ada|\"Eva L.\"|device-3");
    row("message option", "message --review --", "--fixed");
    row("message to all", "message --fixed a", "all");
    row("text of a message", "message all ", "");
    row("remove", "remove E", "\"Eva L.\"");
    row("remove in quotes", "remove \"A", "\"Ada\"");
    row("remove in single quotes", "remove 'Eva ", "'Eva L.'");
    row("nobody else", "remove Ada ", "");
    row("await", "await ", "learners|responses");
    row("await responses", "await responses ", "all");
    row("await learners", "await learners ", "");
    row("comment", "poll # m", "");
}

void tst_Completions::wordAtTheCursorIsCompleted()
{
    QFETCH(QString, line);
    const QStringList words = completions(line, {u"Ada"_s, u"Eva L."_s, u"device-3"_s});
    QTEST(words.join(QLatin1Char('|')), "words");
}

void tst_Completions::filesAreCompleted_data()
{
    addColumns();
    row("image", "image ", "--upload|\"my slide.png\"|quiz.json|slide.png|sub/");
    row("image option", "image --", "--upload");
    row("image to upload", "image --upload s", "slide.png|sub/");
    row("second image", "image slide.png ", "");
    row("upload", "upload s", "slide.png|sub/");
    row("folder", "upload sub/", "sub/d.json");
    row("hidden file", "upload .h", ".hidden");
    row("name with a blank", "upload my", "\"my slide.png\"");
    row("open quote", "upload \"my s", "\"my slide.png\"");
    row("escaped blank", "upload my\\ s", "\"my slide.png\"");
    row("assessment", "assessment ", "quiz.json|sub/");
    row("missing folder", "assessment nowhere/", "");
}

void tst_Completions::filesAreCompleted()
{
    QFETCH(QString, line);
    QTEST(completions(line, {}).join(QLatin1Char('|')), "words");
}

void tst_Completions::everyCommandIsACandidateAtTheBeginning()
{
    QCOMPARE(completions(QString(), {}).join(QLatin1Char(' ')),
             u"poll ask assessment pause resume stop results who learners message remove image "
             "card upload lesson current await wait help quit"_s);
}

void tst_Completions::everyLearnerIsListedOnce()
{
    QCOMPARE(completions(u"message a"_s, {u"ann"_s, u"ann"_s, u"all"_s}),
             QStringList({u"all"_s, u"ann"_s}));
}

void tst_Completions::learnersThatCannotBeTypedAreLeftOut()
{
    QCOMPARE(completions(u"remove "_s,
                         {u""_s, u"a\nb"_s, u"\u001b[2J"_s, u"x\u202ey"_s, u"山田"_s, u"😀"_s}),
             QStringList({u"山田"_s, u"😀"_s}));
}

void tst_Completions::completedWordIsReadAsItWas_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("word");
    row("plain", "Ada", "Ada");
    row("blank", "Ada L.", R"("Ada L.")");
    row("double quote", R"(Ada "A" L.)", R"("Ada \"A\" L.")");
    row("single quote", "O'Hara", R"("O'Hara")");
    row("backslash", R"(a\b)", R"("a\\b")");
    row("hash", "#1", R"("#1")");
    row("hash inside", "a#1", "a#1");
}

void tst_Completions::completedWordIsReadAsItWas()
{
    QFETCH(QString, name);
    QFETCH(QString, word);
    QCOMPARE(completions(u"remove "_s, {name}), QStringList{word});
    const ParsedCommand parsed = parseCommand(u"remove "_s + word);
    QVERIFY2(parsed.command, qPrintable(parsed.error));
    QCOMPARE(std::get<Commands::RemoveLearner>(*parsed.command).learner, name);
}

void tst_Completions::wordBeginsBehindTheLastBlank_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<int>("begin");
    QTest::newRow("nothing") << u""_s << 0;
    QTest::newRow("first word") << u"  po"_s << 2;
    QTest::newRow("second word") << u"poll te"_s << 5;
    QTest::newRow("behind a blank") << u"poll "_s << 5;
    QTest::newRow("open quote") << u"remove \"Eva L"_s << 7;
    QTest::newRow("escaped blank") << u"remove Eva\\ L"_s << 7;
}

void tst_Completions::wordBeginsBehindTheLastBlank()
{
    QFETCH(QString, line);
    QTEST(wordBegin(line), "begin");
}

QTEST_GUILESS_MAIN(tst_Completions)
#include "tst_completions.moc"
