// Prior answers and ordinals of the questions by name.

#include "model/QuestionBase.h"
#include "model/QuestionBaseWithOptions.h"
#include "model/QuestionCreative.h"
#include "model/QuestionMultiChoice.h"
#include "model/QuestionScale.h"
#include "model/QuestionSort.h"
#include "model/QuestionYesNo.h"

#include "interface/Functions.h"

#include <QtTest/QtTest>

using namespace Tarvo;

class tst_PriorAndOrdinalInterface : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void functions();
    void priorAnswersAreReadByFourClasses();
    void ordinalsAreInferredByTwoClasses();
};

// clang-format off
void tst_PriorAndOrdinalInterface::functions()
{
    QVERIFY(has<void (QuestionBase::*)()>(&QuestionBase::configurePriorAnswer));
    QVERIFY(has<void (QuestionBaseWithOptions::*)(OrdinalType::ORDINAL_TYPE, int)>(&QuestionBaseWithOptions::setMetadata));
    QVERIFY(has<void (QuestionBaseWithOptions::*)(OrdinalType::ORDINAL_TYPE)>(&QuestionBaseWithOptions::setOrdinals));
}

void tst_PriorAndOrdinalInterface::priorAnswersAreReadByFourClasses()
{
    QVERIFY(declares<void (QuestionBase::*)(QString)>(&QuestionBase::setPriorAnswer));
    QVERIFY(declares<void (QuestionBaseWithOptions::*)(QString)>(&QuestionBaseWithOptions::setPriorAnswer));
    QVERIFY(declares<void (QuestionMultiChoice::*)(QString)>(&QuestionMultiChoice::setPriorAnswer));
    QVERIFY(declares<void (QuestionSort::*)(QString)>(&QuestionSort::setPriorAnswer));

    // the others take the one of QuestionBaseWithOptions
    QVERIFY(declares<void (QuestionBaseWithOptions::*)(QString)>(&QuestionYesNo::setPriorAnswer));
    QVERIFY(declares<void (QuestionBaseWithOptions::*)(QString)>(&QuestionScale::setPriorAnswer));
    QVERIFY(declares<void (QuestionBaseWithOptions::*)(QString)>(&QuestionCreative::setPriorAnswer));
}

void tst_PriorAndOrdinalInterface::ordinalsAreInferredByTwoClasses()
{
    QVERIFY(declares<void (QuestionBase::*)()>(&QuestionBase::inferOrdinalType));
    QVERIFY(declares<void (QuestionBaseWithOptions::*)()>(&QuestionBaseWithOptions::inferOrdinalType));
}
// clang-format on

QTEST_GUILESS_MAIN(tst_PriorAndOrdinalInterface)
#include "tst_priorandordinalinterface.moc"
