#include "Examples.h"
#include "support/Text.h"

#include "collab/CollaborationMessageHandler.h"
#include "collab/PresenterAssessment.h"
#include "collab/PresenterCollab.h"
#include "compression/Lzma.h"
#include "model/AssessmentOptions.h"
#include "model/QuestionMultiChoice.h"
#include "support/EventBusServer.h"

#include <QtTest/QtTest>

#include <functional>

using namespace Tarvo;

namespace
{

const QString SESSION = u"abc123"_s;
const QString TEACHER = u"t42"_s;
const QString DEVICE = u"d17"_s;
const QString IMAGE = u"https://classroom.example/cards/7.png"_s;

// In place of what is random.
const QString POLL_ID = u"0d9f6b0c-3f43-4b9e-9a2b-5c1d7e8f9012"_s;
const QString ASSESSMENT_TOKEN = u"6a1f3c52-9d0e-4b7a-8c15-2f6e9b0d4a37"_s;

// A block longer than this is cut in an envelope; the document shows its payload beside it.
constexpr int LONGEST_BLOCK = 100;
constexpr int CUT_BLOCK = 36;

// ---- What the presenter says ---------------------------------------------------------------------

struct Presenter {
    EventBusServer bus;
    PresenterCollab channel{nullptr, bus.url(), u"QX7K"_s, SESSION, TEACHER};
    PresenterAssessment assessment{nullptr, &channel};
};
using Operation = void (*)(Presenter &);

QString packed(const QString &payload)
{
    QString block;
    Lzma::compress64(payload, &block);
    return block;
}

// The first message that the operation sends, as it arrives at the collaboration server.
QString sent(Operation operation)
{
    Presenter presenter;
    presenter.channel.open({u"websocket"_s});
    if (!QTest::qWaitFor([&] { return presenter.bus.messages().size() == 3; }, 20000))
        return u"The channel did not open."_s;
    presenter.channel.startPoll(PollType::TEXT, OrdinalType::GENERIC, 0, 0);
    operation(presenter);
    if (!QTest::qWaitFor([&] { return presenter.bus.published().size() >= 2; }, 20000))
        return u"Nothing was sent."_s;

    QString message = presenter.bus.published().at(1);
    const QString block = QJsonDocument::fromJson(message.toUtf8())
                              .object()
                              .value("body")
                              .toObject()
                              .value("data")
                              .toArray()
                              .at(0)
                              .toString();
    QString payload;
    if (!Lzma::decompress64(block, &payload))
        return message;
    payload.replace(presenter.channel.getCurrentPollId(), POLL_ID);
    payload.replace(presenter.assessment.getAssessmentToken(), ASSESSMENT_TOKEN);
    return message.replace(block, packed(payload));
}

QString blockOf(const QString &message)
{
    static const QRegularExpression block("XQBAAA[A-Za-z0-9+/=]+");
    return block.match(message).captured();
}

QString withBlockCut(const QString &message)
{
    const QString block = blockOf(message);
    if (block.size() <= LONGEST_BLOCK)
        return message;
    return QString(message).replace(block, block.left(CUT_BLOCK) + QLatin1String("..."));
}

QString envelope(Operation operation)
{
    return withBlockCut(sent(operation));
}

QString payload(Operation operation)
{
    QString text;
    Lzma::decompress64(blockOf(sent(operation)), &text);
    return text;
}

void close(Presenter &p)
{
    p.channel.close();
}
void removeLearner(Presenter &p)
{
    p.channel.removeLearner(DEVICE);
}
void sendQuestion(Presenter &p)
{
    QuestionMultiChoice question(nullptr);
    question.setID("q7Rk2mXa");
    question.addActivityOption("A", "17", 0);
    p.channel.sendQuestion(&question);
}
void startPoll(Presenter &p)
{
    p.channel.setCardImageRef(IMAGE);
    p.channel.startPoll(PollType::WORD_SEED, OrdinalType::NUMBER, 2, 0);
}
void stopPoll(Presenter &p)
{
    p.channel.stopPoll();
}
void pausePoll(Presenter &p)
{
    p.channel.pausePoll();
}
void resumePoll(Presenter &p)
{
    p.channel.resumePoll();
}
void showImageCard(Presenter &p)
{
    p.channel.setCardImageRef(IMAGE);
    p.channel.showImageCard(false);
}
void sendHeavy(Presenter &p)
{
    p.channel.sendHeavy();
}
void sendLesson(Presenter &p)
{
    p.channel.sendCurrentLessonToRemote("l7", "Prime numbers");
}
void sendPresenterIsActive(Presenter &p)
{
    p.channel.sendPresenterIsActiveToRemote();
}
void sendCurrentCard(Presenter &p)
{
    p.channel.sendCurrentCardToRemote(2, 3);
}
void startAssessment(Presenter &p)
{
    AssessmentOptions options(nullptr);
    options.setassessmentToken(p.assessment.getAssessmentToken());
    options.setquestionCount(5);
    p.assessment.start(DEVICE, &options);
}
void stopAssessment(Presenter &p)
{
    p.assessment.stop();
}
void review(Presenter &p)
{
    p.assessment.sendMessage(DEVICE, "Look at question 3 again.", false, true);
}
void dialog(Presenter &p)
{
    p.assessment.sendMessage(DEVICE, "Five minutes left.", true, false);
}

// ---- The session's beginning ---------------------------------------------------------------------

QString registrations()
{
    Presenter presenter;
    presenter.channel.open({u"websocket"_s});
    if (!QTest::qWaitFor([&] { return presenter.bus.messages().size() == 3; }, 20000))
        return u"The channel did not open."_s;
    return presenter.bus.messages().join('\n');
}

QString pingFrame()
{
    Presenter presenter;
    presenter.channel.open({u"websocket"_s});
    presenter.channel.sendPing();
    if (!QTest::qWaitFor([&] { return presenter.bus.messages().size() == 4; }, 20000))
        return u"Nothing was sent."_s;
    return presenter.bus.frames().last();
}

// ---- What the devices say ------------------------------------------------------------------------

QString incoming(const QString &body)
{
    return uR"({"type":"message","address":"%1.presenter","body":{%2}})"_s.arg(SESSION, body);
}

QString fromDevice(const QString &type, const QString &payload)
{
    return incoming(
        uR"("from":"%1","type":"%2","data":["%3"])"_s.arg(DEVICE, type, packed(payload)));
}

const char JOIN[] = R"({"userName":"Ada","deviceType":"tablet"})";
const char POLL_RESPONSE[] =
    R"({"pollId":"0d9f6b0c-3f43-4b9e-9a2b-5c1d7e8f9012","responseTime":1500,"pick":{"input":"river"}})";
const char POLL_RESPONSE_PARTS[] =
    R"({"pollId":"0d9f6b0c-3f43-4b9e-9a2b-5c1d7e8f9012","responseTime":1500,"pick":{"blob":["A","C"]}})";
const char QUESTION_RESPONSE[] =
    R"({"questionId":"q7Rk2mXa","studentAssessmentToken":"","questionSetMode":"Poll","responseTime":1500,"answer":null,"optionAnswers":[{"activityOptionId":"A"},{"activityOptionId":"C"}]})";
const char QUESTION_GET[] = R"({"questionNumber":3})";
const char NEXT_CARD[] = R"({})";

QString unregisterUser()
{
    return incoming(R"("action":"unregister","client":{"type":"user","token":"d17"})");
}
QString unregisterController()
{
    return incoming(R"("action":"unregister","client":{"type":"controller","token":"r3"})");
}
QString join()
{
    return fromDevice("join", JOIN);
}
QString pollResponse()
{
    return fromDevice("pollResponse", POLL_RESPONSE);
}
QString pollResponseParts()
{
    return fromDevice("pollResponse", POLL_RESPONSE_PARTS);
}
QString questionResponse()
{
    return fromDevice("questionResponse", QUESTION_RESPONSE);
}
QString questionGet()
{
    return fromDevice("questionGet", QUESTION_GET);
}
QString nextCard()
{
    return fromDevice("nextCard", NEXT_CARD);
}

// The signals that the message becomes.
QString heard(const QString &message)
{
    using Handler = CollaborationMessageHandler;
    Handler handler(nullptr);
    QStringList events;
    QObject::connect(&handler, &Handler::learnerPollResponse,
                     [&](const QString &device, const QString &id, int ms, const QString &answer) {
                         events << uR"(learnerPollResponse("%1", "%2", %3, "%4"))"_s.arg(
                             device, id, QString::number(ms), answer);
                     });
    QObject::connect(&handler, &Handler::learnerJoin, [&](const Learner &learner) {
        events << uR"(learnerJoin({"%1", "%2", "%3"}))"_s.arg(learner.deviceId, learner.userName,
                                                              learner.deviceType);
    });
    QObject::connect(&handler, &Handler::learnerUnregister, [&](const QString &device) {
        events << uR"(learnerUnregister("%1"))"_s.arg(device);
    });
    QObject::connect(&handler, &Handler::controllerRegister, [&](bool isRegister) {
        events << u"controllerRegister(%1)"_s.arg(isRegister ? "true" : "false");
    });
    QObject::connect(&handler, &Handler::remoteControl, [&](const RemoteControlMessage &command) {
        events << uR"(remoteControl({"%1", "%2", %3}))"_s.arg(
            command.type, command.from,
            QString::fromUtf8(
                QJsonDocument::fromVariant(command.data).toJson(QJsonDocument::Compact)));
    });
    QObject::connect(&handler, &Handler::learnerGetQuestion,
                     [&](const QString &device, int number) {
                         events << uR"(learnerGetQuestion("%1", %2))"_s.arg(device).arg(number);
                     });
    QMetaObject::invokeMethod(&handler, "onHandleMessage", Q_ARG(QString, message));
    return events.join('\n');
}

} // namespace

