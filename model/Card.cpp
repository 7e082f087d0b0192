#include "model/Card.h"

namespace Tarvo
{

namespace
{

const QLatin1String BACKGROUND_COLOR("backgroundColor");
const QLatin1String BACKGROUND_IMAGE("backgroundImage");
const QLatin1String BACKGROUND_SIZE("backgroundSize");

} // namespace

Card::Card(QObject *parent) : QObject(parent) { }

void Card::setBackgroundImage(QString url)
{
    m_styles.insert(BACKGROUND_IMAGE, url);
}

QVariantMap Card::filledPage()
{
    return {
        {BACKGROUND_COLOR, QString()},
        {BACKGROUND_IMAGE, QString()},
        {BACKGROUND_SIZE, QStringLiteral("100%")},
    };
}

} // namespace Tarvo
