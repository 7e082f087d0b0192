#include "ModelNotices.h"

#include "host/LearnersModel.h"
#include "host/LiveClass.h"
#include "support/Text.h"

#include <QtCore/QElapsedTimer>
#include <QtTest/QtTest>

#include <memory>

using namespace Tarvo;

class tst_LearnersModel : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void rolesHaveNamesForQml();
    void aBatchIsOneInsertion();
    void rolesTellAboutTheLearner();
    void whoHasNoNameIsShownByTheDevice();
    void whoLeavesStaysUntilTheNextActivity();
    void whoComesBackIsTheSameRow();
    void whoIsTwiceInABatchIsOneRow();
    void anotherNameIsAChangeOfTheRow();
    void changesTellTheirRoles();
    void neighboursChangeInOneNotice();
    void aRowChangesAtMostOnceAFlush();
    void answersLastUntilTheNextActivity();
    void strangersArePassedOver();
    void theGoneAreRemovedInRangesFromTheEnd();
    void theOthersMoveUpWhenARowIsRemoved();
    void clearRemovesAllAtOnce();
    void namesOutliveTheirRowsForTheActivity();
    void persistentIndexesFollowTheirRows();
    void learnersBeyondTheBoundAreNotShown();
    void wholeSchoolsAreHandledInTime();
    void scatteredRemovalsAreHandledInTime();
    void whoIsToldMayRemoveRows();
    void whoIsToldMayDeleteTheModel();

private:
    bool isTrue(int row, int role) const { return m_model->index(row).data(role).toBool(); }

    std::unique_ptr<LearnersModel> m_model;
    std::unique_ptr<ModelNotices> m_notices;
};

namespace
{

// "n0", "n1", ... on the devices "d0", "d1", ...
QVector<Learner> crowd(int count)
{
    QVector<Learner> learners;
    for (int i = 0; i < count; ++i)
        learners.append({u"d%1"_s.arg(i), u"n%1"_s.arg(i), u"web"_s});
    return learners;
}

} // namespace

void tst_LearnersModel::init()
{
    m_notices.reset();
    m_model = std::make_unique<LearnersModel>();
    m_notices = std::make_unique<ModelNotices>(m_model.get());
}

void tst_LearnersModel::rolesHaveNamesForQml()
{
    const QHash<int, QByteArray> names = m_model->roleNames();
    QCOMPARE(names.size(), 7);
    QCOMPARE(names.value(Qt::DisplayRole), QByteArray("display"));
    QCOMPARE(names.value(LiveClass::NameRole), QByteArray("name"));
    QCOMPARE(names.value(LiveClass::DeviceTypeRole), QByteArray("deviceType"));
    QCOMPARE(names.value(LiveClass::DeviceIdRole), QByteArray("deviceId"));
    QCOMPARE(names.value(LiveClass::PresentRole), QByteArray("present"));
    QCOMPARE(names.value(LiveClass::AnsweredRole), QByteArray("answered"));
    QCOMPARE(names.value(LiveClass::LastAnswerRole), QByteArray("lastAnswer"));
}

void tst_LearnersModel::aBatchIsOneInsertion()
{
    m_model->join(crowd(3));
    QCOMPARE(m_notices->take(), QStringList{u"insert 0-2"_s});
    m_model->join(crowd(5)); // three of them are there
    QCOMPARE(m_notices->take(), QStringList{u"insert 3-4"_s});
    m_model->join({});
    QCOMPARE(m_notices->take(), QStringList());
    QCOMPARE(textsOf(*m_model, LiveClass::DeviceIdRole),
             QStringList({u"d0"_s, u"d1"_s, u"d2"_s, u"d3"_s, u"d4"_s}));
}

void tst_LearnersModel::rolesTellAboutTheLearner()
{
    m_model->join({{u"d1"_s, u"Ada"_s, u"tablet"_s}});
    const QModelIndex row = m_model->index(0);
    QCOMPARE(row.data(), QVariant(u"Ada"_s));
    QCOMPARE(row.data(LiveClass::NameRole), QVariant(u"Ada"_s));
    QCOMPARE(row.data(LiveClass::DeviceTypeRole), QVariant(u"tablet"_s));
    QCOMPARE(row.data(LiveClass::DeviceIdRole), QVariant(u"d1"_s));
    QCOMPARE(row.data(LiveClass::PresentRole), QVariant(true));
    QCOMPARE(row.data(LiveClass::AnsweredRole), QVariant(false));
    QCOMPARE(row.data(LiveClass::LastAnswerRole), QVariant(QString()));
    QCOMPARE(row.data(Qt::DecorationRole), QVariant());
    QCOMPARE(m_model->data(QModelIndex()), QVariant());
}

