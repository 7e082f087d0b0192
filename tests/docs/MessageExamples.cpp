#include "Examples.h"

#include "collab/OpenChannel.h"
#include "collab/PresenterAssessment.h"
#include "model/AssessmentOptions.h"
#include "model/QuestionMultiChoice.h"

#include <QtTest/QtTest>

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

struct Presenter : OpenChannel {
    Presenter() : OpenChannel(u"QX7K"_s, SESSION, TEACHER) { }

    PresenterAssessment assessment{nullptr, &channel};
};
using Operation = void (*)(Presenter &);

// The first message that the operation sends, as it arrives at the collaboration server.
QString firstSent(Operation operation)
{
    Presenter presenter;
    if (!presenter.open())
        return u"The channel did not open."_s;
    presenter.channel.startPoll(PollType::TEXT, OrdinalType::GENERIC, 0, 0);
    operation(presenter);
    QString message = presenter.published(2).value(1);
    const Published sent(message);
    if (sent.payload.isNull())
        return message;
    QString payload = sent.payload;
    payload.replace(presenter.channel.getCurrentPollId(), POLL_ID);
    payload.replace(presenter.assessment.getAssessmentToken(), ASSESSMENT_TOKEN);
    return message.replace(sent.block, packed(payload));
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
    return withBlockCut(firstSent(operation));
}

QString payload(Operation operation)
{
    return unpacked(blockOf(firstSent(operation)));
}

const Operation close = [](Presenter &p) { p.channel.close(); };
const Operation removeLearner = [](Presenter &p) { p.channel.removeLearner(DEVICE); };
const Operation sendQuestion = [](Presenter &p) {
    QuestionMultiChoice question(nullptr);
    question.setID("q7Rk2mXa");
    question.addActivityOption("A", "17", 0);
    p.channel.sendQuestion(&question);
};
const Operation startPoll = [](Presenter &p) {
    p.channel.setCardImageRef(IMAGE);
    p.channel.startPoll(PollType::WORD_SEED, OrdinalType::NUMBER, 2, 0);
};
const Operation stopPoll = [](Presenter &p) { p.channel.stopPoll(); };
const Operation pausePoll = [](Presenter &p) { p.channel.pausePoll(); };
const Operation resumePoll = [](Presenter &p) { p.channel.resumePoll(); };
const Operation showImageCard = [](Presenter &p) {
    p.channel.setCardImageRef(IMAGE);
    p.channel.showImageCard(false);
};
const Operation sendHeavy = [](Presenter &p) { p.channel.sendHeavy(); };
const Operation sendLesson = [](Presenter &p) {
    p.channel.sendCurrentLessonToRemote("l7", "Prime numbers");
};
const Operation sendPresenterIsActive = [](Presenter &p) {
    p.channel.sendPresenterIsActiveToRemote();
};
const Operation sendCurrentCard = [](Presenter &p) { p.channel.sendCurrentCardToRemote(2, 3); };
const Operation startAssessment = [](Presenter &p) {
    AssessmentOptions options(nullptr);
    options.setassessmentToken(p.assessment.getAssessmentToken());
    options.setquestionCount(5);
    p.assessment.start(DEVICE, &options);
};
const Operation stopAssessment = [](Presenter &p) { p.assessment.stop(); };
const Operation review = [](Presenter &p) {
    p.assessment.sendMessage(DEVICE, "Look at question 3 again.", false, true);
};
const Operation dialog = [](Presenter &p) {
    p.assessment.sendMessage(DEVICE, "Five minutes left.", true, false);
};

// ---- The session's beginning ---------------------------------------------------------------------

QString registrations()
{
    Presenter presenter;
    return presenter.open() ? presenter.bus.messages().join('\n') : u"The channel did not open."_s;
}

QString pingFrame()
{
    Presenter presenter;
    if (!presenter.open())
        return u"The channel did not open."_s;
    presenter.channel.sendPing();
    return presenter.published(1).isEmpty() ? u"Nothing was sent."_s
                                            : presenter.bus.frames().last();
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

const auto unregisterUser = [] {
    return incoming(R"("action":"unregister","client":{"type":"user","token":"d17"})");
};
const auto unregisterController = [] {
    return incoming(R"("action":"unregister","client":{"type":"controller","token":"r3"})");
};
const auto join = [] { return fromDevice("join", JOIN); };
const auto pollResponse = [] { return fromDevice("pollResponse", POLL_RESPONSE); };
const auto pollResponseParts = [] { return fromDevice("pollResponse", POLL_RESPONSE_PARTS); };
const auto questionResponse = [] { return fromDevice("questionResponse", QUESTION_RESPONSE); };
const auto questionGet = [] { return fromDevice("questionGet", QUESTION_GET); };
const auto nextCard = [] { return fromDevice("nextCard", NEXT_CARD); };

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
    deliver(&handler, message);
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

        {"unregister-user", unregisterUser},
        {"unregister-user-heard", [] { return heard(unregisterUser()); }},
        {"unregister-controller", unregisterController},
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
