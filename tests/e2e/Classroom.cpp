#include "e2e/Classroom.h"
#include "support/Text.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QEventLoop>
#include <QtCore/QJsonDocument>
#include <QtCore/QUrlQuery>
#include <QtNetwork/QNetworkReply>

namespace
{

constexpr int START_MS = 60000;
constexpr int STOP_MS = 10000;
constexpr int JOURNAL_WAIT_MS = 30000;

// A busy machine takes longer to unpack what the tests look at than the service gives strangers.
const QString PATIENT = QStringLiteral("decodingMs=120000");

} // namespace

Classroom::Classroom(const QStringList &options, const TestCertificates::Identity *identity)
{
    QStringList arguments{QStringLiteral(CLASSROOM_PROGRAM), u"--port"_s, u"0"_s, u"--limit"_s,
                          PATIENT};
    if (identity)
        arguments << u"--tls"_s << identity->certificateFile << identity->keyFile;
    m_process.start(QStringLiteral(NODE_PROGRAM), arguments + options);

    QElapsedTimer clock;
    clock.start();
    const QByteArray announcement("classroom: listening on ");
    while (m_url.isEmpty() && m_process.state() != QProcess::NotRunning
           && clock.elapsed() < START_MS) {
        m_process.waitForReadyRead(1000);
        const QByteArray line =
            m_process.canReadLine() ? m_process.readLine().trimmed() : QByteArray();
        if (line.startsWith(announcement))
            m_url = QString::fromUtf8(line.mid(announcement.size()));
    }
    // Certificates are made for this name, and it is what people type.
    if (identity)
        m_url.replace(QLatin1String("127.0.0.1"), QLatin1String("localhost"));
}

Classroom::~Classroom()
{
    m_process.terminate();
    if (!m_process.waitForFinished(STOP_MS)) {
        m_process.kill();
        m_process.waitForFinished(STOP_MS);
    }
}

QJsonArray Classroom::journal(const QString &kind, Filter filter, int count, int since)
{
    filter.insert(u"kind"_s, kind);
    QUrlQuery query;
    for (auto field = filter.constBegin(); field != filter.constEnd(); ++field)
        query.addQueryItem(field.key(), QString::fromUtf8(QUrl::toPercentEncoding(field.value())));
    query.addQueryItem(u"since"_s, QString::number(since));
    query.addQueryItem(u"count"_s, QString::number(count));
    query.addQueryItem(u"wait"_s, QString::number(count > 0 ? JOURNAL_WAIT_MS : 0));
    const QString path = u"journal?%1"_s.arg(query.toString(QUrl::FullyEncoded));
    return get(path)[u"entries"_s].toArray();
}

QJsonArray Classroom::received(const QString &type, int count, Filter filter)
{
    filter.insert(u"type"_s, type);
    return journal(u"received"_s, filter, count);
}

QJsonValue Classroom::receivedOne(const QString &type, const Filter &filter)
{
    return received(type, 1, filter).at(0);
}

bool Classroom::presenterIsRegistered()
{
    return journal(u"register"_s, {}, 3).size() == 3;
}

QString Classroom::shownImage()
{
    const QJsonValue card = receivedOne(u"showCard"_s)[u"data"_s];
    return card[u"components"_s][0][u"blob"_s][u"url"_s].toString();
}

int Classroom::lastNumber()
{
    // A filter that nothing matches: the answer is short.
    return get(u"journal?kind=none"_s)[u"last"_s].toInt();
}

int Classroom::countNow(const QString &kind, Filter filter)
{
    filter.insert(u"only"_s, u"n"_s); // the entries may be large
    return journal(kind, filter, 0).size();
}

int Classroom::requestsTo(const QString &path)
{
    return countNow(u"request"_s, {{u"path"_s, path}});
}

QVector<int> Classroom::lastWords(const QString &transport)
{
    QVector<int> counts;
    for (const QString &type : {u"showCard"_s, u"heavy"_s, u"disconnect"_s}) {
        const Filter filter{{u"type"_s, type}, {u"transport"_s, transport}};
        counts.append(countNow(u"publish"_s, filter) + countNow(u"refused"_s, filter));
    }
    return counts;
}

QJsonArray Classroom::learners()
{
    return get(u"learners"_s).toArray();
}

QString Classroom::deviceId(int learner)
{
    return learners().at(learner)[u"deviceId"_s].toString();
}

QJsonValue Classroom::get(const QString &path)
{
    return control("GET", path);
}

QJsonValue Classroom::post(const QString &path, const QJsonObject &json)
{
    return control("POST", path, QJsonDocument(json).toJson(QJsonDocument::Compact));
}

QJsonValue Classroom::remove(const QString &path)
{
    return control("DELETE", path);
}

void Classroom::fail(const QString &path, int status, const QString &body)
{
    post(u"faults"_s, {{u"path"_s, path}, {u"status"_s, status}, {u"body"_s, body}});
}

QByteArray Classroom::download(const QString &path)
{
    int status = 0;
    const QByteArray body = request("GET", path, {}, &status);
    return status == 200 ? QByteArray(body.constData(), body.size()) : QByteArray();
}

QByteArray Classroom::request(const QByteArray &verb, const QString &path, const QByteArray &body,
                              int *status)
{
    QNetworkRequest request(QUrl(m_url + path));
    request.setRawHeader("Content-Type", "application/json");
    QNetworkReply *reply = m_manager.sendCustomRequest(request, verb, body);
    QEventLoop loop;
    QObject::connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
    if (!reply->isFinished())
        loop.exec();
    if (status)
        *status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    const QByteArray answer = reply->readAll();
    reply->deleteLater();
    return answer;
}

QJsonValue Classroom::control(const QByteArray &verb, const QString &path, const QByteArray &body)
{
    const QByteArray answer = request(verb, u"/classroom/"_s + path, body);
    const QJsonDocument document = QJsonDocument::fromJson(answer);
    return document.isArray() ? QJsonValue(document.array()) : QJsonValue(document.object());
}
