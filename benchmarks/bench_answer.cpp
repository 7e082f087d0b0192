// How long a learner's answer takes from the far end's publication to the host's signal, over each
// transport, robust and compatible, against a real SockJS server; beside bare round trips to the same
// server.

#include "benchmarks/Figures.h"
#include "benchmarks/ServerProcess.h"
#include "benchmarks/Waiting.h"
#include "collab/PresenterCollab.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QEventLoop>
#include <QtCore/QRandomGenerator>
#include <QtCore/QTimer>
#include <QtCore/QUrl>
#include <QtNetwork/QTcpSocket>
#include <QtWebSockets/QWebSocket>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace
{

constexpr double RATIO_GOAL = 3; // times the web socket
constexpr double RATIO_AIM = 1.5;
constexpr double PERCENTILE_GOAL_SECONDS = 50e-3;
// Of fewer answers the worst one says it all.
constexpr size_t MIN_PERCENTILE_ANSWERS = 100;

// All connections stay open and are heard in turns, so that what the machine does meanwhile meets all
// of them alike.
constexpr int TURNS = 40;

// At random moments, so that no answer knows what the connection is doing when it comes.
struct Pace {
    int turns;
    int answers; // a turn
    int leastPauseMs;
    int mostPauseMs;
    int limitMs; // of a turn; what has not come by then has not come
};

// Far enough apart not to pile up; so many that a stream comes to the server's limit and is followed by
// the next.
constexpr Pace PROMPT = {TURNS, 20, 2, 10, 1500};
// As a class answers that takes its time.
constexpr Pace SLOW = {1, 16, 0, 2000, 30000};

enum class Carrier {
    WEB_SOCKET,
    HTTP
};

struct Way {
    const char *name;
    const char *transport;
    Carrier carrier;
    bool isRobust;
    Pace pace;
};

constexpr Way WAYS[] = {
    {"web socket (compatible)", "websocket", Carrier::WEB_SOCKET, false, PROMPT},
    {"web socket (robust)", "websocket", Carrier::WEB_SOCKET, true, PROMPT},
    {"XHR streaming (robust)", "xhr-streaming", Carrier::HTTP, true, PROMPT},
    {"XHR polling (robust)", "xhr-polling", Carrier::HTTP, true, PROMPT},
};
constexpr Way SLOW_WAY = {"XHR polling (compatible)", "xhr-polling", Carrier::HTTP, false, SLOW};

// ---- The bare parts ------------------------------------------------------------------------------

void idle(int milliseconds)
{
    QEventLoop loop;
    QTimer::singleShot(milliseconds, Qt::PreciseTimer, &loop, &QEventLoop::quit);
    loop.exec();
}

// Bare connections to the same server, which ask and are answered.
class BareParts
{
public:
    explicit BareParts(const QUrl &url)
    {
        m_http.connectToHost(url.host(), quint16(url.port()));
        m_webSocket.open(
            QUrl(QStringLiteral("ws://%1:%2/eventbus/websocket").arg(url.host()).arg(url.port())));
        waitUntil("the bare connections open", [this] {
            return m_http.state() == QAbstractSocket::ConnectedState
                && m_webSocket.state() == QAbstractSocket::ConnectedState;
        });
    }

    void takeTurn()
    {
        timeRoundTrips(
            m_http, &QTcpSocket::readyRead,
            [this] {
                m_http.readAll(); // the answer before
                m_http.write("GET /bare HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n");
            },
            &m_httpTimes);
        timeRoundTrips(
            m_webSocket, &QWebSocket::textMessageReceived,
            [this] { m_webSocket.sendTextMessage(QStringLiteral("bare")); }, &m_webSocketTimes);
    }

    const std::vector<double> &times(Carrier carrier) const
    {
        return carrier == Carrier::HTTP ? m_httpTimes : m_webSocketTimes;
    }

private:
    static constexpr int ROUND_TRIPS = 10; // a turn
    static constexpr int LIMIT_MS = 5000;

    // Adds the seconds from a request to the signal that tells of its answer.
    template<typename Peer, typename Signal>
    static void timeRoundTrips(const Peer &peer, Signal answered, const std::function<void()> &ask,
                               std::vector<double> *times)
    {
        for (int i = 0; i < ROUND_TRIPS; ++i) {
            idle(QRandomGenerator::global()->bounded(PROMPT.leastPauseMs, PROMPT.mostPauseMs));
            QEventLoop loop;
            QObject::connect(&peer, answered, &loop, &QEventLoop::quit);
            QTimer::singleShot(LIMIT_MS, &loop, [] { qFatal("A bare request is not answered."); });
            const double start = seconds(CLOCK_MONOTONIC);
            ask();
            loop.exec();
            times->push_back(seconds(CLOCK_MONOTONIC) - start);
        }
    }

    QTcpSocket m_http;
    QWebSocket m_webSocket;
    std::vector<double> m_httpTimes;
    std::vector<double> m_webSocketTimes;
};

// ---- The answers ---------------------------------------------------------------------------------

// One connection of the library, and how long each answer took.
class Listener
{
public:
    Listener(const QString &url, const Way &way)
        : m_way(way), m_channel(nullptr, url, QStringLiteral("1234"),
                                QStringLiteral("session-token"), QStringLiteral("user-token"))
    {
        QObject::connect(
            &m_channel, &PresenterCollab::learnerPollResponse, [this](const QString &published) {
                m_delays.push_back(seconds(CLOCK_MONOTONIC) - published.toDouble() / 1e9);
            });
        m_channel.setRobustTransport(way.isRobust);
        m_channel.open({QLatin1String(way.transport)});
        m_isInTime = comesTrue([this] { return m_channel.isConnected(); }, OPENING_LIMIT_MS);
    }

    // Hears a turn's answers. A connection that once did not bring them in time has no more turns, so
    // that the program ends soon.
    void takeTurn()
    {
        if (!m_isInTime)
            return;
        const Pace &pace = m_way.pace;
        const size_t all = m_delays.size() + size_t(pace.answers);
        const QString order = QStringLiteral("answers.%1.%2.%3");
        m_channel.publishMessage(
            order.arg(pace.answers).arg(pace.leastPauseMs).arg(pace.mostPauseMs),
            QStringLiteral("come"), QStringLiteral("{}"));
        m_isInTime = comesTrue([&] { return m_delays.size() == all; }, pace.limitMs);
    }

    const Way &way() const { return m_way; }
    const std::vector<double> &delays() const { return m_delays; }
    size_t missing() const
    {
        return size_t(m_way.pace.turns) * size_t(m_way.pace.answers) - m_delays.size();
    }

private:
    static constexpr int OPENING_LIMIT_MS = 5000;

    const Way &m_way;
    PresenterCollab m_channel;
    std::vector<double> m_delays;
    bool m_isInTime = false;
};

// ---- The table -----------------------------------------------------------------------------------

std::string microseconds(double seconds)
{
    return std::to_string(std::lround(seconds * 1e6));
}

double percentile99(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values[size_t(std::ceil(0.99 * double(values.size()))) - 1];
}

void printGoal(const Listener &listener, double ratio)
{
    if (listener.missing() > 0) {
        std::printf("%zu did not come: MISSED |\n", listener.missing());
    } else if (!listener.way().isRobust || listener.way().carrier != Carrier::HTTP) {
        std::printf("- |\n");
    } else {
        std::printf("at most %.0f times (aim %.1f): %s, 99 %% within %.0f ms: %s |\n", RATIO_GOAL,
                    RATIO_AIM, verdict(ratio <= RATIO_GOAL), PERCENTILE_GOAL_SECONDS * 1e3,
                    verdict(percentile99(listener.delays()) <= PERCENTILE_GOAL_SECONDS));
    }
}

void printRow(const Listener &listener, double webSocket, double bare)
{
    std::printf("| %s | ", listener.way().name);
    const std::vector<double> &delays = listener.delays();
    double ratio = 0;
    if (delays.empty()) {
        std::printf("- | - | - | - | ");
    } else {
        ratio = median(delays) / webSocket;
        const bool areMany = delays.size() >= MIN_PERCENTILE_ANSWERS;
        std::printf("%s | %s | %s | %.2f | ", microseconds(median(delays)).c_str(),
                    areMany ? microseconds(percentile99(delays)).c_str() : "-",
                    microseconds(*std::max_element(delays.begin(), delays.end())).c_str(), ratio);
    }
    std::printf("%s | ", microseconds(bare).c_str());
    printGoal(listener, ratio);
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
    const ServerProcess farEnd(QStringLiteral(NODE), {QStringLiteral(ANSWERS)});

    std::vector<std::unique_ptr<Listener>> listeners;
    for (const Way &way : WAYS)
        listeners.push_back(std::make_unique<Listener>(farEnd.url(), way));
    BareParts bareParts{QUrl(farEnd.url())};
    for (int turn = 0; turn < TURNS; ++turn) {
        for (size_t i = 0; i < listeners.size(); ++i)
            listeners[(size_t(turn) + i) % listeners.size()]->takeTurn();
        bareParts.takeTurn();
    }
    listeners.push_back(std::make_unique<Listener>(farEnd.url(), SLOW_WAY));
    listeners.back()->takeTurn();

    const std::vector<double> &webSocket = listeners.front()->delays();
    if (webSocket.empty())
        qFatal("No answer comes over the web socket.");
    std::printf(
        "\n| A learner's answer reaches the host, in microseconds | median | 99th percentile "
        "| worst | ratio to the web socket | bare round trip | goal |\n"
        "|---|---:|---:|---:|---:|---:|---|\n");
    for (const auto &listener : listeners)
        printRow(*listener, median(webSocket), median(bareParts.times(listener->way().carrier)));
    return 0;
}
