#include "RobustRun.h"
#include "support/Promptness.h"

#include <QtNetwork/QTcpServer>

using namespace Scripted;

// When receiving requests leave, what they say, and how often a server is asked that gives nothing.
class tst_SockJSRobustRequests : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void requestsAreTheSameToTheByte_data();
    void requestsAreTheSameToTheByte();
    void cookiesStandInTheNextRequest_data();
    void cookiesStandInTheNextRequest();
    void cookiesOfAPostStandInALaterRequest_data();
    void cookiesOfAPostStandInALaterRequest();
    void nextRequestLeavesAtOnce_data();
    void nextRequestLeavesAtOnce();
    void oneRequestIsOutAtATime();
    void answersThatEachEndTheConnectionArriveFast_data();
    void answersThatEachEndTheConnectionArriveFast();
    void emptyAnswersAreAskedForAHundredTimesASecondAtMost_data();
    void emptyAnswersAreAskedForAHundredTimesASecondAtMost();
    void emptyAnswersThatEndTheConnectionAreFollowedByPauses_data();
    void emptyAnswersThatEndTheConnectionAreFollowedByPauses();
    void serverThatIsGoneIsTriedForTenSeconds();
};

namespace
{

// What is asked of the connector's server, in either way: nothing stands behind the request.
QByteArray requestText(const RobustRun &run, bool streaming, const QByteArray &cookieLine = {})
{
    const QByteArray path = "/bus/eventbus/119/" + SockJSProbe::sessionId(run.connector).toLatin1();
    return pollText(path + (streaming ? "/xhr_streaming" : "/xhr"), cookieLine).chopped(4);
}

Script answering(const QByteArray &answer)
{
    return {expectRequest(), send(answer)};
}

// A server that answers each request at once in the same way, on the test's own event loop.
class Answering
{
public:
    explicit Answering(const QByteArray &answer, bool ends = false)
    {
        m_clock.start();
        QObject::connect(&m_server, &QTcpServer::newConnection, &m_server, [=] {
            QTcpSocket *socket = m_server.nextPendingConnection();
            socket->setSocketOption(QAbstractSocket::LowDelayOption, 1);
            QObject::connect(socket, &QTcpSocket::readyRead, socket, [=] {
                socket->readAll();
                times.append(m_clock.elapsed());
                socket->write(times.size() == 1 ? FRAME_O : answer);
                if (ends)
                    socket->disconnectFromHost();
            });
        });
        m_server.listen(QHostAddress::LocalHost);
    }
    quint16 port() const { return m_server.serverPort(); }

    QList<qint64> times; // of the requests

private:
    QElapsedTimer m_clock;
    QTcpServer m_server;
};

} // namespace

void tst_SockJSRobustRequests::requestsAreTheSameToTheByte_data()
{
    addBothWays();
}

void tst_SockJSRobustRequests::requestsAreTheSameToTheByte()
{
    QFETCH(bool, streaming);
    RobustRun run({POLLED_OPEN + answering(reply("a[\"x\"]\n")) + SAYS_GOODBYE});
    run.open(streaming);
    run.verifyGoodbye();
    QCOMPARE(run.server.received(0), requestText(run, streaming).repeated(3));
}

void tst_SockJSRobustRequests::cookiesStandInTheNextRequest_data()
{
    QTest::addColumn<bool>("streaming");
    QTest::addColumn<QByteArray>("lines");
    QTest::addColumn<QByteArray>("cookieLine");
    for (const bool streaming : {false, true}) {
        const char *way = streaming ? "streaming" : "polling";
        const auto row = [=](const char *name, const QByteArray &lines, const QByteArray &line) {
            QTest::addRow("%s, %s", name, way) << streaming << lines << line;
        };
        row("one", "Set-Cookie: a=1\r\n", "Cookie: a=1;\r\n");
        row("small letters", "set-cookie: a=1; Path=/\r\n", "Cookie: a=1;\r\n");
        row("two lines", "Set-Cookie: a=1\r\nset-cookie: b=2; path=/; HttpOnly\r\n",
            "Cookie: a=1;b=2;\r\n");
        row("for another path", "Set-Cookie: a=1; Path=/elsewhere\r\n", "");
    }
}

