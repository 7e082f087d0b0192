// What a host sets for the client's ways to the service, and for the channels that it makes.

#include "client/SessionTest.h"

#include "sockjs/TunnelProxy.h"
#include "support/TestCertificates.h"

static const QString MISSING = u"SSLRootCertificateMissing"_s;

class tst_NetworkSettings : public SessionTest
{
    Q_OBJECT

private Q_SLOTS:
    void init() override;

    void certificateIsTrustedBesideTheOthers();
    void certificateIsTrustedWhereNoneIs();
    void withoutCertificatesTheDefaultStays();
    void errorsOfATrustedServiceAreNotWaived();
    void channelTrustsTheCertificate();

    void requestsGoThroughTheProxy();
    void requestsOverTlsAreTunnelled();
    void proxyCanBeTakenBack();
    void channelGoesThroughTheProxy();

    void cookiesSignAnotherClientIn();
    void otherCookiesTakeTheirPlace();
    void serverUrlLosesOneSlash();
    void transportsOfTheChannelAreTold();

    void forgottenCredentialsSignNobodyIn_data();
    void forgottenCredentialsSignNobodyIn();
    void forgottenCredentialsCreateNoSession();

private:
    QSslConfiguration serverTls(const TestCertificates::Identity &identity) const;
    RestExchange &expectBehindProxy(RestService &proxy)
    {
        return proxy.expect("http://classroom.invalid/vantora");
    }
    static QNetworkProxy httpProxy(quint16 port)
    {
        return QNetworkProxy(QNetworkProxy::HttpProxy, u"127.0.0.1"_s, port);
    }

    TestCertificates authority; // "Test Root"; trusted by nobody but by what the host sets
    TestCertificates otherAuthority{u"Other Root"_s};
};

void tst_NetworkSettings::init()
{
    qunsetenv("http_proxy");
    otherAuthority.trust();
    SessionTest::init();
}

// What a server sends: not the root, which it would add if it knew it.
QSslConfiguration tst_NetworkSettings::serverTls(const TestCertificates::Identity &identity) const
{
    QSslConfiguration configuration = identity.serverConfiguration();
    configuration.setCaCertificates({});
    return configuration;
}

// ---- Certificates ---------------------------------------------------------------------------------

void tst_NetworkSettings::certificateIsTrustedBesideTheOthers()
{
    serve(serverTls(authority.issue(u"localhost"_s)));
    QVERIFY(!check());
    QCOMPARE(client->getLastErrorKey(), MISSING);

    client->setTrustedCertificates({authority.root()});
    service->expect(CHECK);
    QVERIFY(check());
    QVERIFY(client->getLastErrorKey().isNull());

    RestService other(serverTls(otherAuthority.issue(u"localhost"_s)));
    other.expect(CHECK);
    client->setServerUrl(other.url());
    QVERIFY(check());
    QCOMPARE(other.faults(), QStringList());
}

// As where the system's certificates are looked up on demand.
void tst_NetworkSettings::certificateIsTrustedWhereNoneIs()
{
    otherAuthority.trustNobody();
    serve(serverTls(authority.issue(u"localhost"_s)));
    client->setTrustedCertificates({authority.root()});
    service->expect(CHECK);
    QVERIFY(check());
}

void tst_NetworkSettings::withoutCertificatesTheDefaultStays()
{
    serve(serverTls(authority.issue(u"localhost"_s)));
    client->setTrustedCertificates({authority.root()});
    client->setTrustedCertificates({});
    QVERIFY(!check());
    QCOMPARE(client->getLastErrorKey(), MISSING);
    authority.trust();
    client->resetConnections();
    service->expect(CHECK);
    QVERIFY(check());
}

void tst_NetworkSettings::errorsOfATrustedServiceAreNotWaived()
{
    serve(serverTls(authority.issueExpired(u"localhost"_s)));
    client->setTrustedCertificates({authority.root()});
    QVERIFY(!check());
    QVERIFY(client->getLastErrorKey().isNull()); // the root is known
    QCOMPARE(client->getLastReply().error, QNetworkReply::SslHandshakeFailedError);
    QVERIFY(service->requests().isEmpty());
}

void tst_NetworkSettings::channelTrustsTheCertificate()
{
    const TestCertificates::Identity identity = authority.issue(u"localhost"_s);
    EventBusServer secure(&identity);
    const QString url = localUrl(secure.port(), u"https"_s);
    client->setTrustedCertificates({authority.root()});
    createSession();
    expectAll(startOperations(url));
    QVERIFY(openChannel());
    QTRY_VERIFY(channel->isConnected());
    expectStop();
    QVERIFY(client->doStopSession());
}

// ---- The proxy ------------------------------------------------------------------------------------

void tst_NetworkSettings::requestsGoThroughTheProxy()
{
    client->setServerUrl(u"http://classroom.invalid"_s);
    client->setProxy(httpProxy(service->port()));
    expectBehindProxy(*service);
    QVERIFY(check());
    client->resetConnections();
    expectBehindProxy(*service);
    QVERIFY(check());
}

void tst_NetworkSettings::requestsOverTlsAreTunnelled()
{
    serve(serverTls(authority.issue(u"classroom.invalid"_s, u"DNS:classroom.invalid"_s)));
    client->setTrustedCertificates({authority.root()});
    TunnelProxy proxy(service->port());
    client->setServerUrl(u"https://classroom.invalid"_s);
    client->setProxy(httpProxy(proxy.port()));
    service->expect(CHECK);
    QVERIFY(check());
    QCOMPARE(proxy.tunnels, 1);
}

