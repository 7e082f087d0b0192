// A lesson from the sign-in to the end of the session, of a careful host: it gives every step its time, takes
// nothing for granted and cleans up whatever happens. Its exit code says how far it came; its last two lines
// what it heard, and what it has left behind.

#include "client/PresenterClient.h"
#include "collab/PresenterCollab.h"

#include <QtCore/QCommandLineParser>
#include <QtCore/QCoreApplication>
#include <QtCore/QDeadlineTimer>
#include <QtCore/QDir>
#include <QtCore/QEventLoop>
#include <QtCore/QFileInfo>
#include <QtCore/QPointer>
#include <QtCore/QTimer>
#include <QtNetwork/QNetworkAccessManager>
#include <QtNetwork/QNetworkProxy>
#include <QtNetwork/QSslCertificate>

#include <cstdio>
#include <memory>

namespace
{

// How a lesson ends; run.js has the same codes.
enum Outcome : int {
    Finished = 0,
    WrongUsage = 2,
    ServiceNotFound = 10,
    SignInRefused = 11,
    SessionNotCreated = 12,
    SessionNotStarted = 13,
    ChannelNotOpened = 14,
    ChannelLost = 15,
    NobodyJoined = 16,
    PollUnanswered = 17,
    StopUnconfirmed = 18,
};

constexpr int PATIENCE_MS = 8000;
constexpr int TIDY_MS = 20000; // for threads of the toolkit that are ending

// Turns the event loop until the function `ask` says true, for so long at most.
template<typename Ask> bool turnsUntil(Ask ask, int limitMs)
{
    QEventLoop loop;
    QTimer asking;
    QObject::connect(&asking, &QTimer::timeout, &loop, [&] { loop.exit(); });
    asking.start(10);
    const QDeadlineTimer deadline(limitMs);
    while (!ask() && !deadline.hasExpired())
        loop.exec();
    return ask();
}

// ---- What a process has --------------------------------------------------------------------------

QFileInfoList entriesOf(const char *folder)
{
    const QDir entries(QStringLiteral("/proc/self/") + QLatin1String(folder));
    return entries.entryInfoList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot);
}

struct Belongings {
    int descriptors = entriesOf("fd").size();
    int threads = entriesOf("task").size();
};

// Says what is there now beyond what was there before, and for descriptors what they are.
void tellWhatIsLeft(const Belongings &before)
{
    turnsUntil(
        [&before] {
            const Belongings now;
            return now.descriptors <= before.descriptors && now.threads <= before.threads;
        },
        TIDY_MS);
    const Belongings now;
    const int descriptors = now.descriptors - before.descriptors;
    const int threads = now.threads - before.threads;
    if (descriptors > 0) {
        for (const QFileInfo &entry : entriesOf("fd"))
            std::fprintf(stderr, "descriptor %s: %s\n", qPrintable(entry.fileName()),
                         qPrintable(entry.symLinkTarget()));
    }
    std::printf("left: %d descriptors, %d threads\n", descriptors, threads);
    std::fflush(stdout); // a leak check that finds something ends the process where it stands
}

// ---- The lesson ----------------------------------------------------------------------------------

struct Plan {
    QString server;
    QString transport;
    bool isRobust = false;
    QList<QSslCertificate> certificates;
    int patienceMs = PATIENCE_MS;
};

class Lesson : public QObject
{
public:
    explicit Lesson(const Plan &plan);

    // The steps, up to the first that fails.
    Outcome hold();
    // In a line.
    QString word() const { return m_word; }

private:
    Outcome findService();
    Outcome signIn();
    Outcome createSession();
    Outcome startSession();
    Outcome awaitLearner();
    Outcome poll();
    Outcome stop();

    Outcome endsWith(Outcome outcome, const QString &word);
    QString failedRequest() const;
    template<typename Signal> bool hears(Signal signal);
    Outcome missed(Outcome outcome, const char *what);

    int m_patienceMs;
    bool m_isRobust;
    std::unique_ptr<PresenterClient> m_client;
    QPointer<PresenterCollab> m_channel; // the client's
    bool m_isLost = false;
    QString m_word = QStringLiteral("nothing");
};

Lesson::Lesson(const Plan &plan)
    : m_patienceMs(plan.patienceMs), m_isRobust(plan.isRobust),
      m_client(std::make_unique<PresenterClient>(nullptr, plan.server))
{
    m_client->setRequestTimeout(m_patienceMs);
    m_client->setSockJSOverrideProtocols({plan.transport});
    m_client->setRobustTransport(plan.isRobust);
    if (!plan.certificates.isEmpty())
        m_client->setTrustedCertificates(plan.certificates);
}

Outcome Lesson::hold()
{
    using Step = Outcome (Lesson::*)();
    for (const Step step : {&Lesson::findService, &Lesson::signIn, &Lesson::createSession,
                            &Lesson::startSession, &Lesson::awaitLearner, &Lesson::poll}) {
        const Outcome outcome = (this->*step)();
        if (outcome != Finished)
            return outcome;
    }
    return stop();
}

Outcome Lesson::endsWith(Outcome outcome, const QString &word)
{
    m_word = word.simplified();
    return outcome;
}

QString Lesson::failedRequest() const
{
    const PresenterClient::Reply reply = m_client->getLastReply();
    return QStringLiteral("%1 %2 %3")
        .arg(reply.httpStatus)
        .arg(reply.errorText, m_client->getLastErrorKey());
}

