#include "lesson/AssessmentFile.h"
#include "support/Text.h"

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
    QCOMPARE(file.title(), u"Rivers"_s);
    QCOMPARE(file.firstNumber(), 1);
    const auto options = makeOptions(file, u"token"_s);
    QCOMPARE(options->assessmentToken(), u"token"_s);
    QCOMPARE(options->questionCount(), 2);
    QCOMPARE(options->title(), u"Rivers"_s);
    QCOMPARE(options->description(), u"Of Europe"_s);
    QCOMPARE(options->scored(), true);
    QCOMPARE(options->allowedTime(), 90);
    QCOMPARE(options->allowResubmitResponse(), false);
    QCOMPARE(options->startingQuestionNumber(), 1);
    QCOMPARE(options->assessmentSectionConfigurations(), QVariantMap({{u"leveled"_s, true}}));
    QCOMPARE(options->allowSkipQuestion(), false);
}

void tst_AssessmentFile::everyKindOfQuestionIsMade_data()
{
    QTest::addColumn<QByteArray>("question");
    QTest::addColumn<QString>("type");
    QTest::addColumn<QVariantMap>("properties");
    const auto row = [](const char *type, const QByteArray &question,
                        const QVariantMap &properties) {
        QTest::newRow(type) << question << QString::fromUtf8(type) << properties;
    };

    row("true-false", R"({"kind":"true-false","hint":"h"})", {{u"hint"_s, u"h"_s}});
    row("yes-no-other", R"({"kind":"yes-no-other","math":true})", {{u"math"_s, true}});
    row("multiple", R"({"kind":"multiple","options":["a"],"numberOfCorrectOptions":2})",
        {{u"numberOfCorrectOptions"_s, 2}});
    row("scale", R"({"kind":"scale","options":["a"],"passage":"p"})", {{u"passage"_s, u"p"_s}});
    row("sort", R"({"kind":"sort","options":["a"],"navigable":true})", {{u"navigable"_s, true}});
    row("text", R"({"kind":"text","maxChars":30,"instructions":"Say"})",
        {{u"maxChars"_s, 30}, {u"instructions"_s, u"Say"_s}});
    row("number", R"({"kind":"number","noOfDecimals":3})", {{u"noOfDecimals"_s, 3}});
    row("math formula", R"({"kind":"math formula"})", {});
}

