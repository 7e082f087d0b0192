// Polls and single questions.
#include "collab/PresenterCollab.h"

#include "collab/MessageTemplates.h"
#include "collab/TarvoCollabMessage.h"
#include "model/Card.h"
#include "model/PollQuestion.h"
#include "support/Log.h"

#include <QtCore/QUuid>

#include <memory>

using namespace Tarvo;

namespace
{

const QLatin1String TYPE_POLL("poll");
const QLatin1String TYPE_POLL_STOP("pollStop");
const QLatin1String TYPE_QUESTION_START("questionStart");

// What a question's "activityType" names: its kind for the service, and for the devices.
const QLatin1String ACTIVITY_TYPE_ID("id");
const QLatin1String ACTIVITY_TYPE_NAME("name");

// The start time of every poll in the fixed form: a constant, not the clock.
const QLatin1String POLL_START_TIME("1395358151638");

QString numbersBelow(int count)
{
    QStringList numbers;
    for (int number = 0; number < count; ++number)
        numbers.append(QString::number(number));
    return numbers.join(QLatin1Char(','));
}

} // namespace

QuestionBase *PresenterCollab::createPollQuestion(POLL_TYPE pollType, ORDINAL_TYPE ordinalType,
                                                  int count, int)
{
    return pollQuestion(pollType, ordinalType, count).release();
}

void PresenterCollab::startPoll(POLL_TYPE pollType, ORDINAL_TYPE ordinalType, int count, int unused)
{
    currentPollId = QUuid::createUuid().toString(QUuid::WithoutBraces);
    currentQuestionId = currentPollId;
    const std::unique_ptr<QuestionBase> question(
        createPollQuestion(pollType, ordinalType, count, unused));
    if (question) {
        auto *card = new Card(question.get());
        card->setBackgroundImage(getCardImageRef(true));
        question->setcard(card);
        currentQuestionId = question->id();
        sendQuestion(sessionToken, question.get());
    } else {
        publishMessage64(sessionToken, TYPE_POLL,
                         filled(START_POLL_DATA64, PollType::POLL_TYPE_STR().value(pollType),
                                OrdinalType::ORDINAL_TYPE_STR().value(ordinalType), sessionToken,
                                sessionCode, POLL_START_TIME, currentPollId, numbersBelow(count),
                                getCardImageRef(true)));
    }
    clearCardImage();
}

void PresenterCollab::stopPoll()
{
    publishMessage(sessionToken, TYPE_POLL_STOP, filled(PLAIN_DATA, currentPollId));
    clearCardImage();
}

void PresenterCollab::sendQuestion(QString address, QuestionBase *question)
{
    if (!question) {
        TARVO_LOG(channel, "[PresenterCollab] No question to send!");
        return;
    }
    const QString kind = question->getType();
    QVariantMap activityType = question->activityType();
    activityType.insert(ACTIVITY_TYPE_ID, PollType::POLL_TYPE_ID().value(kind));
    activityType.insert(ACTIVITY_TYPE_NAME, kind);
    question->setactivityType(activityType);

    TarvoCollabMessage message;
    message.settype(TYPE_QUESTION_START);
    message.setdataobject(question);
    publishMessage(address, &message);
}

void PresenterCollab::sendQuestion(QuestionBase *question)
{
    sendQuestion(sessionToken, question);
}
