#include "support/TestCertificates.h"
#include "support/Text.h"

#include <QtCore/QDateTime>
#include <QtCore/QFile>
#include <QtCore/QProcess>

namespace
{

constexpr int OPENSSL_TIMEOUT_MS = 60000;

// Makes a key and asks for a certificate of it. A key on a curve is made in no time, unlike an RSA key.
QStringList request(const QString &commonName, const QString &keyFile)
{
    return {u"req"_s,    u"-newkey"_s, u"ec"_s, u"-pkeyopt"_s, u"ec_paramgen_curve:P-256"_s,
            u"-nodes"_s, u"-keyout"_s, keyFile, u"-subj"_s,    u"/CN="_s + commonName};
}

QString write(const QString &file, const QString &text)
{
    QFile out(file);
    if (!out.open(QIODevice::WriteOnly) || out.write(text.toUtf8()) < 0)
        qFatal("Cannot write %s", qPrintable(file));
    return file;
}

QString stamp(const QDateTime &time)
{
    return time.toUTC().toString(u"yyyyMMddhhmmss"_s) + QLatin1Char('Z');
}

} // namespace

QSslKey TestCertificates::Identity::key() const
{
    QFile file(keyFile);
    if (!file.open(QIODevice::ReadOnly))
        qFatal("Cannot read %s", qPrintable(keyFile));
    return QSslKey(&file, QSsl::Ec);
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
    makeAuthority(u"root"_s, rootName, QString());
}

TestCertificates::~TestCertificates()
{
    QSslConfiguration::setDefaultConfiguration(m_before);
}

TestCertificates::Identity TestCertificates::issue(const QString &commonName, const QString &names)
{
    return sign(commonName, names, u"root"_s, {u"-days"_s, u"2"_s});
}

TestCertificates::Identity TestCertificates::issueExpired(const QString &commonName,
                                                          const QString &names)
{
    const QDateTime now = QDateTime::currentDateTimeUtc();
    return sign(commonName, names, u"root"_s,
                {u"-startdate"_s, stamp(now.addDays(-3)), u"-enddate"_s, stamp(now.addDays(-1))});
}

TestCertificates::Identity TestCertificates::issueThroughIntermediate(const QString &commonName,
                                                                      const QString &names)
{
    const QString intermediate = u"intermediate"_s;
    if (!QFile::exists(path(intermediate + u".pem"_s)))
        makeAuthority(intermediate, u"Test Intermediate"_s, u"root"_s);
    const Identity identity = sign(commonName, names, intermediate, {u"-days"_s, u"2"_s});
    QFile chain(identity.certificateFile);
    QFile issuer(path(intermediate + u".pem"_s));
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
    const QString key = file + u".key"_s;
    const QString certificate = file + u".pem"_s;
    if (issuer.isEmpty()) {
        run(request(name, key)
            + QStringList{u"-x509"_s, u"-days"_s, u"2"_s, u"-out"_s, certificate});
        return;
    }
    run(request(name, key) + QStringList{u"-out"_s, file + u".csr"_s});
    const QString extensions = write(
        path(file + u".ext"_s), u"basicConstraints=critical,CA:TRUE\nkeyUsage=keyCertSign\n"_s);
    run({u"x509"_s, u"-req"_s, u"-in"_s, file + u".csr"_s, u"-CA"_s, issuer + u".pem"_s,
         u"-CAkey"_s, issuer + u".key"_s, u"-CAcreateserial"_s, u"-days"_s, u"2"_s, u"-extfile"_s,
         extensions, u"-out"_s, certificate});
}

// `openssl ca` is the one command that takes a start and an end date; it wants a small database.
TestCertificates::Identity TestCertificates::sign(const QString &commonName, const QString &names,
                                                  const QString &issuer,
                                                  const QStringList &validity)
{
    const QString name = u"leaf%1"_s.arg(++m_count);
    const QString certificate = name + u".pem"_s;
    const QString key = name + u".key"_s;
    const QString requestFile = name + u".csr"_s;
    run(request(commonName, key) + QStringList{u"-out"_s, requestFile});
    const QString configuration =
        write(path(name + u".cnf"_s),
              u"[ca]\ndefault_ca=authority\n"
              "[authority]\ndatabase=%1.db\nnew_certs_dir=.\nrand_serial=yes\n"
              "default_md=sha256\npolicy=any\nx509_extensions=leaf\n"
              "unique_subject=no\n"
              "[any]\ncommonName=supplied\n"
              "[leaf]\nsubjectAltName=%2\nbasicConstraints=CA:FALSE\n"_s.arg(name, names));
    write(path(name + u".db"_s), QString());
    run(QStringList{u"ca"_s, u"-batch"_s, u"-notext"_s, u"-config"_s, configuration, u"-cert"_s,
                    issuer + u".pem"_s, u"-keyfile"_s, issuer + u".key"_s, u"-in"_s, requestFile,
                    u"-out"_s, certificate}
        + validity);
    return {path(certificate), path(key)};
}
