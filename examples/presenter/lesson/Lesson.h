#pragma once

#include "Performer.h"
#include "lesson/AssessmentFile.h"
#include "lesson/Results.h"
#include "lesson/Roster.h"

#include "model/RemoteControlMessage.h"

#include <QtCore/QPointer>

#include <memory>
#include <optional>

class PresenterAssessment;
class PresenterClient;
class PresenterCollab;

namespace Host
{

class Terminal;

// What happens in an open session: carries commands out on the channel, follows the learners and
// counts what they answer, answers the remote, and shows all of it.
class Lesson : public Performer
{
    Q_OBJECT

public:
    // Client and channel are those of an open session, which may end before the lesson is deleted.
    Lesson(PresenterClient &client, PresenterCollab &channel, Terminal &terminal,
           QObject *parent = nullptr);
    ~Lesson() override;

    // May wait for the service, while the event loop turns.
    void execute(const Command &command, const Done &done) override;

    // Asks the service who was there before the channel opened.
    void findLearners();

    int learnerCount() const override { return m_roster.count(); }
    int responseCount() const override { return m_results.responses(); }
    int expectedResponses() const override { return m_roster.count() * m_results.questions(); }

    // Draws what changes in place anew; after the window has changed its size.
    void redraw();

Q_SIGNALS:
    void stopRequested(); // by the remote

private:
    using Outcome = std::optional<QString>;

    Outcome run(const Commands::Help &);
    Outcome run(const Commands::ListLearners &);
    Outcome run(const Commands::StartPoll &poll);
    Outcome run(const Commands::Stop &);
    Outcome run(const Commands::Pause &);
    Outcome run(const Commands::Resume &);
    Outcome run(const Commands::ShowResults &);
    Outcome run(const Commands::SetImage &image);
    Outcome run(const Commands::Upload &upload);
    Outcome run(const Commands::ShowCard &);
    Outcome run(const Commands::SetLesson &lesson);
    Outcome run(const Commands::SetCurrentCard &card);
    Outcome run(const Commands::StartAssessment &assessment);
    Outcome run(const Commands::SendMessage &message);
    Outcome run(const Commands::RemoveLearner &remove);
    template<typename Other> Outcome run(const Other &);

    void learnerJoined(const Tarvo::Learner &learner);
    void learnerLeft(const QString &deviceId);
    void responseCame(const QString &deviceId, const QString &questionId, const QString &answer);
    void questionAskedFor(const QString &deviceId, int number);
    void remoteCame(const Tarvo::RemoteControlMessage &message);

    QString questionId(int index) const;
    void startAssessmentFor(const QString &deviceId);
    void moveToCard(int number);
    Outcome uploadFile(const QString &fileName, QString *address);
    bool isRunning() const { return m_activity != Nothing; }

    enum Activity {
        Nothing,
        Poll,
        Assessment
    };

    PresenterClient &m_client;
    QPointer<PresenterCollab> m_channel;
    Terminal &m_terminal;
    Roster m_roster;

    Activity m_activity = Nothing;
    Results m_results;        // of what is running, or ran last
    QSet<QString> m_past;     // ids of questions that are over
    qint64 m_pollSecond = -1; // when the last poll was started, in seconds
    AssessmentFile m_assessmentFile;
    std::unique_ptr<PresenterAssessment> m_assessment; // the running one

    Commands::SetLesson m_lesson;
    Commands::SetCurrentCard m_card{0, 0}; // number 0: none shown
};

} // namespace Host
