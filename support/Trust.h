#pragma once

#include <QtCore/QList>
#include <QtNetwork/QSslCertificate>
#include <QtNetwork/QSslConfiguration>

namespace Tarvo
{

// The default TLS configuration, which trusts `certificates`, too. A null one, which stands for the
// default as it is, when there are none.
QSslConfiguration trusting(const QList<QSslCertificate> &certificates);

} // namespace Tarvo
