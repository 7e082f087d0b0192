#include "HostedClass.h"
#include "e2e/Guest.h"

#include <QtCore/QThread>

using Tarvo::LiveClass;

// The class goes on while the thread that it lives on stands still.
class tst_FrozenHost : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { silenceTheLibrary(); }
    void hostThatStandsStillMissesNothing();
};

void tst_FrozenHost::hostThatStandsStillMissesNothing()
{
    const unsigned long quarter = qEnvironmentVariableIsSet("TARVO_LONG") ? 15 : 5;
    HostedClass room;
    QVERIFY(room.goLive(10));
    const QString question = room.ask(u"Ready?"_s);
    QVERIFY(!question.isEmpty());
    QSignalSpy states(room.host.get(), &LiveClass::stateChanged);
    QThread::sleep(quarter);
    room.devices.join(room.host->sessionCode(), 10);
    QThread::sleep(quarter);
    room.devices.answerOnce(question, {u"A"_s, u"B"_s, u"C"_s});
    QThread::sleep(2 * quarter);

    const HostedClass::Counts expected{{u"A"_s, 7}, {u"B"_s, 7}, {u"C"_s, 6}};
    QVERIFY(room.shows(20));
    QTRY_COMPARE_WITH_TIMEOUT(room.counted(), expected, LONG_MS);
    QCOMPARE(int(room.host->state()), int(LiveClass::Live));
    QCOMPARE(states.count(), 0);
}

QTEST_GUILESS_MAIN(tst_FrozenHost)

#include "tst_frozenhost.moc"
