// The request engine of PresenterClient by name: its functions, its members and the whole meta-object
// of the class.

#include "client/PresenterClient.h"

#include "interface/Functions.h"
#include "interface/Members.h"
#include "interface/MetaObject.h"

#include <QtCore/QUrl>
#include <QtNetwork/QNetworkAccessManager>
#include <QtTest/QtTest>

using Client = PresenterClient;

namespace
{

// What derived classes may use.
struct Derived : Client {
    using Client::authenticationRequired;
    using Client::loginFailureResponse;
    using Client::onPingTimer;
    using Client::sessionFailureResponse;
    using Client::sessionStartFailureResponse;
    using Client::slotRequestFinished;
    using Client::slotSslErrors;
};

using Success = void (Client::*)(QString);
using Failure = void (Client::*)(QNetworkReply *, QString);

} // namespace

QVector<Extent> extents(const Client &client);
QVector<Extent> extents(const Client::CALLBACKS &callbacks);

// clang-format off
template struct Members<Client,
    member<QTimer>(&Client::pingTimer),
    member<bool>(&Client::loggedIn),
    member<bool>(&Client::serverReachable),
    member<QString>(&Client::protocolVersion),
    member<QString>(&Client::serverUrl),
    member<QNetworkAccessManager *>(&Client::networkManager),
    member<QMap<QNetworkReply *, Client::CALLBACKS>>(&Client::replyCallbacks),
    member<QString>(&Client::lastErrorKey),
    member<QString>(&Client::httpUser),
    member<QString>(&Client::httpPassword)>;

template struct Members<Client::CALLBACKS,
    member<Success>(&Client::CALLBACKS::success),
    member<Failure>(&Client::CALLBACKS::failure)>;
// clang-format on

class tst_RequestEngineInterface : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void functions();
    void failureHandlersAreForDerivedClasses();
    void readAccessors();
    void membersFollowEachOther();
    void keepAliveTimerHasNoParent();
    void callbacksAreAPlainRecord();
    void multipartBoundary();
    void metaObject();
};

// clang-format off
void tst_RequestEngineInterface::functions()
{
    QVERIFY((std::is_constructible_v<Client, QObject *, QString>));
    QVERIFY((std::is_base_of_v<QObject, Client>));

    QVERIFY(has<void (Client::*)(bool, const QUrl &, const QByteArray &, Success, Failure, bool)>(&Client::doRequest));
    QVERIFY(has<void (Client::*)(bool, const QUrl &, const QString &, Success, Failure, bool)>(&Client::doRequest));
    QVERIFY(has<void (Client::*)(bool, const QUrl &, const QString &, Success)>(&Client::doRequest));
    QVERIFY(has<bool (Client::*)(const QVariant &, QString &)>(&Client::isErrorInErrorMsgKeys));
    QVERIFY(has<void (Client::*)()>(&Client::requestProcessed));
}

void tst_RequestEngineInterface::failureHandlersAreForDerivedClasses()
{
    QVERIFY(has<Failure>(&Derived::loginFailureResponse));
    QVERIFY(has<Failure>(&Derived::sessionStartFailureResponse));
    QVERIFY(has<Failure>(&Derived::sessionFailureResponse));

    QVERIFY(has<void (Client::*)(QNetworkReply *)>(&Derived::slotRequestFinished));
    QVERIFY(has<void (Client::*)()>(&Derived::onPingTimer));
    QVERIFY(has<void (Client::*)(QNetworkReply *, QList<QSslError>)>(&Derived::slotSslErrors));
    QVERIFY(has<void (Client::*)(QNetworkReply *, QAuthenticator *)>(&Derived::authenticationRequired));
}

void tst_RequestEngineInterface::readAccessors()
{
    QVERIFY(has<bool (Client::*)() const>(&Client::isLoggedIn));
    QVERIFY(has<bool (Client::*)() const>(&Client::isServerReachable));
    QVERIFY(has<QString (Client::*)() const>(&Client::getServerUrl));
    QVERIFY(has<QString (Client::*)() const>(&Client::getLastErrorKey));
    QVERIFY(has<QString (Client::*)() const>(&Client::getSessionCode));
    QVERIFY(has<QString (Client::*)() const>(&Client::getSessionToken));
    QVERIFY(has<QString (Client::*)() const>(&Client::getUserToken));
    QVERIFY(has<QString (Client::*)() const>(&Client::getCollabServerUrl));
    QVERIFY(has<QList<Tarvo::Learner> (Client::*)() const>(&Client::getLearners));
}

void tst_RequestEngineInterface::membersFollowEachOther()
{
    const Client client(nullptr, u"http://localhost"_s);
    QCOMPARE(outOfPlace(extents(client), sizeof(QObject)), QString());
}

void tst_RequestEngineInterface::keepAliveTimerHasNoParent()
{
    const Client client(nullptr, u"http://localhost"_s);
    QVERIFY(!client.findChild<QTimer *>(QString(), Qt::FindDirectChildrenOnly));
}

void tst_RequestEngineInterface::callbacksAreAPlainRecord()
{
    const Client::CALLBACKS callbacks{nullptr, nullptr};
    QVERIFY(std::is_trivially_copyable_v<Client::CALLBACKS>);
    QCOMPARE(outOfPlace(extents(callbacks), 0), QString());
    QCOMPARE(sizeof(Client::CALLBACKS), sizeof(Success) + sizeof(Failure));
}

void tst_RequestEngineInterface::multipartBoundary()
{
    QVERIFY((std::is_same_v<decltype(Client::MULTIPART_BOUNDARY), const QString>));
    QCOMPARE(Client::MULTIPART_BOUNDARY, u"----boundary"_s);
}

void tst_RequestEngineInterface::metaObject()
{
    compareMetaObject(Client::staticMetaObject, "PresenterClient: QObject", {
        "public signal void requestProcessed()",
        "protected slot void slotRequestFinished(QNetworkReply* reply)",
        "protected slot void onPingTimer()",
        "protected slot void slotSslErrors(QNetworkReply* reply, QList<QSslError> errors)",
        "protected slot void authenticationRequired(QNetworkReply* reply, QAuthenticator* authenticator)",
    });
}
// clang-format on

QTEST_GUILESS_MAIN(tst_RequestEngineInterface)
#include "tst_requestengineinterface.moc"
