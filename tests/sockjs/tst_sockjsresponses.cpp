#include "WorkerRun.h"
#include "support/LogCapture.h"
#include "support/ScriptedServer.h"
#include "support/Text.h"

#include <QtTest/QtTest>

using namespace Scripted;

// How the worker reads what a server sends: whole, in pieces, in one packet with the next, and
// against the rules.
class tst_SockJSResponses : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void bodiesAreDelivered_data();
    void bodiesAreDelivered();
    void everyCutGivesTheSame_data();
    void everyCutGivesTheSame();
    void headersAreReportedWithTheirRequest();
    void chunkedAnnouncementIsLogged();
    void responseThatNobodyAskedForIsDroppedAfterTwoSeconds();
    void halfAChunkIsDroppedAfterTwoSecondsAndTheRequestKeepsWaiting();
    void halfAHeaderIsDroppedAfterTwoSeconds();
    void bytesAfterASilenceInsideABody_data();
    void bytesAfterASilenceInsideABody();
    void requestsWaitWhileResponseDataIsPending();
    void reconnectionForgetsTheHalfReadResponse();
    void lastResponseBeforeACloseIsRead();
};

namespace
{

const QByteArray CHUNKED_HEADER = "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n";

QString localhost()
{
    return u"127.0.0.1"_s;
}

} // namespace

