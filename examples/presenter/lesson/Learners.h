#pragma once

#include <QtCore/QAbstractItemModel>
#include <QtCore/QString>
#include <QtCore/QStringList>

namespace Host
{

// What `LiveClass::learners()` holds, as the console shows and names it. Who is there has a number from
// 1 on, in the order of joining.

// A learner that a word stands for, or why there is none.
struct FoundLearner {
    QString deviceId;
    QString name;
    QString deviceType;
    QString error; // empty when there is one
};

// By device id, else by name if only one learner has it, else by number.
FoundLearner findLearner(const QAbstractItemModel &learners, const QString &word);

// The learner's name, or the device id where there is none.
QString nameOf(const QAbstractItemModel &learners, const QString &deviceId);
// The name with the kind of device, "Ada (tablet)".
QString nameAndDevice(const QAbstractItemModel &learners, const QString &deviceId);
QString nameAndDevice(const QString &name, const QString &deviceType);
// The names of those who are there.
QStringList namesOf(const QAbstractItemModel &learners);

QString learnersInWords(int count); // "1 learner", "2 learners"
// Everybody who is there, with number and device.
QStringList learnerLines(const QAbstractItemModel &learners);
// Who has answered what, and who is gone meanwhile; each line fits the columns.
QStringList answerLines(const QAbstractItemModel &learners, int columns);

// What others have written, as it may stand in a line.
QString shown(const QString &textOfOthers);

} // namespace Host
