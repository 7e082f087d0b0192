#include "FedSocket.h"
#include "RawWebSocketServer.h"
#include "WorkerRun.h"
#include "support/LogCapture.h"
#include "support/ScriptedServer.h"
#include "support/Text.h"

#include <QtCore/QRandomGenerator>
#include <QtTest/QtTest>

#include <ctime>

using namespace Scripted;

// Servers that mean harm, or speak something else: each gets the documented failure, in bounded time
// and memory, and the next response or connection works.
class tst_SockJSHostile : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void endlessDataLosesTheConnection_data();
    void endlessDataLosesTheConnection();
    void dataThatIsNoResponseIsDroppedAfterTwoSeconds_data();
    void dataThatIsNoResponseIsDroppedAfterTwoSeconds();
    void manySmallPiecesAreReadInOneGo_data();
    void manySmallPiecesAreReadInOneGo();
    void readingTakesTimeInProportion_data();
    void readingTakesTimeInProportion();
    void closingDoesNotWaitForWhatHasArrived_data();
    void closingDoesNotWaitForWhatHasArrived();
    void largeBodyIsRead_data();
    void largeBodyIsRead();
    void randomDataDoesNoHarm();
    void parsersTakeAnyBytes();
    void hostileWebSocketFramesEndTheConnection_data();
    void hostileWebSocketFramesEndTheConnection();
    void largestWebSocketMessageIsTaken_data();
    void largestWebSocketMessageIsTaken();
    void hostileSockJSFramesGiveNothing_data();
    void hostileSockJSFramesGiveNothing();
};

namespace
{

const QByteArray CHUNKED_HEADER = "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n";
const QByteArray GOOD = "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\no\n";
constexpr int MANY = 10 * 1024 * 1024;

QString localhost()
{
    return u"127.0.0.1"_s;
}

double threadCpuMs()
{
    timespec time = {};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return double(time.tv_sec) * 1e3 + double(time.tv_nsec) / 1e6;
}

QByteArray repeated(const QByteArray &piece, int bytes)
{
    return piece.repeated(bytes / piece.size());
}

} // namespace

void tst_SockJSHostile::endlessDataLosesTheConnection_data()
{
    QTest::addColumn<QByteArray>("data");
    QTest::newRow("header block that never ends")
        << QByteArray("HTTP/1.1 200 OK\r\n" + repeated("X-A: bbbbbbbbbbbbbbbb\r\n", MANY));
    QTest::newRow("header line that never ends")
        << QByteArray("HTTP/1.1 200 OK\r\nX: " + QByteArray(MANY, 'x'));
    QTest::newRow("status line that never ends") << QByteArray("HTTP/" + QByteArray(MANY, 'x'));
    QTest::newRow("size line that never ends")
        << QByteArray(CHUNKED_HEADER + "\r\n" + QByteArray(MANY, '0'));
    QTest::newRow("chunk beyond all measure")
        << QByteArray(CHUNKED_HEADER + "7FFFFFFF\r\n" + QByteArray(20 * 1024 * 1024, 'x'));
    QTest::newRow("body beyond all measure")
        << QByteArray("HTTP/1.1 200 OK\r\nContent-Length: 2147483647\r\n\r\n"
                      + QByteArray(20 * 1024 * 1024, 'x'));
    QTest::newRow("chunks without an end") << QByteArray(
        CHUNKED_HEADER + repeated("10000\r\n" + QByteArray(65536, 'x') + "\r\n", 20 * 1024 * 1024));
    QTest::newRow("no response at all, for ever") << QByteArray(20 * 1024 * 1024, 'x');
}

