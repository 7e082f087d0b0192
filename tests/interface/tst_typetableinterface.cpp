// PollType and OrdinalType by name.

#include "model/OrdinalType.h"
#include "model/PollType.h"

#include "interface/Functions.h"
#include "interface/MetaObject.h"

#include <QtTest/QtTest>

using Tarvo::OrdinalType;
using Tarvo::PollType;

class tst_TypeTableInterface : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void functions();
    void pollTypes();
    void pollTypeNames();
    void pollTypeIds();
    void ordinalTypes();
    void ordinalTypeNames();
};

// clang-format off
void tst_TypeTableInterface::functions()
{
    QVERIFY(std::is_enum_v<PollType::POLL_TYPE>);
    QVERIFY(std::is_enum_v<OrdinalType::ORDINAL_TYPE>);

    QVERIFY((has<QMap<PollType::POLL_TYPE, QString> (*)()>(&PollType::POLL_TYPE_STR)));
    QVERIFY((has<QMap<QString, QString> (*)()>(&PollType::POLL_TYPE_ID)));
    QVERIFY((has<QMap<OrdinalType::ORDINAL_TYPE, QString> (*)()>(&OrdinalType::ORDINAL_TYPE_STR)));
}

void tst_TypeTableInterface::pollTypes()
{
    QCOMPARE(enumeratorsOf(PollType::staticMetaObject), QStringList({
        "POLL_TYPE TRUE_FALSE 0",
        "POLL_TYPE YES_NO_OTHER 1",
        "POLL_TYPE MULTIPLE 2",
        "POLL_TYPE SCALE 3",
        "POLL_TYPE SORT 4",
        "POLL_TYPE TEXT 5",
        "POLL_TYPE WORD_SEED 6",
        "POLL_TYPE NUMBER 7",
        "POLL_TYPE CREATIVE 8",
        "POLL_TYPE MATH_FORMULA 9",
    }));
}

void tst_TypeTableInterface::pollTypeNames()
{
    QCOMPARE(PollType::POLL_TYPE_STR(), (QMap<PollType::POLL_TYPE, QString>{
        {PollType::TRUE_FALSE, "true-false"},
        {PollType::YES_NO_OTHER, "yes-no-other"},
        {PollType::MULTIPLE, "multiple"},
        {PollType::SCALE, "scale"},
        {PollType::SORT, "sort"},
        {PollType::TEXT, "text"},
        {PollType::WORD_SEED, "word-seed"},
        {PollType::NUMBER, "number"},
        {PollType::CREATIVE, "creative"},
        {PollType::MATH_FORMULA, "math formula"},
    }));
}

void tst_TypeTableInterface::pollTypeIds()
{
    QCOMPARE(PollType::POLL_TYPE_ID(), (QMap<QString, QString>{
        {"true-false", "3c476afbcfce45eda0b44df4737c3d27"},
        {"yes-no-other", "3c476afbcfce45eda0b44df4737c3d27"},
        {"multiple", "8755bfc923cb492094df5c842a30da5f"},
        {"scale", "c80eb89f2c7240fb83d53069bf4c1f2c"},
        {"sort", "be8a3a7f5d624a798ec54900385a9eb8"},
        {"text", "6efc81c52cfe4502976de55df9af2f89"},
        {"word-seed", "cfd9a136d9c44699ae1d7f489f6c513b"},
        {"number", "24e7bda40c4140f896648511a5782466"},
        {"creative", "5446bd7896d54c7d84e2aeb75904ddab"},
        {"math formula", "9f31dd1a55374c49a3127b8f94a1f1a6"},
    }));
}

void tst_TypeTableInterface::ordinalTypes()
{
    QCOMPARE(enumeratorsOf(OrdinalType::staticMetaObject), QStringList({
        "ORDINAL_TYPE TRUE_FALSE 0",
        "ORDINAL_TYPE YES_NO 1",
        "ORDINAL_TYPE YES_NO_MAYBE 2",
        "ORDINAL_TYPE YES_NO_UNSURE 3",
        "ORDINAL_TYPE YES_NO_OTHER 4",
        "ORDINAL_TYPE ALPHA_UPPER 5",
        "ORDINAL_TYPE ALPHA_LOWER 6",
        "ORDINAL_TYPE NUMBER 7",
        "ORDINAL_TYPE AGREEMENT 8",
        "ORDINAL_TYPE CONFIDENCE 9",
        "ORDINAL_TYPE GENERIC 10",
    }));
}

void tst_TypeTableInterface::ordinalTypeNames()
{
    QCOMPARE(OrdinalType::ORDINAL_TYPE_STR(), (QMap<OrdinalType::ORDINAL_TYPE, QString>{
        {OrdinalType::TRUE_FALSE, "true-false"},
        {OrdinalType::YES_NO, "yes-no"},
        {OrdinalType::YES_NO_MAYBE, "yes-no-maybe"},
        {OrdinalType::YES_NO_UNSURE, "yes-no-unsure"},
        {OrdinalType::YES_NO_OTHER, "yes-no-other"},
        {OrdinalType::ALPHA_UPPER, "alpha-upper"},
        {OrdinalType::ALPHA_LOWER, "alpha-lower"},
        {OrdinalType::NUMBER, "number"},
        {OrdinalType::AGREEMENT, "agreement"},
        {OrdinalType::CONFIDENCE, "confidence"},
        {OrdinalType::GENERIC, "generic"},
    }));
}
// clang-format on

QTEST_GUILESS_MAIN(tst_TypeTableInterface)
#include "tst_typetableinterface.moc"
