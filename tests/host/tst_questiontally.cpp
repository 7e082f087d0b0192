#include "host/QuestionTally.h"
#include "support/Text.h"

#include <QtTest/QtTest>

using namespace Tarvo;

class tst_QuestionTally : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void choicesAreRowsFromTheBeginning();
    void answersAreCounted_data();
    void answersAreCounted();
    void aLongIdIsNotSeveralShortOnes();
    void whoAnswersAgainReplacesTheFirstAnswer();
    void theSameAnswerAgainChangesNothing();
    void optionsThatShareAnIdShareARow();
    void labelsJoinIdAndText();
    void whatIsWithdrawnGoesAndComesBackAtTheEnd();
    void answersThatComeAndGoAreNeverSeen();
    void averagesAreOfTheNumbers_data();
    void averagesAreOfTheNumbers();
    void averagesFollowReplacedAnswers();
    void averagesStandLargeNumbers();
    void onlyScalesHaveAnAverage();
    void manyFreeAnswersShareTheLastRow();
    void whoNamesSeveralOfTheRestIsOnePerson();
    void theRestGoesWhenNobodyIsInIt();
    void aFreeAnswerMayBeReplacedWhenAllPlacesAreTaken();
    void answersAreKeptInTheOrderOfArrival();
    void aNewPersonChangesEveryRow();
    void aReplacedAnswerChangesItsRows();
    void anAverageChangesEveryRow();
};

namespace
{

const QVector<Choice> LETTERS{
    {u"A"_s, u"A"_s}, {u"B"_s, u""_s}, {u"C"_s, u"C"_s}, {u"D"_s, u"D"_s}};

CountedQuestion question(PollType::POLL_TYPE kind, const QVector<Choice> &choices = {})
{
    return {u"q1"_s, u"What?"_s, kind, choices};
}

// Everybody's answer, "d0" first.
void answerAll(QuestionTally *tally, const QStringList &answers)
{
    for (int i = 0; i < answers.size(); ++i)
        tally->answer(u"d%1"_s.arg(i), answers.at(i), 100);
}

// Lets rows come and go.
void settle(QuestionTally *tally)
{
    if (tally->takeHasGone()) {
        RowRange gone = tally->lastGone(tally->rowCount());
        for (; gone.count > 0; gone = tally->lastGone(gone.first))
            tally->removeRows(gone);
    }
    tally->insertArrivals(tally->arrivals());
}

QStringList rowsOf(const QuestionTally &tally)
{
    QStringList rows;
    for (int i = 0; i < tally.rowCount(); ++i)
        rows.append(u"%1=%2"_s.arg(tally.row(i).label).arg(tally.row(i).count));
    return rows;
}

QStringList settledRowsOf(QuestionTally *tally)
{
    settle(tally);
    return rowsOf(*tally);
}

QStringList asText(const QVector<RowRange> &ranges)
{
    QStringList text;
    for (const RowRange &range : ranges)
        text.append(u"%1+%2"_s.arg(range.first).arg(range.count));
    return text;
}

// As many people with as many different answers.
void fill(QuestionTally *tally, int count)
{
    for (int i = 0; i < count; ++i)
        tally->answer(u"d%1"_s.arg(i), u"w%1"_s.arg(i), 100);
    settle(tally);
}

} // namespace

void tst_QuestionTally::choicesAreRowsFromTheBeginning()
{
    QuestionTally tally(question(PollType::MULTIPLE, LETTERS));
    QCOMPARE(rowsOf(tally), QStringList({u"A=0"_s, u"B=0"_s, u"C=0"_s, u"D=0"_s}));
    QCOMPARE(tally.respondents(), 0);
}

