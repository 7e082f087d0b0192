// What an open session costs while nothing happens in it, over each transport of the robust way,
// and over polling in the compatible way, against the local classroom service; beside an event loop
// with nothing to do.

#include "benchmarks/Figures.h"
#include "benchmarks/ServerProcess.h"
#include "benchmarks/Waiting.h"
#include "client/PresenterClient.h"
#include "collab/PresenterCollab.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QEventLoop>
#include <QtCore/QTimer>

#include <cstdio>

namespace
{

constexpr int SETTLE_MS = 5000;
constexpr int MEASURED_MS = 30000;

void idle(int milliseconds)
{
    QEventLoop loop;
    QTimer::singleShot(milliseconds, &loop, &QEventLoop::quit);
    loop.exec();
}

// Milliseconds of processor time a second, of all threads.
double costOfIdling()
{
    idle(SETTLE_MS);
    const double start = seconds(CLOCK_PROCESS_CPUTIME_ID);
    idle(MEASURED_MS);
    return (seconds(CLOCK_PROCESS_CPUTIME_ID) - start) * 1e6 / MEASURED_MS;
}

enum class Way {
    Robust,
    Compatible
};

double costOfSession(const QString &url, const QString &transport, Way way = Way::Robust)
{
    PresenterClient client(nullptr, url);
    PresenterCollab *channel = nullptr;
    client.setSockJSOverrideProtocols({transport});
    client.setRobustTransport(way == Way::Robust);
    if (!client.doLogin(QStringLiteral("teacher"), QStringLiteral("secret"))
        || !client.doStartSession(QString()) || !client.startWebsocket(&channel))
        qFatal("The session does not start.");
    waitUntil("the channel opens", [&] { return channel->isConnected(); });
    const double cost = costOfIdling();
    if (!channel->isConnected())
        qFatal("The channel has closed meanwhile.");
    client.doStopSession();
    return cost;
}

void printRow(const char *what, double cost, double bare, double goal)
{
    std::printf("| %s | %.3f ms | %.3f ms | at most %.1f ms more: %s |\n", what, cost, bare, goal,
                verdict(cost - bare <= goal));
    std::fflush(stdout);
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
    const ServerProcess classroom(
        QStringLiteral(NODE),
        {QStringLiteral(CLASSROOM), QStringLiteral("--port"), QStringLiteral("0")});

    std::printf("\n| Idle session, processor time a second | session | bare event loop | goal |\n"
                "|---|---:|---:|---|\n");
    const double bare = costOfIdling();
    // A tenth of a millisecond a second is what a measurement like this one can tell from nothing.
    printRow("web socket", costOfSession(classroom.url(), QStringLiteral("websocket")), bare, 0.1);
    const QString polling = QStringLiteral("xhr-polling");
    printRow("XHR streaming", costOfSession(classroom.url(), QStringLiteral("xhr-streaming")), bare,
             2);
    printRow("XHR polling", costOfSession(classroom.url(), polling), bare, 2);
    printRow("XHR polling, compatible", costOfSession(classroom.url(), polling, Way::Compatible),
             bare, 2);
    return 0;
}
