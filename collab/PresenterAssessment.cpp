#include "collab/PresenterAssessment.h"

#include "collab/Addresses.h"
#include "collab/CollaborationMessageHandler.h"
#include "collab/PresenterCollab.h"
#include "collab/TarvoCollabMessage.h"
#include "model/AssessmentOptions.h"
#include "model/QuestionBase.h"

#include <QtCore/QUuid>

using namespace Tarvo;

namespace
{

const QLatin1String TYPE_START("assessmentStart");
const QLatin1String TYPE_STOP("assessmentStop");
const QLatin1String TYPE_REVIEW("questionSetReview");
const QLatin1String TYPE_DIALOG("dialogShow");

const QLatin1String ASSESSMENT_MODE("Assessment");

// Keys of the payloads.
const QLatin1String ASSESSMENT_TOKEN("assessmentToken");
const QLatin1String TEXT("text");
const QLatin1String SHOW_NAVIGATION("showNavigation");
const QLatin1String IS_DISMISSIBLE("isDismissible");

void publish(PresenterCollab *collab, const QString &address, const QString &type,
             const QVariantMap &data)
{
    if (!collab)
        return;
    TarvoCollabMessage message;
    message.settype(type);
    message.setdata(data);
    collab->publishMessage(address, &message);
}

} // namespace

PresenterAssessment::PresenterAssessment(QObject *parent, PresenterCollab *collab)
    : QObject(parent), collab(collab),
      assessmentToken(QUuid::createUuid().toString(QUuid::WithoutBraces)), m_alive(collab)
{
    if (!collab)
        return;
    connect(collab->messageHandler(), &CollaborationMessageHandler::learnerGetQuestion, this,
            &PresenterAssessment::learnerGetQuestion);
    connect(
        collab, &QObject::destroyed, this, [this] { this->collab = nullptr; },
        Qt::DirectConnection);
}

PresenterCollab *PresenterAssessment::channel() const
{
    return m_alive ? collab : nullptr;
}

void PresenterAssessment::start(QString deviceId, AssessmentOptions *options)
{
    if (!channel())
        return;
    TarvoCollabMessage message;
    message.settype(TYPE_START);
    message.setdataobject(options);
    collab->publishMessage(Address::USER + deviceId, &message);
}

void PresenterAssessment::stop()
{
    if (channel()) {
        publish(collab, collab->getSessionToken(), TYPE_STOP,
                {{ASSESSMENT_TOKEN, assessmentToken}});
    }
}

void PresenterAssessment::sendQuestion(QString deviceId, QuestionBase *question)
{
    if (!channel())
        return;
    if (question)
        question->setquestionSetMode(ASSESSMENT_MODE);
    collab->sendQuestion(Address::USER + deviceId, question);
}

void PresenterAssessment::pause()
{
    if (channel())
        collab->pausePoll();
}

void PresenterAssessment::resume()
{
    if (channel())
        collab->resumePoll();
}

void PresenterAssessment::sendMessage(QString deviceId, QString text, bool isDismissible,
                                      bool review)
{
    const QString address = Address::USER + deviceId;
    QVariantMap data{{TEXT, text}};
    if (review) {
        data.insert(SHOW_NAVIGATION, true);
        publish(channel(), address, TYPE_REVIEW, data);
    } else {
        data.insert(IS_DISMISSIBLE, isDismissible);
        publish(channel(), address, TYPE_DIALOG, data);
    }
}

void PresenterAssessment::sendMessage(QString text, bool isDismissible, bool review)
{
    sendMessage(QString(), text, isDismissible, review);
}
