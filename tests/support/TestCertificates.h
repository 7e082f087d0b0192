#pragma once

#include "support/Text.h"

#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QTemporaryDir>
#include <QtNetwork/QSslCertificate>
#include <QtNetwork/QSslConfiguration>
#include <QtNetwork/QSslKey>

// Certificates made with the openssl program in a folder of their own, which goes with the object.
//
//   TestCertificates certificates;                          // a fresh root "Test Root"
//   const auto leaf = certificates.issue("localhost");      // DNS:localhost, IP:127.0.0.1
//   server.setCertificate(leaf);
//   certificates.trust();                                   // as a host would: the default roots
class TestCertificates
{
public:
    // A certificate with its key and whatever stands between it and the root, leaf first.
    struct Identity {
        QString certificateFile; // PEM, the whole chain without the root
        QString keyFile;         // PEM
        QList<QSslCertificate> chain() const
        {
            return QSslCertificate::fromPath(certificateFile, QSsl::Pem);
        }
        QSslKey key() const;
        // What a server needs to present it.
        QSslConfiguration serverConfiguration() const;
    };

    explicit TestCertificates(const QString &rootName = u"Test Root"_s);

    // Signed by the root, valid now. `names` as openssl's subjectAltName has them.
    Identity issue(const QString &commonName,
                   const QString &names = u"DNS:localhost,IP:127.0.0.1"_s);
    // Signed by the root, ended yesterday.
    Identity issueExpired(const QString &commonName,
                          const QString &names = u"DNS:localhost,IP:127.0.0.1"_s);
    // Signed by an intermediate authority "Test Intermediate", which the root signed and which
    // stands in the chain.
    Identity issueThroughIntermediate(const QString &commonName,
                                      const QString &names = u"DNS:localhost,IP:127.0.0.1"_s);

    QSslCertificate root() const;
    QString rootFile() const { return path(u"root.pem"_s); }

    // Makes the root the only trusted one of this process, or forgets every trusted root, until the
    // object goes.
    void trust();
    void trustNobody();

    ~TestCertificates();

private:
    QString path(const QString &file) const { return m_folder.filePath(file); }
    void run(const QStringList &arguments);
    void makeAuthority(const QString &file, const QString &name, const QString &issuer);
    Identity sign(const QString &commonName, const QString &names, const QString &issuer,
                  const QStringList &validity);

    QTemporaryDir m_folder;
    QSslConfiguration m_before;
    int m_count = 0;
};
