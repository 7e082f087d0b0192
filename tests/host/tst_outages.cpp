#include "HostedClass.h"
#include "e2e/Guest.h"

#include <QtCore/QRandomGenerator>

#include <algorithm>

using Mode = OutageProxy::Mode;

// Every outage ends, and costs no answer that devices repeat.
class tst_Outages : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { silenceTheLibrary(); }
    void classIsBackSoonAfterEachOfManyOutages();
    void classComesBackWithItsOwnPatience_data();
    void classComesBackWithItsOwnPatience();

private:
    using Times = QVector<int>; // ms from the end of an outage until the answers are there
    using TimesByKind = QMap<Mode, Times>;

    static int backAfter(HostedClass &room, Mode mode, int ms, const QString &question);
    static QString table(TimesByKind times);
};

namespace
{

struct Kind {
    Mode mode;
    const char *name;
};
const Kind KINDS[] = {
    {Mode::Restart, "restart"}, {Mode::Reset, "reset"},    {Mode::Stall, "stall"},
    {Mode::Mute, "mute"},       {Mode::BadGateway, "502"}, {Mode::NameGone, "name gone"},
};
constexpr int KIND_COUNT = int(std::size(KINDS));

constexpr int LEARNERS = 20;
constexpr int SHORTEST_MS = 200;
constexpr int LONGEST_MS = 3000;
// How soon a class is to be back, and how many of a hundred outages may take longer.
constexpr int SOON_MS = 2000;
constexpr int LATE_PERCENT = 5;

int fromEnvironment(const char *name, int fallback)
{
    bool isSet = false;
    const int value = qEnvironmentVariableIntValue(name, &isSet);
    return isSet ? value : fallback;
}

void makeImpatient(Tarvo::LiveClass &host)
{
    host.setLongestPause(1000);
    host.setSilenceLimit(1000);
    host.setWorkingTime(1000);
}

QString describe(const Tarvo::LiveClass &host)
{
    return u"state %1, reason %2, attempt %3"_s.arg(host.state())
        .arg(host.reason())
        .arg(host.attempt());
}

} // namespace

Q_DECLARE_METATYPE(OutageProxy::Mode)

// Nothing comes through during the outage, so answers that are there afterwards have taken the way that
// was opened anew. -1 when they are not there in time.
int tst_Outages::backAfter(HostedClass &room, Mode mode, int ms, const QString &question)
{
    room.proxy.setMode(mode);
    room.devices.answer(question, {u"A"_s, u"B"_s, u"C"_s});
    turnUntil(ms, [] { return false; });
    room.proxy.setMode(Mode::Pass);
    QElapsedTimer clock;
    clock.start();
    const HostedClass::Counts chosen = room.devices.chosen();
    const bool isBack = turnUntil(LONG_MS, [&] {
        return room.host->state() == Tarvo::LiveClass::Live && room.counted() == chosen;
    });
    room.devices.confirm();
    return isBack ? int(clock.elapsed()) : -1;
}

QString tst_Outages::table(TimesByKind times)
{
    QString lines = u"%1%2%3%4\n"_s.arg(u"outage"_s, -12)
                        .arg(u"count"_s, 6)
                        .arg(u"median ms"_s, 11)
                        .arg(u"worst ms"_s, 10);
    for (const Kind &kind : KINDS) {
        Times &row = times[kind.mode];
        std::sort(row.begin(), row.end());
        lines += u"%1%2%3%4\n"_s.arg(QLatin1String(kind.name), -12)
                     .arg(row.size(), 6)
                     .arg(row.value(row.size() / 2), 11)
                     .arg(row.value(row.size() - 1), 10);
    }
    return lines;
}

void tst_Outages::classIsBackSoonAfterEachOfManyOutages()
{
    const int outages = fromEnvironment("TARVO_OUTAGES", 30);
    const auto seed = quint32(
        fromEnvironment("TARVO_OUTAGE_SEED", int(QRandomGenerator::global()->bounded(1 << 30))));
    qInfo("%d outages, TARVO_OUTAGE_SEED=%u", outages, seed);
    QRandomGenerator random(seed);
    HostedClass room;
    makeImpatient(*room.host);
    QVERIFY(room.goLive(LEARNERS));

    TimesByKind times;
    int late = 0;
    for (int i = 0; i < outages; ++i) {
        const Kind kind = KINDS[i < KIND_COUNT ? i : random.bounded(KIND_COUNT)];
        const int ms = random.bounded(SHORTEST_MS, LONGEST_MS);
        const QString question = room.ask(u"Question %1?"_s.arg(i + 1));
        QVERIFY2(!question.isEmpty(), qPrintable(describe(*room.host)));
        const int back = backAfter(room, kind.mode, ms, question);
        QVERIFY2(back >= 0,
                 qPrintable(u"outage %1, %2 for %3 ms: %4"_s.arg(i + 1)
                                .arg(QLatin1String(kind.name))
                                .arg(ms)
                                .arg(describe(*room.host))));
        times[kind.mode].append(back);
        late += back > SOON_MS ? 1 : 0;
    }
    qInfo("%s", qPrintable(table(times)));
    QCOMPARE(room.host->learners()->rowCount(), LEARNERS);
    QVERIFY(room.succeeds(room.host->stop()));
    QVERIFY2(late * 100 <= qMax(100, outages * LATE_PERCENT),
             qPrintable(u"%1 of %2 took longer than %3 ms"_s.arg(late).arg(outages).arg(SOON_MS)));
}

void tst_Outages::classComesBackWithItsOwnPatience_data()
{
    QTest::addColumn<Mode>("mode");
    for (const Kind &kind : KINDS)
        QTest::newRow(kind.name) << kind.mode;
}

void tst_Outages::classComesBackWithItsOwnPatience()
{
    QFETCH(Mode, mode);
    HostedClass room;
    QVERIFY(room.goLive(LEARNERS));
    const QString question = room.ask(u"Ready?"_s);
    QVERIFY2(!question.isEmpty(), qPrintable(describe(*room.host)));
    const int back = backAfter(room, mode, 500, question);
    QVERIFY2(back >= 0, qPrintable(describe(*room.host)));
    qInfo("back after %d ms", back);
    QCOMPARE(int(room.host->reason()), int(Tarvo::Failure::NoReason));
    QCOMPARE(room.host->attempt(), 0);
    QVERIFY(room.succeeds(room.host->stop()));
}

QTEST_GUILESS_MAIN(tst_Outages)

#include "tst_outages.moc"
