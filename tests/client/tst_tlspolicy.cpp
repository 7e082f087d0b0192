// No TLS error is ever waived; the one that the host can explain to a teacher is told by its key.

#include "client/PresenterClient.h"
#include "support/Text.h"

#include "client/RestService.h"
#include "support/LogCapture.h"
#include "support/ScriptedServer.h"
#include "support/TestCertificates.h"

#include <QtCore/QElapsedTimer>
#include <QtNetwork/QNetworkAccessManager>
#include <QtNetwork/QSslSocket>
#include <QtTest/QtTest>

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
using Operation = bool (*)(PresenterClient &);

Q_DECLARE_METATYPE(Trust)
Q_DECLARE_METATYPE(Leaf)
Q_DECLARE_METATYPE(Scripted::Script)
Q_DECLARE_METATYPE(Operation)

namespace
{

const QByteArray CHECK = "/vantora";
const QString MISSING = u"SSLRootCertificateMissing"_s;

// A failure that needs the whole wait of 10 s is one too many here.
constexpr int AT_ONCE_MS = 8000;

// A reply that carries a TLS configuration of the test's making.
class ConfiguredReply : public QNetworkReply
{
public:
    explicit ConfiguredReply(const QSslConfiguration &configuration)
        : m_configuration(configuration)
    {
    }
    void abort() override { }

protected:
    qint64 readData(char *, qint64) override { return -1; }
    void sslConfigurationImplementation(QSslConfiguration &configuration) const override
    {
        configuration = m_configuration;
    }

private:
    QSslConfiguration m_configuration;
};
// What a connection to `service` has for its configuration once the certificates have been looked at.
QSslConfiguration peerConfiguration(const RestService &service)
{
    QSslSocket socket;
    socket.setPeerVerifyMode(QSslSocket::QueryPeer);
    QSignalSpy encrypted(&socket, &QSslSocket::encrypted);
    socket.connectToHostEncrypted(u"127.0.0.1"_s, service.port());
    if (!encrypted.wait())
        qFatal("no TLS connection: %s", qPrintable(socket.errorString()));
    return socket.sslConfiguration();
}

QSslConfiguration withRoots(QSslConfiguration configuration, const QList<QSslCertificate> &roots)
{
    configuration.setCaCertificates(roots);
    return configuration;
}

// Hands the slot a reply with such a configuration, and returns the error key it leaves.
QString errorKeyFor(const QSslConfiguration &configuration, const QList<QSslError> &errors = {})
{
    PresenterClient client(nullptr, QString());
    ConfiguredReply reply(configuration);
    QMetaObject::invokeMethod(&client, "slotSslErrors",
                              Q_ARG(QNetworkReply *, static_cast<QNetworkReply *>(&reply)),
                              Q_ARG(QList<QSslError>, errors));
    return client.getLastErrorKey();
}

} // namespace

class tst_TlsPolicy : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { m_systemRoots = QSslConfiguration::defaultConfiguration(); }
    void init() { QSslConfiguration::setDefaultConfiguration(m_systemRoots); }

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

    void emptyChainAndNoRootsIsAMissingRoot();
    void emptyChainMatchesOnlyARootWithoutAName();
    void severalNamesAreJoined();
    void everyRootIsLoggedAfterAMatch();
    void earlierErrorKeyIsKeptWhenTheRootIsKnown();

    void redirectFromTlsToPlainIsNotFollowed();
    void brokenHandshakeFailsAndSendsNothingInClear_data();
    void brokenHandshakeFailsAndSendsNothingInClear();

private:
    QSslConfiguration issued(Leaf leaf);
    TestCertificates::Identity issue(Leaf leaf);

    QSslConfiguration m_systemRoots;
    TestCertificates authority; // "Test Root"
    TestCertificates otherAuthority{u"Other Root"_s};
    QMap<int, QSslConfiguration> m_issued;
};

