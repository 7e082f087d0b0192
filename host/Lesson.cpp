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

// Devices that were told of; more are passed over.
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

bool isPairAt(const QString &text, int place)
{
    return text.at(place).isHighSurrogate() && place + 1 < text.size()
        && text.at(place + 1).isLowSurrogate();
}

// Characters are counted as the service and the devices count them: some take two places in a QString.
QString cut(const QString &text, int length)
{
    int end = 0;
    for (int count = 0; count < length && end < text.size(); ++count)
        end += isPairAt(text, end) ? 2 : 1;
    return text.left(end);
}

Learner cut(const Learner &learner)
{
    return {learner.deviceId, cut(learner.userName, LiveClass::MAX_NAME_LENGTH),
            cut(learner.deviceType, LiveClass::MAX_NAME_LENGTH)};
}

} // namespace

Lesson::Lesson(ToHost &host, QObject *parent) : QObject(parent), m_host(host)
{
    m_listAgain.setSingleShot(true);
    m_remoteAnswer.setSingleShot(true);
    m_remoteAnswer.setTimerType(Qt::PreciseTimer);
    connect(&m_listAgain, &QTimer::timeout, this, &Lesson::wantList);
    connect(&m_remoteAnswer, &QTimer::timeout, this, &Lesson::tellWhatIsShown);
}

Lesson::~Lesson() = default;

// ---- The session ---------------------------------------------------------------------------------

void Lesson::begin(PresenterCollab *channel)
{
    m_channel = channel;
    m_roster.clear();
    m_isLive = false;
    m_activity = LiveClass::NoActivity;
    m_questions.clear();
    m_answers.clear();
    m_past.clear();
    m_isPaused = false;
    m_pauseIsOwed = false;
    m_stopIsOwed = false;
    m_waiting.clear();
    m_listAgain.stop();
    m_listIsOnItsWay = false;
    m_isAway = false;
    m_newSinceLoss.clear();
    m_unlisted.clear();
    m_told.clear();
    m_shown = {};
    m_sinceRemoteAnswer.invalidate();
    m_remoteAnswer.stop();
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
                            cut(answer, LiveClass::MAX_ANSWER_LENGTH), false});
            });
    connect(channel, &PresenterCollab::remoteControl, this, &Lesson::remoteCame);
    connect(channel, &PresenterCollab::controllerRegister, this, &Lesson::tellRemote);
}

void Lesson::goLive()
{
    if (!std::exchange(m_isLive, true))
        tellOf(m_roster.learners(), true);
}

void Lesson::end()
{
    if (isRunning())
        endActivity();
    tellPaused(false);
    m_assessmentLink.reset();
    m_waiting.clear();
    m_listAgain.stop();
    m_remoteAnswer.stop();
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
    m_waiting.joined(learner.deviceId);
    awaitList();
    if (m_isListing)
        m_joinedMeanwhile.insert(learner.deviceId);
    const Roster::Change change = m_roster.join(learner);
    if (m_isLive && change != Roster::Nothing)
        tell(Notices::LearnersAre{{learner}, change == Roster::New});
    if (change == Roster::New && m_activity == LiveClass::Assessment && isOpen())
        giveActivityTo(learner.deviceId);
}

void Lesson::learnerLeft(const QString &deviceId)
{
    m_joinedMeanwhile.remove(deviceId);
    if (m_roster.remove(deviceId) && m_isLive)
        tell(Notices::LearnerIsGone{deviceId, deviceId == m_removing});
}

void Lesson::listingBegins()
{
    m_isListing = true;
    m_waiting.listBegins();
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
    if (m_isLive) {
        tellOf(come, true);
        tellOf(renamed, false);
    }

    hearWaiting(come);
    awaitList();
}

void Lesson::hearWaiting(const QVector<Learner> &come)
{
    const auto outcome =
        m_waiting.listCame([this](const QString &deviceId) { return m_roster.belongs(deviceId); });
    QSet<QString> haveIt;
    for (const DeviceAnswer &answer : outcome.known)
        haveIt.insert(answer.deviceId);
    for (const Learner &learner : come) {
        if (m_isAway)
            m_newSinceLoss.insert(learner.deviceId);
        else if (m_activity == LiveClass::Assessment && isOpen()
                 && !haveIt.contains(learner.deviceId))
            giveActivityTo(learner.deviceId);
    }
    for (const DeviceAnswer &answer : outcome.known)
        take(answer);
    areUnknown(outcome.unknown);
}

// They are no longer listened to, until they join.
void Lesson::areUnknown(const QStringList &deviceIds)
{
    for (const QString &deviceId : deviceIds) {
        if (m_unlisted.size() < MAX_TOLD)
            m_unlisted.insert(deviceId);
        tellFailure(Failure::UnknownDevice, deviceId);
    }
}

void Lesson::wantList()
{
    if (std::exchange(m_listIsOnItsWay, true))
        return;
    Q_EMIT listIsWanted();
}

// The list is read until it names everybody who waits, or they have waited long enough.
void Lesson::awaitList()
{
    if (!m_waiting.isEmpty())
        m_listAgain.start(m_waiting.nextListMs());
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
    if (!m_waiting.isEmpty())
        m_listAgain.start(WaitingAnswers::LIST_AGAIN_MS);
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

void Lesson::answerCame(DeviceAnswer answer)
{
    if (answer.deviceId.size() > MAX_ID_LENGTH || answer.questionId.size() > MAX_ID_LENGTH)
        return;
    answer.isInTime = isRunning() && isAsked(answer.questionId);
    if (m_roster.belongs(answer.deviceId))
        take(answer);
    else
        holdBack(answer);
}

bool Lesson::isAsked(const QString &questionId) const
{
    return std::any_of(m_questions.cbegin(), m_questions.cend(),
                       [&](const CountedQuestion &question) { return question.id == questionId; });
}

// Devices repeat an answer until they know that it has arrived: the same again says nothing new. One that
// had to wait for the list counts as long as its question's results are shown.
void Lesson::take(const DeviceAnswer &answer)
{
    const bool isCounted = answer.isInTime && isAsked(answer.questionId);
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

void Lesson::holdBack(const DeviceAnswer &answer)
{
    if (m_unlisted.contains(answer.deviceId))
        return;
    areUnknown(m_waiting.keep(answer));
    wantList();
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

// Who asks too soon has not heard the answer before, such as a page that was loaded again: there is one
// more for all of them.
void Lesson::answerRemote()
{
    if (m_remoteAnswer.isActive())
        return;
    if (m_sinceRemoteAnswer.isValid() && !m_sinceRemoteAnswer.hasExpired(REMOTE_ANSWER_MS))
        m_remoteAnswer.start(qMax(0, REMOTE_ANSWER_MS - int(m_sinceRemoteAnswer.elapsed())));
    else
        tellWhatIsShown();
}

void Lesson::tellWhatIsShown()
{
    if (!isOpen())
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
