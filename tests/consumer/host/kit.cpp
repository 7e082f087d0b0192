// A host of the kit: signs in, and ends with a word when that fails.

#include "host/LiveClass.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QDebug>

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv); // arguments: the service's address, user, password
    const QStringList args = app.arguments();
    Tarvo::LiveClass lesson;
    const auto done = [] { QCoreApplication::exit(0); };
    const auto failed = [](const Tarvo::Failure &failure) {
        qCritical() << "The class did not begin:" << failure.reason();
        QCoreApplication::exit(1);
    };
    lesson.signIn(args.value(1), args.value(2), args.value(3)).then(&app, done, failed);
    return QCoreApplication::exec();
}