void tst_SockJSRobustRequests::cookiesStandInTheNextRequest()
{
    QFETCH(bool, streaming);
    QFETCH(QByteArray, lines);
    QFETCH(QByteArray, cookieLine);
    RobustRun run(
        {answering(reply("o\n", "200 OK", lines)) + answering(reply("h\n")) + SAYS_GOODBYE});
    run.open(streaming);
    run.verifyGoodbye();
    QCOMPARE(run.server.received(0),
             requestText(run, streaming) + requestText(run, streaming, cookieLine).repeated(2));
}

void tst_SockJSRobustRequests::cookiesOfAPostStandInALaterRequest_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::newRow("for all paths") << QByteArray("Set-Cookie: a=1; Path=/\r\n");
    QTest::newRow("for the post's neighbours") << QByteArray("set-cookie: a=1\r\n");
}

void tst_SockJSRobustRequests::cookiesOfAPostStandInALaterRequest()
{
    QFETCH(QByteArray, line);
    const Script holding{expectRequest(), pause(500), send(reply("h\n"))};
    RobustRun run(
        {POLLED_OPEN + holding + SAYS_GOODBYE, answering(reply("", "204 No Content", line))});
    run.open();
    QVERIFY(run.waitForSession());
    run.connector.sendMessage(u"x"_s, false);
    run.verifyGoodbye();
    QCOMPARE(run.server.received(0),
             requestText(run, false).repeated(2) + requestText(run, false, "Cookie: a=1;\r\n"));
}

void tst_SockJSRobustRequests::nextRequestLeavesAtOnce_data()
{
    addBothWays();
}

void tst_SockJSRobustRequests::nextRequestLeavesAtOnce()
{
    QFETCH(bool, streaming);
    Script script = POLLED_OPEN;
    for (int i = 0; i < 100; ++i)
        script += answering(reply("a[\"x\"]\n"));
    Promptness promptness;
    while (promptness.isOpen()) {
        RobustRun run({script + SAYS_GOODBYE});
        QElapsedTimer timer;
        timer.start();
        run.open(streaming);
        QTRY_COMPARE_WITH_TIMEOUT(run.closed.size(), 1, 60000);
        // The server itself needs about a millisecond for each.
        promptness.take(timer.elapsed(), 2000);
        QCOMPARE(run.messages.size(), 100);
    }
    VERIFY_PROMPT(promptness);
}

// Not while an answer goes on, and not beside posts.
void tst_SockJSRobustRequests::oneRequestIsOutAtATime()
{
    RobustRun run({POLLED_OPEN
                       + Script{expectRequest(), send(CHUNKED + chunk("a[\"x\"]\n")), pause(500),
                                send(END_CHUNK), pause(50)}
                       + SAYS_GOODBYE,
                   answering(NO_CONTENT)});
    run.open();
    QTRY_COMPARE_WITH_TIMEOUT(run.texts(), QStringList{"x"}, 20000);
    run.connector.sendMessage(u"y"_s, false);
    QTest::qWait(250);
    QCOMPARE(run.server.received(0), requestText(run, false).repeated(2));
    QCOMPARE(run.server.connectionCount(), 2);
    run.verifyGoodbye();
}

void tst_SockJSRobustRequests::answersThatEachEndTheConnectionArriveFast_data()
{
    QTest::addColumn<bool>("streaming");
    QTest::addColumn<QByteArray>("header");
    for (const bool streaming : {false, true}) {
        const char *way = streaming ? "streaming" : "polling";
        QTest::addRow("announced, %s", way) << streaming << QByteArray("Connection: close\r\n");
        QTest::addRow("unannounced, %s", way) << streaming << QByteArray();
    }
}

// A request may already be on its way into the end, and goes out again then.
void tst_SockJSRobustRequests::answersThatEachEndTheConnectionArriveFast()
{
    QFETCH(bool, streaming);
    QFETCH(QByteArray, header);
    Scripts scripts{POLLED_OPEN + Script{close()}};
    QStringList texts;
    for (int i = 1; i <= 60; ++i) {
        const QByteArray number = QByteArray::number(i);
        scripts += answering(reply("a[\"" + number + "\"]\n", "200 OK", header)) + Script{close()};
        texts += QString::fromLatin1(number);
    }
    RobustRun run(scripts << SAYS_GOODBYE);
    QElapsedTimer timer;
    timer.start();
    run.open(streaming);
    QTRY_COMPARE_WITH_TIMEOUT(run.closed.size(), 1, 20000);
    QVERIFY2(timer.elapsed() < 12000, qPrintable(QString::number(timer.elapsed())));
    QCOMPARE(run.texts(), texts);
    run.verifyGoodbye();
}

