#pragma once

#include "collab/PresenterCollab.h"
#include "compression/Lzma.h"
#include "support/EventBusServer.h"

#include <QtCore/QJsonObject>
#include <QtTest/QtTest>

// A channel and the event bus it is connected to; the session code is "CODE", the session token
// "session", the user token "teacher".
struct OpenChannel {
    EventBusServer bus;
    PresenterCollab channel{nullptr, bus.url(), QStringLiteral("CODE"), QStringLiteral("session"),
                            QStringLiteral("teacher")};

    // True once the session is open and the three registrations have arrived.
    bool open()
    {
        channel.open({QStringLiteral("websocket")});
        return QTest::qWaitFor([this] { return bus.messages().size() == 3; }, 20000)
            && channel.isConnected();
    }
    bool waitForPublished(int count)
    {
        return QTest::qWaitFor([this, count] { return bus.published().size() >= count; }, 20000);
    }
};

// One published message taken apart.
struct Published {
    explicit Published(const QString &message)
    {
        const QJsonObject root = QJsonDocument::fromJson(message.toUtf8()).object();
        const QJsonObject body = root.value("body").toObject();
        address = root.value("address").toString();
        type = body.value("type").toString();
        from = body.value("from").toString();
        pieces = body.value("data").toArray().size();
        Lzma::decompress64(body.value("data").toArray().at(0).toString(), &payload);
    }

    QJsonObject object() const { return QJsonDocument::fromJson(payload.toUtf8()).object(); }

    QString address;
    QString type;
    QString from;
    int pieces = 0;
    QString payload; // decompressed
};

// The text of a message that is published as a typed payload.
inline QString typedMessage(const QString &address, const QString &type, const QString &block)
{
    return QStringLiteral(
               R"({"type":"publish","address":"%1","body":{"from":"teacher","type":"%2","data":["%3"]}})")
        .arg(address, type, block);
}

// The same of a message object whose payload is `payload`. On the way, frames lose one space before a
// closing bracket.
inline QString objectMessage(const QString &address, const QString &type, const QString &payload)
{
    QString block;
    if (!Lzma::compress64(payload, &block))
        qFatal("the test's own payload cannot be packed");
    return QStringLiteral(R"({"type":"publish","address":"%1","body":{
    "data": [
        "%2"
   ],
    "from": "teacher",
    "sourceSystem": "Corvel",
    "type": "%3",
    "version": "3.0.0"
}
})")
        .arg(address, block, type);
}
