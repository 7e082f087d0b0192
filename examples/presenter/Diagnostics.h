#pragma once

#include <QtCore/QString>

#include <functional>

namespace Host
{

// From here on what any library writes to the Qt debug stream goes to standard error as printable text, if
// it goes there at all. It holds what others have sent.
void makeDiagnosticsPrintable();

// Stands between the library's diagnostics and the user while it lives: what the library writes to the
// Qt debug stream is passed on only when asked for. One object at a time.
class Diagnostics
{
public:
    using Sink = std::function<void(const QString &line)>;

    // Null: diagnostics are dropped, and the library does not even put them together. The sink may be called from any thread.
    explicit Diagnostics(Sink sink);
    ~Diagnostics();
    Q_DISABLE_COPY_MOVE(Diagnostics)
};

} // namespace Host
