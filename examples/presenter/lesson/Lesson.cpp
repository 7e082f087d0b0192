#include "lesson/Lesson.h"

#include "CommandParser.h"
#include "FailureText.h"
#include "console/Terminal.h"
#include "lesson/Learners.h"
#include "lessonfiles/AssessmentFile.h"
#include "lessonfiles/NamedFile.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QFileInfo>

namespace Host
{

namespace
{

using Tarvo::LiveClass;

constexpr char PNG_SIGNATURE[] = "\x89PNG\r\n\x1a\n";
// The class tells the last answers together, at most 60 times a second.
constexpr int SETTLE_MS = 40;
// What is shown follows the models some times a second, and more seldom when drawing takes long:
// thousands of answers must not get in the way of typing.
constexpr int CATCH_UP_MS = 100;
constexpr int PAUSE_PER_DRAWING = 10;

QString baseName(const QString &fileName)
{
    return QFileInfo(fileName).fileName();
}

} // namespace

Lesson::Lesson(LiveClass &live, Terminal &terminal)
    : m_live(live), m_terminal(terminal), m_news(live, m_asked, terminal)
{
    connect(&live, &LiveClass::activityChanged, this, &Lesson::activityChanged);
    connect(&live, &LiveClass::pausedChanged, this, &Lesson::redraw);
    connect(&live, &LiveClass::remoteCommand, this, &Lesson::remoteCame);
    connect(&live, &LiveClass::uploaded, this, [this](const QString &id, const QString &url) {
        m_uploadedId = id;
        m_uploadedUrl = url;
    });
    m_behind.setSingleShot(true);
    m_behind.setInterval(CATCH_UP_MS);
    connect(&m_behind, &QTimer::timeout, this, &Lesson::catchUp);
    const auto keepUp = [this] {
        if (!m_behind.isActive())
            m_behind.start();
    };
    connect(live.results(), &QAbstractItemModel::rowsInserted, this, keepUp);
    connect(live.results(), &QAbstractItemModel::rowsRemoved, this, keepUp);
    connect(live.results(), &QAbstractItemModel::dataChanged, this, keepUp);
    connect(&live, &LiveClass::learnerJoined, this, keepUp);
    connect(&live, &LiveClass::learnerLeft, this, keepUp);
}

void Lesson::execute(const Command &command, const Done &done)
{
    std::visit([this, &done](const auto &one) { run(one, done); }, command);
}

int Lesson::responseCount() const
{
    return countResponses(*m_live.results());
}

int Lesson::expectedResponses() const
{
    return learnerCount() * m_asked.questions.size();
}

QStringList Lesson::learnerNames() const
{
    return namesOf(*m_live.learners());
}

void Lesson::wrapUp()
{
    m_terminal.setBlock({});
    printLastResults();
}

void Lesson::redraw()
{
    if (!m_terminal.hasPrompt() || !isRunning() || !m_areResultsDue)
        return m_terminal.setBlock({});
    const ShownResults shown =
        shownResults(*m_live.results(), m_asked, learnerCount(), m_live.isPaused(),
                     m_terminal.columns(), m_terminal.barStyle(), m_terminal.rows());
    m_terminal.setBlock(shown.lines, shown.further);
}

void Lesson::catchUp()
{
    QElapsedTimer drawing;
    drawing.start();
    redraw();
    m_behind.setInterval(qMax(CATCH_UP_MS, PAUSE_PER_DRAWING * int(drawing.elapsed())));
    emit changed();
}

// ---- Calling the class ---------------------------------------------------------------------------

void Lesson::follow(const std::function<Operation()> &call, const Done &done, const Well &well)
{
    call().then(
        this,
        [done, well] {
            if (well)
                well();
            done(std::nullopt);
        },
        [=](const Tarvo::Failure &failure) {
            // A script has nobody who would try again.
            if (failure.isRepeatable() && !m_terminal.hasPrompt())
                repeatWhenBack(call, done, well);
            else
                done(describe(failure));
        });
}

void Lesson::repeatWhenBack(const std::function<Operation()> &call, const Done &done,
                            const Well &well)
{
    auto *waiting = new QObject(this);
    const auto look = [=] {
        if (m_live.state() != LiveClass::Live)
            return;
        waiting->disconnect();
        m_live.disconnect(waiting);
        waiting->deleteLater();
        follow(call, done, well);
    };
    connect(&m_live, &LiveClass::stateChanged, waiting, look);
    look();
}

void Lesson::begin(const Asked &asked, const std::function<Operation()> &call, const Done &done,
                   const Well &well)
{
    if (isRunning())
        return done(QStringLiteral("Something is running; stop it first."));
    m_next = asked;
    follow(call, done, well);
}

void Lesson::activityChanged()
{
    if (isRunning()) {
        m_asked = m_next;
        m_asked.choices = countChoices(*m_live.results()); // nobody has answered yet
        m_areResultsDue = true;
    }
    redraw();
}

// ---- Activities ----------------------------------------------------------------------------------

void Lesson::run(const Commands::StartPoll &poll, const Done &done)
{
    const QString kind = Tarvo::PollType::POLL_TYPE_STR().value(poll.kind);
    begin(
        {QStringLiteral("Poll %1").arg(kind), {QString()}, 1, {}},
        [this, poll, image = m_image] {
            const auto [type, ordinals, count] = poll;
            if (!image.png.isEmpty())
                return m_live.startPollWithImage(type, ordinals, count, image.png);
            if (!image.url.isEmpty())
                return m_live.startPollWithImageAt(type, ordinals, count, image.url);
            return m_live.startPoll(type, ordinals, count);
        },
        done, [this] { m_image = {}; });
}

void Lesson::run(const Commands::Ask &question, const Done &done)
{
    begin(
        {QStringLiteral("Question"), {question.text}, 1, {}},
        [this, question] { return m_live.ask(question.text, question.kind, question.options); },
        done);
}

void Lesson::run(const Commands::StartAssessment &assessment, const Done &done)
{
    const AssessmentFile file = readAssessment(assessment.file, assessment.folder);
    if (!file.error.isEmpty())
        return done(file.error);
    Asked asked{QStringLiteral("Assessment %1").arg(file.assessment.title).trimmed(),
                {},
                file.assessment.firstNumber,
                {}};
    for (const Tarvo::AssessmentQuestion &question : file.assessment.questions) {
        asked.questions.append(QStringLiteral("%1. %2").arg(
            QString::number(asked.questions.size() + 1), question.text));
    }
    begin(
        asked, [this, file] { return m_live.startAssessment(file.assessment); }, done);
}

void Lesson::run(const Commands::Stop &, const Done &done)
{
    if (!isRunning())
        return done(QStringLiteral("There is nothing to stop."));
    m_live.stopActivity().then(
        this,
        [this, done] {
            QTimer::singleShot(SETTLE_MS, this, [this, done] {
                printLastResults();
                done(std::nullopt);
            });
        },
        [done](const Tarvo::Failure &failure) { done(describe(failure)); });
}

void Lesson::run(const Commands::Pause &, const Done &done)
{
    if (!isRunning())
        return done(QStringLiteral("There is nothing to pause."));
    follow([this] { return m_live.pause(); }, done,
           [this] { m_terminal.print(QStringLiteral("Paused.")); });
}

// Whatever runs: a device may be paused without our knowing.
void Lesson::run(const Commands::Resume &, const Done &done)
{
    follow([this] { return m_live.resume(); }, done,
           [this] { m_terminal.print(QStringLiteral("Resumed.")); });
}

void Lesson::run(const Commands::ShowResults &, const Done &done)
{
    if (m_asked.title.isEmpty())
        return done(QStringLiteral("There are no results yet."));
    printResults();
    done(std::nullopt);
}

void Lesson::run(const Commands::ShowAnswers &, const Done &done)
{
    m_terminal.print(answerLines(*m_live.learners(), m_terminal.columns()));
    done(std::nullopt);
}

QStringList Lesson::resultLines() const
{
    return Host::resultLines(*m_live.results(), m_asked, learnerCount(), m_live.isPaused(),
                             m_terminal.columns(), m_terminal.barStyle());
}

void Lesson::printResults()
{
    m_terminal.print(resultLines());
}

void Lesson::printLastResults()
{
    if (std::exchange(m_areResultsDue, false))
        printResults();
}

// ---- Pictures ------------------------------------------------------------------------------------

void Lesson::run(const Commands::SetImage &image, const Done &done)
{
    const QString use = QStringLiteral("The next poll or card shows %1.");
    if (image.isAddress) {
        m_image = {{}, image.source};
        m_terminal.print(use.arg(image.source));
        return done(std::nullopt);
    }
    if (image.upload) {
        return upload(image.source, image.folder, done, [=] {
            m_image = {{}, m_uploadedUrl};
            m_terminal.print(use.arg(baseName(image.source)));
        });
    }
    const NamedFile file = readNamed(image.source, image.folder);
    if (!file.error.isEmpty())
        return done(file.error);
    if (!file.bytes.startsWith(PNG_SIGNATURE))
        return done(
            QStringLiteral("%1 is no PNG image; devices show nothing else.").arg(image.source));
    m_image = {file.bytes, {}};
    m_terminal.print(use.arg(baseName(image.source)));
    done(std::nullopt);
}

void Lesson::run(const Commands::Upload &upload, const Done &done)
{
    this->upload(upload.file, upload.folder, done, {});
}

void Lesson::upload(const QString &fileName, const QString &folder, const Done &done,
                    const Well &well)
{
    const NamedFile file = readNamed(fileName, folder);
    if (!file.error.isEmpty())
        return done(file.error);
    QString name = baseName(fileName);
    name.replace(QLatin1Char('"'),
                 QLatin1Char('\'')); // the form has no way to write a double quote
    follow([=] { return m_live.uploadImage(name, file.bytes); }, done,
           [=] {
               m_terminal.print(
                   QStringLiteral("Uploaded %1 (%2 bytes) as %3: %4")
                       .arg(name, QString::number(file.bytes.size()), m_uploadedId, m_uploadedUrl));
               if (well)
                   well();
           });
}

void Lesson::run(const Commands::ShowCard &, const Done &done)
{
    if (!m_image.isSet())
        return done(QStringLiteral("There is no image to show; set one with image FILE."));
    follow(
        [this, image = m_image] {
            return image.url.isEmpty() ? m_live.showImage(image.png)
                                       : m_live.showImageAt(image.url);
        },
        done,
        [this] {
            m_image = {};
            m_terminal.print(QStringLiteral("Shown to %1.").arg(toEverybody()));
        });
}

// ---- Learners ------------------------------------------------------------------------------------

void Lesson::run(const Commands::ListLearners &, const Done &done)
{
    m_terminal.print(learnerLines(*m_live.learners()));
    done(std::nullopt);
}

void Lesson::run(const Commands::SendMessage &message, const Done &done)
{
    const auto tell = [this](const QString &whom) {
        m_terminal.print(QStringLiteral("Sent to %1.").arg(whom));
    };
    const LiveClass::TextOption option = message.review ? LiveClass::ReviewText
        : message.dismissible                           ? LiveClass::PlainText
                                                        : LiveClass::FixedText;
    if (message.learner.isEmpty()) {
        return follow([=] { return m_live.sendText(message.text, option); }, done,
                      [=] { tell(toEverybody()); });
    }
    const FoundLearner learner = findLearner(*m_live.learners(), message.learner);
    if (!learner.error.isEmpty())
        return done(learner.error);
    follow([=] { return m_live.sendTextTo(learner.deviceId, message.text, option); }, done,
           [=] { tell(shown(learner.name)); });
}

void Lesson::run(const Commands::RemoveLearner &remove, const Done &done)
{
    const FoundLearner learner = findLearner(*m_live.learners(), remove.learner);
    if (!learner.error.isEmpty())
        return done(learner.error);
    follow([=] { return m_live.removeLearner(learner.deviceId); }, done,
           [=] {
               m_terminal.print(QStringLiteral("Removed %1, %2 now.")
                                    .arg(nameAndDevice(learner.name, learner.deviceType),
                                         learnersInWords(learnerCount())));
           });
}

QString Lesson::toEverybody() const
{
    return learnerCount() == 0 ? QStringLiteral("nobody: no learner is there")
                               : learnersInWords(learnerCount());
}

// ---- The remote ----------------------------------------------------------------------------------

void Lesson::run(const Commands::SetLesson &lesson, const Done &done)
{
    follow([=] { return m_live.showLesson(lesson.id, lesson.name); }, done,
           [=] { tellOfRemote(QStringLiteral("lesson %1, %2").arg(lesson.id, lesson.name)); });
}

void Lesson::run(const Commands::SetCurrentCard &card, const Done &done)
{
    follow([=] { return m_live.showCard(card.number, card.total); }, done,
           [=] {
               m_card = card;
               tellOfRemote(QStringLiteral("card %1 of %2").arg(card.number).arg(card.total));
           });
}

void Lesson::tellOfRemote(const QString &what)
{
    m_terminal.print((m_news.hasRemote() ? QStringLiteral("The remote shows %1.")
                                         : QStringLiteral("A remote that comes will show %1."))
                         .arg(what));
}

// The class has done the rest already. Locking devices and pushing slides are for hosts that have slides.
void Lesson::remoteCame(const QString &command)
{
    if (command == QLatin1String("nextCard"))
        moveToCard(m_card.number + 1);
    else if (command == QLatin1String("previousCard"))
        moveToCard(m_card.number - 1);
}

void Lesson::moveToCard(int number)
{
    if (number < 1 || number > m_card.total)
        return;
    m_card.number = number;
    m_live.showCard(m_card.number, m_card.total);
}

// ---- Others --------------------------------------------------------------------------------------

void Lesson::run(const Commands::Help &help, const Done &done)
{
    m_terminal.print(commandHelp(help.command));
    done(std::nullopt);
}

template<typename Other> void Lesson::run(const Other &, const Done &done)
{
    done(QStringLiteral("This is not for the lesson to do."));
}

} // namespace Host
