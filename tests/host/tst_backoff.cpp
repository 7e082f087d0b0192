// The pauses between attempts to come back.
#include "host/Backoff.h"

#include "support/Text.h"

#include <QtTest/QtTest>

using Tarvo::Backoff;

namespace
{

// The next pauses of a row.
QString pauses(Backoff &backoff, int count)
{
    QStringList row;
    for (int i = 0; i < count; ++i)
        row.append(QString::number(backoff.next()));
    return row.join(u' ');
}

Backoff backoffOf(double random)
{
    return Backoff([random] { return random; });
}

} // namespace

class tst_Backoff : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void pausesGrowUpToTheLongest_data();
    void pausesGrowUpToTheLongest();
    void longestPauseCanBeSet_data();
    void longestPauseCanBeSet();
    void longestPauseMayBeLongerThanByDefault();
    void longestPauseCountsFromTheNextPauseOn();
    void rowBeginsAnew();
    void manyPausesStayTheLongest();
    void everyPauseHasItsOwnRandomNumber();
    void systemsPausesDiffer();
    void systemsPausesAreInTheirBounds();
};

void tst_Backoff::pausesGrowUpToTheLongest_data()
{
    QTest::addColumn<double>("random");
    QTest::addColumn<QString>("expected");
    const auto row = [](const char *name, double random, const QString &expected) {
        QTest::newRow(name) << random << expected;
    };

    row("least", 0, u"0 500 1000 2000 4000 8000 15000 15000 15000 15000 15000 15000"_s);
    row("half", 0.5, u"500 1000 2000 4000 8000 16000 30000 30000 30000 30000 30000 30000"_s);
    row("most", 1, u"999 1500 3000 6000 12000 24000 45000 45000 45000 45000 45000 45000"_s);
}

void tst_Backoff::pausesGrowUpToTheLongest()
{
    QFETCH(double, random);
    Backoff backoff = backoffOf(random);
    QTEST(pauses(backoff, 12), "expected");
}

void tst_Backoff::longestPauseCanBeSet_data()
{
    QTest::addColumn<int>("longest");
    QTest::addColumn<double>("random");
    QTest::addColumn<QString>("expected");

    QTest::newRow("a second, least") << 1000 << 0.0 << u"0 500 500 500 500"_s;
    QTest::newRow("a second, half") << 1000 << 0.5 << u"500 1000 1000 1000 1000"_s;
    QTest::newRow("a second, most") << 1000 << 1.0 << u"999 1500 1500 1500 1500"_s;
    QTest::newRow("shorter than the first") << 100 << 0.5 << u"50 100 100 100 100"_s;
    QTest::newRow("no power of two") << 5000 << 0.5 << u"500 1000 2000 4000 5000"_s;
    QTest::newRow("none") << 0 << 1.0 << u"0 0 0 0 0"_s;
    QTest::newRow("negative") << -1 << 1.0 << u"0 0 0 0 0"_s;
}

void tst_Backoff::longestPauseCanBeSet()
{
    QFETCH(int, longest);
    QFETCH(double, random);
    Backoff backoff = backoffOf(random);
    backoff.setLongest(longest);
    QTEST(pauses(backoff, 5), "expected");
}

void tst_Backoff::longestPauseMayBeLongerThanByDefault()
{
    Backoff backoff = backoffOf(0.5);
    backoff.setLongest(100000);
    QCOMPARE(pauses(backoff, 10), u"500 1000 2000 4000 8000 16000 32000 64000 100000 100000"_s);
}

void tst_Backoff::longestPauseCountsFromTheNextPauseOn()
{
    Backoff backoff = backoffOf(0.5);
    QCOMPARE(pauses(backoff, 4), u"500 1000 2000 4000"_s);
    backoff.setLongest(1000);
    QCOMPARE(pauses(backoff, 2), u"1000 1000"_s);
}

void tst_Backoff::rowBeginsAnew()
{
    Backoff backoff = backoffOf(0.5);
    QCOMPARE(pauses(backoff, 3), u"500 1000 2000"_s);
    backoff.reset();
    QCOMPARE(pauses(backoff, 3), u"500 1000 2000"_s);
}

void tst_Backoff::manyPausesStayTheLongest()
{
    Backoff backoff = backoffOf(1.0);
    pauses(backoff, 200);
    QCOMPARE(backoff.next(), 45000);
    backoff.setLongest(2147483647);
    QCOMPARE(backoff.next(), 2147483647);
}

void tst_Backoff::everyPauseHasItsOwnRandomNumber()
{
    double random = 0;
    Backoff backoff([&random] { return random += 0.25; });
    QCOMPARE(pauses(backoff, 4), u"250 1000 2500 6000"_s);
}

void tst_Backoff::systemsPausesDiffer()
{
    Backoff one;
    Backoff other;
    QVERIFY(pauses(one, 12) != pauses(other, 12));
}

void tst_Backoff::systemsPausesAreInTheirBounds()
{
    Backoff backoff;
    for (int i = 0; i < 1000; ++i) {
        backoff.reset();
        const int first = backoff.next();
        const int second = backoff.next();
        QVERIFY2(first >= 0 && first < 1000, qPrintable(QString::number(first)));
        QVERIFY2(second >= 500 && second <= 1500, qPrintable(QString::number(second)));
    }
}

QTEST_GUILESS_MAIN(tst_Backoff)
#include "tst_backoff.moc"