void tst_SockJSHostile::endlessDataLosesTheConnection()
{
    QFETCH(QByteArray, data);
    ScriptedServer server;
    server.onConnection({send(data)});
    server.onConnection({expect("next"), send(GOOD)});
    QVERIFY(server.listen());
    const LogCapture log;
    WorkerRun run(localhost(), server.port());
    QVERIFY(run.connectToServer());
    run.expectResponse();
    run.start();
    QTRY_COMPARE_WITH_TIMEOUT(run.reconnections, 1, 60000);
    QVERIFY(run.queue(u"next"_s));
    QTRY_COMPARE_WITH_TIMEOUT(run.messages, QStringList{"o"}, 60000);
    run.stop();
    QCOMPARE(run.reconnections, 1);
    QCOMPARE(log.count(u"[SockJSXHRPollingWorker] Response too large, dropping the connection"_s),
             1);
    QCOMPARE(log.count(u"[SockJSXHRPollingWorker] Connection lost, attempting to "
                       "re-establish..."_s),
             1);
}

void tst_SockJSHostile::dataThatIsNoResponseIsDroppedAfterTwoSeconds_data()
{
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<int>("cleared");
    QTest::newRow("line without an end") << QByteArray(MANY, 'x') << MANY;
    QTest::newRow("chunk that never comes")
        << QByteArray(CHUNKED_HEADER + "7FFFFFFF\r\n" + QByteArray(MANY, 'x')) << 10 + MANY;
    QTest::newRow("header that is never ended")
        << QByteArray("HTTP/1.1 200 OK\r\nX: " + QByteArray(60000, 'x')) << 60020;
}

void tst_SockJSHostile::dataThatIsNoResponseIsDroppedAfterTwoSeconds()
{
    QFETCH(QByteArray, data);
    QFETCH(int, cleared);
    ScriptedServer server;
    server.onConnection({send(data), pause(4500), send(GOOD)});
    QVERIFY(server.listen());
    const LogCapture log;
    WorkerRun run(localhost(), server.port());
    QVERIFY(run.connectToServer());
    run.expectResponse();
    run.expectResponse();
    run.start();
    QTRY_COMPARE_WITH_TIMEOUT(run.messages, QStringList{"o"}, 60000);
    run.stop();
    QCOMPARE(run.reconnections, 0);
    QCOMPARE(log.count(u"[SockJSXHRPollingWorker] Incoming data timeout, clearing buffer"_s), 1);
    const QString prefix = u"[SockJSXHRPollingWorker.BufferData] = "_s;
    QCOMPARE(log.startingWith(prefix).value(0).size(), prefix.size() + cleared);
}

void tst_SockJSHostile::manySmallPiecesAreReadInOneGo_data()
{
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<int>("requests");
    QTest::addColumn<int>("length");
    QTest::newRow("chunks of two bytes")
        << QByteArray(CHUNKED_HEADER + repeated("2\r\nab\r\n", 3500000) + "0\r\n\r\n") << 1
        << 1000000;
    QTest::newRow("headers that nobody asked for")
        << QByteArray(repeated("HTTP/1.1 200 OK\r\nA: b\r\n\r\n", 2500000) + "x") << 0 << -1;
}

// Time must not grow with the square of the number of pieces.
void tst_SockJSHostile::manySmallPiecesAreReadInOneGo()
{
    QFETCH(QByteArray, data);
    QFETCH(int, requests);
    QFETCH(int, length);
    ScriptedServer server;
    server.onConnection({send(data), pause(200), expect("next")});
    QVERIFY(server.listen());
    WorkerRun run(localhost(), server.port());
    QVERIFY(run.connectToServer());
    for (int i = 0; i < requests; ++i)
        run.expectResponse();
    QVERIFY(run.queue(u"next"_s));
    QElapsedTimer timer;
    timer.start();
    run.start();
    if (length >= 0) {
        QTRY_COMPARE_WITH_TIMEOUT(run.messages.size(), 1, 60000);
        QCOMPARE(run.messages.at(0).size(), length);
    }
    QVERIFY2(server.finished(), qPrintable(server.failure()));
    QVERIFY2(timer.elapsed() < 20000, qPrintable(QString::number(timer.elapsed())));
}

