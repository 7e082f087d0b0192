// Prior answers in the feedback, and the labelling of options in the metadata.

#include "model/ActivityOption.h"
#include "model/QuestionCreative.h"
#include "model/QuestionMathFormula.h"
#include "model/QuestionMultiChoice.h"
#include "model/QuestionNumeric.h"
#include "model/QuestionScale.h"
#include "model/QuestionSort.h"
#include "model/QuestionText.h"
#include "model/QuestionWordSeed.h"
#include "model/QuestionYesNo.h"
#include "support/Text.h"

#include <QtTest/QtTest>

#include <memory>

using namespace Tarvo;

namespace
{

QVariantList chosen(const QStringList &ids)
{
    QVariantList entries;
    for (const QString &id : ids)
        entries << QVariantMap{{"activityOptionId", id}};
    return entries;
}

QuestionFeedback *feedbackOf(const QuestionBase &question)
{
    return qobject_cast<QuestionFeedback *>(question.feedBack());
}

QuestionMetadata *metadataOf(const QuestionBaseWithOptions &question)
{
    return qobject_cast<QuestionMetadata *>(question.metadata());
}

template<typename T> QuestionBase *make()
{
    return new T(nullptr);
}

using Maker = QuestionBase *(*)();

} // namespace

class tst_PriorAndOrdinals : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void answerWithoutOptionsIsTheWholeText_data();
    void answerWithoutOptionsIsTheWholeText();
    void answerIsOneOptionOrOnePerCharacter_data();
    void answerIsOneOptionOrOnePerCharacter();
    void laterAnswerReplacesTheEarlier();
    void emptyAnswerClearsTheChosenOptions();
    void retriesAreSetByAPriorAnswerAlone();
    void retriesAreNinetyNineWhateverTheyWere();
    void answersSurviveMissingFeedback_data();
    void answersSurviveMissingFeedback();
    void answerGoesIntoTheFeedbackInPlace();

    void ordinalsNumberTheOptions();
    void ordinalsHaveTheirTypesName_data();
    void ordinalsHaveTheirTypesName();
    void valueWithoutNameGivesTheEmptyName();
    void metadataOfATypeTakesTheCount();
    void inferredLabelling_data();
    void inferredLabelling();
    void inferenceReadsTheFirstOptionOnly();
    void inferenceEmptiesTheNumbers();
    void inferenceWithoutOptionsChangesNothing();
    void inferenceOfAPlainQuestionDoesNothing();
    void ordinalsSurviveMissingMetadata();
};

void tst_PriorAndOrdinals::answerWithoutOptionsIsTheWholeText_data()
{
    QTest::addColumn<void *>("maker");
    const auto row = [](const char *name, Maker maker) {
        QTest::newRow(name) << reinterpret_cast<void *>(maker);
    };
    row("base", &make<QuestionBase>);
    row("number", &make<QuestionNumeric>);
    row("text", &make<QuestionText>);
    row("formula", &make<QuestionMathFormula>);
    row("word-seed", &make<QuestionWordSeed>);
}

void tst_PriorAndOrdinals::answerWithoutOptionsIsTheWholeText()
{
    QFETCH(void *, maker);
    const std::unique_ptr<QuestionBase> question(reinterpret_cast<Maker>(maker)());
    QuestionFeedback *feedback = feedbackOf(*question);
    feedback->setoptionAnswers({1, 2});
    for (const QString &answer : {u"A, B é"_s, u"12"_s}) {
        question->setPriorAnswer(answer);
        QCOMPARE(feedback->answer().userType(), int(QMetaType::QString));
        QCOMPARE(feedback->answer(), QVariant(answer));
    }
    question->setPriorAnswer(QString());
    QVERIFY(feedback->answer().isValid());
    QCOMPARE(feedback->answer().toString(), QString());
    QCOMPARE(feedback->optionAnswers(), (QVariantList{1, 2}));
    QCOMPARE(feedback->numberOfRetriesRemaining(), 99);
}