void tst_SockJSResponses::bodiesAreDelivered_data()
{
    QTest::addColumn<QByteArrayList>("packets");
    QTest::addColumn<int>("requests");
    QTest::addColumn<QStringList>("messages");

    QTest::newRow("error response like any other")
        << QByteArrayList{"HTTP/1.1 404 Not Found\r\nContent-Length: 3\r\n\r\nabc"} << 1
        << QStringList{"abc"};
    QTest::newRow("length without a space")
        << QByteArrayList{"HTTP/1.1 200 OK\r\nContent-Length:12\r\n\r\nabcdefghijkl"} << 1
        << QStringList{"abcdefghijkl"};
    QTest::newRow("header lines that are none")
        << QByteArrayList{"HTTP/1.1 200 OK\r\n: x\r\nwhat\r\nContent-Length: 3\r\n\r\nabc"} << 1
        << QStringList{"abc"};
    QTest::newRow("plain body in two reads")
        << QByteArrayList{"HTTP/1.1 200 OK\r\nContent-Length: 6\r\n\r\nabc", "def"} << 1
        << QStringList{"abcdef"};
    QTest::newRow("final line feed is not delivered")
        << QByteArrayList{"HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\no\n"} << 1
        << QStringList{"o"};
    QTest::newRow("only one line feed is taken away")
        << QByteArrayList{"HTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\no\n\n"} << 1
        << QStringList{"o\n"};
    QTest::newRow("body of one byte")
        << QByteArrayList{"HTTP/1.1 200 OK\r\nContent-Length: 1\r\n\r\no"} << 1 << QStringList{"o"};
    QTest::newRow("body of one byte and the next response in one packet")
        << QByteArrayList{"HTTP/1.1 200 OK\r\nContent-Length: 1\r\n\r\no"
                          "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nh\n"}
        << 2 << QStringList{"o", "h"};
    QTest::newRow("two responses in one packet")
        << QByteArrayList{"HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\no\n"
                          "HTTP/1.1 200 OK\r\nContent-Length: 8\r\n\r\na[\"abc\"]"}
        << 2 << QStringList{"o", "a[\"abc\"]"};
    QTest::newRow("second half of a body and the next response in one packet")
        << QByteArrayList{"HTTP/1.1 200 OK\r\nContent-Length: 6\r\n\r\nabc",
                          "defHTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nh\n"}
        << 2 << QStringList{"abcdef", "h"};
    QTest::newRow("empty body and the next response in one packet")
        << QByteArrayList{"HTTP/1.1 200 OK\r\nContent-Length: 0\r\n\r\n"
                          "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nh\n"}
        << 2 << QStringList{"h"};
    QTest::newRow("body of unannounced length")
        << QByteArrayList{"HTTP/1.1 200 OK\r\n\r\nabc"} << 1 << QStringList{"abc"};
    QTest::newRow("body of unannounced length after its header")
        << QByteArrayList{"HTTP/1.1 200 OK\r\n\r\n", "abc"} << 1 << QStringList{"abc"};
    QTest::newRow("header without a body, then the next")
        << QByteArrayList{"HTTP/1.1 204 No Content\r\n\r\n",
                          "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nh\n"}
        << 2 << QStringList{"h"};
    QTest::newRow("length beyond an int")
        << QByteArrayList{"HTTP/1.1 200 OK\r\nContent-Length: 99999999999\r\n\r\nabc"} << 1
        << QStringList{"abc"};
    QTest::newRow("negative length")
        << QByteArrayList{"HTTP/1.1 200 OK\r\nContent-Length: -3\r\n\r\nabc"} << 1
        << QStringList{"abc"};
    QTest::newRow("chunked") << QByteArrayList{CHUNKED_HEADER + "5\r\nhello\r\n0\r\n\r\n"} << 1
                             << QStringList{"hello"};
    QTest::newRow("chunk by chunk")
        << QByteArrayList{CHUNKED_HEADER, "2\r\na[\r\n", "5\r\n\"abc\"\r\n", "2\r\n]\n\r\n",
                          "0\r\n\r\n"}
        << 1 << QStringList{"a[\"abc\"]"};
    QTest::newRow("chunk of one byte ends the body at once")
        << QByteArrayList{CHUNKED_HEADER + "1\r\no\r\n0\r\n\r\n",
                          "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nh\n"}
        << 2 << QStringList{"h"};
    QTest::newRow("chunked response and the next in one packet")
        << QByteArrayList{CHUNKED_HEADER + "2\r\no\n\r\n0\r\n\r\n" + CHUNKED_HEADER
                          + "2\r\nh\n\r\n0\r\n\r\n"}
        << 2 << QStringList{"o", "h"};
    QTest::newRow("chunk of a bad size ends the body")
        << QByteArrayList{CHUNKED_HEADER + "2\r\nab\r\n-5\r\nhello\r\n",
                          "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nh\n"}
        << 2 << QStringList{"ab", "h"};
    QTest::newRow("chunked wins over the length")
        << QByteArrayList{"HTTP/1.1 200 OK\r\nContent-Length: 2\r\n"
                          "Transfer-Encoding: gzip, chunked\r\n\r\n5\r\nhello\r\n0\r\n\r\n"}
        << 1 << QStringList{"hello"};
    QTest::newRow("not chunked when written otherwise")
        << QByteArrayList{"HTTP/1.1 200 OK\r\nTransfer-Encoding: Chunked\r\n"
                          "Content-Length: 3\r\n\r\nabc"}
        << 1 << QStringList{"abc"};
    QTest::newRow("lengths count bytes") << QByteArrayList{"HTTP/1.1 200 OK\r\nContent-Length: "
                                                           "7\r\n\r\n\xe2\x82\xac\xf0\x9f\x98\x80"}
                                         << 1 << QStringList{u"\u20ac\U0001F600"_s};
    QTest::newRow("letter split over two chunks") << QByteArrayList{CHUNKED_HEADER
                                                                    + "2\r\n\xe2\x82\r\n3\r\n\xac"
                                                                      "bc\r\n0\r\n\r\n"}
                                                  << 1
                                                  << QStringList{u"\u20ac"
                                                                 "bc"_s};
    QTest::newRow("zero byte") << QByteArrayList{QByteArray(
        "HTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\na\0b", 41)}
                               << 1 << QStringList{QString::fromUtf8("a\0b", 3)};
    QTest::newRow("no UTF-8") << QByteArrayList{"HTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\na\xff"
                                                "b"}
                              << 1
                              << QStringList{u"a\ufffd"
                                             "b"_s};
    QTest::newRow("body that holds a header, plain")
        << QByteArrayList{"HTTP/1.1 200 OK\r\nContent-Length: 28\r\n\r\na[\"HTTP/1.1 ",
                          "200 OK\r\n\r\n:)\"]\n\n"}
        << 1 << QStringList{"a[\"HTTP/1.1 200 OK\r\n\r\n:)\"]\n"};
    QTest::newRow("body that holds a header, chunked")
        << QByteArrayList{CHUNKED_HEADER + "14\r\nHTTP/1.1 200 OK\r\n\r\n;\r\n",
                          "14\r\nHTTP/1.1 200 OK\r\n\r\n;\r\n0\r\n\r\n"}
        << 1 << QStringList{"HTTP/1.1 200 OK\r\n\r\n;HTTP/1.1 200 OK\r\n\r\n;"};
}