void tst_SockJSRobustRequests::emptyAnswersAreAskedForAHundredTimesASecondAtMost_data()
{
    QTest::addColumn<bool>("streaming");
    QTest::addColumn<QByteArray>("answer");
    for (const bool streaming : {false, true}) {
        const char *way = streaming ? "streaming" : "polling";
        QTest::addRow("length, %s", way) << streaming << reply("");
        QTest::addRow("204, %s", way) << streaming << QByteArray("HTTP/1.1 204 No Content\r\n\r\n");
        QTest::addRow("chunked, %s", way) << streaming << CHUNKED + END_CHUNK;
    }
}

void tst_SockJSRobustRequests::emptyAnswersAreAskedForAHundredTimesASecondAtMost()
{
    QFETCH(bool, streaming);
    QFETCH(QByteArray, answer);
    Answering server(answer);
    RobustRun run;
    run.open(server.port(), {streaming ? XHR_STREAMING : XHR_POLLING});
    QVERIFY(run.waitForSession());
    const int before = server.times.size();
    QElapsedTimer timer;
    timer.start();
    QTest::qWait(2000);
    const int requests = server.times.size() - before;
    QVERIFY2(requests <= timer.elapsed() / 10 + 1, qPrintable(QString::number(requests)));
    QVERIFY2(requests >= 20, qPrintable(QString::number(requests)));
    QVERIFY(run.connector.isConnected());
}

void tst_SockJSRobustRequests::emptyAnswersThatEndTheConnectionAreFollowedByPauses_data()
{
    QTest::addColumn<bool>("streaming");
    QTest::addColumn<QByteArray>("field");
    QTest::newRow("announced, polling") << false << QByteArray("Connection: close\r\n");
    QTest::newRow("announced, streaming") << true << QByteArray("Connection: close\r\n");
    QTest::newRow("without a word, polling") << false << QByteArray();
    QTest::newRow("without a word, streaming") << true << QByteArray();
}

void tst_SockJSRobustRequests::emptyAnswersThatEndTheConnectionAreFollowedByPauses()
{
    QFETCH(bool, streaming);
    QFETCH(QByteArray, field);
    Promptness promptness;
    while (promptness.isOpen()) {
        Answering server(reply("", "200 OK", field), true);
        RobustRun run;
        run.open(server.port(), {streaming ? XHR_STREAMING : XHR_POLLING});
        QTRY_VERIFY_WITH_TIMEOUT(server.times.size() >= 6, 60000);
        // The session, the first that was empty, and those in a row behind it.
        const QList<int> pauses{0, 250, 500, 1000, 2000};
        for (int i = 0; i < pauses.size(); ++i) {
            const qint64 pause = server.times.at(i + 1) - server.times.at(i);
            QVERIFY2(pause >= pauses.at(i) * 9 / 10, qPrintable(QString::number(pause)));
            promptness.take(pause, pauses.at(i) + 200);
        }
        QVERIFY(run.connector.isConnected());
    }
    VERIFY_PROMPT(promptness);
}

void tst_SockJSRobustRequests::serverThatIsGoneIsTriedForTenSeconds()
{
    Promptness promptness;
    while (promptness.isOpen()) {
        RobustRun run({POLLED_OPEN});
        run.open();
        QVERIFY(run.waitForSession());
        QElapsedTimer timer;
        timer.start();
        run.server.stop();
        QTRY_COMPARE_WITH_TIMEOUT(run.closed.size(), 1, 60000);
        const qint64 ms = timer.elapsed();
        QVERIFY2(ms >= 9500, qPrintable(QString::number(ms)));
        promptness.take(ms, 11500);
        run.verifyEnd(1006, u"The server cannot be reached any more: Connection refused"_s);
    }
    VERIFY_PROMPT(promptness);
}

QTEST_GUILESS_MAIN(tst_SockJSRobustRequests)
#include "tst_sockjsrobustrequests.moc"
