// What counts as a computer that has slept, and as a network that has come up.
#include "host/WakeWatch.h"

#include "support/Text.h"

#include <QtNetwork/QHostAddress>
#include <QtTest/QtTest>

#include <memory>

using Tarvo::WakeWatch;

namespace
{

// A computer whose clocks and addresses the test sets.
struct Computer {
    qint64 wallMs = 1700000000000;
    qint64 monotonicMs = 5000;
    QSet<QString> addresses{u"192.0.2.7"_s};
    int addressesAsked = 0;

    WakeWatch::Senses senses()
    {
        return {[this] { return wallMs; }, [this] { return monotonicMs; },
                [this] {
                    ++addressesAsked;
                    return addresses;
                }};
    }

    void pass(qint64 wall, qint64 monotonic)
    {
        wallMs += wall;
        monotonicMs += monotonic;
    }
};

// A watch that is looked through by hand; its own timer has no chance to.
struct Watch {
    explicit Watch(Computer *computer) : watch(nullptr, computer->senses()) { watch.start(); }

    // How often it has spoken in so many looks.
    int looks(int count)
    {
        const int before = changed.count();
        for (int i = 0; i < count; ++i)
            watch.look();
        return changed.count() - before;
    }

    WakeWatch watch;
    QSignalSpy changed{&watch, &WakeWatch::changed};
};

} // namespace

class tst_WakeWatch : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void wallClockThatRunsAheadIsASleep_data();
    void wallClockThatRunsAheadIsASleep();
    void clocksThatDriftApartSlowlyAreNoSleep();
    void clockThatIsSetBackIsForgotten();
    void sleepIsToldOnce();

    void addressesCount_data();
    void addressesCount();
    void addressThatComesBackCounts();
    void addressesAreAskedForAtEveryThirdLook();
    void sleepAndAddressAreToldTogether();

    void startTakesWhatIsThere();
    void looksOnceASecond();
    void stoppedWatchLooksNoMore();
    void watchMayBeDeletedWhenItSpeaks();
    void systemsSensesAreAlive();
};

void tst_WakeWatch::wallClockThatRunsAheadIsASleep_data()
{
    QTest::addColumn<qint64>("wall");
    QTest::addColumn<qint64>("monotonic");
    QTest::addColumn<int>("told");

    QTest::newRow("both run alike") << qint64(1000) << qint64(1000) << 0;
    QTest::newRow("the thread stood still") << qint64(60000) << qint64(60000) << 0;
    QTest::newRow("a little") << qint64(6000) << qint64(1000) << 0;
    QTest::newRow("a little more") << qint64(6001) << qint64(1000) << 1;
    QTest::newRow("slept for an hour") << qint64(3601000) << qint64(1000) << 1;
    QTest::newRow("set back") << qint64(-3600000) << qint64(1000) << 0;
    QTest::newRow("set back a little") << qint64(-6001) << qint64(1000) << 0;
}

void tst_WakeWatch::wallClockThatRunsAheadIsASleep()
{
    QFETCH(qint64, wall);
    QFETCH(qint64, monotonic);
    Computer computer;
    Watch watch(&computer);
    computer.pass(wall, monotonic);
    QTEST(watch.looks(1), "told");
}

void tst_WakeWatch::clocksThatDriftApartSlowlyAreNoSleep()
{
    Computer computer;
    Watch watch(&computer);
    for (int i = 0; i < 10; ++i) {
        computer.pass(3000, 1000);
        QCOMPARE(watch.looks(1), 0);
    }
}

void tst_WakeWatch::clockThatIsSetBackIsForgotten()
{
    Computer computer;
    Watch watch(&computer);
    computer.pass(-3600000, 1000);
    QCOMPARE(watch.looks(1), 0);
    computer.pass(7000, 1000);
    QCOMPARE(watch.looks(1), 1);
}

void tst_WakeWatch::sleepIsToldOnce()
{
    Computer computer;
    Watch watch(&computer);
    computer.pass(60000, 0);
    QCOMPARE(watch.looks(5), 1);
    computer.pass(60000, 0);
    QCOMPARE(watch.looks(5), 1);
}

