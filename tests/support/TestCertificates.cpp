#include "support/TestCertificates.h"

#include <QtCore/QDateTime>
#include <QtCore/QFile>
#include <QtCore/QProcess>

namespace
{

constexpr int OPENSSL_TIMEOUT_MS = 60000;

QString write(const QString &file, const QString &text)
{
    QFile out(file);
    if (!out.open(QIODevice::WriteOnly) || out.write(text.toUtf8()) < 0)
        qFatal("Cannot write %s", qPrintable(file));
    return file;
}

QString stamp(const QDateTime &time)
{
    return time.toUTC().toString(QStringLiteral("yyyyMMddhhmmss")) + QLatin1Char('Z');
}

} // namespace

QSslKey TestCertificates::Identity::key() const
{
    QFile file(keyFile);
    if (!file.open(QIODevice::ReadOnly))
        qFatal("Cannot read %s", qPrintable(keyFile));
    return QSslKey(&file, QSsl::Rsa);
}

QSslConfiguration TestCertificates::Identity::serverConfiguration() const
{
    QSslConfiguration configuration = QSslConfiguration::defaultConfiguration();
    configuration.setLocalCertificateChain(chain());
    configuration.setPrivateKey(key());
    configuration.setPeerVerifyMode(QSslSocket::VerifyNone);
    return configuration;
}

TestCertificates::TestCertificates(const QString &rootName)
    : m_before(QSslConfiguration::defaultConfiguration())
{
    makeAuthority(QStringLiteral("root"), rootName, QString());
}

TestCertificates::~TestCertificates()
{
    QSslConfiguration::setDefaultConfiguration(m_before);
}

TestCertificates::Identity TestCertificates::issue(const QString &commonName, const QString &names)
{
    return sign(commonName, names, QStringLiteral("root"),
                {QStringLiteral("-days"), QStringLiteral("2")});
}

TestCertificates::Identity TestCertificates::issueExpired(const QString &commonName,
                                                          const QString &names)
{
    const QDateTime now = QDateTime::currentDateTimeUtc();
    return sign(commonName, names, QStringLiteral("root"),
                {QStringLiteral("-startdate"), stamp(now.addDays(-3)), QStringLiteral("-enddate"),
                 stamp(now.addDays(-1))});
}

TestCertificates::Identity TestCertificates::issueThroughIntermediate(const QString &commonName,
                                                                      const QString &names)
{
    const QString intermediate = QStringLiteral("intermediate");
    if (!QFile::exists(path(intermediate + QStringLiteral(".pem"))))
        makeAuthority(intermediate, QStringLiteral("Test Intermediate"), QStringLiteral("root"));
    const Identity identity =
        sign(commonName, names, intermediate, {QStringLiteral("-days"), QStringLiteral("2")});
    QFile chain(identity.certificateFile);
    QFile issuer(path(intermediate + QStringLiteral(".pem")));
    if (!chain.open(QIODevice::Append) || !issuer.open(QIODevice::ReadOnly)
        || chain.write(issuer.readAll()) < 0)
        qFatal("Cannot build the chain of %s", qPrintable(commonName));
    return identity;
}

QSslCertificate TestCertificates::root() const
{
    return QSslCertificate::fromPath(rootFile(), QSsl::Pem).value(0);
}

void TestCertificates::trust()
{
    QSslConfiguration configuration = m_before;
    configuration.setCaCertificates({root()});
    QSslConfiguration::setDefaultConfiguration(configuration);
}

void TestCertificates::trustNobody()
{
    QSslConfiguration configuration = m_before;
    configuration.setCaCertificates({});
    QSslConfiguration::setDefaultConfiguration(configuration);
}

void TestCertificates::run(const QStringList &arguments)
{
    QProcess openssl;
    openssl.setWorkingDirectory(m_folder.path());
    openssl.setProcessChannelMode(QProcess::MergedChannels);
    openssl.start(QStringLiteral(OPENSSL_PROGRAM), arguments);
    if (!openssl.waitForFinished(OPENSSL_TIMEOUT_MS) || openssl.exitCode() != 0)
        qFatal("openssl %s: %s", qPrintable(arguments.join(QLatin1Char(' '))),
               openssl.readAll().constData());
}

void TestCertificates::makeAuthority(const QString &file, const QString &name,
                                     const QString &issuer)
{
    const QString key = file + QStringLiteral(".key");
    const QString certificate = file + QStringLiteral(".pem");
    QStringList request = {QStringLiteral("req"),      QStringLiteral("-newkey"),
                           QStringLiteral("rsa:2048"), QStringLiteral("-nodes"),
                           QStringLiteral("-keyout"),  key,
                           QStringLiteral("-subj"),    QStringLiteral("/CN=") + name};
    if (issuer.isEmpty()) {
        run(request
            + QStringList{QStringLiteral("-x509"), QStringLiteral("-days"), QStringLiteral("2"),
                          QStringLiteral("-out"), certificate});
        return;
    }
    run(request + QStringList{QStringLiteral("-out"), file + QStringLiteral(".csr")});
    const QString extensions =
        write(path(file + QStringLiteral(".ext")),
              QStringLiteral("basicConstraints=critical,CA:TRUE\nkeyUsage=keyCertSign\n"));
    run({QStringLiteral("x509"), QStringLiteral("-req"), QStringLiteral("-in"),
         file + QStringLiteral(".csr"), QStringLiteral("-CA"), issuer + QStringLiteral(".pem"),
         QStringLiteral("-CAkey"), issuer + QStringLiteral(".key"),
         QStringLiteral("-CAcreateserial"), QStringLiteral("-days"), QStringLiteral("2"),
         QStringLiteral("-extfile"), extensions, QStringLiteral("-out"), certificate});
}

// `openssl ca` is the one command that takes a start and an end date; it wants a small database.
TestCertificates::Identity TestCertificates::sign(const QString &commonName, const QString &names,
                                                  const QString &issuer,
                                                  const QStringList &validity)
{
    const QString name = QStringLiteral("leaf%1").arg(++m_count);
    const QString certificate = name + QStringLiteral(".pem");
    const QString key = name + QStringLiteral(".key");
    const QString request = name + QStringLiteral(".csr");
    run({QStringLiteral("req"), QStringLiteral("-newkey"), QStringLiteral("rsa:2048"),
         QStringLiteral("-nodes"), QStringLiteral("-keyout"), key, QStringLiteral("-out"), request,
         QStringLiteral("-subj"), QStringLiteral("/CN=") + commonName});
    const QString configuration =
        write(path(name + QStringLiteral(".cnf")),
              QStringLiteral("[ca]\ndefault_ca=authority\n"
                             "[authority]\ndatabase=%1.db\nnew_certs_dir=.\nrand_serial=yes\n"
                             "default_md=sha256\npolicy=any\nx509_extensions=leaf\n"
                             "unique_subject=no\n"
                             "[any]\ncommonName=supplied\n"
                             "[leaf]\nsubjectAltName=%2\nbasicConstraints=CA:FALSE\n")
                  .arg(name, names));
    write(path(name + QStringLiteral(".db")), QString());
    run(QStringList{QStringLiteral("ca"), QStringLiteral("-batch"), QStringLiteral("-notext"),
                    QStringLiteral("-config"), configuration, QStringLiteral("-cert"),
                    issuer + QStringLiteral(".pem"), QStringLiteral("-keyfile"),
                    issuer + QStringLiteral(".key"), QStringLiteral("-in"), request,
                    QStringLiteral("-out"), certificate}
        + validity);
    return {path(certificate), path(key)};
}