void tst_PriorAndOrdinals::answerIsOneOptionOrOnePerCharacter_data()
{
    QTest::addColumn<void *>("maker");
    QTest::addColumn<QString>("answer");
    QTest::addColumn<QStringList>("ids");
    const auto row = [](const char *name, Maker maker, const QString &answer,
                        const QStringList &ids) {
        QTest::newRow(name) << reinterpret_cast<void *>(maker) << answer << ids;
    };
    row("multiple", &make<QuestionMultiChoice>, "AC", {"A", "C"});
    row("multiple, none", &make<QuestionMultiChoice>, "", {});
    row("multiple, null", &make<QuestionMultiChoice>, QString(), {});
    row("multiple, comma", &make<QuestionMultiChoice>, "A,C", {"A", ",", "C"});
    row("multiple, blank and small", &make<QuestionMultiChoice>, "a A", {"a", " ", "A"});
    row("multiple, twice the same", &make<QuestionMultiChoice>, "AA", {"A", "A"});
    row("sort", &make<QuestionSort>, "BCA", {"B", "C", "A"});
    row("sort, none", &make<QuestionSort>, "", {});
    row("sort, accented", &make<QuestionSort>, u"éA"_s, {u"é"_s, "A"});
    row("with options", &make<QuestionBaseWithOptions>, "AC", {"AC"});
    row("with options, none", &make<QuestionBaseWithOptions>, "", {""});
    row("yes-no", &make<QuestionYesNo>, "YES", {"YES"});
    row("scale", &make<QuestionScale>, "10", {"10"});
    row("creative", &make<QuestionCreative>, "B, A", {"B, A"});
}

void tst_PriorAndOrdinals::answerIsOneOptionOrOnePerCharacter()
{
    QFETCH(void *, maker);
    QFETCH(QString, answer);
    QFETCH(QStringList, ids);
    const std::unique_ptr<QuestionBase> question(reinterpret_cast<Maker>(maker)());
    question->setPriorAnswer(answer);
    const QuestionFeedback *feedback = feedbackOf(*question);
    QCOMPARE(feedback->optionAnswers(), chosen(ids));
    for (const QVariant &entry : feedback->optionAnswers())
        QCOMPARE(entry.toMap()["activityOptionId"].userType(), int(QMetaType::QString));
    QVERIFY(!feedback->answer().isValid());
    QCOMPARE(feedback->numberOfRetriesRemaining(), 99);
}

void tst_PriorAndOrdinals::laterAnswerReplacesTheEarlier()
{
    QuestionMultiChoice question(nullptr);
    question.setPriorAnswer("AB");
    question.setPriorAnswer("C");
    QCOMPARE(feedbackOf(question)->optionAnswers(), chosen({"C"}));
    question.setPriorAnswer("C");
    QCOMPARE(feedbackOf(question)->optionAnswers(), chosen({"C"}));
}

void tst_PriorAndOrdinals::emptyAnswerClearsTheChosenOptions()
{
    QuestionMultiChoice question(nullptr);
    question.setPriorAnswer("AB");
    question.setPriorAnswer("");
    QCOMPARE(feedbackOf(question)->optionAnswers(), QVariantList());
    QCOMPARE(feedbackOf(question)->numberOfRetriesRemaining(), 99);
}

void tst_PriorAndOrdinals::retriesAreSetByAPriorAnswerAlone()
{
    QuestionMultiChoice question(nullptr);
    question.addActivityOption("A", "a", 0);
    question.setOrdinals(OrdinalType::ALPHA_UPPER);
    question.inferOrdinalType();
    QCOMPARE(feedbackOf(question)->numberOfRetriesRemaining(), 0);
}

void tst_PriorAndOrdinals::retriesAreNinetyNineWhateverTheyWere()
{
    QuestionText question(nullptr);
    feedbackOf(question)->setnumberOfRetries(3);
    feedbackOf(question)->setnumberOfRetriesRemaining(2);
    question.setPriorAnswer("x");
    QCOMPARE(feedbackOf(question)->numberOfRetries(), 3);
    QCOMPARE(feedbackOf(question)->numberOfRetriesRemaining(), 99);
    feedbackOf(question)->setnumberOfRetriesRemaining(1);
    question.configurePriorAnswer();
    QCOMPARE(feedbackOf(question)->numberOfRetriesRemaining(), 99);
}

