#include "lessonfiles/AssessmentFile.h"
#include "support/Text.h"

#include <QtTest/QtTest>

using namespace Host;

class tst_AssessmentFile : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void settingsAreRead();
    void everyKindOfQuestionIsRead_data();
    void everyKindOfQuestionIsRead();
    void optionsAreLabelled();
    void yesNoQuestionsNeedNoOptions();
    void firstNumberIsOneUnlessSaid();
    void wrongFilesSayWhatIsWrong_data();
    void wrongFilesSayWhatIsWrong();
    void fileThatCannotBeReadIsReported();
    void exampleFileIsRead();
    void documentedFileIsRead();
};

namespace
{

Tarvo::Assessment parse(const QByteArray &json)
{
    const AssessmentFile file = parseAssessment(json);
    if (!file.error.isEmpty())
        qWarning("%s", qPrintable(file.error));
    return file.assessment;
}

} // namespace

void tst_AssessmentFile::settingsAreRead()
{
    const Tarvo::Assessment assessment = parse(R"({
        "title": "Rivers", "description": "Of Europe", "scored": true, "allowedTime": 90,
        "allowResubmitResponse": false, "startingQuestionNumber": 2,
        "assessmentSectionConfigurations": {"leveled": true},
        "questions": [{"kind": "text"}, {"kind": "number"}]})");
    QCOMPARE(assessment.title, u"Rivers"_s);
    QCOMPARE(assessment.firstNumber, 2);
    QCOMPARE(assessment.questions.size(), 2);
    QCOMPARE(
        assessment.settings,
        QVariantMap({{u"description"_s, u"Of Europe"_s},
                     {u"scored"_s, true},
                     {u"allowedTime"_s, 90},
                     {u"allowResubmitResponse"_s, false},
                     {u"assessmentSectionConfigurations"_s, QVariantMap({{u"leveled"_s, true}})}}));
}

void tst_AssessmentFile::everyKindOfQuestionIsRead_data()
{
    QTest::addColumn<QByteArray>("question");
    QTest::addColumn<int>("kind");
    QTest::addColumn<QVariantMap>("properties");
    using Tarvo::PollType;
    const auto row = [](PollType::POLL_TYPE kind, const QByteArray &question,
                        const QVariantMap &properties) {
        QTest::newRow(question) << question << int(kind) << properties;
    };

    row(PollType::TRUE_FALSE, R"({"kind":"true-false","hint":"h"})", {{u"hint"_s, u"h"_s}});
    row(PollType::YES_NO_OTHER, R"({"kind":"yes-no-other","math":true})", {{u"math"_s, true}});
    row(PollType::MULTIPLE, R"({"kind":"multiple","options":["a"],"numberOfCorrectOptions":2})",
        {{u"numberOfCorrectOptions"_s, 2}});
    row(PollType::SCALE, R"({"kind":"scale","options":["a"],"passage":"p"})",
        {{u"passage"_s, u"p"_s}});
    row(PollType::SORT, R"({"kind":"sort","options":["a"],"navigable":true})",
        {{u"navigable"_s, true}});
    row(PollType::TEXT, R"({"kind":"text","maxChars":30,"instructions":"Say"})",
        {{u"maxChars"_s, 30}});
    row(PollType::NUMBER, R"({"kind":"number","noOfDecimals":3})", {{u"noOfDecimals"_s, 3}});
    row(PollType::MATH_FORMULA, R"({"kind":"math formula"})", {});
}

void tst_AssessmentFile::everyKindOfQuestionIsRead()
{
    QFETCH(QByteArray, question);
    const Tarvo::Assessment assessment = parse(R"({"questions":[)" + question + "]}");
    QCOMPARE(assessment.questions.size(), 1);
    const Tarvo::AssessmentQuestion &read = assessment.questions.first();
    QTEST(int(read.kind), "kind");
    QTEST(read.properties, "properties");
    QCOMPARE(read.text, question.contains("instructions") ? u"Say"_s : QString());
}

void tst_AssessmentFile::optionsAreLabelled()
{
    using Tarvo::OrdinalType;
    const Tarvo::Assessment assessment = parse(R"({"questions":[
        {"kind":"multiple","options":["x","y"]},
        {"kind":"sort","labels":"alpha-lower","options":["x","y"]},
        {"kind":"scale","labels":"number","options":["x","y"]}]})");
    QCOMPARE(assessment.questions.size(), 3);
    const QVector<OrdinalType::ORDINAL_TYPE> labels{OrdinalType::ALPHA_UPPER,
                                                    OrdinalType::ALPHA_LOWER, OrdinalType::NUMBER};
    const QVector<QStringList> ids{{u"A"_s, u"B"_s}, {u"a"_s, u"b"_s}, {u"0"_s, u"1"_s}};
    for (int i = 0; i < 3; ++i) {
        const Tarvo::AssessmentQuestion &question = assessment.questions.at(i);
        QCOMPARE(question.labels, labels.at(i));
        QCOMPARE(question.choices.size(), 2);
        QCOMPARE(question.choices.at(0).id, ids.at(i).at(0));
        QCOMPARE(question.choices.at(1).id, ids.at(i).at(1));
        QCOMPARE(question.choices.at(1).text, u"y"_s);
    }
}

void tst_AssessmentFile::yesNoQuestionsNeedNoOptions()
{
    const Tarvo::Assessment assessment =
        parse(R"({"questions":[{"kind":"true-false"},{"kind":"yes-no-other"}]})");
    QStringList texts;
    for (const Tarvo::AssessmentQuestion &question : assessment.questions) {
        for (const Tarvo::Choice &choice : question.choices)
            texts.append(choice.id + choice.text);
    }
    QCOMPARE(texts, QStringList({u"ATrue"_s, u"BFalse"_s, u"AYes"_s, u"BNo"_s, u"COther"_s}));
}

void tst_AssessmentFile::firstNumberIsOneUnlessSaid()
{
    QCOMPARE(parse(R"({"questions":[{"kind":"text"}]})").firstNumber, 1);
    QCOMPARE(parse(R"({"startingQuestionNumber":0,"questions":[{"kind":"text"}]})").firstNumber, 0);
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
    row("starting beyond the questions",
        R"({"startingQuestionNumber":7,"questions":[{"kind":"text"}]})",
        "the assessment: 'startingQuestionNumber' is 0 to 1, no more than there are questions");
    row("starting below the questions",
        R"({"startingQuestionNumber":-1,"questions":[{"kind":"text"}]})",
        "the assessment: 'startingQuestionNumber' is 0 to 1, no more than there are questions");
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
    QCOMPARE(readAssessment(u"/nonexistent/a.json"_s, QString()).error,
             u"/nonexistent/a.json: No such file or directory"_s);
}

void tst_AssessmentFile::exampleFileIsRead()
{
    const AssessmentFile file = readAssessment(QStringLiteral(EXAMPLE_FILE), QString());
    QCOMPARE(file.error, QString());
    QCOMPARE(file.assessment.title, u"Rivers of Europe"_s);
    QCOMPARE(file.assessment.questions.size(), 3);
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
    QCOMPARE(file.assessment.questions.size(), 3);
}

QTEST_GUILESS_MAIN(tst_AssessmentFile)
#include "tst_assessmentfile.moc"
