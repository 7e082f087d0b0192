#include "support/LocalEncoding.h"
#include "support/Toolkit.h"

#include <QtTest/QtTest>

// What the two versions of the toolkit have in common only through the library.
class tst_Toolkit : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void seededNumbersAreThoseOfEveryVersion_data();
    void seededNumbersAreThoseOfEveryVersion();
    void localEncodingIsToldFromUtf8();
};

void tst_Toolkit::seededNumbersAreThoseOfEveryVersion_data()
{
    QTest::addColumn<uint>("seed");
    QTest::addColumn<QVector<uint>>("numbers");
    QTest::newRow("0") << 0U << QVector<uint>{48271, 182605794, 1291394886, 1914720637};
    QTest::newRow("1") << 1U << QVector<uint>{48271, 182605794, 1291394886, 1914720637};
    QTest::newRow("a second of 2026")
        << 1795418874U << QVector<uint>{666924875, 203288948, 1108025765, 283990133};
    QTest::newRow("the generator's modulus")
        << 2147483647U << QVector<uint>{48271, 182605794, 1291394886, 1914720637};
    QTest::newRow("beyond it") << 4294967295U
                               << QVector<uint>{48271, 182605794, 1291394886, 1914720637};
}

void tst_Toolkit::seededNumbersAreThoseOfEveryVersion()
{
    QFETCH(uint, seed);
    QFETCH(QVector<uint>, numbers);
    Tarvo::SeededNumbers generator(seed);
    QVector<uint> drawn;
    for (int i = 0; i < numbers.size(); ++i)
        drawn.append(generator.next());
    QCOMPARE(drawn, numbers);
}

void tst_Toolkit::localEncodingIsToldFromUtf8()
{
    QVERIFY(Tarvo::isLocalEncodingUtf8());
    const LocalEncoding latin1("ISO 8859-1");
    QCOMPARE(Tarvo::isLocalEncodingUtf8(), !LocalEncoding::canChange());
}

QTEST_GUILESS_MAIN(tst_Toolkit)
#include "tst_toolkit.moc"
