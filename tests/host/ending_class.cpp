// A host that ends while its class is there, with an exit code of its own. Writes one line when it begins
// to end.
//
//   ending_class core|gui|widgets alive|deleted|starting|opening URL

#include "host/LiveClass.h"

#include <QtCore/QDebug>
#include <QtWidgets/QApplication>

#include <cstdio>
#include <memory>

using Tarvo::LiveClass;

namespace
{

constexpr int OWN_CODE = 7;
constexpr int NO_CLASS_CODE = 1;

std::unique_ptr<QCoreApplication> application(const QByteArray &kind, int &argc, char **argv)
{
    if (kind == "widgets")
        return std::make_unique<QApplication>(argc, argv);
    if (kind == "gui")
        return std::make_unique<QGuiApplication>(argc, argv);
    return std::make_unique<QCoreApplication>(argc, argv);
}

void endHost()
{
    std::puts("ending");
    std::fflush(stdout);
    QCoreApplication::quit();
}

void giveUp(const Tarvo::Failure &failure)
{
    qCritical() << failure.reason() << failure.key();
    QCoreApplication::exit(NO_CLASS_CODE);
}

// Ends the host at the moment that `how` names.
void endWhen(const QByteArray &how, std::unique_ptr<LiveClass> &lesson)
{
    LiveClass *const own = lesson.get();
    const auto isStarting = [own] { return own->state() == LiveClass::Starting; };
    QObject::connect(own, &LiveClass::stateChanged, QCoreApplication::instance(),
                     [&lesson, how, isStarting] {
                         if (how == "starting" && isStarting())
                             endHost();
                         if (lesson->state() != LiveClass::Live)
                             return;
                         if (how == "deleted")
                             lesson.reset();
                         endHost();
                     });
    // The transport is told when the channel is open, before the class is live.
    QObject::connect(own, &LiveClass::transportChanged, QCoreApplication::instance(),
                     [how, isStarting] {
                         if (how == "opening" && isStarting())
                             endHost();
                     });
}

} // namespace

int main(int argc, char *argv[])
{
    const auto app = application(argv[1], argc, argv);
    auto lesson = std::make_unique<LiveClass>();
    endWhen(argv[2], lesson);
    const auto start = [own = lesson.get()] {
        own->start().then(
            QCoreApplication::instance(), [] {}, giveUp);
    };
    lesson
        ->signIn(QString::fromLocal8Bit(argv[3]), QStringLiteral("teacher"),
                 QStringLiteral("secret"))
        .then(QCoreApplication::instance(), start, giveUp);
    const int result = QCoreApplication::exec();
    return result == 0 ? OWN_CODE : result; // the class goes before the application does
}
