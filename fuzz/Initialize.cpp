#include <QtCore/QtGlobal>

// Runs before the first input of every target: the debug stream would take most of the time.
extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
    return 0;
}

// The sanitizer asks for it. It holds back what is freed, so that a use of that is found, 256 MiB
// unless told otherwise: what a message of 2 KiB takes at most when it swells, 480 MiB, would not go
// into the 1 GiB that scripts/fuzz allows. No input needs more to be held back than this.
extern "C" const char *__asan_default_options(); // NOLINT(bugprone-reserved-identifier)
extern "C" const char *__asan_default_options()  // NOLINT(bugprone-reserved-identifier)
{
    return "quarantine_size_mb=16";
}
