#pragma once

#include "ChildProcess.h"
#include "support/Noise.h"
#include "support/TestCertificates.h"

#include <QtCore/QByteArray>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>
#include <QtCore/QJsonValue>
#include <QtCore/QMap>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVector>
#include <QtNetwork/QNetworkAccessManager>

// The words of a command line, which hold no blanks themselves.
inline QStringList words(const QString &line)
{
    return line.split(QLatin1Char(' '));
}

// A classroom service of its own, as a child process on a free port, and what it saw. It ends with the
// object, and with the test program, however that ends.
//
// Everything asked of it lets the event loop turn meanwhile, so that the library under test goes on.
class Classroom
{
public:
    using Filter = QMap<QString, QString>;

    // Options as on the command line. With an identity it speaks https and wss.
    explicit Classroom(const QStringList &options = {},
                       const TestCertificates::Identity *identity = nullptr);
    ~Classroom();
    Q_DISABLE_COPY_MOVE(Classroom)

    // Empty when it did not start; then errors() says why.
    QString url() const { return m_url; }
    QString errors() { return QString::fromUtf8(m_process.readAllStandardError()); }

    // The journal's entries of a kind after number `since` whose fields are as in the filter; waits
    // until there are `count`, at most 30 s.
    QJsonArray journal(const QString &kind, Filter filter = {}, int count = 1, int since = 0);
    // Entries of kind "received": what one of the simulated devices got, payloads decompressed.
    QJsonArray received(const QString &type, int count = 1, Filter filter = {});
    // The same for one message; undefined when none came.
    QJsonValue receivedOne(const QString &type, const Filter &filter = {});
    // The number of the latest entry.
    int lastNumber();
    // Waits until the presenter's three registrations have arrived: before, it gets no message.
    bool presenterIsRegistered();
    // The image of the card that a learner's device got: its address or all of its data.
    QString shownImage();
    // Entries now, without waiting.
    int countNow(const QString &kind, Filter filter = {});
    // Requests of the REST interface so far, by their path.
    int requestsTo(const QString &path);
    // How often the presenter's card, "heavy" and "disconnect" have come, also after the session's end:
    // the request that stops it takes another connection and may be faster.
    QVector<int> lastWords(const QString &transport);

    // The simulated learners that are connected, as {deviceId, number, userName, deviceType, ...}.
    QJsonArray learners();
    QString deviceId(int learner);

    QJsonValue get(const QString &path);
    QJsonValue post(const QString &path, const QJsonObject &json);
    QJsonValue remove(const QString &path);
    // Answers the next request to the path so.
    void fail(const QString &path, int status, const QString &body);

    // A file of the service, as a learner's device would load it; null when there is none.
    QByteArray download(const QString &path);

private:
    QByteArray request(const QByteArray &verb, const QString &path, const QByteArray &body,
                       int *status = nullptr);
    QJsonValue control(const QByteArray &verb, const QString &path, const QByteArray &body = {});

    ChildProcess m_process;
    QString m_url;
    QNetworkAccessManager m_manager;
};
