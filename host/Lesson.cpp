// Who is there, what they answer, and what the remote wants. What the host asks for has a file of its
// own.
#include "host/Lesson.h"

#include "host/QuestionRecords.h"

#include "collab/PresenterAssessment.h"
#include "collab/PresenterCollab.h"
#include "model/QuestionBase.h"
#include "model/RemoteControlMessage.h"

#include <algorithm>
#include <utility>

namespace Tarvo
{

namespace
{

// Answers that wait for the list of learners, and devices that were told of; more are passed over.
constexpr int MAX_HELD_BACK = 20000;
constexpr qint64 MAX_HELD_BACK_BYTES = 16LL * 1024 * 1024;
constexpr int MAX_TOLD = 1000;
// No service gives longer ids.
constexpr int MAX_ID_LENGTH = 200;
// What waits for a host whose thread stands still.
constexpr std::size_t MAX_WAITING = 200000;
constexpr std::size_t MAX_WAITING_BYTES = 128ULL * 1024 * 1024;
// Learners that are told of together.
constexpr int MAX_TOGETHER = 200;
// The remote's questions are answered no faster.
constexpr int REMOTE_ANSWER_MS = 200;

// Never in the middle of a character.
QString cut(const QString &text, int length)
{
    if (text.size() <= length)
        return text;
    return text.left(text.at(length - 1).isHighSurrogate() ? length - 1 : length);
}

Learner cut(const Learner &learner)
{
    return {learner.deviceId, cut(learner.userName, LiveClass::MAX_NAME_LENGTH),
            cut(learner.deviceType, LiveClass::MAX_NAME_LENGTH)};
}

} // namespace

Lesson::Lesson(ToHost &host, QObject *parent) : QObject(parent), m_host(host) { }

Lesson::~Lesson() = default;

// ---- The session ---------------------------------------------------------------------------------

void Lesson::begin(PresenterCollab *channel)
{
    m_channel = channel;
    m_roster.clear();
    m_activity = LiveClass::NoActivity;
    m_questions.clear();
    m_answers.clear();
    m_past.clear();
    m_isPaused = false;
    m_pauseIsOwed = false;
    m_stopIsOwed = false;
    m_heldBack.clear();
    m_listIsOnItsWay = false;
    m_heldBackBytes = 0;
    m_isAway = false;
    m_newSinceLoss.clear();
    m_unlisted.clear();
    m_told.clear();
    m_shown = {};
    m_sinceRemoteAnswer.invalidate();
    m_sinceFixedPoll.invalidate();
    m_host.post(Notices::SessionBegins{});
    hear(channel);
}

void Lesson::hear(PresenterCollab *channel)
{
    connect(channel, &PresenterCollab::learnerJoin, this, &Lesson::learnerJoined);
    connect(channel, &PresenterCollab::learnerUnregister, this, &Lesson::learnerLeft);
    connect(channel, &PresenterCollab::learnerPollResponse, this,
            [this](const QString &deviceId, const QString &questionId, int responseTimeMs,
                   const QString &answer) {
                answerCame({deviceId, questionId, responseTimeMs,
                            cut(answer, LiveClass::MAX_ANSWER_LENGTH)});
            });
    connect(channel, &PresenterCollab::remoteControl, this, &Lesson::remoteCame);
    connect(channel, &PresenterCollab::controllerRegister, this, &Lesson::tellRemote);
}

void Lesson::end()
{
    if (isRunning())
        endActivity();
    tellPaused(false);
    m_assessmentLink.reset();
    const QStringList gone = m_roster.deviceIds();
    for (const QString &deviceId : gone)
        learnerLeft(deviceId);
    if (m_channel)
        m_channel->disconnect(this);
    m_channel = nullptr;
    tellRemote(false);
}

bool Lesson::isOpen() const
{
    return m_channel && m_channel->isConnected();
}

// ---- Who is there --------------------------------------------------------------------------------

void Lesson::learnerJoined(const Learner &joined)
{
    if (joined.deviceId.isEmpty() || joined.deviceId.size() > MAX_ID_LENGTH)
        return;
    const Learner learner = cut(joined);
    m_unlisted.remove(learner.deviceId);
    if (m_isListing)
        m_joinedMeanwhile.insert(learner.deviceId);
    const Roster::Change change = m_roster.join(learner);
    if (change != Roster::Nothing)
        tell(Notices::LearnersAre{{learner}, change == Roster::New});
    if (change == Roster::New && m_activity == LiveClass::Assessment && isOpen())
        giveActivityTo(learner.deviceId);
}

void Lesson::learnerLeft(const QString &deviceId)
{
    m_joinedMeanwhile.remove(deviceId);
    if (m_roster.remove(deviceId))
        tell(Notices::LearnerIsGone{deviceId, deviceId == m_removing});
}

void Lesson::listingBegins()
{
    m_isListing = true;
    m_joinedMeanwhile.clear();
}

void Lesson::learnersAre(const QList<Learner> &listed)
{
    m_isListing = false;
    m_listIsOnItsWay = false;
    dropUnlisted(listed);

    QVector<Learner> come;
    QVector<Learner> renamed;
    for (const Learner &one : listed) {
        const Learner learner = cut(one);
        const Roster::Change change = m_roster.list(learner);
        if (change == Roster::New)
            come.append(learner);
        else if (change == Roster::Renamed)
            renamed.append(learner);
    }
    tellOf(come, true);
    tellOf(renamed, false);

    const QVector<Answer> heldBack = std::exchange(m_heldBack, {});
    m_heldBackBytes = 0;
    QSet<QString> haveIt;
    for (const Answer &answer : heldBack)
        haveIt.insert(answer.deviceId);
    for (const Learner &learner : qAsConst(come)) {
        if (m_isAway)
            m_newSinceLoss.insert(learner.deviceId);
        else if (m_activity == LiveClass::Assessment && isOpen()
                 && !haveIt.contains(learner.deviceId))
            giveActivityTo(learner.deviceId);
    }
    for (const Answer &answer : heldBack) {
        if (m_roster.belongs(answer.deviceId)) {
            take(answer);
            continue;
        }
        if (m_unlisted.size() < MAX_TOLD)
            m_unlisted.insert(answer.deviceId);
        tellFailure(Failure::UnknownDevice, answer.deviceId);
    }
}

// Who has joined since the list was asked for need not be in it yet.
void Lesson::dropUnlisted(const QList<Learner> &listed)
{
    QSet<QString> there = m_joinedMeanwhile;
    for (const Learner &learner : listed)
        there.insert(learner.deviceId);
    const QStringList known = m_roster.deviceIds();
    for (const QString &deviceId : known) {
        if (!there.contains(deviceId))
            learnerLeft(deviceId);
    }
}

void Lesson::tellOf(const QVector<Learner> &learners, bool areNew)
{
    for (int first = 0; first < learners.size(); first += MAX_TOGETHER)
        m_host.post(Notices::LearnersAre{learners.mid(first, MAX_TOGETHER), areNew});
}

// Whoever waits is heard with the next list.
void Lesson::listingFailed()
{
    m_isListing = false;
    m_listIsOnItsWay = false;
}

void Lesson::wentAway()
{
    if (!std::exchange(m_isAway, true))
        m_newSinceLoss.clear();
}

void Lesson::cameBack()
{
    if (!std::exchange(m_isAway, false))
        return;
    const QSet<QString> come = std::exchange(m_newSinceLoss, {});
    if (std::exchange(m_pauseIsOwed, false))
        sendPause(m_isPaused);
    if (std::exchange(m_stopIsOwed, false))
        sendStop();
    if (!isRunning())
        return;
    for (const QString &deviceId : come)
        giveActivityTo(deviceId);
}

// ---- What they answer ----------------------------------------------------------------------------

void Lesson::answerCame(const Answer &answer)
{
    if (answer.deviceId.size() > MAX_ID_LENGTH || answer.questionId.size() > MAX_ID_LENGTH)
        return;
    if (m_roster.belongs(answer.deviceId))
        take(answer);
    else
        holdBack(answer);
}

// Devices repeat an answer until they know that it has arrived: the same again says nothing new.
void Lesson::take(const Answer &answer)
{
    const auto isAsked = [&](const CountedQuestion &question) {
        return question.id == answer.questionId;
    };
    const bool isCounted =
        isRunning() && std::any_of(m_questions.cbegin(), m_questions.cend(), isAsked);
    if (!isCounted && !m_past.contains(answer.questionId))
        return;
    QString &known = m_answers[answer.questionId][answer.deviceId];
    if ((!known.isNull() && known == answer.text) || isHostFarBehind())
        return;
    known = answer.text.isNull() ? QString(QLatin1String("")) : answer.text;
    tell(Notices::AnswerCame{answer.deviceId, answer.questionId, answer.text, answer.responseTimeMs,
                             !isCounted},
         answer.text.size());
}

void Lesson::holdBack(const Answer &answer)
{
    if (m_unlisted.contains(answer.deviceId) || m_heldBack.size() >= MAX_HELD_BACK
        || m_heldBackBytes > MAX_HELD_BACK_BYTES)
        return;
    m_heldBack.append(answer);
    m_heldBackBytes += answer.text.size() * qint64(sizeof(QChar));
    if (m_listIsOnItsWay)
        return;
    m_listIsOnItsWay = true;
    Q_EMIT listIsWanted();
}

void Lesson::questionAskedFor(const QString &deviceId, int number)
{
    const qint64 place = qint64(number) - m_assessment.firstNumber;
    if (m_activity != LiveClass::Assessment || !m_roster.isThere(deviceId) || place < 0
        || place >= m_assessment.questions.size())
        return;
    const int index = int(place);
    const auto question = recordOf(m_assessment, index, assessmentQuestionId(index));
    m_assessmentLink->sendQuestion(deviceId, question.get());
}

// ---- The remote ----------------------------------------------------------------------------------

bool Lesson::isRemote(const QString &from)
{
    if (!m_roster.isThere(from))
        return true;
    tellFailure(Failure::ForeignCommand, from);
    return false;
}

void Lesson::answerRemote()
{
    if (m_sinceRemoteAnswer.isValid() && !m_sinceRemoteAnswer.hasExpired(REMOTE_ANSWER_MS))
        return;
    m_sinceRemoteAnswer.start();
    if (!m_shown.id.isEmpty())
        m_channel->sendCurrentLessonToRemote(m_shown.id, m_shown.name);
    if (m_shown.card > 0)
        m_channel->sendCurrentCardToRemote(m_shown.card, m_shown.total);
}

void Lesson::remoteCame(const RemoteControlMessage &message)
{
    if (!isRemote(message.from))
        return;
    const QString &command = message.type;
    if (command == QLatin1String("requestLessonInfo")
        || command == QLatin1String("requestLesson")) {
        answerRemote();
    } else if (command == QLatin1String("presenterActive")) {
        m_channel->sendPresenterIsActiveToRemote();
    } else if (command == QLatin1String("pause") && isRunning()) {
        pause();
    } else if (command == QLatin1String("resume")) {
        resume();
    }
    tellRemote(true); // the service tells only of its end
    tell(Notices::CommandCame{command, message.data});
    if (command == QLatin1String("stopSession"))
        Q_EMIT stopIsWanted();
}

// ---- Telling -------------------------------------------------------------------------------------

// A host that does not keep up with what devices do loses some of it, before all memory is gone.
bool Lesson::isHostFarBehind() const
{
    return m_host.size() >= MAX_WAITING || m_host.bytes() >= MAX_WAITING_BYTES;
}

void Lesson::tellRemote(bool isThere)
{
    if (std::exchange(m_hasRemote, isThere) != isThere)
        tell(Notices::RemoteIs{isThere});
}

void Lesson::tell(Notice notice, int characters)
{
    if (!isHostFarBehind())
        m_host.post(std::move(notice), std::size_t(characters) * sizeof(QChar));
}

void Lesson::tellPaused(bool isPaused)
{
    if (m_isPaused == isPaused)
        return;
    m_isPaused = isPaused;
    m_host.post(Notices::PausedIs{isPaused});
}

// Each device once.
void Lesson::tellFailure(Failure::Reason reason, const QString &deviceId)
{
    QSet<QString> &told = m_told[reason];
    if (told.contains(deviceId) || told.size() >= MAX_TOLD)
        return;
    told.insert(deviceId);
    m_host.post(Notices::SomethingFailed{Failure(Action::None, reason, QString(), deviceId)});
}

} // namespace Tarvo
