// A host that ends with a session running, and leaves its client to somebody else. Writes one line when
// it begins to end.

#include "client/PresenterClient.h"
#include "collab/PresenterCollab.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QTimer>

#include <cstdio>
#include <memory>

// Returns with the application object gone; 0 if all went well until then.
static int runApplication(int argc, char *argv[], std::unique_ptr<PresenterClient> *kept)
{
    QCoreApplication app(argc,
                         argv); // arguments: the service's address, whether to keep the client
    auto *client = new PresenterClient(&app, app.arguments().value(1));
    if (app.arguments().value(2) != QLatin1String("application")) {
        client->setParent(nullptr);
        kept->reset(client);
    }

    PresenterCollab *channel = nullptr;
    if (!client->doLogin(QStringLiteral("ann"), QStringLiteral("pw"))
        || !client->doStartSession(QString()) || !client->startWebsocket(&channel))
        return 1;
    QTimer look;
    QObject::connect(&look, &QTimer::timeout, &app, [&] {
        // The toolkit would never free a post that is under way.
        if (channel->isConnected() && !channel->hasUnsentMessages())
            QCoreApplication::quit();
    });
    look.start(10);
    QCoreApplication::exec();
    std::puts("ending");
    std::fflush(stdout);
    return channel->isConnected() ? 0 : 2;
}

int main(int argc, char *argv[])
{
    static std::unique_ptr<PresenterClient> lasting; // goes after main()
    std::unique_ptr<PresenterClient> kept;
    const int result = runApplication(argc, argv, &kept);
    if (result != 0 || !kept)
        return result;

    // Without an application nothing is waited for.
    if (kept->checkServer(QString(), QString()) || kept->doLogin(QString(), QString()))
        return 3;
    if (qstrcmp(argv[2], "static") == 0)
        lasting = std::move(kept);
    return 0;
}
