#include "ExitCode.h"

namespace Host
{

namespace
{

struct ExitCodeRow {
    ExitCode::Code code;
    const char *help;
};

constexpr ExitCodeRow EXIT_CODE_ROWS[] = {
    {ExitCode::Success,
     "the session was opened, and the service has confirmed that it has stopped: on quit, at the "
     "end of the script, the input or --duration, on Ctrl-C, SIGTERM or the remote's "
     "\"stopSession\""},
    {ExitCode::Failed,
     "something failed, or the service did not confirm that the session has stopped; standard "
     "error says what"},
    {ExitCode::WrongUsage,
     "an option, a script, its assessment or the certificate file is wrong; nothing was sent"},
    {ExitCode::Interrupted, "interrupted before the session was open"},
};

} // namespace

QVector<HelpRow> exitCodeRows()
{
    QVector<HelpRow> rows;
    for (const ExitCodeRow &row : EXIT_CODE_ROWS)
        rows.append({QString::number(row.code), QString::fromLatin1(row.help)});
    return rows;
}

} // namespace Host
