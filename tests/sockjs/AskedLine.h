#pragma once

#include "Http.h"
#include "ScriptedFarEnd.h"
#include "sockjs/ReceivingLine.h"
#include "support/Text.h"

#include <QtNetwork/QTcpSocket>

// A receiving line by itself, on the test's own thread, that asks a server which plays one script on each
// connection.
struct AskedLine : ScriptedFarEnd {
    explicit AskedLine(std::initializer_list<Scripted::Script> scripts,
                       const QList<QNetworkCookie> &cookies = {})
        : ScriptedFarEnd(scripts)
    {
        ReceivingLine::Request request;
        request.header = "POST /s/xhr HTTP/1.1\r\nContent-Length: 0\r\n";
        request.url = QUrl(u"http://127.0.0.1/s/xhr"_s);
        request.cookies = cookies;
        line.start(request);
    }
    bool hasAsked(int times = 1)
    {
        return QTest::qWaitFor([=] { return server.requests().size() == times; });
    }
    // From now on the line reads nothing: too much waits for the host.
    void hold() { *backlog = ReceivingLine::MAX_BACKLOG_CHARACTERS + 1; }
    // Once a frame has come.
    void holdBehindTheFirstFrame()
    {
        QObject::connect(&line, &ReceivingLine::frameCame, &line, [this] { hold(); });
    }
    void letGo()
    {
        *backlog = 0;
        line.goOn();
    }
    // Null between two connections.
    QTcpSocket *connection() const { return line.findChild<QTcpSocket *>(); }

    ReceivingLine::Backlog backlog = std::make_shared<std::atomic<qint64>>(0);
    ReceivingLine line{{u"127.0.0.1"_s, server.port(), false, QNetworkProxy::NoProxy}, backlog};
    QSignalSpy frames{&line, &ReceivingLine::frameCame};
    QSignalSpy ended{&line, &ReceivingLine::ended};
};
