#include "Roster.h"

#include <QtTest/QtTest>

using namespace Host;

class tst_Roster : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void learnersStandInTheOrderOfJoining();
    void aDeviceJoinsOnceAndMayChangeItsName();
    void whoLeavesIsNamed();
    void aLearnerIsFoundByDeviceNameOrNumber_data();
    void aLearnerIsFoundByDeviceNameOrNumber();
    void aDeviceWithoutNameIsCalledByItsId();
};

namespace
{

Roster threeLearners()
{
    Roster roster;
    roster.add({"d-a", "Ada", "tablet"});
    roster.add({"d-b", "Bo", "phone"});
    roster.add({"d-c", "Bo", "laptop"});
    return roster;
}

} // namespace

void tst_Roster::learnersStandInTheOrderOfJoining()
{
    const Roster roster = threeLearners();
    QCOMPARE(roster.count(), 3);
    QCOMPARE(roster.learners().at(0).deviceId, QString("d-a"));
    QCOMPARE(roster.learners().at(2).deviceType, QString("laptop"));
}

void tst_Roster::aDeviceJoinsOnceAndMayChangeItsName()
{
    Roster roster = threeLearners();
    QVERIFY(!roster.add({"d-a", "Ada L.", "desktop"}));
    QCOMPARE(roster.count(), 3);
    QCOMPARE(roster.learners().at(0).userName, QString("Ada L."));
    QCOMPARE(roster.learners().at(0).deviceType, QString("desktop"));
}

void tst_Roster::whoLeavesIsNamed()
{
    Roster roster = threeLearners();
    QCOMPARE(roster.remove("d-b")->deviceType, QString("phone"));
    QCOMPARE(roster.count(), 2);
    QVERIFY(!roster.remove("d-b"));
}

void tst_Roster::aLearnerIsFoundByDeviceNameOrNumber_data()
{
    QTest::addColumn<QString>("word");
    QTest::addColumn<QString>("device");
    QTest::newRow("device") << "d-b"
                            << "d-b";
    QTest::newRow("name") << "Ada"
                          << "d-a";
    QTest::newRow("name of two") << "Bo"
                                 << "";
    QTest::newRow("first") << "1"
                           << "d-a";
    QTest::newRow("last") << "3"
                          << "d-c";
    QTest::newRow("behind the last") << "4"
                                     << "";
    QTest::newRow("zero") << "0"
                          << "";
    QTest::newRow("unknown") << "Eve"
                             << "";
    QTest::newRow("empty") << ""
                           << "";
}

void tst_Roster::aLearnerIsFoundByDeviceNameOrNumber()
{
    QFETCH(QString, word);
    const auto found = threeLearners().find(word);
    QTEST(found ? found->deviceId : QString(""), "device");
}

void tst_Roster::aDeviceWithoutNameIsCalledByItsId()
{
    Roster roster = threeLearners();
    roster.add({"d-x", "", "phone"});
    QCOMPARE(roster.nameOf("d-x"), QString("d-x"));
    QCOMPARE(roster.nameOf("d-a"), QString("Ada"));
    QCOMPARE(roster.nameOf("gone"), QString("gone"));
}

QTEST_GUILESS_MAIN(tst_Roster)
#include "tst_roster.moc"
