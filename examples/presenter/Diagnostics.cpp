#include "Diagnostics.h"

#include <QtCore/QMutex>
#include <QtCore/QString>

#include <cstdio>

namespace Host
{

namespace
{

struct AnnouncedTransport {
    QLatin1String line;
    QLatin1String name;
};

const AnnouncedTransport ANNOUNCED_TRANSPORTS[] = {
    {QLatin1String("[SockJSConnector] CONNECTED via Websocket"), QLatin1String("websocket")},
    {QLatin1String("[SockJSConnector] CONNECTED via xhr_streaming"),
     QLatin1String("xhr-streaming")},
    {QLatin1String("[SockJSConnector] CONNECTED via xhr_polling"), QLatin1String("xhr-polling")},
};

// Shared with the message handler, which is a plain function called from any thread.
struct Shared {
    QMutex mutex;
    QString transport;
    Diagnostics::Sink sink;
    QtMessageHandler previousHandler = nullptr;
};

Shared &shared()
{
    static Shared instance;
    return instance;
}

void noteTransport(const QString &message)
{
    for (const AnnouncedTransport &announced : ANNOUNCED_TRANSPORTS) {
        if (message.startsWith(announced.line)) {
            QMutexLocker lock(&shared().mutex);
            shared().transport = announced.name;
        }
    }
}

void handleMessage(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    noteTransport(message);
    if (shared().sink)
        shared().sink(qFormatLogMessage(type, context, message));
    if (type == QtFatalMsg) // the process ends on return, and its reason has to be read
        std::fputs(qPrintable(message + QLatin1Char('\n')), stderr);
}

} // namespace

Diagnostics::Diagnostics(Sink sink)
{
    shared().transport.clear();
    shared().sink = std::move(sink);
    shared().previousHandler = qInstallMessageHandler(&handleMessage);
}

Diagnostics::~Diagnostics()
{
    qInstallMessageHandler(shared().previousHandler);
    shared().sink = nullptr;
}

QString Diagnostics::transport() const
{
    QMutexLocker lock(&shared().mutex);
    return shared().transport;
}

} // namespace Host