void tst_LearnersModel::whoHasNoNameIsShownByTheDevice()
{
    m_model->join({{u"d1"_s, u""_s, u"tablet"_s}});
    QCOMPARE(m_model->index(0).data(), QVariant(u"d1"_s));
    QCOMPARE(m_model->index(0).data(LiveClass::NameRole), QVariant(u""_s));
}

void tst_LearnersModel::whoLeavesStaysUntilTheNextActivity()
{
    m_model->join(crowd(2));
    m_model->leave(u"d0"_s);
    m_model->flush();
    QCOMPARE(m_notices->take(), QStringList({u"insert 0-1"_s, u"change 0-0"_s}));
    m_model->leave(u"d0"_s);
    m_model->flush();
    QCOMPARE(m_notices->take(), QStringList());
    QVERIFY(!isTrue(0, LiveClass::PresentRole));
    m_model->beginActivity();
    QCOMPARE(m_notices->take(), QStringList{u"remove 0-0"_s});
    QCOMPARE(textsOf(*m_model, LiveClass::NameRole), QStringList{u"n1"_s});
}

void tst_LearnersModel::whoComesBackIsTheSameRow()
{
    m_model->join(crowd(2));
    m_model->leave(u"d0"_s);
    m_model->flush();
    m_notices->take();
    m_model->join(crowd(1));
    m_model->flush();
    QCOMPARE(m_notices->take(), QStringList{u"change 0-0"_s});
    QCOMPARE(m_notices->roles(), QVector<int>{LiveClass::PresentRole});
    QVERIFY(isTrue(0, LiveClass::PresentRole));
}

void tst_LearnersModel::whoIsTwiceInABatchIsOneRow()
{
    m_model->join({{u"d1"_s, u"Ada"_s, u"web"_s}, {u"d1"_s, u"Bob"_s, u"web"_s}});
    QCOMPARE(textsOf(*m_model, LiveClass::NameRole), QStringList{u"Bob"_s});
}

void tst_LearnersModel::anotherNameIsAChangeOfTheRow()
{
    m_model->join(crowd(2));
    m_notices->take();
    m_model->join({{u"d1"_s, u"Ada"_s, u"web"_s}});
    QCOMPARE(m_notices->take(), QStringList());
    m_model->flush();
    QCOMPARE(m_notices->take(), QStringList{u"change 1-1"_s});
    QCOMPARE(m_notices->roles(),
             QVector<int>({Qt::DisplayRole, LiveClass::NameRole, LiveClass::DeviceTypeRole}));
    QCOMPARE(textsOf(*m_model, LiveClass::NameRole), QStringList({u"n0"_s, u"Ada"_s}));
}

void tst_LearnersModel::changesTellTheirRoles()
{
    m_model->join(crowd(1));
    m_model->answer(u"d0"_s, u"B"_s);
    m_model->flush();
    QCOMPARE(m_notices->roles(),
             QVector<int>({LiveClass::AnsweredRole, LiveClass::LastAnswerRole}));
    m_model->leave(u"d0"_s);
    m_model->flush();
    QCOMPARE(m_notices->roles(), QVector<int>{LiveClass::PresentRole});
}

void tst_LearnersModel::neighboursChangeInOneNotice()
{
    m_model->join(crowd(6));
    m_notices->take();
    for (const QString &device : {u"d5"_s, u"d1"_s, u"d3"_s, u"d2"_s})
        m_model->answer(device, u"B"_s);
    QCOMPARE(m_notices->take(), QStringList());
    m_model->flush();
    QCOMPARE(m_notices->take(), QStringList({u"change 1-3"_s, u"change 5-5"_s}));
}

