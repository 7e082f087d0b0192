#pragma once

#include "Http.h"
#include "ScriptedFarEnd.h"
#include "SockJSProbe.h"
#include "sockjs/SockJSXHRPollingWorker.h"
#include "support/Text.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QThread>
#include <QtNetwork/QSslSocket>

#include <memory>
#include <vector>

// A worker on a thread of its own, connected, moved and started as the transport does it, with what
// it reports written down on the test's thread.
class WorkerRun
{
public:
    explicit WorkerRun(quint16 port, bool ssl = false, bool keepAlive = true)
        : WorkerRun(ssl ? new QSslSocket : new QTcpSocket, port, ssl, keepAlive)
    {
    }
    // With a socket of the test's own, which goes with the worker.
    explicit WorkerRun(QTcpSocket *socket, quint16 port = 1, bool ssl = false,
                       bool keepAlive = true)
        : socket(socket), worker(std::make_unique<SockJSXHRPollingWorker>(
                              nullptr, socket, localhost(), port, ssl, keepAlive))
    {
        using Worker = SockJSXHRPollingWorker;
        socket->setProxy(QNetworkProxy::NoProxy);
        QObject::connect(worker.get(), &Worker::receivedHeadersResponse, &m_context,
                         [this](XHRRequest *request, QStringMap header) {
                             answered.append(request);
                             headers.append(header);
                         });
        QObject::connect(worker.get(), &Worker::receivedMessageResponse, &m_context,
                         [this](XHRRequest *, QString message) { messages.append(message); });
        QObject::connect(worker.get(), &Worker::reconnected, &m_context,
                         [this] { ++reconnections; });
        QObject::connect(worker.get(), &Worker::finished, &m_context, [this] { ++ends; });
    }
    ~WorkerRun() { stop(); }
    WorkerRun(const WorkerRun &) = delete;
    WorkerRun &operator=(const WorkerRun &) = delete;

    bool connectToServer() { return worker->connectToServer(); }
    // Connects, and reads responses to so many requests.
    bool begin(int responses = 0)
    {
        if (!connectToServer())
            return false;
        for (int i = 0; i < responses; ++i)
            expectResponse();
        start();
        return true;
    }
    // Takes a request as already written, so that the first response is one to it.
    XHRRequest *expectResponse()
    {
        SockJSProbe::inFlight(*worker).append(makeRequest(QString()));
        return m_requests.back().get();
    }
    bool queue(const QString &payload) { return worker->queueRequest(makeRequest(payload)); }
    int queued()
    {
        QMutexLocker locker(&SockJSProbe::queueMutex(*worker));
        return SockJSProbe::txQueue(*worker).size();
    }
    XHRRequest *makeRequest(const QString &payload)
    {
        m_requests.push_back(std::make_unique<XHRRequest>(nullptr, u"/x/xhr"_s, payload));
        return m_requests.back().get();
    }
    void start()
    {
        worker->moveToThread(&thread);
        socket->moveToThread(&thread);
        QObject::connect(worker.get(), &SockJSXHRPollingWorker::finished, &thread, &QThread::quit,
                         Qt::DirectConnection);
        QObject::connect(&thread, &QThread::started, worker.get(),
                         &SockJSXHRPollingWorker::process);
        QObject::connect(&thread, &QThread::finished, socket, &QObject::deleteLater);
        thread.start();
        m_started = true;
    }
    // Ends the worker and delivers all it reported.
    void stop()
    {
        if (m_started) {
            worker->forceClose();
            thread.wait();
        } else {
            delete socket;
        }
        socket = nullptr;
        m_started = false;
        QCoreApplication::sendPostedEvents(&m_context);
    }

    QTcpSocket *socket;
    std::unique_ptr<SockJSXHRPollingWorker> worker;
    QThread thread;

    QList<XHRRequest *> answered;
    QList<QStringMap> headers;
    QStringList messages;
    int reconnections = 0;
    int ends = 0;

private:
    std::vector<std::unique_ptr<XHRRequest>> m_requests;
    QObject m_context;
    bool m_started = false;
};

// A worker and the server that it connects to.
class ServedWorker : public ScriptedFarEnd, public WorkerRun
{
public:
    ServedWorker(std::initializer_list<Scripted::Script> scripts,
                 const TestCertificates::Identity *identity = nullptr, bool plainFirst = false)
        : ScriptedFarEnd(scripts, identity, plainFirst), WorkerRun(server.port(), identity)
    {
    }
    ~ServedWorker() { verifyScripts(); }
};
