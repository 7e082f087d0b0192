#include "support/Wait.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QElapsedTimer>
#include <QtCore/QTimer>
#include <QtTest/QtTest>

#include <ctime>
#include <memory>

using Tarvo::Wait;

namespace
{

bool never()
{
    return false;
}

// What a wait gives while the toolkit delivers no events: main() tries that before and after the
// application that the other tests run in.
struct Outcome {
    bool held = true;
    qint64 elapsedMs = -1;
};

Outcome waited()
{
    QElapsedTimer clock;
    clock.start();
    Outcome outcome;
    outcome.held = Wait().until(never, 10000) || Wait().untilOrQuit(never);
    outcome.elapsedMs = clock.elapsed();
    return outcome;
}

Outcome withoutApplication;
Outcome belowDyingApplication;

class WaitsWhenItDies : public QObject
{
public:
    using QObject::QObject;
    ~WaitsWhenItDies() override { belowDyingApplication = waited(); }
};

} // namespace

class tst_Wait : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void conditionThatHoldsDispatchesNothing();
    void waitsUntilTheConditionHolds();
    void givesUpWhenTheTimeIsUp();
    void sleepsWhileNothingHappens();
    void loopInASlotSleepsOnceTheConditionHolds();
    void timersGoOn();
    void earlierQuitDoesNotEndIt();
    void quitMeanwhileEndsOnlyTheWaitThatAsksForIt_data();
    void quitMeanwhileEndsOnlyTheWaitThatAsksForIt();
    void conditionMayAskWhetherItsObjectExists();
    void returnsAtOnceWithoutEvents();
};

void tst_Wait::conditionThatHoldsDispatchesNothing()
{
    bool dispatched = false;
    QTimer::singleShot(0, this, [&] { dispatched = true; });
    QVERIFY(Wait().until([] { return true; }));
    QVERIFY(Wait().untilOrQuit([] { return true; }));
    QVERIFY(!dispatched);
    QTRY_VERIFY(dispatched);
}

void tst_Wait::waitsUntilTheConditionHolds()
{
    bool held = false;
    QTimer::singleShot(50, this, [&] { held = true; });
    QVERIFY(Wait().until([&] { return held; }));
    held = false;
    QTimer::singleShot(50, this, [&] { held = true; });
    QVERIFY(Wait().untilOrQuit([&] { return held; }));
}

void tst_Wait::givesUpWhenTheTimeIsUp()
{
    QElapsedTimer clock;
    clock.start();
    QVERIFY(!Wait().until(never, 200));
    QVERIFY2(clock.elapsed() >= 200 && clock.elapsed() < 2000,
             qPrintable(QString::number(clock.elapsed())));
}

void tst_Wait::sleepsWhileNothingHappens()
{
    const std::clock_t before = std::clock();
    QVERIFY(!Wait().until(never, 1000));
    const double usedMs = 1000.0 * double(std::clock() - before) / CLOCKS_PER_SEC;
    QVERIFY2(usedMs < 100, qPrintable(QString::number(usedMs)));
}

// A host's dialog, say, which stays open longer than the wait had to last.
void tst_Wait::loopInASlotSleepsOnceTheConditionHolds()
{
    bool held = false;
    double usedMs = -1;
    QTimer::singleShot(0, this, [&] {
        held = true;
        QEventLoop dialog;
        QTimer::singleShot(1000, &dialog, &QEventLoop::quit);
        const std::clock_t before = std::clock();
        dialog.exec();
        usedMs = 1000.0 * double(std::clock() - before) / CLOCKS_PER_SEC;
    });
    QVERIFY(Wait().untilOrQuit([&] { return held; }));
    QVERIFY2(usedMs >= 0 && usedMs < 100, qPrintable(QString::number(usedMs)));
}

void tst_Wait::timersGoOn()
{
    int ticks = 0;
    QTimer timer;
    connect(&timer, &QTimer::timeout, this, [&] { ++ticks; });
    timer.start(10);
    QVERIFY(Wait().until([&] { return ticks == 5; }));
    QVERIFY(Wait().untilOrQuit([&] { return ticks == 10; }));
}

void tst_Wait::earlierQuitDoesNotEndIt()
{
    QCoreApplication::exit(); // quit() does nothing here with Qt 6
    QEventLoop loop;
    QCOMPARE(loop.exec(), -1); // what a wait must not do
    waitsUntilTheConditionHolds();
}

void tst_Wait::quitMeanwhileEndsOnlyTheWaitThatAsksForIt_data()
{
    QTest::addColumn<int>("code");
    QTest::newRow("quit") << 0;
    QTest::newRow("exit with an error") << 1;
    QTest::newRow("exit with the code of a loop that did not run") << -1;
}

void tst_Wait::quitMeanwhileEndsOnlyTheWaitThatAsksForIt()
{
    QFETCH(int, code);
    // Inside exec(), which takes back the word of tests before.
    QTimer::singleShot(0, this, [=] {
        bool held = false;
        QTimer::singleShot(0, this, [=] { QCoreApplication::exit(code); });
        QTimer::singleShot(100, this, [&] { held = true; });
        QVERIFY(!Wait().untilOrQuit([&] { return held; }));
        QVERIFY(!held);
        QVERIFY(Wait().until([&] { return held; }));
    });
    QCOMPARE(QCoreApplication::exec(), code);
}

void tst_Wait::conditionMayAskWhetherItsObjectExists()
{
    const QPointer<QObject> object(new QObject);
    QTimer::singleShot(0, this, [=] { delete object; });
    QVERIFY(Wait().until([&] { return object.isNull(); }, 5000));
}

void tst_Wait::returnsAtOnceWithoutEvents()
{
    for (const Outcome &outcome : {withoutApplication, belowDyingApplication}) {
        QVERIFY(!outcome.held);
        QVERIFY(outcome.elapsedMs >= 0);
        QVERIFY2(outcome.elapsedMs < 500, qPrintable(QString::number(outcome.elapsedMs)));
    }
}

int main(int argc, char *argv[])
{
    withoutApplication = waited();
    {
        QCoreApplication application(argc, argv);
        new WaitsWhenItDies(&application);
    }
    QCoreApplication application(argc, argv);
    tst_Wait test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_wait.moc"
