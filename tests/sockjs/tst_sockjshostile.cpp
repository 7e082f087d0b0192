#include "ConnectorRun.h"
#include "CpuTime.h"
#include "FedSocket.h"
#include "RawServers.h"
#include "WorkerRun.h"
#include "support/MachineSpeed.h"
#include "support/Promptness.h"

#include <QtCore/QRandomGenerator>

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

constexpr int MANY = 10 * 1024 * 1024;
constexpr int LARGEST = 16 * 1024 * 1024; // of bodies and messages

QByteArray repeated(const QByteArray &piece, int bytes)
{
    return piece.repeated(bytes / piece.size());
}

} // namespace

void tst_SockJSHostile::endlessDataLosesTheConnection_data()
{
    QTest::addColumn<QByteArray>("data");
    const auto row = [](const char *name, const QByteArray &start, const QByteArray &rest) {
        QTest::newRow(name) << start + rest;
    };
    const QByteArray ok = "HTTP/1.1 200 OK\r\n";
    const QByteArray x20(20 * 1024 * 1024, 'x');
    row("header block that never ends", ok, repeated("X-A: bbbbbbbbbbbbbbbb\r\n", MANY));
    row("header line that never ends", ok + "X: ", QByteArray(MANY, 'x'));
    row("status line that never ends", "HTTP/", QByteArray(MANY, 'x'));
    row("size line that never ends", CHUNKED + "\r\n", QByteArray(MANY, '0'));
    row("chunk beyond all measure", CHUNKED + "7FFFFFFF\r\n", x20);
    row("body beyond all measure", plain(INT_MAX), x20);
    row("chunks without an end", CHUNKED, repeated(chunk(QByteArray(65536, 'x')), x20.size()));
    row("no response at all, for ever", QByteArray(), x20);
}

void tst_SockJSHostile::endlessDataLosesTheConnection()
{
    QFETCH(QByteArray, data);
    ServedWorker run{{send(data)}, {expect("next"), send(FRAME_O)}};
    QVERIFY(run.begin(1));
    QTRY_COMPARE_WITH_TIMEOUT(run.reconnections, 1, 60000);
    QVERIFY(run.queue(u"next"_s));
    QTRY_COMPARE_WITH_TIMEOUT(run.messages, QStringList{"o"}, 60000);
    run.stop();
    QCOMPARE(run.reconnections, 1);
    QCOMPARE(
        run.log.count(u"[SockJSXHRPollingWorker] Response too large, dropping the connection"_s),
        1);
    QCOMPARE(run.log.count(u"[SockJSXHRPollingWorker] Connection lost, attempting to "
                           "re-establish..."_s),
             1);
}

void tst_SockJSHostile::dataThatIsNoResponseIsDroppedAfterTwoSeconds_data()
{
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<int>("cleared");
    const QByteArray endless(MANY, 'x');
    const QByteArray header = "HTTP/1.1 200 OK\r\nX: " + QByteArray(60000, 'x');
    QTest::newRow("line without an end") << endless << MANY;
    QTest::newRow("chunk that never comes") << CHUNKED + "7FFFFFFF\r\n" + endless << 10 + MANY;
    QTest::newRow("header that is never ended") << header << 60020;
}

void tst_SockJSHostile::dataThatIsNoResponseIsDroppedAfterTwoSeconds()
{
    QFETCH(QByteArray, data);
    QFETCH(int, cleared);
    ServedWorker run{{send(data), pause(4500), send(FRAME_O)}};
    QVERIFY(run.begin(2));
    QTRY_COMPARE_WITH_TIMEOUT(run.messages, QStringList{"o"}, 60000);
    run.stop();
    QCOMPARE(run.reconnections, 0);
    QCOMPARE(run.log.count(u"[SockJSXHRPollingWorker] Incoming data timeout, clearing buffer"_s),
             1);
    const QString prefix = u"[SockJSXHRPollingWorker.BufferData] = "_s;
    QCOMPARE(run.log.startingWith(prefix).value(0).size(), prefix.size() + cleared);
}

void tst_SockJSHostile::manySmallPiecesAreReadInOneGo_data()
{
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<int>("requests");
    QTest::addColumn<int>("length");
    const QByteArray header = "HTTP/1.1 200 OK\r\nA: b\r\n\r\n";
    QTest::newRow("chunks of two bytes")
        << CHUNKED + repeated(chunk("ab"), 3500000) + END_CHUNK << 1 << 1000000;
    QTest::newRow("headers that nobody asked for") << repeated(header, 2500000) + "x" << 0 << -1;
}

