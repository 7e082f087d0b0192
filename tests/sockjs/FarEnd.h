#pragma once

#include "ConnectorRun.h"
#include "Http.h"
#include "support/EventBusServer.h"
#include "support/ScriptedServer.h"

// The answers to a first poll that open a session.
inline const Scripted::Script POLLED_OPEN = {Scripted::expectRequest(), Scripted::send(FRAME_O)};

// The far ends of both transports: an event bus and a server that is polled, of which a test uses one.
struct FarEnd {
    // With a certificate, they speak TLS.
    explicit FarEnd(bool xhr, const TestCertificates::Identity *identity = nullptr)
        : xhr(xhr), tls(identity), bus(identity)
    {
        if (identity)
            polled.setCertificate(*identity);
        if (!polled.listen())
            qFatal("no port for the polled server");
    }
    bool open(SockJSConnector &connector) const
    {
        return connector.open(serverUrl(xhr ? polled.port() : bus.port(), tls ? u"wss"_s : u"ws"_s),
                              {xhr ? XHR_POLLING : WEBSOCKET});
    }

    const bool xhr;
    const bool tls;
    EventBusServer bus;
    ScriptedServer polled;
};

// The rows of a test of both.
inline void addBothFarEnds()
{
    QTest::addColumn<bool>("xhr");
    QTest::newRow("web socket") << false;
    QTest::newRow("XHR") << true;
}
