#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QString>

// Why a connection has ended: the codes that are the library's own, and what it says with them.
namespace Tarvo::Close
{

// The host has closed the connection, or an hour has passed without messages.
constexpr int NORMAL = 1000;
// The connection has ended in a way for which the server gave no code.
constexpr int ABNORMAL = 1006;
// The server's word that another request holds the session.
constexpr int ANOTHER_CONNECTION = 2010;

// An HTTP status that is no success. Logs what a 404 behind an earlier success mostly is.
QString httpFailure(int status, const QByteArray &reasonPhrase, bool wasAnsweredBefore);

} // namespace Tarvo::Close