void tst_NetworkSettings::proxyCanBeTakenBack()
{
    RestService proxy;
    client->setProxy(httpProxy(proxy.port()));
    client->setProxy(QNetworkProxy());
    service->expect(CHECK);
    QVERIFY(check());
    QVERIFY(proxy.requests().isEmpty());
}

void tst_NetworkSettings::channelGoesThroughTheProxy()
{
    createSession();
    expectAll(startOperations(u"http://classroom.invalid"_s));
    TunnelProxy proxy(bus->port());
    const auto pass = [&] { client->setProxy(httpProxy(proxy.port())); };
    // The requests before go to the service; the last of them is answered when the proxy is set.
    connect(client.data(), &PresenterClient::requestProcessed, this, [&, handled = 0]() mutable {
        if (++handled == 4)
            pass();
    });
    QVERIFY(openChannel());
    QTRY_VERIFY(channel->isConnected());
    QCOMPARE(proxy.tunnels, 1);
    QVERIFY(qgetenv("http_proxy").isEmpty());
    client->setProxy(QNetworkProxy());
    expectStop();
    QVERIFY(client->doStopSession());
}

// ---- The service's session ------------------------------------------------------------------------

void tst_NetworkSettings::cookiesSignAnotherClientIn()
{
    service->expect(LOGIN, ANN).status("200 OK", SUCCESS, "Set-Cookie: SESSION=s1; Path=/\r\n");
    QVERIFY(login());
    PresenterClient other(nullptr, service->url());
    QVERIFY(other.getCookies().isEmpty());
    other.setCookies(client->getCookies());
    service->expect(USER, "{}").json(ANN_IS_KNOWN);
    QCOMPARE(other.doGetUserName(), u"ann"_s);
    QCOMPARE(service->lastRequest().headerLines("cookie"), QList<QByteArray>{"Cookie: SESSION=s1"});
}

void tst_NetworkSettings::otherCookiesTakeTheirPlace()
{
    service->expect(CHECK).status("200 OK", "{}", "Set-Cookie: SESSION=s1; Path=/\r\n");
    QVERIFY(check());
    QCOMPARE(client->getCookies().size(), 1);
    QCOMPARE(client->getCookies().first().value(), QByteArray("s1"));
    client->setCookies({});
    QVERIFY(client->getCookies().isEmpty());
    service->expect(CHECK);
    QVERIFY(check());
    QVERIFY(service->lastRequest().headerLines("cookie").isEmpty());
}

void tst_NetworkSettings::serverUrlLosesOneSlash()
{
    client->setServerUrl(u"http://classroom.invalid/a//"_s);
    QCOMPARE(client->getServerUrl(), u"http://classroom.invalid/a/"_s);
    client->setServerUrl(u"http://classroom.invalid"_s);
    QCOMPARE(client->getServerUrl(), u"http://classroom.invalid"_s);
    client->setServerUrl(service->url() + u'/');
    service->expect(CHECK);
    QVERIFY(check());
}

void tst_NetworkSettings::transportsOfTheChannelAreTold()
{
    QCOMPARE(client->getSockJSProtocols(), QStringList());
    startSession();
    QCOMPARE(client->getSockJSProtocols(), QStringList{u"websocket"_s});
    expectStop();
    QVERIFY(client->doStopSession());
}

// ---- Credentials ----------------------------------------------------------------------------------

void tst_NetworkSettings::forgottenCredentialsSignNobodyIn_data()
{
    QTest::addColumn<QString>("kind");
    QTest::newRow("password") << u"password"_s;
    QTest::newRow("device") << u"device"_s;
    QTest::newRow("OAuth") << u"OAuth"_s;
}

void tst_NetworkSettings::forgottenCredentialsSignNobodyIn()
{
    QFETCH(QString, kind);
    QString registration;
    if (kind == u"password"_s) {
        signIn();
    } else if (kind == u"device"_s) {
        service->expect(LOGIN, DEVICE_LOGIN).json(SUCCESS);
        QVERIFY(client->doLogin(u"u"_s, u"d"_s, u"t"_s));
    } else {
        // Signing in again needs a user id, which comes with asking for it.
        expectOAuth().json(SUCCESS);
        QVERIFY(loginWithOAuth(registration));
        service->expect(USER, "{}").json(ANN_IS_KNOWN);
        QCOMPARE(client->doGetUserName(), u"ann"_s);
    }
    client->forgetCredentials();
    const int asked = service->requests().size();
    client->reLogin();
    QCOMPARE(service->requests().size(), asked);
    QVERIFY(client->isLoggedIn());
}

void tst_NetworkSettings::forgottenCredentialsCreateNoSession()
{
    signIn();
    client->forgetCredentials();
    service->expect(USER, "{}").json("{}");
    QVERIFY(!create());
    QVERIFY(!client->isLoggedIn());
    // Who is still signed in needs none.
    signIn();
    client->forgetCredentials();
    expectCreation();
    QVERIFY(create());
}

QTEST_GUILESS_MAIN(tst_NetworkSettings)
#include "tst_networksettings.moc"
