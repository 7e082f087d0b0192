#pragma once

#include <QtCore/QJsonObject>
#include <QtCore/QString>
#include <QtCore/QStringList>

// One reply of the service, read by its keys. Anything that is missing, or is not of the kind that is
// asked for, reads as empty; a text that is no JSON object reads as one without keys, and one that takes
// too much memory to be read is no JSON. Nothing is turned into variants but single values: a long list
// takes several times its memory as such.
class JsonReply
{
public:
    explicit JsonReply(const QString &body);

    // Whether the text was JSON, and could be read.
    bool isValid() const { return m_valid; }
    // The first element of the list `key` if that is a text; null otherwise.
    QString firstOf(const QString &key) const;
    // The value of `key` in the object "data", which carries an operation's result.
    QJsonValue data(const QString &key) const;
    QString text(const QString &key) const;

private:
    bool m_valid = false;
    QJsonObject m_reply;
};

// A text, or a number or flag as text; null for anything else.
QString textOf(const QJsonValue &value);
// The elements of a list as texts; one bare text counts as a list of itself.
QStringList textsOf(const QJsonValue &value);
