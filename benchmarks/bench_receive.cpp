// From a SockJS frame to the host's signal, beside Qt JSON, base64 and the LZMA SDK doing the same
// work: first with the library's debug lines, which the bare side writes, too; then with those lines
// switched off and a bare side that has none.

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
#include <QtCore/QLoggingCategory>

namespace
{

// 0.8 of the bare rate.
constexpr double GOAL = 1.25;
constexpr double GOAL_WITHOUT_LINES = 1.05;

int answers = 0;
int learners = 0;

QJsonValue field(const QJsonObject &object, const char *name)
{
    return object.value(QLatin1String(name));
}

// Nothing but the fields that the host learns, read straight from the JSON.
template<bool WritesLines> void receiveBare(const QString &frame)
{
    const QJsonArray messages = QJsonDocument::fromJson(frame.mid(1).toUtf8()).array();
    for (const QJsonValue &value : messages) {
        const QString message = value.toString();
        const QJsonObject body =
            field(QJsonDocument::fromJson(message.toUtf8()).object(), "body").toObject();
        const QString type = field(body, "type").toString();
        const QByteArray bytes =
            BareCodec::unpack(field(body, "data").toArray().at(0).toString().toLatin1());
        if constexpr (WritesLines) {
            qDebug().noquote() << "[MessageHandler]" << message;
            qDebug().noquote() << "[MessageHandler.TYPE]" << type;
            qDebug().noquote() << "[MessageHandler.Decompressed from List]"
                               << QString::fromUtf8(bytes);
        }
        const QJsonObject data = QJsonDocument::fromJson(bytes).object();
        const QString from = field(body, "from").toString();
        if (type == QLatin1String("join")) {
            if constexpr (WritesLines)
                qDebug().noquote() << "JOIN";
            learners += from.size() + field(data, "userName").toString().size()
                + field(data, "deviceType").toString().size();
        } else {
            const QString pollId = field(data, "pollId").toString();
            const int responseTime = field(data, "responseTime").toInt();
            const QString answer =
                field(field(data, "pick").toObject(), "blob").toArray().at(0).toString();
            if constexpr (WritesLines)
                qDebug().noquote().nospace() << "POLL_RESPONSE:" << from << ':' << pollId << ':'
                                             << responseTime << ':' << answer;
            answers += from.size() + pollId.size() + responseTime + answer.size();
        }
    }
}

template<bool WritesLines>
void addFrames(const Comparison &comparison, double goal, SockJSConnector *connector)
{
    const auto add = [&](const std::string &name, const QString &frame) {
        comparison.add(
            WritesLines ? name : name + ", lines off", goal,
            [&] { connector->onTextMessageReceived(frame); },
            [&] { receiveBare<WritesLines>(frame); });
    };
    add("a learner joins", Frames::join(1));
    add("a choice", Frames::pollResponse(1, "2"));
    add("an answer of 300 B", Frames::pollResponse(1, Lesson::text(300)));
    add("an answer of 3 KB", Frames::pollResponse(1, Lesson::text(3000)));
    add("an answer of 196 KB", Frames::pollResponse(1, Lesson::text(196000)));
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

    const Comparison comparison(argc, argv,
                                "Frame to signal, beside Qt JSON, base64 and the LZMA SDK");
    addFrames<true>(comparison, GOAL, connector);
    QLoggingCategory::setFilterRules(QStringLiteral("tarvo.*.debug=false"));
    addFrames<false>(comparison, GOAL_WITHOUT_LINES, connector);
    return 0;
}
