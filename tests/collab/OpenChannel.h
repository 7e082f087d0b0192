#pragma once

#include "Messages.h"
#include "collab/PresenterCollab.h"
#include "support/EventBusServer.h"
#include "support/LogCapture.h"
#include "support/Text.h"

#include <QtCore/QFile>
#include <QtTest/QtTest>

#include <memory>

inline const QString notConnectedLine = u"[PresenterCollab] SockJS socket not connected!"_s;

// A channel that is never opened. The session code is "CODE", the session token "session", the user
// token "teacher".
struct UnopenedChannel : PresenterCollab {
    explicit UnopenedChannel(QObject *parent = nullptr)
        : PresenterCollab(parent, "http://127.0.0.1:1", "CODE", "session", "teacher")
    {
    }
};

// A channel and the event bus that it is connected to once it is opened.
struct OpenChannel {
    explicit OpenChannel(const QString &code = u"CODE"_s, const QString &session = u"session"_s,
                         const QString &user = u"teacher"_s)
        : owner(std::make_unique<PresenterCollab>(nullptr, bus.url(), code, session, user)),
          channel(*owner)
    {
    }

    // True once the session is open and the three registrations have arrived.
    bool open()
    {
        channel.open({u"websocket"_s});
        return QTest::qWaitFor([this] { return bus.messages().size() == 3; }, 20000)
            && channel.isConnected();
    }
    void destroyChannel() { owner.reset(); }

    // What has been published, once there are `count` messages of it.
    QStringList published(int count)
    {
        if (!QTest::qWaitFor([this, count] { return bus.published().size() >= count; }, 20000))
            qWarning("%d messages were to be published", count);
        return bus.published();
    }
    // The message published after `index` others.
    Published sent(int index) { return Published(published(index + 1).value(index)); }
    // Whether nothing has been published so far: a ping that is sent now is the first to arrive.
    bool hasPublishedNothing()
    {
        if (!channel.isConnected() && !open())
            return false;
        channel.sendPing();
        return published(1) == QStringList{uR"({"type":"ping"})"_s};
    }

    EventBusServer bus;
    std::unique_ptr<PresenterCollab> owner;
    PresenterCollab &channel; // gone once it is destroyed
};

// One kind of poll, and what devices know it by.
struct PollKind {
    Tarvo::PollType::POLL_TYPE type() const
    {
        return static_cast<Tarvo::PollType::POLL_TYPE>(value);
    }

    int value;
    const char *name;
    const char *id;
    const char *className; // of the question object; null when there is none
    bool hasOptions;
};

inline constexpr PollKind pollKinds[] = {
    {0, "true-false", "3c476afbcfce45eda0b44df4737c3d27", "Tarvo::QuestionYesNo", true},
    {1, "yes-no-other", "3c476afbcfce45eda0b44df4737c3d27", "Tarvo::QuestionYesNo", true},
    {2, "multiple", "8755bfc923cb492094df5c842a30da5f", "Tarvo::QuestionMultiChoice", true},
    {3, "scale", "c80eb89f2c7240fb83d53069bf4c1f2c", "Tarvo::QuestionBaseWithOptions", true},
    {4, "sort", "be8a3a7f5d624a798ec54900385a9eb8", "Tarvo::QuestionBaseWithOptions", true},
    {5, "text", "6efc81c52cfe4502976de55df9af2f89", "Tarvo::QuestionText", false},
    {6, "word-seed", "cfd9a136d9c44699ae1d7f489f6c513b", nullptr, false},
    {7, "number", "24e7bda40c4140f896648511a5782466", "Tarvo::QuestionNumeric", false},
    {8, "creative", "5446bd7896d54c7d84e2aeb75904ddab", nullptr, false},
    {9, "math formula", "9f31dd1a55374c49a3127b8f94a1f1a6", "Tarvo::QuestionBase", false},
    {-1, "", "", nullptr, false},
    {10, "", "", nullptr, false},
};

// What devices receive, whole: a file of golden/.
inline QString golden(const char *name)
{
    QFile file(QFINDTESTDATA(QLatin1String("golden/") + name));
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}
