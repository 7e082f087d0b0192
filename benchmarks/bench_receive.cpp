// From a SockJS frame to the host's signal, beside Qt JSON, base64 and the LZMA SDK doing the same
// work and writing the same debug lines.

#include "benchmarks/BareCodec.h"
#include "benchmarks/Comparison.h"
#include "benchmarks/Frames.h"
#include "benchmarks/Lesson.h"
#include "collab/PresenterCollab.h"
#include "sockjs/SockJSConnector.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QDebug>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>

#include <benchmark/benchmark.h>

namespace
{

int answers = 0;
int learners = 0;

QJsonValue field(const QJsonObject &object, const char *name)
{
    return object.value(QLatin1String(name));
}

// Nothing but the fields that the host learns, read straight from the JSON.
void receiveBare(const QString &frame)
{
    const QJsonArray messages = QJsonDocument::fromJson(frame.mid(1).toUtf8()).array();
    for (const QJsonValue &value : messages) {
        const QString message = value.toString();
        qDebug().noquote() << "[MessageHandler]" << message;
        const QJsonObject body =
            field(QJsonDocument::fromJson(message.toUtf8()).object(), "body").toObject();
        const QString type = field(body, "type").toString();
        qDebug().noquote() << "[MessageHandler.TYPE]" << type;
        const QByteArray bytes =
            BareCodec::unpack(field(body, "data").toArray().at(0).toString().toLatin1());
        qDebug().noquote() << "[MessageHandler.Decompressed from List]" << QString::fromUtf8(bytes);
        const QJsonObject data = QJsonDocument::fromJson(bytes).object();
        const QString from = field(body, "from").toString();
        if (type == QLatin1String("join")) {
            qDebug().noquote() << "JOIN";
            learners += from.size() + field(data, "userName").toString().size()
                + field(data, "deviceType").toString().size();
        } else {
            const QString pollId = field(data, "pollId").toString();
            const int responseTime = field(data, "responseTime").toInt();
            const QString answer =
                field(field(data, "pick").toObject(), "blob").toArray().at(0).toString();
            qDebug().noquote().nospace() << "POLL_RESPONSE:" << from << ':' << pollId << ':'
                                         << responseTime << ':' << answer;
            answers += from.size() + pollId.size() + responseTime + answer.size();
        }
    }
}

void addFrame(const std::string &name, SockJSConnector *connector, const QString &frame)
{
    Comparison::add(
        name, Comparison::rateOfAtLeast(0.8),
        [connector, frame] { connector->onTextMessageReceived(frame); },
        [frame] { receiveBare(frame); });
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});

    PresenterCollab channel(nullptr, QString(), QString(), QString(), QString());
    QObject::connect(&channel, &PresenterCollab::learnerJoin, [](const Tarvo::Learner &learner) {
        learners += learner.deviceId.size() + learner.userName.size() + learner.deviceType.size();
    });
    QObject::connect(
        &channel, &PresenterCollab::learnerPollResponse,
        [](const QString &from, const QString &pollId, int responseTime, const QString &answer) {
            answers += from.size() + pollId.size() + responseTime + answer.size();
        });
    auto *connector = channel.findChild<SockJSConnector *>();

    addFrame("a learner joins", connector, Frames::join(1));
    addFrame("a choice", connector, Frames::pollResponse(1, "2"));
    addFrame("an answer of 300 B", connector, Frames::pollResponse(1, Lesson::text(300)));
    addFrame("an answer of 3 KB", connector, Frames::pollResponse(1, Lesson::text(3000)));
    addFrame("an answer of 196 KB", connector, Frames::pollResponse(1, Lesson::text(196000)));
    return Comparison::run(argc, argv, "Frame to signal, beside Qt JSON, base64 and the LZMA SDK");
}
