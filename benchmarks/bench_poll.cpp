// Starting a poll, end to end, beside the JSON and compression that it cannot do without; and turning
// a question into JSON.

#include "benchmarks/Comparison.h"
#include "benchmarks/ServerProcess.h"
#include "benchmarks/Waiting.h"
#include "collab/MessageTemplates.h"
#include "collab/PresenterCollab.h"
#include "collab/TarvoCollabMessage.h"
#include "compression/Lzma.h"
#include "model/Card.h"
#include "model/JsonSerializer.h"
#include "model/QuestionBase.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>

#include <memory>

namespace
{

constexpr int OPTIONS = 4;
constexpr auto KIND = Tarvo::PollType::MULTIPLE;
constexpr auto LABELS = Tarvo::OrdinalType::ALPHA_UPPER;

// The question of such a poll as the channel makes it.
std::unique_ptr<Tarvo::QuestionBase> makeQuestion(PresenterCollab *channel)
{
    std::unique_ptr<Tarvo::QuestionBase> question(
        channel->createPollQuestion(KIND, LABELS, OPTIONS, 0));
    question->setcard(new Tarvo::Card(question.get()));
    channel->sendQuestion(question.get()); // completes it
    return question;
}

// The texts that a poll goes through on its way out, from objects that are at hand.
void publishBare(const Tarvo::QuestionBase *question, Tarvo::TarvoCollabMessage *message)
{
    QString block;
    Lzma::compress64(Tarvo::JsonSerializer::serializeToJson(question), &block);
    message->setdata(QVariantList{block});
    const QString text = Tarvo::PUBLISH_MESSAGE_3.arg(
        QStringLiteral("session-token"), Tarvo::JsonSerializer::serializeToJson(message));
    QByteArray json = QJsonDocument(QJsonArray{text}).toJson(QJsonDocument::Indented);
    json.replace("[ ", "[");
    json.replace(" ]", "]");
    doNotOptimize(QString::fromUtf8(json));
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});

    const ServerProcess farEnd(ServerProcess::farEnd(), {});
    PresenterCollab channel(nullptr, farEnd.url(), QStringLiteral("1234"),
                            QStringLiteral("session-token"), QStringLiteral("user-token"));
    channel.setRobustTransport(true);
    channel.open({QStringLiteral("websocket")});
    waitUntil("the channel opens", [&] { return channel.isConnected(); });

    const auto question = makeQuestion(&channel);
    Tarvo::TarvoCollabMessage message;
    message.setfrom(QStringLiteral("user-token"));
    message.settype(QStringLiteral("questionStart"));
    const QVariantMap map = Tarvo::JsonSerializer::buildObjectMap(
        question.get(), Tarvo::JsonSerializer::getIgnorePropertiesList(),
        Tarvo::JsonSerializer::MAX_RECURSE_DEPTH);

    const Comparison comparison(argc, argv, "Poll, beside its JSON and compression alone");
    comparison.add(
        "start a poll of four options", 1.1,
        [&] {
            channel.startPoll(KIND, LABELS, OPTIONS, 0);
            QCoreApplication::processEvents(); // the socket writes
        },
        [&] { publishBare(question.get(), &message); });
    comparison.add(
        "serialise its question", Comparison::NO_GOAL,
        [&] { doNotOptimize(Tarvo::JsonSerializer::serializeToJson(question.get())); },
        [&] { doNotOptimize(QJsonDocument::fromVariant(map).toJson()); });
    return 0;
}