void tst_SockJSHostile::readingTakesTimeInProportion_data()
{
    QTest::addColumn<QByteArray>("start");
    QTest::addColumn<QByteArray>("repeated");
    QTest::addColumn<int>("bytes"); // of the smaller of two streams
    QTest::addColumn<int>("readBytes");
    constexpr int HEADER_HALF = 32000;
    constexpr int BODY_HALF = 2000000;
    QTest::newRow("header of bare line feeds")
        << QByteArray("HTTP/1.1 200 OK\n") << QByteArray("a\n") << HEADER_HALF << 1;
    QTest::newRow("header of empty-looking lines")
        << QByteArray("HTTP/1.1 200 OK\n") << QByteArray("\n\r\r") << HEADER_HALF << 1;
    QTest::newRow("header of one line")
        << QByteArray("HTTP/1.1 200 OK") << QByteArray("x") << HEADER_HALF << 1;
    QTest::newRow("size line") << CHUNKED_HEADER << QByteArray("0") << HEADER_HALF << 1;
    QTest::newRow("chunk") << CHUNKED_HEADER + "fffff0\r\n"
                           << QByteArray("\n") << BODY_HALF << 1000;
    QTest::newRow("behind the chunks") << CHUNKED_HEADER + "0\r\n"
                                       << QByteArray("HTTP") << BODY_HALF << 1000;
    QTest::newRow("body") << QByteArray("HTTP/1.1 200 OK\r\nContent-Length: 16777216\r\n\r\n")
                          << QByteArray("HTTP/") << BODY_HALF << 1000;
    QTest::newRow("no response") << QByteArray() << QByteArray("HTTP") << BODY_HALF << 1000;
}

// Twice the bytes may take twice the time, not four times.
void tst_SockJSHostile::readingTakesTimeInProportion()
{
    QFETCH(QByteArray, start);
    QFETCH(QByteArray, repeated);
    QFETCH(int, bytes);
    QFETCH(int, readBytes);
    const LogCapture log;
    const auto shortestMs = [&](const QByteArray &stream) {
        double shortest = INT_MAX; // of five, on a machine that may be busy
        for (int i = 0; i < 5; ++i) {
            FedSocket socket;
            SockJSXHRPollingWorker worker(nullptr, &socket, QString(), 80, false, true);
            XHRRequest request(nullptr, QString(), QString());
            SockJSProbe::inFlight(worker).append(&request);
            const double before = threadCpuMs();
            for (int position = 0; position < stream.size(); position += readBytes) {
                socket.feed(stream.mid(position, readBytes));
                SockJSProbe::read(worker);
            }
            shortest = qMin(shortest, threadCpuMs() - before);
        }
        return shortest;
    };
    const double once = shortestMs(start + repeated.repeated(bytes / repeated.size()));
    const double twice = shortestMs(start + repeated.repeated(2 * bytes / repeated.size()));
    const QByteArray times = QByteArray::number(once) + " ms, " + QByteArray::number(twice) + " ms";
    QVERIFY2(twice < 3 * once, times.constData());
}

void tst_SockJSHostile::closingDoesNotWaitForWhatHasArrived_data()
{
    QTest::addColumn<QByteArray>("data");
    constexpr int ARRIVED = 48 * 1024 * 1024;
    constexpr int BODY = 16 * 1024 * 1024;
    QTest::newRow("chunks of two bytes") << CHUNKED_HEADER + repeated("2\r\nab\r\n", ARRIVED);
    QTest::newRow("headers that nobody asked for") << repeated("HTTP/1.1\nA: b\n\n", ARRIVED);
    QTest::newRow("bodies that nobody asked for")
        << "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\n" + repeated("ab", ARRIVED);
    QTest::newRow("header of many lines")
        << "HTTP/1.1 200 OK\r\n" + repeated("X-A: b\nX-B: c\n", ARRIVED) + "\n";
    QTest::newRow("bodies of 16 MiB that are no UTF-8")
        << ("HTTP/1.1 200 OK\r\nContent-Length: " + QByteArray::number(BODY) + "\r\n\r\n"
            + QByteArray(BODY, '\xff'))
               .repeated(3);
    QTest::newRow("chunks of 16 MiB that are no UTF-8")
        << (CHUNKED_HEADER + QByteArray::number(BODY, 16) + "\r\n" + QByteArray(BODY, '\xff')
            + "\r\n0\r\n\r\n")
               .repeated(3);
}

