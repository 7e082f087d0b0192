#include "ExitCode.h"

namespace Host
{

// The table in docs/presenter.md is the same.
QVector<HelpRow> exitCodeRows()
{
    const auto row = [](ExitCode::Code code, const char *help) {
        return HelpRow{QString::number(code), QString::fromLatin1(help)};
    };
    return {
        row(ExitCode::Success,
            "the session was opened, and the service has confirmed that it has stopped: on quit, "
            "at the end of the script, the input or --duration, on Ctrl-C, SIGTERM or the "
            "remote's \"stopSession\""),
        row(ExitCode::Failed,
            "something failed, or the service did not confirm that the session has stopped; "
            "standard error says what"),
        row(ExitCode::WrongUsage,
            "an option, a script, its assessment or the certificate file is wrong; nothing "
            "was sent"),
        row(ExitCode::Interrupted, "interrupted before the session was open"),
    };
}

} // namespace Host
