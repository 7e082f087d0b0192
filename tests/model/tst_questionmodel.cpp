#include "model/ActivityOption.h"
#include "model/Card.h"
#include "model/JsonSerializer.h"
#include "model/QuestionCreative.h"
#include "model/QuestionMathFormula.h"
#include "model/QuestionMultiChoice.h"
#include "model/QuestionNumeric.h"
#include "model/QuestionScale.h"
#include "model/QuestionSort.h"
#include "model/QuestionText.h"
#include "model/QuestionWordSeed.h"
#include "model/QuestionYesNo.h"
#include "support/LogCapture.h"
#include "support/Text.h"

#include <QtCore/QRegularExpression>
#include <QtTest/QtTest>

#include <ctime>
#include <memory>
#include <random>

using namespace Tarvo;

namespace
{

// The id of a question made in the given second, drawn here with the generator that Qt 5's is.
QString idOfSecond(time_t second)
{
    const QString alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
    std::minstd_rand generator(static_cast<uint>(second));
    QString id;
    for (int i = 0; i < 8; ++i)
        id += alphabet[int(generator() % 62)];
    return id;
}

// Repeats the action until it begins and ends in one second, and gives that second; 0 when it never
// does.
template<typename Action> time_t withinOneSecond(const Action &action)
{
    for (int attempt = 0; attempt < 20; ++attempt) {
        const time_t before = std::time(nullptr);
        action();
        if (std::time(nullptr) == before)
            return before;
    }
    return 0;
}

QVariantMap optionMap(const char *id, const char *text, int number)
{
    return {{"id", id}, {"optionText", text}, {"displaySeqNumber", number}, {"math", false}};
}

} // namespace

class tst_QuestionModel : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void questionsOfOneSecondShareTheirId();
    void idIsDrawnFromTheSecond();
    void idIsOfEightLettersAndDigits();
    void idCanBeSet();

    void kindIsTheClassesOwn_data();
    void kindIsTheClassesOwn();
    void plainQuestionsSendTheStoredKind();
    void yesNoSwitchesItsKind();
    void virtualOperationsWorkThroughTheBase();

    void optionsAreMapsInInsertionOrder();
    void optionsAreOwnedByTheQuestion();
    void deletedOptionIsLeftOut();
    void optionPropertiesCanBeChangedAfterwards();
    void manyOptionsKeepTheirOrder();

    void metadataIsNumberedUpToTheCount_data();
    void metadataIsNumberedUpToTheCount();

    void backgroundImageIsOneStyleAmongOthers();
    void stylesReplaceTheBackgroundImage();
    void backgroundImageIsAddedToNewStyles();

    void replacedObjectsStayChildren();
    void objectsInPlaceKeepTheirOwner();
    void destroyedObjectsLeaveNull();
    void destroyingAQuestionFreesItsObjects();
    void constructorsTakeAParentAndNothingElse();
};

void tst_QuestionModel::questionsOfOneSecondShareTheirId()
{
    QStringList ids;
    QVERIFY(withinOneSecond([&ids] {
        ids = QStringList{QuestionText(nullptr).id(), QuestionSort(nullptr).id()};
    }));
    QCOMPARE(ids.at(1), ids.at(0));
}

void tst_QuestionModel::idIsDrawnFromTheSecond()
{
    QString id;
    const time_t second = withinOneSecond([&id] { id = QuestionBase(nullptr).id(); });
    QVERIFY(second != 0);
    QCOMPARE(id, idOfSecond(second));
}

void tst_QuestionModel::idIsOfEightLettersAndDigits()
{
    const QRegularExpression shape("\\A[A-Za-z0-9]{8}\\z");
    QVERIFY(shape.match(QuestionBase(nullptr).id()).hasMatch());
}

void tst_QuestionModel::idCanBeSet()
{
    QuestionBase question(nullptr);
    question.setID("not of eight characters");
    QCOMPARE(question.id(), u"not of eight characters"_s);
}

void tst_QuestionModel::kindIsTheClassesOwn_data()
{
    QTest::addColumn<QuestionBase *>("question");
    QTest::addColumn<QString>("kind");
    const auto row = [this](QuestionBase *question, const char *kind) {
        question->setParent(this);
        QTest::newRow(kind) << question << QString(kind);
    };
    row(new QuestionNumeric(nullptr), "number");
    row(new QuestionText(nullptr), "text");
    row(new QuestionMathFormula(nullptr), "math formula");
    row(new QuestionWordSeed(nullptr), "word-seed");
    row(new QuestionMultiChoice(nullptr), "multiple");
    row(new QuestionYesNo(nullptr), "yes-no-other");
    row(new QuestionSort(nullptr), "sort");
    row(new QuestionScale(nullptr), "scale");
    row(new QuestionCreative(nullptr), "creative");
}

