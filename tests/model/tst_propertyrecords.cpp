// The meta-object of every record against its table: names, types, order, slots and their argument
// names, defaults, and that generic code can write every property.

#include "model/ActivityOption.h"
#include "model/AssessmentOptions.h"
#include "model/Card.h"
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

#include <QtCore/QMetaProperty>
#include <QtTest/QtTest>

#include <memory>

using namespace Tarvo;

namespace
{

// The initial value of a property that refers to an object made by the record itself.
const QVariant OWN_OBJECT = QVariant::fromValue<QObject *>(nullptr);
// The initial value of a question's id, which is random.
const QVariant EIGHT_CHARACTERS = QVariant::fromValue(QChar('8'));
const QVariant NOTHING; // an invalid variant: null in the JSON
const QVariant EMPTY_TEXT = QString();
const QVariant EMPTY_LIST = QVariantList();
const QVariant EMPTY_MAP = QVariantMap();

struct Row {
    const char *type;
    const char *property;
    QStringList setters; // "signature argument", in the order of declaration
    QVariant initial;
};

struct Record {
    const char *className;
    QObject *(*make)(QObject *parent);
    QVector<Row> rows;
    QStringList furtherSlots;
};

template<typename T> QObject *make(QObject *parent)
{
    return new T(parent);
}

// clang-format off
const QVector<Record> RECORDS = {
    {"Tarvo::AssessmentOptions", &make<AssessmentOptions>, {
        {"QString", "assessmentToken", {"setassessmentToken(QString) value"}, EMPTY_TEXT},
        {"bool", "allowSkipQuestion", {"setallowSkipQuestion(bool) allowSkipQuestion"}, false},
        {"bool", "allowNavigateQuestionSet", {"setallowNavigateQuestionSet(bool) allowNavigateQuestionSet"}, false},
        {"bool", "allowResubmitResponse", {"setallowResubmitResponse(bool) allowResubmitResponse"}, true},
        {"bool", "showSummaryOnAssessmentCompletion", {"setshowSummaryOnAssessmentCompletion(bool) showSummaryOnAssessmentCompletion"}, false},
        {"bool", "showAnswerOnIncorrectResponse", {"setshowAnswerOnIncorrectResponse(bool) showAnswerOnIncorrectResponse"}, false},
        {"bool", "showFeedback", {"setshowFeedback(bool) showFeedback"}, false},
        {"int", "questionCount", {"setquestionCount(int) questionCount"}, 1},
        {"int", "startingQuestionNumber", {"setstartingQuestionNumber(int) questionNumber"}, 0},
        {"int", "allowedTime", {"setallowedTime(int) allowedTime"}, 0},
        {"QString", "currentAssessmentSectionId", {"setcurrentAssessmentSectionId(QString) currentAssessmentSectionId"}, EMPTY_TEXT},
        {"QString", "title", {"settitle(QString) title"}, EMPTY_TEXT},
        {"QString", "description", {"setdescription(QString) description"}, EMPTY_TEXT},
        {"bool", "scored", {"setscored(bool) scored"}, false},
        {"QVariantMap", "assessmentSectionConfigurations", {"setassessmentSectionConfigurations(QVariantMap) assessmentSectionConfigurations"}, QVariantMap{{"leveled", false}}},
    }, {}},
    {"Tarvo::QuestionFeedback", &make<QuestionFeedback>, {
        {"bool", "showFeedback", {"setshowFeedback(bool) bShowFeedback"}, false},
        {"bool", "showCorrectAnswer", {"setshowCorrectAnswer(bool) bShowCorrectAnswer"}, false},
        {"QVariant", "correctAnswer", {"setcorrectAnswer(QVariant) bCorrectAnswer"}, NOTHING},
        {"QVariant", "activityScoreStatus", {"setactivityScoreStatus(QVariant) activityScoreStatus"}, NOTHING},
        {"QVariant", "activityResponseStatus", {"setactivityResponseStatus(QVariant) activityResponseStatus"}, NOTHING},
        {"QVariantList", "correctOptions", {"setcorrectOptions(QVariantList) correctOptions"}, EMPTY_LIST},
        {"bool", "allowResubmit", {"setallowResubmit(bool) bAllowResubmit"}, true},
        {"QVariant", "correctFeedback", {"setcorrectFeedback(QVariant) correctFeedback"}, NOTHING},
        {"QVariant", "inCorrectFeedback", {"setinCorrectFeedback(QVariant) incorrectFeedback"}, NOTHING},
        {"QVariant", "answer", {"setanswer(QVariant) answer"}, NOTHING},
        {"QVariant", "jsonAnswer", {"setjsonAnswer(QVariant) jsonAnswer"}, NOTHING},
        {"QVariantList", "optionAnswers", {"setoptionAnswers(QVariantList) optionAnswers"}, EMPTY_LIST},
        {"QVariantList", "optionFeedbacks", {"setoptionFeedbacks(QVariantList) optionFeedbacks"}, EMPTY_LIST},
        {"int", "numberOfRetries", {"setnumberOfRetries(int) numberOfRetries"}, 0},
        {"int", "numberOfRetriesRemaining", {"setnumberOfRetriesRemaining(int) numberOfRetriesRemaining"}, 0},
        {"QVariant", "remainingTime", {"setremainingTime(QVariant) remainingTime"}, NOTHING},
    }, {}},
    {"Tarvo::Card", &make<Card>, {
        {"bool", "active", {"setactive(bool) active"}, true},
        {"bool", "autoSend", {"setautoSend(bool) autoSend"}, true},
        {"QVariantList", "components", {"setcomponents(QVariantList) components"}, EMPTY_LIST},
        {"bool", "hasRendered", {"sethasRendered(bool) hasRendered"}, true},
        {"QString", "id", {"setid(QString) id"}, EMPTY_TEXT},
        {"bool", "isTeacherCard", {"setisTeacherCard(bool) isTeacherCard"}, true},
        {"QString", "notes", {"setnotes(QString) notes"}, EMPTY_TEXT},
        {"int", "ordinal", {"setordinal(int) ordinal"}, 1},
        {"bool", "primary", {"setprimary(bool) primary"}, true},
        {"bool", "pristine", {"setpristine(bool) pristine"}, true},
        {"QString", "remoteId", {"setremoteId(QString) remoteId"}, EMPTY_TEXT},
        {"QVariantMap", "segment", {"setsegment(QVariantMap) segment"}, EMPTY_MAP},
        {"QVariantMap", "styles", {"setstyles(QVariantMap) styles"}, QVariantMap{{"backgroundColor", ""}, {"backgroundImage", ""}, {"backgroundSize", "100%"}}},
        {"QVariantList", "tracks", {"settracks(QVariantList) tracks"}, EMPTY_LIST},
        {"QString", "type", {"settype(QString) type"}, "TEACHER"},
        {"bool", "visible", {"setvisible(bool) visible"}, true},
    }, {"setBackgroundImage(QString) url"}},
    {"Tarvo::ActivityOption", &make<ActivityOption>, {
        {"QString", "id", {"setID(QString) value"}, EMPTY_TEXT},
        {"QString", "optionText", {"setoptionText(QString) optionText"}, EMPTY_TEXT},
        {"int", "displaySeqNumber", {"setdisplaySeqNumber(int) displaySeqNumber"}, 0},
        {"bool", "math", {"setmath(bool) isMath"}, false},
    }, {}},
    {"Tarvo::QuestionMetadata", &make<QuestionMetadata>, {
        {"QString", "ordinalType", {"setordinalType(QString) value"}, EMPTY_TEXT},
        {"QVariantList", "options", {"setoptions(QVariantList) options"}, EMPTY_LIST},
    }, {}},
    {"Tarvo::QuestionBase", &make<QuestionBase>, {
        {"QString", "id", {"setID(QString) value"}, EIGHT_CHARACTERS},
        {"QString", "questionSetMode", {"setquestionSetMode(QString) questionSetMode"}, "Poll"},
        {"int", "questionNumber", {"setquestionNumber(int) questionNumber"}, 0},
        {"QString", "type", {"setType(QString) value"}, EMPTY_TEXT},
        {"QVariantMap", "activityType", {"setactivityType(QVariantMap) activityType"}, EMPTY_MAP},
        {"QObject*", "feedBack", {"setfeedBack(QuestionFeedback*) feedback", "setfeedBack(QObject*) feedback"}, OWN_OBJECT},
        {"QString", "instructions", {"setinstructions(QString) instructions"}, EMPTY_TEXT},
        {"QString", "passage", {"setpassage(QString) passage"}, EMPTY_TEXT},
        {"QObject*", "card", {"setcard(QObject*) card"}, OWN_OBJECT},
        {"QString", "hint", {"sethint(QString) hint"}, EMPTY_TEXT},
        {"bool", "math", {"setmath(bool) isMath"}, false},
        {"bool", "hasNext", {"sethasNext(bool) hasNext"}, false},
        {"bool", "navigable", {"setnavigable(bool) navigable"}, false},
    }, {}},
    {"Tarvo::QuestionBaseWithOptions", &make<QuestionBaseWithOptions>, {
        {"QObject*", "metadata", {"setmetadata(QObject*) metadata", "setmetadata(QuestionMetadata*) metadata"}, OWN_OBJECT},
        {"QVariantList", "activityOptions", {}, EMPTY_LIST}, // read only
    }, {}},
    {"Tarvo::QuestionNumeric", &make<QuestionNumeric>, {
        {"int", "noOfDecimals", {"setnoOfDecimals(int) noOfDecimals"}, 0},
    }, {}},
    {"Tarvo::QuestionText", &make<QuestionText>, {
        {"int", "maxChars", {"setmaxChars(int) maxChars"}, 0},
    }, {}},
    {"Tarvo::QuestionMultiChoice", &make<QuestionMultiChoice>, {
        {"int", "numberOfCorrectOptions", {"setnumberOfCorrectOptions(int) numberOfCorrectOptions"}, 1},
    }, {}},
    {"Tarvo::QuestionYesNo", &make<QuestionYesNo>, {}, {}},
};
// clang-format on

// A value of the row's type that differs from its default.
QVariant otherValue(const Row &row, QObject *object)
{
    const QByteArray type = row.type;
    if (type == "bool")
        return !row.initial.toBool();
    if (type == "int")
        return row.initial.toInt() + 7;
    if (type == "QString")
        return u"other é"_s;
    if (type == "QVariantList")
        return QVariantList{1, u"two"_s};
    if (type == "QVariantMap")
        return QVariantMap{{"key", u"value"_s}};
    if (type == "QObject*")
        return QVariant::fromValue(object);
    return u"a variant's text"_s;
}

} // namespace

