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
    QCOMPARE(enumeratorsOf(PollType::staticMetaObject), texts({
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
        {PollType::TRUE_FALSE, u"true-false"_s},
        {PollType::YES_NO_OTHER, u"yes-no-other"_s},
        {PollType::MULTIPLE, u"multiple"_s},
        {PollType::SCALE, u"scale"_s},
        {PollType::SORT, u"sort"_s},
        {PollType::TEXT, u"text"_s},
        {PollType::WORD_SEED, u"word-seed"_s},
        {PollType::NUMBER, u"number"_s},
        {PollType::CREATIVE, u"creative"_s},
        {PollType::MATH_FORMULA, u"math formula"_s},
    }));
}

void tst_TypeTableInterface::pollTypeIds()
{
    QCOMPARE(PollType::POLL_TYPE_ID(), (QMap<QString, QString>{
        {u"true-false"_s, u"3c476afbcfce45eda0b44df4737c3d27"_s},
        {u"yes-no-other"_s, u"3c476afbcfce45eda0b44df4737c3d27"_s},
        {u"multiple"_s, u"8755bfc923cb492094df5c842a30da5f"_s},
        {u"scale"_s, u"c80eb89f2c7240fb83d53069bf4c1f2c"_s},
        {u"sort"_s, u"be8a3a7f5d624a798ec54900385a9eb8"_s},
        {u"text"_s, u"6efc81c52cfe4502976de55df9af2f89"_s},
        {u"word-seed"_s, u"cfd9a136d9c44699ae1d7f489f6c513b"_s},
        {u"number"_s, u"24e7bda40c4140f896648511a5782466"_s},
        {u"creative"_s, u"5446bd7896d54c7d84e2aeb75904ddab"_s},
        {u"math formula"_s, u"9f31dd1a55374c49a3127b8f94a1f1a6"_s},
    }));
}

void tst_TypeTableInterface::ordinalTypes()
{
    QCOMPARE(enumeratorsOf(OrdinalType::staticMetaObject), texts({
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
        {OrdinalType::TRUE_FALSE, u"true-false"_s},
        {OrdinalType::YES_NO, u"yes-no"_s},
        {OrdinalType::YES_NO_MAYBE, u"yes-no-maybe"_s},
        {OrdinalType::YES_NO_UNSURE, u"yes-no-unsure"_s},
        {OrdinalType::YES_NO_OTHER, u"yes-no-other"_s},
        {OrdinalType::ALPHA_UPPER, u"alpha-upper"_s},
        {OrdinalType::ALPHA_LOWER, u"alpha-lower"_s},
        {OrdinalType::NUMBER, u"number"_s},
        {OrdinalType::AGREEMENT, u"agreement"_s},
        {OrdinalType::CONFIDENCE, u"confidence"_s},
        {OrdinalType::GENERIC, u"generic"_s},
    }));
}
// clang-format on

QTEST_GUILESS_MAIN(tst_TypeTableInterface)
#include "tst_typetableinterface.moc"