// Time must not grow with the square of the number of pieces.
void tst_SockJSHostile::manySmallPiecesAreReadInOneGo()
{
    QFETCH(QByteArray, data);
    QFETCH(int, requests);
    QFETCH(int, length);
    ServedWorker run{{send(data), pause(200), expect("next")}};
    QVERIFY(run.queue(u"next"_s));
    QElapsedTimer timer;
    timer.start();
    QVERIFY(run.begin(requests));
    if (length >= 0) {
        QTRY_COMPARE_WITH_TIMEOUT(run.messages.size(), 1, 60000);
        QCOMPARE(run.messages.at(0).size(), length);
    }
    QVERIFY2(run.server.finished(), qPrintable(run.server.failure()));
    QVERIFY2(timer.elapsed() < 20000, qPrintable(QString::number(timer.elapsed())));
}

void tst_SockJSHostile::readingTakesTimeInProportion_data()
{
    QTest::addColumn<QByteArray>("start");
    QTest::addColumn<QByteArray>("piece");
    QTest::addColumn<int>("bytes"); // of the smaller of two streams
    QTest::addColumn<int>("readBytes");
    // Byte by byte, or in reads of a thousand.
    const auto header = [](const char *name, const QByteArray &start, const QByteArray &piece) {
        QTest::newRow(name) << start << piece << 32000 << 1;
    };
    const auto body = [](const char *name, const QByteArray &start, const QByteArray &piece) {
        QTest::newRow(name) << start << piece << 2000000 << 1000;
    };
    header("header of bare line feeds", "HTTP/1.1 200 OK\n", "a\n");
    header("header of empty-looking lines", "HTTP/1.1 200 OK\n", "\n\r\r");
    header("header of one line", "HTTP/1.1 200 OK", "x");
    header("size line", CHUNKED, "0");
    body("chunk", CHUNKED + "fffff0\r\n", "\n");
    body("behind the chunks", CHUNKED + "0\r\n", "HTTP");
    body("body", plain(LARGEST), "HTTP/");
    body("no response", QByteArray(), "HTTP");
}

// Twice the bytes may take twice the time, not four times.
void tst_SockJSHostile::readingTakesTimeInProportion()
{
    QFETCH(QByteArray, start);
    QFETCH(QByteArray, piece);
    QFETCH(int, bytes);
    QFETCH(int, readBytes);
    const LogCapture log;
    const auto measuredMs = [&](const QByteArray &stream) {
        auto *socket = new FedSocket;
        WorkerRun run(socket);
        run.expectResponse();
        const double before = cpuMs(CLOCK_THREAD_CPUTIME_ID);
        for (int position = 0; position < stream.size(); position += readBytes) {
            socket->feed(stream.mid(position, readBytes));
            SockJSProbe::read(*run.worker);
        }
        return cpuMs(CLOCK_THREAD_CPUTIME_ID) - before;
    };
    // The shortest of each, in turn: a busy machine is slower now and faster then.
    double once = INT_MAX;
    double twice = INT_MAX;
    for (int i = 0; i < 5 || (i < 20 && twice >= 3 * once); ++i) {
        once = qMin(once, measuredMs(start + repeated(piece, bytes)));
        twice = qMin(twice, measuredMs(start + repeated(piece, 2 * bytes)));
    }
    const QByteArray times = QByteArray::number(once) + " ms, " + QByteArray::number(twice) + " ms";
    QVERIFY2(twice < 3 * once, times.constData());
}

void tst_SockJSHostile::closingDoesNotWaitForWhatHasArrived_data()
{
    QTest::addColumn<QByteArray>("data");
    constexpr int ARRIVED = 48 * 1024 * 1024;
    const auto row = [](const char *name, const QByteArray &data) { QTest::newRow(name) << data; };
    const QByteArray noUtf8(LARGEST, '\xff');
    row("chunks of two bytes", CHUNKED + repeated(chunk("ab"), ARRIVED));
    row("headers that nobody asked for", repeated("HTTP/1.1\nA: b\n\n", ARRIVED));
    row("bodies that nobody asked for", plain(2) + repeated("ab", ARRIVED));
    row("header of many lines",
        "HTTP/1.1 200 OK\r\n" + repeated("X-A: b\nX-B: c\n", ARRIVED) + "\n");
    row("bodies of 16 MiB that are no UTF-8", reply(noUtf8).repeated(3));
    row("chunks of 16 MiB that are no UTF-8", (CHUNKED + chunk(noUtf8) + END_CHUNK).repeated(3));
}

void tst_SockJSHostile::closingDoesNotWaitForWhatHasArrived()
{
    QFETCH(QByteArray, data);
    const LogCapture log;
    Promptness promptness;
    while (promptness.isOpen()) {
        auto *socket = new FedSocket;
        socket->feed(data);
        WorkerRun run(socket);
        for (int request = 0; request < 3; ++request)
            run.expectResponse();
        run.start();
        QThread::msleep(60); // it is in the middle of it
        QElapsedTimer timer;
        timer.start();
        const double before = cpuMs(CLOCK_PROCESS_CPUTIME_ID);
        run.worker->forceClose();
        QVERIFY(run.thread.wait(60000));
        const double usedMs = cpuMs(CLOCK_PROCESS_CPUTIME_ID) - before;
        promptness.take(qRound64(usedMs), qRound64(200 * machineSlowness()));
        promptness.take(timer.elapsed(), 1000);
    }
    VERIFY_PROMPT(promptness);
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
    const QByteArray body(LARGEST, 'x');
    ServedWorker run{{send(chunked ? CHUNKED + chunk(body) + END_CHUNK : reply(body))}};
    QVERIFY(run.begin(1));
    QTRY_COMPARE_WITH_TIMEOUT(run.messages.size(), 1, 60000);
    QVERIFY(run.messages.at(0) == QString(LARGEST, QLatin1Char('x')));
}

