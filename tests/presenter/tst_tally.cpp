#include "Tally.h"

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
        text.append(QString("%1=%2").arg(row.label).arg(row.count));
    return text;
}

const QVector<Choice> YES_NO{{"A", "YES"}, {"B", "NO"}};
const QVector<Choice> LETTERS{{"A", "A"}, {"B", "B"}, {"C", ""}};

} // namespace

void tst_Tally::choicesStandInTheirOrderChosenOrNot()
{
    Tally tally(YES_NO, Tally::Whole);
    QCOMPARE(asText(tally), QStringList({"A YES=0", "B NO=0"}));
    tally.answer("d1", "B");
    tally.answer("d2", "B");
    QCOMPARE(asText(tally), QStringList({"A YES=0", "B NO=2"}));
    QCOMPARE(tally.respondents(), 2);
}

void tst_Tally::whoAnswersAgainReplacesTheFirstAnswer()
{
    Tally tally(YES_NO, Tally::Whole);
    tally.answer("d1", "A");
    tally.answer("d1", "B");
    QCOMPARE(asText(tally), QStringList({"A YES=0", "B NO=1"}));
    QCOMPARE(tally.respondents(), 1);
}

void tst_Tally::severalChoicesCountEachForOneRespondent()
{
    Tally tally(LETTERS, Tally::Several);
    tally.answer("d1", "A,C");
    tally.answer("d2", "A, B");
    QCOMPARE(asText(tally), QStringList({"A=2", "B=1", "C=1"}));
    QCOMPARE(tally.respondents(), 2);
}

void tst_Tally::severalChoicesMayStandSideBySide()
{
    Tally tally({{"A", ""}, {"B", ""}, {"10", ""}}, Tally::Several);
    tally.answer("d1", "BA");
    tally.answer("d2", "10");
    tally.answer("d3", "AX");
    QCOMPARE(asText(tally), QStringList({"A=1", "B=1", "10=1", "AX=1"}));
}

void tst_Tally::aChoiceTickedTwiceIsOneVote()
{
    Tally tally(LETTERS, Tally::Several);
    tally.answer("d1", "A,A");
    QCOMPARE(asText(tally), QStringList({"A=1", "B=0", "C=0"}));
}

void tst_Tally::wholeAnswersKeepTheirCommas()
{
    Tally order({}, Tally::Whole);
    order.answer("d1", "B,A,C");
    order.answer("d2", "B,A,C");
    order.answer("d3", "A,B,C");
    QCOMPARE(asText(order), QStringList({"B,A,C=2", "A,B,C=1"}));
}

void tst_Tally::otherAnswersFollowTheMostFrequentFirst()
{
    Tally tally(YES_NO, Tally::Whole);
    tally.answer("d1", "zebra");
    tally.answer("d2", "maybe");
    tally.answer("d3", "maybe");
    tally.answer("d4", "apple");
    QCOMPARE(asText(tally), QStringList({"A YES=0", "B NO=0", "maybe=2", "apple=1", "zebra=1"}));
}

void tst_Tally::numbersStandInTheOrderOfTheirValues()
{
    Tally tally;
    tally.answer("d1", "10");
    tally.answer("d2", "9.5");
    tally.answer("d3", "many");
    tally.answer("d4", "-1");
    tally.answer("d5", "nan");
    QCOMPARE(asText(tally), QStringList({"-1=1", "9.5=1", "10=1", "many=1", "nan=1"}));
}

void tst_Tally::optionsThatShareAnIdShareARow()
{
    Tally tally({{"A", "YES"}, {"B", "NO"}, {"?", "DONTKNOW"}, {"?", "DONTKNOW"}}, Tally::Whole);
    tally.answer("d1", "?");
    QCOMPARE(asText(tally), QStringList({"A YES=0", "B NO=0", "? DONTKNOW=1"}));
}

void tst_Tally::emptyAnswersAreShownAsSuch()
{
    Tally tally;
    tally.answer("d1", "");
    tally.answer("d2", "  ");
    QCOMPARE(asText(tally), QStringList({"(empty)=2"}));
}

QTEST_GUILESS_MAIN(tst_Tally)
#include "tst_tally.moc"
