#pragma once

#include "Performer.h"
#include "lesson/News.h"
#include "lesson/Results.h"

#include "host/LiveClass.h"

#include <QtCore/QTimer>

#include <functional>

namespace Host
{

class Terminal;

// What happens in an open class: carries commands out and says what was done, shows who is there and
// what they answer.
class Lesson : public Performer
{
    Q_OBJECT

public:
    // The class outlives the lesson.
    Lesson(Tarvo::LiveClass &live, Terminal &terminal);

    void execute(const Command &command, const Done &done) override;

    int learnerCount() const override { return m_news.learnerCount(); }
    int responseCount() const override;
    int expectedResponses() const override;

    QStringList learnerNames() const;
    bool isRunning() const { return m_live.activity() != Tarvo::LiveClass::NoActivity; }

    // Shows the results of what is still running, once; the class is over, or nearly so.
    void wrapUp();
    // Draws what changes in place anew.
    void redraw();

private:
    using Operation = Tarvo::Operation;
    using Well = std::function<void()>;

    // The image of the next poll or card.
    struct Image {
        QByteArray png;
        QString url; // instead
        bool isSet() const { return !png.isEmpty() || !url.isEmpty(); }
    };

    void run(const Commands::Help &help, const Done &done);
    void run(const Commands::ListLearners &, const Done &done);
    void run(const Commands::StartPoll &poll, const Done &done);
    void run(const Commands::Ask &question, const Done &done);
    void run(const Commands::StartAssessment &assessment, const Done &done);
    void run(const Commands::Stop &, const Done &done);
    void run(const Commands::Pause &, const Done &done);
    void run(const Commands::Resume &, const Done &done);
    void run(const Commands::ShowResults &, const Done &done);
    void run(const Commands::ShowAnswers &, const Done &done);
    void run(const Commands::SetImage &image, const Done &done);
    void run(const Commands::Upload &upload, const Done &done);
    void run(const Commands::ShowCard &, const Done &done);
    void run(const Commands::SetLesson &lesson, const Done &done);
    void run(const Commands::SetCurrentCard &card, const Done &done);
    void run(const Commands::SendMessage &message, const Done &done);
    void run(const Commands::RemoveLearner &remove, const Done &done);
    template<typename Other> void run(const Other &, const Done &done);

    // Calls the class and tells how that ended.
    void follow(const std::function<Operation()> &call, const Done &done, const Well &well = {});
    void repeatWhenBack(const std::function<Operation()> &call, const Done &done, const Well &well);
    // The same for what begins an activity.
    void begin(const Asked &asked, const std::function<Operation()> &call, const Done &done,
               const Well &well = {});
    void upload(const QString &file, const QString &folder, const Done &done, const Well &well);

    void activityChanged();
    void catchUp();
    void remoteCame(const QString &command);
    void moveToCard(int number);
    void tellOfRemote(const QString &what);
    QStringList resultLines() const;
    void printResults();
    void printLastResults();
    QString toEverybody() const;

    Tarvo::LiveClass &m_live;
    Terminal &m_terminal;
    Asked m_asked; // what is running, or ran last
    Asked m_next;  // what has been asked for last
    News m_news;
    Image m_image;
    QString m_uploadedId; // the last one
    QString m_uploadedUrl;
    Commands::SetCurrentCard m_card{0, 0}; // number 0: none shown
    bool m_areResultsDue = false;          // those of m_asked, for good
    QTimer m_behind;                       // while what is shown is behind the models
};

} // namespace Host
