#pragma once

#include "Command.h"

#include <QtCore/QObject>
#include <QtCore/QString>

#include <functional>
#include <optional>

namespace Host
{

// Who carries commands out, one at a time, and knows how far the class has come.
class Performer : public QObject
{
    Q_OBJECT

public:
    // Told once, perhaps within the call: what is wrong if the command could not be carried out.
    using Done = std::function<void(const std::optional<QString> &error)>;

    using QObject::QObject;

    // Waits, awaits and quit are not the performer's.
    virtual void execute(const Command &command, const Done &done) = 0;

    virtual int learnerCount() const = 0;
    virtual int responseCount() const = 0;
    // How many responses there are when everybody has answered.
    virtual int expectedResponses() const = 0;

Q_SIGNALS:
    void changed(); // a learner came or went, or a response was counted
};

} // namespace Host
