#include "ModelNotices.h"

#include "host/LiveClass.h"
#include "host/ResultsModel.h"
#include "support/Slowness.h"
#include "support/Text.h"

#include <QtCore/QElapsedTimer>
#include <QtTest/QtTest>

#include <functional>
#include <memory>
#include <utility>

using namespace Tarvo;

class tst_ResultsModel : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void rolesHaveNamesForQml();
    void everyChoiceIsARow();
    void rolesTellAboutTheChoice();
    void otherQuestionsTakeThePlaceOfTheFormer();
    void questionsWithoutChoicesBeginWithoutRows();
    void answersToOtherQuestionsAreNotCounted();
    void sharesAreOfThePeopleWhoAnswered();
    void averagesAreForScales();
    void changesWaitForTheFlush();
    void aNewPersonChangesTheQuestionOnly();
    void questionsSideBySideChangeInOneNotice();
    void aReplacedAnswerChangesTwoRows();
    void aFlushTellsEachRowAtMostOnce();
    void freeAnswersFollowTheirQuestion();
    void freeAnswersComeInOneInsertionAQuestion();
    void freeAnswersThatNobodyGivesAnyMoreGo();
    void theRestStaysTheLastRow();
    void persistentIndexesFollowTheirRows();
    void aLargeSchoolsChoicesAreCountedInTime();
    void aLargeSchoolsWordsAreCountedInTime();
    void aLargeSchoolMayChangeItsMindInTime();
    void whoIsToldMayBeginOtherQuestions_data();
    void whoIsToldMayBeginOtherQuestions();
    void theLastQuestionsBegunStay();
    void whoIsToldMayDeleteTheModel_data();
    void whoIsToldMayDeleteTheModel();
    void whoIsToldMayFlush();

private:
    void beginWords();
    void prepareEveryNotice();
    void onNotice(const QString &notice, const std::function<void()> &action);
    QStringList counts() const;

    std::unique_ptr<ResultsModel> m_model;
    std::unique_ptr<ModelNotices> m_notices;
};

namespace
{

const QVector<Choice> YES_NO{{u"A"_s, u"YES"_s}, {u"B"_s, u"NO"_s}};
const QVector<Choice> LETTERS{{u"A"_s, u""_s}, {u"B"_s, u""_s}, {u"C"_s, u""_s}, {u"D"_s, u""_s}};

const CountedQuestion POLL{u"q1"_s, u""_s, PollType::TRUE_FALSE, YES_NO};
const CountedQuestion LETTER{u"q2"_s, u"Which?"_s, PollType::MULTIPLE, LETTERS};
const CountedQuestion WORD{u"q3"_s, u"What?"_s, PollType::TEXT, {}};

} // namespace

void tst_ResultsModel::init()
{
    m_notices.reset();
    m_model = std::make_unique<ResultsModel>();
    m_notices = std::make_unique<ModelNotices>(m_model.get());
}

// Words between two questions with choices: rows 0 and 1, the words, and the four last.
void tst_ResultsModel::beginWords()
{
    m_model->begin({POLL, WORD, LETTER});
    m_notices->take();
}

// The next flush removes two rows, changes the others but one, and inserts two.
void tst_ResultsModel::prepareEveryNotice()
{
    beginWords();
    for (int i = 0; i < 4; ++i)
        m_model->answer(u"d%1"_s.arg(i), u"q3"_s, u"w%1"_s.arg(i), 100);
    m_model->answer(u"d1"_s, u"q2"_s, u"A"_s, 100);
    m_model->flush();
    m_notices->take();
    m_model->answer(u"d1"_s, u"q3"_s, u"w0"_s, 100);
    m_model->answer(u"d3"_s, u"q3"_s, u"new"_s, 100);
    m_model->answer(u"d1"_s, u"q2"_s, u"new"_s, 100);
}

void tst_ResultsModel::onNotice(const QString &notice, const std::function<void()> &action)
{
    if (notice == u"remove"_s)
        connect(m_model.get(), &ResultsModel::rowsRemoved, m_notices.get(), action);
    else if (notice == u"change"_s)
        connect(m_model.get(), &ResultsModel::dataChanged, m_notices.get(), action);
    else
        connect(m_model.get(), &ResultsModel::rowsInserted, m_notices.get(), action);
}