void tst_QuestionModel::kindIsTheClassesOwn()
{
    QFETCH(QuestionBase *, question);
    QFETCH(QString, kind);
    QCOMPARE(question->getType(), kind);
    question->setType("x");
    QCOMPARE(question->getType(), kind);
    QCOMPARE(question->property("type").toString(), kind);
    QVERIFY(question->setProperty("type", "y"));
    QVERIFY(JsonSerializer::serializeToJson(question).contains(
        u"    \"type\": \"%1\"\n}\n"_s.arg(kind)));
}

void tst_QuestionModel::plainQuestionsSendTheStoredKind()
{
    QuestionBase plain(nullptr);
    QCOMPARE(plain.getType(), QString());
    plain.setType("essay");
    QCOMPARE(plain.property("type").toString(), u"essay"_s);
    QuestionBaseWithOptions withOptions(nullptr);
    QCOMPARE(withOptions.getType(), QString());
    withOptions.setType("ranking");
    QCOMPARE(withOptions.getType(), u"ranking"_s);
}

void tst_QuestionModel::yesNoSwitchesItsKind()
{
    QuestionYesNo question(nullptr);
    QCOMPARE(question.trueFalse, false);
    QCOMPARE(question.getType(), u"yes-no-other"_s);
    question.trueFalse = true;
    QCOMPARE(question.getType(), u"true-false"_s);
    question.trueFalse = false;
    QCOMPARE(question.getType(), u"yes-no-other"_s);
}

void tst_QuestionModel::virtualOperationsWorkThroughTheBase()
{
    const std::unique_ptr<QuestionBase> question = std::make_unique<QuestionSort>(nullptr);
    auto *sort = static_cast<QuestionSort *>(question.get());
    sort->addActivityOption("A", "", 0);
    question->inferOrdinalType();
    question->setPriorAnswer("BA");
    QCOMPARE(question->getType(), u"sort"_s);
    QCOMPARE(sort->metadata()->property("ordinalType").toString(), u"alpha-upper"_s);
    QCOMPARE(question->feedBack()->property("optionAnswers").toList().size(), 2);
}

void tst_QuestionModel::optionsAreMapsInInsertionOrder()
{
    QuestionMultiChoice question(nullptr);
    question.addActivityOption("C", "third letter", 2);
    question.addActivityOption("A", QString(), 0);
    question.addActivityOption("", "without an id", -1);
    const QVariantList expected = {optionMap("C", "third letter", 2), optionMap("A", "", 0),
                                   optionMap("", "without an id", -1)};
    QCOMPARE(question.activityOptions(), expected);
    QCOMPARE(question.property("activityOptions").toList(), expected);
    QCOMPARE(question.activityOptions().first().toMap().keys(),
             QStringList({"displaySeqNumber", "id", "math", "optionText"}));
}

void tst_QuestionModel::optionsAreOwnedByTheQuestion()
{
    QuestionSort question(nullptr);
    question.addActivityOption("A", "a", 0);
    question.addActivityOption("B", "b", 1);
    QCOMPARE(question.findChildren<ActivityOption *>(QString(), Qt::FindDirectChildrenOnly).size(),
             2);
}

void tst_QuestionModel::deletedOptionIsLeftOut()
{
    QuestionSort question(nullptr);
    question.addActivityOption("A", "a", 0);
    question.addActivityOption("B", "b", 1);
    delete question.findChild<ActivityOption *>();
    QCOMPARE(question.activityOptions(), QVariantList{optionMap("B", "b", 1)});
    question.setOrdinals(OrdinalType::NUMBER);
    QCOMPARE(question.metadata()->property("options").toList(), QVariantList{0});
    delete question.findChild<ActivityOption *>();
    question.inferOrdinalType();
    QCOMPARE(question.activityOptions(), QVariantList());
}

void tst_QuestionModel::optionPropertiesCanBeChangedAfterwards()
{
    QuestionSort question(nullptr);
    question.addActivityOption("A", "x^2", 0);
    question.findChild<ActivityOption *>()->setmath(true);
    QCOMPARE(question.activityOptions().first().toMap()["math"], QVariant(true));
}

void tst_QuestionModel::manyOptionsKeepTheirOrder()
{
    constexpr int COUNT = 2000;
    QuestionScale question(nullptr);
    for (int i = 0; i < COUNT; ++i)
        question.addActivityOption(QString::number(i), QString(), i);
    const QVariantList options = question.activityOptions();
    QCOMPARE(options.size(), COUNT);
    for (int i = 0; i < COUNT; ++i)
        QCOMPARE(options[i].toMap()["id"].toString(), QString::number(i));
}

void tst_QuestionModel::metadataIsNumberedUpToTheCount_data()
{
    QTest::addColumn<int>("count");
    QTest::addColumn<QVariantList>("options");
    QTest::newRow("negative") << -5 << QVariantList();
    QTest::newRow("none") << 0 << QVariantList();
    QTest::newRow("one") << 1 << QVariantList{0};
    QTest::newRow("three") << 3 << QVariantList{0, 1, 2};
}

