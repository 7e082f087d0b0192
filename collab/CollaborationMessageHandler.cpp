#include "collab/CollaborationMessageHandler.h"

#include "collab/ReadableJson.h"
#include "compression/BoundedLzma.h"
#include "compression/FalseWithoutMemory.h"

#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QStringBuilder>

// clazy:excludeall=non-pod-global-static

namespace
{

// The keys of a message, of its body and of the payloads, as the service and the devices write them.
const QString BODY = QStringLiteral("body");
const QString ACTION = QStringLiteral("action");
const QString TYPE = QStringLiteral("type");
const QString FROM = QStringLiteral("from");
const QString DATA = QStringLiteral("data");

const QString CLIENT = QStringLiteral("client");
const QString CLIENT_TOKEN = QStringLiteral("token");
const QString CLIENT_TYPE = QStringLiteral("type");
const QString CLIENT_TYPE_USER = QStringLiteral("user");
const QString CLIENT_TYPE_CONTROLLER = QStringLiteral("controller");

const QString USER_NAME = QStringLiteral("userName");
const QString DEVICE_TYPE = QStringLiteral("deviceType");

const QString POLL_ID = QStringLiteral("pollId");
const QString RESPONSE_TIME = QStringLiteral("responseTime");
const QString PICK = QStringLiteral("pick");
const QString PICK_BLOB = QStringLiteral("blob");
const QString PICK_INPUT = QStringLiteral("input");

const QString QUESTION_NUMBER = QStringLiteral("questionNumber");
const QString QUESTION_ID = QStringLiteral("questionId");
const QString ANSWER = QStringLiteral("answer");
const QString OPTION_ANSWERS = QStringLiteral("optionAnswers");
const QString ACTIVITY_OPTION_ID = QStringLiteral("activityOptionId");

// How a block is written as a list of its bytes.
constexpr QLatin1Char LIST_OPEN('[');
constexpr QLatin1Char LIST_CLOSE(']');
constexpr QLatin1Char LIST_SEPARATOR(',');

// Stands between the parts of an answer that has several.
constexpr QLatin1Char ANSWER_SEPARATOR(',');

// Writes a line to the debug stream as qDebug() would, but without setting up a text stream for it: of
// the time that a small message takes from frame to signal, its four lines would be a tenth.
void debugLine(const QString &line)
{
    qt_message_output(QtDebugMsg, QMessageLogContext(nullptr, 0, nullptr, "default"), line);
}

// Reads JSON, unless that would take too much memory.
bool readJson(const QString &json, QJsonDocument *document)
{
    if (!isReadableJson(json))
        return false;
    *document = QJsonDocument::fromJson(json.toUtf8());
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

// Whether a text can be the bracketed list of a block: numbers and nothing else, each perhaps with
// blanks round it. Of any other text the codec would make a block, too, taking what is no number for 0.
bool isNumberList(QString text)
{
    text.remove(LIST_OPEN).remove(LIST_CLOSE);
    for (int start = 0; start <= text.size();) {
        int end = text.indexOf(LIST_SEPARATOR, start);
        if (end < 0)
            end = text.size();
        bool isNumber = false;
        text.midRef(start, end - start).toInt(&isNumber);
        if (!isNumber)
            return false;
        start = end + 1;
    }
    return true;
}

bool decompressText(const QString &packed, QString *text)
{
    UnpackingLimit limit;
    if (BoundedLzma::decompress64(packed, &limit, text))
        return true;
    limit = {};
    return isNumberList(packed) && BoundedLzma::decompress(packed, &limit, text);
}

// A text payload: base64 of a block, or the block's bracketed list.
QVariant unpackedText(const QString &packed)
{
    QVariant value;
    const bool isUnpacked = falseWithoutMemory([&] {
        QString text;
        if (!decompressText(packed, &text) || !readJson(text, &value))
            return false;
        debugLine(QLatin1String("[MessageHandler.Decompressed from String] ") % text);
        return true;
    });
    if (isUnpacked)
        return value;
    // So that senders that do not compress still reach the handlers.
    debugLine(QStringLiteral("[MessageHandler.Decompressed] FAILED to decompress, "
                             "forwarding raw string!"));
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
        debugLine(QLatin1String("[MessageHandler.Decompressed from List] ") % text);
        return true;
    });
    if (isUnpacked)
        return value;
    debugLine(QStringLiteral("[MessageHandler.Decompressed] FAILED to decompress List!"));
    return list;
}

// The bytes of a text or a number, read as UTF-8, are the text that the variant gives.
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
    const QVariant blob = pick.value(PICK_BLOB);
    return blob.canConvert<QVariantList>() ? joined(blob.toList())
                                           : pick.value(PICK_INPUT).toString();
}