void tst_QuestionTally::answersAreCounted_data()
{
    QTest::addColumn<int>("kind");
    QTest::addColumn<QStringList>("answers");
    QTest::addColumn<QString>("rows");

    // clang-format off
    const int several = PollType::MULTIPLE;
    QTest::newRow("one choice") << several << QStringList{u"B"_s} << u"A=0 B=1 C=0 D=0"_s;
    QTest::newRow("commas") << several << QStringList{u"A,C"_s, u"A, B"_s} << u"A=2 B=1 C=1 D=0"_s;
    QTest::newRow("side by side") << several << QStringList{u"BA"_s, u"DB"_s} << u"A=1 B=2 C=0 D=1"_s;
    QTest::newRow("ticked twice") << several << QStringList{u"A,A"_s, u"AA"_s} << u"A=2 B=0 C=0 D=0"_s;
    QTest::newRow("no choice") << several << QStringList{u"AX"_s} << u"A=0 B=0 C=0 D=0 AX=1"_s;
    QTest::newRow("other among commas") << several << QStringList{u"A,X"_s} << u"A=1 B=0 C=0 D=0 X=1"_s;
    QTest::newRow("no choices side by side") << several << QStringList{u"X"_s, u"Y"_s, u"XY"_s} << u"A=0 B=0 C=0 D=0 X=1 Y=1 XY=1"_s;
    QTest::newRow("empty") << several << QStringList{u""_s, u" "_s} << u"A=0 B=0 C=0 D=0 (empty)=2"_s;
    const int one = PollType::YES_NO_OTHER;
    QTest::newRow("blanks around") << one << QStringList{u" B "_s} << u"A=0 B=1 C=0 D=0"_s;
    QTest::newRow("whole with commas") << one << QStringList{u"A,B"_s} << u"A=0 B=0 C=0 D=0 A,B=1"_s;
    QTest::newRow("whole, side by side") << one << QStringList{u"AB"_s} << u"A=0 B=0 C=0 D=0 AB=1"_s;
    const int order = PollType::SORT;
    QTest::newRow("orders") << order << QStringList{u"BAC"_s, u"ABC"_s, u"BAC"_s} << u"BAC=2 ABC=1"_s;
    QTest::newRow("order of one") << order << QStringList{u"A"_s} << u"A=1"_s;
    const int place = PollType::SCALE;
    QTest::newRow("scale") << place << QStringList{u"C"_s, u"5"_s} << u"A=0 B=0 C=1 D=0 5=1"_s;
    // clang-format on
}

void tst_QuestionTally::answersAreCounted()
{
    QFETCH(int, kind);
    QFETCH(QStringList, answers);
    QuestionTally tally(question(static_cast<PollType::POLL_TYPE>(kind), LETTERS));
    answerAll(&tally, answers);
    QTEST(settledRowsOf(&tally).join(u" "_s), "rows");
}

void tst_QuestionTally::aLongIdIsNotSeveralShortOnes()
{
    QuestionTally tally(
        question(PollType::MULTIPLE, {{u"0"_s, u""_s}, {u"1"_s, u""_s}, {u"10"_s, u""_s}}));
    answerAll(&tally, {u"10"_s, u"01"_s});
    QCOMPARE(settledRowsOf(&tally), QStringList({u"0=1"_s, u"1=1"_s, u"10=1"_s}));
}

void tst_QuestionTally::whoAnswersAgainReplacesTheFirstAnswer()
{
    QuestionTally tally(question(PollType::MULTIPLE, LETTERS));
    tally.answer(u"d1"_s, u"A,B"_s, 100);
    tally.answer(u"d1"_s, u"B,D"_s, 100);
    QCOMPARE(rowsOf(tally), QStringList({u"A=0"_s, u"B=1"_s, u"C=0"_s, u"D=1"_s}));
    QCOMPARE(tally.respondents(), 1);
}

void tst_QuestionTally::theSameAnswerAgainChangesNothing()
{
    QuestionTally tally(question(PollType::TEXT));
    answerAll(&tally, {u"x"_s, u"y"_s});
    settle(&tally);
    tally.takeChanges();
    answerAll(&tally, {u"x"_s, u"y"_s});
    QCOMPARE(asText(tally.takeChanges()), QStringList());
    QCOMPARE(settledRowsOf(&tally), QStringList({u"x=1"_s, u"y=1"_s}));
}

void tst_QuestionTally::optionsThatShareAnIdShareARow()
{
    QuestionTally tally(question(PollType::YES_NO_OTHER,
                                 {{u"A"_s, u"YES"_s}, {u"?"_s, u"OTHER"_s}, {u"?"_s, u"NONE"_s}}));
    answerAll(&tally, {u"?"_s});
    QCOMPARE(settledRowsOf(&tally), QStringList({u"A YES=0"_s, u"? OTHER=1"_s}));
}

void tst_QuestionTally::labelsJoinIdAndText()
{
    const QuestionTally tally(
        question(PollType::MULTIPLE,
                 {{u"A"_s, u"Yes"_s}, {u"B"_s, u"B"_s}, {u"C"_s, u""_s}, {u""_s, u"None"_s}}));
    QCOMPARE(tally.row(0).label, u"A Yes"_s);
    QCOMPARE(tally.row(0).choice, u"A"_s);
    QCOMPARE(tally.row(1).label, u"B"_s);
    QCOMPARE(tally.row(2).label, u"C"_s);
    QCOMPARE(tally.row(3).label, u"None"_s);
}

