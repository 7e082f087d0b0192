#include "lesson/Learners.h"
#include "presenter/RowsModel.h"
#include "support/Text.h"

#include "host/LiveClass.h"

#include <QtTest/QtTest>

using namespace Host;
using Tarvo::LiveClass;

class tst_LearnerList : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aLearnerIsFoundByDeviceNameOrNumber_data();
    void aLearnerIsFoundByDeviceNameOrNumber();
    void whyThereIsNoneIsSaid_data();
    void whyThereIsNoneIsSaid();
    void whoIsThereIsListedWithNumbers();
    void whoHasAnsweredIsListed();
    void answersFitTheWidth();
    void wordsOfOthersCannotReachTheTerminalAsCommands();
};

namespace
{

RowsModel::Row learner(const QString &device, const QString &name, const QString &type,
                       bool isPresent = true, const QString &answer = QString())
{
    return {{Qt::DisplayRole, name},
            {LiveClass::DeviceIdRole, device},
            {LiveClass::DeviceTypeRole, type},
            {LiveClass::PresentRole, isPresent},
            {LiveClass::AnsweredRole, !answer.isNull()},
            {LiveClass::LastAnswerRole, answer}};
}

// Who is gone has no number.
const RowsModel &someLearners()
{
    static const RowsModel model({
        learner(u"d-a"_s, u"Ada"_s, u"tablet"_s, true, u"C,D"_s),
        learner(u"d-x"_s, u"Bo"_s, u"phone"_s, false, u"B"_s),
        learner(u"d-b"_s, u"Bo"_s, u"phone"_s),
        learner(u"d-c"_s, u"Bo"_s, u"laptop"_s, true, u""_s),
        learner(u"d-d"_s, u"Cleo"_s, u"laptop"_s),
        learner(u"d-e"_s, u"Bo"_s, u"laptop"_s),
    });
    return model;
}

} // namespace

void tst_LearnerList::aLearnerIsFoundByDeviceNameOrNumber_data()
{
    QTest::addColumn<QString>("word");
    QTest::addColumn<QString>("device");
    QTest::newRow("device") << u"d-b"_s << u"d-b"_s;
    QTest::newRow("name") << u"Ada"_s << u"d-a"_s;
    QTest::newRow("first") << u"1"_s << u"d-a"_s;
    QTest::newRow("after one who is gone") << u"2"_s << u"d-b"_s;
    QTest::newRow("last") << u"5"_s << u"d-e"_s;
}

void tst_LearnerList::aLearnerIsFoundByDeviceNameOrNumber()
{
    QFETCH(QString, word);
    const FoundLearner found = findLearner(someLearners(), word);
    QCOMPARE(found.error, QString());
    QTEST(found.deviceId, "device");
}

void tst_LearnerList::whyThereIsNoneIsSaid_data()
{
    QTest::addColumn<QString>("word");
    QTest::addColumn<QString>("why");
    QTest::newRow("several") << u"Bo"_s << u"3 learners are called Bo: use 2, 3 or 5."_s;
    QTest::newRow("unknown") << u"Eve"_s << u"There is no learner 'Eve'."_s;
    QTest::newRow("gone") << u"d-x"_s << u"There is no learner 'd-x'."_s;
    QTest::newRow("behind the last") << u"6"_s << u"There is no learner '6'."_s;
    QTest::newRow("zero") << u"0"_s << u"There is no learner '0'."_s;
    QTest::newRow("empty") << u""_s << u"There is no learner ''."_s;
}

void tst_LearnerList::whyThereIsNoneIsSaid()
{
    QFETCH(QString, word);
    QTEST(findLearner(someLearners(), word).error, "why");
}

void tst_LearnerList::whoIsThereIsListedWithNumbers()
{
    QCOMPARE(learnerLines(someLearners()),
             QStringList({u"5 learners:"_s, u"1. Ada (tablet), device d-a"_s,
                          u"2. Bo (phone), device d-b"_s, u"3. Bo (laptop), device d-c"_s,
                          u"4. Cleo (laptop), device d-d"_s, u"5. Bo (laptop), device d-e"_s}));
    QCOMPARE(learnerLines(RowsModel({})), QStringList({u"0 learners."_s}));
}

void tst_LearnerList::whoHasAnsweredIsListed()
{
    QCOMPARE(answerLines(someLearners(), 80),
             QStringList({u"3 of 6 learners answered:"_s, u"1. Ada   C,D"_s, u"-  Bo    (gone) B"_s,
                          u"2. Bo    not yet"_s, u"3. Bo    (empty)"_s, u"4. Cleo  not yet"_s,
                          u"5. Bo    not yet"_s}));
    QCOMPARE(answerLines(RowsModel({}), 80), QStringList({u"0 of 0 learners answered."_s}));
}

void tst_LearnerList::answersFitTheWidth()
{
    const RowsModel model({learner(u"d"_s, u"Wolfeschlegelsteinhausenbergerdorff"_s, u"t"_s, true,
                                   u"a long answer with many words"_s)});
    QCOMPARE(answerLines(model, 40),
             QStringList(
                 {u"1 of 1 learner answered:"_s, u"1. Wolfeschlegelsteinhause…  a long ans…"_s}));
}

void tst_LearnerList::wordsOfOthersCannotReachTheTerminalAsCommands()
{
    const RowsModel model(
        {learner(u"d"_s, u"\x1b[2JAda\u202e"_s, u"\x07"_s, true, u"\x1b]0;x\x07"_s)});
    QCOMPARE(learnerLines(model).last(), u"1. \\x1b[2JAda\\u202e (\\x07), device d"_s);
    QCOMPARE(answerLines(model, 80).last(), u"1. \\x1b[2JAda\\u202e  \\x1b]0;x\\x07"_s);
}

QTEST_GUILESS_MAIN(tst_LearnerList)
#include "tst_learnerlist.moc"