void tst_PriorAndOrdinals::answersSurviveMissingFeedback_data()
{
    QTest::addColumn<QString>("feedback");
    for (const char *how :
         {"null", "null feedback", "a plain object", "destroyed", "replaced and destroyed"})
        QTest::newRow(how) << how;
}

void tst_PriorAndOrdinals::answersSurviveMissingFeedback()
{
    QFETCH(QString, feedback);
    QObject plain;
    for (const Maker maker : {&make<QuestionBase>, &make<QuestionScale>, &make<QuestionSort>}) {
        const std::unique_ptr<QuestionBase> question(maker());
        if (feedback == "null") {
            question->setfeedBack(static_cast<QObject *>(nullptr));
        } else if (feedback == "null feedback") {
            question->setfeedBack(static_cast<QuestionFeedback *>(nullptr));
        } else if (feedback == "a plain object") {
            question->setfeedBack(&plain);
        } else if (feedback == "destroyed") {
            delete question->feedBack();
        } else {
            const QuestionFeedback shortLived(nullptr);
            question->setfeedBack(const_cast<QuestionFeedback *>(&shortLived));
        }
        question->setPriorAnswer("AB");
        question->configurePriorAnswer();
    }
    QVERIFY(plain.dynamicPropertyNames().isEmpty());
}

void tst_PriorAndOrdinals::answerGoesIntoTheFeedbackInPlace()
{
    QuestionSort question(nullptr);
    const QuestionFeedback *first = feedbackOf(question);
    QuestionFeedback second(nullptr);
    question.setfeedBack(&second);
    question.setPriorAnswer("A");
    QCOMPARE(second.optionAnswers(), chosen({"A"}));
    QCOMPARE(second.numberOfRetriesRemaining(), 99);
    QCOMPARE(first->optionAnswers(), QVariantList());
    QCOMPARE(first->numberOfRetriesRemaining(), 0);
}

void tst_PriorAndOrdinals::ordinalsNumberTheOptions()
{
    QuestionMultiChoice question(nullptr);
    for (int i = 0; i < 4; ++i)
        question.addActivityOption(QString::number(i), QString(), i);
    question.setOrdinals(OrdinalType::ALPHA_UPPER);
    QCOMPARE(metadataOf(question)->ordinalType(), u"alpha-upper"_s);
    QCOMPARE(metadataOf(question)->options(), (QVariantList{0, 1, 2, 3}));
    question.addActivityOption("4", QString(), 4); // after the fact: not numbered
    QCOMPARE(metadataOf(question)->options(), (QVariantList{0, 1, 2, 3}));
}

void tst_PriorAndOrdinals::ordinalsHaveTheirTypesName_data()
{
    QTest::addColumn<int>("type");
    QTest::addColumn<QString>("name");
    int type = 0;
    for (const char *name :
         {"true-false", "yes-no", "yes-no-maybe", "yes-no-unsure", "yes-no-other", "alpha-upper",
          "alpha-lower", "number", "agreement", "confidence", "generic"}) {
        QTest::addRow("%d", type) << type << name;
        ++type;
    }
}

void tst_PriorAndOrdinals::ordinalsHaveTheirTypesName()
{
    QFETCH(int, type);
    QFETCH(QString, name);
    QuestionScale question(nullptr);
    question.setOrdinals(static_cast<OrdinalType::ORDINAL_TYPE>(type));
    QCOMPARE(metadataOf(question)->ordinalType(), name);
    QCOMPARE(metadataOf(question)->options(), QVariantList());
}

void tst_PriorAndOrdinals::valueWithoutNameGivesTheEmptyName()
{
    QuestionScale question(nullptr);
    question.setOrdinals(OrdinalType::NUMBER);
    question.setMetadata(static_cast<OrdinalType::ORDINAL_TYPE>(11), 2);
    QCOMPARE(metadataOf(question)->ordinalType(), QString());
    QCOMPARE(metadataOf(question)->options(), (QVariantList{0, 1}));
}

