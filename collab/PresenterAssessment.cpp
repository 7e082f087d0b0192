#include "collab/PresenterAssessment.h"

#include "collab/Addresses.h"
#include "collab/CollaborationMessageHandler.h"
#include "collab/PresenterCollab.h"
#include "collab/TarvoCollabMessage.h"
#include "model/AssessmentOptions.h"
#include "model/QuestionBase.h"

#include <QtCore/QUuid>

// clazy:excludeall=non-pod-global-static

using namespace Tarvo;

namespace
{

const QString TYPE_START = QStringLiteral("assessmentStart");
const QString TYPE_STOP = QStringLiteral("assessmentStop");
const QString TYPE_REVIEW = QStringLiteral("questionSetReview");
const QString TYPE_DIALOG = QStringLiteral("dialogShow");

const QString ASSESSMENT_MODE = QStringLiteral("Assessment");

// Keys of the payloads.
const QString ASSESSMENT_TOKEN = QStringLiteral("assessmentToken");
const QString TEXT = QStringLiteral("text");
const QString SHOW_NAVIGATION = QStringLiteral("showNavigation");
const QString IS_DISMISSIBLE = QStringLiteral("isDismissible");

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

QString PresenterAssessment::getAssessmentToken() const
{
    return assessmentToken;
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
