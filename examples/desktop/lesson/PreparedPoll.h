#pragma once

#include "host/LiveClass.h"

#include <QtCore/QByteArray>
#include <QtCore/QCoreApplication>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVector>

namespace Desktop
{

// A question or a poll that a teacher has prepared. With a text, and of a kind that devices can be
// asked in words, it is asked so; otherwise it is a poll of a fixed kind, and the text is a title.
struct PreparedPoll {
    Tarvo::PollType::POLL_TYPE kind = Tarvo::PollType::MULTIPLE;
    Tarvo::OrdinalType::ORDINAL_TYPE labels = Tarvo::OrdinalType::ALPHA_UPPER;
    int count = 4; // of the options, when they have no texts of their own
    QString text;
    QStringList options; // their texts

    bool isAskedInWords() const;
    // Asks it in a class where nothing is running.
    Tarvo::Operation askIn(Tarvo::LiveClass &live) const;
};

// The polls of a file, or what is wrong with it.
struct PreparedPollsRead {
    QVector<PreparedPoll> polls;
    QString error;
};

// Prepared polls as a JSON file, which teachers share:
//
//     {"polls": [
//         {"kind": "multiple", "text": "Which is the longest?", "options": ["Danube", "Rhine"]},
//         {"kind": "scale", "labels": "number", "count": 6}
//     ]}
class PreparedPollsFile
{
    Q_DECLARE_TR_FUNCTIONS(Desktop::PreparedPollsFile)

public:
    static constexpr int MAX_POLLS = 500;
    static constexpr int MAX_TEXT = 2000;
    static constexpr int MAX_OPTION = 200;
    static constexpr int MAX_OPTIONS = 26;

    static PreparedPollsRead read(const QString &fileName);
    static PreparedPollsRead parse(const QByteArray &json);
    static QByteArray toJson(const QVector<PreparedPoll> &polls);
    // In one piece or not at all. Returns why it could not be written, or nothing.
    static QString write(const QString &fileName, const QVector<PreparedPoll> &polls);

private:
    static QString readPoll(const QJsonObject &json, PreparedPoll &poll);
    static QString readOptions(const QJsonObject &json, PreparedPoll &poll);
};

} // namespace Desktop
