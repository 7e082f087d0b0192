// What requests carry, and where they go.

#include "client/RequestTest.h"

#include "support/LogCapture.h"

#include <QtCore/QMetaMethod>
#include <QtNetwork/QNetworkAccessManager>
#include <QtNetwork/QNetworkCookieJar>

namespace
{

const QList<QByteArray> JSON_TYPE = {"Content-Type: application/json; charset=UTF-8"};
const QList<QByteArray> FORM_TYPE = {
    "Content-Type: multipart/form-data; charset=UTF-8; boundary=----boundary"};
const QList<QByteArray> NO_COMPRESSION = {"accept-encoding: identity"};

} // namespace

class tst_RequestEngine : public RequestTest
{
    Q_OBJECT

private Q_SLOTS:
    void declaresItsSignalAndSlotsInOrder();
    void boundaryIsThatOfTheForms();
    void newClientKnowsNothing();
    void oneTrailingSlashIsDropped_data();
    void oneTrailingSlashIsDropped();

    void everyRequestIsAPostOfJsonWithoutCompression();
    void formsNameTheirBoundary();
    void textBodiesAreSentAsUtf8();
    void cookieJarIsTheClients();
    void cookiesOfTheServiceRideAlong();
    void requestWithoutWaitingReturnsAtOnce();
    void missingHandlersAreNotRun();

    void redirectMovesTheBaseAddress_data();
    void redirectMovesTheBaseAddress();
    void redirectElsewhereIsAnOrdinaryReply_data();
    void redirectElsewhereIsAnOrdinaryReply();
    void followedRedirectRunsNoHandlerAndIsNotRepeated();
    void nextRequestGoesToTheAddressRedirectedTo();
};

void tst_RequestEngine::declaresItsSignalAndSlotsInOrder()
{
    const QMetaObject &meta = PresenterClient::staticMetaObject;
    QCOMPARE(meta.className(), "PresenterClient");
    QCOMPARE(meta.superClass(), &QObject::staticMetaObject);
    QCOMPARE(meta.propertyCount(), meta.propertyOffset());

    QStringList methods;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
        const QMetaMethod method = meta.method(i);
        const char *kind = method.methodType() == QMetaMethod::Signal ? "signal" : "slot";
        const char *access = method.access() == QMetaMethod::Public ? "public" : "protected";
        methods.append(u"%1 %2 %3"_s.arg(QLatin1String(access), QLatin1String(kind),
                                         QString::fromLatin1(method.methodSignature())));
    }
    QCOMPARE(methods,
             (QStringList{
                 "public signal requestProcessed()",
                 "protected slot slotRequestFinished(QNetworkReply*)",
                 "protected slot onPingTimer()",
                 "protected slot slotSslErrors(QNetworkReply*,QList<QSslError>)",
                 "protected slot authenticationRequired(QNetworkReply*,QAuthenticator*)",
             }));
}

void tst_RequestEngine::boundaryIsThatOfTheForms()
{
    QCOMPARE(PresenterClient::MULTIPART_BOUNDARY, u"----boundary"_s);
}

void tst_RequestEngine::newClientKnowsNothing()
{
    QObject parent;
    auto *made = new PresenterClient(&parent, u"https://classroom.example.com"_s);
    QCOMPARE(made->parent(), &parent);
    QVERIFY(!made->isLoggedIn());
    QVERIFY(!made->isServerReachable());
    QVERIFY(made->getLastErrorKey().isNull());
    QVERIFY(made->getSessionCode().isNull());
    QVERIFY(made->getSessionToken().isNull());
    QVERIFY(made->getUserToken().isNull());
    QVERIFY(made->getCollabServerUrl().isNull());
    QVERIFY(made->getLearners().isEmpty());
    QCOMPARE(made->findChild<QNetworkAccessManager *>()->parent(), made);
    QCOMPARE(made->findChild<QNetworkCookieJar *>()->parent(), made);
}

void tst_RequestEngine::oneTrailingSlashIsDropped_data()
{
    QTest::addColumn<QString>("given");
    QTest::addColumn<QString>("kept");
    const auto row = [](const char *name, const char *given, const char *kept) {
        QTest::newRow(name) << given << kept;
    };
    row("no slash", "https://h", "https://h");
    row("one slash", "https://h/", "https://h");
    row("two slashes", "https://h//", "https://h/");
    row("path", "https://h/p/", "https://h/p");
    row("nothing but a slash", "/", "");
    row("empty", "", "");
}

