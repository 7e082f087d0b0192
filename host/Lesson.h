#pragma once

#include "host/Assessment.h"
#include "host/CountedQuestion.h"
#include "host/FixedPoll.h"
#include "host/Notices.h"
#include "host/Roster.h"
#include "host/WaitingAnswers.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QHash>
#include <QtCore/QObject>
#include <QtCore/QPointer>
#include <QtCore/QSet>
#include <QtCore/QStringList>
#include <QtCore/QTimer>
#include <QtCore/QVector>

#include <functional>
#include <memory>

class PresenterAssessment;
class PresenterCollab;

namespace Tarvo
{

class QuestionBase;
struct RemoteControlMessage;

// What happens in a session: who is there, what is asked, what is answered, what the remote wants.
// Outlives the losses of the channel. Lives on the runner's thread.
//
// What is asked of it returns why it could not be done, or no failure.
class Lesson : public QObject
{
    Q_OBJECT

public:
    explicit Lesson(ToHost &host, QObject *parent = nullptr);
    ~Lesson() override;

    // ---- The session ------------------------------------------------------------------------------

    // A session begins on this channel, which is not open yet.
    void begin(PresenterCollab *channel);
    // The class is live: who is there already is told of, and from now on whoever comes and goes. A host
    // that was told earlier could do nothing for a learner yet.
    void goLive();
    // It is over; results and learners stay to be seen.
    void end();
    // How long an answer may wait for the list of learners to name its device, at most.
    void setLongestWait(int ms) { m_waiting.setLongest(ms); }
    // The service lists these learners. Who is not listed is gone, unless it has joined since
    // listingBegins().
    void listingBegins();
    void learnersAre(const QList<Learner> &listed);
    // The list could not be had.
    void listingFailed();
    // The channel is gone.
    void wentAway();
    // The channel is back, and the learners have been listed: who has come meanwhile gets what is running,
    // and what the host has wished is done.
    void cameBack();

    // ---- What the host asks for -------------------------------------------------------------------

    // How long the next poll of a fixed kind has to wait: questions made in one second share an id.
    int pollDelayMs() const;
    Failure startPoll(const FixedPoll &poll);
    // Why it could not be started now.
    Failure whyNoPoll(const FixedPoll &poll) const;
    Failure ask(const AssessmentQuestion &question);
    Failure startAssessment(const Assessment &assessment);
    Failure stopActivity();
    Failure pause();
    Failure resume();
    Failure showImage(const Picture &picture);
    Failure showLesson(const QString &id, const QString &name);
    Failure showCard(int number, int total);
    Failure sendText(const QStringList &deviceIds, const QString &text,
                     LiveClass::TextOption option);
    Failure removeLearner(const QString &deviceId);
    // Everybody who is there.
    QStringList present() const { return m_roster.deviceIds(); }

Q_SIGNALS:
    // Somebody has answered whom the list of learners does not name; it should be read.
    void listIsWanted();
    // The remote has stopped the session.
    void stopIsWanted();

private:
    struct Shown {
        QString id;
        QString name;
        int card = 0;
        int total = 0;
    };

    bool isOpen() const;
    bool isRunning() const { return m_activity != LiveClass::NoActivity; }
    void hear(PresenterCollab *channel);

    void learnerJoined(const Learner &learner);
    void learnerLeft(const QString &deviceId);
    void dropUnlisted(const QList<Learner> &listed);
    void tellOf(const QVector<Learner> &learners, bool areNew);
    void answerCame(DeviceAnswer answer);
    bool isAsked(const QString &questionId) const;
    void take(const DeviceAnswer &answer);
    void holdBack(const DeviceAnswer &answer);
    void hearWaiting(const QVector<Learner> &come);
    void areUnknown(const QStringList &deviceIds);
    void wantList();
    void awaitList();
    void questionAskedFor(const QString &deviceId, int number);
    void answerRemote();
    void tellWhatIsShown();
    void remoteCame(const RemoteControlMessage &message);
    bool isRemote(const QString &from);

    void beginActivity(LiveClass::Activity activity, const QVector<CountedQuestion> &questions);
    void endActivity();
    void giveActivityTo(const QString &deviceId);
    QString assessmentQuestionId(int index) const;
    void setPicture(const Picture &picture);
    void sendPause(bool pause);
    void sendStop();
    bool isHostFarBehind() const;
    void tellRemote(bool isThere);
    void tell(Notice notice, int characters = 0);
    void tellPaused(bool isPaused);
    void tellFailure(Failure::Reason reason, const QString &detail);

    ToHost &m_host;
    QPointer<PresenterCollab> m_channel;
    Roster m_roster;
    bool m_isLive = false;

    // The activity that runs; its questions are kept until the next one.
    LiveClass::Activity m_activity = LiveClass::NoActivity;
    QVector<CountedQuestion> m_questions;
    QHash<QString, QHash<QString, QString>> m_answers; // by question, then device
    QStringList m_past; // ids of questions that are over, the latest last
    bool m_isPaused = false;
    std::function<std::unique_ptr<QuestionBase>()> m_makeQuestion; // of a poll; null without one
    Tarvo::Assessment m_assessment;
    std::unique_ptr<PresenterAssessment> m_assessmentLink;
    QElapsedTimer m_sinceFixedPoll;

    // What the devices are to be told when the channel is back.
    bool m_pauseIsOwed = false;
    bool m_stopIsOwed = false;

    // Answers of devices that are not listed wait for the list.
    WaitingAnswers m_waiting;
    QTimer m_listAgain;
    bool m_listIsOnItsWay = false;
    bool m_isListing = false;
    QSet<QString> m_joinedMeanwhile;
    bool m_isAway = false; // the channel is gone
    QSet<QString> m_newSinceLoss;
    QString m_removing;               // by the host, at this moment
    QSet<QString> m_unlisted;         // devices that have answered, and have not joined since
    QHash<int, QSet<QString>> m_told; // devices that were told of to the host, by the reason

    bool m_hasRemote = false;
    Shown m_shown;
    QElapsedTimer m_sinceRemoteAnswer;
    QTimer m_remoteAnswer; // to whoever has asked too soon
};

} // namespace Tarvo
