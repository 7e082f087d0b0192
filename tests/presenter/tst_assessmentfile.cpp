#include "AssessmentFile.h"

#include "model/AssessmentOptions.h"
#include "model/QuestionBase.h"
#include "model/QuestionBaseWithOptions.h"
#include "model/QuestionMetadata.h"

#include <QtTest/QtTest>

using namespace Host;

class tst_AssessmentFile : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void settingsBecomeTheOptionsRecord();
    void everyKindOfQuestionIsMade_data();
    void everyKindOfQuestionIsMade();
    void optionsAreLabelled();
    void yesNoQuestionsNeedNoOptions();
    void questionsAreNumberedFromTheFirstNumber();
    void wrongFilesSayWhatIsWrong_data();
    void wrongFilesSayWhatIsWrong();
    void fileThatCannotBeReadIsReported();
    void exampleFileIsRead();
    void documentedFileIsRead();
};

namespace
{

AssessmentFile parse(const QByteArray &json)
{
    AssessmentFile file = parseAssessment(json);
    if (!file.error.isEmpty())
        qWarning("%s", qPrintable(file.error));
    return file;
}

} // namespace

void tst_AssessmentFile::settingsBecomeTheOptionsRecord()
{
    const AssessmentFile file = parse(R"({
        "title": "Rivers", "description": "Of Europe", "scored": true, "allowedTime": 90,
        "allowResubmitResponse": false, "startingQuestionNumber": 1,
        "assessmentSectionConfigurations": {"leveled": true},
        "questions": [{"kind": "text"}, {"kind": "number"}]})");
    QCOMPARE(file.error, QString());
    QCOMPARE(file.title(), QString("Rivers"));
    QCOMPARE(file.firstNumber(), 1);
    const auto options = makeOptions(file, "token");
    QCOMPARE(options->assessmentToken(), QString("token"));
    QCOMPARE(options->questionCount(), 2);
    QCOMPARE(options->title(), QString("Rivers"));
    QCOMPARE(options->description(), QString("Of Europe"));
    QCOMPARE(options->scored(), true);
    QCOMPARE(options->allowedTime(), 90);
    QCOMPARE(options->allowResubmitResponse(), false);
    QCOMPARE(options->startingQuestionNumber(), 1);
    QCOMPARE(options->assessmentSectionConfigurations(), QVariantMap({{"leveled", true}}));
    QCOMPARE(options->allowSkipQuestion(), false);
}

void tst_AssessmentFile::everyKindOfQuestionIsMade_data()
{
    QTest::addColumn<QByteArray>("question");
    QTest::addColumn<QString>("type");
    QTest::addColumn<QVariantMap>("properties");
    using Map = QVariantMap;

    QTest::newRow("true-false") << QByteArray(R"({"kind":"true-false","hint":"h"})") << "true-false"
                                << Map{{"hint", "h"}};
    QTest::newRow("yes-no-other") << QByteArray(R"({"kind":"yes-no-other","math":true})")
                                  << "yes-no-other" << Map{{"math", true}};
    QTest::newRow("multiple") << QByteArray(
        R"({"kind":"multiple","options":["a"],"numberOfCorrectOptions":2})")
                              << "multiple" << Map{{"numberOfCorrectOptions", 2}};
    QTest::newRow("scale") << QByteArray(R"({"kind":"scale","options":["a"],"passage":"p"})")
                           << "scale" << Map{{"passage", "p"}};
    QTest::newRow("sort") << QByteArray(R"({"kind":"sort","options":["a"],"navigable":true})")
                          << "sort" << Map{{"navigable", true}};
    QTest::newRow("text") << QByteArray(R"({"kind":"text","maxChars":30,"instructions":"Say"})")
                          << "text" << Map{{"maxChars", 30}, {"instructions", "Say"}};
    QTest::newRow("number") << QByteArray(R"({"kind":"number","noOfDecimals":3})") << "number"
                            << Map{{"noOfDecimals", 3}};
    QTest::newRow("math formula") << QByteArray(R"({"kind":"math formula"})") << "math formula"
                                  << Map{};
}

