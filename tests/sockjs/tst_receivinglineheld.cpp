#include "AskedLine.h"

using namespace Scripted;

// The receiving line while the host does not keep up, and once it does again.
class tst_ReceivingLineHeld : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void lineEndsBehindAnAnswerDoNotKeepTheLineFromAskingAgain();
    void connectionThatIsLostMeanwhileIsReplaced();
    void whatCameBeforeTheConnectionWasLostIsHeard();
    void whatNobodyAskedForEndsTheLineWithItsConnection();
    void hostThatKeepsUpAllTheTimeIsNoReasonToAskTwice();
    void hostThatKeepsUpAllTheTimeDoesNotPutOffTheNextRequest();
    void serverIsNotSilentWhileNobodyListens();
};

void tst_ReceivingLineHeld::lineEndsBehindAnAnswerDoNotKeepTheLineFromAskingAgain()
{
    AskedLine run({{expectRequest(), send(reply("o\n")), pause(100), send("\r\n"), expectRequest(),
                    send(reply("c[3000,\"Go away!\"]\n"))}});
    run.holdBehindTheFirstFrame();
    QTRY_COMPARE(run.frames.size(), 1);
    QTRY_COMPARE(run.connection()->bytesAvailable(), 2);
    QCOMPARE(run.server.requests().size(), 1);
    run.letGo();
    QTRY_COMPARE(run.ended.size(), 1);
    QCOMPARE(run.ended.at(0), (QList<QVariant>{3000, u"Go away!"_s}));
    run.verifyScripts();
}

void tst_ReceivingLineHeld::connectionThatIsLostMeanwhileIsReplaced()
{
    AskedLine run({{expectRequest(), send(reply("o\n")), pause(100), close()}, {expectRequest()}});
    run.holdBehindTheFirstFrame();
    QTRY_COMPARE(run.frames.size(), 1);
    QTRY_VERIFY(!run.connection());
    QCOMPARE(run.server.connectionCount(), 1);
    run.letGo();
    QVERIFY(run.hasAsked(2));
    QCOMPARE(run.server.connectionCount(), 2);
    QCOMPARE(run.ended.size(), 0);
}

void tst_ReceivingLineHeld::whatCameBeforeTheConnectionWasLostIsHeard()
{
    AskedLine run({{expectRequest(), pause(300), send(reply("a[\"x\"]\n")), close()}});
    QVERIFY(run.hasAsked());
    run.hold();
    QTRY_COMPARE(run.frames.size(), 1);
    QCOMPARE(run.frames.at(0).at(0).toString(), u"a[\"x\"]"_s);
    QCOMPARE(run.ended.size(), 0);
}

void tst_ReceivingLineHeld::whatNobodyAskedForEndsTheLineWithItsConnection()
{
    AskedLine run(
        {{expectRequest(), send(reply("o\n")), pause(100), send(reply("a[\"x\"]\n")), close()}});
    run.holdBehindTheFirstFrame();
    QTRY_COMPARE(run.ended.size(), 1);
    QCOMPARE(run.ended.at(0),
             (QList<QVariant>{1006, u"The server sent what nobody had asked for"_s}));
    QCOMPARE(run.frames.size(), 1);
}

void tst_ReceivingLineHeld::hostThatKeepsUpAllTheTimeIsNoReasonToAskTwice()
{
    AskedLine run({{expectRequest(), pause(300), send(reply("o\n")), expectRequest()}});
    QVERIFY(run.hasAsked());
    run.letGo();
    run.letGo();
    QVERIFY(run.hasAsked(2));
    QTest::qWait(100);
    QCOMPARE(run.server.received(0).count("POST "), 2);
    QCOMPARE(run.ended.size(), 0);
}

// A connection that was made again and brought nothing is followed by a pause.
void tst_ReceivingLineHeld::hostThatKeepsUpAllTheTimeDoesNotPutOffTheNextRequest()
{
    AskedLine run({{expectRequest(), send(reply("o\n")), close()},
                   {expectRequest(), send(reply("")), close()},
                   {expectRequest()}});
    QTimer keepingUp;
    connect(&keepingUp, &QTimer::timeout, &run.line, [&] { run.letGo(); });
    keepingUp.start(20);
    QVERIFY(run.hasAsked(3));
    QCOMPARE(run.server.connectionCount(), 3);
}

void tst_ReceivingLineHeld::serverIsNotSilentWhileNobodyListens()
{
    AskedLine run({{expectRequest(), send(reply("o\nh\n")), expectRequest()}});
    run.line.setHeartbeatTimeout(300);
    QVERIFY(run.hasAsked(2));
    QCOMPARE(run.frames.size(), 2);
    run.hold();
    QTest::qWait(1000);
    QCOMPARE(run.ended.size(), 0);
    run.letGo();
    QTRY_COMPARE(run.ended.size(), 1);
    QCOMPARE(run.ended.at(0), (QList<QVariant>{1006, u"The server was silent for 300 ms"_s}));
}

QTEST_GUILESS_MAIN(tst_ReceivingLineHeld)
#include "tst_receivinglineheld.moc"