void tst_SockJSHostile::closingDoesNotWaitForWhatHasArrived()
{
    QFETCH(QByteArray, data);
    const LogCapture log;
    qint64 shortest = INT_MAX; // of three, on a machine that may be busy
    for (int i = 0; i < 3; ++i) {
        FedSocket socket;
        socket.feed(data);
        SockJSXHRPollingWorker worker(nullptr, &socket, localhost(), 1, false, true);
        std::vector<std::unique_ptr<XHRRequest>> requests;
        for (int request = 0; request < 3; ++request) {
            requests.push_back(std::make_unique<XHRRequest>(nullptr, QString(), QString()));
            SockJSProbe::inFlight(worker).append(requests.back().get());
        }
        QThread thread;
        worker.moveToThread(&thread);
        socket.moveToThread(&thread);
        connect(&worker, &SockJSXHRPollingWorker::finished, &thread, &QThread::quit,
                Qt::DirectConnection);
        connect(&thread, &QThread::started, &worker, &SockJSXHRPollingWorker::process);
        thread.start();
        QThread::msleep(60); // it is in the middle of it
        QElapsedTimer timer;
        timer.start();
        worker.forceClose();
        QVERIFY(thread.wait(60000));
        shortest = qMin(shortest, timer.elapsed());
    }
    QVERIFY2(shortest < 100, qPrintable(QString::number(shortest)));
}

void tst_SockJSHostile::largeBodyIsRead_data()
{
    QTest::addColumn<bool>("chunked");
    QTest::newRow("plain") << false;
    QTest::newRow("one chunk") << true;
}

void tst_SockJSHostile::largeBodyIsRead()
{
    QFETCH(bool, chunked);
    constexpr int SIZE = 16 * 1024 * 1024; // the largest that is taken
    const QByteArray body(SIZE, 'x');
    ScriptedServer server;
    server.onConnection({send(chunked ? CHUNKED_HEADER + QByteArray::number(SIZE, 16) + "\r\n"
                                      + body + "\r\n0\r\n\r\n"
                                      : reply(body))});
    QVERIFY(server.listen());
    WorkerRun run(localhost(), server.port());
    QVERIFY(run.connectToServer());
    run.expectResponse();
    run.start();
    QTRY_COMPARE_WITH_TIMEOUT(run.messages.size(), 1, 60000);
    QVERIFY(run.messages.at(0) == QString(SIZE, QLatin1Char('x')));
}

void tst_SockJSHostile::randomDataDoesNoHarm()
{
    const QByteArrayList words = {"HTTP/",
                                  "1.1 200 OK",
                                  "\r\n",
                                  "\n",
                                  "\r",
                                  ":",
                                  "Content-Length: ",
                                  "5",
                                  "0",
                                  "-1",
                                  "7FFFFFFF",
                                  "99999999999",
                                  "Transfer-Encoding: chunked",
                                  "a[\"x\"]",
                                  "\r\n\r\n",
                                  "hello",
                                  QByteArray(1, '\0'),
                                  "\xff\xfe",
                                  "HTT",
                                  "Set-Cookie: a=b"};
    QRandomGenerator random(20260101);
    ScriptedServer server;
    constexpr int CONNECTIONS = 60;
    for (int i = 0; i < CONNECTIONS; ++i) {
        Script script;
        for (int piece = 0; piece < 8; ++piece) {
            QByteArray data;
            const int count = random.bounded(1, 40);
            for (int word = 0; word < count; ++word)
                data += words.at(random.bounded(words.size()));
            script << send(data) << pause(random.bounded(4));
        }
        server.onConnection(script);
    }
    QVERIFY(server.listen());
    const LogCapture log;
    std::vector<std::unique_ptr<WorkerRun>> runs;
    for (int i = 0; i < CONNECTIONS; ++i) {
        runs.push_back(std::make_unique<WorkerRun>(localhost(), server.port()));
        QVERIFY(runs.back()->connectToServer());
        for (int request = 0; request < 20; ++request)
            runs.back()->expectResponse();
        runs.back()->start();
    }
    QVERIFY2(server.finished(), qPrintable(server.failure()));
    QTest::qWait(200);
    for (const auto &run : runs)
        run->stop();
}