void tst_AssessmentFile::everyKindOfQuestionIsMade()
{
    QFETCH(QByteArray, question);
    QFETCH(QVariantMap, properties);
    const AssessmentFile file = parse(R"({"questions":[)" + question + "]}");
    QCOMPARE(file.error, QString());
    const auto made = makeQuestion(file, 0, "id-1");
    QTEST(made->getType(), "type");
    QCOMPARE(made->id(), QString("id-1"));
    for (auto property = properties.constBegin(); property != properties.constEnd(); ++property)
        QCOMPARE(made->property(qPrintable(property.key())), property.value());
}

void tst_AssessmentFile::optionsAreLabelled()
{
    const AssessmentFile file = parse(R"({"questions":[
        {"kind":"multiple","options":["x","y"]},
        {"kind":"sort","labels":"alpha-lower","options":["x","y"]},
        {"kind":"scale","labels":"number","options":["x","y"]}]})");
    QCOMPARE(file.error, QString());
    const QStringList labels{"alpha-upper", "alpha-lower", "number"};
    const QVector<QStringList> ids{{"A", "B"}, {"a", "b"}, {"0", "1"}};
    for (int i = 0; i < 3; ++i) {
        const auto made = makeQuestion(file, i, "q");
        const QVariantList options = made->property("activityOptions").toList();
        QCOMPARE(options.size(), 2);
        QCOMPARE(options.at(0).toMap(),
                 QVariantMap({{"id", ids.at(i).at(0)},
                              {"optionText", "x"},
                              {"displaySeqNumber", 0},
                              {"math", false}}));
        QCOMPARE(options.at(1).toMap().value("id").toString(), ids.at(i).at(1));
        QCOMPARE(options.at(1).toMap().value("displaySeqNumber").toInt(), 1);
        const auto *metadata = made->property("metadata").value<QObject *>();
        QCOMPARE(metadata->property("ordinalType").toString(), labels.at(i));
        QCOMPARE(metadata->property("options").toList(), QVariantList({0, 1}));
        QCOMPARE(file.questions.at(i).choices.at(1).id, ids.at(i).at(1));
        QCOMPARE(file.questions.at(i).choices.at(1).text, QString("y"));
    }
}

void tst_AssessmentFile::yesNoQuestionsNeedNoOptions()
{
    const AssessmentFile file =
        parse(R"({"questions":[{"kind":"true-false"},{"kind":"yes-no-other"}]})");
    QCOMPARE(file.error, QString());
    QStringList texts;
    for (const AssessmentQuestion &question : file.questions) {
        for (const Choice &choice : question.choices)
            texts.append(choice.id + choice.text);
    }
    QCOMPARE(texts, QStringList({"ATrue", "BFalse", "AYes", "BNo", "COther"}));
}

void tst_AssessmentFile::questionsAreNumberedFromTheFirstNumber()
{
    const AssessmentFile file =
        parse(R"({"startingQuestionNumber":5,"questions":[{"kind":"text"},{"kind":"text"}]})");
    QCOMPARE(makeQuestion(file, 0, "a")->questionNumber(), 5);
    QCOMPARE(makeQuestion(file, 0, "a")->hasNext(), true);
    QCOMPARE(makeQuestion(file, 1, "b")->questionNumber(), 6);
    QCOMPARE(makeQuestion(file, 1, "b")->hasNext(), false);
    QCOMPARE(parse(R"({"questions":[{"kind":"text"}]})").firstNumber(), 0);
}

