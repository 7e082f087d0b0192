// When and where the continuations of an operation are called, and what becomes of them otherwise.
#include "host/OperationTable.h"

#include "support/Text.h"

#include <QtTest/QtTest>

#include <memory>
#include <optional>

using Tarvo::Action;
using Tarvo::Failure;
using Tarvo::Operation;
using Tarvo::OperationTable;

namespace
{

const Failure REFUSED(Action::SignIn, Failure::SignInRefused, u"login.error.wrongCredentials"_s);

// Also those that the called ones queue.
void runQueuedCalls()
{
    QCoreApplication::sendPostedEvents();
    QCoreApplication::sendPostedEvents();
}

} // namespace

class tst_Operation : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void noOperationIsNeverFinished();
    void idsCountFromOne();
    void endsOnce();
    void unknownIdsArePassedOver();
    void goodEndCallsDone();
    void badEndCallsFailed();
    void missingContinuationsAreNotCalled();
    void continuationsAreCalledInTheirOrder();
    void nothingIsCalledFromWithinACall();
    void addedAfterTheEndIsCalledOnce();
    void copiesAreTheSameOperation();

    void withoutContextNothingIsCalled();
    void contextThatGoesBeforeTheEndIsNotCalled();
    void contextThatGoesAfterTheEndIsNotCalled();
    void othersAreCalledWhenAContextGoes();
    void noContextIsKeptAlive();

    void abandonedContinuationsAreNotCalled();
    void abandonedContinuationsAreNotCalledAfterTheEnd();
    void addedAfterAbandoningIsCalled();
    void continuationMayAbandonTheOthers();

    void endOfTheTableAbandonsWhatRuns();
    void continuationMayEndTheTable();
    void continuationMayAddFurtherOnes();
    void continuationMayDeleteItsContext();
    void continuationMayDropTheLastCopy();

    void continuationsAreReleasedAfterTheCall();
    void continuationsThatHoldTheirOperationAreReleased_data();
    void continuationsThatHoldTheirOperationAreReleased();

private:
    Operation::Done note(const QString &word);
    Operation::Failed noteReason();

    QStringList m_heard;
};

void tst_Operation::init()
{
    m_heard.clear();
}

Operation::Done tst_Operation::note(const QString &word)
{
    return [this, word] { m_heard.append(word); };
}

Operation::Failed tst_Operation::noteReason()
{
    return [this](const Failure &failure) { m_heard.append(failure.message()); };
}

void tst_Operation::noOperationIsNeverFinished()
{
    const Operation none;
    none.then(this, note(u"done"_s), noteReason());
    none.abandon();
    runQueuedCalls();
    QCOMPARE(none.id(), 0);
    QVERIFY(!none.isFinished());
    QVERIFY(!none.failure());
    QCOMPARE(m_heard, QStringList());
}

void tst_Operation::idsCountFromOne()
{
    OperationTable table;
    QCOMPARE(table.begin().id(), 1);
    table.finish(1, Failure());
    QCOMPARE(table.begin().id(), 2);
    QCOMPARE(table.begin().id(), 3);
}

void tst_Operation::endsOnce()
{
    OperationTable table;
    const Operation operation = table.begin();
    operation.then(this, note(u"done"_s), noteReason());
    QVERIFY(!operation.isFinished());
    QVERIFY(table.finish(operation.id(), Failure()));
    QVERIFY(operation.isFinished());
    QVERIFY(!table.finish(operation.id(), REFUSED));
    runQueuedCalls();
    QVERIFY(!operation.failure());
    QCOMPARE(m_heard, QStringList{u"done"_s});
}

void tst_Operation::unknownIdsArePassedOver()
{
    OperationTable table;
    const Operation operation = table.begin();
    for (const int id : {-1, 0, 2})
        QVERIFY(!table.finish(id, REFUSED));
    QVERIFY(!operation.isFinished());
}

