// The questions with their options and metadata by name. Property names are keys of the JSON.

#include "model/ActivityOption.h"
#include "model/QuestionBase.h"
#include "model/QuestionBaseWithOptions.h"
#include "model/QuestionCreative.h"
#include "model/QuestionMathFormula.h"
#include "model/QuestionMetadata.h"
#include "model/QuestionMultiChoice.h"
#include "model/QuestionNumeric.h"
#include "model/QuestionScale.h"
#include "model/QuestionSort.h"
#include "model/QuestionText.h"
#include "model/QuestionWordSeed.h"
#include "model/QuestionYesNo.h"

#include "interface/Functions.h"
#include "interface/Members.h"
#include "interface/MetaObject.h"

#include <QtTest/QtTest>

#include <cstring>

using namespace Tarvo;

namespace
{

// The last virtual function of QObject.
struct ObjectVirtuals : QObject {
    using QObject::disconnectNotify;
};

// Which entry of the table of virtual functions a call through `function` takes, -1 for a function
// that is not virtual: what a pointer to a member function holds on the platforms that we build for.
template<typename Function> qptrdiff virtualEntry(Function function)
{
    static_assert(sizeof(function) == 2 * sizeof(qptrdiff));
    qptrdiff words[2];
    std::memcpy(words, &function, sizeof words);
#if defined(Q_PROCESSOR_ARM)
    const bool isVirtual = words[1] & 1;
    const qptrdiff offset = words[0];
#else
    const bool isVirtual = words[0] & 1;
    const qptrdiff offset = words[0] - 1;
#endif
    return isVirtual ? offset / qptrdiff(sizeof(void *)) : -1;
}

} // namespace

QVector<Extent> extents(const QuestionBase &question);
QVector<Extent> extents(const ActivityOption &option);
QVector<Extent> extents(const QuestionMetadata &metadata);

// clang-format off
template struct Members<QuestionBase,
    member<QString>(&QuestionBase::m_id),
    member<QString>(&QuestionBase::m_questionSetMode),
    member<int>(&QuestionBase::m_questionNumber),
    member<QString>(&QuestionBase::m_type),
    member<QVariantMap>(&QuestionBase::m_activityType),
    member<QPointer<QObject>>(&QuestionBase::m_feedBack),
    member<QString>(&QuestionBase::m_instructions),
    member<QString>(&QuestionBase::m_passage),
    member<QPointer<QObject>>(&QuestionBase::m_card),
    member<QString>(&QuestionBase::m_hint),
    member<bool>(&QuestionBase::m_math),
    member<bool>(&QuestionBase::m_hasNext),
    member<bool>(&QuestionBase::m_navigable)>;

template struct Members<ActivityOption,
    member<QString>(&ActivityOption::m_id),
    member<QString>(&ActivityOption::m_optionText),
    member<int>(&ActivityOption::m_displaySeqNumber),
    member<bool>(&ActivityOption::m_math)>;

template struct Members<QuestionMetadata,
    member<QString>(&QuestionMetadata::m_ordinalType),
    member<QVariantList>(&QuestionMetadata::m_options)>;

// One member each; what lies in front of it is the base class's.
template struct Members<QuestionBaseWithOptions, member<QPointer<QObject>>(&QuestionBaseWithOptions::m_metadata)>;
template struct Members<QuestionNumeric, member<int>(&QuestionNumeric::m_noOfDecimals)>;
template struct Members<QuestionText, member<int>(&QuestionText::m_maxChars)>;
template struct Members<QuestionMultiChoice, member<int>(&QuestionMultiChoice::m_numberOfCorrectOptions)>;
template struct Members<QuestionYesNo, member<bool>(&QuestionYesNo::trueFalse)>; // hosts set it
// clang-format on

class tst_QuestionInterface : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void questionFunctions();
    void questionMembersFollowEachOther();
    void questionMetaObject();
    void virtualsFollowThoseOfQObject();
    void withOptionsFunctions();
    void withOptionsMetaObject();
    void kindsHaveTheirType();
    void kindsHaveTheirBase();
    void kindsHaveTheirProperties();
    void numericMetaObject();
    void textMetaObject();
    void multiChoiceMetaObject();
    void yesNoMetaObject();
    void yesNoTakesItsFlagDirectly();
    void fiveKindsUseTheMetaObjectOfTheirBase();
    void optionFunctions();
    void optionMembersFollowEachOther();
    void optionMetaObject();
    void metadataFunctions();
    void metadataMembersFollowEachOther();
    void metadataMetaObject();
};