void tst_RequestEngine::oneTrailingSlashIsDropped()
{
    QFETCH(QString, given);
    QFETCH(QString, kept);
    QCOMPARE(PresenterClient(nullptr, given).getServerUrl(), kept);
}

// ---- Requests ------------------------------------------------------------------------------------

void tst_RequestEngine::everyRequestIsAPostOfJsonWithoutCompression()
{
    NotingClient slashed(nullptr, service->url("/"));
    service->expect(PATH, "{\"a\":1}");
    QVERIFY(slashed.request("{\"a\":1}"));

    const RestRequest request = service->lastRequest();
    QCOMPARE(request.requestLine(), QByteArray("POST /vantora/test HTTP/1.1"));
    QCOMPARE(request.headerLines("content-type"), JSON_TYPE);
    QCOMPARE(request.headerLines("accept-encoding"), NO_COMPRESSION);
    QCOMPARE(request.headerLines("content-length"), QList<QByteArray>{"Content-Length: 7"});
}

void tst_RequestEngine::formsNameTheirBoundary()
{
    service->expect(PATH, "------boundary--\r\n");
    QVERIFY(client->request("------boundary--\r\n", true));
    QCOMPARE(service->lastRequest().headerLines("content-type"), FORM_TYPE);
    QCOMPARE(service->lastRequest().headerLines("accept-encoding"), NO_COMPRESSION);
}

void tst_RequestEngine::textBodiesAreSentAsUtf8()
{
    const QUrl url(service->url(PATH));

    service->expect(PATH, "\"\xc3\xa4 \xe2\x82\xac \xf0\x9f\x8d\x8e\"");
    client->doRequest(true, url, u"\"ä € 🍎\""_s, NotingClient::SUCCESS_HANDLER,
                      NotingClient::FAILURE_HANDLER, false);
    QCOMPARE(client->succeeded, QStringList{"{}"});

    service->expect(PATH, "\xc3\xa4");
    client->doRequest(true, url, u"ä"_s, NotingClient::SUCCESS_HANDLER);
    QCOMPARE(client->succeeded, (QStringList{"{}", "{}"}));
    QCOMPARE(service->lastRequest().headerLines("content-type"), JSON_TYPE);

    service->expect(PATH, "form");
    client->doRequest(true, url, u"form"_s, NotingClient::SUCCESS_HANDLER,
                      NotingClient::FAILURE_HANDLER, true);
    QCOMPARE(service->lastRequest().headerLines("content-type"), FORM_TYPE);
    QVERIFY(client->failed.isEmpty());
}

void tst_RequestEngine::cookieJarIsTheClients()
{
    const auto *manager = client->findChild<QNetworkAccessManager *>();
    QCOMPARE(manager->parent(), client.data());
    QCOMPARE(manager->cookieJar()->parent(), client.data());
}

void tst_RequestEngine::cookiesOfTheServiceRideAlong()
{
    service->expect(PATH).status("200 OK", "{}",
                                 "Set-Cookie: SESSION=a%20b%1%%; Path=/vantora\r\n"
                                 "Set-Cookie: other=2; Path=/elsewhere\r\n");
    QVERIFY(client->request());
    QVERIFY(service->lastRequest().headerLines("cookie").isEmpty());

    service->expect(PATH);
    QVERIFY(client->request());
    QCOMPARE(service->lastRequest().headerLines("cookie"),
             QList<QByteArray>{"Cookie: SESSION=a%20b%1%%"});

    // Another client starts without them.
    NotingClient stranger(nullptr, service->url());
    service->expect(PATH);
    QVERIFY(stranger.request());
    QVERIFY(service->lastRequest().headerLines("cookie").isEmpty());
}

