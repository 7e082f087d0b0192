// PresenterAssessment by name.

#include "collab/PresenterAssessment.h"

#include "collab/PresenterCollab.h"
#include "interface/Functions.h"
#include "interface/Members.h"
#include "interface/MetaObject.h"

#include <QtTest/QtTest>

using Assessment = PresenterAssessment;

QVector<Extent> extents(const Assessment &assessment);

// clang-format off
template struct Members<Assessment,
    member<PresenterCollab *>(&Assessment::collab),
    member<QString>(&Assessment::assessmentToken)>;
// clang-format on

class tst_AssessmentInterface : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void functions();
    void membersFollowEachOther();
    void metaObject();
};

// clang-format off
void tst_AssessmentInterface::functions()
{
    QVERIFY((std::is_base_of_v<QObject, Assessment>));
    QVERIFY((std::is_constructible_v<Assessment, QObject *, PresenterCollab *>));

    QVERIFY(has<void (Assessment::*)(QString, Tarvo::AssessmentOptions *)>(&Assessment::start));
    QVERIFY(has<void (Assessment::*)()>(&Assessment::stop));
    QVERIFY(has<void (Assessment::*)(QString, Tarvo::QuestionBase *)>(&Assessment::sendQuestion));
    QVERIFY(has<void (Assessment::*)()>(&Assessment::pause));
    QVERIFY(has<void (Assessment::*)()>(&Assessment::resume));
    QVERIFY(has<void (Assessment::*)(QString, QString, bool, bool)>(&Assessment::sendMessage));
    QVERIFY(has<void (Assessment::*)(QString, bool, bool)>(&Assessment::sendMessage));
    QVERIFY(has<void (Assessment::*)(QString, int)>(&Assessment::learnerGetQuestion));

    QVERIFY(has<QString (Assessment::*)() const>(&Assessment::getAssessmentToken));
}

void tst_AssessmentInterface::membersFollowEachOther()
{
    const Assessment assessment(nullptr, nullptr);
    QCOMPARE(outOfPlace(extents(assessment), sizeof(QObject)), QString());
}

void tst_AssessmentInterface::metaObject()
{
    compareMetaObject(Assessment::staticMetaObject, "PresenterAssessment: QObject", {
        "public signal void learnerGetQuestion(QString id, int questionId)",
    });
}
// clang-format on

QTEST_GUILESS_MAIN(tst_AssessmentInterface)
#include "tst_assessmentinterface.moc"