QVector<Example> messageExamples()
{
    return {
        {"registrations", &registrations},
        {"ping-frame", &pingFrame},

        {"heavy", [] { return envelope(sendHeavy); }},
        {"heavy-payload", [] { return payload(sendHeavy); }},
        {"dialog-show", [] { return envelope(dialog); }},
        {"dialog-show-payload", [] { return payload(dialog); }},

        {"disconnect-all", [] { return envelope(close); }},
        {"disconnect-one", [] { return envelope(removeLearner); }},
        {"disconnect-payload", [] { return payload(removeLearner); }},

        {"question-start", [] { return envelope(sendQuestion); }},
        {"question-start-payload", [] { return payload(sendQuestion); }},
        {"poll", [] { return envelope(startPoll); }},
        {"poll-payload", [] { return payload(startPoll); }},
        {"poll-stop", [] { return envelope(stopPoll); }},
        {"poll-stop-payload", [] { return payload(stopPoll); }},
        {"pause", [] { return envelope(pausePoll); }},
        {"pause-payload", [] { return payload(pausePoll); }},
        {"resume", [] { return envelope(resumePoll); }},
        {"resume-payload", [] { return payload(resumePoll); }},

        {"show-card", [] { return envelope(showImageCard); }},
        {"show-card-payload", [] { return payload(showImageCard); }},
        {"current-lesson", [] { return envelope(sendLesson); }},
        {"current-lesson-payload", [] { return payload(sendLesson); }},
        {"current-card", [] { return envelope(sendCurrentCard); }},
        {"current-card-payload", [] { return payload(sendCurrentCard); }},
        {"presenter-is-active", [] { return envelope(sendPresenterIsActive); }},
        {"presenter-is-active-payload", [] { return payload(sendPresenterIsActive); }},

        {"assessment-start", [] { return envelope(startAssessment); }},
        {"assessment-start-payload", [] { return payload(startAssessment); }},
        {"assessment-stop", [] { return envelope(stopAssessment); }},
        {"assessment-stop-payload", [] { return payload(stopAssessment); }},
        {"question-set-review", [] { return envelope(review); }},
        {"question-set-review-payload", [] { return payload(review); }},

        {"unregister-user", &unregisterUser},
        {"unregister-user-heard", [] { return heard(unregisterUser()); }},
        {"unregister-controller", &unregisterController},
        {"unregister-controller-heard", [] { return heard(unregisterController()); }},
        {"join", [] { return withBlockCut(join()); }},
        {"join-payload", [] { return QString(JOIN); }},
        {"join-heard", [] { return heard(join()); }},
        {"poll-response", [] { return withBlockCut(pollResponse()); }},
        {"poll-response-payload", [] { return QString(POLL_RESPONSE); }},
        {"poll-response-heard", [] { return heard(pollResponse()); }},
        {"poll-response-parts-payload", [] { return QString(POLL_RESPONSE_PARTS); }},
        {"poll-response-parts-heard", [] { return heard(pollResponseParts()); }},
        {"question-response", [] { return withBlockCut(questionResponse()); }},
        {"question-response-payload", [] { return QString(QUESTION_RESPONSE); }},
        {"question-response-heard", [] { return heard(questionResponse()); }},
        {"question-get", [] { return withBlockCut(questionGet()); }},
        {"question-get-payload", [] { return QString(QUESTION_GET); }},
        {"question-get-heard", [] { return heard(questionGet()); }},
        {"next-card", [] { return withBlockCut(nextCard()); }},
        {"next-card-payload", [] { return QString(NEXT_CARD); }},
        {"next-card-heard", [] { return heard(nextCard()); }},
    };
}