void tst_QuestionTally::whatIsWithdrawnGoesAndComesBackAtTheEnd()
{
    QuestionTally tally(question(PollType::TEXT));
    answerAll(&tally, {u"x"_s, u"y"_s});
    QCOMPARE(settledRowsOf(&tally), QStringList({u"x=1"_s, u"y=1"_s}));
    answerAll(&tally, {u"z"_s});
    QCOMPARE(rowsOf(tally), QStringList({u"x=0"_s, u"y=1"_s})); // not before it is settled
    tally.answer(u"d2"_s, u"x"_s, 100);
    QCOMPARE(settledRowsOf(&tally), QStringList({u"y=1"_s, u"z=1"_s, u"x=1"_s}));
}

void tst_QuestionTally::answersThatComeAndGoAreNeverSeen()
{
    QuestionTally tally(question(PollType::TEXT));
    answerAll(&tally, {u"x"_s, u"y"_s});
    answerAll(&tally, {u"z"_s});
    QCOMPARE(settledRowsOf(&tally), QStringList({u"y=1"_s, u"z=1"_s}));
}

void tst_QuestionTally::averagesAreOfTheNumbers_data()
{
    QTest::addColumn<QStringList>("answers");
    QTest::addColumn<QString>("average");

    QTest::newRow("nobody") << QStringList() << u""_s;
    QTest::newRow("numbers") << QStringList{u"1"_s, u" 2 "_s, u"4.5"_s} << u"2.5"_s;
    QTest::newRow("words among them") << QStringList{u"3"_s, u"many"_s, u"5"_s} << u"4"_s;
    QTest::newRow("words only") << QStringList{u"many"_s, u""_s} << u""_s;
    QTest::newRow("not finite") << QStringList{u"nan"_s, u"inf"_s, u"1e999"_s} << u""_s;
    QTest::newRow("letters of numbers") << QStringList{u"A"_s, u"B"_s} << u"15"_s;
    QTest::newRow("letters of words") << QStringList{u"C"_s} << u""_s;
    QTest::newRow("its own number first") << QStringList{u"7"_s} << u"7"_s;
}

void tst_QuestionTally::averagesAreOfTheNumbers()
{
    QFETCH(QStringList, answers);
    const QVector<Choice> choices{
        {u"A"_s, u"10"_s}, {u"B"_s, u"20"_s}, {u"C"_s, u"often"_s}, {u"7"_s, u"70"_s}};
    QuestionTally tally(question(PollType::SCALE, choices));
    answerAll(&tally, answers);
    const std::optional<double> average = tally.average();
    QTEST(average ? QString::number(*average) : QString(u""_s), "average");
}

void tst_QuestionTally::averagesFollowReplacedAnswers()
{
    QuestionTally tally(question(PollType::SCALE));
    answerAll(&tally, {u"1e300"_s, u"3"_s});
    QCOMPARE(tally.average().value(), 5e299);
    answerAll(&tally, {u"4"_s});
    QCOMPARE(tally.average().value(), 3.5); // and not what 1e300 has left of it
    answerAll(&tally, {u"none"_s, u"none"_s});
    QVERIFY(!tally.average());
}

void tst_QuestionTally::averagesStandLargeNumbers()
{
    QuestionTally tally(question(PollType::SCALE));
    answerAll(&tally, {u"1.5e308"_s, u"1.5e308"_s, u"1.5e308"_s});
    QCOMPARE(tally.average().value(), 1.5e308);
}

void tst_QuestionTally::onlyScalesHaveAnAverage()
{
    QuestionTally tally(question(PollType::NUMBER));
    answerAll(&tally, {u"1"_s});
    QVERIFY(!tally.average());
}

void tst_QuestionTally::manyFreeAnswersShareTheLastRow()
{
    QuestionTally tally(question(PollType::TEXT));
    fill(&tally, 10000);
    QCOMPARE(tally.rowCount(), 10000);
    tally.answer(u"more1"_s, u"x"_s, 100);
    tally.answer(u"more2"_s, u"y"_s, 100);
    tally.answer(u"more3"_s, u"w7"_s, 100); // which has a row
    settle(&tally);
    QCOMPARE(tally.rowCount(), 10001);
    QCOMPARE(tally.row(7).count, 2);
    QCOMPARE(tally.row(10000).label, u"(other answers)"_s);
    QCOMPARE(tally.row(10000).count, 2);

    // The answer of somebody in the rest stays there, also when there is place again.
    tally.answer(u"d0"_s, u"w1"_s, 100);
    tally.answer(u"more4"_s, u"x"_s, 100);
    settle(&tally);
    QCOMPARE(tally.rowCount(), 10000);
    QCOMPARE(tally.row(9999).label, u"(other answers)"_s);
    QCOMPARE(tally.row(9999).count, 3);
}

