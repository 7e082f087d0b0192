#include "client/JsonReply.h"

#include <QtCore/QJsonDocument>

JsonReply::JsonReply(const QString &body)
{
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(body.toUtf8(), &error);
    m_valid = error.error == QJsonParseError::NoError;
    m_reply = document.toVariant().toMap();
}

QString JsonReply::firstOf(const QString &key) const
{
    const QVariantList list = m_reply.value(key).toList();
    return list.isEmpty() ? QString() : list.first().toString();
}

QVariant JsonReply::data(const QString &key) const
{
    return m_reply.value(QStringLiteral("data")).toMap().value(key);
}
