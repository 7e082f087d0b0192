#pragma once

#include "Messages.h"
#include "collab/PresenterCollab.h"
#include "support/EventBusServer.h"
#include "support/Text.h"

#include <QtTest/QtTest>

// A channel and the event bus it is connected to; the session code is "CODE", the session token
// "session", the user token "teacher".
struct OpenChannel {
    EventBusServer bus;
    PresenterCollab channel{nullptr, bus.url(), u"CODE"_s, u"session"_s, u"teacher"_s};

    // True once the session is open and the three registrations have arrived.
    bool open()
    {
        channel.open({u"websocket"_s});
        return QTest::qWaitFor([this] { return bus.messages().size() == 3; }, 20000)
            && channel.isConnected();
    }
    bool waitForPublished(int count)
    {
        return QTest::qWaitFor([this, count] { return bus.published().size() >= count; }, 20000);
    }
    // True when nothing of what was published before has gone out, or is still to: what is sent now
    // arrives first.
    bool hasPublishedNothing()
    {
        if (!channel.isConnected() && !open())
            return false;
        channel.sendPing();
        return waitForPublished(1) && bus.published() == QStringList{uR"({"type":"ping"})"_s};
    }
};