void tst_QuestionTally::whoNamesSeveralOfTheRestIsOnePerson()
{
    QuestionTally tally(question(PollType::MULTIPLE));
    fill(&tally, 10000);
    tally.answer(u"more"_s, u"x,w3,y,z"_s, 100);
    settle(&tally);
    QCOMPARE(tally.row(3).count, 2);
    QCOMPARE(tally.row(10000).count, 1);
}

void tst_QuestionTally::theRestGoesWhenNobodyIsInIt()
{
    QuestionTally tally(question(PollType::TEXT));
    fill(&tally, 10000);
    tally.answer(u"more"_s, u"x"_s, 100);
    settle(&tally);
    QCOMPARE(tally.rowCount(), 10001);
    tally.answer(u"more"_s, u"w0"_s, 100);
    tally.answer(u"d1"_s, u"w0"_s, 100);
    tally.answer(u"d2"_s, u"x"_s, 100);
    settle(&tally);
    QCOMPARE(tally.rowCount(), 9999); // without those of d1 and d2, and with one more
    QCOMPARE(tally.row(9998).label, u"x"_s);
}

void tst_QuestionTally::aFreeAnswerMayBeReplacedWhenAllPlacesAreTaken()
{
    QuestionTally tally(question(PollType::TEXT));
    fill(&tally, 10000);
    tally.answer(u"d0"_s, u"x"_s, 100);
    tally.answer(u"d1"_s, u"w1"_s, 100);
    settle(&tally);
    QCOMPARE(tally.rowCount(), 10000);
    QCOMPARE(tally.row(0).label, u"w1"_s);
    QCOMPARE(tally.row(9999).label, u"x"_s);
}

void tst_QuestionTally::answersAreKeptInTheOrderOfArrival()
{
    QuestionTally tally(question(PollType::MULTIPLE, LETTERS));
    tally.answer(u"d2"_s, u"A"_s, 200);
    tally.answer(u"d1"_s, u" B"_s, 300);
    tally.answer(u"d2"_s, u"C"_s, 400);
    QCOMPARE(tally.answers().size(), 2);
    QCOMPARE(tally.answers().at(0).deviceId, u"d2"_s);
    QCOMPARE(tally.answers().at(0).text, u"C"_s);
    QCOMPARE(tally.answers().at(0).responseTimeMs, 400);
    QCOMPARE(tally.answers().at(1).deviceId, u"d1"_s);
    QCOMPARE(tally.answers().at(1).text, u" B"_s);
    QCOMPARE(tally.answers().at(1).responseTimeMs, 300);
}

void tst_QuestionTally::aNewPersonChangesEveryRow()
{
    QuestionTally tally(question(PollType::MULTIPLE, LETTERS));
    QCOMPARE(asText(tally.takeChanges()), QStringList());
    tally.answer(u"d1"_s, u"A"_s, 100);
    QCOMPARE(asText(tally.takeChanges()), QStringList{u"0+4"_s});
    QCOMPARE(asText(tally.takeChanges()), QStringList());
}

void tst_QuestionTally::aReplacedAnswerChangesItsRows()
{
    QuestionTally tally(question(PollType::MULTIPLE, LETTERS));
    tally.answer(u"d1"_s, u"A"_s, 100);
    tally.takeChanges();
    tally.answer(u"d1"_s, u"CD"_s, 100);
    QCOMPARE(asText(tally.takeChanges()), QStringList({u"0+1"_s, u"2+2"_s}));
    tally.answer(u"d1"_s, u"A"_s, 100);
    tally.answer(u"d1"_s, u"CD"_s, 100);
    QCOMPARE(asText(tally.takeChanges()), QStringList());
}

void tst_QuestionTally::anAverageChangesEveryRow()
{
    QuestionTally tally(
        question(PollType::SCALE, {{u"1"_s, u""_s}, {u"2"_s, u""_s}, {u"3"_s, u""_s}}));
    answerAll(&tally, {u"1"_s});
    tally.takeChanges();
    answerAll(&tally, {u"3"_s});
    QCOMPARE(asText(tally.takeChanges()), QStringList{u"0+3"_s});
}

QTEST_GUILESS_MAIN(tst_QuestionTally)
#include "tst_questiontally.moc"
