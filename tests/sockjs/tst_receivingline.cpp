#include "Http.h"
#include "ScriptedFarEnd.h"
#include "sockjs/ReceivingLine.h"
#include "support/Text.h"

using namespace Scripted;

// The receiving line by itself, on the test's own thread: so the test says when it looks at its connection.
class tst_ReceivingLine : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void wordOfTheServerThatHasArrivedGoesBeforeAnEndFromOutside();
    void endFromOutsideIsToldWhenNothingHasArrived();
};

namespace
{

// A line that asks, and the server that answers.
struct AskedLine : ScriptedFarEnd {
    explicit AskedLine(const Script &answer) : ScriptedFarEnd({Script{expectRequest()} + answer})
    {
        ReceivingLine::Request request;
        request.header = "POST /s/xhr HTTP/1.1\r\nContent-Length: 0\r\n";
        request.url = QUrl(u"http://127.0.0.1/s/xhr"_s);
        line.start(request);
    }
    bool hasAsked()
    {
        return QTest::qWaitFor([this] { return server.requests().size() == 1; });
    }

    ReceivingLine::Backlog backlog = std::make_shared<std::atomic<qint64>>(0);
    ReceivingLine line{{u"127.0.0.1"_s, server.port(), false, QNetworkProxy::NoProxy}, backlog};
    QSignalSpy frames{&line, &ReceivingLine::frameCame};
    QSignalSpy ended{&line, &ReceivingLine::ended};
};

} // namespace

void tst_ReceivingLine::wordOfTheServerThatHasArrivedGoesBeforeAnEndFromOutside()
{
    AskedLine run({pause(300), send(reply("a[\"x\"]\nc[3000,\"Go away!\"]\n"))});
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
    AskedLine run({});
    QVERIFY(run.hasAsked());
    run.line.endSoon(1006, u"A post has failed"_s);
    QTRY_COMPARE(run.ended.size(), 1);
    QCOMPARE(run.ended.at(0), (QList<QVariant>{1006, u"A post has failed"_s}));
    QCOMPARE(run.frames.size(), 0);
}

QTEST_GUILESS_MAIN(tst_ReceivingLine)
#include "tst_receivingline.moc"
