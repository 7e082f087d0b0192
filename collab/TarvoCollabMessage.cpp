#include "collab/TarvoCollabMessage.h"

#include "compression/Lzma.h"
#include "model/JsonSerializer.h"

#include <QtCore/QDebug>

namespace Tarvo
{

TarvoCollabMessage::TarvoCollabMessage(QObject *parent) : QObject(parent) { }

void TarvoCollabMessage::compileData()
{
    QString payload;
    if (m_dataObject) {
        payload = JsonSerializer::serializeToJson(m_dataObject);
    } else if (m_data.canConvert<QVariantMap>()) {
        payload = JsonSerializer::serializeToJson(m_data.toMap());
    } else {
        qDebug().noquote() << "[TarvoCollabMessage] data object in message is invalid!";
        return;
    }

    // Devices read "data" as a list of pieces; one piece holds every payload.
    QString compressed;
    Lzma::compress64(payload, &compressed);
    m_data = QVariantList{compressed};
}

} // namespace Tarvo