void tst_SockJSResponses::bodiesAreDelivered()
{
    QFETCH(QByteArrayList, packets);
    QFETCH(int, requests);
    QFETCH(QStringList, messages);

    ScriptedServer server;
    Script script;
    for (const QByteArray &packet : packets)
        script << send(packet) << pause(60);
    server.onConnection(script);
    QVERIFY(server.listen());

    WorkerRun run(localhost(), server.port());
    QVERIFY(run.connectToServer());
    for (int i = 0; i < requests; ++i)
        run.expectResponse();
    run.start();
    QTRY_COMPARE_WITH_TIMEOUT(run.messages.size(), messages.size(), 20000);
    QVERIFY2(server.finished(), qPrintable(server.failure()));
    run.stop();
    QCOMPARE(run.messages, messages);
    QCOMPARE(run.answered.size(), requests);
    QCOMPARE(run.reconnections, 0);
}

void tst_SockJSResponses::everyCutGivesTheSame_data()
{
    QTest::addColumn<QByteArray>("response");
    const QByteArray euro = "\xe2\x82\xac";
    QTest::newRow("plain") << "HTTP/1.1 200 OK\r\nContent-Length: 15\r\n\r\na[\"HTTP/" + euro
            + "\"]\n\n";
    QTest::newRow("chunked") << CHUNKED_HEADER + "4\r\na[\"H\r\n6\r\nTTP/" + euro.left(2)
            + "\r\n5\r\n" + euro.mid(2) + "\"]\n\n\r\n0\r\n\r\n";
}

// Cut into two packets at every place, then into single bytes.
void tst_SockJSResponses::everyCutGivesTheSame()
{
    QFETCH(QByteArray, response);
    const QByteArray end = "HTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\nend";
    ScriptedServer server;
    for (int cut = 1; cut < response.size(); ++cut)
        server.onConnection(
            {send(response.left(cut)), pause(10), send(response.mid(cut)), pause(10), send(end)});
    server.onConnection({sendBytewise(response + end)});
    QVERIFY(server.listen());

    std::vector<std::unique_ptr<WorkerRun>> runs;
    for (int cut = 1; cut <= response.size(); ++cut) {
        runs.push_back(std::make_unique<WorkerRun>(localhost(), server.port()));
        QVERIFY(runs.back()->connectToServer());
        runs.back()->expectResponse();
        runs.back()->expectResponse();
        runs.back()->start();
    }
    const QStringList expected{u"a[\"HTTP/\u20ac\"]\n"_s, "end"};
    for (const auto &run : runs)
        QTRY_COMPARE_WITH_TIMEOUT(run->messages, expected, 30000);
    QVERIFY2(server.finished(), qPrintable(server.failure()));
}

void tst_SockJSResponses::headersAreReportedWithTheirRequest()
{
    ScriptedServer server;
    server.onConnection({send("HTTP/1.1 200 OK\r\nSet-Cookie: a=1\r\nContent-Length: 2\r\n\r\no\n"
                              "HTTP/1.1 200 OK\r\nTransfer-Encoding:chunked\r\n\r\n2\r\nh\n\r\n"
                              "0\r\n\r\n")});
    QVERIFY(server.listen());
    WorkerRun run(localhost(), server.port());
    QVERIFY(run.connectToServer());
    XHRRequest *first = run.expectResponse();
    XHRRequest *second = run.expectResponse();
    run.start();
    QTRY_COMPARE(run.messages, (QStringList{"o", "h"}));
    run.stop();
    QCOMPARE(run.answered, (QList<XHRRequest *>{first, second}));
    QCOMPARE(run.headers,
             (QList<QStringMap>{{{"Set-Cookie", " a=1"}, {"Content-Length", " 2"}},
                                {{"Transfer-Encoding", "chunked"}}}));
    QCOMPARE(first->chunked, false);
    QCOMPARE(first->contentLength, 2);
    QCOMPARE(second->chunked, true);
    QCOMPARE(second->contentLength, 0);
}

