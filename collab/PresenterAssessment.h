#pragma once

#include "support/Export.h"

#include <QtCore/QObject>
#include <QtCore/QPointer>
#include <QtCore/QString>

class PresenterCollab;

namespace Tarvo
{
class AssessmentOptions;
class QuestionBase;
} // namespace Tarvo

/// Runs one assessment, a set of questions that learners work through at their own pace, on a
/// session's channel.
///
/// The host calls `start()` for a device; the device asks for a question, which arrives as
/// `learnerGetQuestion()`; the host answers with `sendQuestion()`; answers come back as the channel's
/// `learnerPollResponse()`; `stop()` ends the assessment for all.
///
/// The channel is not owned. Once it is gone every operation does nothing. Nothing waits or reports
/// an error; what the channel does while its connection is down holds here too.
class TARVOCLIENT_EXPORT PresenterAssessment : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(PresenterAssessment)

public:
    /// An assessment of the session that `collab` serves, with a token of its own.
    PresenterAssessment(QObject *parent, PresenterCollab *collab);

    /// The identity of this assessment: a UUID without braces. Learners' devices know it from the
    /// options of `start()`.
    QString getAssessmentToken() const { return assessmentToken; }

    /// Starts the assessment on one learner's device with `options`, which go out as they stand: set
    /// their assessmentToken to `getAssessmentToken()` first. They stay the caller's.
    void start(QString deviceId, Tarvo::AssessmentOptions *options);
    /// Ends the assessment on every device of the session.
    void stop();
    /// Sends one learner's device a question, after setting the question's questionSetMode to
    /// "Assessment". The question stays the caller's; a null one is not sent.
    void sendQuestion(QString deviceId, Tarvo::QuestionBase *question);
    /// Pauses the work on every device, as the channel's `pausePoll()` does.
    void pause();
    /// Goes on with what `pause()` paused.
    void resume();
    /// Shows a text on one learner's device: in the review of the question set, with the navigation
    /// shown, when `review` is true; else as a dialog that the learner can close if
    /// `isDismissible` is true.
    void sendMessage(QString deviceId, QString text, bool isDismissible, bool review);
    /// The same to the address ".user.", with no device id behind it.
    void sendMessage(QString text, bool isDismissible, bool review);
    /// Does not exist: a call with two texts and one flag leaves out whether it is a review, and would
    /// otherwise take its second text for a flag.
    void sendMessage(QString deviceId, QString text, bool isDismissible) = delete;
    template<typename Character>
    void sendMessage(QString deviceId, const Character *text, bool isDismissible) = delete;

Q_SIGNALS:
    /// The learner device `id` asks for question number `questionId`.
    void learnerGetQuestion(QString id, int questionId);

private:
    PresenterCollab *channel() const;

    PresenterCollab *collab; // not owned; null once it is gone
    QString assessmentToken;

    QPointer<PresenterCollab> m_alive; // a host may cut every connection of the channel
};
