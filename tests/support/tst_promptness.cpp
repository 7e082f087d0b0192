#include "Promptness.h"
#include "Text.h"

#include <QtTest/QtTest>

class tst_Promptness : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void oneMeasurementWithinTheLimitsIsEnough_data();
    void oneMeasurementWithinTheLimitsIsEnough();
    void excessesAreTold();
    void otherUnitIsTold();
    void slowBuildHasLonger();
};

namespace
{

using Times = QList<qint64>; // of one measurement, each with a limit of 100

int measure(Promptness &promptness, const QList<Times> &measurements)
{
    int count = 0;
    while (promptness.isOpen()) {
        for (const qint64 time : measurements.value(count))
            promptness.take(time, 100);
        ++count;
    }
    return count;
}

} // namespace

void tst_Promptness::oneMeasurementWithinTheLimitsIsEnough_data()
{
    QTest::addColumn<QList<Times>>("measurements");
    QTest::addColumn<int>("count");
    QTest::addColumn<bool>("isKept");
    QTest::newRow("the first") << QList<Times>{{100, 99}} << 1 << true;
    QTest::newRow("the second") << QList<Times>{{1, 101}, {100}} << 2 << true;
    QTest::newRow("the third") << QList<Times>{{101}, {101}, {100}} << 3 << true;
    QTest::newRow("none") << QList<Times>{{101}, {101}, {101}} << 3 << false;
    QTest::newRow("each time another") << QList<Times>{{1, 101}, {101, 1}, {1, 101}} << 3 << false;
}

void tst_Promptness::oneMeasurementWithinTheLimitsIsEnough()
{
    QFETCH(QList<Times>, measurements);
    QFETCH(int, count);
    QFETCH(bool, isKept);
    Promptness promptness(1);
    QCOMPARE(measure(promptness, measurements), count);
    QCOMPARE(promptness.isKept(), isKept);
}

void tst_Promptness::excessesAreTold()
{
    Promptness promptness(1);
    measure(promptness, {{101}, {300, 2, 400}, {1000}});
    QCOMPARE(promptness.excesses(),
             u"101 ms instead of 100, 300 ms instead of 100, 400 ms instead of 100, "
             "1000 ms instead of 100"_s);
}

void tst_Promptness::otherUnitIsTold()
{
    Promptness promptness(1);
    while (promptness.isOpen())
        promptness.take(6, 5, u"us"_s);
    QCOMPARE(promptness.excesses(), u"6 us instead of 5, 6 us instead of 5, 6 us instead of 5"_s);
}

void tst_Promptness::slowBuildHasLonger()
{
    Promptness promptness(10);
    measure(promptness, {{1001}, {1002}, {1003}});
    QCOMPARE(promptness.excesses(),
             u"1001 ms instead of 1000, 1002 ms instead of 1000, 1003 ms instead of 1000"_s);
    Promptness kept(10);
    QCOMPARE(measure(kept, {{1000}}), 1);
    QVERIFY(kept.isKept());
}

QTEST_GUILESS_MAIN(tst_Promptness)
#include "tst_promptness.moc"