void tst_LearnersModel::aRowChangesAtMostOnceAFlush()
{
    m_model->join(crowd(2));
    m_notices->take();
    for (int i = 0; i < 100; ++i) {
        m_model->answer(u"d1"_s, QString::number(i));
        m_model->leave(u"d1"_s);
        m_model->join(crowd(2));
    }
    m_model->flush();
    QCOMPARE(m_notices->take(), QStringList{u"change 1-1"_s});
    m_model->flush();
    QCOMPARE(m_notices->take(), QStringList());
}

void tst_LearnersModel::answersLastUntilTheNextActivity()
{
    m_model->join(crowd(3));
    m_model->answer(u"d1"_s, u"A"_s);
    m_model->answer(u"d1"_s, u"B"_s);
    QVERIFY(isTrue(1, LiveClass::AnsweredRole));
    QCOMPARE(textsOf(*m_model, LiveClass::LastAnswerRole), QStringList({u""_s, u"B"_s, u""_s}));
    m_model->flush();
    m_notices->take();
    m_model->beginActivity();
    m_model->flush();
    QCOMPARE(m_notices->take(), QStringList{u"change 1-1"_s});
    QVERIFY(!isTrue(1, LiveClass::AnsweredRole));
    QCOMPARE(textsOf(*m_model, LiveClass::LastAnswerRole), QStringList({u""_s, u""_s, u""_s}));
}

void tst_LearnersModel::strangersArePassedOver()
{
    m_model->join(crowd(1));
    m_notices->take();
    m_model->answer(u"d7"_s, u"A"_s);
    m_model->leave(u"d7"_s);
    m_model->remove(u"d7"_s);
    m_model->flush();
    QCOMPARE(m_notices->take(), QStringList());
    QCOMPARE(m_model->nameOf(u"d7"_s), QString());
}

void tst_LearnersModel::theGoneAreRemovedInRangesFromTheEnd()
{
    m_model->join(crowd(8));
    for (const QString &device : {u"d0"_s, u"d3"_s, u"d4"_s, u"d6"_s, u"d7"_s})
        m_model->leave(device);
    m_model->flush();
    m_notices->take();
    m_model->beginActivity();
    QCOMPARE(m_notices->take(), QStringList({u"remove 6-7"_s, u"remove 3-4"_s, u"remove 0-0"_s}));
    QCOMPARE(textsOf(*m_model, LiveClass::NameRole), QStringList({u"n1"_s, u"n2"_s, u"n5"_s}));
}

void tst_LearnersModel::theOthersMoveUpWhenARowIsRemoved()
{
    m_model->join(crowd(4));
    m_model->remove(u"d1"_s);
    QCOMPARE(m_notices->take(), QStringList({u"insert 0-3"_s, u"remove 1-1"_s}));
    m_model->answer(u"d3"_s, u"A"_s);
    m_model->flush();
    QCOMPARE(m_notices->take(), QStringList{u"change 2-2"_s});
    QCOMPARE(textsOf(*m_model, LiveClass::LastAnswerRole), QStringList({u""_s, u""_s, u"A"_s}));
    m_model->join(crowd(2)); // whose row was removed comes as a new one
    QCOMPARE(textsOf(*m_model, LiveClass::NameRole),
             QStringList({u"n0"_s, u"n2"_s, u"n3"_s, u"n1"_s}));
}

void tst_LearnersModel::clearRemovesAllAtOnce()
{
    m_model->clear();
    QCOMPARE(m_notices->take(), QStringList());
    m_model->join(crowd(3));
    m_model->clear();
    QCOMPARE(m_notices->take(), QStringList({u"insert 0-2"_s, u"remove 0-2"_s}));
    m_model->join(crowd(1));
    QCOMPARE(m_notices->take(), QStringList{u"insert 0-0"_s});
}

void tst_LearnersModel::namesOutliveTheirRowsForTheActivity()
{
    m_model->join(crowd(3));
    m_model->remove(u"d0"_s);
    m_model->leave(u"d1"_s);
    QCOMPARE(m_model->nameOf(u"d0"_s), u"n0"_s);
    QCOMPARE(m_model->nameOf(u"d1"_s), u"n1"_s);
    m_model->clear();
    QCOMPARE(m_model->nameOf(u"d2"_s), u"n2"_s);
    m_model->beginActivity();
    QCOMPARE(m_model->nameOf(u"d0"_s), QString());
}