void tst_SockJSHostile::parsersTakeAnyBytes()
{
    const LogCapture log;
    SockJSXHRPollingWorker worker(nullptr, nullptr, QString(), 0, false, true);
    const QByteArray alphabet("HTP/1:\r\n 0aF-\0\xff", 16);
    QRandomGenerator random(20260102);
    for (int i = 0; i < 20000; ++i) {
        QByteArray data;
        const int count = random.bounded(40);
        for (int byte = 0; byte < count; ++byte)
            data += alphabet.at(random.bounded(alphabet.size()));
        int status = 0;
        QStringMap headers;
        const int used = worker.parseHttpHeaderResponse(data, &status, &headers);
        QVERIFY(used >= 0 && used <= data.size());
        QCOMPARE(status, used > 0 ? 200 : -1);
        QString message;
        const int plain = worker.parseMessageResponse(data, false, &message, random.bounded(50));
        QVERIFY(plain >= 0 && plain <= data.size());
        QCOMPARE(message.size(), plain);
        const int chunk = worker.parseMessageResponse(data, true, &message, 0);
        QVERIFY(chunk >= -1 && chunk <= data.size() + 2);
    }
}

void tst_SockJSHostile::hostileWebSocketFramesEndTheConnection_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::newRow("frame of 2^62 bytes")
        << QByteArray("\x81\x7f\x40\x00\x00\x00\x00\x00\x00\x00xxxx", 14);
    QTest::newRow("frame of a negative length")
        << QByteArray("\x81\x7f\xff\xff\xff\xff\xff\xff\xff\xffxxxx", 14);
    QTest::newRow("unknown opcode") << QByteArray("\x83\x01x", 3);
    QTest::newRow("reserved bits") << QByteArray("\xf1\x01x", 3);
    QTest::newRow("text that is no UTF-8") << QByteArray("\x81\x02\xff\xfe", 4);
    QTest::newRow("continuation of nothing") << QByteArray("\x80\x01x", 3);
    QTest::newRow("control frame that is too long")
        << QByteArray("\x89\x7e\x00\x7e", 4) + QByteArray(126, 'x');
    QTest::newRow("no web socket at all") << QByteArray("HTTP/1.1 200 OK\r\n\r\n");
}

void tst_SockJSHostile::hostileWebSocketFramesEndTheConnection()
{
    QFETCH(QByteArray, bytes);
    RawWebSocketServer server;
    server.behindHandshake = RawWebSocketServer::text("o");
    SockJSConnector connector;
    QSignalSpy closed(&connector, &SockJSConnector::closed);
    QSignalSpy messages(&connector, &SockJSConnector::sockJSMessage);
    connector.open(QUrl(u"ws://127.0.0.1:%1"_s.arg(server.port())), {SockJSConnector::WEBSOCKET});
    QVERIFY(connector.isConnected());
    server.client->write(bytes);
    server.client->write(RawWebSocketServer::text("a[\"x\"]"));
    QTRY_COMPARE_WITH_TIMEOUT(closed.size(), 1, 20000);
    QCOMPARE(messages.size(), 0);
    // The connector is as good as new.
    connector.open(QUrl(u"ws://127.0.0.1:%1"_s.arg(server.port())), {SockJSConnector::WEBSOCKET});
    QVERIFY(connector.isConnected());
}

