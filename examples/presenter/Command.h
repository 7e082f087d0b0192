#pragma once

#include "model/OrdinalType.h"
#include "model/PollType.h"

#include <QtCore/QString>
#include <QtCore/QStringList>

#include <variant>

// What can be asked for at the prompt or in a script, one record per command. The words that ask for
// it are the business of CommandParser. A file may have to come from a folder; see readNamed().
namespace Host::Commands
{

struct Help {
    QString command; // empty: all of them
};
struct ListLearners {
};
struct StartPoll {
    Tarvo::PollType::POLL_TYPE kind;
    Tarvo::OrdinalType::ORDINAL_TYPE ordinal;
    int count; // of options
};
struct Ask {
    QString text;
    Tarvo::PollType::POLL_TYPE kind;
    QStringList options;
};
struct ShowAnswers { // who has answered what, and who has not
};
struct Stop {
};
struct Pause {
};
struct Resume {
};
struct ShowResults {
};
struct SetImage {
    QString source; // a file, or an address if isAddress
    bool isAddress;
    bool upload; // the file goes to the service's store first
    QString folder{};
};
struct Upload {
    QString file;
    QString folder{};
};
struct ShowCard {
};
struct SetLesson {
    QString id;
    QString name;
};
struct SetCurrentCard {
    int number;
    int total;
};
struct StartAssessment {
    QString file;
    QString folder{};
};
struct SendMessage {
    QString learner; // as findLearner() takes it; empty: all
    QString text;
    bool review;
    bool dismissible;
};
struct RemoveLearner {
    QString learner;
};
struct Wait {
    int milliseconds;
};
struct AwaitLearners {
    int count;
    int timeoutMs;
};
struct AwaitResponses {
    int count; // ALL: from every learner who is there
    int timeoutMs;

    static constexpr int ALL = -1;
};
struct Quit {
};

} // namespace Host::Commands

namespace Host
{

using Command =
    std::variant<Commands::Help, Commands::ListLearners, Commands::StartPoll, Commands::Ask,
                 Commands::ShowAnswers, Commands::Stop, Commands::Pause, Commands::Resume,
                 Commands::ShowResults, Commands::SetImage, Commands::Upload, Commands::ShowCard,
                 Commands::SetLesson, Commands::SetCurrentCard, Commands::StartAssessment,
                 Commands::SendMessage, Commands::RemoveLearner, Commands::Wait,
                 Commands::AwaitLearners, Commands::AwaitResponses, Commands::Quit>;

} // namespace Host
