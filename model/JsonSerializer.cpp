#include "model/JsonSerializer.h"
#include "support/Log.h"
#include "support/Utf8.h"

#include <QtCore/QJsonDocument>
#include <QtCore/QMetaObject>
#include <QtCore/QMetaProperty>
#include <QtCore/QMetaType>

#include <algorithm>

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

// Whether a list of maps, whose type the JSON conversion does not know, stands anywhere in a value.
bool holdsMapList(const QVariant &value)
{
    switch (value.userType()) {
    case QMetaType::QVariantMap:
    case QMetaType::QVariantHash: {
        const QVariantMap map = value.toMap();
        return std::any_of(map.begin(), map.end(), holdsMapList);
    }
    case QMetaType::QVariantList: {
        const QVariantList list = value.toList();
        return std::any_of(list.begin(), list.end(), holdsMapList);
    }
    default:
        return value.userType() == mapListType();
    }
}

// The value with plain lists in the place of lists of maps.
QVariant withPlainLists(const QVariant &value)
{
    const int type = value.userType();
    if (type == QMetaType::QVariantMap || type == QMetaType::QVariantHash) {
        QVariantMap map = value.toMap();
        for (QVariant &entry : map)
            entry = withPlainLists(entry);
        return map;
    }
    if (type == QMetaType::QVariantList || type == mapListType()) {
        QVariantList list = value.value<QVariantList>();
        for (QVariant &element : list)
            element = withPlainLists(element);
        return list;
    }
    return value;
}

} // namespace

QString JsonSerializer::serializeToJson(const QObject *object)
{
    mapListType();
    return serializeToJson(buildObjectMap(object, getIgnorePropertiesList(), MAX_RECURSE_DEPTH));
}

QString JsonSerializer::serializeToJson(const QVariantMap &map)
{
    const QVariant value = holdsMapList(map) ? withPlainLists(map) : map;
    const QByteArray json = QJsonDocument::fromVariant(value).toJson();
    const QString text = utf8UpToZero(json);
    if (text.isEmpty())
        TARVO_LOG(model, "[JsonSerializer] ERROR: ");
    return text;
}

QVariantMap JsonSerializer::buildObjectMap(const QObject *object, QStringList ignored, int depth)
{
    if (depth <= 0) {
        TARVO_LOG(model,
                  "[JsonSerializer] ERROR: Reached max depth! Increase MAX_RECURSE_DEPTH or check "
                  "object references!");
        return {};
    }
    if (!object)
        return {};

    QVariantMap map = readProperties(*object, ignored);
    for (auto entry = map.begin(); entry != map.end(); ++entry) {
        if (entry->userType() != QMetaType::QObjectStar)
            continue;
        const auto *subObject = qvariant_cast<QObject *>(*entry);
        if (!subObject) {
            TARVO_LOG(model, "[JsonSerializer] ERROR: Failed to map property: ", entry.key());
            continue;
        }
        TARVO_LOG(model, "[JsonSerializer] Mapping sub-property: ", entry.key());
        // One budget for all of them: which nested objects the devices get depends on it.
        --depth;
        *entry = buildObjectMap(subObject, ignored, depth);
    }
    return map;
}

QVariantList JsonSerializer::buildArrayObjectMap(QList<QObject *> objects)
{
    const QStringList ignored = getIgnorePropertiesList();
    QVariantList maps;
    maps.reserve(objects.size());
    for (const QObject *object : qAsConst(objects))
        maps.append(buildObjectMap(object, ignored, LIST_ELEMENT_DEPTH));
    return maps;
}

QStringList JsonSerializer::getIgnorePropertiesList()
{
    return {QStringLiteral("objectName")};
}

} // namespace Tarvo
