#include "lesson/Tally.h"
#include "support/Text.h"

#include <QtTest/QtTest>

using namespace Host;

class tst_Tally : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void choicesStandInTheirOrderChosenOrNot();
    void whoAnswersAgainReplacesTheFirstAnswer();
    void severalChoicesCountEachForOneRespondent();
    void severalChoicesMayStandSideBySide();
    void aChoiceTickedTwiceIsOneVote();
    void wholeAnswersKeepTheirCommas();
    void otherAnswersFollowTheMostFrequentFirst();
    void numbersStandInTheOrderOfTheirValues();
    void optionsThatShareAnIdShareARow();
    void emptyAnswersAreShownAsSuch();
};

namespace
{

QStringList asText(const Tally &tally)
{
    QStringList text;
    for (const TallyRow &row : tally.rows())
        text.append(u"%1=%2"_s.arg(row.label).arg(row.count));
    return text;
}

const QVector<Choice> YES_NO{{u"A"_s, u"YES"_s}, {u"B"_s, u"NO"_s}};
const QVector<Choice> LETTERS{{u"A"_s, u"A"_s}, {u"B"_s, u"B"_s}, {u"C"_s, u""_s}};

} // namespace

void tst_Tally::choicesStandInTheirOrderChosenOrNot()
{
    Tally tally(YES_NO, Tally::Whole);
    QCOMPARE(asText(tally), QStringList({u"A YES=0"_s, u"B NO=0"_s}));
    tally.answer(u"d1"_s, u"B"_s);
    tally.answer(u"d2"_s, u"B"_s);
    QCOMPARE(asText(tally), QStringList({u"A YES=0"_s, u"B NO=2"_s}));
    QCOMPARE(tally.respondents(), 2);
}

void tst_Tally::whoAnswersAgainReplacesTheFirstAnswer()
{
    Tally tally(YES_NO, Tally::Whole);
    tally.answer(u"d1"_s, u"A"_s);
    tally.answer(u"d1"_s, u"B"_s);
    QCOMPARE(asText(tally), QStringList({u"A YES=0"_s, u"B NO=1"_s}));
    QCOMPARE(tally.respondents(), 1);
}

void tst_Tally::severalChoicesCountEachForOneRespondent()
{
    Tally tally(LETTERS, Tally::Several);
    tally.answer(u"d1"_s, u"A,C"_s);
    tally.answer(u"d2"_s, u"A, B"_s);
    QCOMPARE(asText(tally), QStringList({u"A=2"_s, u"B=1"_s, u"C=1"_s}));
    QCOMPARE(tally.respondents(), 2);
}

void tst_Tally::severalChoicesMayStandSideBySide()
{
    Tally tally({{u"A"_s, u""_s}, {u"B"_s, u""_s}, {u"10"_s, u""_s}}, Tally::Several);
    tally.answer(u"d1"_s, u"BA"_s);
    tally.answer(u"d2"_s, u"10"_s);
    tally.answer(u"d3"_s, u"AX"_s);
    QCOMPARE(asText(tally), QStringList({u"A=1"_s, u"B=1"_s, u"10=1"_s, u"AX=1"_s}));
}

void tst_Tally::aChoiceTickedTwiceIsOneVote()
{
    Tally tally(LETTERS, Tally::Several);
    tally.answer(u"d1"_s, u"A,A"_s);
    QCOMPARE(asText(tally), QStringList({u"A=1"_s, u"B=0"_s, u"C=0"_s}));
}

void tst_Tally::wholeAnswersKeepTheirCommas()
{
    Tally order({}, Tally::Whole);
    order.answer(u"d1"_s, u"B,A,C"_s);
    order.answer(u"d2"_s, u"B,A,C"_s);
    order.answer(u"d3"_s, u"A,B,C"_s);
    QCOMPARE(asText(order), QStringList({u"B,A,C=2"_s, u"A,B,C=1"_s}));
}

void tst_Tally::otherAnswersFollowTheMostFrequentFirst()
{
    Tally tally(YES_NO, Tally::Whole);
    tally.answer(u"d1"_s, u"zebra"_s);
    tally.answer(u"d2"_s, u"maybe"_s);
    tally.answer(u"d3"_s, u"maybe"_s);
    tally.answer(u"d4"_s, u"apple"_s);
    QCOMPARE(asText(tally),
             QStringList({u"A YES=0"_s, u"B NO=0"_s, u"maybe=2"_s, u"apple=1"_s, u"zebra=1"_s}));
}

void tst_Tally::numbersStandInTheOrderOfTheirValues()
{
    Tally tally;
    tally.answer(u"d1"_s, u"10"_s);
    tally.answer(u"d2"_s, u"9.5"_s);
    tally.answer(u"d3"_s, u"many"_s);
    tally.answer(u"d4"_s, u"-1"_s);
    tally.answer(u"d5"_s, u"nan"_s);
    QCOMPARE(asText(tally),
             QStringList({u"-1=1"_s, u"9.5=1"_s, u"10=1"_s, u"many=1"_s, u"nan=1"_s}));
}

void tst_Tally::optionsThatShareAnIdShareARow()
{
    Tally tally(
        {{u"A"_s, u"YES"_s}, {u"B"_s, u"NO"_s}, {u"?"_s, u"DONTKNOW"_s}, {u"?"_s, u"DONTKNOW"_s}},
        Tally::Whole);
    tally.answer(u"d1"_s, u"?"_s);
    QCOMPARE(asText(tally), QStringList({u"A YES=0"_s, u"B NO=0"_s, u"? DONTKNOW=1"_s}));
}

void tst_Tally::emptyAnswersAreShownAsSuch()
{
    Tally tally;
    tally.answer(u"d1"_s, u""_s);
    tally.answer(u"d2"_s, u"  "_s);
    QCOMPARE(asText(tally), QStringList({u"(empty)=2"_s}));
}

QTEST_GUILESS_MAIN(tst_Tally)
#include "tst_tally.moc"
