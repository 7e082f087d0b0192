// Image cards on the learners' devices, and what the remote shows.
#include "collab/PresenterCollab.h"

#include "collab/Addresses.h"
#include "collab/MessageTemplates.h"
#include "support/Log.h"

using namespace Tarvo;

namespace
{

const QLatin1String TYPE_SHOW_CARD("showCard");
const QLatin1String TYPE_CURRENT_LESSON("currentLesson");
const QLatin1String TYPE_PRESENTER_IS_ACTIVE("presenterIsActive");
const QLatin1String TYPE_CURRENT_CARD("currentCard");

// The segment of a card that belongs to no lesson.
const QLatin1String ANY_SEGMENT("any");

const QLatin1String PNG_DATA_URI("data:image/png;base64,");

} // namespace

void PresenterCollab::setCardImageData(QByteArray data)
{
    imageData = std::move(data);
}

void PresenterCollab::setCardImageRef(QString url)
{
    imageRef = std::move(url);
}

QString PresenterCollab::getCardImageRef(bool wrapUrl)
{
    if (!imageData.isEmpty())
        return PNG_DATA_URI + QLatin1String(imageData.toBase64());
    if (!imageRef.isEmpty())
        return wrapUrl ? QLatin1String("url('") + imageRef + QLatin1String("')") : imageRef;
    TARVO_LOG(channel, "[PresenterCollab] No image reference has been set!");
    return QString();
}

void PresenterCollab::clearCardImage()
{
    imageData.clear();
    imageRef = QString();
}

void PresenterCollab::showImageCard(bool wrapUrl)
{
    const QString image = getCardImageRef(wrapUrl);
    publishMessage(Address::LEARNER, TYPE_SHOW_CARD, filled(SHOW_CARD_DATA, ANY_SEGMENT, image));
    clearCardImage();
    sendHeavy();
}

void PresenterCollab::sendCurrentLessonToRemote(QString lessonId, QString name)
{
    publishMessage(Address::CONTROLLER, TYPE_CURRENT_LESSON, filled(LESSON_DATA, lessonId, name));
}

void PresenterCollab::sendPresenterIsActiveToRemote()
{
    // Unfilled on purpose: the payload is the text "%0".
    publishMessage(Address::CONTROLLER, TYPE_PRESENTER_IS_ACTIVE, PLAIN_DATA);
}

void PresenterCollab::sendCurrentCardToRemote(int currentCard, int totalCards)
{
    QStringList cards;
    for (int number = 1; number <= totalCards; ++number)
        cards.append(filled(CURRENTCARD_SUBDATA, number));
    publishMessage(Address::CONTROLLER, TYPE_CURRENT_CARD,
                   filled(CURRENTCARD_DATA, currentCard, cards.join(QLatin1Char(',')), totalCards));
}
