#pragma once

#include "compression/Lzma.h"
#include "support/Text.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QString>

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

inline QString packed(const QString &payload)
{
    QString block;
    if (!Lzma::compress64(payload, &block))
        qFatal("the test's own payload cannot be packed");
    return block;
}

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

// A message that arrives, with the given JSON as the fields of its body.
inline QString incomingMessage(const QString &fields)
{
    return uR"({"type":"message","address":"session","body":{%1}})"_s.arg(fields);
}

// An image that does not pack well.
inline QByteArray noise(int size)
{
    QByteArray bytes(size, Qt::Uninitialized);
    quint32 state = 1;
    for (char &byte : bytes) {
        state = state * 1664525 + 1013904223;
        byte = static_cast<char>(state >> 24);
    }
    return bytes;
}