void tst_Operation::goodEndCallsDone()
{
    OperationTable table;
    const Operation operation = table.begin();
    operation.then(this, note(u"done"_s), noteReason());
    table.finish(operation.id(), Failure());
    runQueuedCalls();
    QCOMPARE(m_heard, QStringList{u"done"_s});
}

void tst_Operation::badEndCallsFailed()
{
    OperationTable table;
    const Operation operation = table.begin();
    Failure heard;
    operation.then(this, note(u"done"_s), [&](const Failure &failure) { heard = failure; });
    table.finish(operation.id(), REFUSED);
    runQueuedCalls();
    QCOMPARE(m_heard, QStringList());
    for (const Failure &failure : {heard, operation.failure()}) {
        QCOMPARE(failure.action(), Action::SignIn);
        QCOMPARE(failure.reason(), Failure::SignInRefused);
        QCOMPARE(failure.key(), u"login.error.wrongCredentials"_s);
    }
}

void tst_Operation::missingContinuationsAreNotCalled()
{
    OperationTable table;
    const Operation good = table.begin();
    const Operation bad = table.begin();
    good.then(this, {}, noteReason());
    bad.then(this, note(u"done"_s));
    table.finish(good.id(), Failure());
    table.finish(bad.id(), REFUSED);
    runQueuedCalls();
    QCOMPARE(m_heard, QStringList());
}

void tst_Operation::continuationsAreCalledInTheirOrder()
{
    OperationTable table;
    QObject other;
    const Operation operation = table.begin();
    operation.then(this, note(u"1"_s)).then(&other, note(u"2"_s)).then(this, note(u"3"_s));
    table.finish(operation.id(), Failure());
    operation.then(&other, note(u"4"_s)).then(this, note(u"5"_s));
    runQueuedCalls();
    QCOMPARE(m_heard.join(u' '), u"1 2 3 4 5"_s);
}

void tst_Operation::nothingIsCalledFromWithinACall()
{
    OperationTable table;
    const Operation operation = table.begin();
    operation.then(this, note(u"before"_s));
    table.finish(operation.id(), Failure());
    operation.then(this, note(u"after"_s));
    QCOMPARE(m_heard, QStringList());
    runQueuedCalls();
    QCOMPARE(m_heard.join(u' '), u"before after"_s);
}

void tst_Operation::addedAfterTheEndIsCalledOnce()
{
    OperationTable table;
    const Operation operation = table.begin();
    table.finish(operation.id(), REFUSED);
    operation.then(this, note(u"done"_s), noteReason());
    runQueuedCalls();
    operation.then(this, {}, [this](const Failure &) { m_heard.append(u"another"_s); });
    runQueuedCalls();
    QCOMPARE(m_heard.size(), 2);
    QCOMPARE(m_heard.at(1), u"another"_s);
}

void tst_Operation::copiesAreTheSameOperation()
{
    OperationTable table;
    const Operation operation = table.begin();
    const Operation copy = operation;
    Operation assigned;
    assigned = operation;
    copy.then(this, note(u"copy"_s));
    assigned.then(this, note(u"assigned"_s));
    table.finish(operation.id(), Failure());
    runQueuedCalls();
    QCOMPARE(copy.id(), 1);
    QVERIFY(copy.isFinished());
    QVERIFY(assigned.isFinished());
    QCOMPARE(m_heard.join(u' '), u"copy assigned"_s);
}

void tst_Operation::withoutContextNothingIsCalled()
{
    OperationTable table;
    const Operation operation = table.begin();
    const char *const warning = "Tarvo::Operation::then: without a context nothing is ever called";
    QTest::ignoreMessage(QtWarningMsg, warning);
    operation.then(nullptr, note(u"before"_s));
    table.finish(operation.id(), Failure());
    QTest::ignoreMessage(QtWarningMsg, warning);
    operation.then(nullptr, note(u"after"_s)).then(this, note(u"with"_s));
    runQueuedCalls();
    QCOMPARE(m_heard, QStringList{u"with"_s});
}

