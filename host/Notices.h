#pragma once

#include "host/CountedQuestion.h"
#include "host/Failure.h"
#include "host/LiveClass.h"
#include "host/Mailbox.h"
#include "model/Learner.h"

#include <QtCore/QDateTime>
#include <QtCore/QString>
#include <QtCore/QVariant>
#include <QtCore/QVector>

#include <variant>

// What the runner of a class tells the class, on the host's thread; plain values.
namespace Tarvo::Notices
{

struct StateIs {
    LiveClass::State state;
    Failure::Reason reason;
};
struct UserIs {
    QString name;
};
struct CodeIs {
    QString code;
};
struct TransportIs {
    QString name;
};
struct AttemptIs {
    int number;
    QDateTime next;
};
struct ActivityIs {
    LiveClass::Activity activity;
};
struct PausedIs {
    bool isPaused;
};
struct QuestionsBegin {
    QVector<CountedQuestion> questions;
};
struct SessionBegins {
};
struct LearnersAre { // who came, came back, or has another name now
    QVector<Learner> learners;
    bool areNew;
};
struct LearnerIsGone {
    QString deviceId;
    bool isRemoved; // by the host
};
struct AnswerCame {
    QString deviceId;
    QString questionId;
    QString answer;
    int responseTimeMs;
    bool isLate;
};
struct CommandCame {
    QString command;
    QVariant data;
};
struct RemoteIs {
    bool isThere;
};
struct FileIsUploaded {
    QString id;
    QString url;
};
struct RegistrationIsNeeded {
    QString data;
};
struct SessionIsOver {
    Failure::Reason reason;
};
struct OperationEnded {
    int id;
    Failure failure;
};
struct SomethingFailed {
    Failure failure;
};

} // namespace Tarvo::Notices

namespace Tarvo
{

using Notice =
    std::variant<Notices::StateIs, Notices::UserIs, Notices::CodeIs, Notices::TransportIs,
                 Notices::AttemptIs, Notices::ActivityIs, Notices::PausedIs,
                 Notices::QuestionsBegin, Notices::SessionBegins, Notices::LearnersAre,
                 Notices::LearnerIsGone, Notices::AnswerCame, Notices::CommandCame,
                 Notices::RemoteIs, Notices::FileIsUploaded, Notices::RegistrationIsNeeded,
                 Notices::SessionIsOver, Notices::OperationEnded, Notices::SomethingFailed>;

// From the runner to the class.
using ToHost = Mailbox<Notice>;

} // namespace Tarvo