void tst_SockJSHostile::largestWebSocketMessageIsTaken_data()
{
    QTest::addColumn<int>("bytes");
    QTest::addColumn<int>("pieces");
    QTest::addColumn<QString>("error");
    constexpr int LARGEST = 16 * 1024 * 1024;
    QTest::newRow("16 MiB") << LARGEST << 1 << QString();
    QTest::newRow("16 MiB in four frames") << LARGEST << 4 << QString();
    QTest::newRow("one byte more")
        << LARGEST + 1 << 1
        << u"[SockJSConnector] ERROR: A message was too large: Maximum framesize exceeded."_s;
    QTest::newRow("one byte more in four frames")
        << LARGEST + 1 << 4
        << u"[SockJSConnector] ERROR: A message was too large: Received message is too big."_s;
}

void tst_SockJSHostile::largestWebSocketMessageIsTaken()
{
    QFETCH(int, bytes);
    QFETCH(int, pieces);
    QFETCH(QString, error);
    RawWebSocketServer server;
    server.behindHandshake = RawWebSocketServer::text("o");
    const LogCapture log;
    SockJSConnector connector;
    QSignalSpy messages(&connector, &SockJSConnector::sockJSMessage);
    QSignalSpy closed(&connector, &SockJSConnector::closed);
    connector.open(QUrl(u"ws://127.0.0.1:%1"_s.arg(server.port())), {SockJSConnector::WEBSOCKET});
    QVERIFY(connector.isConnected());

    const QByteArray message = "a[\"" + QByteArray(bytes - 5, 'x') + "\"]";
    QCOMPARE(message.size(), bytes);
    for (const QByteArray &frame : RawWebSocketServer::fragments(message, pieces))
        server.client->write(frame);
    QTRY_VERIFY_WITH_TIMEOUT(messages.size() + closed.size() == 1, 20000);
    QCOMPARE(messages.size(), error.isEmpty() ? 1 : 0);
    QCOMPARE(log.startingWith(u"[SockJSConnector] ERROR"_s),
             error.isEmpty() ? QStringList() : QStringList{error});
    if (error.isEmpty()) {
        QCOMPARE(messages.at(0).at(0).toString().size(), bytes - 5);
    } else {
        QCOMPARE(closed.at(0).at(0).toBool(), false);
        QVERIFY(!connector.isConnected());
    }
}

void tst_SockJSHostile::hostileSockJSFramesGiveNothing_data()
{
    QTest::addColumn<QString>("frame");
    QTest::newRow("deep array") << QLatin1Char('a') + QString(MANY, QLatin1Char('['));
    QTest::newRow("deep object") << u"a["_s + u"{\"a\":"_s.repeated(100000);
    QTest::newRow("long string without an end") << u"a[\""_s + QString(MANY, QLatin1Char('x'));
    QTest::newRow("long line") << QString(MANY, QLatin1Char('x'));
    QTest::newRow("lone surrogate") << u"a["_s + QChar(0xd800) + QLatin1Char(']');
    QTest::newRow("zero") << u"a"_s + QChar(0) + u"[\"x\"]"_s;
}

void tst_SockJSHostile::hostileSockJSFramesGiveNothing()
{
    QFETCH(QString, frame);
    SockJSConnector connector;
    QSignalSpy messages(&connector, &SockJSConnector::sockJSMessage);
    QSignalSpy connected(&connector, &SockJSConnector::connected);
    connector.onTextMessageReceived(frame);
    QCOMPARE(messages.size(), 0);
    QCOMPARE(connected.size(), 0);
}

QTEST_GUILESS_MAIN(tst_SockJSHostile)
#include "tst_sockjshostile.moc"
