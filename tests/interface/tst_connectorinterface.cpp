// SockJSConnector by name.

#include "sockjs/SockJSConnector.h"

#include "interface/Functions.h"
#include "interface/Members.h"
#include "interface/MetaObject.h"

#include <QtTest/QtTest>
#include <QtWebSockets/QWebSocket>

using Connector = SockJSConnector;

namespace
{

// What derived classes may use.
struct Derived : Connector {
    using Connector::openWebsocket;
    using Connector::openXHRPolling;
    using Connector::tryNextProtocol;
};

} // namespace

QVector<Extent> extents(const Connector &connector);

// clang-format off
template struct Members<Connector,
    member<QList<Connector::PROTOCOL_TYPE>>(&Connector::protocols),
    member<int>(&Connector::protocolIndex),
    member<bool>(&Connector::ssl),
    member<int>(&Connector::port),
    member<QString>(&Connector::host),
    member<QString>(&Connector::sessionId),
    member<QString>(&Connector::path),
    member<bool>(&Connector::closedForInactivity),
    member<QDateTime>(&Connector::lastActivity),
    member<QTimer *>(&Connector::inactivityTimer),
    member<bool>(&Connector::closing),
    member<bool>(&Connector::m_connected), // the signal has the name
    member<SockJSXHRPolling *>(&Connector::xhrPolling),
    member<QWebSocket *>(&Connector::webSocket),
    member<int>(&Connector::openState)>;
// clang-format on

class tst_ConnectorInterface : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void functions();
    void transportsAreForDerivedClasses();
    void slotsAndSignals();
    void membersFollowEachOther();
    void protocolTypes();
    void metaObject();
};

// clang-format off
void tst_ConnectorInterface::functions()
{
    QVERIFY((std::is_base_of_v<QObject, Connector>));

    QVERIFY(has<bool (Connector::*)(QUrl, QList<Connector::PROTOCOL_TYPE>)>(&Connector::open));
    QVERIFY(has<void (Connector::*)()>(&Connector::close));
    QVERIFY(has<void (Connector::*)(QString, bool)>(&Connector::sendMessage));
    QVERIFY(has<void (Connector::*)(QVariantMap)>(&Connector::sendMessage));
    QVERIFY((has<QMap<Connector::PROTOCOL_TYPE, QString> (*)()>(&Connector::PROTOCOL_TYPE_STR)));

    QVERIFY(has<bool (Connector::*)() const>(&Connector::isConnected));
}

void tst_ConnectorInterface::transportsAreForDerivedClasses()
{
    QVERIFY(has<bool (Connector::*)()>(&Derived::openWebsocket));
    QVERIFY(has<bool (Connector::*)(bool)>(&Derived::openXHRPolling));
    QVERIFY(has<bool (Connector::*)()>(&Derived::tryNextProtocol));
}

void tst_ConnectorInterface::slotsAndSignals()
{
    QVERIFY(has<void (Connector::*)()>(&Connector::connected));
    QVERIFY(has<void (Connector::*)(QString)>(&Connector::sockJSMessage));
    QVERIFY(has<void (Connector::*)(int)>(&Connector::error));
    QVERIFY(has<void (Connector::*)(bool)>(&Connector::closed));

    QVERIFY(has<void (Connector::*)()>(&Connector::onConnected));
    QVERIFY(has<void (Connector::*)()>(&Connector::onClosed));
    QVERIFY(has<void (Connector::*)(QString)>(&Connector::onTextMessageReceived));
    QVERIFY(has<void (Connector::*)()>(&Connector::onTimeout));
    QVERIFY(has<void (Connector::*)()>(&Connector::openstate1));
    QVERIFY(has<void (Connector::*)()>(&Connector::openstate2));
}

void tst_ConnectorInterface::membersFollowEachOther()
{
    const Connector connector;
    QCOMPARE(outOfPlace(extents(connector), sizeof(QObject)), QString());
}

void tst_ConnectorInterface::protocolTypes()
{
    QVERIFY(std::is_enum_v<Connector::PROTOCOL_TYPE>);
    QCOMPARE(int(Connector::WEBSOCKET), 1);
    QCOMPARE(int(Connector::XHR_STREAMING), 2);
    QCOMPARE(int(Connector::XHR_POLLING), 4);
    QCOMPARE(Connector::PROTOCOL_TYPE_STR(), (QMap<Connector::PROTOCOL_TYPE, QString>{
        {Connector::WEBSOCKET, u"websocket"_s},
        {Connector::XHR_STREAMING, u"xhr-streaming"_s},
        {Connector::XHR_POLLING, u"xhr-polling"_s},
    }));
}

void tst_ConnectorInterface::metaObject()
{
    compareMetaObject(Connector::staticMetaObject, "SockJSConnector: QObject", {
        "public signal void connected()",
        "public signal void sockJSMessage(QString message)",
        "public signal void error(int errorCode)",
        "public signal void closed(bool bClosedForInactivity)",
        "public slot void onConnected()",
        "public slot void onClosed()",
        "public slot void onTextMessageReceived(QString frame)",
        "public slot void onTimeout()",
        "public slot void openstate1()",
        "public slot void openstate2()",
    }, {}, {
        "PROTOCOL_TYPE WEBSOCKET 1",
        "PROTOCOL_TYPE XHR_STREAMING 2",
        "PROTOCOL_TYPE XHR_POLLING 4",
    });
}
// clang-format on

QTEST_GUILESS_MAIN(tst_ConnectorInterface)
#include "tst_connectorinterface.moc"
