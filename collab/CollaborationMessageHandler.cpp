#include "collab/CollaborationMessageHandler.h"

#include "compression/Lzma.h"

#include <QtCore/QDebug>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QStringList>

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

// Stands between the parts of an answer that has several.
const QChar ANSWER_SEPARATOR = QLatin1Char(',');

QVariant parsed(const QString &json)
{
    return QJsonDocument::fromJson(json.toUtf8()).toVariant();
}

// A text payload: base64 of a block, or the block's bracketed list.
QVariant unpackedText(const QVariant &data)
{
    const QString packed = data.toString();
    QString text;
    if (!Lzma::decompress64(packed, &text) && !Lzma::decompress(packed, &text)) {
        // So that senders that do not compress still reach the handlers.
        qDebug().noquote() << "[MessageHandler.Decompressed] FAILED to decompress, "
                              "forwarding raw string!";
        return data;
    }
    qDebug().noquote() << "[MessageHandler.Decompressed from String]" << text;
    return parsed(text);
}

// The usual payload: a list of base64 texts, the pieces of one text.
bool decompressPieces(const QVariantList &pieces, QString *text)
{
    bool anyDecoded = false;
    for (const QVariant &piece : pieces) {
        const QString packed = piece.toString();
        QString decoded;
        if (packed.isEmpty() || !Lzma::decompress64(packed, &decoded))
            continue;
        text->append(decoded);
        anyDecoded = true;
    }
    return anyDecoded;
}

// A list payload: pieces in base64, or the bytes of a block as numbers.
QVariant unpackedList(const QVariantList &list)
{
    QString text;
    const bool isText = !list.isEmpty() && list.first().userType() == QMetaType::QString;
    const bool decoded = isText ? decompressPieces(list, &text) : Lzma::decompress(list, &text);
    if (!decoded) {
        qDebug().noquote() << "[MessageHandler.Decompressed] FAILED to decompress List!";
        return list;
    }
    qDebug().noquote() << "[MessageHandler.Decompressed from List]" << text;
    return parsed(text);
}

// What arrived as "data", in whichever form its sender packs it.
QVariant unpacked(const QVariant &data)
{
    if (data.canConvert<QString>())
        return unpackedText(data);
    if (data.canConvert<QVariantList>())
        return unpackedList(data.toList());
    return data;
}

// A field of a message's body. The body stays JSON, of which a handler reads a field or two: turning
// all of it into a map would take a tenth of the time that a message takes.
QString textField(const QJsonObject &body, const QString &name)
{
    return body.value(name).toVariant().toString();
}

QString utf8Text(const QVariant &bytes)
{
    return QString::fromUtf8(bytes.toByteArray());
}

// What a learner picked in a poll: the elements of "blob", or else "input".
QString pickedAnswer(const QVariantMap &pick)
{
    const QVariant blob = pick.value(PICK_BLOB);
    if (!blob.canConvert<QVariantList>())
        return utf8Text(pick.value(PICK_INPUT));

    const QVariantList parts = blob.toList();
    QStringList answers;
    answers.reserve(parts.size());
    for (const QVariant &part : parts)
        answers.append(utf8Text(part));
    return answers.join(ANSWER_SEPARATOR);
}

// What a learner answered to a question: the text, or for questions that are answered by choosing,
// which send none, the ids of the options chosen.
QString questionAnswer(const QVariantMap &response)
{
    const QString answer = response.value(ANSWER).toString();
    if (!answer.isEmpty())
        return answer;

    const QVariantList options = response.value(OPTION_ANSWERS).toList();
    QStringList ids;
    ids.reserve(options.size());
    for (const QVariant &option : options)
        ids.append(option.toMap().value(ACTIVITY_OPTION_ID).toString());
    return ids.join(ANSWER_SEPARATOR);
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
    qDebug().noquote() << "[MessageHandler]" << message;

    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(message.toUtf8(), &error);
    if (error.error != QJsonParseError::NoError)
        return;
    const QJsonObject body = document.object().value(BODY).toObject();

    const QString action = textField(body, ACTION);
    if (!action.isNull()) {
        qDebug().noquote() << "[MessageHandler.ACTION]" << action;
        if (const ActionHandler handler = actions.value(action))
            (this->*handler)(body);
        return;
    }

    const QString type = textField(body, TYPE);
    if (type.isNull())
        return;
    qDebug().noquote() << "[MessageHandler.TYPE]" << type;
    const QVariant data = unpacked(body.value(DATA).toVariant());
    if (const DataHandler handler = dataTypes.value(type))
        (this->*handler)(body, data);
    else
        Q_EMIT unhandledMessage(body.toVariantMap(), data);
}

