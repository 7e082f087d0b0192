// The application's end with a session running.

#include "client/SessionTest.h"

#include "support/ScriptedServer.h"

#include <QtCore/QProcess>
#include <QtCore/QTimer>

class tst_ApplicationEnd : public SessionTest
{
    Q_OBJECT

public:
    tst_ApplicationEnd() : SessionTest(30000) { } // a process may take its time to start

private Q_SLOTS:
    void sessionIsStoppedAfterAQuit_data();
    void sessionIsStoppedAfterAQuit();
    void processEnds_data();
    void processEnds();
};

void tst_ApplicationEnd::sessionIsStoppedAfterAQuit_data()
{
    QTest::addColumn<QString>("how");
    QTest::newRow("stop") << "stop";
    QTest::newRow("logout") << "logout";
    QTest::newRow("destructor") << "destructor";
    QTest::newRow("after the loop") << "after the loop";
}

void tst_ApplicationEnd::sessionIsStoppedAfterAQuit()
{
    QFETCH(QString, how);
    startSession();
    connect(channel.data(), &PresenterCollab::connectionClosed, qApp, &QCoreApplication::quit);
    expectStop();
    if (how == QLatin1String("logout"))
        service->expect(LOGOUT, "{}");

    bool result = false;
    QTimer::singleShot(0, client.data(), [&] {
        if (how == QLatin1String("stop"))
            result = client->doStopSession();
        else if (how == QLatin1String("logout"))
            result = client->doLogout();
        else if (how == QLatin1String("destructor"))
            bus->closeConnection();
        else
            QCoreApplication::quit();
    });
    QCoreApplication::exec();
    if (how == QLatin1String("after the loop"))
        result = client->doStopSession();
    QCOMPARE(result, how != QLatin1String("destructor"));
    delete client;
}

void tst_ApplicationEnd::processEnds_data()
{
    QTest::addColumn<QString>("owner");
    QTest::addColumn<QByteArray>("transport");
    for (const char *transport : {"websocket", "xhr-polling"}) {
        const auto row = [&](const char *owner, const char *argument) {
            QTest::addRow("%s, %s", owner, transport) << argument << QByteArray(transport);
        };
        row("client of the application", "application");
        row("client that outlives the application", "heap");
        row("client that outlives main()", "static");
    }
}

// No events are delivered any more when the application object goes, so nothing can be sent either; but
// the process ends, and does not wait for what cannot come.
void tst_ApplicationEnd::processEnds()
{
    constexpr int LIMIT_MS = 1800; // what waits for a word waits for 2,000
    QFETCH(QString, owner);
    QFETCH(QByteArray, transport);
    ScriptedServer polled; // opens the session, and keeps the poll that follows
    polled.onConnection({Scripted::expectRequest(), Scripted::send(Scripted::reply("o\n")),
                         Scripted::expectRequest(), Scripted::expectEnd()});
    const Scripted::Step noContent = Scripted::send(Scripted::reply("", "204 No Content"));
    polled.onConnection({Scripted::expectRequest(), noContent, Scripted::expectRequest(), noContent,
                         Scripted::expectRequest(), noContent});
    QVERIFY(polled.listen());
    service->expect(LOGIN, ANN).json(SUCCESS);
    expectCreation();
    const bool polling = transport == "xhr-polling";
    expectAll(startOperations(polling ? localUrl(polled.port()) : bus->url(), transport));
    QProcess host;
    QElapsedTimer clock;
    connect(&host, &QProcess::readyReadStandardOutput, this, [&] { clock.start(); });
    host.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    host.start(QStringLiteral(TARVO_ENDING_HOST), {service->url(), owner});
    QVERIFY(host.waitForStarted());
    QTRY_VERIFY_WITH_TIMEOUT(clock.isValid(), 20000);
    QTRY_COMPARE_WITH_TIMEOUT(host.state(), QProcess::NotRunning, AT_ONCE_MS);
    QVERIFY2(clock.elapsed() < LIMIT_MS, qPrintable(QString::number(clock.elapsed())));
    QCOMPARE(host.exitStatus(), QProcess::NormalExit);
    QCOMPARE(host.exitCode(), 0);
}

QTEST_GUILESS_MAIN(tst_ApplicationEnd)
#include "tst_applicationend.moc"