void tst_QuestionModel::metadataIsNumberedUpToTheCount()
{
    QFETCH(int, count);
    QFETCH(QVariantList, options);
    QuestionBaseWithOptions question(nullptr);
    question.setMetadata(u"earlier"_s, 9);
    question.setMetadata(u"alpha-upper"_s, count);
    const auto *metadata = qobject_cast<QuestionMetadata *>(question.metadata());
    QCOMPARE(metadata->ordinalType(), u"alpha-upper"_s);
    QCOMPARE(metadata->options(), options);
    for (const QVariant &option : metadata->options())
        QCOMPARE(option.userType(), int(QMetaType::Int));
}

void tst_QuestionModel::backgroundImageIsOneStyleAmongOthers()
{
    Card card(nullptr);
    card.setBackgroundImage("url('x')");
    QCOMPARE(card.styles(),
             (QVariantMap{{"backgroundColor", ""},
                          {"backgroundImage", "url('x')"},
                          {"backgroundSize", "100%"}}));
    QVERIFY(QMetaObject::invokeMethod(&card, "setBackgroundImage", Q_ARG(QString, "y")));
    QCOMPARE(card.styles()["backgroundImage"], QVariant("y"));
}

void tst_QuestionModel::stylesReplaceTheBackgroundImage()
{
    Card card(nullptr);
    card.setBackgroundImage("x");
    card.setstyles({});
    QCOMPARE(card.styles(), QVariantMap());
}

void tst_QuestionModel::backgroundImageIsAddedToNewStyles()
{
    Card card(nullptr);
    card.setstyles({{"border", "1px"}});
    card.setBackgroundImage("x");
    QCOMPARE(card.styles(), (QVariantMap{{"border", "1px"}, {"backgroundImage", "x"}}));
}

void tst_QuestionModel::replacedObjectsStayChildren()
{
    QuestionBaseWithOptions question(nullptr);
    const QPointer<QObject> feedback = question.feedBack();
    const QPointer<QObject> card = question.card();
    const QPointer<QObject> metadata = question.metadata();
    question.setfeedBack(new QuestionFeedback(&question));
    question.setcard(new Card(&question));
    question.setmetadata(new QuestionMetadata(&question));
    for (const auto &replaced : {feedback, card, metadata}) {
        QVERIFY(replaced);
        QCOMPARE(replaced->parent(), &question);
    }
}

void tst_QuestionModel::objectsInPlaceKeepTheirOwner()
{
    QObject owner;
    auto *card = new Card(&owner);
    {
        QuestionBase question(nullptr);
        question.setcard(card);
        QCOMPARE(card->parent(), &owner);
    }
    QCOMPARE(owner.children(), QObjectList{card});
}

void tst_QuestionModel::destroyedObjectsLeaveNull()
{
    QuestionBaseWithOptions question(nullptr);
    delete question.feedBack();
    delete question.card();
    delete question.metadata();
    QCOMPARE(question.feedBack(), nullptr);
    QCOMPARE(question.card(), nullptr);
    QCOMPARE(question.metadata(), nullptr);

    const LogCapture log;
    const QString json = JsonSerializer::serializeToJson(&question);
    for (const char *name : {"card", "feedBack", "metadata"}) {
        QVERIFY(json.contains(u"    \"%1\": null,\n"_s.arg(name)));
        QVERIFY(log.contains(u"[JsonSerializer] ERROR: Failed to map property: %1"_s.arg(name)));
    }
    QCOMPARE(log.messages().size(), 3);
}

void tst_QuestionModel::destroyingAQuestionFreesItsObjects()
{
    QVector<QPointer<QObject>> objects;
    {
        QObject parent;
        auto *question = new QuestionMultiChoice(&parent);
        question->addActivityOption("A", "a", 0);
        question->setcard(new Card(question));
        for (QObject *child : question->findChildren<QObject *>())
            objects << child;
        objects << question;
    }
    QCOMPARE(objects.size(), 6); // feedback, placeholder, metadata, option, card, the question
    for (const QPointer<QObject> &object : objects)
        QVERIFY(!object);
}

void tst_QuestionModel::constructorsTakeAParentAndNothingElse()
{
    QVERIFY((std::is_constructible_v<QuestionSort, QObject *>));
    QVERIFY((!std::is_convertible_v<QObject *, QuestionSort>));
    QVERIFY((!std::is_default_constructible_v<QuestionSort>));
    QVERIFY((!std::is_copy_constructible_v<QuestionSort>));
    QObject parent;
    QCOMPARE((new QuestionSort(&parent))->parent(), &parent);
}

QTEST_GUILESS_MAIN(tst_QuestionModel)
#include "tst_questionmodel.moc"