// clang-format off
void tst_QuestionInterface::questionFunctions()
{
    QVERIFY((std::is_base_of_v<QObject, QuestionBase>));
    QVERIFY((std::is_constructible_v<QuestionBase, QObject *>));
    QVERIFY(!std::is_default_constructible_v<QuestionBase>);

    QVERIFY(has<QString (QuestionBase::*)() const>(&QuestionBase::id));
    QVERIFY(has<QString (QuestionBase::*)() const>(&QuestionBase::questionSetMode));
    QVERIFY(has<int (QuestionBase::*)() const>(&QuestionBase::questionNumber));
    QVERIFY(declares<QString (QuestionBase::*)() const>(&QuestionBase::getType));
    QVERIFY(has<QVariantMap (QuestionBase::*)() const>(&QuestionBase::activityType));
    QVERIFY(has<QObject *(QuestionBase::*)() const>(&QuestionBase::feedBack));
    QVERIFY(has<QString (QuestionBase::*)() const>(&QuestionBase::instructions));
    QVERIFY(has<QString (QuestionBase::*)() const>(&QuestionBase::passage));
    QVERIFY(has<QObject *(QuestionBase::*)() const>(&QuestionBase::card));
    QVERIFY(has<QString (QuestionBase::*)() const>(&QuestionBase::hint));
    QVERIFY(has<bool (QuestionBase::*)() const>(&QuestionBase::math));
    QVERIFY(has<bool (QuestionBase::*)() const>(&QuestionBase::hasNext));
    QVERIFY(has<bool (QuestionBase::*)() const>(&QuestionBase::navigable));

    QVERIFY(has<void (QuestionBase::*)(QString)>(&QuestionBase::setID));
    QVERIFY(has<void (QuestionBase::*)(QString)>(&QuestionBase::setquestionSetMode));
    QVERIFY(has<void (QuestionBase::*)(int)>(&QuestionBase::setquestionNumber));
    QVERIFY(has<void (QuestionBase::*)(QString)>(&QuestionBase::setType));
    QVERIFY(has<void (QuestionBase::*)(QVariantMap)>(&QuestionBase::setactivityType));
    QVERIFY(has<void (QuestionBase::*)(QuestionFeedback *)>(&QuestionBase::setfeedBack));
    QVERIFY(has<void (QuestionBase::*)(QObject *)>(&QuestionBase::setfeedBack));
    QVERIFY(has<void (QuestionBase::*)(QString)>(&QuestionBase::setinstructions));
    QVERIFY(has<void (QuestionBase::*)(QString)>(&QuestionBase::setpassage));
    QVERIFY(has<void (QuestionBase::*)(QObject *)>(&QuestionBase::setcard));
    QVERIFY(has<void (QuestionBase::*)(QString)>(&QuestionBase::sethint));
    QVERIFY(has<void (QuestionBase::*)(bool)>(&QuestionBase::setmath));
    QVERIFY(has<void (QuestionBase::*)(bool)>(&QuestionBase::sethasNext));
    QVERIFY(has<void (QuestionBase::*)(bool)>(&QuestionBase::setnavigable));
}

void tst_QuestionInterface::questionMembersFollowEachOther()
{
    const QuestionBase object(nullptr);
    QCOMPARE(outOfPlace(extents(object), sizeof(QObject)), QString());
}

void tst_QuestionInterface::questionMetaObject()
{
    compareMetaObject(QuestionBase::staticMetaObject, "Tarvo::QuestionBase: QObject", {
        "public slot void setID(QString value)",
        "public slot void setquestionSetMode(QString questionSetMode)",
        "public slot void setquestionNumber(int questionNumber)",
        "public slot void setType(QString value)",
        "public slot void setactivityType(QVariantMap activityType)",
        "public slot void setfeedBack(QuestionFeedback* feedback)",
        "public slot void setfeedBack(QObject* feedback)",
        "public slot void setinstructions(QString instructions)",
        "public slot void setpassage(QString passage)",
        "public slot void setcard(QObject* card)",
        "public slot void sethint(QString hint)",
        "public slot void setmath(bool isMath)",
        "public slot void sethasNext(bool hasNext)",
        "public slot void setnavigable(bool navigable)",
    }, {
        "QString id READ WRITE",
        "QString questionSetMode READ WRITE",
        "int questionNumber READ WRITE",
        "QString type READ WRITE",
        "QVariantMap activityType READ WRITE",
        "QObject* feedBack READ WRITE",
        "QString instructions READ WRITE",
        "QString passage READ WRITE",
        "QObject* card READ WRITE",
        "QString hint READ WRITE",
        "bool math READ WRITE",
        "bool hasNext READ WRITE",
        "bool navigable READ WRITE",
    });
}

