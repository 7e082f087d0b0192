// Picture cards on the learners' devices, and what the remote shows.
#include "collab/PresenterCollab.h"

#include "collab/Addresses.h"
#include "collab/MessageTemplates.h"

#include <QtCore/QDebug>

// clazy:excludeall=non-pod-global-static

using namespace Tarvo;

namespace
{

const QString TYPE_SHOW_CARD = QStringLiteral("showCard");
const QString TYPE_CURRENT_LESSON = QStringLiteral("currentLesson");
const QString TYPE_PRESENTER_IS_ACTIVE = QStringLiteral("presenterIsActive");
const QString TYPE_CURRENT_CARD = QStringLiteral("currentCard");

// The segment of a card that belongs to no lesson.
const QString ANY_SEGMENT = QStringLiteral("any");

const QString PNG_DATA_URI = QStringLiteral("data:image/png;base64,");

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
    qDebug().noquote() << "[PresenterCollab] No image reference has been set!";
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
