#include "CommandHelp.h"

#include "CommandParser.h"

#include <algorithm>

namespace Host
{

namespace
{

// ---- All commands --------------------------------------------------------------------------------
// With the footer 22 lines: with the command above and the prompt below, a small terminal holds it.

struct OverviewRow {
    const char *group; // empty: that of the row above
    const char *usage; // without the options, which help COMMAND tells
    const char *help;
};

// clang-format off
constexpr OverviewRow OVERVIEW_ROWS[] = {
    {"Ask",      "poll KIND [LABELS [COUNT]]",      "ask a question of a fixed kind"},
    {"",         "ask \"TEXT\" [KIND] OPTION...",   "ask a question in your own words"},
    {"",         "assessment FILE.json",            "ask several, at each one's own pace"},
    {"",         "pause",                           "hold all devices"},
    {"",         "resume",                          "let them go on"},
    {"",         "stop",                            "end it and show its results"},
    {"Answers",  "results",                         "show the results so far"},
    {"",         "who",                             "who has answered what, who has not"},
    {"Learners", "learners",                        "list who is there"},
    {"",         "message LEARNER|all TEXT",        "show a text on their devices"},
    {"",         "remove LEARNER",                  "send a device away"},
    {"Show",     "image FILE|URL",                  "set the next poll's or card's image"},
    {"",         "card",                            "show the image on a card of its own"},
    {"",         "upload FILE",                     "put a file into the service's store"},
    {"",         "lesson ID NAME",                  "tell the remote which lesson it is"},
    {"",         "current N TOTAL",                 "tell the remote which card is shown"},
    {"Wait",     "await learners N [SECONDS]",      "until N learners are there"},
    {"",         "await responses N|all [SECONDS]", "until N responses have come, or all"},
    {"",         "wait MS",                         "for MS milliseconds"},
    {"Session",  "help [COMMAND]",                  "this list, or all about a command"},
    {"",         "quit",                            "stop the session and leave"},
};
// clang-format on

constexpr char OVERVIEW_FOOTER[] =
    "LEARNER is a device id, a name or a number; kinds and labels: help poll.";

QStringList overview()
{
    QStringList lines;
    for (const OverviewRow &row : OVERVIEW_ROWS) {
        lines.append(QStringLiteral("%1  %2  %3")
                         .arg(QLatin1String(row.group), -8)
                         .arg(QLatin1String(row.usage), -31)
                         .arg(QLatin1String(row.help)));
    }
    lines.append(QLatin1String(OVERVIEW_FOOTER));
    return lines;
}

// ---- One command ---------------------------------------------------------------------------------

struct DetailRow {
    const char *name;
    const char *usage; // a line for each form
    const char *text;
};

constexpr DetailRow DETAIL_ROWS[] = {
    {"poll", "poll KIND [LABELS [COUNT]]",
     R"(Asks a question of a fixed kind on every device; you say yourself what it is.
KIND    true-false, yes-no-other, multiple, scale, sort, text, word-seed,
        number, creative or math-formula ("math formula" is the same)
LABELS  of the options: true-false, yes-no, yes-no-maybe, yes-no-unsure,
        yes-no-other, alpha-upper, alpha-lower, number, agreement,
        confidence or generic; without them what the kind suggests
COUNT   how many options; without it 2 for true-false, 3 for yes-no-other,
        4 for multiple and sort, 5 for scale, or as many as LABELS name
COUNT is 1 to 100 for multiple, scale and sort, 0 to 100 for creative, 2 or 3
for true-false and yes-no-other, 0 for the others. With alpha-upper and
alpha-lower it is at most 26, with true-false and the yes-no labels at most
3, where the third option is always "don't know".
Example: poll multiple
Example: poll sort alpha-lower 5)"},
    {"ask", "ask \"TEXT\" [KIND] OPTION...",
     R"(Asks a question in your own words on every device.
TEXT    the question, in quotes when it holds blanks
KIND    true-false, yes-no-other, multiple, scale, sort, text, number or
        math-formula ("math formula" is the same); without it multiple when
        there are options, text when there are none
OPTION  what learners can choose, labelled A, B, C and so on: 1 to 26 for
        multiple, scale and sort; 2 or 3 for true-false and yes-no-other, or
        none for True and False, Yes and No; none for the others
When the first option is spelt like a kind, KIND has to stand before it.
Example: ask "Which river is the longest?" Danube Volga "Don, or Dnieper"
Example: ask "What did you like best?"
Example: ask "What shall we send?" multiple text number)"},
    {"assessment", "assessment FILE.json",
     R"(Asks the questions in the file; each learner works through them at a pace of
their own. Learners who join while it runs get it, too.
Example: assessment assessment.json)"},
    {"pause", "pause", R"(Holds all devices: nobody can answer until resume.)"},
    {"resume", "resume", R"(Lets the devices go on, whatever has held them.)"},
    {"stop", "stop",
     R"(Ends the poll or assessment and shows its results. Answers that come later
do not count.)"},
    {"results", "results",
     R"(Shows how many have chosen what, in the poll or assessment that runs or ran
last.)"},
    {"who", "who",
     R"(Shows who has answered what, and who has not, in the poll or assessment that
runs or ran last.)"},
    {"learners", "learners",
     R"(Lists the learners who are there, each with the number that can stand for it.)"},
    {"message", "message [--review] [--fixed] LEARNER|all TEXT",
     R"(Shows a text on a learner's device, or on all, in a dialog to be closed.
LEARNER   a device id, a name that nobody else has, or a number in the list
          of learners
TEXT      all that follows
--review  shows the text in the review of the question set instead
--fixed   shows a dialog that the learner cannot close
Example: message all Please look up now.
Example: message --fixed "Ada L." Come to the front, please.)"},
    {"remove", "remove LEARNER",
     R"(Tells a device to leave. The learner is off the list at once.
LEARNER   a device id, a name that nobody else has, or a number in the list
          of learners
Example: remove 3)"},
    {"image", "image [--upload] FILE|URL",
     R"(Sets the image of the next poll or card, which uses it up.
FILE      a PNG image
--upload  puts FILE, which may be of another kind, into the service's store
          at once, and devices load it from there
URL       http://..., https://... or data:..., is passed on as it is; it
          cannot hold double quotes, backslashes or control characters
Example: image slide.png
Example: image --upload "large slide.png")"},
    {"card", "card", R"(Shows the image that image has set on a card of its own, and uses it up.)"},
    {"upload", "upload FILE",
     R"(Puts a file into the service's store.
Example: upload slide.png)"},
    {"lesson", "lesson ID NAME",
     R"(Tells the remote which lesson this is.
ID      one word
NAME    all that follows
Neither can hold double quotes, backslashes or control characters.
Example: lesson L-1 Rivers of Europe)"},
    {"current", "current N TOTAL",
     R"(Tells the remote that card N of TOTAL is shown; TOTAL is at most 10000.
Example: current 1 12)"},
    {"await",
     "await learners N [SECONDS]\n"
     "await responses N|all [SECONDS]",
     R"(Holds back the commands behind it until N learners are there, or N responses
have come to what runs: one for each learner and question.
all      as many responses as there are when everybody has answered; follows
         learners who come and go
SECONDS  how long to wait for it: 30 unless told otherwise, up to 3600; when
         they are over, the command has failed
Example: await learners 5
Example: await responses all 120)"},
    {"wait", "wait MS",
     R"(Holds back the commands behind it for MS milliseconds, at most 600000.
Example: wait 1500)"},
    {"help", "help [COMMAND]",
     R"(Lists the commands, or tells all about one of them.
Example: help poll)"},
    {"quit", "quit", R"(Stops the session and leaves. Commands that still wait do not run. At the
prompt quit has to be typed twice while a poll or assessment runs.)"},
};

const DetailRow *detailOf(const QString &name)
{
    const auto *row =
        std::find_if(std::begin(DETAIL_ROWS), std::end(DETAIL_ROWS),
                     [&name](const DetailRow &one) { return name == QLatin1String(one.name); });
    return row == std::end(DETAIL_ROWS) ? nullptr : row;
}

QStringList linesOf(const char *text)
{
    return QString::fromLatin1(text).split(QLatin1Char('\n'));
}

} // namespace

QStringList commandNames()
{
    QStringList names;
    for (const DetailRow &row : DETAIL_ROWS)
        names.append(QLatin1String(row.name));
    return names;
}

bool isCommandName(const QString &name)
{
    return detailOf(name);
}

QString usageOf(const QString &command)
{
    const DetailRow *row = detailOf(command);
    return row ? linesOf(row->usage).join(QStringLiteral(", or ")) : QString();
}

QString noSuchCommand(const QString &name)
{
    return QStringLiteral("There is no command '%1'; help lists them.").arg(name);
}

QStringList commandHelp(const QString &command)
{
    if (command.isEmpty())
        return overview();
    const DetailRow *row = detailOf(command);
    if (!row)
        return {noSuchCommand(command)};
    QStringList lines = linesOf(row->usage);
    const QStringList text = linesOf(row->text);
    for (const QString &line : text)
        lines.append(QStringLiteral("  ") + line);
    return lines;
}

} // namespace Host