// What a service with such a certificate speaks TLS with; made once. It sends the certificate and its
// intermediate, but not the root, which a server adds that knows it.
QSslConfiguration tst_TlsPolicy::issued(Leaf leaf)
{
    QSslConfiguration &configuration = m_issued[int(leaf)];
    if (configuration.localCertificate().isNull())
        configuration = withRoots(issue(leaf).serverConfiguration(), {});
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

// ---- Real servers ---------------------------------------------------------------------------------

void tst_TlsPolicy::trustedServiceIsReached()
{
    authority.trust();
    RestService service(issued(Leaf::Valid));
    PresenterClient client(nullptr, service.url());
    service.expect(CHECK);
    LogCapture log;
    QVERIFY(client.checkServer(QString(), QString()));
    QVERIFY(client.getLastErrorKey().isNull());
    QCOMPARE(log.messages(), QStringList{"[REST Response] {}"});
    QCOMPARE(service.faults(), QStringList());
}

void tst_TlsPolicy::trustedIntermediateIsReached()
{
    authority.trust();
    RestService service(issued(Leaf::Intermediate));
    PresenterClient client(nullptr, service.url());
    service.expect(CHECK);
    QVERIFY(client.checkServer(QString(), QString()));
    QVERIFY(client.getLastErrorKey().isNull());
    QCOMPARE(service.faults(), QStringList());
}

void tst_TlsPolicy::untrustedServiceFails_data()
{
    QTest::addColumn<Trust>("trust");
    QTest::addColumn<Leaf>("leaf");
    QTest::addColumn<bool>("rootIsMissing");
    QTest::newRow("unknown root") << Trust::AnotherRoot << Leaf::Valid << true;
    QTest::newRow("no roots at all") << Trust::Nobody << Leaf::Valid << true;
    QTest::newRow("unknown root, expired") << Trust::AnotherRoot << Leaf::Expired << true;
    QTest::newRow("unknown root, wrong host") << Trust::AnotherRoot << Leaf::WrongHost << true;
    QTest::newRow("unknown root, expired, wrong host")
        << Trust::AnotherRoot << Leaf::ExpiredWrongHost << true;
    QTest::newRow("unknown root behind an intermediate")
        << Trust::AnotherRoot << Leaf::Intermediate << true;
    QTest::newRow("known root, wrong host") << Trust::Root << Leaf::WrongHost << false;
    QTest::newRow("known root, expired") << Trust::Root << Leaf::Expired << false;
    QTest::newRow("known root, expired, wrong host")
        << Trust::Root << Leaf::ExpiredWrongHost << false;
    QTest::newRow("known root behind an intermediate, wrong host")
        << Trust::Root << Leaf::IntermediateWrongHost << false;
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

    RestService service(issued(leaf));
    PresenterClient client(nullptr, service.url());
    LogCapture log;
    QElapsedTimer clock;
    clock.start();
    QVERIFY(!client.checkServer(QString(), QString()));
    QVERIFY(clock.elapsed() < AT_ONCE_MS);
    QCOMPARE(client.getLastErrorKey(), rootIsMissing ? MISSING : QString());
    QCOMPARE(client.getLastErrorKey().isNull(), !rootIsMissing);
    QCOMPARE(log.messages().first(), u"+++ SSL Config +++"_s);
    QCOMPARE(log.messages().mid(log.messages().size() - 2),
             (QStringList{"[REST Response] ", "ERROR: SSL handshake failed\nRESPONSE: "}));
    QVERIFY(service.requests().isEmpty());
    QCOMPARE(service.faults(), QStringList());
}

void tst_TlsPolicy::rootsThatTheToolkitLoadsOnDemandAreNotSeen()
{
    // Where the system's roots are loaded on demand, the configuration lists none of them.
    if (!QSslConfiguration::defaultConfiguration().caCertificates().isEmpty())
        QSKIP("this system's roots are not loaded on demand");
    RestService service(issued(Leaf::Valid));
    PresenterClient client(nullptr, service.url());
    QVERIFY(!client.checkServer(QString(), QString()));
    QCOMPARE(client.getLastErrorKey(), MISSING);
    QVERIFY(service.requests().isEmpty());
}

void tst_TlsPolicy::rootIsToldByItsNameAlone()
{
    // Another authority of the same name: the chain does not hold, but no root seems to be missing.
    TestCertificates namesake;
    QCOMPARE(namesake.root().issuerInfo(QSslCertificate::CommonName), QStringList{"Test Root"});
    namesake.trust();
    RestService service(issued(Leaf::Valid));
    PresenterClient client(nullptr, service.url());
    QVERIFY(!client.checkServer(QString(), QString()));
    QVERIFY(client.getLastErrorKey().isNull());
    QVERIFY(service.requests().isEmpty());
}

void tst_TlsPolicy::errorsAndCertificatesAreLogged()
{
    otherAuthority.trust();
    RestService service(issued(Leaf::Intermediate));
    PresenterClient client(nullptr, service.url());
    LogCapture log;
    QVERIFY(!client.checkServer(QString(), QString()));
    QCOMPARE(log.messages(),
             (QStringList{
                 "+++ SSL Config +++",
                 "ssl error The issuer certificate of a locally looked up certificate could not be "
                 "found",
                 "peer certificate list",
                 "CommonName: Test Intermediate",
                 "CommonName: Test Root",
                 "certificate list",
                 "CommonName: Other Root",
                 "[REST Response] ",
                 "ERROR: SSL handshake failed\nRESPONSE: ",
             }));
}

void tst_TlsPolicy::severalErrorsAreLoggedInOrder()
{
    authority.trust();
    RestService service(issued(Leaf::ExpiredWrongHost));
    PresenterClient client(nullptr, service.url());
    LogCapture log;
    QVERIFY(!client.checkServer(QString(), QString()));
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
            "ERROR: SSL handshake failed\nRESPONSE: ",
        }));
}