QStringList tst_ResultsModel::counts() const
{
    QStringList counts;
    for (int row = 0; row < m_model->rowCount(); ++row) {
        const QModelIndex index = m_model->index(row);
        counts.append(u"%1=%2"_s.arg(index.data(LiveClass::ChoiceRole).toString())
                          .arg(index.data(LiveClass::CountRole).toInt()));
    }
    return counts;
}

void tst_ResultsModel::rolesHaveNamesForQml()
{
    const QHash<int, QByteArray> names = m_model->roleNames();
    QCOMPARE(names.size(), 9);
    QCOMPARE(names.value(Qt::DisplayRole), QByteArray("display"));
    QCOMPARE(names.value(LiveClass::QuestionRole), QByteArray("question"));
    QCOMPARE(names.value(LiveClass::QuestionTextRole), QByteArray("questionText"));
    QCOMPARE(names.value(LiveClass::ChoiceRole), QByteArray("choice"));
    QCOMPARE(names.value(LiveClass::LabelRole), QByteArray("label"));
    QCOMPARE(names.value(LiveClass::CountRole), QByteArray("count"));
    QCOMPARE(names.value(LiveClass::ShareRole), QByteArray("share"));
    QCOMPARE(names.value(LiveClass::AverageRole), QByteArray("average"));
    QCOMPARE(names.value(LiveClass::RespondentsRole), QByteArray("respondents"));
}

void tst_ResultsModel::everyChoiceIsARow()
{
    m_model->begin({POLL, LETTER});
    QCOMPARE(m_notices->take(), QStringList{u"insert 0-5"_s});
    QCOMPARE(counts(), QStringList({u"A=0"_s, u"B=0"_s, u"A=0"_s, u"B=0"_s, u"C=0"_s, u"D=0"_s}));
}

void tst_ResultsModel::rolesTellAboutTheChoice()
{
    m_model->begin({LETTER, {u"q9"_s, u"Sure?"_s, PollType::TRUE_FALSE, YES_NO}});
    m_model->answer(u"d1"_s, u"q9"_s, u"B"_s, 100);
    const QModelIndex row = m_model->index(5);
    QCOMPARE(row.data(), QVariant(u"B NO"_s));
    QCOMPARE(row.data(LiveClass::QuestionRole), QVariant(u"q9"_s));
    QCOMPARE(row.data(LiveClass::QuestionTextRole), QVariant(u"Sure?"_s));
    QCOMPARE(row.data(LiveClass::ChoiceRole), QVariant(u"B"_s));
    QCOMPARE(row.data(LiveClass::LabelRole), QVariant(u"B NO"_s));
    QCOMPARE(row.data(LiveClass::CountRole), QVariant(1));
    QCOMPARE(row.data(LiveClass::ShareRole), QVariant(1.0));
    QCOMPARE(row.data(LiveClass::AverageRole), QVariant());
    QCOMPARE(row.data(LiveClass::RespondentsRole), QVariant(1));
    QCOMPARE(row.data(Qt::DecorationRole), QVariant());
    QCOMPARE(m_model->data(QModelIndex()), QVariant());
}

void tst_ResultsModel::otherQuestionsTakeThePlaceOfTheFormer()
{
    m_model->begin({POLL});
    m_model->answer(u"d1"_s, u"q1"_s, u"A"_s, 100);
    m_model->answer(u"d2"_s, u"q1"_s, u"perhaps"_s, 100);
    m_notices->take();
    m_model->begin({LETTER});
    m_model->flush();
    QCOMPARE(m_notices->take(), QStringList({u"remove 0-1"_s, u"insert 0-3"_s}));
    QCOMPARE(counts(), QStringList({u"A=0"_s, u"B=0"_s, u"C=0"_s, u"D=0"_s}));
    m_model->begin({});
    QCOMPARE(m_notices->take(), QStringList{u"remove 0-3"_s});
    m_model->begin({});
    QCOMPARE(m_notices->take(), QStringList());
}

