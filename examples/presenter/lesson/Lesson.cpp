#include "lesson/Lesson.h"

#include "CommandParser.h"
#include "console/Terminal.h"
#include "console/TextWidth.h"

#include "client/PresenterClient.h"
#include "collab/PresenterAssessment.h"
#include "collab/PresenterCollab.h"
#include "model/AssessmentOptions.h"
#include "model/QuestionBase.h"

#include <QtCore/QDateTime>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QJsonDocument>

namespace Host
{

namespace
{

constexpr char PNG_SIGNATURE[] = "\x89PNG\r\n\x1a\n";

// Free answers can be as long as a device likes.
constexpr int SHOWN_ANSWER_COLUMNS = 60;

QString shown(const QString &textOfOthers)
{
    return elided(printable(textOfOthers), SHOWN_ANSWER_COLUMNS);
}

QString learnersInWords(int count)
{
    return count == 1 ? QStringLiteral("1 learner") : QStringLiteral("%1 learners").arg(count);
}

// An answer to a sorting question is an order of all the options: none of them is a choice.
Tally tallyFor(Tarvo::PollType::POLL_TYPE kind, const QVector<Choice> &choices)
{
    return Tally(kind == Tarvo::PollType::SORT ? QVector<Choice>() : choices,
                 kind == Tarvo::PollType::MULTIPLE ? Tally::Several : Tally::Whole);
}

QVector<Choice> choicesOf(const Tarvo::QuestionBase *question)
{
    QVector<Choice> choices;
    if (!question)
        return choices;
    const QVariantList options = question->property("activityOptions").toList();
    for (const QVariant &option : options) {
        const QVariantMap properties = option.toMap();
        choices.append({properties.value(QStringLiteral("id")).toString(),
                        properties.value(QStringLiteral("optionText")).toString()});
    }
    return choices;
}

struct ReadFile {
    QByteArray bytes;
    QString error;
};

ReadFile readFile(const QString &name)
{
    QFile file(name);
    if (!file.open(QIODevice::ReadOnly))
        return {{}, QStringLiteral("%1: %2").arg(name, file.errorString())};
    return {file.readAll(), {}};
}

} // namespace

Lesson::Lesson(PresenterClient &client, PresenterCollab &channel, Terminal &terminal,
               QObject *parent)
    : Performer(parent), m_client(client), m_channel(&channel), m_terminal(terminal)
{
    connect(&channel, &PresenterCollab::learnerJoin, this, &Lesson::learnerJoined);
    connect(&channel, &PresenterCollab::learnerUnregister, this, &Lesson::learnerLeft);
    connect(&channel, &PresenterCollab::learnerPollResponse, this,
            [this](const QString &deviceId, const QString &questionId, int, const QString &answer) {
                responseCame(deviceId, questionId, answer);
            });
    connect(&channel, &PresenterCollab::remoteControl, this, &Lesson::remoteCame);
    connect(&channel, &PresenterCollab::controllerRegister, this, [this](bool isThere) {
        m_terminal.print(isThere ? QStringLiteral("+ remote") : QStringLiteral("- remote"));
    });
    connect(&channel, &PresenterCollab::unhandledMessage, this, [this](const QVariantMap &body) {
        m_terminal.print(QStringLiteral("? message of unknown type '%1'")
                             .arg(shown(body.value(QStringLiteral("type")).toString())));
    });
}

Lesson::~Lesson() = default;

void Lesson::execute(const Command &command, const Done &done)
{
    if (m_channel)
        done(std::visit([this](const auto &one) { return run(one); }, command));
    else
        done(QStringLiteral("The session is over."));
}

void Lesson::findLearners()
{
    m_client.doGetLearners();
    const QList<Tarvo::Learner> learners = m_client.getLearners();
    for (const Tarvo::Learner &learner : learners)
        learnerJoined(learner);
}

void Lesson::redraw()
{
    m_terminal.setBlock(
        isRunning() ? m_results.lines(learnerCount(), m_terminal.columns(), m_terminal.barStyle())
                    : QStringList());
}

// ---- Commands ------------------------------------------------------------------------------------

Lesson::Outcome Lesson::run(const Commands::Help &)
{
    m_terminal.print(commandHelp());
    return std::nullopt;
}

Lesson::Outcome Lesson::run(const Commands::ListLearners &)
{
    QStringList lines{QStringLiteral("%1:").arg(learnersInWords(learnerCount()))};
    int number = 0;
    for (const Tarvo::Learner &learner : m_roster.learners()) {
        lines.append(QStringLiteral("%1. %2 (%3), device %4")
                         .arg(QString::number(++number), shown(learner.userName),
                              shown(learner.deviceType), shown(learner.deviceId)));
    }
    m_terminal.print(lines);
    return std::nullopt;
}

Lesson::Outcome Lesson::run(const Commands::StartPoll &poll)
{
    if (isRunning())
        return QStringLiteral("Something is running; stop it first.");
    // Polls that are started within one second have the same question id, so the last poll's ids may
    // come again and are past no longer.
    const qint64 second = QDateTime::currentSecsSinceEpoch();
    if (second == m_pollSecond)
        m_past.subtract(m_results.questionIds());

    // The same question as the one that the channel makes when it starts the poll. Polls that have no
    // question are answered under their own id.
    const std::unique_ptr<Tarvo::QuestionBase> question(
        m_channel->createPollQuestion(poll.kind, poll.ordinal, poll.count, 0));
    m_channel->startPoll(poll.kind, poll.ordinal, poll.count, 0);
    const QString id = question ? QString() : m_channel->getCurrentPollId();
    m_activity = Poll;
    m_results =
        Results(QStringLiteral("Poll %1").arg(Tarvo::PollType::POLL_TYPE_STR().value(poll.kind)),
                {{id, QString(), tallyFor(poll.kind, choicesOf(question.get()))}});
    m_pollSecond = QDateTime::currentSecsSinceEpoch();
    redraw();
    return std::nullopt;
}

Lesson::Outcome Lesson::run(const Commands::Stop &)
{
    if (!isRunning())
        return QStringLiteral("There is nothing to stop.");
    if (m_activity == Assessment)
        m_assessment->stop();
    else
        m_channel->stopPoll();
    m_activity = Nothing;
    m_past.unite(m_results.questionIds());
    m_assessment.reset();
    redraw();
    return run(Commands::ShowResults{});
}

Lesson::Outcome Lesson::run(const Commands::Pause &)
{
    if (!isRunning())
        return QStringLiteral("There is nothing to pause.");
    m_channel->pausePoll();
    return std::nullopt;
}

Lesson::Outcome Lesson::run(const Commands::Resume &)
{
    if (!isRunning())
        return QStringLiteral("There is nothing to resume.");
    m_channel->resumePoll();
    return std::nullopt;
}

Lesson::Outcome Lesson::run(const Commands::ShowResults &)
{
    if (m_results.questions() == 0)
        return QStringLiteral("There are no results yet.");
    m_terminal.print(m_results.lines(learnerCount(), m_terminal.columns(), m_terminal.barStyle()));
    return std::nullopt;
}

Lesson::Outcome Lesson::run(const Commands::SetImage &image)
{
    if (image.isAddress) {
        m_channel->clearCardImage(); // which would win over an address
        m_channel->setCardImageRef(image.source);
        return std::nullopt;
    }
    if (image.upload) {
        QString address;
        if (const Outcome error = uploadFile(image.source, &address))
            return error;
        if (!m_channel)
            return QStringLiteral("The session has ended meanwhile.");
        m_channel->clearCardImage();
        m_channel->setCardImageRef(address);
        return std::nullopt;
    }
    const ReadFile file = readFile(image.source);
    if (!file.error.isEmpty())
        return file.error;
    if (!file.bytes.startsWith(PNG_SIGNATURE)) {
        m_terminal.print(QStringLiteral("%1 is not a PNG image, but devices will be told so.")
                             .arg(image.source));
    }
    m_channel->setCardImageData(file.bytes);
    return std::nullopt;
}

Lesson::Outcome Lesson::run(const Commands::Upload &upload)
{
    QString address;
    return uploadFile(upload.file, &address);
}

Lesson::Outcome Lesson::run(const Commands::ShowCard &)
{
    m_channel->showImageCard(false); // the card takes the address as it is, not as a CSS value
    return std::nullopt;
}

Lesson::Outcome Lesson::run(const Commands::SetLesson &lesson)
{
    m_lesson = lesson;
    m_channel->sendCurrentLessonToRemote(lesson.id, lesson.name);
    return std::nullopt;
}

Lesson::Outcome Lesson::run(const Commands::SetCurrentCard &card)
{
    m_card = card;
    m_channel->sendCurrentCardToRemote(card.number, card.total);
    return std::nullopt;
}

Lesson::Outcome Lesson::run(const Commands::StartAssessment &assessment)
{
    if (isRunning())
        return QStringLiteral("Something is running; stop it first.");
    AssessmentFile file = readAssessment(assessment.file);
    if (!file.error.isEmpty())
        return file.error;

    m_assessmentFile = std::move(file);
    m_assessment = std::make_unique<PresenterAssessment>(nullptr, m_channel);
    connect(m_assessment.get(), &PresenterAssessment::learnerGetQuestion, this,
            &Lesson::questionAskedFor);
    m_activity = Assessment;

    QVector<CountedQuestion> questions;
    for (int i = 0; i < m_assessmentFile.questions.size(); ++i) {
        const AssessmentQuestion &question = m_assessmentFile.questions.at(i);
        const QString text = question.properties.value(QStringLiteral("instructions")).toString();
        questions.append({questionId(i),
                          QStringLiteral("%1. %2").arg(QString::number(i + 1), printable(text)),
                          tallyFor(question.kind, question.choices)});
    }
    m_results = Results(QStringLiteral("Assessment %1").arg(printable(m_assessmentFile.title())),
                        std::move(questions));
    for (const Tarvo::Learner &learner : m_roster.learners())
        startAssessmentFor(learner.deviceId);
    redraw();
    return std::nullopt;
}

Lesson::Outcome Lesson::run(const Commands::SendMessage &message)
{
    QVector<Tarvo::Learner> receivers = m_roster.learners();
    if (!message.learner.isEmpty()) {
        const auto learner = m_roster.find(message.learner);
        if (!learner)
            return QStringLiteral("There is no single learner '%1'.").arg(message.learner);
        receivers = {*learner};
    }
    // Messages go through an assessment object, but need no assessment to be running.
    PresenterAssessment sender(nullptr, m_channel);
    for (const Tarvo::Learner &learner : qAsConst(receivers))
        sender.sendMessage(learner.deviceId, message.text, message.dismissible, message.review);
    return std::nullopt;
}

Lesson::Outcome Lesson::run(const Commands::RemoveLearner &remove)
{
    const auto learner = m_roster.find(remove.learner);
    if (!learner)
        return QStringLiteral("There is no single learner '%1'.").arg(remove.learner);
    m_channel->removeLearner(learner->deviceId);
    return std::nullopt;
}

template<typename Other> Lesson::Outcome Lesson::run(const Other &)
{
    return QStringLiteral("This is not for the lesson to do.");
}

// ---- What comes in -------------------------------------------------------------------------------

void Lesson::learnerJoined(const Tarvo::Learner &learner)
{
    if (!m_roster.add(learner))
        return;
    m_terminal.print(QStringLiteral("+ %1 (%2), %3 now")
                         .arg(shown(m_roster.nameOf(learner.deviceId)), shown(learner.deviceType),
                              learnersInWords(learnerCount())));
    if (m_activity == Assessment)
        startAssessmentFor(learner.deviceId);
    redraw();
    emit changed();
}

void Lesson::learnerLeft(const QString &deviceId)
{
    // A learner who was removed is reported here and once more by the server.
    const auto learner = m_roster.remove(deviceId);
    if (!learner)
        return;
    const QString name = learner->userName.isEmpty() ? deviceId : learner->userName;
    m_terminal.print(
        QStringLiteral("- %1 (%2), %3 now")
            .arg(shown(name), shown(learner->deviceType), learnersInWords(learnerCount())));
    redraw();
    emit changed();
}

void Lesson::responseCame(const QString &deviceId, const QString &questionId, const QString &answer)
{
    const QString name = shown(m_roster.nameOf(deviceId));
    if (!isRunning() || !m_results.count(deviceId, questionId, answer, m_past)) {
        m_terminal.print(QStringLiteral("  %1: %2 (too late)").arg(name, shown(answer)));
        return;
    }
    // At the prompt the bars show it.
    if (!m_terminal.hasPrompt())
        m_terminal.print(QStringLiteral("  %1: %2").arg(name, shown(answer)));
    redraw();
    emit changed();
}

void Lesson::questionAskedFor(const QString &deviceId, int number)
{
    const int index = number - m_assessmentFile.firstNumber();
    if (m_activity != Assessment || index < 0 || index >= m_assessmentFile.questions.size()) {
        m_terminal.print(QStringLiteral("? %1 asks for question %2, which there is not")
                             .arg(shown(m_roster.nameOf(deviceId)), QString::number(number)));
        return;
    }
    const auto question = makeQuestion(m_assessmentFile, index, questionId(index));
    m_assessment->sendQuestion(deviceId, question.get());
}

void Lesson::remoteCame(const Tarvo::RemoteControlMessage &message)
{
    const QString &command = message.type;
    m_terminal.print(QStringLiteral("* remote: %1").arg(shown(command)));
    if (command == QLatin1String("requestLessonInfo")
        || command == QLatin1String("requestLesson")) {
        if (!m_lesson.id.isEmpty())
            m_channel->sendCurrentLessonToRemote(m_lesson.id, m_lesson.name);
        moveToCard(m_card.number);
    } else if (command == QLatin1String("presenterActive")) {
        m_channel->sendPresenterIsActiveToRemote();
    } else if (command == QLatin1String("pause") && isRunning()) {
        m_channel->pausePoll();
    } else if (command == QLatin1String("resume") && isRunning()) {
        m_channel->resumePoll();
    } else if (command == QLatin1String("nextCard")) {
        moveToCard(m_card.number + 1);
    } else if (command == QLatin1String("previousCard")) {
        moveToCard(m_card.number - 1);
    } else if (command == QLatin1String("stopSession")) {
        emit stopRequested();
    }
    // Locking devices and pushing slides are for hosts that have slides.
}

// ---- Helpers -------------------------------------------------------------------------------------

// An id of our own: the questions that are made within one second come with the same.
QString Lesson::questionId(int index) const
{
    return QStringLiteral("%1-%2").arg(m_assessment->getAssessmentToken(),
                                       QString::number(m_assessmentFile.firstNumber() + index));
}

void Lesson::startAssessmentFor(const QString &deviceId)
{
    const auto options = makeOptions(m_assessmentFile, m_assessment->getAssessmentToken());
    m_assessment->start(deviceId, options.get());
}

void Lesson::moveToCard(int number)
{
    if (number < 1 || number > m_card.total)
        return;
    m_card.number = number;
    m_channel->sendCurrentCardToRemote(m_card.number, m_card.total);
}

Lesson::Outcome Lesson::uploadFile(const QString &fileName, QString *address)
{
    const ReadFile file = readFile(fileName);
    if (!file.error.isEmpty())
        return file.error;
    QString name = QFileInfo(fileName).fileName();
    name.replace(QLatin1Char('"'),
                 QLatin1Char('\'')); // the form has no way to write a double quote
    QString id;
    QString path;
    if (!m_client.doUploadResource(name, file.bytes, &id, &path)) {
        return QStringLiteral(
                   "%1 could not be uploaded; --verbose shows what the service answered.")
            .arg(fileName);
    }
    *address = m_client.getServerUrl() + path;
    m_terminal.print(QStringLiteral("Uploaded %1 (%2 bytes) as %3: %4")
                         .arg(name, QString::number(file.bytes.size()), id, *address));
    return std::nullopt;
}

} // namespace Host
