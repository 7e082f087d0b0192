#pragma once

#include <QtCore/QLoggingCategory>
#include <QtCore/QString>
#include <QtCore/QStringBuilder>

// Writes a line to the debug stream: texts and numbers, one after another.
//
//   TARVO_LOG(sockjs, "[SockJSConnector] Websocket url = ", url);
//
// The line belongs to a category of those below, by which a host or an operator silences it: what makes
// up a silenced line is not even computed. The stream is confidential, it tells what learners answer.
#define TARVO_LOG(category, ...)                     \
    do {                                             \
        if (Tarvo::Log::category().isDebugEnabled()) \
            Tarvo::Log::write(__VA_ARGS__);          \
    } while (false)

namespace Tarvo::Log
{

// The categories, a subject each; all are on until a rule of the toolkit's says otherwise.
const QLoggingCategory &rest();    // "tarvo.rest": the client's requests and their replies
const QLoggingCategory &sockjs();  // "tarvo.sockjs": the transport below the channel
const QLoggingCategory &channel(); // "tarvo.channel": what the channel says and hears
const QLoggingCategory &model();   // "tarvo.model": questions and cards turned into JSON

// The line is written through the toolkit's default category. Our own would put its name in front of
// every line on the standard error stream, where programs look for the lines as they are.
void writeLine(const QString &line);

inline QLatin1String part(const char *text)
{
    return QLatin1String(text);
}
inline const QString &part(const QString &text)
{
    return text;
}
inline QString part(int number)
{
    return QString::number(number);
}

template<typename... Parts> void write(const Parts &...parts)
{
    writeLine(QString((part(parts) % ...)));
}

} // namespace Tarvo::Log
