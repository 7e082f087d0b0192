// JsonSerializer by name: static functions and one constant.

#include "model/JsonSerializer.h"

#include "interface/Functions.h"
#include "support/Text.h"

#include <QtTest/QtTest>

using Tarvo::JsonSerializer;

class tst_SerializerInterface : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void functions();
    void recursionDepth();
    void ignoredProperties();
    void listsOfMapsAreKnownByName();
};

// clang-format off
void tst_SerializerInterface::functions()
{
    QVERIFY(has<QString (*)(const QObject *)>(&JsonSerializer::serializeToJson));
    QVERIFY(has<QString (*)(const QVariantMap &)>(&JsonSerializer::serializeToJson));
    QVERIFY(has<QVariantMap (*)(const QObject *, QStringList, int)>(&JsonSerializer::buildObjectMap));
    QVERIFY(has<QVariantList (*)(QList<QObject *>)>(&JsonSerializer::buildArrayObjectMap));
    QVERIFY(has<QStringList (*)()>(&JsonSerializer::getIgnorePropertiesList));
}
// clang-format on

void tst_SerializerInterface::recursionDepth()
{
    QVERIFY((std::is_same_v<decltype(JsonSerializer::MAX_RECURSE_DEPTH), const int>));
    QCOMPARE(int(JsonSerializer::MAX_RECURSE_DEPTH), 4);
}

void tst_SerializerInterface::ignoredProperties()
{
    QCOMPARE(JsonSerializer::getIgnorePropertiesList(), QStringList({u"objectName"_s}));
}

void tst_SerializerInterface::listsOfMapsAreKnownByName()
{
    const QObject object;
    JsonSerializer::serializeToJson(&object);
    const int type = QMetaType::type("QList<QVariantMap>");
    QVERIFY(type != QMetaType::UnknownType);
    QVERIFY(QVariant(QVariant::Type(type)).canConvert<QVariantList>());
}

QTEST_GUILESS_MAIN(tst_SerializerInterface)
#include "tst_serializerinterface.moc"
