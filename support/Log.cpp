#include "support/Log.h"

namespace Tarvo::Log
{

Q_LOGGING_CATEGORY(rest, "tarvo.rest")
Q_LOGGING_CATEGORY(sockjs, "tarvo.sockjs")
Q_LOGGING_CATEGORY(channel, "tarvo.channel")
Q_LOGGING_CATEGORY(model, "tarvo.model")

namespace
{

// When the library is loaded, so that they outlive whatever static object of a host writes last.
void makeCategories()
{
    for (const auto category : {rest, sockjs, channel, model})
        category();
}
Q_CONSTRUCTOR_FUNCTION(makeCategories)

} // namespace

void writeLine(const QString &line)
{
    qt_message_output(QtDebugMsg, QMessageLogContext(nullptr, 0, nullptr, "default"), line);
}

} // namespace Tarvo::Log