QVariant CollaborationMessageHandler::getDataValue(QVariantMap body)
{
    return unpacked(body.value(DATA));
}

void CollaborationMessageHandler::actionRegister(const QJsonObject &body)
{
    const QString clientType = body.value(CLIENT).toVariant().toMap().value(CLIENT_TYPE).toString();
    if (clientType == CLIENT_TYPE_USER) {
        qDebug().noquote() << "REGISTER"; // who it is comes with "join"
    } else if (clientType == CLIENT_TYPE_CONTROLLER) {
        qDebug().noquote() << "REGISTER CONTROLLER";
        Q_EMIT controllerRegister(true);
    }
}

void CollaborationMessageHandler::actionUnregister(const QJsonObject &body)
{
    const QVariantMap client = body.value(CLIENT).toVariant().toMap();
    const QString clientType = client.value(CLIENT_TYPE).toString();
    if (clientType == CLIENT_TYPE_USER) {
        qDebug().noquote() << "UNREGISTER";
        Q_EMIT learnerUnregister(client.value(CLIENT_TOKEN).toString());
    } else if (clientType == CLIENT_TYPE_CONTROLLER) {
        qDebug().noquote() << "UNREGISTER CONTROLLER";
        Q_EMIT controllerRegister(false);
    }
}

void CollaborationMessageHandler::dataJoin(const QJsonObject &body, const QVariant &data)
{
    qDebug().noquote() << "JOIN";
    const QVariantMap fields = data.toMap();
    Q_EMIT learnerJoin({textField(body, FROM), fields.value(USER_NAME).toString(),
                        fields.value(DEVICE_TYPE).toString()});
}

void CollaborationMessageHandler::dataPollResponse(const QJsonObject &body, const QVariant &data)
{
    const QVariantMap fields = data.toMap();
    const QString from = textField(body, FROM);
    const QString pollId = fields.value(POLL_ID).toString();
    const int responseTime = fields.value(RESPONSE_TIME).toInt();
    const QString answer = pickedAnswer(fields.value(PICK).toMap());
    qDebug().noquote().nospace() << "POLL_RESPONSE:" << from << ':' << pollId << ':' << responseTime
                                 << ':' << answer;
    Q_EMIT learnerPollResponse(from, pollId, responseTime, answer);
}

// The response carries "studentAssessmentToken" and "questionSetMode" too; the host learns neither.
void CollaborationMessageHandler::dataQuestionResponse(const QJsonObject &body,
                                                       const QVariant &data)
{
    const QVariantMap fields = data.toMap();
    const QString from = textField(body, FROM);
    const QString answer = questionAnswer(fields);
    qDebug().noquote() << "[DEBUG] RECEIVED RESPONSE FROM DEVICE" << from << "of value:" << answer;
    Q_EMIT learnerPollResponse(from, fields.value(QUESTION_ID).toString(),
                               fields.value(RESPONSE_TIME).toInt(), answer);
}

void CollaborationMessageHandler::dataGetQuestion(const QJsonObject &body, const QVariant &data)
{
    const QString from = textField(body, FROM);
    const int number = data.toMap().value(QUESTION_NUMBER).toInt();
    qDebug().noquote() << "Learner" << from << "requesting question" << number;
    Q_EMIT learnerGetQuestion(from, number);
}

void CollaborationMessageHandler::dataRemote(const QJsonObject &body, const QVariant &data)
{
    Q_EMIT remoteControl({textField(body, TYPE), textField(body, FROM), data});
}