void tst_PriorAndOrdinals::metadataOfATypeTakesTheCount()
{
    QuestionScale question(nullptr);
    question.addActivityOption("A", "a", 0);
    question.setMetadata(OrdinalType::AGREEMENT, 3);
    QCOMPARE(metadataOf(question)->ordinalType(), u"agreement"_s);
    QCOMPARE(metadataOf(question)->options(), (QVariantList{0, 1, 2}));
}

void tst_PriorAndOrdinals::inferredLabelling_data()
{
    QTest::addColumn<QString>("firstId");
    QTest::addColumn<QString>("ordinalType");
    const auto row = [](const char *name, const char *firstId, const char *ordinalType) {
        QTest::newRow(name) << firstId << ordinalType;
    };
    row("A", "A", "alpha-upper");
    row("a", "a", "alpha-lower");
    row("0", "0", "number");
    row("1", "1", "number");
    for (const char *other : {"B", "b", "2", "10", "AA", "?"})
        row(other, other, "earlier");
    row("A and a blank", "A ", "earlier");
    row("empty", "", "earlier");
}

void tst_PriorAndOrdinals::inferredLabelling()
{
    QFETCH(QString, firstId);
    QFETCH(QString, ordinalType);
    QuestionMultiChoice question(nullptr);
    question.setMetadata(u"earlier"_s, 3);
    question.addActivityOption(firstId, "first", 0);
    question.inferOrdinalType();
    QCOMPARE(metadataOf(question)->ordinalType(), ordinalType);
    QCOMPARE(metadataOf(question)->options(),
             ordinalType == "earlier" ? QVariantList({0, 1, 2}) : QVariantList());
}

void tst_PriorAndOrdinals::inferenceReadsTheFirstOptionOnly()
{
    QuestionMultiChoice question(nullptr);
    question.addActivityOption("B", "b", 0);
    question.addActivityOption("A", "a", 1);
    question.inferOrdinalType();
    QCOMPARE(metadataOf(question)->ordinalType(), QString());
}

void tst_PriorAndOrdinals::inferenceEmptiesTheNumbers()
{
    QuestionMultiChoice question(nullptr);
    question.addActivityOption("A", "a", 0);
    question.addActivityOption("B", "b", 1);
    question.setOrdinals(OrdinalType::GENERIC);
    question.inferOrdinalType();
    QCOMPARE(metadataOf(question)->ordinalType(), u"alpha-upper"_s);
    QCOMPARE(metadataOf(question)->options(), QVariantList());
}

void tst_PriorAndOrdinals::inferenceWithoutOptionsChangesNothing()
{
    QuestionMultiChoice question(nullptr);
    question.setMetadata(u"earlier"_s, 2);
    question.inferOrdinalType();
    QCOMPARE(metadataOf(question)->ordinalType(), u"earlier"_s);
    QCOMPARE(metadataOf(question)->options(), (QVariantList{0, 1}));
}

void tst_PriorAndOrdinals::inferenceOfAPlainQuestionDoesNothing()
{
    QuestionBase question(nullptr);
    question.inferOrdinalType();
    QCOMPARE(feedbackOf(question)->numberOfRetriesRemaining(), 0);
    QCOMPARE(question.findChildren<QObject *>().size(), 2); // feedback and placeholder card
}

void tst_PriorAndOrdinals::ordinalsSurviveMissingMetadata()
{
    QObject plain;
    QuestionMultiChoice question(nullptr);
    question.addActivityOption("A", "a", 0);
    delete question.metadata();
    question.setOrdinals(OrdinalType::NUMBER);
    question.inferOrdinalType();
    question.setmetadata(&plain);
    question.setOrdinals(OrdinalType::NUMBER);
    question.inferOrdinalType();
    question.setMetadata(u"number"_s, 2);
    QVERIFY(plain.dynamicPropertyNames().isEmpty());
}

QTEST_GUILESS_MAIN(tst_PriorAndOrdinals)
#include "tst_priorandordinals.moc"