void tst_QuestionInterface::virtualsFollowThoseOfQObject()
{
    const qptrdiff last = virtualEntry(&ObjectVirtuals::disconnectNotify);
    QVERIFY(last > 0);
    QCOMPARE(virtualEntry(&QuestionBase::getType), last + 1);
    QCOMPARE(virtualEntry(&QuestionBase::inferOrdinalType), last + 2);
    QCOMPARE(virtualEntry(&QuestionBase::setPriorAnswer), last + 3);
    QCOMPARE(virtualEntry(&QuestionBase::configurePriorAnswer), qptrdiff(-1));
}

void tst_QuestionInterface::withOptionsFunctions()
{
    QVERIFY((std::is_base_of_v<QObject, QuestionBaseWithOptions>));
    QVERIFY((std::is_constructible_v<QuestionBaseWithOptions, QObject *>));
    QVERIFY(!std::is_default_constructible_v<QuestionBaseWithOptions>);
    QVERIFY((std::is_base_of_v<QuestionBase, QuestionBaseWithOptions>));

    QVERIFY(has<void (QuestionBaseWithOptions::*)(QString, QString, int)>(&QuestionBaseWithOptions::addActivityOption));
    QVERIFY(has<void (QuestionBaseWithOptions::*)(QString, int)>(&QuestionBaseWithOptions::setMetadata));

    QVERIFY(has<QObject *(QuestionBaseWithOptions::*)() const>(&QuestionBaseWithOptions::metadata));
    QVERIFY(has<QVariantList (QuestionBaseWithOptions::*)() const>(&QuestionBaseWithOptions::activityOptions));

    QVERIFY(has<void (QuestionBaseWithOptions::*)(QObject *)>(&QuestionBaseWithOptions::setmetadata));
    QVERIFY(has<void (QuestionBaseWithOptions::*)(QuestionMetadata *)>(&QuestionBaseWithOptions::setmetadata));
}

void tst_QuestionInterface::withOptionsMetaObject()
{
    compareMetaObject(QuestionBaseWithOptions::staticMetaObject, "Tarvo::QuestionBaseWithOptions: Tarvo::QuestionBase", {
        "public slot void setmetadata(QObject* metadata)",
        "public slot void setmetadata(QuestionMetadata* metadata)",
    }, {
        "QObject* metadata READ WRITE",
        "QVariantList activityOptions READ",
    });
}

void tst_QuestionInterface::kindsHaveTheirType()
{
    QVERIFY(declares<QString (QuestionNumeric::*)() const>(&QuestionNumeric::getType));
    QVERIFY(declares<QString (QuestionText::*)() const>(&QuestionText::getType));
    QVERIFY(declares<QString (QuestionMathFormula::*)() const>(&QuestionMathFormula::getType));
    QVERIFY(declares<QString (QuestionWordSeed::*)() const>(&QuestionWordSeed::getType));
    QVERIFY(declares<QString (QuestionMultiChoice::*)() const>(&QuestionMultiChoice::getType));
    QVERIFY(declares<QString (QuestionYesNo::*)() const>(&QuestionYesNo::getType));
    QVERIFY(declares<QString (QuestionSort::*)() const>(&QuestionSort::getType));
    QVERIFY(declares<QString (QuestionScale::*)() const>(&QuestionScale::getType));
    QVERIFY(declares<QString (QuestionCreative::*)() const>(&QuestionCreative::getType));

    QCOMPARE(QuestionBase(nullptr).getType(), QString());
    QCOMPARE(QuestionBaseWithOptions(nullptr).getType(), QString());
    QCOMPARE(QuestionNumeric(nullptr).getType(), u"number"_s);
    QCOMPARE(QuestionText(nullptr).getType(), u"text"_s);
    QCOMPARE(QuestionMathFormula(nullptr).getType(), u"math formula"_s);
    QCOMPARE(QuestionWordSeed(nullptr).getType(), u"word-seed"_s);
    QCOMPARE(QuestionMultiChoice(nullptr).getType(), u"multiple"_s);
    QCOMPARE(QuestionYesNo(nullptr).getType(), u"yes-no-other"_s);
    QCOMPARE(QuestionSort(nullptr).getType(), u"sort"_s);
    QCOMPARE(QuestionScale(nullptr).getType(), u"scale"_s);
    QCOMPARE(QuestionCreative(nullptr).getType(), u"creative"_s);
}