void tst_AssessmentFile::everyKindOfQuestionIsMade()
{
    QFETCH(QByteArray, question);
    QFETCH(QVariantMap, properties);
    const AssessmentFile file = parse(R"({"questions":[)" + question + "]}");
    QCOMPARE(file.error, QString());
    const auto made = makeQuestion(file, 0, u"id-1"_s);
    QTEST(made->getType(), "type");
    QCOMPARE(made->id(), u"id-1"_s);
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
    const QStringList labels{u"alpha-upper"_s, u"alpha-lower"_s, u"number"_s};
    const QVector<QStringList> ids{{u"A"_s, u"B"_s}, {u"a"_s, u"b"_s}, {u"0"_s, u"1"_s}};
    for (int i = 0; i < 3; ++i) {
        const auto made = makeQuestion(file, i, u"q"_s);
        const QVariantList options = made->property("activityOptions").toList();
        QCOMPARE(options.size(), 2);
        QCOMPARE(options.at(0).toMap(),
                 QVariantMap({{u"id"_s, ids.at(i).at(0)},
                              {u"optionText"_s, u"x"_s},
                              {u"displaySeqNumber"_s, 0},
                              {u"math"_s, false}}));
        QCOMPARE(options.at(1).toMap().value(u"id"_s).toString(), ids.at(i).at(1));
        QCOMPARE(options.at(1).toMap().value(u"displaySeqNumber"_s).toInt(), 1);
        const auto *metadata = made->property("metadata").value<QObject *>();
        QCOMPARE(metadata->property("ordinalType").toString(), labels.at(i));
        QCOMPARE(metadata->property("options").toList(), QVariantList({0, 1}));
        QCOMPARE(file.questions.at(i).choices.at(1).id, ids.at(i).at(1));
        QCOMPARE(file.questions.at(i).choices.at(1).text, u"y"_s);
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
    QCOMPARE(texts, QStringList({u"ATrue"_s, u"BFalse"_s, u"AYes"_s, u"BNo"_s, u"COther"_s}));
}

void tst_AssessmentFile::questionsAreNumberedFromTheFirstNumber()
{
    const AssessmentFile file =
        parse(R"({"startingQuestionNumber":5,"questions":[{"kind":"text"},{"kind":"text"}]})");
    QCOMPARE(makeQuestion(file, 0, u"a"_s)->questionNumber(), 5);
    QCOMPARE(makeQuestion(file, 0, u"a"_s)->hasNext(), true);
    QCOMPARE(makeQuestion(file, 1, u"b"_s)->questionNumber(), 6);
    QCOMPARE(makeQuestion(file, 1, u"b"_s)->hasNext(), false);
    QCOMPARE(parse(R"({"questions":[{"kind":"text"}]})").firstNumber(), 0);
}

void tst_AssessmentFile::wrongFilesSayWhatIsWrong_data()
{
    QTest::addColumn<QByteArray>("json");
    QTest::addColumn<QString>("error");
    const auto row = [](const char *name, const QByteArray &json, const char *error) {
        QTest::newRow(name) << json << QString::fromUtf8(error);
    };
    const auto question = [](const char *text) {
        return QByteArray(R"({"questions":[{"kind":"text"},)") + text + "]}";
    };

    row("no JSON", "{]", "not JSON, at byte 2: unterminated object");
    row("no questions", "{}", "the assessment: 'questions' is a list of at least one question");
    row("a list", "[1]", "the assessment: 'questions' is a list of at least one question");
    row("unknown setting", R"({"tittle":"x","questions":[{"kind":"text"}]})",
        "the assessment: there is no 'tittle' to set");
    row("own setting", R"({"assessmentToken":"x","questions":[{"kind":"text"}]})",
        "the assessment: there is no 'assessmentToken' to set");
    row("setting of another type", R"({"scored":1,"questions":[{"kind":"text"}]})",
        "the assessment: 'scored' takes true or false");
    row("broken number", R"({"allowedTime":1.5,"questions":[{"kind":"text"}]})",
        "the assessment: 'allowedTime' takes a whole number");
    row("unknown kind", question(R"({"kind":"riddle"})"),
        "question 2: there is no kind of question 'riddle'");
    row("kind for polls only", question(R"({"kind":"word-seed"})"),
        "question 2: there is no kind of question 'word-seed'");
    row("no kind", question("{}"), "question 2: there is no kind of question ''");
    row("no object", question("7"), "question 2: there is no kind of question ''");
    row("property of another kind", question(R"({"kind":"text","noOfDecimals":1})"),
        "question 2: there is no 'noOfDecimals' to set");
    row("own property", question(R"({"kind":"text","id":"x"})"),
        "question 2: there is no 'id' to set");
    row("property of another type", question(R"({"kind":"text","hint":true})"),
        "question 2: 'hint' takes a text");
    row("object property", question(R"({"kind":"text","card":{}})"),
        "question 2: 'card' takes no value from a file");
    row("options missing", question(R"({"kind":"multiple"})"),
        "question 2: 'options' is a list of 1 to 26 texts");
    row("option no text", question(R"({"kind":"multiple","options":["a",2]})"),
        "question 2: 'options' is a list of texts");
    row("options for a text", question(R"({"kind":"text","options":["a"]})"),
        "question 2: there is no 'options' to set");
    row("labels", question(R"({"kind":"sort","labels":"roman","options":["a"]})"),
        "question 2: 'labels' is alpha-upper, alpha-lower or number");
}

void tst_AssessmentFile::wrongFilesSayWhatIsWrong()
{
    QFETCH(QByteArray, json);
    QTEST(parseAssessment(json).error, "error");
}

void tst_AssessmentFile::fileThatCannotBeReadIsReported()
{
    QCOMPARE(readAssessment(u"/nonexistent/a.json"_s).error,
             u"/nonexistent/a.json: No such file or directory"_s);
}

void tst_AssessmentFile::exampleFileIsRead()
{
    const AssessmentFile file = readAssessment(QStringLiteral(EXAMPLE_FILE));
    QCOMPARE(file.error, QString());
    QCOMPARE(file.title(), u"Rivers of Europe"_s);
    QCOMPARE(file.questions.size(), 3);
}

void tst_AssessmentFile::documentedFileIsRead()
{
    QFile page(QStringLiteral(DOCUMENTATION_FILE));
    QVERIFY(page.open(QIODevice::ReadOnly));
    const QString text = QString::fromUtf8(page.readAll());
    const QString opening = u"```json\n"_s;
    const int begin = text.indexOf(opening) + opening.size();
    const AssessmentFile file =
        parseAssessment(text.mid(begin, text.indexOf(u"\n```\n"_s, begin) - begin).toUtf8());
    QCOMPARE(file.error, QString());
    QCOMPARE(file.questions.size(), 3);
}

QTEST_GUILESS_MAIN(tst_AssessmentFile)
#include "tst_assessmentfile.moc"
