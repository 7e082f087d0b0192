#pragma once

#include <QtCore/QString>

#include <functional>

namespace Host
{

// Stands between the library's diagnostics and the user while it lives: what the library writes to the
// Qt debug stream is passed on only when asked for. One object at a time.
//
// It also reads along. Which transport carries the channel is not a value that a host can ask for, but
// the connector says so in a line of its own whenever one is up: "[SockJSConnector] CONNECTED via ...".
// The last such line holds, since a web socket that ends before the session has opened is followed by
// polling.
class Diagnostics
{
public:
    using Sink = std::function<void(const QString &line)>;

    // Null: diagnostics are dropped. The sink may be called from any thread.
    explicit Diagnostics(Sink sink);
    ~Diagnostics();
    Q_DISABLE_COPY_MOVE(Diagnostics)

    // "websocket", "xhr-streaming" or "xhr-polling"; empty before one is up.
    QString transport() const;
};

} // namespace Host