void tst_SockJSResponses::chunkedAnnouncementIsLogged()
{
    ScriptedServer server;
    server.onConnection({send(CHUNKED_HEADER + "5\r\nhello\r\n0\r\n\r\n")});
    QVERIFY(server.listen());
    const LogCapture log;
    WorkerRun run(localhost(), server.port());
    QVERIFY(run.connectToServer());
    run.expectResponse();
    run.start();
    QTRY_COMPARE(run.messages, QStringList{"hello"});
    run.stop();
    QCOMPARE(log.messages(),
             (QStringList{"[SockJSXHRPollingWorker] Detected transfer-encoding: chunked header",
                          "[SockJSXHRPollingWorker] chunk complete size 5"}));
}

void tst_SockJSResponses::responseThatNobodyAskedForIsDroppedAfterTwoSeconds()
{
    ScriptedServer server;
    server.onConnection({send("HTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\nabc")});
    QVERIFY(server.listen());
    const LogCapture log;
    WorkerRun run(localhost(), server.port());
    QVERIFY(run.connectToServer());
    QElapsedTimer timer;
    timer.start();
    run.start();
    QTRY_COMPARE_WITH_TIMEOUT(
        log.messages(),
        (QStringList{"[SockJSXHRPollingWorker] Incoming data timeout, clearing buffer",
                     "[SockJSXHRPollingWorker.BufferData] = abc"}),
        20000);
    QVERIFY2(timer.elapsed() >= 1990, qPrintable(QString::number(timer.elapsed())));
    run.stop();
    QCOMPARE(run.messages, QStringList());
    QCOMPARE(run.headers.size(), 0);
}

void tst_SockJSResponses::halfAChunkIsDroppedAfterTwoSecondsAndTheRequestKeepsWaiting()
{
    ScriptedServer server;
    server.onConnection({send(CHUNKED_HEADER + "5\r\nhello\r\n5\r\nwor"), pause(4500),
                         send("3\r\n...\r\n0\r\n\r\n"), pause(4500),
                         send("HTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\nabc")});
    QVERIFY(server.listen());
    const LogCapture log;
    WorkerRun run(localhost(), server.port());
    QVERIFY(run.connectToServer());
    run.expectResponse();
    run.expectResponse();
    run.start();
    QTRY_COMPARE_WITH_TIMEOUT(run.messages, (QStringList{"hello...", "abc"}), 30000);
    run.stop();
    QCOMPARE(log.messages(),
             (QStringList{"[SockJSXHRPollingWorker] Detected transfer-encoding: chunked header",
                          "[SockJSXHRPollingWorker] Incoming data timeout, clearing buffer",
                          "[SockJSXHRPollingWorker.BufferData] = 5\r\nwor",
                          "[SockJSXHRPollingWorker] chunk complete size 8",
                          "[SockJSXHRPollingWorker] Incoming data timeout, clearing buffer",
                          "[SockJSXHRPollingWorker.BufferData] = 0\r\n\r\n"}));
}

void tst_SockJSResponses::halfAHeaderIsDroppedAfterTwoSeconds()
{
    ScriptedServer server;
    server.onConnection({send("HTTP/1.1 200 OK\r\nContent-Le"), pause(4500),
                         send("HTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\nabc")});
    QVERIFY(server.listen());
    const LogCapture log;
    WorkerRun run(localhost(), server.port());
    QVERIFY(run.connectToServer());
    run.expectResponse();
    run.start();
    QTRY_COMPARE_WITH_TIMEOUT(run.messages, QStringList{"abc"}, 20000);
    run.stop();
    QCOMPARE(log.messages(),
             (QStringList{"[SockJSXHRPollingWorker] Incoming data timeout, clearing buffer",
                          "[SockJSXHRPollingWorker.BufferData] = HTTP/1.1 200 OK\r\nContent-Le"}));
}

