#include "lesson/Results.h"
#include "presenter/RowsModel.h"
#include "support/Text.h"

#include "host/LiveClass.h"

#include <QtTest/QtTest>

using namespace Host;
using Tarvo::LiveClass;

class tst_Results : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aPollShowsHowManyHaveAnswered();
    void aPauseStandsInTheHeading();
    void whoHasAnsweredAndLeftStillCounts();
    void freeAnswersFollowTheMostFrequentFirst();
    void anAssessmentShowsEveryQuestion();
    void aQuestionIsKnownByItsNumber_data();
    void aQuestionIsKnownByItsNumber();
    void choicesAreCountedBeforeAnybodyAnswers();
    void linesFitTheWidth();
    void noMoreLinesAreMadeThanFit();
    void longAnswersAreCut();
};

namespace
{

RowsModel::Row row(const QString &question, const QString &label, int count, int respondents)
{
    return {{LiveClass::QuestionRole, question},
            {LiveClass::LabelRole, label},
            {LiveClass::CountRole, count},
            {LiveClass::RespondentsRole, respondents}};
}

const RowsModel &trueFalse()
{
    static const RowsModel model({row(u"q"_s, u"A TRUE"_s, 1, 1), row(u"q"_s, u"B FALSE"_s, 0, 1)});
    return model;
}

Asked poll(const QString &title, const QHash<QString, int> &choices)
{
    return {title, {QString()}, 1, choices};
}

Asked trueFalsePoll()
{
    return poll(u"Poll true-false"_s, {{u"q"_s, 2}});
}

} // namespace

void tst_Results::aPollShowsHowManyHaveAnswered()
{
    QCOMPARE(countResponses(trueFalse()), 1);
    QCOMPARE(resultLines(trueFalse(), trueFalsePoll(), 5, false, 40, BarStyle::Ascii),
             QStringList({u"Poll true-false: 1 of 5 answered"_s,
                          u"A TRUE   ######################  1  100%"_s,
                          u"B FALSE                          0    0%"_s}));
}

void tst_Results::aPauseStandsInTheHeading()
{
    QCOMPARE(resultLines(trueFalse(), trueFalsePoll(), 5, true, 60, BarStyle::Ascii).first(),
             u"Poll true-false (paused): 1 of 5 answered"_s);
}

void tst_Results::whoHasAnsweredAndLeftStillCounts()
{
    QCOMPARE(resultLines(trueFalse(), trueFalsePoll(), 0, false, 40, BarStyle::Ascii).first(),
             u"Poll true-false: 1 of 1 answered"_s);
}

void tst_Results::freeAnswersFollowTheMostFrequentFirst()
{
    const RowsModel model({row(u"q"_s, u"A"_s, 0, 9), row(u"q"_s, u"B"_s, 1, 9),
                           row(u"q"_s, u"late"_s, 1, 9), row(u"q"_s, u"10"_s, 1, 9),
                           row(u"q"_s, u"9"_s, 1, 9), row(u"q"_s, u"often"_s, 3, 9),
                           row(u"q"_s, u"early"_s, 1, 9)});
    QCOMPARE(resultLines(model, poll(u"Poll"_s, {{u"q"_s, 2}}), 9, false, 17, BarStyle::Ascii),
             QStringList({u"Poll: 9 of 9 ans…"_s, u"A      0    0%"_s, u"B      1   11%"_s,
                          u"often  3   33%"_s, u"9      1   11%"_s, u"10     1   11%"_s,
                          u"early  1   11%"_s, u"late   1   11%"_s}));
}

void tst_Results::anAssessmentShowsEveryQuestion()
{
    const RowsModel model({row(u"token-5"_s, u"z"_s, 1, 1), row(u"token-7"_s, u"x"_s, 2, 2)});
    const Asked asked{u"Assessment"_s, {u"1. One"_s, u"2. Two"_s, u"3. Three"_s}, 5, {}};
    QCOMPARE(countResponses(model), 3);
    QCOMPARE(resultLines(model, asked, 2, false, 30, BarStyle::Ascii),
             QStringList({u"Assessment: 3 of 6 answered"_s, u"1. One"_s,
                          u"z  ##################  1  100%"_s, u"2. Two"_s, u"3. Three"_s,
                          u"x  ##################  2  100%"_s}));
}

void tst_Results::aQuestionIsKnownByItsNumber_data()
{
    QTest::addColumn<QString>("id");
    QTest::addColumn<int>("index");
    QTest::newRow("first") << u"a-b-5"_s << 0;
    QTest::newRow("second") << u"a-b-6"_s << 1;
    QTest::newRow("before the first") << u"a-b-4"_s << -1;
    QTest::newRow("behind the last") << u"a-b-7"_s << -1;
    QTest::newRow("no number") << u"a-b-c"_s << -1;
}

void tst_Results::aQuestionIsKnownByItsNumber()
{
    QFETCH(QString, id);
    const Asked asked{u"Assessment"_s, {u"1. One"_s, u"2. Two"_s}, 5, {}};
    QTEST(int(asked.indexOf(id)), "index");
}

void tst_Results::choicesAreCountedBeforeAnybodyAnswers()
{
    const RowsModel model(
        {row(u"q"_s, u"A"_s, 0, 0), row(u"q"_s, u"B"_s, 0, 0), row(u"r"_s, u"A"_s, 0, 0)});
    QCOMPARE(countChoices(model), (QHash<QString, int>{{u"q"_s, 2}, {u"r"_s, 1}}));
}

void tst_Results::linesFitTheWidth()
{
    QCOMPARE(resultLines(trueFalse(), trueFalsePoll(), 5, false, 12, BarStyle::Ascii).first(),
             u"Poll true-f…"_s);
}

void tst_Results::noMoreLinesAreMadeThanFit()
{
    QVector<RowsModel::Row> rows{row(u"q"_s, u"A"_s, 0, 3000)};
    for (int i = 0; i < 3000; ++i)
        rows.append(row(u"q"_s, u"answer %1"_s.arg(i), i == 2345 ? 2 : 1, 3000));
    const RowsModel model(rows);
    const Asked asked = poll(u"Poll"_s, {{u"q"_s, 1}});
    const ShownResults shown = shownResults(model, asked, 3000, false, 40, BarStyle::Ascii, 4);
    QCOMPARE(shown.lines,
             QStringList({u"Poll: 3000 of 3000 answered"_s,
                          u"A                                0    0%"_s,
                          u"answer 2345  #                   2    0%"_s,
                          u"answer 0     #                   1    0%"_s}));
    QCOMPARE(shown.further, 2998);
    const QStringList printed = resultLines(model, asked, 3000, false, 24, BarStyle::Ascii);
    QCOMPARE(printed.size(), 1001);
    QCOMPARE(printed.last(), u"… 2002 more"_s);
}

void tst_Results::longAnswersAreCut()
{
    const RowsModel model({row(u"q"_s, QString(5000, u'x'), 1, 1)});
    const QStringList lines =
        resultLines(model, poll(u"Poll"_s, {}), 1, false, 4000, BarStyle::Ascii);
    QCOMPARE(lines.last().count(u'x'), 1000);
}

QTEST_GUILESS_MAIN(tst_Results)
#include "tst_results.moc"
