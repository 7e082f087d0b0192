#include "ResultLists.h"
#include "results/ResultsTable.h"
#include "results/ResultsTabs.h"
#include "support/Text.h"

#include <QAction>
#include <QtTest/QAbstractItemModelTester>
#include <QtTest/QtTest>
#include <QtWidgets/QComboBox>
#include <QtWidgets/QTabWidget>

#include <memory>

using namespace Desktop;

class tst_ResultTables : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void aRowForEachAnswerWithItsWords();
    void rowsComeAndGoWithTheAnswers();
    void onlyTheQuestionShownIsInTheTable();
    void columnsSort();
    void longAnswersAreCutAndWholeInWords();
    void learnersStandWithTheirLastAnswer();
    void hiddenResultsAreInNoTable();
    void hiddenNamesAreInNoTable();
    void questionsAreListedAndTurned();

private:
    QStringList cells(const QAbstractItemView &table, int role = Qt::DisplayRole) const;
    QString visibleTabs() const;

    std::unique_ptr<QStandardItemModel> m_results;
    std::unique_ptr<QStandardItemModel> m_learners;
    std::unique_ptr<ChartSource> m_source;
    std::unique_ptr<ResultsTabs> m_tabs;
    ResultsTable *m_table = nullptr;
};

void tst_ResultTables::init()
{
    QLocale::setDefault(QLocale::c());
    m_tabs.reset();
    m_source.reset();
    m_results = std::make_unique<QStandardItemModel>();
    m_learners = std::make_unique<QStandardItemModel>();
    m_source = std::make_unique<ChartSource>(m_results.get(), m_learners.get());
    m_tabs = std::make_unique<ResultsTabs>(m_source.get());
    m_table = m_tabs->findChild<ResultsTable *>();
    new QAbstractItemModelTester(
        m_table->model(), QAbstractItemModelTester::FailureReportingMode::Fatal, m_tabs.get());
    addResult(m_results.get(), {u"q"_s, u"Is it?"_s, u"A"_s, u"Yes"_s, 12, 30});
    addResult(m_results.get(), {u"q"_s, u"Is it?"_s, u"B"_s, u"No"_s, 18, 30});
    addResult(m_results.get(), {u"r"_s, u"Why?"_s, u"sea"_s, u"sea"_s, 1, 1});
    addLearner(m_learners.get(), u"Ada"_s, u"A"_s);
    addLearner(m_learners.get(), u"Bob"_s);
}

// A row a string, its cells joined.
QStringList tst_ResultTables::cells(const QAbstractItemView &table, int role) const
{
    QStringList rows;
    const QAbstractItemModel &model = *table.model();
    for (int row = 0; row < model.rowCount(); ++row) {
        QStringList cells;
        for (int column = 0; column < model.columnCount(); ++column)
            cells.append(model.index(row, column).data(role).toString());
        rows.append(cells.join(u'|'));
    }
    return rows;
}

QString tst_ResultTables::visibleTabs() const
{
    const auto *const tabs = m_tabs->findChild<QTabWidget *>();
    QStringList visible;
    for (int tab = 0; tab < tabs->count(); ++tab) {
        if (tabs->isTabVisible(tab))
            visible.append(tabs->tabText(tab).remove(u'&'));
    }
    return visible.join(u'|');
}

void tst_ResultTables::aRowForEachAnswerWithItsWords()
{
    QTRY_COMPARE(cells(*m_table), QStringList({u"Yes|12|40%"_s, u"No|18|60%"_s}));
    QCOMPARE(m_table->model()->index(0, 1).data(Qt::AccessibleTextRole).toString(),
             u"Yes: 12 of 30, 40 percent"_s);
    QCOMPARE(m_table->accessibleName(), u"Results as a table"_s);
}

void tst_ResultTables::rowsComeAndGoWithTheAnswers()
{
    QTRY_COMPARE(m_table->model()->rowCount(), 2);
    setResult(m_results->item(0), {u"q"_s, u"Is it?"_s, u"A"_s, u"Yes"_s, 13, 31});
    QCOMPARE(cells(*m_table).constFirst(), u"Yes|13|42%"_s);
    m_results->removeRow(0);
    QTRY_COMPARE(cells(*m_table), QStringList(u"No|18|60%"_s));
    m_results->clear();
    QTRY_COMPARE(m_table->model()->rowCount(), 0);
}

void tst_ResultTables::onlyTheQuestionShownIsInTheTable()
{
    m_source->setCurrentPage(1);
    QTRY_COMPARE(cells(*m_table), QStringList(u"sea|1|100%"_s));
}

void tst_ResultTables::columnsSort()
{
    QTRY_COMPARE(m_table->model()->rowCount(), 2);
    m_table->sortByColumn(1, Qt::DescendingOrder);
    QCOMPARE(cells(*m_table).constFirst(), u"No|18|60%"_s);
}

void tst_ResultTables::longAnswersAreCutAndWholeInWords()
{
    const QString answer(10000, u'x');
    setResult(m_results->item(0), {u"q"_s, u"Is it?"_s, answer, answer, 30, 30});
    QTRY_COMPARE(m_table->model()->rowCount(), 2);
    const QModelIndex cell = m_table->model()->index(0, 0);
    QCOMPARE(cell.data().toString(), QString(300, u'x') + u"\u2026"_s);
    QCOMPARE(cell.data(Qt::AccessibleTextRole).toString(), answer + u": 30 of 30, 100 percent"_s);
}

void tst_ResultTables::learnersStandWithTheirLastAnswer()
{
    const auto *const table = m_tabs->findChild<LearnersTable *>();
    QCOMPARE(cells(*table), QStringList({u"Ada|A"_s, u"Bob|(no answer yet)"_s}));
    QCOMPARE(table->model()->index(0, 0).data(Qt::AccessibleTextRole).toString(), u"Ada: A"_s);
}

void tst_ResultTables::hiddenResultsAreInNoTable()
{
    QTRY_COMPARE(visibleTabs(), u"Diagram|Table|By learner"_s);
    QTRY_COMPARE(m_table->model()->rowCount(), 2);
    m_source->setHiddenUntilClosed(true);
    m_source->setRunning(true);
    QTRY_COMPARE(visibleTabs(), u"Diagram"_s);
    QTRY_COMPARE(m_table->model()->rowCount(), 0);
    m_source->setRunning(false);
    QTRY_COMPARE(visibleTabs(), u"Diagram|Table|By learner"_s);
    QTRY_COMPARE(m_table->model()->rowCount(), 2);
}

void tst_ResultTables::hiddenNamesAreInNoTable()
{
    m_source->setNamesHidden(true);
    QTRY_COMPARE(visibleTabs(), u"Diagram|Table"_s);
}

void tst_ResultTables::questionsAreListedAndTurned()
{
    const auto *const list = m_tabs->findChild<QComboBox *>();
    QTRY_COMPARE(list->count(), 2);
    QCOMPARE(list->itemText(1), u"2. Why?"_s);
    QTRY_VERIFY(!m_tabs->previousAction()->isEnabled());
    m_tabs->nextAction()->trigger();
    QCOMPARE(m_source->currentQuestionId(), u"r"_s);
    QTRY_COMPARE(list->currentIndex(), 1);
    QVERIFY(!m_tabs->nextAction()->isEnabled());
    m_tabs->previousAction()->trigger();
    QCOMPARE(m_source->currentQuestionId(), u"q"_s);
}

QTEST_MAIN(tst_ResultTables)
#include "tst_resulttables.moc"
