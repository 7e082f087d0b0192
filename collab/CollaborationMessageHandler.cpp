#include "collab/CollaborationMessageHandler.h"

#include "collab/ReadableJson.h"
#include "compression/BoundedLzma.h"
#include "compression/FalseWithoutMemory.h"
#include "support/Json.h"
#include "support/Log.h"
#include "support/Toolkit.h"

#include <QtCore/QJsonObject>

namespace
{

// The keys of a message, of its body and of the payloads, as the service and the devices write them.
const QLatin1String BODY("body");
const QLatin1String ACTION("action");
const QLatin1String TYPE("type");
const QLatin1String FROM("from");
const QLatin1String DATA("data");

const QLatin1String CLIENT("client");
const QLatin1String CLIENT_TOKEN("token");
const QLatin1String CLIENT_TYPE("type");
const QLatin1String CLIENT_TYPE_USER("user");
const QLatin1String CLIENT_TYPE_CONTROLLER("controller");

const QLatin1String USER_NAME("userName");
const QLatin1String DEVICE_TYPE("deviceType");

const QLatin1String POLL_ID("pollId");
const QLatin1String RESPONSE_TIME("responseTime");
const QLatin1String PICK("pick");
const QLatin1String PICK_BLOB("blob");
const QLatin1String PICK_INPUT("input");

const QLatin1String QUESTION_NUMBER("questionNumber");
const QLatin1String QUESTION_ID("questionId");
const QLatin1String ANSWER("answer");
const QLatin1String OPTION_ANSWERS("optionAnswers");
const QLatin1String ACTIVITY_OPTION_ID("activityOptionId");

// Stands between the parts of an answer that has several.
constexpr QLatin1Char ANSWER_SEPARATOR(',');

// A field of a message. Messages have a handful of fields, and going through them takes less time than
// making a text of the name to look it up.
QVariant field(const QVariantMap &message, QLatin1String name)
{
    for (auto entry = message.constBegin(); entry != message.constEnd(); ++entry) {
        if (entry.key() == name)
            return entry.value();
    }
    return QVariant();
}

// Reads JSON, unless that would take too much memory.
bool readJson(const QString &json, QJsonDocument *document)
{
    if (!isReadableJson(json))
        return false;
    *document = Tarvo::readJson(json.toUtf8());
    return true;
}

bool readJson(const QString &json, QVariant *value)
{
    QJsonDocument document;
    if (!readJson(json, &document))
        return false;
    *value = document.toVariant();
    return true;
}

// The body of a message: empty when it has none and when it is no JSON. Nothing of the document stays
// behind, so that its memory is there for the payload.
QVariantMap bodyOf(const QString &message)
{
    QVariantMap body;
    falseWithoutMemory([&] {
        QJsonDocument document;
        if (!readJson(message, &document))
            return false;
        body = document.object().value(BODY).toObject().toVariantMap();
        return true;
    });
    return body;
}

bool decompressText(const QString &packed, QString *text)
{
    UnpackingLimit limit;
    if (BoundedLzma::decompress64(packed, &limit, text))
        return true;
    limit = {};
    return BoundedLzma::isNumberList(packed) && BoundedLzma::decompress(packed, &limit, text);
}

// A text payload: base64 of a block, or the block's bracketed list.
QVariant unpackedText(const QString &packed)
{
    QVariant value;
    const bool isUnpacked = falseWithoutMemory([&] {
        QString text;
        if (!decompressText(packed, &text) || !readJson(text, &value))
            return false;
        TARVO_LOG(channel, "[MessageHandler.Decompressed from String] ", text);
        return true;
    });
    if (isUnpacked)
        return value;
    // So that senders that do not compress still reach the handlers.
    TARVO_LOG(channel,
              "[MessageHandler.Decompressed] FAILED to decompress, forwarding raw string!");
    return packed;
}

// The usual payload: a list of base64 texts, the pieces of one text.
bool decompressPieces(const QVariantList &pieces, QString *text)
{
    UnpackingLimit limit;
    bool anyDecoded = false;
    for (const QVariant &piece : pieces) {
        const QString packed = piece.toString();
        QString decoded;
        if (!packed.isEmpty() && BoundedLzma::decompress64(packed, &limit, &decoded)) {
            text->append(decoded);
            anyDecoded = true;
        }
        if (limit.isExceeded)
            return false;
    }
    return anyDecoded;
}

bool decompressList(const QVariantList &list, QString *text)
{
    if (!list.isEmpty() && list.first().userType() == QMetaType::QString)
        return decompressPieces(list, text);
    UnpackingLimit limit;
    return BoundedLzma::decompress(list, &limit, text);
}

// A list payload: pieces in base64, or the bytes of a block as numbers.
QVariant unpackedList(const QVariantList &list)
{
    QVariant value;
    const bool isUnpacked = falseWithoutMemory([&] {
        QString text;
        if (!decompressList(list, &text) || !readJson(text, &value))
            return false;
        TARVO_LOG(channel, "[MessageHandler.Decompressed from List] ", text);
        return true;
    });
    if (isUnpacked)
        return value;
    TARVO_LOG(channel, "[MessageHandler.Decompressed] FAILED to decompress List!");
    return list;
}

// The parts as texts, with commas between.
QString joined(const QVariantList &parts)
{
    QString text;
    for (int i = 0; i < parts.size(); ++i) {
        if (i > 0)
            text += ANSWER_SEPARATOR;
        text += parts.at(i).toString();
    }
    return text;
}

// What a learner picked in a poll: the elements of "blob", or else "input".
QString pickedAnswer(const QVariantMap &pick)
{
    const QVariant blob = field(pick, PICK_BLOB);
    return Tarvo::isList(blob) ? joined(blob.toList()) : field(pick, PICK_INPUT).toString();
}

// What a learner answered to a question: the text, or for questions that are answered by choosing,
// which send none, the ids of the options chosen.
QString questionAnswer(const QVariantMap &response)
{
    const QString answer = field(response, ANSWER).toString();
    if (!answer.isEmpty())
        return answer;

    QVariantList ids;
    const QVariantList options = field(response, OPTION_ANSWERS).toList();
    for (const QVariant &option : options)
        ids.append(field(option.toMap(), ACTIVITY_OPTION_ID));
    return joined(ids);
}

} // namespace

