#include "LessonStage.h"
#include "lesson/PreparedPolls.h"

#include <QtCore/QStandardPaths>
#include <QtWidgets/QComboBox>
#include <QtWidgets/QLabel>
#include <QtWidgets/QListWidget>
#include <QtWidgets/QPlainTextEdit>
#include <QtWidgets/QPushButton>

using namespace Desktop;
using Tarvo::LiveClass;
using Tarvo::PollType;

// What a teacher has prepared: written, kept, and asked one after the other.
class tst_PreparedPolls : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }
    void init() { QFile::remove(PreparedPolls::defaultFile()); }
    void cleanupTestCase() { QFile::remove(PreparedPolls::defaultFile()); }

    void pollIsWrittenWithTheKeyboardAndKept();
    void pollsAreReorderedDuplicatedAndRemoved();
    void fileIsReadAsItIsWritten();
    void enterAsksOneAfterTheOther();
    void doubleClickAsks();
    void keyAsksFromEverywhere();
    void damagedFilesSayWhere_data();
    void damagedFilesSayWhere();
    void damagedFileIsNeverOverwritten();
    void otherFileThatIsDamagedLeavesThePollsAsTheyAre();
    void withoutAClassThereIsAReason();
};

namespace
{

using Stage = LessonStage<PreparedPolls>;

const QByteArray TWO_POLLS(R"({"polls": [
    {"kind": "multiple", "text": "Which <b>river</b>?", "options": ["Danube", "Rhine"]},
    {"kind": "scale", "labels": "number", "count": 6}]})");

QListWidget *listOf(const Stage &stage)
{
    return stage.child<QListWidget>(u"Prepared polls"_s);
}

QStringList linesOf(const Stage &stage)
{
    QStringList lines;
    for (int row = 0; row < listOf(stage)->count(); ++row)
        lines.append(listOf(stage)->item(row)->text());
    return lines;
}

} // namespace

void tst_PreparedPolls::pollIsWrittenWithTheKeyboardAndKept()
{
    Stage stage;
    stage.press(u"Add"_s, Qt::Key_Space);
    QTest::keyClicks(stage.child<QPlainTextEdit>(u"Text of the question"_s), u"Which?"_s);
    auto *options = stage.child<QPlainTextEdit>(u"Options, one a line"_s);
    QTest::keyClicks(options, u"Danube"_s);
    QTest::keyClick(options, Qt::Key_Return);
    QTest::keyClicks(options, u"Rhine"_s);
    QCOMPARE(linesOf(stage), QStringList{u"Which? — Choices"_s});
    const QByteArray expected(R"({
    "polls": [
        {
            "kind": "multiple",
            "options": [
                "Danube",
                "Rhine"
            ],
            "text": "Which?"
        }
    ]
}
)");
    QTRY_COMPARE(contentsOf(PreparedPolls::defaultFile()), expected);
    const Stage again;
    QCOMPARE(linesOf(again), QStringList{u"Which? — Choices"_s});
}

void tst_PreparedPolls::pollsAreReorderedDuplicatedAndRemoved()
{
    Stage stage;
    stage.widget->open(stage.write(u"two.json"_s, TWO_POLLS));
    const QString river = u"Which <b>river</b>? — Choices"_s;
    QCOMPARE(linesOf(stage), (QStringList{river, u"Scale"_s}));
    QTest::keyClick(listOf(stage), Qt::Key_Down, Qt::ControlModifier);
    QCOMPARE(linesOf(stage), (QStringList{u"Scale"_s, river}));
    stage.press(u"Duplicate"_s, Qt::Key_Space);
    QCOMPARE(linesOf(stage), (QStringList{u"Scale"_s, river, river}));
    QTest::keyClick(listOf(stage), Qt::Key_Up, Qt::ControlModifier);
    QTest::keyClick(listOf(stage), Qt::Key_Home);
    QTest::keyClick(listOf(stage), Qt::Key_Delete);
    QCOMPARE(linesOf(stage), (QStringList{river, river}));
    stage.widget->saveAs(stage.folder.filePath(u"shared.json"_s));
    const auto shared = PreparedPollsFile::read(stage.folder.filePath(u"shared.json"_s));
    QCOMPARE(shared.polls.size(), 2);
    QCOMPARE(shared.polls[1].options, (QStringList{u"Danube"_s, u"Rhine"_s}));
    QCOMPARE(stage.failures, QStringList());
}

void tst_PreparedPolls::fileIsReadAsItIsWritten()
{
    const auto first = PreparedPollsFile::parse(TWO_POLLS);
    QCOMPARE(first.error, QString());
    const auto again = PreparedPollsFile::parse(PreparedPollsFile::toJson(first.polls));
    QCOMPARE(again.polls.size(), 2);
    QCOMPARE(again.polls[0].text, u"Which <b>river</b>?"_s);
    QCOMPARE(again.polls[0].kind, PollType::MULTIPLE);
    QCOMPARE(again.polls[1].kind, PollType::SCALE);
    QCOMPARE(again.polls[1].labels, Tarvo::OrdinalType::NUMBER);
    QCOMPARE(again.polls[1].count, 6);
}