class tst_PropertyRecords : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { m_parent = std::make_unique<QObject>(); }

    void propertiesAreDeclaredInTheirOrder_data() { records(); }
    void propertiesAreDeclaredInTheirOrder();
    void slotsAreDeclaredInTheirOrder_data() { records(); }
    void slotsAreDeclaredInTheirOrder();
    void nothingElseIsInTheMetaObject_data() { records(); }
    void nothingElseIsInTheMetaObject();
    void aFreshRecordHoldsItsDefaults_data() { rows(); }
    void aFreshRecordHoldsItsDefaults();
    void everyPropertyIsWrittenByName_data() { rows(); }
    void everyPropertyIsWrittenByName();
    void everySetterIsInvokedByName_data() { rows(); }
    void everySetterIsInvokedByName();
    void everyFlagCanBeTurnedBack_data() { rows(); }
    void everyFlagCanBeTurnedBack();

    void classesWithoutMetaObjectReportTheirBases_data();
    void classesWithoutMetaObjectReportTheirBases();
    void bothFeedbackSlotsAreInvokedByName();
    void bothMetadataSlotsAreInvokedByName();
    void activityOptionsCannotBeWritten();
    void ownObjectsAreOfTheirClasses();

private:
    static void records();
    static void rows();
    const Record &record() const;
    const Row &row() const;
    QObject *fresh() const { return record().make(m_parent.get()); }

    std::unique_ptr<QObject> m_parent;
};

