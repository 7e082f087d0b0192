#include "client/JsonReply.h"

#include "collab/ReadableJson.h"
#include "compression/FalseWithoutMemory.h"
#include "support/Json.h"

#include <QtCore/QJsonArray>
#include <QtCore/QVariant>

JsonReply::JsonReply(const QString &body)
{
    m_valid = falseWithoutMemory([&] {
        if (!isReadableJson(body))
            return false;
        QJsonParseError error;
        const QJsonDocument document = Tarvo::readJson(body.toUtf8(), &error);
        m_reply = document.object();
        return error.error == QJsonParseError::NoError;
    });
}

QString JsonReply::firstOf(QLatin1String key) const
{
    return m_reply.value(key).toArray().at(0).toString();
}

QJsonValue JsonReply::data(QLatin1String key) const
{
    return m_reply.value(QLatin1String("data")).toObject().value(key);
}

void JsonReply::read(QLatin1String key, QString *out) const
{
    if (m_valid)
        *out = text(key);
}

QString textOf(const QJsonValue &value)
{
    return value.isArray() || value.isObject() ? QString() : value.toVariant().toString();
}

QStringList textsOf(const QJsonValue &value)
{
    if (value.isString())
        return {value.toString()};
    QStringList texts;
    const QJsonArray elements = value.toArray();
    for (const QJsonValue &element : elements)
        texts.append(textOf(element));
    return texts;
}
