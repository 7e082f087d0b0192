#include "collab/TarvoCollabMessage.h"

#include "compression/Lzma.h"
#include "model/JsonSerializer.h"
#include "support/Log.h"

namespace Tarvo
{

TarvoCollabMessage::TarvoCollabMessage(QObject *parent) : QObject(parent) { }

void TarvoCollabMessage::setdataobject(QObject *dataObject)
{
    disconnect(m_dataObjectGone);
    this->dataObject = dataObject;
    m_living = dataObject;
    if (dataObject) {
        // Direct, so that it is forgotten at once on whatever thread it is destroyed.
        m_dataObjectGone = connect(
            dataObject, &QObject::destroyed, this, [this] { this->dataObject = nullptr; },
            Qt::DirectConnection);
    }
}

void TarvoCollabMessage::compileData()
{
    QString payload;
    if (m_living) {
        payload = JsonSerializer::serializeToJson(dataObject);
    } else if (m_data.canConvert<QVariantMap>()) {
        payload = JsonSerializer::serializeToJson(m_data.toMap());
    } else {
        TARVO_LOG(channel, "[TarvoCollabMessage] data object in message is invalid!");
        return;
    }

    // Devices read "data" as a list of pieces; one piece holds every payload.
    QString compressed;
    Lzma::compress64(payload, &compressed);
    m_data = QVariantList{compressed};
}

} // namespace Tarvo
