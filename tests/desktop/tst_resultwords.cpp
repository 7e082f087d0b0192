#include "ResultLists.h"
#include "results/ChartSource.h"
#include "support/Text.h"
#include "texts/ShownText.h"

#include <QtTest/QtTest>

#include <memory>

using namespace Desktop;

class tst_ResultWords : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void nothingAskedIsSaid();
    void aQuestionWithoutAnswersIsShownAsAsked();
    void allOfItIsToldInSentences();
    void onePersonHasAnswered();
    void whoHasLeftCountsWhenTheyHaveAnswered();
    void averagesHaveWords();
    void freeAnswersFollowTheChoicesMostFrequentFirst();
    void choicesWithVotesStayChoices();
    void resultsWaitForTheEndOfThePoll();
    void namesStandUnderFreeAnswersUntilTheyAreHidden();
    void questionsArePages();
    void theNextActivityBeginsWithItsFirstQuestion();
    void breaksAndControlCharactersAreBlanks();
    void whatShowsNothingCannotTurnTheLineOrHideInIt();
    void longTextsAreCutBetweenCharacters();
    void textsThatCouldTurnTheSentenceAreIsolated_data();
    void textsThatCouldTurnTheSentenceAreIsolated();
    void whatIsIsolatedInAToolTipStaysSo();
    void markupIsTextInToolTips();

private:
    void addChoices();

    std::unique_ptr<QStandardItemModel> m_results;
    std::unique_ptr<QStandardItemModel> m_learners;
    std::unique_ptr<ChartSource> m_source;
};

void tst_ResultWords::init()
{
    QLocale::setDefault(QLocale::c());
    m_source.reset();
    m_results = std::make_unique<QStandardItemModel>();
    m_learners = std::make_unique<QStandardItemModel>();
    m_source = std::make_unique<ChartSource>(m_results.get(), m_learners.get());
}

void tst_ResultWords::addChoices()
{
    addLearners(m_learners.get(), 40);
    addResult(m_results.get(), {u"q"_s, u"Is it?"_s, u"A"_s, u"A Yes"_s, 12, 30});
    addResult(m_results.get(), {u"q"_s, u"Is it?"_s, u"B"_s, u"B No"_s, 18, 30});
}

void tst_ResultWords::nothingAskedIsSaid()
{
    QCOMPARE(m_source->inWords(), u"No question has been asked yet."_s);
}

void tst_ResultWords::aQuestionWithoutAnswersIsShownAsAsked()
{
    m_source->setAsked(u"Why?"_s);
    QCOMPARE(m_source->head().question, u"Why?"_s);
    QCOMPARE(m_source->head().figures, u"Nobody has answered yet.   Names are shown"_s);
}

void tst_ResultWords::allOfItIsToldInSentences()
{
    addChoices();
    QCOMPARE(m_source->inWords(),
             u"Is it?. 30 of 40 have answered. Names are shown. "
             "A Yes: 12 of 30, 40 percent. B No: 18 of 30, 60 percent"_s);
}

void tst_ResultWords::onePersonHasAnswered()
{
    addLearners(m_learners.get(), 2);
    addResult(m_results.get(), {u"q"_s, u"Is it?"_s, u"A"_s, u"A Yes"_s, 1, 1});
    QCOMPARE(m_source->head().figures, u"1 of 2 has answered.   Names are shown"_s);
}

void tst_ResultWords::whoHasLeftCountsWhenTheyHaveAnswered()
{
    addLearner(m_learners.get(), u"Ada"_s, u"A"_s, false);
    addLearner(m_learners.get(), u"Bob"_s, u"A"_s, true);
    addLearner(m_learners.get(), u"Eve"_s, QString(), false);
    addResult(m_results.get(), {u"q"_s, u"Is it?"_s, u"A"_s, u"A Yes"_s, 2, 2});
    QCOMPARE(m_source->head().figures, u"2 of 2 have answered.   Names are shown"_s);
}

void tst_ResultWords::averagesHaveWords()
{
    addLearners(m_learners.get(), 30);
    addResult(m_results.get(), {u"q"_s, u"How?"_s, u"A"_s, u"A 3"_s, 12, 12, 3.44});
    QCOMPARE(m_source->head().figures,
             u"12 of 30 have answered.   Average 3.4   Names are shown"_s);
    setResult(m_results->item(0), {u"q"_s, u"How?"_s, u"A"_s, u"A 3"_s, 12, 12, 1e300});
    QCOMPARE(m_source->head().figures,
             u"12 of 30 have answered.   Average 1e+300   Names are shown"_s);
}

void tst_ResultWords::freeAnswersFollowTheChoicesMostFrequentFirst()
{
    addResult(m_results.get(), {u"q"_s, u"?"_s, u"A"_s, u"A Yes"_s, 1, 9});
    addResult(m_results.get(), {u"q"_s, u"?"_s, u"once"_s, u"once"_s, 1, 9});
    addResult(m_results.get(), {u"q"_s, u"?"_s, u"again"_s, u"again"_s, 1, 9});
    addResult(m_results.get(), {u"q"_s, u"?"_s, u"often"_s, u"often"_s, 5, 9});
    QStringList shown;
    const QVector<ChartRow> rows = m_source->rows(0, 10);
    for (const ChartRow &row : rows)
        shown.append(row.label + u"|"_s + row.figures);
    QCOMPARE(shown,
             QStringList({u"A Yes|1 \u00b7 11%"_s, u"often|5 times"_s, u"once|"_s, u"again|"_s}));
}