void tst_WakeWatch::addressesCount_data()
{
    using Addresses = QSet<QString>;
    QTest::addColumn<QSet<QString>>("before");
    QTest::addColumn<QSet<QString>>("now");
    QTest::addColumn<int>("told");

    const QString wired = u"192.0.2.7"_s;
    const QString wireless = u"2001:db8::7"_s;
    QTest::newRow("none") << Addresses{} << Addresses{} << 0;
    QTest::newRow("the same") << Addresses{wired, wireless} << Addresses{wireless, wired} << 0;
    QTest::newRow("first one") << Addresses{} << Addresses{wired} << 1;
    QTest::newRow("another one") << Addresses{wired} << Addresses{wired, wireless} << 1;
    QTest::newRow("one for another") << Addresses{wired} << Addresses{wireless} << 1;
    QTest::newRow("one is lost") << Addresses{wired, wireless} << Addresses{wired} << 0;
    QTest::newRow("all are lost") << Addresses{wired, wireless} << Addresses{} << 0;
}

void tst_WakeWatch::addressesCount()
{
    QFETCH(QSet<QString>, before);
    QFETCH(QSet<QString>, now);
    Computer computer;
    computer.addresses = before;
    Watch watch(&computer);
    computer.addresses = now;
    QTEST(watch.looks(9), "told");
}

void tst_WakeWatch::addressThatComesBackCounts()
{
    Computer computer;
    Watch watch(&computer);
    const QSet<QString> addresses = computer.addresses;
    computer.addresses.clear();
    QCOMPARE(watch.looks(3), 0);
    computer.addresses = addresses;
    QCOMPARE(watch.looks(3), 1);
}

void tst_WakeWatch::addressesAreAskedForAtEveryThirdLook()
{
    Computer computer;
    Watch watch(&computer);
    QCOMPARE(computer.addressesAsked, 1);
    QList<int> asked;
    for (int i = 0; i < 7; ++i) {
        watch.looks(1);
        asked.append(computer.addressesAsked);
    }
    QCOMPARE(asked, (QList<int>{1, 1, 2, 2, 2, 3, 3}));
}

void tst_WakeWatch::sleepAndAddressAreToldTogether()
{
    Computer computer;
    Watch watch(&computer);
    QCOMPARE(watch.looks(2), 0);
    computer.addresses.insert(u"192.0.2.8"_s);
    computer.pass(60000, 0);
    QCOMPARE(watch.looks(1), 1);
    QCOMPARE(watch.looks(6), 0);
}

void tst_WakeWatch::startTakesWhatIsThere()
{
    Computer computer;
    Watch watch(&computer);
    watch.watch.stop();
    computer.pass(60000, 0);
    computer.addresses.insert(u"192.0.2.8"_s);
    watch.watch.start();
    QCOMPARE(watch.looks(6), 0);
}

void tst_WakeWatch::looksOnceASecond()
{
    Computer computer;
    Watch watch(&computer);
    computer.pass(60000, 0);
    QElapsedTimer waited;
    waited.start();
    QVERIFY(watch.changed.wait(3000));
    QVERIFY2(waited.elapsed() >= 900, qPrintable(QString::number(waited.elapsed())));
}

void tst_WakeWatch::stoppedWatchLooksNoMore()
{
    Computer computer;
    Watch stopped(&computer);
    Watch other(&computer);
    stopped.watch.stop();
    computer.pass(60000, 0);
    QVERIFY(other.changed.wait(3000));
    QCOMPARE(stopped.changed.count(), 0);
}

void tst_WakeWatch::watchMayBeDeletedWhenItSpeaks()
{
    Computer computer;
    auto watch = std::make_unique<WakeWatch>(nullptr, computer.senses());
    watch->start();
    connect(watch.get(), &WakeWatch::changed, this, [&] { watch.reset(); });
    computer.pass(60000, 0);
    watch->look();
    QVERIFY(watch == nullptr);
}

void tst_WakeWatch::systemsSensesAreAlive()
{
    const WakeWatch::Senses senses = WakeWatch::system();
    const QDateTime now = QDateTime::currentDateTimeUtc();
    QVERIFY(qAbs(senses.wallMs() - now.toMSecsSinceEpoch()) < 2000);
    const qint64 before = senses.monotonicMs();
    QTRY_VERIFY(senses.monotonicMs() > before);
    QVERIFY(senses.monotonicMs() < before + 10000);
    const QSet<QString> addresses = senses.addresses();
    for (const QString &address : addresses) {
        QVERIFY2(!QHostAddress(address).isNull(), qPrintable(address));
        QVERIFY2(!QHostAddress(address).isLoopback(), qPrintable(address));
        QVERIFY2(!QHostAddress(address).isLinkLocal(), qPrintable(address));
    }
}

QTEST_GUILESS_MAIN(tst_WakeWatch)
#include "tst_wakewatch.moc"
