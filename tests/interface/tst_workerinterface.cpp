// SockJSXHRPollingWorker and the requests that it carries, by name.

#include "sockjs/SockJSXHRPollingWorker.h"

#include "interface/Functions.h"
#include "interface/Members.h"
#include "interface/MetaObject.h"

#include <QtNetwork/QTcpSocket>
#include <QtTest/QtTest>

using Worker = SockJSXHRPollingWorker;

QVector<Extent> extents(const XHRRequest &request);
QVector<Extent> extents(const Worker &worker);

// clang-format off
template struct Members<XHRRequest,
    member<bool>(&XHRRequest::chunked),
    member<int>(&XHRRequest::m_requestId), // the accessors have the three names
    member<QString>(&XHRRequest::m_path),
    member<QString>(&XHRRequest::m_payload),
    member<int>(&XHRRequest::contentLength)>;

template struct Members<Worker,
    member<QDateTime>(&Worker::lastReceived),
    member<int>(&Worker::retryCount),
    member<QString>(&Worker::host),
    member<int>(&Worker::port),
    member<bool>(&Worker::ssl),
    member<bool>(&Worker::keepAlive),
    member<std::atomic<bool>>(&Worker::closing),
    member<QMutex>(&Worker::queueMutex),
    member<QList<XHRRequest *>>(&Worker::txQueue),
    member<QList<XHRRequest *>>(&Worker::inFlight),
    member<QTcpSocket *>(&Worker::socket),
    member<QString>(&Worker::message)>;
// clang-format on

class tst_WorkerInterface : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void requestFunctions();
    void requestMembersFollowEachOther();
    void requestMetaObject();
    void functions();
    void slotsAndSignals();
    void membersFollowEachOther();
    void metaObject();
    void headersHaveAnAlias();
};

// clang-format off
void tst_WorkerInterface::requestFunctions()
{
    QVERIFY((std::is_base_of_v<QObject, XHRRequest>));
    QVERIFY((std::is_constructible_v<XHRRequest, QObject *, QString, QString>));

    QVERIFY(has<QString (XHRRequest::*)() const>(&XHRRequest::path));
    QVERIFY(has<QString (XHRRequest::*)() const>(&XHRRequest::payload));
    QVERIFY(has<int (XHRRequest::*)() const>(&XHRRequest::requestId));
}

void tst_WorkerInterface::requestMembersFollowEachOther()
{
    const XHRRequest request(nullptr, u"/xhr"_s, QString());
    QCOMPARE(outOfPlace(extents(request), sizeof(QObject)), QString());
}

void tst_WorkerInterface::requestMetaObject()
{
    compareMetaObject(XHRRequest::staticMetaObject, "XHRRequest: QObject");
}

void tst_WorkerInterface::functions()
{
    QVERIFY((std::is_base_of_v<QObject, Worker>));
    QVERIFY((std::is_constructible_v<Worker, QObject *, QTcpSocket *, QString, int, bool, bool>));

    QVERIFY(has<bool (Worker::*)()>(&Worker::connectToServer));
    QVERIFY(has<bool (Worker::*)(XHRRequest *)>(&Worker::queueRequest));
    QVERIFY(has<void (Worker::*)()>(&Worker::forceClose));
    QVERIFY(has<void (Worker::*)()>(&Worker::process));
    QVERIFY(has<void (Worker::*)()>(&Worker::transmitNextRequest));
    QVERIFY(has<int (Worker::*)(QByteArray, int *, QStringMap *)>(&Worker::parseHttpHeaderResponse));
    QVERIFY(has<int (Worker::*)(QByteArray, bool, QString *, int)>(&Worker::parseMessageResponse));
}

void tst_WorkerInterface::slotsAndSignals()
{
    QVERIFY(has<void (Worker::*)()>(&Worker::finished));
    QVERIFY(has<void (Worker::*)()>(&Worker::reconnected));
    QVERIFY(has<void (Worker::*)(XHRRequest *, QStringMap)>(&Worker::receivedHeadersResponse));
    QVERIFY(has<void (Worker::*)(XHRRequest *, QString)>(&Worker::receivedMessageResponse));
}

void tst_WorkerInterface::membersFollowEachOther()
{
    QTcpSocket socket;
    const Worker worker(nullptr, &socket, u"localhost"_s, 80, false, true);
    QCOMPARE(outOfPlace(extents(worker), sizeof(QObject)), QString());
}

void tst_WorkerInterface::metaObject()
{
    compareMetaObject(Worker::staticMetaObject, "SockJSXHRPollingWorker: QObject", {
        "public signal void finished()",
        "public signal void reconnected()",
        "public signal void receivedHeadersResponse(XHRRequest* request, QStringMap headers)",
        "public signal void receivedMessageResponse(XHRRequest* request, QString message)",
        "public slot void process()",
    });
}

void tst_WorkerInterface::headersHaveAnAlias()
{
    QVERIFY((std::is_same_v<QStringMap, QMap<QString, QString>>));
}
// clang-format on

QTEST_GUILESS_MAIN(tst_WorkerInterface)
#include "tst_workerinterface.moc"