// What a learner answered to a question: the text, or for questions that are answered by choosing,
// which send none, the ids of the options chosen.
QString questionAnswer(const QVariantMap &response)
{
    const QString answer = response.value(ANSWER).toString();
    if (!answer.isEmpty())
        return answer;

    QVariantList ids;
    const QVariantList options = response.value(OPTION_ANSWERS).toList();
    for (const QVariant &option : options)
        ids.append(option.toMap().value(ACTIVITY_OPTION_ID));
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
    debugLine(QLatin1String("[MessageHandler] ") % message);

    const QVariantMap body = bodyOf(message);
    const QString action = body.value(ACTION).toString();
    if (!action.isNull()) {
        debugLine(QLatin1String("[MessageHandler.ACTION] ") % action);
        if (const ActionHandler handler = actions.value(action))
            (this->*handler)(body);
        return;
    }

    const QString type = body.value(TYPE).toString();
    if (type.isNull())
        return;
    debugLine(QLatin1String("[MessageHandler.TYPE] ") % type);
    const QVariant data = getDataValue(body);
    if (const DataHandler handler = dataTypes.value(type))
        (this->*handler)(body, data);
    else
        Q_EMIT unhandledMessage(body, data);
}

QVariant CollaborationMessageHandler::getDataValue(QVariantMap body)
{
    const QVariant data = body.value(DATA);
    // Numbers, flags and null are texts, too: the handlers get them as their text.
    if (data.canConvert<QString>())
        return unpackedText(data.toString());
    if (data.canConvert<QVariantList>())
        return unpackedList(data.toList());
    return data;
}

void CollaborationMessageHandler::actionRegister(QVariantMap body)
{
    const QString clientType = body.value(CLIENT).toMap().value(CLIENT_TYPE).toString();
    if (clientType == CLIENT_TYPE_USER) {
        debugLine(QStringLiteral("REGISTER")); // who it is comes with "join"
    } else if (clientType == CLIENT_TYPE_CONTROLLER) {
        debugLine(QStringLiteral("REGISTER CONTROLLER"));
        Q_EMIT controllerRegister(true);
    }
}

void CollaborationMessageHandler::actionUnregister(QVariantMap body)
{
    const QVariantMap client = body.value(CLIENT).toMap();
    const QString clientType = client.value(CLIENT_TYPE).toString();
    if (clientType == CLIENT_TYPE_USER) {
        debugLine(QStringLiteral("UNREGISTER"));
        Q_EMIT learnerUnregister(client.value(CLIENT_TOKEN).toString());
    } else if (clientType == CLIENT_TYPE_CONTROLLER) {
        debugLine(QStringLiteral("UNREGISTER CONTROLLER"));
        Q_EMIT controllerRegister(false);
    }
}

void CollaborationMessageHandler::dataJoin(QVariantMap body, QVariant data)
{
    debugLine(QStringLiteral("JOIN"));
    const QVariantMap fields = data.toMap();
    Q_EMIT learnerJoin({body.value(FROM).toString(), fields.value(USER_NAME).toString(),
                        fields.value(DEVICE_TYPE).toString()});
}

void CollaborationMessageHandler::dataPollResponse(QVariantMap body, QVariant data)
{
    const QVariantMap fields = data.toMap();
    const QString from = body.value(FROM).toString();
    const QString pollId = fields.value(POLL_ID).toString();
    const int responseTime = fields.value(RESPONSE_TIME).toInt();
    const QString answer = pickedAnswer(fields.value(PICK).toMap());
    debugLine(QLatin1String("POLL_RESPONSE:") % from % QLatin1Char(':') % pollId % QLatin1Char(':')
              % QString::number(responseTime) % QLatin1Char(':') % answer);
    Q_EMIT learnerPollResponse(from, pollId, responseTime, answer);
}

// The response carries "studentAssessmentToken" and "questionSetMode" too; the host learns neither.
void CollaborationMessageHandler::dataQuestionResponse(QVariantMap body, QVariant data)
{
    const QVariantMap fields = data.toMap();
    const QString from = body.value(FROM).toString();
    const QString answer = questionAnswer(fields);
    debugLine(QLatin1String("[DEBUG] RECEIVED RESPONSE FROM DEVICE ") % from
              % QLatin1String(" of value: ") % answer);
    Q_EMIT learnerPollResponse(from, fields.value(QUESTION_ID).toString(),
                               fields.value(RESPONSE_TIME).toInt(), answer);
}

void CollaborationMessageHandler::dataGetQuestion(QVariantMap body, QVariant data)
{
    const QString from = body.value(FROM).toString();
    const int number = data.toMap().value(QUESTION_NUMBER).toInt();
    debugLine(QLatin1String("Learner ") % from % QLatin1String(" requesting question ")
              % QString::number(number));
    Q_EMIT learnerGetQuestion(from, number);
}

void CollaborationMessageHandler::dataRemote(QVariantMap body, QVariant data)
{
    Q_EMIT remoteControl({body.value(TYPE).toString(), body.value(FROM).toString(), data});
}
