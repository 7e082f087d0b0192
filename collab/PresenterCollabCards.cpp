// Picture cards on the learners' devices, and what the remote shows.
#include "collab/PresenterCollab.h"

#include "collab/Addresses.h"
#include "collab/MessageTemplates.h"

#include <QtCore/QDebug>

using namespace Tarvo;

namespace
{

constexpr QLatin1String TYPE_SHOW_CARD("showCard");
constexpr QLatin1String TYPE_CURRENT_LESSON("currentLesson");
constexpr QLatin1String TYPE_PRESENTER_IS_ACTIVE("presenterIsActive");
constexpr QLatin1String TYPE_CURRENT_CARD("currentCard");

// The segment of a card that belongs to no lesson.
constexpr QLatin1String ANY_SEGMENT("any");

constexpr QLatin1String PNG_DATA_URI("data:image/png;base64,");

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
    publishMessage(Address::LEARNER, TYPE_SHOW_CARD, SHOW_CARD_DATA.arg(ANY_SEGMENT).arg(image));
    clearCardImage();
    sendHeavy();
}

void PresenterCollab::sendCurrentLessonToRemote(QString lessonId, QString name)
{
    publishMessage(Address::CONTROLLER, TYPE_CURRENT_LESSON, LESSON_DATA.arg(lessonId).arg(name));
}

void PresenterCollab::sendPresenterIsActiveToRemote()
{
    // Unfilled: the remote expects the text "%0".
    publishMessage(Address::CONTROLLER, TYPE_PRESENTER_IS_ACTIVE, PLAIN_DATA);
}

void PresenterCollab::sendCurrentCardToRemote(int currentCard, int totalCards)
{
    QStringList cards;
    for (int number = 1; number <= totalCards; ++number)
        cards.append(CURRENTCARD_SUBDATA.arg(number));
    publishMessage(
        Address::CONTROLLER, TYPE_CURRENT_CARD,
        CURRENTCARD_DATA.arg(currentCard).arg(cards.join(QLatin1Char(','))).arg(totalCards));
}
