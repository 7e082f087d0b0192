#include "sockjs/CloseReason.h"

#include "support/Log.h"
#include "support/Utf8.h"

namespace Tarvo::Close
{

namespace
{

constexpr int STATUS_NOT_FOUND = 404;

} // namespace

QString httpFailure(int status, const QByteArray &reasonPhrase, bool wasAnsweredBefore)
{
    if (status == STATUS_NOT_FOUND && wasAnsweredBefore) {
        TARVO_LOG(
            sockjs,
            "[SockJSXHRPolling] HTTP 404 right after 200: the server behind the address seems to "
            "change from request to request; all requests of a session must reach the same one");
    }
    return QStringLiteral("The server answered with HTTP status %0 %1")
        .arg(QString::number(status), wholeUtf8(reasonPhrase))
        .trimmed();
}

} // namespace Tarvo::Close