void tst_ResultsModel::questionsWithoutChoicesBeginWithoutRows()
{
    m_model->begin({WORD});
    QCOMPARE(m_notices->take(), QStringList());
    m_model->answer(u"d1"_s, u"q3"_s, u"sun"_s, 100);
    QCOMPARE(m_model->rowCount(), 0);
    m_model->flush();
    QCOMPARE(m_notices->take(), QStringList{u"insert 0-0"_s});
    QCOMPARE(counts(), QStringList{u"sun=1"_s});
}

void tst_ResultsModel::answersToOtherQuestionsAreNotCounted()
{
    QVERIFY(!m_model->answer(u"d1"_s, u"q1"_s, u"A"_s, 100));
    m_model->flush();
    m_model->begin({POLL});
    QVERIFY(m_model->answer(u"d1"_s, u"q1"_s, u"A"_s, 100));
    QVERIFY(!m_model->answer(u"d1"_s, u"q2"_s, u"A"_s, 100));
    m_model->begin({LETTER});
    QVERIFY(!m_model->answer(u"d1"_s, u"q1"_s, u"A"_s, 100));
    QCOMPARE(counts(), QStringList({u"A=0"_s, u"B=0"_s, u"C=0"_s, u"D=0"_s}));
}

void tst_ResultsModel::sharesAreOfThePeopleWhoAnswered()
{
    m_model->begin({LETTER});
    QCOMPARE(m_model->index(0).data(LiveClass::ShareRole), QVariant(0.0));
    m_model->answer(u"d1"_s, u"q2"_s, u"AB"_s, 100);
    m_model->answer(u"d2"_s, u"q2"_s, u"A"_s, 100);
    m_model->answer(u"d3"_s, u"q2"_s, u"ABC"_s, 100);
    m_model->answer(u"d4"_s, u"q2"_s, u"x"_s, 100);
    m_model->flush();
    QCOMPARE(textsOf(*m_model, LiveClass::ShareRole),
             QStringList({u"0.75"_s, u"0.5"_s, u"0.25"_s, u"0"_s, u"0.25"_s}));
    QCOMPARE(textsOf(*m_model, LiveClass::RespondentsRole),
             QStringList({u"4"_s, u"4"_s, u"4"_s, u"4"_s, u"4"_s}));
}

void tst_ResultsModel::averagesAreForScales()
{
    const CountedQuestion scale{
        u"q5"_s, u""_s, PollType::SCALE, {{u"1"_s, u""_s}, {u"2"_s, u""_s}}};
    m_model->begin({scale, POLL});
    QCOMPARE(m_model->index(0).data(LiveClass::AverageRole), QVariant());
    m_model->answer(u"d1"_s, u"q5"_s, u"1"_s, 100);
    m_model->answer(u"d2"_s, u"q5"_s, u"2"_s, 100);
    m_model->answer(u"d1"_s, u"q1"_s, u"1"_s, 100);
    QCOMPARE(m_model->index(0).data(LiveClass::AverageRole), QVariant(1.5));
    QCOMPARE(m_model->index(1).data(LiveClass::AverageRole), QVariant(1.5));
    QCOMPARE(m_model->index(2).data(LiveClass::AverageRole), QVariant());
}

void tst_ResultsModel::changesWaitForTheFlush()
{
    m_model->begin({POLL});
    m_notices->take();
    m_model->answer(u"d1"_s, u"q1"_s, u"A"_s, 100);
    QCOMPARE(m_notices->take(), QStringList());
    m_model->flush();
    QCOMPARE(m_notices->take(), QStringList{u"change 0-1"_s});
    QCOMPARE(m_notices->roles(),
             QVector<int>({LiveClass::CountRole, LiveClass::ShareRole, LiveClass::AverageRole,
                           LiveClass::RespondentsRole}));
    m_model->flush();
    QCOMPARE(m_notices->take(), QStringList());
}

void tst_ResultsModel::aNewPersonChangesTheQuestionOnly()
{
    beginWords();
    m_model->answer(u"d1"_s, u"q2"_s, u"A"_s, 100);
    m_model->flush();
    QCOMPARE(m_notices->take(), QStringList{u"change 2-5"_s});
}

