// No TLS error is ever waived; the one that the host can explain to a teacher is told by its key.

#include "ToolkitWords.h"
#include "client/ServiceTest.h"

#include "support/LogCapture.h"
#include "support/ScriptedServer.h"
#include "support/TestCertificates.h"

#include <QtNetwork/QNetworkAccessManager>

enum class Trust {
    Root,
    AnotherRoot,
    Nobody
};
enum class Leaf {
    Valid,
    WrongHost,
    Expired,
    ExpiredWrongHost,
    Intermediate,
    IntermediateWrongHost
};
using Run = bool (*)(PresenterClient &);

Q_DECLARE_METATYPE(Trust)
Q_DECLARE_METATYPE(Leaf)
Q_DECLARE_METATYPE(Scripted::Script)
Q_DECLARE_METATYPE(Run)

static const QString MISSING = u"SSLRootCertificateMissing"_s;
static const QString SSL_ERROR = u"ssl error "_s; // a log line's beginning

static QString errorLine(const QString &firstError)
{
    return u"ERROR: "_s + handshakeFailed(firstError) + u"\nRESPONSE: "_s;
}

class tst_TlsPolicy : public ClientTest
{
    Q_OBJECT

private Q_SLOTS:
    void init() override;

    void trustedServiceIsReached();
    void trustedIntermediateIsReached();
    void untrustedServiceFails_data();
    void untrustedServiceFails();
    void rootsThatTheToolkitLoadsOnDemandAreNotSeen();
    void rootIsToldByItsNameAlone();
    void errorsAndCertificatesAreLogged();
    void severalErrorsAreLoggedInOrder();

    void errorKeySurvivesTheOperation_data();
    void errorKeySurvivesTheOperation();
    void nextSignInForgetsTheErrorKey();
    void earlierErrorKeyIsKeptWhenTheRootIsKnown();

    void redirectFromTlsToPlainIsNotFollowed();
    void brokenHandshakeFailsAndSendsNothingInClear_data();
    void brokenHandshakeFailsAndSendsNothingInClear();

private:
    QSslConfiguration issued(Leaf leaf);
    TestCertificates::Identity issue(Leaf leaf);

    const QSslConfiguration m_systemRoots = QSslConfiguration::defaultConfiguration();
    TestCertificates authority; // "Test Root"
    TestCertificates otherAuthority{u"Other Root"_s};
    QMap<int, QSslConfiguration> m_issued;
};

void tst_TlsPolicy::init()
{
    QSslConfiguration::setDefaultConfiguration(m_systemRoots);
    ClientTest::init();
}

// What a service with such a certificate speaks TLS with; made once. It sends the certificate and its
// intermediate, but not the root, which a server adds that knows it.
QSslConfiguration tst_TlsPolicy::issued(Leaf leaf)
{
    QSslConfiguration &configuration = m_issued[int(leaf)];
    if (configuration.localCertificate().isNull()) {
        configuration = issue(leaf).serverConfiguration();
        configuration.setCaCertificates({});
    }
    return configuration;
}

TestCertificates::Identity tst_TlsPolicy::issue(Leaf leaf)
{
    const QString name = u"localhost"_s;
    const QString elsewhere = u"elsewhere.example"_s;
    const QString elsewhereNames = u"DNS:elsewhere.example"_s;
    switch (leaf) {
    case Leaf::Valid:
        return authority.issue(name);
    case Leaf::WrongHost:
        return authority.issue(elsewhere, elsewhereNames);
    case Leaf::Expired:
        return authority.issueExpired(name);
    case Leaf::ExpiredWrongHost:
        return authority.issueExpired(elsewhere, elsewhereNames);
    case Leaf::Intermediate:
        return authority.issueThroughIntermediate(name);
    case Leaf::IntermediateWrongHost:
        return authority.issueThroughIntermediate(elsewhere, elsewhereNames);
    }
    return {};
}

// ---- Real servers --------------------------------------------------------------------------------

void tst_TlsPolicy::trustedServiceIsReached()
{
    authority.trust();
    serve(issued(Leaf::Valid));
    service->expect(CHECK);
    LogCapture log;
    QVERIFY(check());
    QVERIFY(client->getLastErrorKey().isNull());
    QCOMPARE(log.messages(), QStringList{"[REST Response] {}"});
}

void tst_TlsPolicy::trustedIntermediateIsReached()
{
    authority.trust();
    serve(issued(Leaf::Intermediate));
    service->expect(CHECK);
    QVERIFY(check());
    QVERIFY(client->getLastErrorKey().isNull());
}