void tst_QuestionInterface::kindsHaveTheirBase()
{
    QVERIFY((std::is_base_of_v<QuestionBase, QuestionNumeric>));
    QVERIFY((std::is_base_of_v<QuestionBase, QuestionText>));
    QVERIFY((std::is_base_of_v<QuestionBase, QuestionMathFormula>));
    QVERIFY((std::is_base_of_v<QuestionBase, QuestionWordSeed>));
    QVERIFY((std::is_base_of_v<QuestionBaseWithOptions, QuestionMultiChoice>));
    QVERIFY((std::is_base_of_v<QuestionBaseWithOptions, QuestionYesNo>));
    QVERIFY((std::is_base_of_v<QuestionBaseWithOptions, QuestionSort>));
    QVERIFY((std::is_base_of_v<QuestionBaseWithOptions, QuestionScale>));
    QVERIFY((std::is_base_of_v<QuestionBaseWithOptions, QuestionCreative>));
    QVERIFY(!(std::is_base_of_v<QuestionBaseWithOptions, QuestionNumeric>));
    QVERIFY(!(std::is_base_of_v<QuestionBaseWithOptions, QuestionText>));
    QVERIFY(!(std::is_base_of_v<QuestionBaseWithOptions, QuestionMathFormula>));
    QVERIFY(!(std::is_base_of_v<QuestionBaseWithOptions, QuestionWordSeed>));

    QVERIFY((std::is_constructible_v<QuestionNumeric, QObject *>) && !std::is_default_constructible_v<QuestionNumeric>);
    QVERIFY((std::is_constructible_v<QuestionText, QObject *>) && !std::is_default_constructible_v<QuestionText>);
    QVERIFY((std::is_constructible_v<QuestionMathFormula, QObject *>) && !std::is_default_constructible_v<QuestionMathFormula>);
    QVERIFY((std::is_constructible_v<QuestionWordSeed, QObject *>) && !std::is_default_constructible_v<QuestionWordSeed>);
    QVERIFY((std::is_constructible_v<QuestionMultiChoice, QObject *>) && !std::is_default_constructible_v<QuestionMultiChoice>);
    QVERIFY((std::is_constructible_v<QuestionYesNo, QObject *>) && !std::is_default_constructible_v<QuestionYesNo>);
    QVERIFY((std::is_constructible_v<QuestionSort, QObject *>) && !std::is_default_constructible_v<QuestionSort>);
    QVERIFY((std::is_constructible_v<QuestionScale, QObject *>) && !std::is_default_constructible_v<QuestionScale>);
    QVERIFY((std::is_constructible_v<QuestionCreative, QObject *>) && !std::is_default_constructible_v<QuestionCreative>);
}

void tst_QuestionInterface::kindsHaveTheirProperties()
{
    QVERIFY(has<int (QuestionNumeric::*)() const>(&QuestionNumeric::noOfDecimals));
    QVERIFY(has<void (QuestionNumeric::*)(int)>(&QuestionNumeric::setnoOfDecimals));
    QVERIFY(has<int (QuestionText::*)() const>(&QuestionText::maxChars));
    QVERIFY(has<void (QuestionText::*)(int)>(&QuestionText::setmaxChars));
    QVERIFY(has<int (QuestionMultiChoice::*)() const>(&QuestionMultiChoice::numberOfCorrectOptions));
    QVERIFY(has<void (QuestionMultiChoice::*)(int)>(&QuestionMultiChoice::setnumberOfCorrectOptions));
}

void tst_QuestionInterface::numericMetaObject()
{
    compareMetaObject(QuestionNumeric::staticMetaObject, "Tarvo::QuestionNumeric: Tarvo::QuestionBase", {
        "public slot void setnoOfDecimals(int noOfDecimals)",
    }, {
        "int noOfDecimals READ WRITE",
    });
}

void tst_QuestionInterface::textMetaObject()
{
    compareMetaObject(QuestionText::staticMetaObject, "Tarvo::QuestionText: Tarvo::QuestionBase", {
        "public slot void setmaxChars(int maxChars)",
    }, {
        "int maxChars READ WRITE",
    });
}

void tst_QuestionInterface::multiChoiceMetaObject()
{
    compareMetaObject(QuestionMultiChoice::staticMetaObject, "Tarvo::QuestionMultiChoice: Tarvo::QuestionBaseWithOptions", {
        "public slot void setnumberOfCorrectOptions(int numberOfCorrectOptions)",
    }, {
        "int numberOfCorrectOptions READ WRITE",
    });
}

