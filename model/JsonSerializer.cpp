#include "model/JsonSerializer.h"

#include <QtCore/QDebug>
#include <QtCore/QJsonDocument>
#include <QtCore/QMetaObject>
#include <QtCore/QMetaProperty>
#include <QtCore/QMetaType>

namespace Tarvo
{

namespace
{

constexpr int LIST_ELEMENT_DEPTH = 2;

// Registered by its name, together with the converter that lets such a value be read as a list.
int mapListType()
{
    static const int type = qRegisterMetaType<QList<QVariantMap>>("QList<QVariantMap>");
    return type;
}

QVariantMap readProperties(const QObject &object, const QStringList &ignored)
{
    QVariantMap map;
    const QMetaObject *meta = object.metaObject();
    for (int i = 0; i < meta->propertyCount(); ++i) {
        const QMetaProperty property = meta->property(i);
        const QString name = QString::fromUtf8(property.name());
        if (property.isReadable() && !ignored.contains(name))
            map.insert(name, property.read(&object));
    }
    return map;
}

} // namespace

QString JsonSerializer::serializeToJson(const QObject *object)
{
    return serializeToJson(buildObjectMap(object, getIgnorePropertiesList(), MAX_RECURSE_DEPTH));
}

QString JsonSerializer::serializeToJson(const QVariantMap &map)
{
    const QByteArray json = QJsonDocument::fromVariant(map).toJson();
    // As a C string: devices are sent the text up to the first zero byte.
    const QString text = QString::fromUtf8(json.constData());
    if (text.isEmpty())
        qDebug().noquote() << "[JsonSerializer] ERROR: ";
    return text;
}

QVariantMap JsonSerializer::buildObjectMap(const QObject *object, const QStringList &ignored,
                                           int depth)
{
    if (depth <= 0) {
        qDebug().noquote() << "[JsonSerializer] ERROR: Reached max depth! Increase "
                              "MAX_RECURSE_DEPTH or check object references!";
        return {};
    }
    if (!object)
        return {};

    const int mapList = mapListType();
    QVariantMap map = readProperties(*object, ignored);
    for (auto entry = map.begin(); entry != map.end(); ++entry) {
        if (entry->userType() == mapList)
            *entry = entry->value<QVariantList>();
        if (entry->userType() != QMetaType::QObjectStar)
            continue;
        const auto *subObject = qvariant_cast<QObject *>(*entry);
        if (!subObject) {
            qDebug().noquote() << "[JsonSerializer] ERROR: Failed to map property:" << entry.key();
            continue;
        }
        qDebug().noquote() << "[JsonSerializer] Mapping sub-property:" << entry.key();
        // One budget for all of them: which nested objects the devices get depends on it.
        --depth;
        *entry = buildObjectMap(subObject, ignored, depth);
    }
    return map;
}

QVariantList JsonSerializer::buildArrayObjectMap(const QList<QObject *> &objects)
{
    const QStringList ignored = getIgnorePropertiesList();
    QVariantList maps;
    maps.reserve(objects.size());
    for (const QObject *object : objects)
        maps.append(buildObjectMap(object, ignored, LIST_ELEMENT_DEPTH));
    return maps;
}

QStringList JsonSerializer::getIgnorePropertiesList()
{
    return {QStringLiteral("objectName")};
}

} // namespace Tarvo