void tst_ResultsModel::questionsSideBySideChangeInOneNotice()
{
    beginWords();
    m_model->answer(u"d1"_s, u"q2"_s, u"A"_s, 100);
    m_model->answer(u"d1"_s, u"q1"_s, u"A"_s, 100);
    m_model->flush();
    QCOMPARE(m_notices->take(), QStringList{u"change 0-5"_s});
}

void tst_ResultsModel::aReplacedAnswerChangesTwoRows()
{
    beginWords();
    m_model->answer(u"d1"_s, u"q2"_s, u"A"_s, 100);
    m_model->flush();
    m_notices->take();
    m_model->answer(u"d1"_s, u"q2"_s, u"C"_s, 100);
    m_model->flush();
    QCOMPARE(m_notices->take(), QStringList({u"change 2-2"_s, u"change 4-4"_s}));
}

void tst_ResultsModel::aFlushTellsEachRowAtMostOnce()
{
    beginWords();
    m_model->answer(u"d0"_s, u"q3"_s, u"kept"_s, 100);
    m_model->answer(u"d1"_s, u"q3"_s, u"gone"_s, 100);
    m_model->flush();
    m_notices->take();
    for (int i = 0; i < 100; ++i) {
        m_model->answer(u"d%1"_s.arg(i), u"q1"_s, u"AB"_s.at(i % 2), 100);
        m_model->answer(u"d%1"_s.arg(i), u"q2"_s, u"D"_s, 100);
    }
    m_model->answer(u"d1"_s, u"q3"_s, u"new"_s, 100);
    m_model->answer(u"d2"_s, u"q3"_s, u"kept"_s, 100);
    m_model->flush();
    // "gone" was row 3, and "new" is: all others are told once to have changed.
    QCOMPARE(m_notices->take(), QStringList({u"remove 3-3"_s, u"change 0-6"_s, u"insert 3-3"_s}));
    QCOMPARE(counts(),
             QStringList({u"A=50"_s, u"B=50"_s, u"kept=2"_s, u"new=1"_s, u"A=0"_s, u"B=0"_s,
                          u"C=0"_s, u"D=100"_s}));
}

void tst_ResultsModel::freeAnswersFollowTheirQuestion()
{
    beginWords();
    m_model->answer(u"d1"_s, u"q3"_s, u"sun"_s, 100);
    m_model->answer(u"d2"_s, u"q1"_s, u"perhaps"_s, 100);
    m_model->answer(u"d3"_s, u"q3"_s, u""_s, 100);
    m_model->flush();
    QCOMPARE(textsOf(*m_model, LiveClass::LabelRole),
             QStringList({u"A YES"_s, u"B NO"_s, u"perhaps"_s, u"sun"_s, u"(empty)"_s, u"A"_s,
                          u"B"_s, u"C"_s, u"D"_s}));
    QCOMPARE(textsOf(*m_model, LiveClass::QuestionRole),
             QStringList({u"q1"_s, u"q1"_s, u"q1"_s, u"q3"_s, u"q3"_s, u"q2"_s, u"q2"_s, u"q2"_s,
                          u"q2"_s}));
}

void tst_ResultsModel::freeAnswersComeInOneInsertionAQuestion()
{
    beginWords();
    for (const QString &word : {u"sun"_s, u"moon"_s, u"sun"_s, u"star"_s})
        m_model->answer(u"of "_s + word, u"q3"_s, word, 100);
    m_model->answer(u"d1"_s, u"q2"_s, u"x,y"_s, 100);
    m_model->flush();
    QCOMPARE(m_notices->take(), QStringList({u"change 2-5"_s, u"insert 2-4"_s, u"insert 9-10"_s}));
}

void tst_ResultsModel::freeAnswersThatNobodyGivesAnyMoreGo()
{
    beginWords();
    for (int i = 0; i < 6; ++i)
        m_model->answer(u"d%1"_s.arg(i), u"q3"_s, u"w%1"_s.arg(i), 100);
    m_model->flush();
    m_notices->take();
    for (int i : {0, 3, 4})
        m_model->answer(u"d%1"_s.arg(i), u"q3"_s, u"w1"_s, 100);
    m_model->flush();
    QCOMPARE(m_notices->take(), QStringList({u"remove 5-6"_s, u"remove 2-2"_s, u"change 2-2"_s}));
    QCOMPARE(counts(),
             QStringList({u"A=0"_s, u"B=0"_s, u"w1=4"_s, u"w2=1"_s, u"w5=1"_s, u"A=0"_s, u"B=0"_s,
                          u"C=0"_s, u"D=0"_s}));
}