void tst_SockJSHostile::randomDataDoesNoHarm()
{
    // clang-format off
    const QByteArrayList words = {
        "HTTP/", "1.1 200 OK", "\r\n", "\n", "\r", ":", "Content-Length: ", "5", "0", "-1", "7FFFFFFF",
        "99999999999", "Transfer-Encoding: chunked", "a[\"x\"]", "\r\n\r\n", "hello", QByteArray(1, '\0'),
        "\xff\xfe", "HTT", "Set-Cookie: a=b"};
    // clang-format on
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
        runs.push_back(std::make_unique<WorkerRun>(server.port()));
        QVERIFY(runs.back()->begin(20));
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
    const auto row = [](const char *name, const QByteArray &head, const QByteArray &payload) {
        QTest::newRow(name) << head + payload;
    };
    row("frame of 2^62 bytes", QByteArray("\x81\x7f\x40\0\0\0\0\0\0\0", 10), "xxxx");
    row("frame of a negative length", "\x81\x7f" + QByteArray(8, '\xff'), "xxxx");
    row("unknown opcode", "\x83\x01", "x");
    row("reserved bits", "\xf1\x01", "x");
    row("text that is no UTF-8", "\x81\x02", "\xff\xfe");
    row("continuation of nothing", "\x80\x01", "x");
    row("control frame that is too long", QByteArray("\x89\x7e\0\x7e", 4), QByteArray(126, 'x'));
    row("no web socket at all", "HTTP/1.1 200 OK\r\n\r\n", QByteArray());
}

void tst_SockJSHostile::hostileWebSocketFramesEndTheConnection()
{
    QFETCH(QByteArray, bytes);
    OpeningServer server;
    ConnectorRun run;
    run.open(server.port());
    QVERIFY(run.connector.isConnected());
    server.client->write(bytes);
    server.client->write(RawWebSocketServer::text("a[\"x\"]"));
    QTRY_COMPARE_WITH_TIMEOUT(run.closed.size(), 1, 20000);
    QCOMPARE(run.messages.size(), 0);
    // The connector is as good as new.
    run.open(server.port());
    QVERIFY(run.connector.isConnected());
}

void tst_SockJSHostile::largestWebSocketMessageIsTaken_data()
{
    QTest::addColumn<int>("bytes");
    QTest::addColumn<int>("pieces");
    QTest::addColumn<QString>("error");
    const QString tooLarge = u"[SockJSConnector] ERROR: A message was too large: "_s;
    const QString frame = tooLarge + u"Maximum framesize exceeded."_s;
    const QString message = tooLarge + u"Received message is too big."_s;
    QTest::newRow("16 MiB") << LARGEST << 1 << QString();
    QTest::newRow("16 MiB in four frames") << LARGEST << 4 << QString();
    QTest::newRow("one byte more") << LARGEST + 1 << 1 << frame;
    QTest::newRow("one byte more in four frames") << LARGEST + 1 << 4 << message;
}

void tst_SockJSHostile::largestWebSocketMessageIsTaken()
{
    QFETCH(int, bytes);
    QFETCH(int, pieces);
    QFETCH(QString, error);
    OpeningServer server;
    ConnectorRun run;
    run.open(server.port());
    QVERIFY(run.connector.isConnected());

    const QByteArray message = "a[\"" + QByteArray(bytes - 5, 'x') + "\"]";
    QCOMPARE(message.size(), bytes);
    for (const QByteArray &frame : RawWebSocketServer::fragments(message, pieces))
        server.client->write(frame);
    QTRY_VERIFY_WITH_TIMEOUT(run.messages.size() + run.closed.size() == 1, 20000);
    QCOMPARE(run.messages.size(), error.isEmpty() ? 1 : 0);
    QCOMPARE(run.log.startingWith(u"[SockJSConnector] ERROR"_s),
             error.isEmpty() ? QStringList() : QStringList{error});
    if (error.isEmpty()) {
        QCOMPARE(run.texts().at(0).size(), bytes - 5);
    } else {
        QCOMPARE(run.closed.at(0).at(0).toBool(), false);
        QVERIFY(!run.connector.isConnected());
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
    ConnectorRun run;
    run.connector.onTextMessageReceived(frame);
    QCOMPARE(run.messages.size(), 0);
    QCOMPARE(run.connected.size(), 0);
}

QTEST_GUILESS_MAIN(tst_SockJSHostile)
#include "tst_sockjshostile.moc"
