// SockJSXHRPolling by name.

#include "sockjs/SockJSXHRPolling.h"

#include "interface/Functions.h"
#include "interface/Members.h"
#include "interface/MetaObject.h"

#include <QtTest/QtTest>

using Transport = SockJSXHRPolling;

QVector<Extent> extents(const Transport &transport);

// clang-format off
template struct Members<Transport,
    member<QNetworkAccessManager *>(&Transport::networkAccessManager),
    member<QNetworkCookieJar *>(&Transport::cookieJar),
    member<QString>(&Transport::host),
    member<int>(&Transport::port),
    member<QString>(&Transport::requestPath),
    member<QString>(&Transport::baseUrl),
    member<QString>(&Transport::sessionUrl),
    member<bool>(&Transport::closed),
    member<bool>(&Transport::keepAlive),
    member<bool>(&Transport::streaming),
    member<SockJSXHRPollingWorker *>(&Transport::worker),
    member<QThread *>(&Transport::workerThread),
    member<XHRRequest *>(&Transport::lastRequest)>;
// clang-format on

class tst_XhrPollingInterface : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void functions();
    void slotsAndSignals();
    void membersFollowEachOther();
    void metaObject();
};

// clang-format off
void tst_XhrPollingInterface::functions()
{
    QVERIFY((std::is_base_of_v<QObject, Transport>));
    QVERIFY((std::is_constructible_v<Transport, QObject *>));

    QVERIFY(has<bool (Transport::*)(QString, int, bool, QString, bool)>(&Transport::start));
    QVERIFY(has<void (Transport::*)(QString)>(&Transport::sendTextMessage));
    QVERIFY(has<void (Transport::*)()>(&Transport::close));
    QVERIFY(has<bool (Transport::*)(const QString &, const QString &)>(&Transport::doRequestXHR));
    QVERIFY(has<void (Transport::*)()>(&Transport::doPoll));
    QVERIFY(has<QString (Transport::*)()>(&Transport::getCookieString));
    QVERIFY(has<int (Transport::*)()>(&Transport::getCookieCount));
}

void tst_XhrPollingInterface::slotsAndSignals()
{
    QVERIFY(has<void (Transport::*)()>(&Transport::connectionClosed));
    QVERIFY(has<void (Transport::*)(QString)>(&Transport::textMessageReceived));

    QVERIFY(has<void (Transport::*)(XHRRequest *, QStringMap)>(&Transport::onReceivedHeadersResponse));
    QVERIFY(has<void (Transport::*)(XHRRequest *, QString)>(&Transport::onReceivedMessageResponse));
    QVERIFY(has<void (Transport::*)(QNetworkReply *)>(&Transport::onNAMRequestFinished));
    QVERIFY(has<void (Transport::*)()>(&Transport::onReconnected));
}

void tst_XhrPollingInterface::membersFollowEachOther()
{
    const Transport transport(nullptr);
    QCOMPARE(outOfPlace(extents(transport), sizeof(QObject)), QString());
}

void tst_XhrPollingInterface::metaObject()
{
    compareMetaObject(Transport::staticMetaObject, "SockJSXHRPolling: QObject", {
        "public signal void connectionClosed()",
        "public signal void textMessageReceived(QString message)",
        "public slot void onReceivedHeadersResponse(XHRRequest* request, QStringMap headers)",
        "public slot void onReceivedMessageResponse(XHRRequest* request, QString message)",
        "public slot void onNAMRequestFinished(QNetworkReply* reply)",
        "public slot void onReconnected()",
    });
}
// clang-format on

QTEST_GUILESS_MAIN(tst_XhrPollingInterface)
#include "tst_xhrpollinginterface.moc"
