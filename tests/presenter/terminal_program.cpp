// A program with a prompt, for tst_terminal to type at. It says what it gets, and a few lines have it do
// something of its own.

#include "console/Input.h"
#include "console/SignalPipe.h"
#include "console/Terminal.h"
#include "support/Text.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QRegularExpression>
#include <QtCore/QSocketNotifier>
#include <QtCore/QTimer>

#include <csignal>
#include <functional>
#include <memory>
#include <sys/signalfd.h>
#include <unistd.h>

using namespace Host;

namespace
{

constexpr int MUCH_NEWS = 800;

// What the program does "soon" it does at SIGUSR1, so that the test decides when, however slow either is.
class Soon
{
public:
    // Before there are threads, which must not get the signal either.
    Soon()
    {
        sigset_t numbers;
        sigemptyset(&numbers);
        sigaddset(&numbers, SIGUSR1);
        sigprocmask(SIG_BLOCK, &numbers, nullptr);
        m_file = signalfd(-1, &numbers, SFD_CLOEXEC | SFD_NONBLOCK);
        m_notifier = std::make_unique<QSocketNotifier>(m_file, QSocketNotifier::Read);
        QObject::connect(m_notifier.get(), &QSocketNotifier::activated, [this] {
            signalfd_siginfo info;
            if (read(m_file, &info, sizeof(info)) == sizeof(info))
                action();
        });
    }
    ~Soon() { close(m_file); }
    Q_DISABLE_COPY_MOVE(Soon)

    std::function<void()> action = [] {};

private:
    int m_file = -1;
    std::unique_ptr<QSocketNotifier> m_notifier;
};

void askPassword(Terminal &terminal)
{
    const std::optional<QString> password = Terminal::askPassword(u"Password: "_s);
    terminal.print(password ? u"It is '%1'."_s.arg(*password) : u"There is none."_s);
}

// A line every millisecond, at most, with a block that changes each time.
void tellMuch(Terminal &terminal)
{
    auto *pace = new QTimer(&terminal);
    QObject::connect(pace, &QTimer::timeout, &terminal, [&terminal, pace, told = 0]() mutable {
        terminal.tell(u"news %1"_s.arg(++told));
        terminal.setBlock({u"%1 of %2"_s.arg(told).arg(MUCH_NEWS)});
        if (told == MUCH_NEWS)
            pace->stop();
    });
    pace->start(1);
}

// Far more than is kept back, and then nothing any more.
void tellAtOnce(Terminal &terminal)
{
    for (int i = 1; i <= MUCH_NEWS * 3; ++i)
        terminal.tell(u"news %1"_s.arg(i));
    _exit(6);
}

void tellBetween(Terminal &terminal)
{
    terminal.tell(u"one"_s);
    terminal.tell(u"two"_s);
    terminal.print(u"three"_s);
    terminal.tell(u"four"_s);
    terminal.complain(u"five"_s);
    terminal.tell(u"six"_s);
}

void obey(Terminal &terminal, std::unique_ptr<Input> &input, Soon &soon, const QString &line)
{
    if (line == u"bars"_s) {
        terminal.setBlock({u"A ###"_s, u"B #"_s});
    } else if (line == u"soon"_s) {
        soon.action = [&terminal] {
            terminal.print(u"Ada joined"_s);
            terminal.setBlock({u"A ####"_s});
        };
    } else if (line == u"close soon"_s || line == u"leave soon"_s) {
        soon.action = [&terminal, &input, line] {
            input.reset();
            terminal.closePrompt();
            terminal.print(u"closed"_s);
            if (line == u"leave soon"_s)
                _exit(4);
            QCoreApplication::exit(4);
        };
    } else if (line == u"close"_s) {
        terminal.closePrompt();
        terminal.print(u"closed"_s);
        QCoreApplication::exit(3);
    } else if (line == u"much"_s) {
        tellMuch(terminal);
    } else if (line == u"at once"_s) {
        tellAtOnce(terminal);
    } else if (line == u"between"_s) {
        tellBetween(terminal);
        terminal.closePrompt();
        QCoreApplication::exit(5);
    } else if (line == u"colour"_s) {
        terminal.print(u"a\x1b[31mb"_s);
    } else if (line == u"prompt"_s) {
        terminal.setPrompt(u"class> "_s);
    } else {
        terminal.print(u"got '%1'"_s.arg(line));
    }
}

Candidates candidates(const QString &lineUpToCursor)
{
    const QStringList words{u"learners"_s, u"poll"_s, u"pause"_s, u"prompt"_s, u"proceed"_s};
    const int begin = lineUpToCursor.lastIndexOf(u' ') + 1;
    return {begin, words.filter(QRegularExpression(u"^"_s + lineUpToCursor.mid(begin)))};
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    Soon soon;
    Terminal terminal;
    if (QCoreApplication::arguments().contains(u"ask"_s)) {
        askPassword(terminal);
        return 0;
    }
    terminal.setCompletion(candidates);
    if (!terminal.openPrompt())
        return 1;
    auto input = std::make_unique<Input>(terminal);
    QObject::connect(input.get(), &Input::line,
                     [&](const QString &line) { obey(terminal, input, soon, line); });
    QObject::connect(input.get(), &Input::ended, [&] {
        terminal.closePrompt();
        terminal.print(u"ended"_s);
        QCoreApplication::exit(2);
    });
    input->start();
    const SignalPipe signalPipe;
    QObject::connect(&signalPipe, &SignalPipe::interrupted, &terminal, [&] {
        terminal.print(terminal.clearLine() ? u"thrown away"_s : u"interrupted"_s);
    });
    QObject::connect(&signalPipe, &SignalPipe::screenChanged, &terminal, &Terminal::fitToWindow);
    QObject::connect(&signalPipe, &SignalPipe::continued, &terminal, &Terminal::restore);
    return QCoreApplication::exec();
}
