#include "Http.h"
#include "SockJSProbe.h"
#include "support/LogCapture.h"
#include "support/Promptness.h"

#include <QtNetwork/QTcpServer>
#include <QtTest/QtTest>

// The end of a polling transport whose last messages have not been answered yet. Servers end a session
// when its receiving connection goes, and drop what comes then.
class tst_SockJSGoodbye : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();
    void receivingConnectionStaysUntilThePostsAreAnswered();
    void receivingConnectionGoesAtOnceWhenNoPostWaits();
    void receivingConnectionGoesWhenAPostMakesNoProgress();
    void nothingIsHeardOnAReceivingConnectionThatIsKept();
    void deletingEndsAReceivingConnectionThatIsKept();
    void startingAgainEndsAReceivingConnectionThatIsKept();
    void startingAgainEndsThePatienceWithIt_data();
    void startingAgainEndsThePatienceWithIt();

private:
    void startIdle();
    void closeBehindAMessage();
    QTcpSocket *receiving() const { return m_connections.value(0); }
    QTcpSocket *sending() const { return m_connections.value(1); }

    std::unique_ptr<QTcpServer> m_server;
    QList<QTcpSocket *> m_connections;
    QMap<QTcpSocket *, QByteArray> m_received;
    std::unique_ptr<SockJSXHRPolling> m_transport;
    std::unique_ptr<QSignalSpy> m_ends;
};

namespace
{

bool isOpen(const QTcpSocket *connection)
{
    return connection->state() == QAbstractSocket::ConnectedState;
}

} // namespace

void tst_SockJSGoodbye::init()
{
    m_server = std::make_unique<QTcpServer>();
    connect(m_server.get(), &QTcpServer::newConnection, this, [this] {
        QTcpSocket *connection = m_server->nextPendingConnection();
        m_connections.append(connection);
        connect(connection, &QTcpSocket::readyRead, this,
                [=] { m_received[connection] += connection->readAll(); });
    });
    QVERIFY(m_server->listen(QHostAddress::LocalHost));
    m_transport = std::make_unique<SockJSXHRPolling>();
    m_ends = std::make_unique<QSignalSpy>(m_transport.get(), &SockJSXHRPolling::connectionClosed);
}

void tst_SockJSGoodbye::cleanup()
{
    m_ends.reset();
    m_transport.reset();
    m_server.reset();
    m_connections.clear();
    m_received.clear();
}

// A transport whose poll is out.
void tst_SockJSGoodbye::startIdle()
{
    QVERIFY(m_transport->start(localhost(), m_server->serverPort(), false, u"/s"_s, false));
    QTRY_VERIFY_WITH_TIMEOUT(receiving() && m_received[receiving()].startsWith("POST /s/xhr HTTP"),
                             20000);
}

// The host has been told of the end, and the server holds the message, unanswered.
void tst_SockJSGoodbye::closeBehindAMessage()
{
    startIdle();
    m_transport->sendTextMessage(u"last word"_s);
    m_transport->close();
    QTRY_COMPARE_WITH_TIMEOUT(m_ends->size(), 1, 20000);
    QTRY_VERIFY_WITH_TIMEOUT(sending() && m_received[sending()].endsWith("last word"), 20000);
}

void tst_SockJSGoodbye::receivingConnectionStaysUntilThePostsAreAnswered()
{
    closeBehindAMessage();
    if (QTest::currentTestFailed())
        return;
    m_transport->sendTextMessage(u"very last word"_s);
    QVERIFY(!QTest::qWaitFor([&] { return !isOpen(receiving()); }, 1000));
    sending()->write(NO_CONTENT);
    QTRY_VERIFY_WITH_TIMEOUT(m_received[sending()].endsWith("very last word"), 20000);
    QVERIFY(isOpen(receiving()));
    sending()->write(NO_CONTENT);
    QTRY_VERIFY_WITH_TIMEOUT(!isOpen(receiving()), 20000);
    QVERIFY(!m_transport->isSending());
    QCOMPARE(m_ends->size(), 1);
}