void tst_PropertyRecords::records()
{
    QTest::addColumn<int>("record");
    for (int i = 0; i < RECORDS.size(); ++i)
        QTest::newRow(RECORDS[i].className) << i;
}

void tst_PropertyRecords::rows()
{
    QTest::addColumn<int>("record");
    QTest::addColumn<int>("row");
    for (int i = 0; i < RECORDS.size(); ++i) {
        for (int j = 0; j < RECORDS[i].rows.size(); ++j) {
            QTest::addRow("%s %s", RECORDS[i].className, RECORDS[i].rows[j].property) << i << j;
        }
    }
}

const Record &tst_PropertyRecords::record() const
{
    QFETCH(int, record);
    return RECORDS[record];
}

const Row &tst_PropertyRecords::row() const
{
    QFETCH(int, row);
    return record().rows[row];
}

void tst_PropertyRecords::propertiesAreDeclaredInTheirOrder()
{
    const QMetaObject *meta = fresh()->metaObject();
    QCOMPARE(meta->className(), record().className);

    QStringList declared;
    for (int i = meta->propertyOffset(); i < meta->propertyCount(); ++i)
        declared << u"%1 %2"_s.arg(meta->property(i).typeName(), meta->property(i).name());
    QStringList expected;
    for (const Row &expectedRow : record().rows)
        expected << u"%1 %2"_s.arg(expectedRow.type, expectedRow.property);
    QCOMPARE(declared, expected);
}