void tst_TlsPolicy::untrustedServiceFails_data()
{
    QTest::addColumn<Trust>("trust");
    QTest::addColumn<Leaf>("leaf");
    QTest::addColumn<bool>("rootIsMissing");
    const auto row = [](const char *name, Trust trust, Leaf leaf, bool rootIsMissing) {
        QTest::newRow(name) << trust << leaf << rootIsMissing;
    };
    row("unknown root", Trust::AnotherRoot, Leaf::Valid, true);
    row("no roots at all", Trust::Nobody, Leaf::Valid, true);
    row("unknown root, expired", Trust::AnotherRoot, Leaf::Expired, true);
    row("unknown root, wrong host", Trust::AnotherRoot, Leaf::WrongHost, true);
    row("unknown root, expired, wrong host", Trust::AnotherRoot, Leaf::ExpiredWrongHost, true);
    row("unknown root behind an intermediate", Trust::AnotherRoot, Leaf::Intermediate, true);
    row("known root, wrong host", Trust::Root, Leaf::WrongHost, false);
    row("known root, expired", Trust::Root, Leaf::Expired, false);
    row("known root, expired, wrong host", Trust::Root, Leaf::ExpiredWrongHost, false);
    row("known root behind an intermediate, wrong host", Trust::Root, Leaf::IntermediateWrongHost,
        false);
}

void tst_TlsPolicy::untrustedServiceFails()
{
    QFETCH(Trust, trust);
    QFETCH(Leaf, leaf);
    QFETCH(bool, rootIsMissing);
    if (trust == Trust::Root)
        authority.trust();
    else if (trust == Trust::AnotherRoot)
        otherAuthority.trust();
    else
        authority.trustNobody();

    serve(issued(leaf));
    LogCapture log;
    QVERIFY(!check());
    QCOMPARE(client->getLastErrorKey(), rootIsMissing ? MISSING : QString());
    QCOMPARE(client->getLastErrorKey().isNull(), !rootIsMissing);
    QCOMPARE(log.messages().first(), u"+++ SSL Config +++"_s);
    const QString error = log.messages().at(1);
    QVERIFY(error.startsWith(SSL_ERROR));
    QCOMPARE(log.messages().mid(log.messages().size() - 2),
             (QStringList{"[REST Response] ", errorLine(error.mid(SSL_ERROR.size()))}));
    QVERIFY(service->requests().isEmpty());
}

void tst_TlsPolicy::rootsThatTheToolkitLoadsOnDemandAreNotSeen()
{
    // Where the system's roots are loaded on demand, the configuration lists none of them.
    if (!QSslConfiguration::defaultConfiguration().caCertificates().isEmpty())
        QSKIP("this system's roots are not loaded on demand");
    serve(issued(Leaf::Valid));
    QVERIFY(!check());
    QCOMPARE(client->getLastErrorKey(), MISSING);
    QVERIFY(service->requests().isEmpty());
}

void tst_TlsPolicy::rootIsToldByItsNameAlone()
{
    // Another authority of the same name: the chain does not hold, but no root seems to be missing.
    TestCertificates namesake;
    QCOMPARE(namesake.root().issuerInfo(QSslCertificate::CommonName), QStringList{"Test Root"});
    namesake.trust();
    serve(issued(Leaf::Valid));
    QVERIFY(!check());
    QVERIFY(client->getLastErrorKey().isNull());
    QVERIFY(service->requests().isEmpty());
}

void tst_TlsPolicy::errorsAndCertificatesAreLogged()
{
    otherAuthority.trust();
    serve(issued(Leaf::Intermediate));
    LogCapture log;
    QVERIFY(!check());
    const QString error =
        u"The issuer certificate of a locally looked up certificate could not be found"_s;
    QCOMPARE(log.messages(),
             (QStringList{
                 "+++ SSL Config +++",
                 "ssl error " + error,
                 "peer certificate list",
                 "CommonName: Test Intermediate",
                 "CommonName: Test Root",
                 "certificate list",
                 "CommonName: Other Root",
                 "[REST Response] ",
                 errorLine(error),
             }));
}

void tst_TlsPolicy::severalErrorsAreLoggedInOrder()
{
    authority.trust();
    serve(issued(Leaf::ExpiredWrongHost));
    LogCapture log;
    QVERIFY(!check());
    QCOMPARE(
        log.messages(),
        (QStringList{
            "+++ SSL Config +++",
            "ssl error The host name did not match any of the valid hosts for this certificate",
            "ssl error The certificate has expired",
            "peer certificate list",
            "CommonName: Test Root",
            "certificate list",
            "CommonName: Test Root",
            "[REST Response] ",
            errorLine(u"The host name did not match any of the valid hosts for this certificate"_s),
        }));
}

// ---- The key and the operations ------------------------------------------------------------------

void tst_TlsPolicy::errorKeySurvivesTheOperation_data()
{
    QTest::addColumn<Run>("run");
    const auto row = [](const char *name, Run run) { QTest::newRow(name) << run; };
    row("check", [](auto &client) { return client.checkServer(u"u"_s, u"p"_s); });
    row("password", [](auto &client) { return client.doLogin(u"u"_s, u"p"_s); });
    row("device token", [](auto &client) { return client.doLogin(u"u"_s, u"d"_s, u"t"_s); });
    row("oauth", [](auto &client) {
        QString registration;
        return client.doLoginWithOAuth(u"x"_s, u"c"_s, registration);
    });
    row("access token", [](auto &client) {
        return !client.doGetAccessToken(u"u"_s, u"p"_s, u"d"_s, u"n"_s).isNull();
    });
    row("session", [](auto &client) { return client.doStartSession(QString()); });
    row("session, signing in again", [](auto &client) {
        client.doGetAccessToken(u"u"_s, u"p"_s, u"d"_s, u"n"_s);
        return client.doStartSession(QString());
    });
    row("upload", [](auto &client) {
        QString id;
        QString path;
        return client.doUploadResource(u"f"_s, "d", &id, &path);
    });
}

