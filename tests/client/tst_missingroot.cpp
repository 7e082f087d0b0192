// How a missing root is told from the certificates of a connection, and what is logged of them.

#include "client/ServiceTest.h"

#include "support/LogCapture.h"
#include "support/TestCertificates.h"

#include <QtNetwork/QSslSocket>

namespace
{

const QString MISSING = u"SSLRootCertificateMissing"_s;

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

class tst_MissingRoot : public ClientTest
{
    Q_OBJECT

private Q_SLOTS:
    void emptyChainAndNoRootsIsAMissingRoot();
    void emptyChainMatchesOnlyARootWithoutAName();
    void severalNamesAreJoined();
    void everyRootIsLoggedAfterAMatch();

private:
    TestCertificates authority; // "Test Root"
    TestCertificates otherAuthority{u"Other Root"_s};
};

void tst_MissingRoot::emptyChainAndNoRootsIsAMissingRoot()
{
    LogCapture log;
    QCOMPARE(errorKeyFor(withRoots(QSslConfiguration(), {})), MISSING);
    QCOMPARE(log.messages(),
             (QStringList{"+++ SSL Config +++", "peer certificate list", "certificate list"}));
}

void tst_MissingRoot::emptyChainMatchesOnlyARootWithoutAName()
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

void tst_MissingRoot::severalNamesAreJoined()
{
    TestCertificates school(u"School/CN=Town"_s);
    serve(school.issue(u"localhost"_s).serverConfiguration());
    const QSslConfiguration peer = peerConfiguration(*service);

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

void tst_MissingRoot::everyRootIsLoggedAfterAMatch()
{
    serve(withRoots(authority.issue(u"localhost"_s).serverConfiguration(), {}));
    const QSslConfiguration peer = peerConfiguration(*service);
    LogCapture log;
    QVERIFY(errorKeyFor(withRoots(peer, {authority.root(), otherAuthority.root()})).isNull());
    QCOMPARE(log.messages().mid(log.messages().indexOf(u"certificate list"_s)),
             (QStringList{"certificate list", "CommonName: Test Root", "CommonName: Other Root"}));
}

QTEST_GUILESS_MAIN(tst_MissingRoot)
#include "tst_missingroot.moc"
