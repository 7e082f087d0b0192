#include "lesson/Results.h"
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
    return Results(
        u"Poll true-false"_s,
        {{id, QString(), Tally({{u"A"_s, u"TRUE"_s}, {u"B"_s, u"FALSE"_s}}, Tally::Whole)}});
}

} // namespace

void tst_Results::aPollTakesTheIdOfItsFirstAnswer()
{
    Results results = poll();
    QCOMPARE(results.questionIds(), QSet<QString>());
    QVERIFY(results.count(u"d1"_s, u"q"_s, u"A"_s, {}));
    QVERIFY(results.count(u"d2"_s, u"q"_s, u"B"_s, {}));
    QVERIFY(!results.count(u"d3"_s, u"other"_s, u"B"_s, {}));
    QCOMPARE(results.responses(), 2);
    QCOMPARE(results.questionIds(), QSet<QString>({u"q"_s}));
}

void tst_Results::answersToWhatIsOverAreNotCounted()
{
    Results results = poll();
    QVERIFY(!results.count(u"d1"_s, u"old"_s, u"A"_s, {u"old"_s, u"older"_s}));
    QCOMPARE(results.responses(), 0);
    QVERIFY(results.count(u"d1"_s, u"new"_s, u"A"_s, {u"old"_s, u"older"_s}));
}

void tst_Results::aPollWithAKnownIdTakesNoOther()
{
    Results results = poll(u"poll-id"_s);
    QVERIFY(!results.count(u"d1"_s, u"q"_s, u"A"_s, {}));
    QVERIFY(results.count(u"d1"_s, u"poll-id"_s, u"A"_s, {}));
}

void tst_Results::anAssessmentCountsByQuestion()
{
    Results results(u"Assessment"_s,
                    {{u"a-0"_s, u"1. One"_s, Tally()}, {u"a-1"_s, u"2. Two"_s, Tally()}});
    QVERIFY(results.count(u"d1"_s, u"a-1"_s, u"x"_s, {}));
    QVERIFY(results.count(u"d1"_s, u"a-0"_s, u"y"_s, {}));
    QVERIFY(results.count(u"d1"_s, u"a-0"_s, u"z"_s, {}));
    QVERIFY(!results.count(u"d1"_s, u"a-2"_s, u"z"_s, {}));
    QCOMPARE(results.responses(), 2);
    QCOMPARE(results.questions(), 2);
    QCOMPARE(results.lines(2, 30, BarStyle::Ascii),
             QStringList({u"Assessment: 2 of 4 answered"_s, u"1. One"_s,
                          u"z  ##################  1  100%"_s, u"2. Two"_s,
                          u"x  ##################  1  100%"_s}));
}

void tst_Results::linesShowHowManyHaveAnswered()
{
    Results results = poll();
    results.count(u"d1"_s, u"q"_s, u"A"_s, {});
    QCOMPARE(results.lines(5, 40, BarStyle::Ascii),
             QStringList({u"Poll true-false: 1 of 5 answered"_s,
                          u"A TRUE   ######################  1  100%"_s,
                          u"B FALSE                          0    0%"_s}));
    // Learners who answered and left still count.
    QCOMPARE(results.lines(0, 40, BarStyle::Ascii).first(), u"Poll true-false: 1 of 1 answered"_s);
}

void tst_Results::linesFitTheWidth()
{
    Results results = poll();
    QCOMPARE(results.lines(5, 12, BarStyle::Ascii).first(), u"Poll true-f…"_s);
}

QTEST_GUILESS_MAIN(tst_Results)
#include "tst_results.moc"
