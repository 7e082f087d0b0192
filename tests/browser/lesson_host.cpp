// A host on the kit that a test program leads: it takes its calls as lines of JSON on standard input, and
// tells what its class tells as lines of JSON on standard output. It ends with standard input.
//
//   lesson_host --server URL --user NAME --password TEXT [--transports LIST] [--ca FILE]
//
//   {"id":1,"call":"start"}                         is answered by   {"event":"done","id":1}
//   {"id":2,"call":"ask","text":"?","kind":"TEXT"}  or by            {"event":"done","id":2,"failure":"NotAllowed"}
//   {"id":3,"call":"results"}                       or by            {"event":"done","id":3,"value":[...]}

#include "support/Text.h"

#include "host/LiveClass.h"

#include <QtCore/QBuffer>
#include <QtCore/QCommandLineParser>
#include <QtCore/QCoreApplication>
#include <QtCore/QFile>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QMetaEnum>
#include <QtCore/QSocketNotifier>

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <unistd.h>

using Tarvo::LiveClass;
using Tarvo::Operation;

namespace
{

constexpr int INPUT = 0; // standard input's descriptor

void tell(const char *event, QJsonObject fields)
{
    fields.insert(u"event"_s, QLatin1String(event));
    const QByteArray line = QJsonDocument(fields).toJson(QJsonDocument::Compact) + '\n';
    std::fwrite(line.constData(), 1, static_cast<size_t>(line.size()), stdout);
    std::fflush(stdout);
}

template<typename Enum> QString nameOf(Enum value)
{
    return QLatin1String(QMetaEnum::fromType<Enum>().valueToKey(value));
}

// ---- What a call gives ---------------------------------------------------------------------------

QString text(const QJsonObject &given, const char *key)
{
    return given.value(QLatin1String(key)).toString();
}

int number(const QJsonObject &given, const char *key)
{
    return given.value(QLatin1String(key)).toInt();
}

QStringList texts(const QJsonObject &given, const char *key)
{
    return given.value(QLatin1String(key)).toVariant().toStringList();
}

// The value of the enumerator that is named; the kit refuses those that are none.
template<typename Enum> Enum named(const QJsonObject &given, const char *key)
{
    const QByteArray name = text(given, key).toUtf8();
    return static_cast<Enum>(QMetaEnum::fromType<Enum>().keyToValue(name.constData()));
}

QByteArray file(const QJsonObject &given)
{
    QFile file(text(given, "file"));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

Tarvo::PollType::POLL_TYPE kind(const QJsonObject &given)
{
    return named<Tarvo::PollType::POLL_TYPE>(given, "kind");
}

Tarvo::OrdinalType::ORDINAL_TYPE ordinals(const QJsonObject &given)
{
    return named<Tarvo::OrdinalType::ORDINAL_TYPE>(given, "ordinals");
}

Tarvo::AssessmentQuestion question(const QJsonObject &given)
{
    Tarvo::AssessmentQuestion question;
    question.kind = kind(given);
    question.text = text(given, "text");
    question.properties = given.value(QLatin1String("properties")).toObject().toVariantMap();
    const QStringList options = texts(given, "options");
    for (int i = 0; i < options.size(); ++i)
        question.choices.append({QString(QChar(u'A' + i)), options.at(i)});
    return question;
}

Tarvo::Assessment assessment(const QJsonObject &given)
{
    Tarvo::Assessment assessment;
    assessment.title = text(given, "title");
    assessment.settings = given.value(QLatin1String("settings")).toObject().toVariantMap();
    const QJsonArray questions = given.value(QLatin1String("questions")).toArray();
    for (const QJsonValue &each : questions)
        assessment.questions.append(question(each.toObject()));
    return assessment;
}

// ---- Calls ---------------------------------------------------------------------------------------

using Given = const QJsonObject &;

// A call that the class ends later.
struct Call {
    const char *name;
    Operation (*make)(LiveClass &live, Given given);
};

// A look at what the class shows.
struct Look {
    const char *name;
    QJsonValue (*take)(const LiveClass &live);
};

// clang-format off
const Call CALLS[] = {
    {"start", [](LiveClass &live, Given) { return live.start(); }},
    {"stop", [](LiveClass &live, Given) { return live.stop(); }},
    {"ask", [](LiveClass &live, Given given) {
        return live.ask(text(given, "text"), kind(given), texts(given, "options")); }},
    {"startPoll", [](LiveClass &live, Given given) {
        return live.startPoll(kind(given), ordinals(given), number(given, "count")); }},
    {"startPollWithImageAt", [](LiveClass &live, Given given) {
        return live.startPollWithImageAt(kind(given), ordinals(given), number(given, "count"), text(given, "url")); }},
    {"startPollWithImage", [](LiveClass &live, Given given) {
        return live.startPollWithImage(kind(given), ordinals(given), number(given, "count"), file(given)); }},
    {"startAssessment", [](LiveClass &live, Given given) { return live.startAssessment(assessment(given)); }},
    {"stopActivity", [](LiveClass &live, Given) { return live.stopActivity(); }},
    {"pause", [](LiveClass &live, Given) { return live.pause(); }},
    {"resume", [](LiveClass &live, Given) { return live.resume(); }},
    {"showImage", [](LiveClass &live, Given given) { return live.showImage(file(given)); }},
    {"showImageAt", [](LiveClass &live, Given given) { return live.showImageAt(text(given, "url")); }},
    {"showLesson", [](LiveClass &live, Given given) { return live.showLesson(text(given, "lesson"), text(given, "name")); }},
    {"showCard", [](LiveClass &live, Given given) { return live.showCard(number(given, "number"), number(given, "total")); }},
    {"sendText", [](LiveClass &live, Given given) {
        return live.sendText(text(given, "text"), named<LiveClass::TextOption>(given, "option")); }},
    {"removeLearner", [](LiveClass &live, Given given) { return live.removeLearner(text(given, "device")); }},
};
// clang-format on

// The rows of a model, each as an object of its roles.
QJsonArray rowsOf(const QAbstractItemModel *model)
{
    const QHash<int, QByteArray> roles = model->roleNames();
    QJsonArray rows;
    for (int row = 0; row < model->rowCount(); ++row) {
        QJsonObject fields;
        for (auto role = roles.begin(); role != roles.end(); ++role) {
            const QVariant value = model->index(row, 0).data(role.key());
            fields.insert(QString::fromLatin1(role.value()), QJsonValue::fromVariant(value));
        }
        rows.append(fields);
    }
    return rows;
}

QString csvOf(const LiveClass &live)
{
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    live.exportCsv(&buffer);
    return QString::fromUtf8(buffer.data());
}

const Look LOOKS[] = {
    {"learners", [](const LiveClass &live) { return QJsonValue(rowsOf(live.learners())); }},
    {"results", [](const LiveClass &live) { return QJsonValue(rowsOf(live.results())); }},
    {"csv", [](const LiveClass &live) { return QJsonValue(csvOf(live)); }},
    {"transport", [](const LiveClass &live) { return QJsonValue(live.transport()); }},
};

template<typename Row, size_t N> const Row *rowNamed(const Row (&table)[N], const QString &name)
{
    const auto *found = std::find_if(std::begin(table), std::end(table), [&name](const Row &row) {
        return name == QLatin1String(row.name);
    });
    return found == std::end(table) ? nullptr : found;
}

// `fields` are the answer's.
void await(LiveClass &live, const Operation &operation, const QJsonObject &fields)
{
    operation.then(
        &live, [fields] { tell("done", fields); },
        [fields](const Tarvo::Failure &failure) {
            QJsonObject failed = fields;
            failed.insert(u"failure"_s, nameOf(failure.reason()));
            failed.insert(u"message"_s, failure.message());
            tell("done", failed);
        });
}

void obey(LiveClass &live, const QJsonObject &given)
{
    const QString name = text(given, "call");
    QJsonObject answer{{u"id"_s, given.value(QLatin1String("id"))}};
    if (const Call *call = rowNamed(CALLS, name)) {
        await(live, call->make(live, given), answer);
        return;
    }
    if (const Look *look = rowNamed(LOOKS, name))
        answer.insert(u"value"_s, look->take(live));
    else
        answer.insert(u"failure"_s, u"UnknownCall"_s);
    tell("done", answer);
}

// ---- What the class tells ------------------------------------------------------------------------

QJsonObject answerFields(const QString &deviceId, const QString &question, const QString &answer,
                         int responseTimeMs)
{
    return {{u"device"_s, deviceId},
            {u"question"_s, question},
            {u"answer"_s, answer},
            {u"ms"_s, responseTimeMs}};
}

void tellOfPeople(LiveClass &live)
{
    QObject::connect(&live, &LiveClass::learnerJoined, &live, [](const Tarvo::Learner &learner) {
        tell("learnerJoined",
             {{u"device"_s, learner.deviceId},
              {u"name"_s, learner.userName},
              {u"deviceType"_s, learner.deviceType}});
    });
    QObject::connect(&live, &LiveClass::learnerLeft, &live, [](const QString &deviceId) {
        tell("learnerLeft", {{u"device"_s, deviceId}});
    });
    QObject::connect(&live, &LiveClass::answered, &live,
                     [](const QString &device, const QString &question, const QString &answer,
                        int ms) { tell("answered", answerFields(device, question, answer, ms)); });
    QObject::connect(
        &live, &LiveClass::answeredLate, &live,
        [](const QString &device, const QString &question, const QString &answer, int ms) {
            tell("answeredLate", answerFields(device, question, answer, ms));
        });
    QObject::connect(&live, &LiveClass::remoteChanged, &live, [](bool isThere) {
        tell("remoteChanged", {{u"isThere"_s, isThere}});
    });
    QObject::connect(
        &live, &LiveClass::remoteCommand, &live, [](const QString &command, const QVariant &data) {
            tell("remoteCommand",
                 {{u"command"_s, command}, {u"data"_s, QJsonValue::fromVariant(data)}});
        });
}

void tellOfTheClass(LiveClass &live)
{
    QObject::connect(&live, &LiveClass::stateChanged, &live, [&live] {
        tell("stateChanged", {{u"state"_s, nameOf(live.state())}});
    });
    QObject::connect(&live, &LiveClass::sessionCodeChanged, &live, [&live] {
        tell("sessionCodeChanged", {{u"code"_s, live.sessionCode()}});
    });
    QObject::connect(&live, &LiveClass::pausedChanged, &live, [&live] {
        tell("pausedChanged", {{u"paused"_s, live.isPaused()}});
    });
    QObject::connect(&live, &LiveClass::failed, &live, [](const Tarvo::Failure &failure) {
        tell("failed",
             {{u"reason"_s, nameOf(failure.reason())}, {u"message"_s, failure.message()}});
    });
    QObject::connect(&live, &LiveClass::ended, &live, [](Tarvo::Failure::Reason reason) {
        tell("ended", {{u"reason"_s, nameOf(reason)}});
    });
}

// ---- The program ---------------------------------------------------------------------------------

// Takes the lines that have come whole; what is behind them stays.
void takeLines(QByteArray *waiting, LiveClass &live)
{
    for (int end = waiting->indexOf('\n'); end >= 0; end = waiting->indexOf('\n')) {
        obey(live, QJsonDocument::fromJson(waiting->left(end)).object());
        waiting->remove(0, end + 1);
    }
}

// Standard input's end is the program's: whoever leads it has gone.
void listen(QSocketNotifier &input, QByteArray *waiting, LiveClass &live)
{
    QObject::connect(&input, &QSocketNotifier::activated, &live, [&input, waiting, &live] {
        char bytes[65536];
        const ssize_t count = read(INPUT, bytes, sizeof bytes);
        if (count <= 0) {
            input.setEnabled(false);
            QCoreApplication::quit();
            return;
        }
        waiting->append(bytes, static_cast<int>(count));
        takeLines(waiting, live);
    });
}

void readOptions(QCommandLineParser &parser)
{
    parser.addOptions({
        {u"server"_s, {}, u"URL"_s},
        {u"user"_s, {}, u"NAME"_s},
        {u"password"_s, {}, u"TEXT"_s},
        {u"transports"_s, {}, u"LIST"_s},
        {u"ca"_s, {}, u"FILE"_s},
    });
    parser.process(*QCoreApplication::instance());
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    QCommandLineParser options;
    readOptions(options);
    LiveClass live;
    live.setTransports(options.value(u"transports"_s).split(QLatin1Char(','), Qt::SkipEmptyParts));
    if (options.isSet(u"ca"_s)) // without a path, every file here and below would be read
        live.setTrustedCertificates(QSslCertificate::fromPath(options.value(u"ca"_s)));
    tellOfPeople(live);
    tellOfTheClass(live);
    QByteArray waiting;
    QSocketNotifier input(INPUT, QSocketNotifier::Read);
    listen(input, &waiting, live);
    live.signIn(options.value(u"server"_s), options.value(u"user"_s), options.value(u"password"_s));
    return QCoreApplication::exec();
}
