// A host that ends with a session running, and leaves its client to somebody else. Writes one line when
// it begins to end.

#include "client/PresenterClient.h"
#include "collab/PresenterCollab.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QTimer>

#include <cstdio>
#include <memory>

int main(int argc, char *argv[])
{
    static std::unique_ptr<PresenterClient> lasting; // goes after main()
    std::unique_ptr<PresenterClient> late;           // goes after the application
    QCoreApplication app(argc, argv);
    const QString owner = app.arguments().value(2);
    auto *client = new PresenterClient(owner == QLatin1String("application") ? &app : nullptr,
                                       app.arguments().value(1));
    if (owner == QLatin1String("static"))
        lasting.reset(client);
    if (owner == QLatin1String("heap"))
        late.reset(client);

    PresenterCollab *channel = nullptr;
    if (!client->doLogin(QStringLiteral("ann"), QStringLiteral("pw"))
        || !client->doStartSession(QString()) || !client->startWebsocket(&channel))
        return 1;
    QTimer::singleShot(100, &app, &QCoreApplication::quit);
    QCoreApplication::exec();
    std::puts("ending");
    std::fflush(stdout);
    return channel->isConnected() ? 0 : 2;
}
