#include "RobustRun.h"
#include "support/Promptness.h"

using namespace Scripted;

// Bodies that bring many frames, and go on for as long as the server likes.
class tst_SockJSRobustStreams : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void framesAreDeliveredAsTheyCome_data();
    void framesAreDeliveredAsTheyCome();
    void everyFrameArrivesOnceOverManyBodies_data();
    void everyFrameArrivesOnceOverManyBodies();
};

namespace
{

const QByteArray OK = "HTTP/1.1 200 OK\r\n";
const QByteArray CLOSES = OK + "Connection: close\r\nTransfer-Encoding: chunked\r\n\r\n";

} // namespace

void tst_SockJSRobustStreams::framesAreDeliveredAsTheyCome_data()
{
    QTest::addColumn<bool>("streaming");
    QTest::addColumn<QByteArrayList>("packets");
    for (const bool streaming : {false, true}) {
        const char *way = streaming ? "streaming" : "polling";
        const auto row = [=](const char *name, const QByteArrayList &packets) {
            QTest::addRow("%s, %s", name, way) << streaming << packets;
        };
        row("chunks", {CHUNKED + chunk("o\n"), chunk("a[\"x\"]\n"), chunk("a[\"y\"]\n")});
        row("chunks without their end",
            {CHUNKED + "2\r\no\n", "\r\n7\r\na[\"x\"]\n", "\r\nff\r\na[\"y\"]\n"});
        row("length", {plain(100, "o\n"), "a[\"x\"]\n", "a[\"y\"]\n"});
        row("until the end", {OK + "\r\no\n", "a[\"x\"]\n", "a[\"y\"]\n"});
    }
}

// Each before the server says more, in a body that does not end.
void tst_SockJSRobustStreams::framesAreDeliveredAsTheyCome()
{
    QFETCH(bool, streaming);
    QFETCH(QByteArrayList, packets);
    Promptness promptness;
    while (promptness.isOpen()) {
        RobustRun run({Script{expectRequest(), send(packets.at(0)), pause(300), send(packets.at(1)),
                              pause(300), send(packets.at(2))}});
        QElapsedTimer timer;
        QList<qint64> times;
        QObject::connect(&run.connector, &SockJSConnector::sockJSMessage, &run.connector,
                         [&] { times.append(timer.elapsed()); });
        QObject::connect(&run.connector, &SockJSConnector::connected, &run.connector,
                         [&] { timer.start(); });
        run.open(streaming);
        QTRY_COMPARE_WITH_TIMEOUT(run.texts(), (QStringList{"x", "y"}), 20000);
        promptness.take(times.at(0), 550);
        promptness.take(times.at(1), 900);
        QCOMPARE(run.requestCount(), 1);
        QCOMPARE(run.closed.size(), 0);
    }
    VERIFY_PROMPT(promptness);
}

void tst_SockJSRobustStreams::everyFrameArrivesOnceOverManyBodies_data()
{
    QTest::addColumn<bool>("streaming");
    QTest::addColumn<QByteArray>("header");
    for (const bool streaming : {false, true}) {
        const char *way = streaming ? "streaming" : "polling";
        QTest::addRow("on one connection, %s", way) << streaming << CHUNKED;
        QTest::addRow("each on its own, %s", way) << streaming << CLOSES;
    }
}

// 10,000 frames in 100 bodies, each frame in a chunk of its own.
void tst_SockJSRobustStreams::everyFrameArrivesOnceOverManyBodies()
{
    QFETCH(bool, streaming);
    QFETCH(QByteArray, header);
    const bool keeps = header == CHUNKED;
    Scripts scripts{POLLED_OPEN};
    QStringList texts;
    for (int body = 0; body < 100; ++body) {
        QByteArray answer = header;
        for (int i = 0; i < 100; ++i) {
            texts.append(QString::number(100 * body + i));
            answer += chunk("a[\"" + texts.constLast().toLatin1() + "\"]\n");
        }
        scripts.last() += {expectRequest(), send(answer + END_CHUNK)};
        if (!keeps) {
            scripts.last() += close();
            scripts.append(Script());
        }
    }
    scripts.last() += SAYS_GOODBYE;
    RobustRun run(scripts);
    run.open(streaming);
    QTRY_COMPARE_WITH_TIMEOUT(run.closed.size(), 1, 30000);
    QCOMPARE(run.texts(), texts);
    QCOMPARE(run.requestCount(), 102);
    run.verifyGoodbye();
}

QTEST_GUILESS_MAIN(tst_SockJSRobustStreams)
#include "tst_sockjsrobuststreams.moc"