void tst_ResultWords::choicesWithVotesStayChoices()
{
    addResult(m_results.get(), {u"q"_s, u""_s, u"A"_s, u"A"_s, 0, 0});
    setResult(m_results->item(0), {u"q"_s, u""_s, u"A"_s, u"A"_s, 4, 4});
    QVERIFY(!m_source->rows(0, 1).constFirst().isFree);
}

void tst_ResultWords::resultsWaitForTheEndOfThePoll()
{
    addChoices();
    m_source->setHiddenUntilClosed(true);
    m_source->setRunning(true);
    QCOMPARE(m_source->inWords(),
             u"Is it?. 30 of 40 have answered. Names are shown. "
             "The results come when the poll is closed."_s);
    QCOMPARE(m_source->rowCount(), 0);
    m_source->setRunning(false);
    QCOMPARE(m_source->rowCount(), 2);
    QCOMPARE(m_source->head().notice, QString());
}

void tst_ResultWords::namesStandUnderFreeAnswersUntilTheyAreHidden()
{
    addResult(m_results.get(), {u"q"_s, u"?"_s, u"sun"_s, u"sun"_s, 2, 2});
    addLearner(m_learners.get(), u"Ada"_s, u" sun"_s);
    addLearner(m_learners.get(), u"Bob"_s, u"sun"_s);
    QCOMPARE(m_source->rows(0, 1).constFirst().names, u"Ada, Bob"_s);
    QCOMPARE(m_source->wholeText(0), u"sun (Ada, Bob)"_s);
    m_source->setNamesHidden(true);
    QCOMPARE(m_source->rows(0, 1).constFirst().names, QString());
    QCOMPARE(m_source->wholeText(0), u"sun"_s);
    QCOMPARE(m_source->head().figures, u"2 of 2 have answered.   Names are hidden"_s);
}

void tst_ResultWords::questionsArePages()
{
    addChoices();
    addResult(m_results.get(), {u"r"_s, u""_s, u"sea"_s, u"sea"_s, 1, 1});
    QCOMPARE(m_source->pageCount(), 2);
    QCOMPARE(m_source->titleOf(0), u"1. Is it?"_s);
    QCOMPARE(m_source->titleOf(1), u"Question 2"_s);
    m_source->setCurrentPage(1);
    QCOMPARE(m_source->rows(0, 10).constFirst().label, u"sea"_s);
    m_source->setCurrentPage(7);
    QCOMPARE(m_source->currentPage(), 1);
}

void tst_ResultWords::theNextActivityBeginsWithItsFirstQuestion()
{
    addChoices();
    addResult(m_results.get(), {u"r"_s, u""_s, u"sea"_s, u"sea"_s, 1, 1});
    m_source->setCurrentPage(1);
    m_results->removeRows(0, 3);
    addResult(m_results.get(), {u"s"_s, u"New"_s, u"A"_s, u"A"_s});
    addResult(m_results.get(), {u"t"_s, u"Newer"_s, u"A"_s, u"A"_s});
    QCOMPARE(m_source->head().question, u"New"_s);
}

void tst_ResultWords::breaksAndControlCharactersAreBlanks()
{
    QCOMPARE(shownText(u"a\nb\u0000c\u2028d\u0085e"_s, 20), u"a b c d e"_s);
}

void tst_ResultWords::whatShowsNothingCannotTurnTheLineOrHideInIt()
{
    QCOMPARE(shownText(u" \u202eadA\u2066 \u200b"_s), u"adA"_s);
    QCOMPARE(shownText(u"<b>A\x1b[2J"_s), u"<b>A [2J"_s);
    QCOMPARE(shownText(u"\u0645\u06cc\u200c\u062e"_s), u"\u0645\u06cc\u200c\u062e"_s);
}

void tst_ResultWords::longTextsAreCutBetweenCharacters()
{
    QCOMPARE(shownText(QString(10000, u'x'), 3), u"xxx\u2026"_s);
    QCOMPARE(shownText(u"ab\U0001F600"_s, 3), u"ab\u2026"_s);
    QCOMPARE(shownText(u"abc"_s, 3), u"abc"_s);
}

void tst_ResultWords::textsThatCouldTurnTheSentenceAreIsolated_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("quoted");

    QTest::newRow("plain") << u"Yes, 12!"_s << u"Yes, 12!"_s;
    QTest::newRow("Hebrew") << u"\u05d0"_s << u"\u2068\u05d0\u2069"_s;
    QTest::newRow("override") << u"\u202Eab"_s << u"ab"_s;
    QTest::newRow("open isolate") << u"\u2067ab"_s << u"ab"_s;
    QTest::newRow("end of isolation") << u"a\u2069\u05d0"_s << u"\u2068a\u05d0\u2069"_s;
}

void tst_ResultWords::textsThatCouldTurnTheSentenceAreIsolated()
{
    QFETCH(QString, text);
    QTEST(quotedText(text, 100), "quoted");
}

void tst_ResultWords::whatIsIsolatedInAToolTipStaysSo()
{
    QCOMPARE(plainToolTip(u"a\u2069 (\u2068\u05d0\u2069, \u2068b"_s),
             u"<p dir=\"auto\">a (\u2068\u05d0\u2069, \u2068b\u2069</p>"_s);
}

void tst_ResultWords::markupIsTextInToolTips()
{
    QCOMPARE(plainToolTip(u"<b>a</b> & b"_s),
             u"<p dir=\"auto\">&lt;b&gt;a&lt;/b&gt; &amp; b</p>"_s);
    QCOMPARE(plainToolTip(QString()), QString());
}

QTEST_MAIN(tst_ResultWords)
#include "tst_resultwords.moc"
