#include "client/JsonReply.h"
#include "client/RetryAfter.h"
#include "fuzz/Fuzzing.h"
#include "sockjs/CookieText.h"

#include <QtCore/QList>

namespace
{

constexpr int A_DAY_S = 86400;
constexpr char HEADER_END[] = "\n\n";

void readHeader(const QList<QByteArray> &lines)
{
    const int seconds = retryAfterSeconds(lines.value(0), lines.value(1));
    Fuzzing::require(seconds >= -1 && seconds <= A_DAY_S);

    const QByteArray setCookies = lines.mid(2).join('\n');
    const QString line = Tarvo::cookieLine(QNetworkCookie::parseCookies(setCookies));
    // A further line in the request would be a header that nobody meant.
    Fuzzing::require(line.count(QLatin1Char('\n')) == (line.isEmpty() ? 0 : 1));
}

void readBody(const QString &body)
{
    const JsonReply reply(body);
    const QLatin1String message("infoMsgKeys");
    const QLatin1String token("userToken");
    const QString text = reply.text(token);
    QString read = QStringLiteral("before");
    reply.read(token, &read);
    if (reply.isValid()) {
        Fuzzing::require(read == text);
        Fuzzing::require(reply.firstOf(message).isNull() || body.contains(message));
        Fuzzing::require(textsOf(reply.data(token)).size() <= body.size());
    } else {
        Fuzzing::require(read == QLatin1String("before"));
        Fuzzing::require(text.isNull() && reply.firstOf(message).isNull());
    }
}

} // namespace

// A reply of the service: its Retry-After, its Date, its cookies, each on a line, and behind an empty line
// its body.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArray reply = Fuzzing::bytesOf(data, size);
    const int end = int(reply.indexOf(HEADER_END));
    readHeader(reply.left(end).split('\n'));
    if (end >= 0)
        readBody(QString::fromUtf8(reply.mid(end + int(sizeof HEADER_END) - 1)));
    return 0;
}