void tst_ResultsModel::theRestStaysTheLastRow()
{
    m_model->begin({WORD});
    for (int i = 0; i < 10001; ++i)
        m_model->answer(u"d%1"_s.arg(i), u"q3"_s, u"w%1"_s.arg(i), 100);
    m_model->flush();
    QCOMPARE(m_notices->take(), QStringList{u"insert 0-10000"_s});
    QCOMPARE(m_model->index(10000).data(), QVariant(u"(other answers)"_s));
    m_model->answer(u"d5"_s, u"q3"_s, u"w6"_s, 100);      // makes room
    m_model->answer(u"d10000"_s, u"q3"_s, u"sun"_s, 100); // leaves the rest for it
    m_model->answer(u"d10001"_s, u"q3"_s, u"moon"_s, 100);
    m_model->flush();
    QCOMPARE(m_notices->take(),
             QStringList({u"remove 5-5"_s, u"change 0-9999"_s, u"insert 9999-9999"_s}));
    QCOMPARE(m_model->index(9999).data(), QVariant(u"sun"_s));
    QCOMPARE(m_model->index(10000).data(), QVariant(u"(other answers)"_s));
}

void tst_ResultsModel::persistentIndexesFollowTheirRows()
{
    beginWords();
    m_model->answer(u"d1"_s, u"q3"_s, u"sun"_s, 100);
    m_model->flush();
    const QPersistentModelIndex sun(m_model->index(2));
    const QPersistentModelIndex letter(m_model->index(4));
    m_model->answer(u"d1"_s, u"q3"_s, u"moon"_s, 100);
    m_model->answer(u"d2"_s, u"q3"_s, u"star"_s, 100);
    m_model->flush();
    QVERIFY(!sun.isValid());
    QCOMPARE(letter.row(), 5);
    QCOMPARE(letter.data(), QVariant(u"B"_s));
}

void tst_ResultsModel::aLargeSchoolsChoicesAreCountedInTime()
{
    m_model->begin({LETTER});
    m_notices->take();
    QElapsedTimer elapsed;
    elapsed.start();
    for (int i = 0; i < 10000; ++i)
        m_model->answer(u"d%1"_s.arg(i), u"q2"_s, u"ABCD"_s.at(i % 4), 100);
    m_model->flush();
    QVERIFY2(elapsed.elapsed() < 1000 * SLOWNESS, qPrintable(QString::number(elapsed.elapsed())));
    QCOMPARE(m_notices->take(), QStringList{u"change 0-3"_s});
    QCOMPARE(counts(), QStringList({u"A=2500"_s, u"B=2500"_s, u"C=2500"_s, u"D=2500"_s}));
}

void tst_ResultsModel::aLargeSchoolsWordsAreCountedInTime()
{
    m_model->begin({WORD});
    QElapsedTimer elapsed;
    elapsed.start();
    for (int i = 0; i < 10000; ++i)
        m_model->answer(u"d%1"_s.arg(i), u"q3"_s, u"w%1"_s.arg(i), 100);
    m_model->flush();
    QVERIFY2(elapsed.elapsed() < 1000 * SLOWNESS, qPrintable(QString::number(elapsed.elapsed())));
    QCOMPARE(m_notices->take(), QStringList{u"insert 0-9999"_s});
    QCOMPARE(m_model->index(9999).data(), QVariant(u"w9999"_s));
}

