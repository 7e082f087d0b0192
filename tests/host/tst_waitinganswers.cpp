// How much waits for the list of learners, and for how long.
#include "host/WaitingAnswers.h"

#include "support/Text.h"

#include <QtTest/QtTest>

using Tarvo::DeviceAnswer;
using Tarvo::WaitingAnswers;

namespace
{

DeviceAnswer answerOf(const QString &device, const QString &question = u"q"_s,
                      const QString &text = u"yes"_s)
{
    return {device, question, 7, text, true};
}

bool nobody(const QString & /*deviceId*/)
{
    return false;
}
bool everybody(const QString & /*deviceId*/)
{
    return true;
}

// A list that names nobody.
QStringList unknownAfterAList(WaitingAnswers &waiting)
{
    waiting.listBegins();
    return waiting.listCame(nobody).unknown;
}

void fill(WaitingAnswers &waiting)
{
    for (int i = 0; i < 20000; ++i)
        waiting.keep(answerOf(u"device %1"_s.arg(i)));
}

} // namespace

class tst_WaitingAnswers : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void listedDevicesAreKnownAndOthersWaitOn();
    void nobodyGoesBeforeAListHasMissedThem();
    void listIsReadAtOnceForWhoIsNewOrJoins();
    void oneDeviceHasSoMany();
    void allHaveSoMany();
    void textsHaveSoMuchMemory();
    void whoWasMissedGivesWay();
};

void tst_WaitingAnswers::listedDevicesAreKnownAndOthersWaitOn()
{
    WaitingAnswers waiting;
    waiting.keep(answerOf(u"Ada"_s));
    waiting.keep(answerOf(u"Ben"_s));
    waiting.listBegins();
    const auto outcome = waiting.listCame([](const QString &device) { return device == u"Ada"_s; });
    QCOMPARE(outcome.known.size(), 1);
    QCOMPARE(outcome.known.first().deviceId, u"Ada"_s);
    QCOMPARE(outcome.unknown, QStringList());
    QCOMPARE(waiting.listCame(everybody).known.size(), 1);
    QVERIFY(waiting.isEmpty());
}

void tst_WaitingAnswers::nobodyGoesBeforeAListHasMissedThem()
{
    WaitingAnswers waiting;
    waiting.setLongest(0);
    waiting.listBegins();
    waiting.keep(answerOf(u"Ada"_s));
    QCOMPARE(waiting.listCame(nobody).unknown, QStringList());
    QCOMPARE(unknownAfterAList(waiting), QStringList{u"Ada"_s});
    QVERIFY(waiting.isEmpty());
}

void tst_WaitingAnswers::listIsReadAtOnceForWhoIsNewOrJoins()
{
    WaitingAnswers waiting;
    QCOMPARE(waiting.nextListMs(), 5000);
    waiting.keep(answerOf(u"Ada"_s));
    QCOMPARE(waiting.nextListMs(), 0);
    QCOMPARE(unknownAfterAList(waiting), QStringList());
    QCOMPARE(waiting.nextListMs(), 5000);
    waiting.joined(u"Ada"_s);
    QCOMPARE(waiting.nextListMs(), 0);
}

void tst_WaitingAnswers::oneDeviceHasSoMany()
{
    WaitingAnswers waiting;
    for (int i = 0; i < 1000; ++i)
        waiting.keep(answerOf(u"Ada"_s, QString::number(i)));
    waiting.keep(answerOf(u"Ada"_s, u"99"_s, u"no"_s));
    const auto known = waiting.listCame(everybody).known;
    QCOMPARE(known.size(), 100);
    QCOMPARE(known.last().text, u"no"_s);
}

void tst_WaitingAnswers::allHaveSoMany()
{
    WaitingAnswers waiting;
    fill(waiting);
    waiting.keep(answerOf(u"one more"_s));
    QCOMPARE(waiting.listCame(everybody).known.size(), 20000);
    waiting.keep(answerOf(u"one more"_s));
    QCOMPARE(waiting.listCame(everybody).known.size(), 1);
}

// Longer texts in the place of short ones, too.
void tst_WaitingAnswers::textsHaveSoMuchMemory()
{
    WaitingAnswers waiting;
    for (int i = 0; i < 2000; ++i)
        waiting.keep(answerOf(QString::number(i)));
    for (int i = 0; i < 2000; ++i)
        waiting.keep(answerOf(QString::number(i), u"q"_s, QString(10000, u'A')));
    qint64 bytes = 0;
    for (const DeviceAnswer &answer : waiting.listCame(everybody).known)
        bytes += answer.text.size() * 2;
    QVERIFY2(bytes > 15 * 1024 * 1024 && bytes <= 16 * 1024 * 1024,
             qPrintable(QString::number(bytes)));
}

void tst_WaitingAnswers::whoWasMissedGivesWay()
{
    WaitingAnswers waiting;
    fill(waiting);
    QCOMPARE(waiting.keep(answerOf(u"Ada"_s)), QStringList());
    QCOMPARE(unknownAfterAList(waiting), QStringList());
    QCOMPARE(waiting.keep(answerOf(u"Ada"_s)), QStringList{u"device 0"_s});
    const auto known = waiting.listCame(everybody).known;
    QCOMPARE(known.size(), 20000);
    QCOMPARE(known.last().deviceId, u"Ada"_s);
}

QTEST_APPLESS_MAIN(tst_WaitingAnswers)

#include "tst_waitinganswers.moc"
