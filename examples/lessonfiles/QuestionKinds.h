#pragma once

#include "model/OrdinalType.h"
#include "model/PollType.h"

#include <QtCore/QString>
#include <QtCore/QStringList>

#include <optional>

// The kinds of poll and of labels as they are typed and stand in files, and how many options they go
// with.
namespace Host
{

// By its name on the wire, whose blanks may be typed as hyphens.
std::optional<Tarvo::PollType::POLL_TYPE> kindNamed(const QString &word);
std::optional<Tarvo::OrdinalType::ORDINAL_TYPE> labelsNamed(const QString &word);

// The names as they are typed without quotes.
QString wordFor(Tarvo::PollType::POLL_TYPE kind);
QString wordFor(Tarvo::OrdinalType::ORDINAL_TYPE labels);
QStringList kindWords();
QStringList askableKindWords();
QStringList labelWords();

// What a teacher most likely means by a kind of poll alone, and by a kind with labels.
Tarvo::OrdinalType::ORDINAL_TYPE usualLabels(Tarvo::PollType::POLL_TYPE kind);
int usualCount(Tarvo::PollType::POLL_TYPE kind,
               std::optional<Tarvo::OrdinalType::ORDINAL_TYPE> labels);

struct CountRange {
    int least;
    int most; // 0: there are no options
};

// With how many options a poll can be answered, each by an answer of its own.
CountRange pollRange(Tarvo::PollType::POLL_TYPE kind, Tarvo::OrdinalType::ORDINAL_TYPE labels);
// The same for a question with words of its own, whose options are labelled with letters.
CountRange askRange(Tarvo::PollType::POLL_TYPE kind);
// Whether devices can be asked a question with words of its own.
bool isAskable(Tarvo::PollType::POLL_TYPE kind);
// Whether such a question has options without any being named: true and false, yes and no.
bool knowsItsOptions(Tarvo::PollType::POLL_TYPE kind);

} // namespace Host