// The model tester looks at every row on every notice, and would take the time itself: it comes in
// when there are few notices left.
void tst_ResultsModel::aLargeSchoolMayChangeItsMindInTime()
{
    m_notices.reset();
    m_model->begin({WORD});
    for (int i = 0; i < 10000; ++i)
        m_model->answer(u"d%1"_s.arg(i), u"q3"_s, u"w%1"_s.arg(i), 100);
    m_model->flush();
    QElapsedTimer elapsed;
    elapsed.start();
    for (int i = 0; i < 10000; i += 2)
        m_model->answer(u"d%1"_s.arg(i), u"q3"_s, u"other"_s, 100);
    m_model->flush();
    QVERIFY2(elapsed.elapsed() < 1000 * SLOWNESS, qPrintable(QString::number(elapsed.elapsed())));
    m_notices = std::make_unique<ModelNotices>(m_model.get());
    m_model->answer(u"d1"_s, u"q3"_s, u"other"_s, 100);
    m_model->flush();
    QCOMPARE(m_notices->take(), QStringList({u"remove 0-0"_s, u"change 4999-4999"_s}));
    QCOMPARE(m_model->index(4999).data(LiveClass::CountRole), QVariant(5001));
}

void tst_ResultsModel::whoIsToldMayBeginOtherQuestions_data()
{
    QTest::addColumn<QString>("notice");
    QTest::addColumn<QStringList>("notices");

    const QStringList removed{u"remove 5-5"_s};
    const QStringList changed{u"remove 5-5"_s, u"remove 3-3"_s, u"change 2-2"_s};
    QTest::newRow("remove") << u"remove"_s
                            << removed + QStringList{u"remove 0-8"_s, u"insert 0-1"_s};
    QTest::newRow("change") << u"change"_s
                            << changed + QStringList{u"remove 0-7"_s, u"insert 0-1"_s};
    QTest::newRow("insert") << u"insert"_s
                            << changed
            + QStringList{u"change 4-4"_s, u"insert 4-4"_s, u"remove 0-8"_s, u"insert 0-1"_s};
}

void tst_ResultsModel::whoIsToldMayBeginOtherQuestions()
{
    QFETCH(QString, notice);
    prepareEveryNotice();
    bool hasBegun = false;
    onNotice(notice, [&] {
        if (!std::exchange(hasBegun, true))
            m_model->begin({POLL});
    });
    m_model->flush();
    QTEST(m_notices->take(), "notices");
    m_model->answer(u"d1"_s, u"q1"_s, u"A"_s, 100);
    m_model->flush();
    QCOMPARE(m_notices->take(), QStringList{u"change 0-1"_s});
}

void tst_ResultsModel::theLastQuestionsBegunStay()
{
    m_model->begin({LETTER});
    m_notices->take();
    onNotice(u"remove"_s, [this] { m_model->begin({LETTER}); });
    m_model->begin({POLL});
    QCOMPARE(m_notices->take(), QStringList({u"remove 0-3"_s, u"insert 0-3"_s}));
}

void tst_ResultsModel::whoIsToldMayDeleteTheModel_data()
{
    QTest::addColumn<QString>("notice");

    QTest::newRow("remove") << u"remove"_s;
    QTest::newRow("change") << u"change"_s;
    QTest::newRow("insert") << u"insert"_s;
}

void tst_ResultsModel::whoIsToldMayDeleteTheModel()
{
    QFETCH(QString, notice);
    prepareEveryNotice();
    onNotice(notice, [this] { m_model.reset(); });
    m_model->flush();
    QVERIFY(!m_model);
    QVERIFY(m_notices->take().last().startsWith(notice));
}

void tst_ResultsModel::whoIsToldMayFlush()
{
    beginWords();
    m_model->answer(u"d1"_s, u"q1"_s, u"A"_s, 100);
    m_model->answer(u"d1"_s, u"q3"_s, u"sun"_s, 100);
    connect(m_model.get(), &ResultsModel::dataChanged, m_model.get(), [this] {
        m_model->answer(u"d2"_s, u"q1"_s, u"A"_s, 100);
        m_model->flush();
    });
    m_model->flush();
    QCOMPARE(m_notices->take(), QStringList({u"change 0-1"_s, u"insert 2-2"_s}));
    m_model->flush();
    QCOMPARE(m_notices->take(), QStringList{u"change 0-1"_s});
}

QTEST_GUILESS_MAIN(tst_ResultsModel)
#include "tst_resultsmodel.moc"
