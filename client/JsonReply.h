#pragma once

#include <QtCore/QJsonObject>
#include <QtCore/QString>
#include <QtCore/QVariant>

// One reply of the service, read by its keys. Anything that is missing, or is not of the kind that is
// asked for, reads as empty; a text that is no JSON object reads as one without keys. Only what is
// asked for is turned into a variant: for the whole of a long reply that takes as long as its transfer.
class JsonReply
{
public:
    explicit JsonReply(const QString &body);

    // Whether the text was JSON.
    bool isValid() const { return m_valid; }
    QVariant toVariant() const { return m_reply.toVariantMap(); }
    // The first element of the list `key` as text; null without such a list or element.
    QString firstOf(const QString &key) const;
    // The value of `key` in the object "data", which carries an operation's result.
    QVariant data(const QString &key) const;

private:
    bool m_valid = false;
    QJsonObject m_reply;
};

// The first element of a list as text; null when it is no list or has no element.
QString firstText(const QVariant &list);
