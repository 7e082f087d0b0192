#include "Diagnostics.h"

#include "console/Printable.h"

#include <QtCore/QLoggingCategory>
#include <QtCore/QMutex>
#include <QtCore/QString>

#include <cstdio>

namespace Host
{

namespace
{

// Shared with the message handler, which is a plain function called from any thread, also while the
// sink goes: a class ends on a thread of its own.
struct Shared {
    QRecursiveMutex mutex;
    Diagnostics::Sink sink;
    QtMessageHandler previousHandler = nullptr;
};

Shared &shared()
{
    static Shared instance;
    return instance;
}

void writeToErrors(const QString &message)
{
    std::fputs(qPrintable(printable(message) + QLatin1Char('\n')), stderr);
}

void handleEarlyOrLateMessage(QtMsgType, const QMessageLogContext &, const QString &message)
{
    writeToErrors(message);
}

void handleMessage(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    {
        const QMutexLocker lock(&shared().mutex);
        if (shared().sink)
            shared().sink(qFormatLogMessage(type, context, printable(message)));
    }
    if (type == QtFatalMsg) // the process ends on return, and its reason has to be read
        writeToErrors(message);
}

} // namespace

void makeDiagnosticsPrintable()
{
    qInstallMessageHandler(&handleEarlyOrLateMessage);
}

Diagnostics::Diagnostics(Sink sink)
{
    // An answer of millions of characters is not made into lines that nobody reads.
    if (!sink)
        QLoggingCategory::setFilterRules(QStringLiteral("tarvo.*.debug=false"));
    const QMutexLocker lock(&shared().mutex);
    shared().sink = std::move(sink);
    shared().previousHandler = qInstallMessageHandler(&handleMessage);
}

Diagnostics::~Diagnostics()
{
    qInstallMessageHandler(shared().previousHandler);
    QLoggingCategory::setFilterRules(QString());
    const QMutexLocker lock(&shared().mutex);
    shared().sink = nullptr;
}

} // namespace Host
