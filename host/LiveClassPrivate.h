#pragma once

#include "host/ClassRunner.h"
#include "host/ClassSettings.h"
#include "host/LearnersModel.h"
#include "host/LiveClass.h"
#include "host/Notices.h"
#include "host/OperationTable.h"
#include "host/ResultsModel.h"

#include <QtCore/QObject>
#include <QtCore/QTimer>

#include <deque>
#include <functional>
#include <memory>

namespace Tarvo
{

// The class's end of the two mailboxes: sends requests over, and makes properties, models and signals of
// the notices that come back, a few milliseconds' worth at a time. Lives on the host's thread.
class LiveClassPrivate : public QObject
{
    Q_OBJECT

public:
    explicit LiveClassPrivate(LiveClass *owner);
    ~LiveClassPrivate() override;

    using Call = std::function<void(ClassRunner &, int id)>;
    Operation request(Action::Type action, Call run);
    // The same of what the lesson does at once.
    Operation perform(Action::Type action, std::function<Failure(Lesson &)> what);
    Operation signIn(Credentials credentials);

    LiveClass *const q;
    ClassSettings settings;

    LiveClass::State state = LiveClass::SignedOut;
    Failure::Reason reason = Failure::NoReason;
    QString userName;
    QString sessionCode;
    QString transport;
    LiveClass::Activity activity = LiveClass::NoActivity;
    bool isPaused = false;
    int attempt = 0;
    QDateTime nextAttemptAt;
    LearnersModel learners;
    ResultsModel results;

protected:
    bool event(QEvent *event) override;

private:
    void work();
    void changed();
    void flush();
    void letJoin();

    void tell(const Notices::StateIs &notice);
    void tell(const Notices::UserIs &notice);
    void tell(const Notices::CodeIs &notice);
    void tell(const Notices::TransportIs &notice);
    void tell(const Notices::AttemptIs &notice);
    void tell(const Notices::ActivityIs &notice);
    void tell(const Notices::PausedIs &notice);
    void tell(const Notices::QuestionsBegin &notice);
    void tell(const Notices::SessionBegins &notice);
    void tell(const Notices::LearnersAre &notice);
    void tell(const Notices::LearnerIsGone &notice);
    void tell(const Notices::AnswerCame &notice);
    void tell(const Notices::CommandCame &notice);
    void tell(const Notices::RemoteIs &notice);
    void tell(const Notices::FileIsUploaded &notice);
    void tell(const Notices::RegistrationIsNeeded &notice);
    void tell(const Notices::SessionIsOver &notice);
    void tell(const Notices::OperationEnded &notice);
    void tell(const Notices::SomethingFailed &notice);

    const std::shared_ptr<ToRunner> m_toRunner = std::make_shared<ToRunner>();
    const std::shared_ptr<ToHost> m_toHost = std::make_shared<ToHost>();
    OperationTable m_operations;
    std::deque<Notice> m_notices; // not told yet
    QVector<Learner> m_joining;   // for the model, together
    bool m_areJoiningNew = false;
    QTimer m_work;
    QTimer m_flush;
};

} // namespace Tarvo
