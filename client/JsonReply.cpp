#include "client/JsonReply.h"

#include <QtCore/QJsonDocument>

JsonReply::JsonReply(const QString &body)
{
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(body.toUtf8(), &error);
    m_valid = error.error == QJsonParseError::NoError;
    m_reply = document.object();
}

QString JsonReply::firstOf(const QString &key) const
{
    return firstText(m_reply.value(key).toVariant());
}

QVariant JsonReply::data(const QString &key) const
{
    return m_reply.value(QStringLiteral("data")).toObject().value(key).toVariant();
}

QString firstText(const QVariant &list)
{
    const QVariantList elements = list.toList();
    return elements.isEmpty() ? QString() : elements.first().toString();
}