void tst_SockJSResponses::bytesAfterASilenceInsideABody_data()
{
    QTest::addColumn<QByteArray>("before");
    QTest::addColumn<QByteArrayList>("packets");
    QTest::addColumn<QStringList>("messages");
    const QByteArray plain = "HTTP/1.1 200 OK\r\nContent-Length: 6\r\n\r\nabc";
    const QByteArray chunked = CHUNKED_HEADER + "5\r\nhello\r\n";
    const QByteArray next = "HTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\nend";
    const QStringList nextOnly{"end"};

    QTest::newRow("next response, known length") << plain << QByteArrayList{next} << nextOnly;
    QTest::newRow("next response, between chunks") << chunked << QByteArrayList{next} << nextOnly;
    QTest::newRow("next response, inside a chunk")
        << chunked + "5\r\nwo" << QByteArrayList{next} << nextOnly;
    QTest::newRow("next response, cut behind its first letters")
        << plain << QByteArrayList{next.left(2), next.mid(2, 2), next.mid(4)} << nextOnly;
    QTest::newRow("next response, cut, between chunks")
        << chunked << QByteArrayList{next.left(4), next.mid(4)} << nextOnly;
    QTest::newRow("rest of the body")
        << plain << QByteArrayList{"def" + next} << QStringList{"abcdef", "end"};
    QTest::newRow("rest of the body begins like a response")
        << plain << QByteArrayList{"HT", "X" + next} << QStringList{"abcHTX", "end"};
    QTest::newRow("rest of the body has a response's first letters")
        << plain << QByteArrayList{"HTT"} << QStringList{"abcHTT"};
    QTest::newRow("rest of the chunks holds a response")
        << chunked << QByteArrayList{"8\r\n HTTP/1.\r\n0\r\n\r\n" + next}
        << QStringList{"hello HTTP/1.", "end"};
}

// A server that lost its thread begins a new response; a slow one goes on with the old.
void tst_SockJSResponses::bytesAfterASilenceInsideABody()
{
    QFETCH(QByteArray, before);
    QFETCH(QByteArrayList, packets);
    QFETCH(QStringList, messages);
    ScriptedServer server;
    Script script{send(before), pause(3500)};
    for (const QByteArray &packet : packets)
        script << send(packet) << pause(60);
    server.onConnection(script);
    QVERIFY(server.listen());
    WorkerRun run(localhost(), server.port());
    QVERIFY(run.connectToServer());
    run.expectResponse();
    run.expectResponse();
    run.start();
    QTRY_COMPARE_WITH_TIMEOUT(run.messages.size(), messages.size(), 20000);
    QVERIFY2(server.finished(), qPrintable(server.failure()));
    run.stop();
    QCOMPARE(run.messages, messages);
}

// The end chunk stays in the buffer for two seconds, and only then does the next request leave.
void tst_SockJSResponses::requestsWaitWhileResponseDataIsPending()
{
    ScriptedServer server;
    server.onConnection({send(CHUNKED_HEADER + "5\r\nhello\r\n0\r\n\r\n"), expect("next")});
    QVERIFY(server.listen());
    WorkerRun run(localhost(), server.port());
    QVERIFY(run.connectToServer());
    run.expectResponse();
    QVERIFY(run.queue(u"next"_s));
    run.start();
    QTRY_COMPARE(run.messages, QStringList{"hello"});
    QElapsedTimer timer;
    timer.start();
    QVERIFY2(server.finished(), qPrintable(server.failure()));
    // 2 s until the buffer is cleared, then one idle turn of 1 s.
    QVERIFY2(timer.elapsed() > 2500, qPrintable(QString::number(timer.elapsed())));
}

void tst_SockJSResponses::reconnectionForgetsTheHalfReadResponse()
{
    ScriptedServer server;
    server.onConnection({send(CHUNKED_HEADER + "5\r\nhello\r\n5\r\nwor"), pause(100), close()});
    server.onConnection(
        {send("ld\r\n"), expect("next"), send("HTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\nabc")});
    QVERIFY(server.listen());
    WorkerRun run(localhost(), server.port());
    QVERIFY(run.connectToServer());
    run.expectResponse();
    run.start();
    QTRY_COMPARE_WITH_TIMEOUT(run.reconnections, 1, 20000);
    QVERIFY(run.queue(u"next"_s));
    QTRY_COMPARE_WITH_TIMEOUT(run.messages, QStringList{"abc"}, 20000);
    run.stop();
    QCOMPARE(run.reconnections, 1);
    QCOMPARE(run.answered.size(), 2);
}

void tst_SockJSResponses::lastResponseBeforeACloseIsRead()
{
    ScriptedServer server;
    server.onConnection({send("HTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\nabc"), close()});
    server.onConnection({});
    QVERIFY(server.listen());
    WorkerRun run(localhost(), server.port());
    QVERIFY(run.connectToServer());
    run.expectResponse();
    QTest::qWait(100); // both have arrived before the loop looks for the first time
    run.start();
    QTRY_COMPARE(run.reconnections, 1);
    run.stop();
    QCOMPARE(run.messages, QStringList{"abc"});
}

QTEST_GUILESS_MAIN(tst_SockJSResponses)
#include "tst_sockjsresponses.moc"
