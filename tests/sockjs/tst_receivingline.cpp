#include "AskedLine.h"

using namespace Scripted;

// The receiving line by itself, on the test's own thread: so the test says when it looks at its connection.
class tst_ReceivingLine : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void wordOfTheServerThatHasArrivedGoesBeforeAnEndFromOutside();
    void endFromOutsideIsToldWhenNothingHasArrived();
};

void tst_ReceivingLine::wordOfTheServerThatHasArrivedGoesBeforeAnEndFromOutside()
{
    AskedLine run({{expectRequest(), pause(300), send(reply("a[\"x\"]\nc[3000,\"Go away!\"]\n"))}});
    QVERIFY(run.hasAsked());
    QVERIFY(run.server.finished()); // by now all of it is in the system's buffers
    run.line.endSoon(1006, u"A post has failed"_s);
    QTRY_COMPARE(run.ended.size(), 1);
    QCOMPARE(run.ended.at(0), (QList<QVariant>{3000, u"Go away!"_s}));
    QCOMPARE(run.frames.size(), 2);
    QTest::qWait(200);
    QCOMPARE(run.ended.size(), 1);
}

void tst_ReceivingLine::endFromOutsideIsToldWhenNothingHasArrived()
{
    AskedLine run({{expectRequest()}});
    QVERIFY(run.hasAsked());
    run.line.endSoon(1006, u"A post has failed"_s);
    QTRY_COMPARE(run.ended.size(), 1);
    QCOMPARE(run.ended.at(0), (QList<QVariant>{1006, u"A post has failed"_s}));
    QCOMPARE(run.frames.size(), 0);
}

QTEST_GUILESS_MAIN(tst_ReceivingLine)
#include "tst_receivingline.moc"
