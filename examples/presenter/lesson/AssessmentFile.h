#pragma once

#include "lesson/Tally.h"

#include "model/OrdinalType.h"
#include "model/PollType.h"

#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVariant>
#include <QtCore/QVector>

#include <memory>

namespace Tarvo
{
class AssessmentOptions;
class QuestionBase;
} // namespace Tarvo

namespace Host
{

// One question as the file describes it.
struct AssessmentQuestion {
    Tarvo::PollType::POLL_TYPE kind;
    Tarvo::OrdinalType::ORDINAL_TYPE labels;
    QVector<Choice> choices;
    QVariantMap properties; // of the question object, by their names on the wire
};

// The questions and settings of an assessment, read from a JSON file; docs/presenter.md describes it.
struct AssessmentFile {
    QVariantMap settings; // of the options record, by their names on the wire
    QVector<AssessmentQuestion> questions;
    QString error; // what is wrong with the file; empty when it was read

    int firstNumber() const; // of the first question
    QString title() const { return settings.value(QStringLiteral("title")).toString(); }
};

AssessmentFile parseAssessment(const QByteArray &json);
AssessmentFile readAssessment(const QString &fileName);

// The record that starts the assessment with this token on a learner's device.
std::unique_ptr<Tarvo::AssessmentOptions> makeOptions(const AssessmentFile &file,
                                                      const QString &assessmentToken);
// The question at `index` as a learner's device gets it, under an id of its own.
std::unique_ptr<Tarvo::QuestionBase> makeQuestion(const AssessmentFile &file, int index,
                                                  const QString &id);

} // namespace Host