CollaborationMessageHandler::CollaborationMessageHandler(QObject *parent)
    : QObject(parent),
      actions{
          // "register" is absent on purpose: it is not dispatched.
          {QStringLiteral("unregister"), &CollaborationMessageHandler::actionUnregister},
      },
      dataTypes{
          {QStringLiteral("join"), &CollaborationMessageHandler::dataJoin},
          {QStringLiteral("pollResponse"), &CollaborationMessageHandler::dataPollResponse},
          {QStringLiteral("questionResponse"), &CollaborationMessageHandler::dataQuestionResponse},
          {QStringLiteral("questionGet"), &CollaborationMessageHandler::dataGetQuestion},
          {QStringLiteral("stopSession"), &CollaborationMessageHandler::dataRemote},
          {QStringLiteral("requestLessonInfo"), &CollaborationMessageHandler::dataRemote},
          {QStringLiteral("requestLesson"), &CollaborationMessageHandler::dataRemote},
          {QStringLiteral("presenterActive"), &CollaborationMessageHandler::dataRemote},
          {QStringLiteral("pause"), &CollaborationMessageHandler::dataRemote},
          {QStringLiteral("resume"), &CollaborationMessageHandler::dataRemote},
          {QStringLiteral("lockAll"), &CollaborationMessageHandler::dataRemote},
          {QStringLiteral("unlockAll"), &CollaborationMessageHandler::dataRemote},
          {QStringLiteral("nextCard"), &CollaborationMessageHandler::dataRemote},
          {QStringLiteral("previousCard"), &CollaborationMessageHandler::dataRemote},
          {QStringLiteral("pushCurrentCard"), &CollaborationMessageHandler::dataRemote},
          {QStringLiteral("addImageCard"), &CollaborationMessageHandler::dataRemote},
      }
{
}

