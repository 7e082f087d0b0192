#pragma once

#include "FarEnd.h"

Q_DECLARE_METATYPE(Scripted::Step)

using Scripts = QVector<Scripted::Script>;

// The word of a server that ends a session, as the answer to a poll.
inline const Scripted::Script SAYS_GOODBYE = {
    Scripted::expectRequest(), Scripted::send(Scripted::reply("c[3000,\"Go away!\"]\n"))};

// A connector that uses the robust transport, and a server that plays one script on each connection.
struct RobustRun : ConnectorRun {
    explicit RobustRun(const Scripts &scripts = {})
    {
        connector.setRobustTransport(true);
        for (const Scripted::Script &script : scripts)
            server.onConnection(script);
        if (!server.listen())
            qFatal("no port for the server");
    }
    using ConnectorRun::open;
    void open(bool streaming = false)
    {
        open(server.port(), {streaming ? XHR_STREAMING : XHR_POLLING});
    }
    bool waitForSession()
    {
        return QTest::qWaitFor([this] { return connector.isConnected(); }, 20000);
    }
    // How many requests the server has seen, those that no script waits for included.
    int requestCount() const
    {
        int count = 0;
        for (int i = 0; i < server.connectionCount(); ++i)
            count += server.received(i).count(" HTTP/1.1\r\n");
        return count;
    }
    // Waits for the end of the connection: it is told once, with this code and reason, and the server
    // sees nothing behind it.
    void verifyEnd(int code, const QString &reason)
    {
        QTRY_COMPARE_WITH_TIMEOUT(closed.size(), 1, 20000);
        QCOMPARE(connector.getCloseReason(), reason);
        QCOMPARE(connector.getCloseCode(), code);
        QCOMPARE(closed.at(0).at(0).toBool(), false);
        const int requests = requestCount();
        const int connections = server.connectionCount();
        QTest::qWait(100);
        QCOMPARE(closed.size(), 1);
        QCOMPARE(requestCount(), requests);
        QCOMPARE(server.connectionCount(), connections);
    }
    void verifyGoodbye() { verifyEnd(3000, u"Go away!"_s); }

    ScriptedServer server;
};

// The rows of a test of both ways to receive over HTTP.
inline void addBothWays()
{
    QTest::addColumn<bool>("streaming");
    QTest::newRow("polling") << false;
    QTest::newRow("streaming") << true;
}