void tst_PropertyRecords::slotsAreDeclaredInTheirOrder()
{
    const QMetaObject *meta = fresh()->metaObject();
    QStringList declared;
    for (int i = meta->methodOffset(); i < meta->methodCount(); ++i) {
        const QMetaMethod method = meta->method(i);
        QCOMPARE(method.methodType(), QMetaMethod::Slot);
        QCOMPARE(method.access(), QMetaMethod::Public);
        QCOMPARE(method.parameterCount(), 1);
        declared << u"%1 %2"_s.arg(method.methodSignature(), method.parameterNames().first());
    }
    QStringList expected;
    for (const Row &expectedRow : record().rows)
        expected << expectedRow.setters;
    expected << record().furtherSlots;
    QCOMPARE(declared, expected);
}

void tst_PropertyRecords::nothingElseIsInTheMetaObject()
{
    const QMetaObject *meta = fresh()->metaObject();
    QCOMPARE(meta->enumeratorCount() - meta->enumeratorOffset(), 0);
    QCOMPARE(meta->classInfoCount() - meta->classInfoOffset(), 0);
    QCOMPARE(meta->constructorCount(), 0);
    for (int i = meta->propertyOffset(); i < meta->propertyCount(); ++i) {
        const QMetaProperty property = meta->property(i);
        QVERIFY(property.isReadable());
        QVERIFY(!property.hasNotifySignal());
        QVERIFY(!property.isResettable());
        QVERIFY(!property.isConstant());
        QCOMPARE(property.isWritable(), QByteArray(property.name()) != "activityOptions");
    }
}

void tst_PropertyRecords::aFreshRecordHoldsItsDefaults()
{
    const QObject *object = fresh();
    QCOMPARE(object->parent(), m_parent.get());
    QVERIFY(object->objectName().isEmpty());

    const QVariant value = object->property(row().property);
    if (row().initial.userType() == QMetaType::QObjectStar) {
        QVERIFY(value.value<QObject *>());
        QCOMPARE(value.value<QObject *>()->parent(), object);
        return;
    }
    if (row().initial.userType() == QMetaType::QChar) {
        QCOMPARE(value.toString().size(), 8);
        return;
    }
    QCOMPARE(value.isValid(), row().initial.isValid());
    QCOMPARE(value, row().initial);
    if (value.isValid())
        QCOMPARE(value.userType(), QMetaType::type(row().type));
}

void tst_PropertyRecords::everyPropertyIsWrittenByName()
{
    if (row().setters.isEmpty())
        return; // activityOptionsCannotBeWritten
    QObject *object = fresh();
    QObject other;
    const QVariant value = otherValue(row(), &other);
    QVERIFY(object->property(row().property) != value);
    QVERIFY(object->setProperty(row().property, value));
    QCOMPARE(object->property(row().property), value);
    QVERIFY(object->dynamicPropertyNames().isEmpty());
}

