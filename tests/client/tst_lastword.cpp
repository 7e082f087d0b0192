// The channel's last word, which a stop awaits.

#include "client/SessionTest.h"

#include "sockjs/RawWebSocketServer.h"

#include <QtCore/QTimer>

class tst_LastWord : public SessionTest
{
    Q_OBJECT

private Q_SLOTS:
    void stopAwaitsTheLastWord_data();
    void stopAwaitsTheLastWord();
    void lastWordThatNeverArrivesIsAwaitedForTwoSeconds();
    void deletedWhileTheLastWordIsAwaited();

private:
    void startSilently();
    // The ping that asks whether everything before it has arrived.
    bool isAsked() const
    {
        return !server->frames.isEmpty()
            && server->frames.last().opcode == RawWebSocketServer::PING;
    }
    void answer();

    std::unique_ptr<RawWebSocketServer> server; // does not say by itself what has reached it
};

void tst_LastWord::startSilently()
{
    server.reset(new RawWebSocketServer);
    server->answersPings = false;
    server->behindHandshake = RawWebSocketServer::text("o");
    createSession();
    expectAll(startOperations(localUrl(server->port())));
    if (!openChannel() || !QTest::qWaitFor([this] { return server->frames.size() == 3; }))
        qFatal("the channel has not registered");
}

void tst_LastWord::answer()
{
    server->client->write(
        RawWebSocketServer::frame(RawWebSocketServer::PONG, server->frames.last().payload));
    connect(server->client, &QTcpSocket::readyRead, server->client,
            &QTcpSocket::disconnectFromHost); // the close frame
}

void tst_LastWord::stopAwaitsTheLastWord_data()
{
    QTest::addColumn<QString>("how");
    QTest::newRow("stop") << "stop";
    QTest::newRow("logout") << "logout";
    QTest::newRow("destructor") << "destructor";
    QTest::newRow("stop of a channel that was closed before") << "closed before";
}

void tst_LastWord::stopAwaitsTheLastWord()
{
    QFETCH(QString, how);
    startSilently();
    const int before = service->requests().size();
    expectStop();
    if (how == QLatin1String("logout"))
        service->expect(LOGOUT, "{}");

    bool answered = false;
    QTimer::singleShot(500, service.get(), [&] {
        QVERIFY(isAsked());
        QCOMPARE(service->requests().size(), before);
        answered = true;
        answer();
    });
    QElapsedTimer clock;
    clock.start();
    if (how == QLatin1String("closed before"))
        channel->close();
    if (how == QLatin1String("logout"))
        QVERIFY(client->doLogout());
    else if (how != QLatin1String("destructor"))
        QVERIFY(client->doStopSession());
    delete client;
    QVERIFY(answered);
    QVERIFY2(clock.elapsed() < 1900, qPrintable(QString::number(clock.elapsed())));
}

void tst_LastWord::lastWordThatNeverArrivesIsAwaitedForTwoSeconds()
{
    startSilently();
    expectStop();
    QElapsedTimer clock;
    clock.start();
    QVERIFY(client->doStopSession());
    // The channel gives up by a coarse timer of its own, which may be early.
    QVERIFY2(clock.elapsed() >= 1850, qPrintable(QString::number(clock.elapsed())));
    QVERIFY2(clock.elapsed() < 3500, qPrintable(QString::number(clock.elapsed())));
    delete client;
}

void tst_LastWord::deletedWhileTheLastWordIsAwaited()
{
    startSilently();
    QTimer::singleShot(100, service.get(), [&] {
        QTimer::singleShot(100, service.get(), [&] { answer(); });
        expectStop(); // once
        delete client;
    });
    QVERIFY(!client->doStopSession());
    QVERIFY(client.isNull());
}

QTEST_GUILESS_MAIN(tst_LastWord)
#include "tst_lastword.moc"