// ---- The key and the operations -------------------------------------------------------------------

void tst_TlsPolicy::errorKeySurvivesTheOperation_data()
{
    QTest::addColumn<Operation>("operation");
    const auto add = [](const char *name, Operation operation) {
        QTest::newRow(name) << operation;
    };
    add("check", [](PresenterClient &client) { return client.checkServer(u"u"_s, u"p"_s); });
    add("password", [](PresenterClient &client) { return client.doLogin(u"u"_s, u"p"_s); });
    add("device token",
        [](PresenterClient &client) { return client.doLogin(u"u"_s, u"d"_s, u"t"_s); });
    add("oauth", [](PresenterClient &client) {
        QString registration;
        return client.doLoginWithOAuth(u"x"_s, u"c"_s, registration);
    });
    add("access token", [](PresenterClient &client) {
        return !client.doGetAccessToken(u"u"_s, u"p"_s, u"d"_s, u"n"_s).isNull();
    });
    add("session", [](PresenterClient &client) { return client.doStartSession(QString()); });
    add("session, signing in again", [](PresenterClient &client) {
        client.doGetAccessToken(u"u"_s, u"p"_s, u"d"_s, u"n"_s);
        return client.doStartSession(QString());
    });
    add("upload", [](PresenterClient &client) {
        QString id;
        QString path;
        return client.doUploadResource(u"f"_s, "d", &id, &path);
    });
}

void tst_TlsPolicy::errorKeySurvivesTheOperation()
{
    QFETCH(Operation, operation);
    otherAuthority.trust();
    RestService service(issued(Leaf::Valid));
    PresenterClient client(nullptr, service.url());
    QVERIFY(!operation(client));
    QCOMPARE(client.getLastErrorKey(), MISSING);
    QVERIFY(!client.isLoggedIn());
    QVERIFY(service.requests().isEmpty());
}

void tst_TlsPolicy::nextSignInForgetsTheErrorKey()
{
    authority.trustNobody();
    RestService service(issued(Leaf::Valid));
    PresenterClient client(nullptr, service.url());
    QVERIFY(!client.doLogin(u"ann"_s, u"pw"_s));
    QCOMPARE(client.getLastErrorKey(), MISSING);

    // The toolkit keeps a connection that it tried lately, with the roots of then, for a while.
    authority.trust();
    client.findChild<QNetworkAccessManager *>()->clearConnectionCache();
    service
        .expect("/vantora/login/submit",
                R"({"userId":"ann","password":"pw","sourceSystem":"Corvel"})")
        .json(R"({"infoMsgs":["success"]})");
    QVERIFY(client.doLogin(u"ann"_s, u"pw"_s));
    QVERIFY(client.getLastErrorKey().isNull());
    QCOMPARE(service.faults(), QStringList());
}

// ---- Configurations made by hand ------------------------------------------------------------------

void tst_TlsPolicy::emptyChainAndNoRootsIsAMissingRoot()
{
    LogCapture log;
    QCOMPARE(errorKeyFor(withRoots(QSslConfiguration(), {})), MISSING);
    QCOMPARE(log.messages(),
             (QStringList{"+++ SSL Config +++", "peer certificate list", "certificate list"}));
}

void tst_TlsPolicy::emptyChainMatchesOnlyARootWithoutAName()
{
    TestCertificates nameless{QString()};
    QVERIFY(nameless.root().issuerInfo(QSslCertificate::CommonName).isEmpty());
    QCOMPARE(errorKeyFor(withRoots(QSslConfiguration(), {authority.root()})), MISSING);

    LogCapture log;
    QVERIFY(
        errorKeyFor(withRoots(QSslConfiguration(), {authority.root(), nameless.root()})).isNull());
    QCOMPARE(log.messages(),
             (QStringList{"+++ SSL Config +++", "peer certificate list", "certificate list",
                          "CommonName: Test Root", "CommonName: "}));
}

void tst_TlsPolicy::severalNamesAreJoined()
{
    TestCertificates school(u"School/CN=Town"_s);
    RestService service(school.issue(u"localhost"_s).serverConfiguration());
    const QSslConfiguration peer = peerConfiguration(service);

    LogCapture log;
    const QList<QSslError> errors{QSslError(QSslError::SelfSignedCertificate)};
    QVERIFY(errorKeyFor(withRoots(peer, {school.root()}), errors).isNull());
    QCOMPARE(log.messages(),
             (QStringList{"+++ SSL Config +++",
                          "ssl error The certificate is self-signed, and untrusted",
                          "peer certificate list", "CommonName: Town, School", "certificate list",
                          "CommonName: Town School"}));

    // The toolkit lists the names last first. One name that reads like the two joined is as good; in
    // another order or case they are not.
    TestCertificates joined(u"Town School"_s);
    QVERIFY(errorKeyFor(withRoots(peer, {joined.root()})).isNull());
    TestCertificates turned(u"Town/CN=School"_s);
    QCOMPARE(errorKeyFor(withRoots(peer, {turned.root()})), MISSING);
    TestCertificates small(u"town school"_s);
    QCOMPARE(errorKeyFor(withRoots(peer, {small.root()})), MISSING);
}