void tst_TlsPolicy::errorKeySurvivesTheOperation()
{
    QFETCH(Run, run);
    otherAuthority.trust();
    serve(issued(Leaf::Valid));
    QVERIFY(!run(*client));
    QCOMPARE(client->getLastErrorKey(), MISSING);
    QVERIFY(!client->isLoggedIn());
    QVERIFY(service->requests().isEmpty());
}

void tst_TlsPolicy::nextSignInForgetsTheErrorKey()
{
    authority.trustNobody();
    serve(issued(Leaf::Valid));
    QVERIFY(!login());
    QCOMPARE(client->getLastErrorKey(), MISSING);

    // The toolkit keeps a connection that it tried lately, with the roots of then, for a while.
    authority.trust();
    client->findChild<QNetworkAccessManager *>()->clearConnectionCache();
    service->expect(LOGIN, ANN).json(SUCCESS);
    QVERIFY(login());
    QVERIFY(client->getLastErrorKey().isNull());
}

void tst_TlsPolicy::earlierErrorKeyIsKeptWhenTheRootIsKnown()
{
    authority.trust();
    RestService expired(issued(Leaf::Expired));
    service->expect(LOGIN, ANN).status("403 No", WRONG_PASSWORD);
    QVERIFY(!login());
    service->expect(KEEP_ALIVE).redirect(expired.url());
    client->sendKeepAlive();
    QCOMPARE(client->getServerUrl(), expired.url());

    client->sendKeepAlive(); // clears nothing before it sends
    QCOMPARE(client->getLastErrorKey(), u"login.error.password"_s);
    QVERIFY(expired.requests().isEmpty());
}

// ---- Around TLS ----------------------------------------------------------------------------------

void tst_TlsPolicy::redirectFromTlsToPlainIsNotFollowed()
{
    authority.trust();
    serve(issued(Leaf::Valid));
    RestService plain;

    service->expect(CHECK).redirect(plain.url(CHECK), "<html>moved</html>");
    LogCapture log;
    QVERIFY(!check());
    QCOMPARE(client->getServerUrl(), service->url());
    QCOMPARE(log.messages(), QStringList{"[REST Response] <html>moved</html>"});

    // An ordinary reply: what it says counts.
    service->expect(CHECK).redirect(plain.url(CHECK), "{}");
    QVERIFY(check());
    QCOMPARE(client->getServerUrl(), service->url());
    QVERIFY(plain.requests().isEmpty());
}

void tst_TlsPolicy::brokenHandshakeFailsAndSendsNothingInClear_data()
{
    using namespace Scripted;
    QTest::addColumn<Script>("script");
    const auto row = [](const char *name, const Script &script) { QTest::newRow(name) << script; };
    const Step handshake = expectMatch("\x16\x03\x01");
    row("closed at once", {close()});
    row("reset at once", {Scripted::abort()});
    row("closed during the handshake", {handshake, close()});
    row("reset during the handshake", {handshake, Scripted::abort()});
    row("plain HTTP", {handshake, send(reply("{}", "400 Bad Request")), close()});
    row("plain HTTP, kept open", {handshake, send(reply("{}")), expectEnd()});
    row("noise", {handshake, send(QByteArray(5000, '\x15')), close()});
}

void tst_TlsPolicy::brokenHandshakeFailsAndSendsNothingInClear()
{
    QFETCH(Scripted::Script, script);
    ScriptedServer server;
    server.onEveryOther(script);
    QVERIFY(server.listen());
    PresenterClient shaking(nullptr, localUrl(server.port(), u"https"_s));
    LogCapture log;
    QVERIFY(!shaking.doLogin(u"ann"_s, u"s3cret"_s));
    QVERIFY(shaking.getLastErrorKey().isNull());
    QCOMPARE(log.startingWith(u"[REST Response]"_s), QStringList{"[REST Response] "});
    QCOMPARE(log.startingWith(u"ERROR: "_s).size(), 1);

    QVERIFY(server.connectionCount() > 0);
    for (int i = 0; i < server.connectionCount(); ++i) {
        const QByteArray received = server.received(i);
        QVERIFY(received.isEmpty() || received.startsWith("\x16\x03\x01"));
        QVERIFY(!received.contains("POST"));
        QVERIFY(!received.contains("s3cret"));
    }
}

QTEST_GUILESS_MAIN(tst_TlsPolicy)
#include "tst_tlspolicy.moc"
