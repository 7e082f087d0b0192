#pragma once

#include "Http.h"
#include "ScriptedFarEnd.h"
#include "sockjs/PostQueue.h"

#include <QtNetwork/QNetworkAccessManager>
#include <QtNetwork/QNetworkProxy>
#include <QtNetwork/QNetworkReply>
#include <QtTest/QtTest>

using Errors = QList<QNetworkReply::NetworkError>;
inline const Errors ANSWERED = {QNetworkReply::NoError};
inline const Errors GIVEN_UP = {QNetworkReply::OperationCanceledError};

// A queue for a server that plays one script on each connection, with what it reports.
class Posts : public ScriptedFarEnd
{
public:
    explicit Posts(std::initializer_list<Scripted::Script> scripts,
                   const PostQueue::Limits &limits = {},
                   const TestCertificates::Identity *identity = nullptr)
        : ScriptedFarEnd(scripts, identity), m_scheme(identity ? u"https"_s : u"http"_s),
          m_queue(&m_manager, limits, nullptr), progressed(&m_queue, &PostQueue::progressed),
          drained(&m_queue, &PostQueue::drained)
    {
        m_manager.setProxy(QNetworkProxy::NoProxy);
        QObject::connect(
            &m_manager, &QNetworkAccessManager::finished, &m_queue,
            [this](QNetworkReply *reply) {
                errors.append(reply->error());
                reply->deleteLater();
                m_queue.replyFinished(reply);
            },
            Qt::QueuedConnection);
        QObject::connect(&m_queue, &PostQueue::lost,
                         [this](const QString &reason) { lost.append(reason); });
    }

    ~Posts() { verifyScripts(); }

    void send(const QByteArray &message, const QString &path = u"/s"_s)
    {
        QNetworkRequest request(
            QUrl(u"%1://127.0.0.1:%2%3"_s.arg(m_scheme).arg(server.port()).arg(path)));
        request.setHeader(QNetworkRequest::ContentTypeHeader, u"text/plain"_s);
        m_queue.append(request, message);
    }
    PostQueue *operator->() { return &m_queue; }
    // What has been posted, in the order in which it was read.
    QList<QByteArray> bodies() const
    {
        QList<QByteArray> bodies;
        for (const QByteArray &request : server.requests())
            bodies.append(bodyOf(request));
        return bodies;
    }

private:
    const QString m_scheme;
    QNetworkAccessManager m_manager;
    PostQueue m_queue;

public:
    QSignalSpy progressed;
    QSignalSpy drained;
    Errors errors;
    QStringList lost;
};

// An answer whose body comes byte by byte, with so long a pause before each.
inline Scripted::Script trickle(int bytes, int pauseMs)
{
    Scripted::Script script{Scripted::expectRequest(),
                            Scripted::send("HTTP/1.1 200 OK\r\nContent-Length: "
                                           + QByteArray::number(bytes) + "\r\n\r\n")};
    for (int i = 0; i < bytes; ++i)
        script << Scripted::pause(pauseMs) << Scripted::send("x");
    return script;
}
