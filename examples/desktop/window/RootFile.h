#pragma once

#include <QtCore/QCoreApplication>
#include <QtCore/QList>
#include <QtCore/QString>
#include <QtNetwork/QSslCertificate>

namespace Desktop
{

// A file with root certificates to trust beside the system's, such as a school's own, as PEM or DER.
class RootFile
{
    Q_DECLARE_TR_FUNCTIONS(Desktop::RootFile)

public:
    // Reads the file; no name is no certificate, and nothing is wrong with that.
    explicit RootFile(const QString &fileName);

    const QList<QSslCertificate> &certificates() const { return m_certificates; }
    // Why there is no certificate, in a sentence; empty when nothing is wrong.
    QString complaint() const { return m_complaint; }

private:
    QList<QSslCertificate> m_certificates;
    QString m_complaint;
};

} // namespace Desktop
