#include <QtCore/QtGlobal>

// Runs before the first input of every target: the debug stream would take most of the time.
extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
    return 0;
}
