#pragma once

#include "client/PresenterClient.h"
#include "support/Text.h"

#include "client/RestService.h"
#include "collab/PresenterCollab.h"
#include "support/EventBusServer.h"

#include <QtTest/QtTest>

// What the client of ann asks to start and join the session CODE, whose collaboration server is at `url`.
inline void expectStartAndJoin(RestService &service, const QByteArray &transport,
                               const QByteArray &url)
{
    service.expect("/vantora/session/getcollabserverurl", "{}")
        .json("{\"data\":{\"url\":\"" + url + "\"}}");
    service.expect("/vantora/config/findTenantFeatureDetails", "{}")
        .json("{\"data\":{\"sockJSProtocols\":[\"" + transport + "\"]}}");
    service
        .expect("/vantora/session/start",
                "{\"sessionCode\": \"CODE\",\"serverUrl\":\"" + url
                    + "\",\"sourceSystem\":\"Corvel\",\"version\":\"3.0.0\"}")
        .json(R"({"data":{"sessionToken":"TOKEN"}})");
    service
        .expect(
            "/vantora/classroom/session/join",
            R"({"userName":"SessionStarter","sessionCode":"CODE","mode":"presenter","deviceName":"ann_SessionStarter","deviceType":"presenter"})")
        .json(R"({"data":{"userToken":"USER"}})");
}

// A client with a session CODE that runs over a web socket, and the service and the collaboration server
// that it is connected to.
struct RunningSession {
    static constexpr char STOP[] = "/vantora/session/stop";
    static constexpr char STOP_BODY[] = R"({"sessionToken":"TOKEN"})";

    EventBusServer bus;
    RestService service;
    QPointer<PresenterClient> client;
    QPointer<PresenterCollab> channel;

    // Signs ann in with `made`, a client of service.url(), and starts the session.
    bool start(PresenterClient *made)
    {
        client = made;
        expectSignIn();
        PresenterCollab *opened = nullptr;
        if (!begin(*client, &opened))
            return false;
        channel = opened;
        return QTest::qWaitFor(
            [this] { return channel->isConnected() && bus.messages().size() == 3; });
    }

    // What a host does for it.
    static bool begin(PresenterClient &client, PresenterCollab **channel)
    {
        return client.doLogin(u"ann"_s, u"pw"_s) && client.doStartSession(QString())
            && client.startWebsocket(channel);
    }

    void expectSignIn(const QByteArray &transport = "websocket", const QByteArray &url = {})
    {
        service
            .expect("/vantora/login/submit",
                    R"({"userId":"ann","password":"pw","sourceSystem":"Corvel"})")
            .json(R"({"infoMsgs":["success"]})");
        service.expect("/vantora/login/user", "{}").json(R"({"data":{"userLoginId":"ann"}})");
        service.expect("/vantora/session/create", "{}").json(R"({"data":{"sessionCode":"CODE"}})");
        expectStart(transport, url);
    }

    void expectStart(const QByteArray &transport = "websocket", const QByteArray &url = {})
    {
        expectStartAndJoin(service, transport, url.isEmpty() ? bus.url().toUtf8() : url);
    }

    RestExchange &expectStop() { return service.expect(STOP, STOP_BODY); }
};
