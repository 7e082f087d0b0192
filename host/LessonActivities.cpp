// What the host asks of a lesson: polls, questions, assessments, pictures, cards, messages.
#include "host/Lesson.h"

#include "host/QuestionRecords.h"

#include "collab/PresenterAssessment.h"
#include "collab/PresenterCollab.h"
#include "model/AssessmentOptions.h"
#include "model/Card.h"
#include "model/PollQuestion.h"

#include <QtCore/QUuid>

namespace Tarvo
{

namespace
{

// The ids of questions are made of seconds.
constexpr int POLL_DISTANCE_MS = 1000;
// Whose late answers are told apart.
constexpr int MAX_PAST = 200;

const QLatin1String UNSENDABLE_ADDRESS(
    "the address: it holds a quotation mark, a backslash or a line break");
const QLatin1String UNSENDABLE_LESSON(
    "the lesson's name: it holds a quotation mark, a backslash or a line break");
const QLatin1String NOT_THERE("this: the learner is not in the class");

const QLatin1String USER_ADDRESS(".user.");

bool hasOrdinals(int ordinals)
{
    return OrdinalType::ORDINAL_TYPE_STR().contains(OrdinalType::ORDINAL_TYPE(ordinals));
}

} // namespace

// ---- Activities ----------------------------------------------------------------------------------

int Lesson::pollDelayMs() const
{
    if (!m_sinceFixedPoll.isValid())
        return 0;
    return int(qMax<qint64>(0, POLL_DISTANCE_MS - m_sinceFixedPoll.elapsed()));
}

Failure Lesson::whyNoPoll(const FixedPoll &poll) const
{
    if (!PollType::POLL_TYPE_STR().contains(PollType::POLL_TYPE(poll.kind))
        || !hasOrdinals(poll.ordinals) || poll.count < 0 || poll.count > MAX_CHOICES)
        return {Action::StartPoll, Failure::InvalidArgument};
    if (!isSendable(poll.picture.url))
        return {Action::StartPoll, Failure::InvalidArgument, QString(), UNSENDABLE_ADDRESS};
    if (isRunning())
        return {Action::StartPoll, Failure::NotAllowed};
    if (!isOpen())
        return {Action::StartPoll, Failure::NotConnected};
    return {};
}

Failure Lesson::startPoll(const FixedPoll &poll)
{
    if (const Failure failure = whyNoPoll(poll))
        return failure;
    const auto kind = PollType::POLL_TYPE(poll.kind);
    const auto ordinals = OrdinalType::ORDINAL_TYPE(poll.ordinals);
    m_sinceFixedPoll.start();
    Picture picture = poll.picture;
    picture.url.replace(QLatin1Char('\''),
                        QLatin1String("%27")); // devices get it in quotes of these
    setPicture(picture);
    const QString background = picture.url.isEmpty() && picture.png.isEmpty()
        ? QString()
        : m_channel->getCardImageRef(true);
    m_channel->startPoll(kind, ordinals, poll.count, 0);
    const QString id = m_channel->getCurrentQuestionId();
    m_makeQuestion = [=, count = poll.count] {
        auto question = pollQuestion(kind, ordinals, count);
        if (!question)
            return question;
        question->setID(id);
        auto *card = new Card(question.get());
        card->setBackgroundImage(background);
        question->setcard(card);
        return question;
    };
    CountedQuestion counted{id, QString(), kind, {}};
    if (const auto question = m_makeQuestion())
        counted.choices = choicesOf(*question);
    beginActivity(LiveClass::Poll, {counted});
    return {};
}

Failure Lesson::ask(const AssessmentQuestion &asked)
{
    const QString why = whyNotAskable(asked);
    if (!why.isEmpty())
        return {Action::Ask, Failure::InvalidArgument, QString(), why};
    if (isRunning())
        return {Action::Ask, Failure::NotAllowed};
    if (!isOpen())
        return {Action::Ask, Failure::NotConnected};

    const QString id = QUuid::createUuid().toString(QUuid::WithoutBraces);
    m_makeQuestion = [=] { return recordOf(asked, id); };
    const auto question = m_makeQuestion();
    m_channel->sendQuestion(question.get());
    beginActivity(LiveClass::Poll, {{id, asked.text, asked.kind, asked.choices}});
    return {};
}

Failure Lesson::startAssessment(const Assessment &assessment)
{
    const auto fails = [](Failure::Reason reason, const QString &why = QString()) {
        return Failure(Action::StartAssessment, reason, QString(), why);
    };
    if (assessment.questions.isEmpty())
        return fails(Failure::InvalidArgument,
                     QStringLiteral("the assessment: it has no questions"));
    for (const AssessmentQuestion &question : assessment.questions) {
        const QString why = whyNotAskable(question);
        if (!why.isEmpty())
            return fails(Failure::InvalidArgument, why);
    }
    if (isRunning())
        return fails(Failure::NotAllowed);
    if (!isOpen())
        return fails(Failure::NotConnected);

    m_assessment = assessment;
    m_assessmentLink = std::make_unique<PresenterAssessment>(nullptr, m_channel);
    connect(m_assessmentLink.get(), &PresenterAssessment::learnerGetQuestion, this,
            &Lesson::questionAskedFor);
    QVector<CountedQuestion> counted;
    for (int i = 0; i < assessment.questions.size(); ++i) {
        const AssessmentQuestion &question = assessment.questions.at(i);
        counted.append({assessmentQuestionId(i), question.text, question.kind, question.choices});
    }
    beginActivity(LiveClass::Assessment, counted);
    const QStringList devices = m_roster.deviceIds();
    for (const QString &deviceId : devices)
        giveActivityTo(deviceId);
    return {};
}

void Lesson::beginActivity(LiveClass::Activity activity, const QVector<CountedQuestion> &questions)
{
    m_activity = activity;
    m_questions = questions;
    m_newSinceLoss.clear();
    m_unlisted.clear(); // the list may have been behind
    m_stopIsOwed = false;
    m_pauseIsOwed = false;
    tellPaused(false);
    m_host.post(Notices::QuestionsBegin{questions});
    m_host.post(Notices::ActivityIs{activity});
}

void Lesson::endActivity()
{
    m_activity = LiveClass::NoActivity;
    for (const CountedQuestion &question : qAsConst(m_questions))
        m_past.append(question.id);
    while (m_past.size() > MAX_PAST)
        m_answers.remove(m_past.takeFirst());
    m_host.post(Notices::ActivityIs{LiveClass::NoActivity});
}

// What is running, for a device that came after it had begun.
void Lesson::giveActivityTo(const QString &deviceId)
{
    if (m_activity == LiveClass::Assessment) {
        const auto options = optionsOf(m_assessment, m_assessmentLink->getAssessmentToken());
        m_assessmentLink->start(deviceId, options.get());
    } else if (const auto question = m_makeQuestion()) {
        m_channel->sendQuestion(USER_ADDRESS + deviceId, question.get());
    }
}

// Of our own: questions that are made within one second come with the same.
QString Lesson::assessmentQuestionId(int index) const
{
    return m_assessmentLink->getAssessmentToken() + QLatin1Char('-')
        + QString::number(m_assessment.firstNumber + index);
}

// ---- Wishes --------------------------------------------------------------------------------------

Failure Lesson::pause()
{
    if (!isRunning())
        return {Action::Pause, Failure::NotAllowed};
    tellPaused(true);
    m_pauseIsOwed = !isOpen();
    sendPause(true);
    return {};
}

// Always goes out: devices may be paused without our knowing.
Failure Lesson::resume()
{
    tellPaused(false);
    m_pauseIsOwed = !isOpen();
    sendPause(false);
    return {};
}

void Lesson::sendPause(bool pause)
{
    if (!isOpen())
        return;
    if (pause)
        m_channel->pausePoll();
    else
        m_channel->resumePoll();
}

// Devices that were paused would stay so.
Failure Lesson::stopActivity()
{
    if (!isRunning())
        return {Action::StopActivity, Failure::NotAllowed};
    if (m_isPaused)
        resume();
    endActivity();
    m_stopIsOwed = !isOpen();
    if (!m_stopIsOwed)
        sendStop();
    return {};
}

void Lesson::sendStop()
{
    if (m_assessmentLink)
        m_assessmentLink->stop();
    else
        m_channel->stopPoll();
    m_assessmentLink.reset();
}

// ---- Pictures, cards, messages -------------------------------------------------------------------

// Image data would win over an address.
void Lesson::setPicture(const Picture &picture)
{
    m_channel->clearCardImage();
    m_channel->setCardImageRef(picture.url);
    m_channel->setCardImageData(picture.png);
}

Failure Lesson::showImage(const Picture &picture)
{
    if ((picture.url.isEmpty() && picture.png.isEmpty()) || !isSendable(picture.url))
        return {Action::ShowImage, Failure::InvalidArgument, QString(), UNSENDABLE_ADDRESS};
    if (!isOpen())
        return {Action::ShowImage, Failure::NotConnected};
    setPicture(picture);
    m_channel->showImageCard(false); // the card takes the address as it is, not as a CSS value
    return {};
}

Failure Lesson::showLesson(const QString &id, const QString &name)
{
    if (!isSendable(id) || !isSendable(name))
        return {Action::ShowLesson, Failure::InvalidArgument, QString(), UNSENDABLE_LESSON};
    if (!isOpen())
        return {Action::ShowLesson, Failure::NotConnected};
    m_shown.id = id;
    m_shown.name = name;
    m_channel->sendCurrentLessonToRemote(id, name);
    return {};
}

Failure Lesson::showCard(int number, int total)
{
    constexpr int MAX_CARDS = 10000;
    if (number < 1 || number > total || total > MAX_CARDS)
        return {Action::ShowCard, Failure::InvalidArgument};
    if (!isOpen())
        return {Action::ShowCard, Failure::NotConnected};
    m_shown.card = number;
    m_shown.total = total;
    m_channel->sendCurrentCardToRemote(number, total);
    return {};
}

Failure Lesson::sendText(const QStringList &deviceIds, const QString &text,
                         LiveClass::TextOption option)
{
    if (!isOpen())
        return {Action::SendText, Failure::NotConnected};
    // Messages go through an assessment object, but need no assessment to be running.
    PresenterAssessment sender(nullptr, m_channel);
    for (const QString &deviceId : deviceIds) {
        if (!m_roster.isThere(deviceId))
            return {Action::SendText, Failure::InvalidArgument, QString(), NOT_THERE};
        sender.sendMessage(deviceId, text, option != LiveClass::FixedText,
                           option == LiveClass::ReviewText);
    }
    return {};
}

Failure Lesson::removeLearner(const QString &deviceId)
{
    if (!m_roster.isThere(deviceId))
        return {Action::RemoveLearner, Failure::InvalidArgument, QString(), NOT_THERE};
    if (!isOpen())
        return {Action::RemoveLearner, Failure::NotConnected};
    m_removing = deviceId;
    m_channel->removeLearner(deviceId);
    m_removing.clear();
    return {};
}

} // namespace Tarvo
