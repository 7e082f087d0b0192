#pragma once

#include <QtCore/QString>

// What the toolkit says of a TLS handshake that fails with this error. Log lines carry its words.
inline QString handshakeFailed(const QString &)
{
    return QStringLiteral("SSL handshake failed");
}

// What it says of a server that answers a web socket's handshake with something else than HTTP.
inline QString noStatusLine()
{
    return QStringLiteral("Invalid statusline in response: .");
}
