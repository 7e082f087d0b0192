#pragma once

#include "client/ServiceTest.h"

#include "collab/PresenterCollab.h"
#include "support/EventBusServer.h"

// A ClientTest whose functions have a collaboration server each, on which the client can run session CODE.
class SessionTest : public ClientTest
{
public:
    using ClientTest::ClientTest;

    std::unique_ptr<EventBusServer> bus;
    QPointer<PresenterCollab> channel; // opened last

    void init() override
    {
        bus.reset(new EventBusServer);
        ClientTest::init();
    }

    void expectCreation(const QByteArray &code = "CODE")
    {
        service->expect(USER, "{}").json(ANN_IS_KNOWN);
        service->expect(CREATE, "{}").json("{\"data\":{\"sessionCode\":\"" + code + "\"}}");
    }
    // A start of session CODE, with what is asked before.
    RestExchange &expectStart(const QString &collabUrl)
    {
        expectAll(startOperations(collabUrl).mid(0, 2));
        return service->expect(START, startBody(collabUrl));
    }
    RestExchange &expectStop() { return service->expect(STOP, TOKEN_BODY); }

    bool create() { return client->doStartSession(QString()); }
    bool openChannel()
    {
        PresenterCollab *opened = nullptr;
        const bool isOpen = client->startWebsocket(&opened);
        channel = opened;
        return isOpen;
    }

    void createSession()
    {
        signIn();
        expectCreation();
        if (!create())
            qFatal("no session");
    }
    // Goes on to an open channel.
    void startSession()
    {
        createSession();
        expectAll(startOperations(bus->url()));
        if (!openChannel())
            qFatal("no channel");
        if (!QTest::qWaitFor(
                [this] { return channel->isConnected() && bus->messages().size() == 3; }))
            qFatal("channel not open");
    }
};
