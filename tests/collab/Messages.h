#pragma once

#include "collab/CollaborationMessageHandler.h"
#include "compression/Lzma.h"
#include "compression/Samples.h"
#include "support/MetaMethods.h"
#include "support/Noise.h"
#include "support/Text.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QMetaMethod>
#include <QtCore/QPointer>

inline QString packed(const QString &payload)
{
    QString block;
    if (!Lzma::compress64(payload, &block))
        qFatal("the test's own payload cannot be packed");
    return block;
}

// A null text when it cannot be unpacked.
inline QString unpacked(const QString &block)
{
    QString payload;
    Lzma::decompress64(block, &payload);
    return payload;
}

// Blocks of payloads, byte for byte.
inline const QString emptyTextBlock = u"XQBAAAACAAAAAgAAAAARCJz/////8AAAAA=="_s; // ""
inline const QString unfilledBlock = u"XQBAAAAEAAAABAAAAAARCUJkerBQn//7FgAA"_s;  // "%0"

// ---- What goes out -------------------------------------------------------------------------------

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
        block = body.value("data").toArray().at(0).toString();
        payload = unpacked(block);
    }

    QJsonObject object() const { return QJsonDocument::fromJson(payload.toUtf8()).object(); }

    QString address;
    QString type;
    QString from;
    int pieces = 0;
    QString block;   // the first piece
    QString payload; // the same unpacked
};

// The text of a message that is published as a typed payload, which is in `block`.
inline QString typedMessage(const QString &address, const QString &type, const QString &block)
{
    return uR"({"type":"publish","address":"%1","body":{"from":"teacher","type":"%2","data":["%3"]}})"_s
        .arg(address, type, block);
}

// The same of a message object whose payload is `payload`. On the way, frames lose one space before a
// closing bracket.
inline QString objectMessage(const QString &address, const QString &type, const QString &payload)
{
    return uR"({"type":"publish","address":"%1","body":{
    "data": [
        "%2"
   ],
    "from": "teacher",
    "sourceSystem": "Corvel",
    "type": "%3",
    "version": "3.0.0"
}
})"_s.arg(address, packed(payload), type);
}

// ---- What comes in -------------------------------------------------------------------------------

// A message that arrives, with the given JSON as the fields of its body.
inline QString incomingMessage(const QString &fields)
{
    return uR"({"type":"message","address":"session","body":{%1}})"_s.arg(fields);
}

// What a device sends: "from", "type" and one compressed piece of data.
inline QString deviceMessage(const QString &type, const QString &payload)
{
    return incomingMessage(
        uR"("from":"d1","type":"%1","data":["%2"])"_s.arg(type, packed(payload)));
}

inline const QString joinText = uR"({"userName":"Ada","deviceType":"tablet"})"_s;
inline const QString joinFields = uR"("from":"d1","type":"join","data":)"_s + joinText;
inline const QString learnerLeaves =
    uR"("action":"unregister","client":{"type":"user","token":"d1"})"_s;
inline const QString remoteLeaves =
    uR"("action":"unregister","client":{"type":"controller","token":"c1"})"_s;

// What the handler writes about a payload that it passes on as it came.
inline const QString rawLine =
    u"[MessageHandler.Decompressed] FAILED to decompress, forwarding raw string!"_s;
inline const QString listLine = u"[MessageHandler.Decompressed] FAILED to decompress List!"_s;

// A block in two of the forms in which it travels, as JSON.
inline QByteArray text64(const QByteArray &block)
{
    return '"' + block.toBase64() + '"';
}
inline QByteArray list64(const QByteArray &block)
{
    return '[' + text64(block) + ']';
}

inline void deliver(CollaborationMessageHandler *handler, const QString &message)
{
    if (!QMetaObject::invokeMethod(handler, "onHandleMessage", Q_ARG(QString, message)))
        qFatal("the handler has no slot for messages");
}

// A message handler and what its host hears: every signal as one line, the latest body and data.
struct HandlerHost {
    using Handler = CollaborationMessageHandler;

    explicit HandlerHost(Handler *own = new Handler(nullptr)) : handler(own)
    {
        QObject::connect(
            own, &Handler::learnerPollResponse,
            [this](const QString &device, const QString &id, int time, const QString &answer) {
                add({"learnerPollResponse", device, id, QString::number(time), answer});
            });
        QObject::connect(own, &Handler::learnerJoin, [this](const Tarvo::Learner &learner) {
            add({"learnerJoin", learner.deviceId, learner.userName, learner.deviceType});
        });
        QObject::connect(own, &Handler::learnerUnregister, [this](const QString &device) {
            add({"learnerUnregister", device});
        });
        QObject::connect(own, &Handler::controllerRegister, [this](bool isRegister) {
            add({"controllerRegister", isRegister ? "true" : "false"});
        });
        QObject::connect(own, &Handler::remoteControl,
                         [this](const Tarvo::RemoteControlMessage &command) {
                             add({"remoteControl", command.type, command.from});
                             data = command.data;
                         });
        QObject::connect(own, &Handler::unhandledMessage,
                         [this](const QVariantMap &message, const QVariant &payload) {
                             add({"unhandledMessage", message.value("type").toString()});
                             body = message;
                             data = payload;
                         });
        QObject::connect(own, &Handler::learnerGetQuestion,
                         [this](const QString &device, int number) {
                             add({"learnerGetQuestion", device, QString::number(number)});
                         });
    }
    ~HandlerHost() { delete handler; }
    Q_DISABLE_COPY(HandlerHost)

    void receive(const QString &message) const { deliver(handler, message); }

    // Receives a payload, given as JSON, of a type that the handler does not know; "unpacked" or
    // "as it came" tells how the host hears of it.
    QString receivePayload(const QByteArray &json)
    {
        events.clear();
        receive(
            QString::fromLatin1(R"({"body":{"from":"d1","type":"dance","data":)" + json + "}}"));
        if (events != QStringList{"unhandledMessage|dance"})
            return events.join(' ');
        return data == body.value("data") ? "as it came" : "unpacked";
    }

    QPointer<Handler> handler;
    QStringList events;
    QVariantMap body;
    QVariant data;

private:
    void add(const QStringList &parts) { events.append(parts.join('|')); }
};

// ---- What a class has ----------------------------------------------------------------------------

// The way to a private member: `Name` spells out its type, and no other one compiles.
template<typename Name, typename Name::Member member> struct Reach {
    friend typename Name::Member memberOf(Name) { return member; }
};