void tst_Operation::contextThatGoesBeforeTheEndIsNotCalled()
{
    OperationTable table;
    const Operation operation = table.begin();
    auto context = std::make_unique<QObject>();
    operation.then(context.get(), note(u"done"_s), noteReason());
    context.reset();
    table.finish(operation.id(), Failure());
    runQueuedCalls();
    QCOMPARE(m_heard, QStringList());
}

void tst_Operation::contextThatGoesAfterTheEndIsNotCalled()
{
    OperationTable table;
    const Operation operation = table.begin();
    auto context = std::make_unique<QObject>();
    operation.then(context.get(), note(u"done"_s), noteReason());
    table.finish(operation.id(), Failure());
    context.reset();
    runQueuedCalls();
    QCOMPARE(m_heard, QStringList());
}

void tst_Operation::othersAreCalledWhenAContextGoes()
{
    OperationTable table;
    const Operation operation = table.begin();
    auto context = std::make_unique<QObject>();
    operation.then(context.get(), note(u"gone"_s)).then(this, note(u"here"_s));
    context.reset();
    table.finish(operation.id(), Failure());
    runQueuedCalls();
    QCOMPARE(m_heard, QStringList{u"here"_s});
}

void tst_Operation::noContextIsKeptAlive()
{
    OperationTable table;
    const Operation operation = table.begin();
    QObject parent;
    const QPointer<QObject> context = new QObject(&parent);
    operation.then(context, note(u"done"_s));
    context->deleteLater();
    QCoreApplication::sendPostedEvents(context, QEvent::DeferredDelete);
    QVERIFY(context.isNull());
}

void tst_Operation::abandonedContinuationsAreNotCalled()
{
    OperationTable table;
    const Operation operation = table.begin();
    operation.then(this, note(u"1"_s), noteReason()).then(this, note(u"2"_s), noteReason());
    operation.abandon();
    table.finish(operation.id(), REFUSED);
    runQueuedCalls();
    QCOMPARE(m_heard, QStringList());
    QVERIFY(operation.isFinished());
}

void tst_Operation::abandonedContinuationsAreNotCalledAfterTheEnd()
{
    OperationTable table;
    const Operation operation = table.begin();
    operation.then(this, note(u"before"_s));
    table.finish(operation.id(), Failure());
    operation.then(this, note(u"after"_s));
    operation.abandon();
    runQueuedCalls();
    QCOMPARE(m_heard, QStringList());
}

void tst_Operation::addedAfterAbandoningIsCalled()
{
    OperationTable table;
    const Operation operation = table.begin();
    operation.then(this, note(u"1"_s));
    operation.abandon();
    operation.then(this, note(u"2"_s));
    table.finish(operation.id(), Failure());
    operation.then(this, note(u"3"_s));
    runQueuedCalls();
    operation.abandon();
    operation.then(this, note(u"4"_s));
    runQueuedCalls();
    QCOMPARE(m_heard.join(u' '), u"2 3 4"_s);
}

void tst_Operation::continuationMayAbandonTheOthers()
{
    OperationTable table;
    const Operation operation = table.begin();
    operation.then(this, note(u"1"_s));
    operation.then(this, [operation] { operation.abandon(); });
    operation.then(this, note(u"2"_s));
    table.finish(operation.id(), Failure());
    operation.then(this, note(u"3"_s));
    runQueuedCalls();
    QCOMPARE(m_heard, QStringList{u"1"_s});
}

void tst_Operation::endOfTheTableAbandonsWhatRuns()
{
    std::optional<OperationTable> table(std::in_place);
    const Operation ended = table->begin();
    const Operation running = table->begin();
    const Operation last = table->begin();
    table->finish(ended.id(), Failure());
    const auto noteFailure = [this](const Failure &failure) {
        QCOMPARE(failure.action(), Action::None);
        QCOMPARE(failure.reason(), Failure::Abandoned);
        m_heard.append(u"abandoned"_s);
    };
    last.then(this, note(u"done"_s), [this](const Failure &) { m_heard.append(u"last"_s); });
    running.then(this, note(u"done"_s), noteFailure);
    table.reset();
    running.then(this, note(u"done"_s), noteFailure);
    QCOMPARE(m_heard, QStringList());
    runQueuedCalls();
    QCOMPARE(m_heard.join(u' '), u"abandoned last abandoned"_s);
    QVERIFY(!ended.failure());
    QVERIFY(running.isFinished());
}

