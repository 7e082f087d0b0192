#include "fuzz/Fuzzing.h"
#include "sockjs/SockJSConnector.h"

// The input is one frame; a second one with "a" in front makes it an array frame more often.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    SockJSConnector connector;
    int connections = 0;
    int messages = 0;
    QObject::connect(&connector, &SockJSConnector::connected, [&connections] { ++connections; });
    QObject::connect(&connector, &SockJSConnector::sockJSMessage, [&messages] { ++messages; });

    const QString frame = Fuzzing::textOf(data, size);
    connector.onTextMessageReceived(frame);
    connector.onTextMessageReceived(QLatin1Char('a') + frame);
    Fuzzing::require(connections == (frame == QLatin1String("o") ? 1 : 0));
    // Every element of an array takes a character and a separator.
    Fuzzing::require(static_cast<std::size_t>(messages) <= 2 * size);
    return 0;
}
