// A class of 1,000 and one of 10,000 learners joins and answers a poll, over one web socket: what a
// message costs, and what stays in memory.

#include "benchmarks/Figures.h"
#include "benchmarks/ServerProcess.h"
#include "benchmarks/Waiting.h"
#include "collab/PresenterCollab.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QFile>

#include <cstdio>
#include <malloc.h>
#include <unistd.h>
#include <vector>

namespace
{

constexpr int SMALL_CLASS = 1000;
constexpr int LARGE_CLASS = 10000;
constexpr int ROUNDS = 7;
constexpr double COST_GOAL = 1.1;
constexpr double MEMORY_GOAL = 1.01; // beside what the process has anyway

double residentKilobytes()
{
    malloc_trim(0); // what the heap keeps for later is no growth
    QFile file(QStringLiteral("/proc/self/statm"));
    if (!file.open(QIODevice::ReadOnly))
        qFatal("No /proc/self/statm.");
    return file.readAll().split(' ').at(1).toDouble() * static_cast<double>(sysconf(_SC_PAGESIZE))
        / 1024;
}

struct Result {
    std::vector<double> microsecondsAMessage;
    std::vector<double> kilobytes;
};

void runClass(const QString &url, int learners, Result *result)
{
    PresenterCollab channel(nullptr, url, QStringLiteral("1234"), QStringLiteral("session-token"),
                            QStringLiteral("user-token"));
    channel.setRobustTransport(true);
    int joined = 0;
    int answered = 0;
    QObject::connect(&channel, &PresenterCollab::learnerJoin, [&joined] { ++joined; });
    QObject::connect(&channel, &PresenterCollab::learnerPollResponse, [&answered] { ++answered; });
    channel.open({QStringLiteral("websocket")});
    waitUntil("the channel opens", [&] { return channel.isConnected(); });

    // The far end makes its frames before the first of them comes.
    const QString address = QStringLiteral("learners.%1").arg(learners);
    channel.publishMessage(address, QStringLiteral("come"), QStringLiteral("{}"));
    waitUntil("somebody joins", [&] { return joined > 0; });

    const int before = joined;
    const double start = seconds(CLOCK_PROCESS_CPUTIME_ID);
    waitUntil("everybody joins", [&] { return joined == learners; });
    channel.startPoll(Tarvo::PollType::MULTIPLE, Tarvo::OrdinalType::ALPHA_UPPER, 4, 0);
    waitUntil("everybody answers", [&] { return answered == learners; });
    const double used = seconds(CLOCK_PROCESS_CPUTIME_ID) - start;

    result->microsecondsAMessage.push_back(used * 1e6 / (2 * learners - before));
    result->kilobytes.push_back(residentKilobytes());
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
    const ServerProcess farEnd(ServerProcess::farEnd(), {});

    Result warmUp;
    Result small;
    Result large;
    runClass(farEnd.url(), LARGE_CLASS, &warmUp);
    for (int round = 0; round < ROUNDS; ++round) {
        runClass(farEnd.url(), SMALL_CLASS, &small);
        runClass(farEnd.url(), LARGE_CLASS, &large);
    }

    const double smallCost = median(small.microsecondsAMessage);
    const double largeCost = median(large.microsecondsAMessage);
    const double smallMemory = median(small.kilobytes);
    const double largeMemory = median(large.kilobytes);
    std::printf(
        "\n| Class over one web socket | 1,000 learners | 10,000 learners | ratio | goal |\n"
        "|---|---:|---:|---:|---|\n");
    std::printf("| processor time a message | %.2f us | %.2f us | %.3f | at most %.2f: %s |\n",
                smallCost, largeCost, largeCost / smallCost, COST_GOAL,
                verdict(largeCost <= COST_GOAL * smallCost));
    std::printf("| resident memory afterwards | %.0f KB | %.0f KB | %.3f | at most %.2f: %s |\n",
                smallMemory, largeMemory, largeMemory / smallMemory, MEMORY_GOAL,
                verdict(largeMemory <= MEMORY_GOAL * smallMemory));
    return 0;
}