void tst_RequestEngine::requestWithoutWaitingReturnsAtOnce()
{
    QSignalSpy processed(client.data(), &PresenterClient::requestProcessed);
    service->expect(PATH).json("{\"late\":true}");
    client->doRequest(false, QUrl(service->url(PATH)), QByteArray(), NotingClient::SUCCESS_HANDLER,
                      NotingClient::FAILURE_HANDLER, false);
    QVERIFY(service->requests().isEmpty());
    QVERIFY(client->succeeded.isEmpty());

    QTRY_COMPARE(processed.count(), 1);
    QCOMPARE(client->succeeded, QStringList{"{\"late\":true}"});
}

void tst_RequestEngine::missingHandlersAreNotRun()
{
    QSignalSpy processed(client.data(), &PresenterClient::requestProcessed);
    const QUrl url(service->url(PATH));

    service->expect(PATH);
    client->doRequest(true, url, QByteArray(), nullptr, NotingClient::FAILURE_HANDLER, false);
    service->expect(PATH).status("500 Broken");
    client->doRequest(true, url, QByteArray(), NotingClient::SUCCESS_HANDLER, nullptr, false);

    QCOMPARE(processed.count(), 2);
    QVERIFY(client->succeeded.isEmpty());
    QVERIFY(client->failed.isEmpty());
}

// ---- Redirects -----------------------------------------------------------------------------------

void tst_RequestEngine::redirectMovesTheBaseAddress_data()
{
    QTest::addColumn<QString>("location");
    QTest::addColumn<QString>("base");
    const auto row = [](const char *name, const char *location, const char *base) {
        QTest::newRow(name) << location << base;
    };
    row("to https with a port", "https://h.example:8443/x", "https://h.example:8443");
    row("to https", "https://h.example/x/y?q=1#f", "https://h.example");
    row("stated port 443 stays", "https://h.example:443/x", "https://h.example:443");
    row("port 80 goes, with https too", "https://h.example:80/x", "https://h.example");
    row("same scheme, port 80", "http://h.example:80/", "http://h.example");
    row("same scheme", "http://h.example", "http://h.example");
    row("same scheme in capitals", "HTTP://h.example", "http://h.example");
    row("user and password go", "http://u:p@h.example:81/", "http://h.example:81");
    row("numeric address of the new kind", "http://[::1]:8080/x", "http://[::1]:8080");
}

void tst_RequestEngine::redirectMovesTheBaseAddress()
{
    QFETCH(QString, location);
    QFETCH(QString, base);
    service->expect(PATH).redirect(location, "moved");
    QVERIFY(!client->request());
    QCOMPARE(client->getServerUrl(), base);
    QVERIFY(client->isServerReachable());
}

void tst_RequestEngine::redirectElsewhereIsAnOrdinaryReply_data()
{
    QTest::addColumn<QString>("location");
    QTest::newRow("another scheme") << "ftp://h.example/x";
    QTest::newRow("path alone") << "/elsewhere";
    QTest::newRow("empty") << "";
}

void tst_RequestEngine::redirectElsewhereIsAnOrdinaryReply()
{
    QFETCH(QString, location);
    service->expect(PATH).redirect(location, "moved");
    QVERIFY(client->request());
    QCOMPARE(client->succeeded, QStringList{"moved"});
    QCOMPARE(client->getServerUrl(), service->url());
    QVERIFY(!client->isServerReachable());
}

void tst_RequestEngine::followedRedirectRunsNoHandlerAndIsNotRepeated()
{
    QSignalSpy processed(client.data(), &PresenterClient::requestProcessed);
    service->expect(PATH).redirect(service->url("/x"));
    LogCapture log;
    QVERIFY(!client->request());
    QVERIFY(client->failed.isEmpty());
    QCOMPARE(processed.count(), 1);
    QCOMPARE(client->getServerUrl(), service->url());
    QCOMPARE(log.messages(), QStringList());

    // What comes next comes from the next request alone.
    service->expect(PATH);
    QVERIFY(client->request());
    QCOMPARE(service->requests().size(), 2);
}

void tst_RequestEngine::nextRequestGoesToTheAddressRedirectedTo()
{
    RestService present;
    service->expect(PATH).redirect(present.url(PATH));
    QVERIFY(!client->request());
    present.expect(PATH);
    QVERIFY(client->request());
    QCOMPARE(present.faults(), QStringList());
}

QTEST_GUILESS_MAIN(tst_RequestEngine)
#include "tst_requestengine.moc"
