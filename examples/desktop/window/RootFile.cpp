#include "window/RootFile.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtNetwork/QSsl>

namespace Desktop
{

namespace
{

// Whole collections of roots take a quarter of it.
constexpr qint64 MAX_BYTES = 1024 * 1024;

} // namespace

RootFile::RootFile(const QString &fileName)
{
    if (fileName.isEmpty())
        return;
    const QString shownName = QDir::toNativeSeparators(fileName);
    QFile file(fileName);
    // Reading something else, such as a pipe, could last for ever.
    if (!QFileInfo(fileName).isFile()) {
        m_complaint = tr("There is no certificate file %1.").arg(shownName);
        return;
    }
    if (!file.open(QIODevice::ReadOnly)) {
        m_complaint =
            tr("The certificate file %1 cannot be read: %2.").arg(shownName, file.errorString());
        return;
    }
    const QByteArray bytes = file.read(MAX_BYTES);
    m_certificates = QSslCertificate::fromData(bytes, QSsl::Pem);
    if (m_certificates.isEmpty())
        m_certificates = QSslCertificate::fromData(bytes, QSsl::Der);
    if (m_certificates.isEmpty())
        m_complaint = tr("The file %1 holds no certificate (PEM or DER).").arg(shownName);
}

} // namespace Desktop