// Each way through ends with the handler's signal: the host's slot may delete this object.
void CollaborationMessageHandler::onHandleMessage(QString message)
{
    TARVO_LOG(channel, "[MessageHandler] ", message);

    const QVariantMap body = bodyOf(message);
    const QString action = field(body, ACTION).toString();
    if (!action.isNull()) {
        TARVO_LOG(channel, "[MessageHandler.ACTION] ", action);
        if (const ActionHandler handler = actions.value(action))
            (this->*handler)(body);
        return;
    }

    const QString type = field(body, TYPE).toString();
    if (type.isNull())
        return;
    TARVO_LOG(channel, "[MessageHandler.TYPE] ", type);
    const QVariant data = getDataValue(body);
    if (const DataHandler handler = dataTypes.value(type))
        (this->*handler)(body, data);
    else
        Q_EMIT unhandledMessage(body, data);
}

QVariant CollaborationMessageHandler::getDataValue(QVariantMap body)
{
    const QVariant data = field(body, DATA);
    // Numbers, flags and null are texts, too: the handlers get them as their text.
    if (data.canConvert<QString>())
        return unpackedText(data.toString());
    if (Tarvo::isList(data))
        return unpackedList(data.toList());
    return data;
}

void CollaborationMessageHandler::actionRegister(QVariantMap body)
{
    const QString clientType = field(field(body, CLIENT).toMap(), CLIENT_TYPE).toString();
    if (clientType == CLIENT_TYPE_USER) {
        TARVO_LOG(channel, "REGISTER"); // who it is comes with "join"
    } else if (clientType == CLIENT_TYPE_CONTROLLER) {
        TARVO_LOG(channel, "REGISTER CONTROLLER");
        Q_EMIT controllerRegister(true);
    }
}

void CollaborationMessageHandler::actionUnregister(QVariantMap body)
{
    const QVariantMap client = field(body, CLIENT).toMap();
    const QString clientType = field(client, CLIENT_TYPE).toString();
    if (clientType == CLIENT_TYPE_USER) {
        TARVO_LOG(channel, "UNREGISTER");
        Q_EMIT learnerUnregister(field(client, CLIENT_TOKEN).toString());
    } else if (clientType == CLIENT_TYPE_CONTROLLER) {
        TARVO_LOG(channel, "UNREGISTER CONTROLLER");
        Q_EMIT controllerRegister(false);
    }
}

void CollaborationMessageHandler::dataJoin(QVariantMap body, QVariant data)
{
    TARVO_LOG(channel, "JOIN");
    const QVariantMap fields = data.toMap();
    Q_EMIT learnerJoin({field(body, FROM).toString(), field(fields, USER_NAME).toString(),
                        field(fields, DEVICE_TYPE).toString()});
}

void CollaborationMessageHandler::dataPollResponse(QVariantMap body, QVariant data)
{
    const QVariantMap fields = data.toMap();
    const QString from = field(body, FROM).toString();
    const QString pollId = field(fields, POLL_ID).toString();
    const int responseTime = field(fields, RESPONSE_TIME).toInt();
    const QString answer = pickedAnswer(field(fields, PICK).toMap());
    TARVO_LOG(channel, "POLL_RESPONSE:", from, ":", pollId, ":", responseTime, ":", answer);
    Q_EMIT learnerPollResponse(from, pollId, responseTime, answer);
}

// The response carries "studentAssessmentToken" and "questionSetMode" too; the host learns neither.
void CollaborationMessageHandler::dataQuestionResponse(QVariantMap body, QVariant data)
{
    const QVariantMap fields = data.toMap();
    const QString from = field(body, FROM).toString();
    const QString answer = questionAnswer(fields);
    TARVO_LOG(channel, "[DEBUG] RECEIVED RESPONSE FROM DEVICE ", from, " of value: ", answer);
    Q_EMIT learnerPollResponse(from, field(fields, QUESTION_ID).toString(),
                               field(fields, RESPONSE_TIME).toInt(), answer);
}

void CollaborationMessageHandler::dataGetQuestion(QVariantMap body, QVariant data)
{
    const QString from = field(body, FROM).toString();
    const int number = field(data.toMap(), QUESTION_NUMBER).toInt();
    TARVO_LOG(channel, "Learner ", from, " requesting question ", number);
    Q_EMIT learnerGetQuestion(from, number);
}

void CollaborationMessageHandler::dataRemote(QVariantMap body, QVariant data)
{
    Q_EMIT remoteControl({field(body, TYPE).toString(), field(body, FROM).toString(), data});
}