void tst_PreparedPolls::enterAsksOneAfterTheOther()
{
    Stage stage;
    stage.widget->open(stage.write(u"two.json"_s, TWO_POLLS));
    QVERIFY(stage.goLive());
    QTest::keyClick(listOf(stage), Qt::Key_Return);
    QVERIFY(stage.runs(LiveClass::Poll));
    QTRY_COMPARE(listOf(stage)->currentRow(), 1);
    QTest::keyClick(listOf(stage), Qt::Key_Return);
    const QJsonArray questions = stage.classroom.received(u"questionStart"_s, 2);
    QCOMPARE(questions[0][u"data"_s][u"instructions"_s].toString(), u"Which <b>river</b>?"_s);
    QCOMPARE(questions[0][u"data"_s][u"activityOptions"_s][1][u"optionText"_s].toString(),
             u"Rhine"_s);
    QCOMPARE(questions[1][u"data"_s][u"type"_s].toString(), u"scale"_s);
    QCOMPARE(stage.classroom.received(u"pollStop"_s).size(), 1);
    QCOMPARE(stage.failures, QStringList());
}

void tst_PreparedPolls::doubleClickAsks()
{
    Stage stage;
    stage.widget->open(stage.write(u"two.json"_s, TWO_POLLS));
    QVERIFY(stage.goLive());
    QListWidget *list = listOf(stage);
    const QPoint second = list->visualItemRect(list->item(1)).center();
    QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, second);
    QTest::mouseDClick(list->viewport(), Qt::LeftButton, {}, second);
    QCOMPARE(stage.classroom.receivedOne(u"questionStart"_s)[u"data"_s][u"type"_s].toString(),
             u"scale"_s);
}

void tst_PreparedPolls::keyAsksFromEverywhere()
{
    Stage stage;
    stage.widget->open(stage.write(u"two.json"_s, TWO_POLLS));
    QVERIFY(stage.goLive());
    QTest::keyClick(stage.child<QPushButton>(u"Add"_s), Qt::Key_0, Qt::ControlModifier);
    QCOMPARE(
        stage.classroom.receivedOne(u"questionStart"_s)[u"data"_s][u"instructions"_s].toString(),
        u"Which <b>river</b>?"_s);
}

void tst_PreparedPolls::damagedFilesSayWhere_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QString>("why");
    QTest::newRow("no JSON") << QByteArray("{\"polls\": [\n  {\"kind\": \"text\"},\n  oops]}")
                             << u"Line 3: illegal number."_s;
    QTest::newRow("no list") << QByteArray("{}") << u"There is no list \"polls\" in it."_s;
    QTest::newRow("kind") << QByteArray(R"({"polls": [{"kind": "text"}, {"kind": "riddle"}]})")
                          << u"Poll 2: There is no kind of poll \"riddle\"."_s;
    QTest::newRow("count") << QByteArray(R"({"polls": [{"kind": "multiple", "count": 99}]})")
                           << u"Poll 1: It has 99 options; it takes 1 to 26."_s;
    QTest::newRow("option") << QByteArray(R"({"polls": [{"kind": "sort", "options": [1]}]})")
                            << u"Poll 1: Its options are texts of up to 200 characters."_s;
    QTest::newRow("huge") << QByteArray(1'000'001, ' ') << u" is larger than 1000 kB."_s;
    QTest::newRow("missing") << QByteArray() << u" cannot be opened: No such file or directory."_s;
}

void tst_PreparedPolls::damagedFilesSayWhere()
{
    QFETCH(QByteArray, bytes);
    QFETCH(QString, why);
    const QTemporaryDir folder;
    const QString name = folder.filePath(u"polls.json"_s);
    QFile file(name);
    QVERIFY(bytes.isEmpty() || (file.open(QIODevice::WriteOnly) && file.write(bytes) > 0));
    file.close();
    const QString error = PreparedPollsFile::read(name).error;
    QVERIFY2(error.endsWith(why), qPrintable(error));
}

void tst_PreparedPolls::damagedFileIsNeverOverwritten()
{
    QDir().mkpath(QFileInfo(PreparedPolls::defaultFile()).path());
    QFile file(PreparedPolls::defaultFile());
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write("{\"polls\": [") > 0);
    file.close();
    {
        Stage stage;
        QVERIFY(stage.child<QLabel>(u"Prepared polls"_s));
        stage.press(u"Add"_s, Qt::Key_Space);
        QCOMPARE(stage.widget->polls().size(), 1);
        QCOMPARE(stage.widget->file(), QString());
        stage.widget->saveAs(PreparedPolls::defaultFile());
        QCOMPARE(stage.failures.size(), 1);
        const QString other = stage.folder.filePath(u"other.json"_s);
        stage.widget->saveAs(other);
        QCOMPARE(PreparedPollsFile::read(other).polls.size(), 1);
    }
    QCOMPARE(contentsOf(PreparedPolls::defaultFile()), QByteArray("{\"polls\": ["));
}

void tst_PreparedPolls::otherFileThatIsDamagedLeavesThePollsAsTheyAre()
{
    Stage stage;
    const QString good = stage.write(u"good.json"_s, TWO_POLLS);
    stage.widget->open(good);
    stage.widget->open(stage.write(u"bad.json"_s, "["));
    QCOMPARE(stage.failures.size(), 1);
    QCOMPARE(stage.widget->file(), good);
    QCOMPARE(stage.widget->polls().size(), 2);
}

void tst_PreparedPolls::withoutAClassThereIsAReason()
{
    Stage stage;
    stage.widget->open(stage.write(u"two.json"_s, TWO_POLLS));
    const auto *ask = stage.child<QPushButton>(u"Ask"_s);
    QVERIFY(!ask->isEnabled());
    QCOMPARE(ask->toolTip(), u"No class is running; start one first."_s);
}

QTEST_MAIN(tst_PreparedPolls)
#include "tst_preparedpolls.moc"