void tst_LearnersModel::persistentIndexesFollowTheirRows()
{
    m_model->join(crowd(4));
    const QPersistentModelIndex removed(m_model->index(1));
    const QPersistentModelIndex kept(m_model->index(2));
    m_model->leave(u"d1"_s);
    m_model->beginActivity();
    m_model->join(crowd(1));
    m_model->flush();
    QVERIFY(!removed.isValid());
    QCOMPARE(kept.row(), 1);
    QCOMPARE(kept.data(LiveClass::NameRole), QVariant(u"n2"_s));
}

void tst_LearnersModel::learnersBeyondTheBoundAreNotShown()
{
    m_model->join(crowd(20002));
    QCOMPARE(m_model->rowCount(), 20000);
    QCOMPARE(m_model->nameOf(u"d19999"_s), u"n19999"_s);
    QCOMPARE(m_model->nameOf(u"d20000"_s), QString());
    m_model->answer(u"d20000"_s, u"A"_s);
    m_model->remove(u"d5"_s); // which makes room for one
    m_model->join(crowd(20002));
    QCOMPARE(m_notices->take(),
             QStringList({u"insert 0-19999"_s, u"remove 5-5"_s, u"insert 19999-19999"_s}));
}

void tst_LearnersModel::wholeSchoolsAreHandledInTime()
{
    const QVector<Learner> school = crowd(10000);
    QElapsedTimer elapsed;
    elapsed.start();
    m_model->join(school);
    for (const Learner &learner : school)
        m_model->answer(learner.deviceId, u"A"_s);
    for (const Learner &learner : school)
        m_model->leave(learner.deviceId);
    m_model->join(school);
    m_model->flush();
    m_model->beginActivity();
    QVERIFY2(elapsed.elapsed() < 2000, qPrintable(QString::number(elapsed.elapsed())));
    QCOMPARE(m_notices->take(), QStringList({u"insert 0-9999"_s, u"change 0-9999"_s}));
}

// The model tester looks at every row on every notice, and would take the time itself: it comes in
// when there are few notices left.
void tst_LearnersModel::scatteredRemovalsAreHandledInTime()
{
    m_notices.reset();
    m_model->join(crowd(20000));
    for (int i = 0; i < 20000; i += 2)
        m_model->leave(u"d%1"_s.arg(i));
    QElapsedTimer elapsed;
    elapsed.start();
    m_model->beginActivity();
    QVERIFY2(elapsed.elapsed() < 2000, qPrintable(QString::number(elapsed.elapsed())));
    m_notices = std::make_unique<ModelNotices>(m_model.get());
    QCOMPARE(m_model->rowCount(), 10000);
    m_model->answer(u"d19999"_s, u"A"_s);
    m_model->flush();
    QCOMPARE(m_notices->take(), QStringList{u"change 9999-9999"_s});
}

void tst_LearnersModel::whoIsToldMayRemoveRows()
{
    m_model->join(crowd(6));
    for (const QString &device : {u"d1"_s, u"d3"_s, u"d4"_s})
        m_model->answer(device, u"A"_s);
    m_notices->take();
    const auto told = connect(m_model.get(), &LearnersModel::dataChanged, m_model.get(), [this] {
        m_model->remove(u"d0"_s);
        m_model->remove(u"d2"_s);
    });
    m_model->flush();
    disconnect(told);
    QCOMPARE(m_notices->take(),
             QStringList({u"change 1-1"_s, u"remove 0-0"_s, u"remove 1-1"_s, u"change 2-2"_s}));
    m_model->flush();
    QCOMPARE(m_notices->take(), QStringList{u"change 1-1"_s}); // which has moved up meanwhile
}

void tst_LearnersModel::whoIsToldMayDeleteTheModel()
{
    m_model->join(crowd(5));
    m_model->answer(u"d1"_s, u"A"_s);
    m_model->answer(u"d3"_s, u"A"_s);
    connect(m_model.get(), &LearnersModel::dataChanged, this, [this] { m_model.reset(); });
    m_model->flush();
    QVERIFY(!m_model);
    QCOMPARE(m_notices->take(), QStringList({u"insert 0-4"_s, u"change 1-1"_s}));
}

QTEST_GUILESS_MAIN(tst_LearnersModel)
#include "tst_learnersmodel.moc"
