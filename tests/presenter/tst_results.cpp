#include "Results.h"
#include "support/Text.h"

#include <QtTest/QtTest>

using namespace Host;

class tst_Results : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aPollTakesTheIdOfItsFirstAnswer();
    void answersToWhatIsOverAreNotCounted();
    void aPollWithAKnownIdTakesNoOther();
    void anAssessmentCountsByQuestion();
    void linesShowHowManyHaveAnswered();
    void linesFitTheWidth();
};

namespace
{

Results poll(const QString &id = QString())
{
    return Results("Poll true-false",
                   {{id, QString(), Tally({{"A", "TRUE"}, {"B", "FALSE"}}, Tally::Whole)}});
}

} // namespace

void tst_Results::aPollTakesTheIdOfItsFirstAnswer()
{
    Results results = poll();
    QCOMPARE(results.questionIds(), QSet<QString>());
    QVERIFY(results.count("d1", "q", "A", {}));
    QVERIFY(results.count("d2", "q", "B", {}));
    QVERIFY(!results.count("d3", "other", "B", {}));
    QCOMPARE(results.responses(), 2);
    QCOMPARE(results.questionIds(), QSet<QString>({"q"}));
}

void tst_Results::answersToWhatIsOverAreNotCounted()
{
    Results results = poll();
    QVERIFY(!results.count("d1", "old", "A", {"old", "older"}));
    QCOMPARE(results.responses(), 0);
    QVERIFY(results.count("d1", "new", "A", {"old", "older"}));
}

void tst_Results::aPollWithAKnownIdTakesNoOther()
{
    Results results = poll("poll-id");
    QVERIFY(!results.count("d1", "q", "A", {}));
    QVERIFY(results.count("d1", "poll-id", "A", {}));
}

void tst_Results::anAssessmentCountsByQuestion()
{
    Results results("Assessment", {{"a-0", "1. One", Tally()}, {"a-1", "2. Two", Tally()}});
    QVERIFY(results.count("d1", "a-1", "x", {}));
    QVERIFY(results.count("d1", "a-0", "y", {}));
    QVERIFY(results.count("d1", "a-0", "z", {}));
    QVERIFY(!results.count("d1", "a-2", "z", {}));
    QCOMPARE(results.responses(), 2);
    QCOMPARE(results.questions(), 2);
    QCOMPARE(results.lines(2, 30, BarStyle::Ascii),
             QStringList({"Assessment: 2 of 4 answered", "1. One", "z  ##################  1  100%",
                          "2. Two", "x  ##################  1  100%"}));
}

void tst_Results::linesShowHowManyHaveAnswered()
{
    Results results = poll();
    results.count("d1", "q", "A", {});
    QCOMPARE(
        results.lines(5, 40, BarStyle::Ascii),
        QStringList({"Poll true-false: 1 of 5 answered", "A TRUE   ######################  1  100%",
                     "B FALSE                          0    0%"}));
    // Learners who answered and left still count.
    QCOMPARE(results.lines(0, 40, BarStyle::Ascii).first(),
             QString("Poll true-false: 1 of 1 answered"));
}

void tst_Results::linesFitTheWidth()
{
    Results results = poll();
    QCOMPARE(results.lines(5, 12, BarStyle::Ascii).first(), u"Poll true-f…"_s);
}

QTEST_GUILESS_MAIN(tst_Results)
#include "tst_results.moc"
