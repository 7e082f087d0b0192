#include "lesson/Roster.h"
#include "support/Text.h"

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
    roster.add({u"d-a"_s, u"Ada"_s, u"tablet"_s});
    roster.add({u"d-b"_s, u"Bo"_s, u"phone"_s});
    roster.add({u"d-c"_s, u"Bo"_s, u"laptop"_s});
    return roster;
}

} // namespace

void tst_Roster::learnersStandInTheOrderOfJoining()
{
    const Roster roster = threeLearners();
    QCOMPARE(roster.count(), 3);
    QCOMPARE(roster.learners().at(0).deviceId, u"d-a"_s);
    QCOMPARE(roster.learners().at(2).deviceType, u"laptop"_s);
}

void tst_Roster::aDeviceJoinsOnceAndMayChangeItsName()
{
    Roster roster = threeLearners();
    QVERIFY(!roster.add({u"d-a"_s, u"Ada L."_s, u"desktop"_s}));
    QCOMPARE(roster.count(), 3);
    QCOMPARE(roster.learners().at(0).userName, u"Ada L."_s);
    QCOMPARE(roster.learners().at(0).deviceType, u"desktop"_s);
}

void tst_Roster::whoLeavesIsNamed()
{
    Roster roster = threeLearners();
    QCOMPARE(roster.remove(u"d-b"_s)->deviceType, u"phone"_s);
    QCOMPARE(roster.count(), 2);
    QVERIFY(!roster.remove(u"d-b"_s));
}

void tst_Roster::aLearnerIsFoundByDeviceNameOrNumber_data()
{
    QTest::addColumn<QString>("word");
    QTest::addColumn<QString>("device");
    QTest::newRow("device") << u"d-b"_s << u"d-b"_s;
    QTest::newRow("name") << u"Ada"_s << u"d-a"_s;
    QTest::newRow("name of two") << u"Bo"_s << u""_s;
    QTest::newRow("first") << u"1"_s << u"d-a"_s;
    QTest::newRow("last") << u"3"_s << u"d-c"_s;
    QTest::newRow("behind the last") << u"4"_s << u""_s;
    QTest::newRow("zero") << u"0"_s << u""_s;
    QTest::newRow("unknown") << u"Eve"_s << u""_s;
    QTest::newRow("empty") << u""_s << u""_s;
}

void tst_Roster::aLearnerIsFoundByDeviceNameOrNumber()
{
    QFETCH(QString, word);
    const auto found = threeLearners().find(word);
    QTEST(found ? found->deviceId : u""_s, "device");
}

void tst_Roster::aDeviceWithoutNameIsCalledByItsId()
{
    Roster roster = threeLearners();
    roster.add({u"d-x"_s, u""_s, u"phone"_s});
    QCOMPARE(roster.nameOf(u"d-x"_s), u"d-x"_s);
    QCOMPARE(roster.nameOf(u"d-a"_s), u"Ada"_s);
    QCOMPARE(roster.nameOf(u"gone"_s), u"gone"_s);
}

QTEST_GUILESS_MAIN(tst_Roster)
#include "tst_roster.moc"