void tst_TlsPolicy::everyRootIsLoggedAfterAMatch()
{
    RestService service(issued(Leaf::Valid));
    const QSslConfiguration peer = peerConfiguration(service);
    LogCapture log;
    QVERIFY(errorKeyFor(withRoots(peer, {authority.root(), otherAuthority.root()})).isNull());
    QCOMPARE(log.messages().mid(log.messages().indexOf(u"certificate list"_s)),
             (QStringList{"certificate list", "CommonName: Test Root", "CommonName: Other Root"}));
}

void tst_TlsPolicy::earlierErrorKeyIsKeptWhenTheRootIsKnown()
{
    authority.trust();
    RestService plain;
    RestService service(issued(Leaf::Expired));
    PresenterClient client(nullptr, plain.url());
    plain
        .expect("/vantora/login/submit",
                R"({"userId":"ann","password":"pw","sourceSystem":"Corvel"})")
        .status("403 No", R"({"errorMsgKeys":["login.error"]})");
    QVERIFY(!client.doLogin(u"ann"_s, u"pw"_s));
    plain.expect("/vantora/login/keepSessionAlive").redirect(service.url().toUtf8());
    client.sendKeepAlive();
    QCOMPARE(client.getServerUrl(), service.url());

    client.sendKeepAlive(); // clears nothing before it sends
    QCOMPARE(client.getLastErrorKey(), u"login.error"_s);
    QVERIFY(service.requests().isEmpty());
    QCOMPARE(plain.faults(), QStringList());
}

// ---- Around TLS -----------------------------------------------------------------------------------

void tst_TlsPolicy::redirectFromTlsToPlainIsNotFollowed()
{
    authority.trust();
    RestService service(issued(Leaf::Valid));
    RestService plain;
    PresenterClient client(nullptr, service.url());

    service.expect(CHECK).redirect(plain.url().toUtf8() + "/vantora", "<html>moved</html>");
    LogCapture log;
    QVERIFY(!client.checkServer(QString(), QString()));
    QCOMPARE(client.getServerUrl(), service.url());
    QCOMPARE(log.messages(), QStringList{"[REST Response] <html>moved</html>"});

    // An ordinary reply: what it says counts.
    service.expect(CHECK).redirect(plain.url().toUtf8() + "/vantora", "{}");
    QVERIFY(client.checkServer(QString(), QString()));
    QCOMPARE(client.getServerUrl(), service.url());
    QVERIFY(plain.requests().isEmpty());
    QCOMPARE(service.faults(), QStringList());
}

void tst_TlsPolicy::brokenHandshakeFailsAndSendsNothingInClear_data()
{
    using namespace Scripted;
    QTest::addColumn<Script>("script");
    const QByteArray handshakeRecord = "\x16\x03\x01";
    QTest::newRow("closed at once") << Script{close()};
    QTest::newRow("reset at once") << Script{Scripted::abort()};
    QTest::newRow("closed during the handshake") << Script{expectMatch(handshakeRecord), close()};
    QTest::newRow("reset during the handshake")
        << Script{expectMatch(handshakeRecord), Scripted::abort()};
    QTest::newRow("plain HTTP") << Script{expectMatch(handshakeRecord),
                                          send(reply("{}", "400 Bad Request")), close()};
    QTest::newRow("plain HTTP, kept open")
        << Script{expectMatch(handshakeRecord), send(reply("{}")), expectEnd()};
    QTest::newRow("noise") << Script{expectMatch(handshakeRecord), send(QByteArray(5000, '\x15')),
                                     close()};
}

void tst_TlsPolicy::brokenHandshakeFailsAndSendsNothingInClear()
{
    QFETCH(Scripted::Script, script);
    ScriptedServer server;
    server.onEveryOther(script);
    QVERIFY(server.listen());
    PresenterClient client(nullptr, u"https://127.0.0.1:%1"_s.arg(server.port()));
    LogCapture log;
    QElapsedTimer clock;
    clock.start();
    QVERIFY(!client.doLogin(u"ann"_s, u"s3cret"_s));
    QVERIFY(clock.elapsed() < AT_ONCE_MS);
    QVERIFY(client.getLastErrorKey().isNull());
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