Outcome Lesson::findService()
{
    const bool isThere = m_client->checkServer(QString(), QString());
    return endsWith(isThere ? Finished : ServiceNotFound, failedRequest());
}

Outcome Lesson::signIn()
{
    const bool isIn = m_client->doLogin(QStringLiteral("teacher"), QStringLiteral("secret"));
    return endsWith(isIn ? Finished : SignInRefused, failedRequest());
}

Outcome Lesson::createSession()
{
    const bool isCreated = m_client->doStartSession(QString());
    return endsWith(isCreated ? Finished : SessionNotCreated, failedRequest());
}

// The requests have their time; opening a web socket may wait forever unless somebody closes the channel.
Outcome Lesson::startSession()
{
    QTimer patience;
    patience.setSingleShot(true);
    connect(m_client.get(), &PresenterClient::requestProcessed, &patience,
            [&patience, this] { patience.start(m_patienceMs); });
    connect(&patience, &QTimer::timeout, this, [this] {
        for (PresenterCollab *channel : m_client->findChildren<PresenterCollab *>())
            channel->close();
    });

    PresenterCollab *channel = nullptr;
    if (!m_client->startWebsocket(&channel))
        return endsWith(SessionNotStarted, failedRequest());
    m_channel = channel;
    connect(channel, &PresenterCollab::connectionClosed, this, [this] { m_isLost = true; });
    // The robust transport goes on opening, and tells how that ends.
    const bool isOpening = m_isRobust || !channel->getTransport().isEmpty();
    if (channel->getCloseCode() != 0 || !isOpening)
        return endsWith(ChannelNotOpened,
                        isOpening ? channel->getCloseReason() : QStringLiteral("no transport"));
    return Finished;
}

Outcome Lesson::awaitLearner()
{
    if (hears(&PresenterCollab::learnerJoin))
        return Finished;
    if (!m_isLost && !m_channel->isConnected())
        return endsWith(ChannelNotOpened, QStringLiteral("no word that the session is open"));
    return missed(NobodyJoined, "no learner joined");
}

Outcome Lesson::poll()
{
    m_channel->startPoll(Tarvo::PollType::TRUE_FALSE, Tarvo::OrdinalType::TRUE_FALSE, 2, 0);
    if (!hears(&PresenterCollab::learnerPollResponse))
        return missed(PollUnanswered, "no learner answered");
    m_channel->stopPoll();
    return Finished;
}

Outcome Lesson::stop()
{
    m_client->doStopSession();
    const bool isConfirmed = m_client->wasStopConfirmed();
    const bool isOut = m_client->doLogout();
    return endsWith(isConfirmed && isOut ? Finished : StopUnconfirmed, failedRequest());
}

// Whether the channel tells this before it ends and before the patience does.
template<typename Signal> bool Lesson::hears(Signal signal)
{
    bool hasCome = false;
    const QMetaObject::Connection ear =
        connect(m_channel.data(), signal, this, [&hasCome] { hasCome = true; });
    turnsUntil([&] { return hasCome || m_isLost; }, m_patienceMs);
    disconnect(ear);
    return hasCome;
}

Outcome Lesson::missed(Outcome outcome, const char *what)
{
    if (!m_isLost)
        return endsWith(outcome, QLatin1String(what));
    return endsWith(
        ChannelLost,
        QStringLiteral("%1 %2").arg(m_channel->getCloseCode()).arg(m_channel->getCloseReason()));
}

// ---- The program ---------------------------------------------------------------------------------

bool readPlan(Plan *plan)
{
    QCommandLineParser options;
    options.addPositionalArgument(QStringLiteral("server"),
                                  QStringLiteral("the service's address"));
    options.addOptions({
        {QStringLiteral("transport"), {}, QStringLiteral("NAME"), QStringLiteral("websocket")},
        {QStringLiteral("robust"), {}},
        {QStringLiteral("ca"), {}, QStringLiteral("FILE")},
        {QStringLiteral("patience"), {}, QStringLiteral("MS"), QString::number(PATIENCE_MS)},
    });
    options.process(*QCoreApplication::instance());
    plan->server = options.positionalArguments().value(0);
    plan->transport = options.value(QStringLiteral("transport"));
    plan->isRobust = options.isSet(QStringLiteral("robust"));
    // An empty path would stand for the working directory and all that is below.
    if (options.isSet(QStringLiteral("ca")))
        plan->certificates = QSslCertificate::fromPath(options.value(QStringLiteral("ca")));
    plan->patienceMs = options.value(QStringLiteral("patience")).toInt();
    return !plan->server.isEmpty() && plan->patienceMs > 0;
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    Plan plan;
    if (!readPlan(&plan)) {
        std::fputs("Usage: lesson URL [--transport NAME] [--robust] [--ca FILE] [--patience MS]\n",
                   stderr);
        return WrongUsage;
    }
    // The toolkit's first manager starts threads that stay with the process, and so does, in Qt 6, its first
    // look for a proxy.
    std::make_unique<QNetworkAccessManager>().reset();
    QNetworkProxyFactory::systemProxyForQuery({});
    const Belongings before;
    auto lesson = std::make_unique<Lesson>(plan);
    const Outcome outcome = lesson->hold();
    std::printf("heard: %s\n", qPrintable(lesson->word()));
    lesson.reset();
    tellWhatIsLeft(before);
    return outcome;
}
