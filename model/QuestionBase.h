#pragma once

#include "model/PropertyRecord.h"
#include "model/QuestionFeedback.h"
#include "support/Export.h"

#include <QtCore/QString>
#include <QtCore/QVariant>

namespace Tarvo
{

/// One question of a poll or an assessment. Its properties are what learners' devices read, key by
/// key.
///
/// A question owns the objects that it makes (feedback, placeholder card, and what its subclasses
/// add). An object put in place of one of them keeps its own parent and must live until the question
/// has been sent; the replaced one goes with the question. If an object in place is destroyed, the
/// question has null there.
class TARVOCLIENT_EXPORT QuestionBase : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(QuestionBase)

    /// What learners' devices answer by. Questions made within the same second start with the same
    /// id; set it where ids must be distinct.
    TARVO_PROPERTY_NAMED(QString, id, setID, value, newId())
    /// "Poll" or "Assessment".
    TARVO_PROPERTY(QString, questionSetMode, QStringLiteral("Poll"))
    /// Its place in an assessment.
    TARVO_PROPERTY(int, questionNumber, 0)

    /// The kind of question: what `getType()` returns.
    Q_PROPERTY(QString type READ getType WRITE setType)
public:
    /// The kind of question. Subclasses answer with a name of their own, whatever was set.
    virtual QString getType() const;
public Q_SLOTS:
    /// Names the kind of a plain question.
    void setType(QString value) { m_type = value; }

private:
    QString m_type;

    /// "id" and "name" of the kind of activity, set when the question is sent.
    TARVO_PROPERTY(QVariantMap, activityType, QVariantMap())

public Q_SLOTS:
    /// Puts another record in place of the feedback; it keeps its parent.
    void setfeedBack(QuestionFeedback *feedback) { m_feedBack = feedback; }

private:
    /// The question's `QuestionFeedback`.
    TARVO_OBJECT_PROPERTY(feedBack, feedback, new QuestionFeedback(this))
    /// The question itself, as the learner reads it.
    TARVO_PROPERTY(QString, instructions, QString())
    /// A text to read before answering.
    TARVO_PROPERTY(QString, passage, QString())
    /// The question's `Card`; a plain object, which devices get as {}, until one is set.
    TARVO_OBJECT_PROPERTY(card, card, new QObject(this))
    /// What helps the learner.
    TARVO_PROPERTY(QString, hint, QString())
    /// Whether the texts hold formulas.
    TARVO_PROPERTY_NAMED(bool, math, setmath, isMath, false)
    /// Whether another question of the assessment follows.
    TARVO_PROPERTY(bool, hasNext, false)
    /// Whether the learner may move among the questions.
    TARVO_PROPERTY(bool, navigable, false)

public:
    /// A question owned by `parent`, with a new id and a feedback of its own.
    explicit QuestionBase(QObject *parent);

    /// Labels the options by what the first of them is called. A question without options has
    /// nothing to label.
    virtual void inferOrdinalType();

    /// Places the answer that a learner has already given into the feedback, so that the learner's
    /// device shows it again: here as its `answer`, in questions with options as `optionAnswers`.
    ///
    /// Writes nothing when `feedBack` is not a `QuestionFeedback` (or is gone).
    virtual void setPriorAnswer(QString answer);

    /// Sets the feedback's `numberOfRetriesRemaining` to 99, so that an answer that is shown again
    /// can be changed. Part of placing a prior answer.
    void configurePriorAnswer();

protected:
    /// `feedBack` as the record it should be, or null.
    QuestionFeedback *feedbackRecord() const;

private:
    static QString newId();
};

} // namespace Tarvo