void tst_SockJSGoodbye::receivingConnectionGoesAtOnceWhenNoPostWaits()
{
    Promptness promptness;
    while (promptness.isOpen()) {
        cleanup();
        init();
        startIdle();
        QElapsedTimer clock;
        clock.start();
        m_transport->close();
        QTRY_VERIFY_WITH_TIMEOUT(!isOpen(receiving()), 20000);
        promptness.take(clock.elapsed(), 1000);
        QTRY_COMPARE_WITH_TIMEOUT(m_ends->size(), 1, 20000);
    }
    VERIFY_PROMPT(promptness);
}

void tst_SockJSGoodbye::receivingConnectionGoesWhenAPostMakesNoProgress()
{
    Promptness promptness;
    while (promptness.isOpen()) {
        cleanup();
        init();
        QElapsedTimer sinceTheEnd; // or since the message has come, its last progress
        connect(m_transport.get(), &SockJSXHRPolling::connectionClosed, this,
                [&] { sinceTheEnd.start(); });
        closeBehindAMessage();
        if (QTest::currentTestFailed())
            return;
        QTRY_VERIFY_WITH_TIMEOUT(!isOpen(receiving()), 20000);
        const qint64 ms = sinceTheEnd.elapsed();
        QVERIFY2(ms >= 1850, qPrintable(QString::number(ms)));
        promptness.take(ms, 2700);
        QVERIFY(m_transport->isSending()); // it has its thirty seconds
    }
    VERIFY_PROMPT(promptness);
}

void tst_SockJSGoodbye::nothingIsHeardOnAReceivingConnectionThatIsKept()
{
    closeBehindAMessage();
    if (QTest::currentTestFailed())
        return;
    const LogCapture log;
    QSignalSpy frames(m_transport.get(), &SockJSXHRPolling::textMessageReceived);
    receiving()->write(Scripted::reply("a[\"x\"]\n"));
    receiving()->flush();
    QVERIFY(!QTest::qWaitFor([&] { return !frames.isEmpty(); }, 500));
    QCOMPARE(log.messages(), QStringList());
    QVERIFY(isOpen(receiving()));
}

void tst_SockJSGoodbye::deletingEndsAReceivingConnectionThatIsKept()
{
    closeBehindAMessage();
    if (QTest::currentTestFailed())
        return;
    m_ends.reset();
    m_transport.reset();
    QTRY_VERIFY(!isOpen(receiving()));
}

void tst_SockJSGoodbye::startingAgainEndsAReceivingConnectionThatIsKept()
{
    closeBehindAMessage();
    if (QTest::currentTestFailed())
        return;
    QVERIFY(m_transport->start(localhost(), m_server->serverPort(), false, u"/t"_s, false));
    QTRY_VERIFY(!isOpen(receiving()));
    QTRY_VERIFY_WITH_TIMEOUT(
        m_received.value(m_connections.value(2)).startsWith("POST /t/xhr HTTP"), 20000);
    sending()->write(NO_CONTENT); // and that ends nothing any more
    QTRY_VERIFY(!m_transport->isSending());
    QVERIFY(isOpen(m_connections.at(2)));
}

void tst_SockJSGoodbye::startingAgainEndsThePatienceWithIt_data()
{
    QTest::addColumn<bool>("robust");
    QTest::newRow("default") << false;
    QTest::newRow("robust") << true;
}

// The message of the first connection is still unanswered when the patience would be over.
void tst_SockJSGoodbye::startingAgainEndsThePatienceWithIt()
{
    QFETCH(bool, robust);
    m_transport->setRobustTransport(robust);
    closeBehindAMessage();
    if (QTest::currentTestFailed())
        return;
    QVERIFY(m_transport->start(localhost(), m_server->serverPort(), false, u"/t"_s, false));
    QTRY_COMPARE(m_connections.size(), 3);
    QVERIFY(!QTest::qWaitFor([&] { return !isOpen(m_connections.at(2)); }, 3000));
    QVERIFY(m_transport->isSending());
}

QTEST_GUILESS_MAIN(tst_SockJSGoodbye)
#include "tst_sockjsgoodbye.moc"
