#pragma once

#include "ClassStage.h"
#include "Devices.h"

// How long anything may take that is to come about at all, on a machine that is busy with other tests.
constexpr int LONG_MS = 60000;

// A class with devices, which do not take the host's way to the service.
class HostedClass : public ClassStage
{
public:
    using Counts = QMap<QString, int>;

    HostedClass() : ClassStage(Devices::serviceOptions()), devices(classroom.url()) { }

    // A session that so many learners have joined.
    bool goLive(int learners) { return enter(LiveClass::Live) && takeIn(learners); }
    bool takeIn(int learners)
    {
        devices.join(host->sessionCode(), learners);
        return shows(host->learners()->rowCount() + learners);
    }
    bool shows(int learners) const
    {
        return QTest::qWaitFor([&] { return host->learners()->rowCount() == learners; }, LONG_MS);
    }
    // Asks a question with three choices, in place of the former one, and says how answers refer to it;
    // empty when it did not leave.
    QString ask(const QString &text)
    {
        if (host->activity() != LiveClass::NoActivity && !succeeds(host->stopActivity()))
            return QString();
        const QStringList choices{u"one"_s, u"two"_s, u"three"_s};
        if (!succeeds(host->ask(text, Tarvo::PollType::MULTIPLE, choices)))
            return QString();
        return result(0, LiveClass::QuestionRole).toString();
    }

    QVariant result(int row, int role) const { return host->results()->index(row, 0).data(role); }
    // How many learners have chosen what.
    Counts counted() const
    {
        Counts counts;
        for (int row = 0; row < host->results()->rowCount(); ++row) {
            counts.insert(result(row, LiveClass::ChoiceRole).toString(),
                          result(row, LiveClass::CountRole).toInt());
        }
        return counts;
    }

    Devices devices;
};
