#pragma once

#include <QtCore/QJsonObject>
#include <QtCore/QString>
#include <QtCore/QStringList>

// A text, or a number or flag as text; null for anything else.
QString textOf(const QJsonValue &value);
// The elements of a list as texts; one bare text counts as a list of itself.
QStringList textsOf(const QJsonValue &value);

// One reply of the service, read by its keys. Anything that is missing, or is not of the kind that is
// asked for, reads as empty; a text that is no JSON object reads as one without keys, and one that takes
// too much memory to be read is no JSON. Only single values are turned into variants: a long list would
// take several times its memory.
class JsonReply
{
public:
    explicit JsonReply(const QString &body);

    // Whether the text was JSON, and could be read.
    bool isValid() const { return m_valid; }
    // The first element of the list `key` if that is a text; null otherwise.
    QString firstOf(QLatin1String key) const;
    // The value of `key` in the object "data", which carries an operation's result.
    QJsonValue data(QLatin1String key) const;
    // The same as a text.
    QString text(QLatin1String key) const { return textOf(data(key)); }
    // The same, put into `out`, which a reply that is no JSON leaves alone.
    void read(QLatin1String key, QString *out) const;

private:
    bool m_valid = false;
    QJsonObject m_reply;
};