void tst_AssessmentFile::wrongFilesSayWhatIsWrong_data()
{
    QTest::addColumn<QByteArray>("json");
    QTest::addColumn<QString>("error");
    const auto question = [](const char *text) {
        return QByteArray(R"({"questions":[{"kind":"text"},)") + text + "]}";
    };

    QTest::newRow("no JSON") << QByteArray("{]") << "not JSON, at byte 2: unterminated object";
    QTest::newRow("no questions") << QByteArray(
        "{}") << "the assessment: 'questions' is a list of at least one question";
    QTest::newRow("a list") << QByteArray("[1]")
                            << "the assessment: 'questions' is a list of at least one question";
    QTest::newRow("unknown setting")
        << QByteArray(R"({"tittle":"x","questions":[{"kind":"text"}]})")
        << "the assessment: there is no 'tittle' to set";
    QTest::newRow("own setting") << QByteArray(
        R"({"assessmentToken":"x","questions":[{"kind":"text"}]})")
                                 << "the assessment: there is no 'assessmentToken' to set";
    QTest::newRow("setting of another type")
        << QByteArray(R"({"scored":1,"questions":[{"kind":"text"}]})")
        << "the assessment: 'scored' takes true or false";
    QTest::newRow("broken number")
        << QByteArray(R"({"allowedTime":1.5,"questions":[{"kind":"text"}]})")
        << "the assessment: 'allowedTime' takes a whole number";
    QTest::newRow("unknown kind") << question(R"({"kind":"riddle"})")
                                  << "question 2: there is no kind of question 'riddle'";
    QTest::newRow("kind for polls only") << question(R"({"kind":"word-seed"})")
                                         << "question 2: there is no kind of question 'word-seed'";
    QTest::newRow("no kind") << question("{}") << "question 2: there is no kind of question ''";
    QTest::newRow("no object") << question("7") << "question 2: there is no kind of question ''";
    QTest::newRow("property of another kind") << question(R"({"kind":"text","noOfDecimals":1})")
                                              << "question 2: there is no 'noOfDecimals' to set";
    QTest::newRow("own property") << question(R"({"kind":"text","id":"x"})")
                                  << "question 2: there is no 'id' to set";
    QTest::newRow("property of another type")
        << question(R"({"kind":"text","hint":true})") << "question 2: 'hint' takes a text";
    QTest::newRow("object property") << question(R"({"kind":"text","card":{}})")
                                     << "question 2: 'card' takes no value from a file";
    QTest::newRow("options missing")
        << question(R"({"kind":"multiple"})") << "question 2: 'options' is a list of 1 to 26 texts";
    QTest::newRow("option no text") << question(R"({"kind":"multiple","options":["a",2]})")
                                    << "question 2: 'options' is a list of texts";
    QTest::newRow("options for a text") << question(R"({"kind":"text","options":["a"]})")
                                        << "question 2: there is no 'options' to set";
    QTest::newRow("labels") << question(R"({"kind":"sort","labels":"roman","options":["a"]})")
                            << "question 2: 'labels' is alpha-upper, alpha-lower or number";
}

void tst_AssessmentFile::wrongFilesSayWhatIsWrong()
{
    QFETCH(QByteArray, json);
    QTEST(parseAssessment(json).error, "error");
}

void tst_AssessmentFile::fileThatCannotBeReadIsReported()
{
    QCOMPARE(readAssessment("/nonexistent/a.json").error,
             QString("/nonexistent/a.json: No such file or directory"));
}

void tst_AssessmentFile::exampleFileIsRead()
{
    const AssessmentFile file = readAssessment(EXAMPLE_FILE);
    QCOMPARE(file.error, QString());
    QCOMPARE(file.title(), QString("Rivers of Europe"));
    QCOMPARE(file.questions.size(), 3);
}

void tst_AssessmentFile::documentedFileIsRead()
{
    QFile page(DOCUMENTATION_FILE);
    QVERIFY(page.open(QIODevice::ReadOnly));
    const QString text = QString::fromUtf8(page.readAll());
    const QString opening = "```json\n";
    const int begin = text.indexOf(opening) + opening.size();
    const AssessmentFile file =
        parseAssessment(text.mid(begin, text.indexOf("\n```\n", begin) - begin).toUtf8());
    QCOMPARE(file.error, QString());
    QCOMPARE(file.questions.size(), 3);
}

QTEST_GUILESS_MAIN(tst_AssessmentFile)
#include "tst_assessmentfile.moc"