void tst_QuestionInterface::yesNoMetaObject()
{
    compareMetaObject(QuestionYesNo::staticMetaObject, "Tarvo::QuestionYesNo: Tarvo::QuestionBaseWithOptions");
}

void tst_QuestionInterface::yesNoTakesItsFlagDirectly()
{
    QuestionYesNo question(nullptr);
    QCOMPARE(question.trueFalse, false);
    question.trueFalse = true;
    QCOMPARE(question.getType(), u"true-false"_s);
}

void tst_QuestionInterface::fiveKindsUseTheMetaObjectOfTheirBase()
{
    QCOMPARE(&QuestionMathFormula::staticMetaObject, &QuestionBase::staticMetaObject);
    QCOMPARE(&QuestionWordSeed::staticMetaObject, &QuestionBase::staticMetaObject);
    QCOMPARE(&QuestionSort::staticMetaObject, &QuestionBaseWithOptions::staticMetaObject);
    QCOMPARE(&QuestionScale::staticMetaObject, &QuestionBaseWithOptions::staticMetaObject);
    QCOMPARE(&QuestionCreative::staticMetaObject, &QuestionBaseWithOptions::staticMetaObject);
}

void tst_QuestionInterface::optionFunctions()
{
    QVERIFY((std::is_base_of_v<QObject, ActivityOption>));
    QVERIFY((std::is_constructible_v<ActivityOption, QObject *>));
    QVERIFY(!std::is_default_constructible_v<ActivityOption>);

    QVERIFY(has<QString (ActivityOption::*)() const>(&ActivityOption::id));
    QVERIFY(has<QString (ActivityOption::*)() const>(&ActivityOption::optionText));
    QVERIFY(has<int (ActivityOption::*)() const>(&ActivityOption::displaySeqNumber));
    QVERIFY(has<bool (ActivityOption::*)() const>(&ActivityOption::math));

    QVERIFY(has<void (ActivityOption::*)(QString)>(&ActivityOption::setID));
    QVERIFY(has<void (ActivityOption::*)(QString)>(&ActivityOption::setoptionText));
    QVERIFY(has<void (ActivityOption::*)(int)>(&ActivityOption::setdisplaySeqNumber));
    QVERIFY(has<void (ActivityOption::*)(bool)>(&ActivityOption::setmath));
}

void tst_QuestionInterface::optionMembersFollowEachOther()
{
    const ActivityOption object(nullptr);
    QCOMPARE(outOfPlace(extents(object), sizeof(QObject)), QString());
}

void tst_QuestionInterface::optionMetaObject()
{
    compareMetaObject(ActivityOption::staticMetaObject, "Tarvo::ActivityOption: QObject", {
        "public slot void setID(QString value)",
        "public slot void setoptionText(QString optionText)",
        "public slot void setdisplaySeqNumber(int displaySeqNumber)",
        "public slot void setmath(bool isMath)",
    }, {
        "QString id READ WRITE",
        "QString optionText READ WRITE",
        "int displaySeqNumber READ WRITE",
        "bool math READ WRITE",
    });
}

void tst_QuestionInterface::metadataFunctions()
{
    QVERIFY((std::is_base_of_v<QObject, QuestionMetadata>));
    QVERIFY((std::is_constructible_v<QuestionMetadata, QObject *>));
    QVERIFY(!std::is_default_constructible_v<QuestionMetadata>);

    QVERIFY(has<QString (QuestionMetadata::*)() const>(&QuestionMetadata::ordinalType));
    QVERIFY(has<QVariantList (QuestionMetadata::*)() const>(&QuestionMetadata::options));

    QVERIFY(has<void (QuestionMetadata::*)(QString)>(&QuestionMetadata::setordinalType));
    QVERIFY(has<void (QuestionMetadata::*)(QVariantList)>(&QuestionMetadata::setoptions));
}

void tst_QuestionInterface::metadataMembersFollowEachOther()
{
    const QuestionMetadata object(nullptr);
    QCOMPARE(outOfPlace(extents(object), sizeof(QObject)), QString());
}

void tst_QuestionInterface::metadataMetaObject()
{
    compareMetaObject(QuestionMetadata::staticMetaObject, "Tarvo::QuestionMetadata: QObject", {
        "public slot void setordinalType(QString value)",
        "public slot void setoptions(QVariantList options)",
    }, {
        "QString ordinalType READ WRITE",
        "QVariantList options READ WRITE",
    });
}
// clang-format on

QTEST_GUILESS_MAIN(tst_QuestionInterface)
#include "tst_questioninterface.moc"
