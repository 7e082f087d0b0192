#pragma once

#include <QtCore/QString>

// What the toolkit says of a TLS handshake that fails with this error. Log lines carry its words.
inline QString handshakeFailed(const QString &)
{
    return QStringLiteral("SSL handshake failed");
}