void tst_PropertyRecords::everySetterIsInvokedByName()
{
    QObject other;
    const QVariant value = otherValue(row(), &other);
    const bool takesVariant = QByteArray(row().type) == "QVariant";
    for (const QString &slot : row().setters) {
        if (slot.contains("(Question")) // bothFeedbackSlotsAreInvokedByName and its like
            continue;
        QObject *object = fresh();
        const QByteArray name = slot.left(slot.indexOf('(')).toLatin1();
        const void *data = takesVariant ? &value : value.constData();
        QVERIFY(QMetaObject::invokeMethod(object, name, QGenericArgument(row().type, data)));
        QCOMPARE(object->property(row().property), value);
    }
}

void tst_PropertyRecords::everyFlagCanBeTurnedBack()
{
    if (QByteArray(row().type) != "bool")
        return;
    QObject *object = fresh();
    for (const bool flag : {true, false, true}) {
        QVERIFY(object->setProperty(row().property, flag));
        QCOMPARE(object->property(row().property), QVariant(flag));
    }
}

void tst_PropertyRecords::classesWithoutMetaObjectReportTheirBases_data()
{
    QTest::addColumn<QByteArray>("base");
    QTest::addColumn<QObject *>("question");
    const QByteArray plain = "Tarvo::QuestionBase";
    const QByteArray withOptions = "Tarvo::QuestionBaseWithOptions";
    QTest::newRow("formula") << plain << make<QuestionMathFormula>(this);
    QTest::newRow("word-seed") << plain << make<QuestionWordSeed>(this);
    QTest::newRow("sort") << withOptions << make<QuestionSort>(this);
    QTest::newRow("scale") << withOptions << make<QuestionScale>(this);
    QTest::newRow("creative") << withOptions << make<QuestionCreative>(this);
}

void tst_PropertyRecords::classesWithoutMetaObjectReportTheirBases()
{
    QFETCH(QByteArray, base);
    QFETCH(QObject *, question);
    QCOMPARE(QByteArray(question->metaObject()->className()), base);
}

void tst_PropertyRecords::bothFeedbackSlotsAreInvokedByName()
{
    QuestionBase question(nullptr);
    QuestionFeedback feedback(nullptr);
    QVERIFY(
        QMetaObject::invokeMethod(&question, "setfeedBack", Q_ARG(QuestionFeedback *, &feedback)));
    QCOMPARE(question.feedBack(), &feedback);

    QObject plain;
    QVERIFY(QMetaObject::invokeMethod(&question, "setfeedBack", Q_ARG(QObject *, &plain)));
    QCOMPARE(question.feedBack(), &plain);
}

void tst_PropertyRecords::bothMetadataSlotsAreInvokedByName()
{
    QuestionBaseWithOptions question(nullptr);
    QuestionMetadata metadata(nullptr);
    QVERIFY(
        QMetaObject::invokeMethod(&question, "setmetadata", Q_ARG(QuestionMetadata *, &metadata)));
    QCOMPARE(question.metadata(), &metadata);

    QObject plain;
    QVERIFY(QMetaObject::invokeMethod(&question, "setmetadata", Q_ARG(QObject *, &plain)));
    QCOMPARE(question.metadata(), &plain);
}

void tst_PropertyRecords::activityOptionsCannotBeWritten()
{
    QuestionBaseWithOptions question(nullptr);
    question.addActivityOption("A", "first", 0);
    QVERIFY(!question.setProperty("activityOptions", QVariantList()));
    QCOMPARE(question.activityOptions().size(), 1);
    QVERIFY(question.dynamicPropertyNames().isEmpty());
}

void tst_PropertyRecords::ownObjectsAreOfTheirClasses()
{
    const QuestionBaseWithOptions question(nullptr);
    QCOMPARE(question.feedBack()->metaObject()->className(), "Tarvo::QuestionFeedback");
    QCOMPARE(question.card()->metaObject()->className(), "QObject");
    QCOMPARE(question.metadata()->metaObject()->className(), "Tarvo::QuestionMetadata");
}

QTEST_GUILESS_MAIN(tst_PropertyRecords)
#include "tst_propertyrecords.moc"
