#include "support/Trust.h"

namespace Tarvo
{

namespace
{

// To read them takes many milliseconds. Never destroyed: a client may outlive static objects.
const QList<QSslCertificate> &systemCertificates()
{
    static const auto *const certificates =
        new QList<QSslCertificate>(QSslConfiguration::systemCaCertificates());
    return *certificates;
}

} // namespace

// Where the toolkit looks the system's certificates up one by one, when a chain needs them, the default
// configuration names none; and it no longer looks once it has been given any.
QSslConfiguration trusting(const QList<QSslCertificate> &certificates)
{
    if (certificates.isEmpty())
        return QSslConfiguration();
    QSslConfiguration configuration = QSslConfiguration::defaultConfiguration();
    QList<QSslCertificate> trusted = configuration.caCertificates();
    if (trusted.isEmpty())
        trusted = systemCertificates();
    configuration.setCaCertificates(trusted + certificates);
    return configuration;
}

} // namespace Tarvo
