// Polls and single questions.
#include "collab/PresenterCollab.h"

#include "collab/MessageTemplates.h"
#include "collab/TarvoCollabMessage.h"
#include "model/Card.h"
#include "model/QuestionMathFormula.h"
#include "model/QuestionMultiChoice.h"
#include "model/QuestionNumeric.h"
#include "model/QuestionScale.h"
#include "model/QuestionSort.h"
#include "model/QuestionText.h"
#include "model/QuestionYesNo.h"

#include <QtCore/QDebug>
#include <QtCore/QUuid>

#include <memory>

// clazy:excludeall=non-pod-global-static

using namespace Tarvo;

namespace
{

const QString TYPE_POLL = QStringLiteral("poll");
const QString TYPE_POLL_STOP = QStringLiteral("pollStop");
const QString TYPE_QUESTION_START = QStringLiteral("questionStart");

// What a question's "activityType" names: its kind for the service, and for the devices.
const QString ACTIVITY_TYPE_ID = QStringLiteral("id");
const QString ACTIVITY_TYPE_NAME = QStringLiteral("name");

// The start time of every poll in the fixed form: a constant, not the clock.
const QString POLL_START_TIME = QStringLiteral("1395358151638");

std::unique_ptr<QuestionBase> makeQuestion(PollType::POLL_TYPE pollType)
{
    switch (pollType) {
    case PollType::TRUE_FALSE: {
        auto question = std::make_unique<QuestionYesNo>(nullptr);
        question->trueFalse = true;
        return question;
    }
    case PollType::YES_NO_OTHER:
        return std::make_unique<QuestionYesNo>(nullptr);
    case PollType::MULTIPLE:
        return std::make_unique<QuestionMultiChoice>(nullptr);
    case PollType::SCALE:
        return std::make_unique<QuestionScale>(nullptr);
    case PollType::SORT:
        return std::make_unique<QuestionSort>(nullptr);
    case PollType::TEXT:
        return std::make_unique<QuestionText>(nullptr);
    case PollType::NUMBER:
        return std::make_unique<QuestionNumeric>(nullptr);
    case PollType::MATH_FORMULA:
        return std::make_unique<QuestionMathFormula>(nullptr);
    case PollType::WORD_SEED:
    case PollType::CREATIVE:
        break; // sent in the fixed form
    }
    return nullptr;
}

// An option's id and its text.
struct Label {
    QString id;
    QString text;
};

// Yes/no and true/false have three distinct answers: every option from the third on is "don't know".
Label threeWayLabel(const char *yes, const char *no, int index)
{
    switch (index) {
    case 0:
        return {QStringLiteral("A"), QLatin1String(yes)};
    case 1:
        return {QStringLiteral("B"), QLatin1String(no)};
    default:
        return {QStringLiteral("?"), QStringLiteral("DONTKNOW")};
    }
}

Label letterLabel(char first, int index)
{
    const QString letter(QChar(static_cast<ushort>(first + index)));
    return {letter, letter};
}

Label optionLabel(OrdinalType::ORDINAL_TYPE ordinalType, int index)
{
    switch (ordinalType) {
    case OrdinalType::TRUE_FALSE:
        return threeWayLabel("TRUE", "FALSE", index);
    case OrdinalType::YES_NO:
    case OrdinalType::YES_NO_MAYBE:
    case OrdinalType::YES_NO_UNSURE:
    case OrdinalType::YES_NO_OTHER:
        return threeWayLabel("YES", "NO", index);
    case OrdinalType::ALPHA_UPPER:
        return letterLabel('A', index);
    case OrdinalType::ALPHA_LOWER:
        return letterLabel('a', index);
    default: {
        const QString number = QString::number(index);
        return {number, number};
    }
    }
}

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
    std::unique_ptr<QuestionBase> question = makeQuestion(pollType);
    auto *withOptions = qobject_cast<QuestionBaseWithOptions *>(question.get());
    if (withOptions && count >= 1) {
        for (int i = 0; i < count; ++i) {
            const Label label = optionLabel(ordinalType, i);
            withOptions->addActivityOption(label.id, label.text, i);
        }
        withOptions->setOrdinals(ordinalType);
    }
    return question.release();
}

void PresenterCollab::startPoll(POLL_TYPE pollType, ORDINAL_TYPE ordinalType, int count, int unused)
{
    currentPollId = QUuid::createUuid().toString(QUuid::WithoutBraces);
    const std::unique_ptr<QuestionBase> question(
        createPollQuestion(pollType, ordinalType, count, unused));
    if (question) {
        auto *card = new Card(question.get());
        card->setBackgroundImage(getCardImageRef(true));
        question->setcard(card);
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
        qDebug().noquote() << "[PresenterCollab] No question to send!";
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