void tst_Operation::continuationMayEndTheTable()
{
    auto table = std::make_unique<OperationTable>();
    const Operation first = table->begin();
    const Operation second = table->begin();
    first.then(this, [&] { table.reset(); }).then(this, note(u"first"_s));
    second.then(this, note(u"done"_s), [this](const Failure &) { m_heard.append(u"second"_s); });
    table->finish(first.id(), Failure());
    runQueuedCalls();
    QVERIFY(table == nullptr);
    QCOMPARE(m_heard.join(u' '), u"first second"_s);
}

void tst_Operation::continuationMayAddFurtherOnes()
{
    OperationTable table;
    const Operation operation = table.begin();
    operation.then(this, [&] { operation.then(this, note(u"added"_s)); });
    operation.then(this, note(u"second"_s));
    table.finish(operation.id(), Failure());
    runQueuedCalls();
    QCOMPARE(m_heard.join(u' '), u"second added"_s);
}

void tst_Operation::continuationMayDeleteItsContext()
{
    OperationTable table;
    const Operation operation = table.begin();
    auto context = std::make_unique<QObject>();
    operation.then(context.get(), [&] {
        m_heard.append(u"first"_s);
        context.reset();
    });
    operation.then(context.get(), note(u"second"_s));
    table.finish(operation.id(), Failure());
    runQueuedCalls();
    QCOMPARE(m_heard, QStringList{u"first"_s});
}

void tst_Operation::continuationMayDropTheLastCopy()
{
    auto table = std::make_unique<OperationTable>();
    auto operation = std::make_unique<Operation>(table->begin());
    operation->then(this, [&] { operation.reset(); }).then(this, note(u"second"_s));
    table->finish(1, Failure());
    table.reset();
    runQueuedCalls();
    QVERIFY(operation == nullptr);
    QCOMPARE(m_heard, QStringList{u"second"_s});
}

void tst_Operation::continuationsAreReleasedAfterTheCall()
{
    OperationTable table;
    const Operation operation = table.begin();
    auto held = std::make_shared<int>(1);
    const std::weak_ptr<int> watched = held;
    operation.then(
        this, [held] {}, [held](const Failure &) {});
    held.reset();
    table.finish(operation.id(), Failure());
    QVERIFY(!watched.expired());
    runQueuedCalls();
    QVERIFY(watched.expired());
}

void tst_Operation::continuationsThatHoldTheirOperationAreReleased_data()
{
    QTest::addColumn<bool>("finish");
    QTest::addColumn<bool>("abandon");
    QTest::addColumn<bool>("dropContext");

    QTest::newRow("ended") << true << false << false;
    QTest::newRow("abandoned while running") << false << true << false;
    QTest::newRow("abandoned when queued") << true << true << false;
    QTest::newRow("context gone when queued") << true << false << true;
    QTest::newRow("table gone") << false << false << false;
    QTest::newRow("table and context gone") << false << false << true;
}

void tst_Operation::continuationsThatHoldTheirOperationAreReleased()
{
    QFETCH(bool, finish);
    QFETCH(bool, abandon);
    QFETCH(bool, dropContext);
    auto table = std::make_unique<OperationTable>();
    auto operation = std::make_unique<Operation>(table->begin());
    auto context = std::make_unique<QObject>();
    auto held = std::make_shared<int>(1);
    const std::weak_ptr<int> watched = held;
    operation->then(context.get(), [copy = *operation, held] {});
    held.reset();
    if (finish)
        table->finish(1, Failure());
    if (abandon)
        operation->abandon();
    if (dropContext)
        context.reset();
    operation.reset();
    table.reset();
    runQueuedCalls();
    QVERIFY(watched.expired());
}

QTEST_GUILESS_MAIN(tst_Operation)
#include "tst_operation.moc"
