// What the client makes of TLS errors: it tells them apart, and never waives one.

#include "client/PresenterClient.h"
#include "support/Log.h"

#include <QtNetwork/QSslCertificate>
#include <QtNetwork/QSslConfiguration>

namespace
{

// The host explains this one to the teacher: the school lacks the service's root certificate.
const QLatin1String ROOT_CERTIFICATE_MISSING("SSLRootCertificateMissing");

QString issuerName(const QSslCertificate &certificate, const QString &separator)
{
    return certificate.issuerInfo(QSslCertificate::CommonName).join(separator);
}

} // namespace

// The root counts as known when a trusted certificate has its issuer's common name; for a self-signed
// root that is its own. Keys are not compared: whether the chain holds is the toolkit's to decide, and
// it has decided that it does not.
void PresenterClient::slotSslErrors(QNetworkReply *reply, QList<QSslError> errors)
{
    const QSslConfiguration configuration = reply->sslConfiguration();
    const QList<QSslCertificate> chain = configuration.peerCertificateChain();
    const QList<QSslCertificate> trusted = configuration.caCertificates();

    TARVO_LOG(rest, "+++ SSL Config +++");
    for (const QSslError &error : qAsConst(errors))
        TARVO_LOG(rest, "ssl error ", error.errorString());

    TARVO_LOG(rest, "peer certificate list");
    QSslCertificate root(QByteArray{});
    for (const QSslCertificate &certificate : chain) {
        TARVO_LOG(rest, "CommonName: ", issuerName(certificate, QStringLiteral(", ")));
        root = certificate;
    }
    const QString rootIssuer = issuerName(root, QStringLiteral(" "));

    TARVO_LOG(rest, "certificate list");
    bool rootIsKnown = false;
    for (const QSslCertificate &certificate : trusted) {
        const QString issuer = issuerName(certificate, QStringLiteral(" "));
        TARVO_LOG(rest, "CommonName: ", issuer);
        rootIsKnown = rootIsKnown || issuer == rootIssuer;
    }
    if (!rootIsKnown)
        lastErrorKey = ROOT_CERTIFICATE_MISSING;
}
