#include "RawWebSocketServer.h"
#include "sockjs/WebSocketGoodbye.h"
#include "support/Promptness.h"
#include "support/Text.h"

#include <QtTest/QtTest>
#include <QtWebSockets/QWebSocket>

// How long a goodbye on a web socket waits for a server that is slow to take what was sent.
class tst_WebSocketGoodbye : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void limitsOfAConnector();
    void serverThatTakesNothingIsGivenUpSoon();
    void serverThatTakesALittleIsGivenUpInTheEnd();
};

namespace
{

constexpr int BUFFER_BYTES = 32 * 1024;
constexpr int BYTES_AT_A_TIME = 16 * 1024;

// A server that reads what comes bit by bit, or not at all, and a web socket with much to send to it.
struct SlowServer {
    SlowServer()
    {
        socket->setProxy(QNetworkProxy::NoProxy);
        socket->open(QUrl(u"ws://127.0.0.1:%1/"_s.arg(server.port())));
    }
    bool say(const WebSocketGoodbye::Limits &limits)
    {
        if (!QTest::qWaitFor([this] { return socket->isValid(); }, 20000))
            return false;
        server.client->disconnect(SIGNAL(readyRead()));
        server.client->setReadBufferSize(BYTES_AT_A_TIME);
        server.client->setSocketOption(QAbstractSocket::ReceiveBufferSizeSocketOption,
                                       BUFFER_BYTES);
        socket->findChild<QTcpSocket *>()->setSocketOption(
            QAbstractSocket::SendBufferSizeSocketOption, BUFFER_BYTES);
        socket->sendBinaryMessage(QByteArray(30 * 1024 * 1024, 'x'));
        clock.start();
        WebSocketGoodbye::say(socket, &owner, limits);
        return true;
    }
    void readNowAndThen()
    {
        QObject::connect(&reading, &QTimer::timeout, &reading,
                         [this] { server.client->read(BYTES_AT_A_TIME); });
        reading.start(20);
    }
    bool isOver() const { return !owner.findChild<WebSocketGoodbye *>(); }

    RawWebSocketServer server;
    QTimer reading;
    QObject owner;
    QWebSocket *socket = new QWebSocket; // the goodbye's, from then on
    QElapsedTimer clock;
};

} // namespace

void tst_WebSocketGoodbye::limitsOfAConnector()
{
    const WebSocketGoodbye::Limits limits;
    QCOMPARE(limits.patienceMs, 2000);
    QCOMPARE(limits.longestMs, 60000);
}

void tst_WebSocketGoodbye::serverThatTakesNothingIsGivenUpSoon()
{
    SlowServer slow;
    QVERIFY(slow.say({500, 600000}));
    QTRY_VERIFY_WITH_TIMEOUT(slow.isOver(), 60000);
    // Either step.
    const qint64 ms = slow.clock.elapsed();
    QVERIFY2(ms >= 2 * 475, qPrintable(QString::number(ms)));
}

void tst_WebSocketGoodbye::serverThatTakesALittleIsGivenUpInTheEnd()
{
    Promptness promptness;
    while (promptness.isOpen()) {
        SlowServer slow;
        QVERIFY(slow.say({1500, 2500}));
        slow.readNowAndThen();
        QTRY_VERIFY_WITH_TIMEOUT(slow.isOver(), 40000);
        // Either step takes all its time, and at most as long without progress.
        const qint64 ms = slow.clock.elapsed();
        QVERIFY2(ms >= 2 * 2500, qPrintable(QString::number(ms)));
        promptness.take(ms, 2 * (2500 + 1500) + 3000);
    }
    VERIFY_PROMPT(promptness);
}

QTEST_GUILESS_MAIN(tst_WebSocketGoodbye)
#include "tst_websocketgoodbye.moc"
