// The envelope: its properties are the body's JSON, and it compresses its payload.
#include "Messages.h"
#include "collab/TarvoCollabMessage.h"
#include "model/JsonSerializer.h"
#include "support/LogCapture.h"

#include <QtCore/QMetaProperty>
#include <QtTest/QtTest>

#include <memory>

using Tarvo::JsonSerializer;
using Tarvo::TarvoCollabMessage;

// The way to the object that an envelope holds.
struct DataObject {
    using Member = QObject *TarvoCollabMessage::*;
    friend Member memberOf(DataObject);
};
template struct Reach<DataObject, &TarvoCollabMessage::dataObject>;

namespace
{

class Payload : public QObject
{
    Q_OBJECT
    Q_PROPERTY(int size MEMBER size)

public:
    int size = 1;
};

const QString invalidLine = u"[TarvoCollabMessage] data object in message is invalid!"_s;

QObject *dataObjectOf(const TarvoCollabMessage &message)
{
    return message.*memberOf(DataObject());
}

// Compiles the message, and gives the payload that is in it then.
QString compiled(TarvoCollabMessage &message)
{
    message.compileData();
    return unpacked(message.data().toList().value(0).toString());
}

} // namespace

class tst_TarvoCollabMessage : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void startsWithItsDefaults();
    void propertiesAndSlotsStandInOrder();
    void settersWorkThroughTheMetaObject();
    void freshMessageSerializesWhole();
    void mapIsCompressedIntoAListOfOneText();
    void emptyMapIsAPayload();
    void objectIsCompressedIntoAListOfOneText();
    void objectGoesBeforeMap();
    void objectThatIsGoneLeavesTheMap();
    void objectIsForgottenOnceItIsGone();
    void objectThatTheHostCutOffIsForgotten();
    void replacedObjectMayGoUnnoticed();
    void objectMayOutliveTheMessage();
    void withoutPayloadDataStaysAndALineSaysSo_data();
    void withoutPayloadDataStaysAndALineSaysSo();
    void secondCompileFindsAList();
    void compiledMessageSerializesWhole();
};

void tst_TarvoCollabMessage::startsWithItsDefaults()
{
    QObject parent;
    const TarvoCollabMessage message;
    QCOMPARE(message.from(), QString());
    QCOMPARE(message.type(), QString());
    QCOMPARE(message.version(), u"3.0.0"_s);
    QCOMPARE(message.sourceSystem(), u"Corvel"_s);
    QCOMPARE(message.data(), QVariant());
    QVERIFY(!message.parent());
    QCOMPARE(TarvoCollabMessage::PROTOCOL_VERSION, u"3.0.0"_s);
    QCOMPARE((new TarvoCollabMessage(&parent))->parent(), &parent);
}

void tst_TarvoCollabMessage::propertiesAndSlotsStandInOrder()
{
    const QMetaObject &meta = TarvoCollabMessage::staticMetaObject;
    QStringList properties;
    for (int i = meta.propertyOffset(); i < meta.propertyCount(); ++i) {
        const QMetaProperty property = meta.property(i);
        QVERIFY(property.isReadable() && property.isWritable());
        properties.append(QLatin1String(property.typeName()) + ' ' + property.name());
    }
    QCOMPARE(properties,
             (QStringList{"QString from", "QString type", "QString version", "QString sourceSystem",
                          "QVariant data"}));

    QStringList slotNames;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
        QCOMPARE(meta.method(i).methodType(), QMetaMethod::Slot);
        QCOMPARE(meta.method(i).access(), QMetaMethod::Public);
        slotNames.append(meta.method(i).methodSignature() + ' '
                         + meta.method(i).parameterNames().value(0));
    }
    QCOMPARE(slotNames,
             (QStringList{"setfrom(QString) from", "settype(QString) type",
                          "setversion(QString) version", "setsourceSystem(QString) sourceSystem",
                          "setdata(QVariant) data", "setdataobject(QObject*) dataObject"}));
}

void tst_TarvoCollabMessage::settersWorkThroughTheMetaObject()
{
    TarvoCollabMessage message;
    for (const char *name : {"from", "type", "version", "sourceSystem", "data"}) {
        QVERIFY(message.setProperty(name, QLatin1String(name)));
        QCOMPARE(message.property(name).toString(), QLatin1String(name));
    }
    for (const char *setter : {"setfrom", "settype", "setversion", "setsourceSystem"})
        QVERIFY(QMetaObject::invokeMethod(&message, setter, Q_ARG(QString, setter)));
    QVERIFY(QMetaObject::invokeMethod(&message, "setdata", Q_ARG(QVariant, 7)));
    QCOMPARE(message.from(), u"setfrom"_s);
    QCOMPARE(message.type(), u"settype"_s);
    QCOMPARE(message.version(), u"setversion"_s);
    QCOMPARE(message.sourceSystem(), u"setsourceSystem"_s);
    QCOMPARE(message.data(), QVariant(7));

    Payload payload;
    QVERIFY(QMetaObject::invokeMethod(&message, "setdataobject", Q_ARG(QObject *, &payload)));
    message.compileData();
    QCOMPARE(message.data().toList().size(), 1);
}

void tst_TarvoCollabMessage::freshMessageSerializesWhole()
{
    const TarvoCollabMessage message;
    QCOMPARE(JsonSerializer::serializeToJson(&message), uR"({
    "data": null,
    "from": "",
    "sourceSystem": "Corvel",
    "type": "",
    "version": "3.0.0"
}
)"_s);
}

void tst_TarvoCollabMessage::mapIsCompressedIntoAListOfOneText()
{
    TarvoCollabMessage message;
    message.setdata(QVariantMap{{"b", true}, {"a", "x"}});
    message.compileData();

    QCOMPARE(message.data().type(), QVariant::List);
    const QVariantList list = message.data().toList();
    QCOMPARE(list.size(), 1);
    QCOMPARE(list.first().type(), QVariant::String);
    QCOMPARE(list.first().toString(),
             u"XQBAAAAgAAAAIAAAAAA9goAZG5p/0vPWepWnrnnd2988sclnLJQRE8r+Xf/1D1AA"_s);
    QCOMPARE(unpacked(list.first().toString()), u"{\n    \"a\": \"x\",\n    \"b\": true\n}\n"_s);
}

void tst_TarvoCollabMessage::emptyMapIsAPayload()
{
    TarvoCollabMessage message;
    message.setdata(QVariantMap());
    QCOMPARE(compiled(message), u"{\n}\n"_s);
}

void tst_TarvoCollabMessage::objectIsCompressedIntoAListOfOneText()
{
    Payload payload;
    TarvoCollabMessage message;
    message.setdataobject(&payload);
    message.compileData();
    const QVariantList list = message.data().toList();
    QCOMPARE(list.size(), 1);
    QCOMPARE(list.first(), QVariant(u"XQBAAAASAAAAEgAAAAA9goAZG5sQzrRKTYT1JNMDgF+QsQ///ocoAA=="_s));
    QCOMPARE(unpacked(list.first().toString()), u"{\n    \"size\": 1\n}\n"_s);
}

void tst_TarvoCollabMessage::objectGoesBeforeMap()
{
    Payload payload;
    TarvoCollabMessage message;
    message.setdata(QVariantMap{{"map", 1}});
    message.setdataobject(&payload);
    QCOMPARE(compiled(message), u"{\n    \"size\": 1\n}\n"_s);
}

void tst_TarvoCollabMessage::objectThatIsGoneLeavesTheMap()
{
    TarvoCollabMessage message;
    message.setdata(QVariantMap{{"map", 1}});
    {
        Payload payload;
        message.setdataobject(&payload);
    }
    QCOMPARE(compiled(message), u"{\n    \"map\": 1\n}\n"_s);
}

void tst_TarvoCollabMessage::objectIsForgottenOnceItIsGone()
{
    TarvoCollabMessage message;
    QCOMPARE(dataObjectOf(message), nullptr);
    auto payload = std::make_unique<Payload>();
    message.setdataobject(payload.get());
    message.setdataobject(payload.get());
    QCOMPARE(dataObjectOf(message), payload.get());
    payload.reset();
    QCOMPARE(dataObjectOf(message), nullptr);
}

void tst_TarvoCollabMessage::objectThatTheHostCutOffIsForgotten()
{
    TarvoCollabMessage message;
    auto payload = std::make_unique<Payload>();
    message.setdataobject(payload.get());
    payload->disconnect(); // everybody, the message too
    payload.reset();
    message.setdata(QVariantMap{{u"size"_s, 3}});
    QCOMPARE(compiled(message), u"{\n    \"size\": 3\n}\n"_s);
}

void tst_TarvoCollabMessage::replacedObjectMayGoUnnoticed()
{
    TarvoCollabMessage message;
    auto replaced = std::make_unique<Payload>();
    Payload payload;
    payload.size = 2;
    message.setdataobject(replaced.get());
    message.setdataobject(&payload);
    replaced.reset();
    QCOMPARE(dataObjectOf(message), &payload);
    QCOMPARE(compiled(message), u"{\n    \"size\": 2\n}\n"_s);

    message.setdataobject(nullptr);
    QCOMPARE(dataObjectOf(message), nullptr);
}

void tst_TarvoCollabMessage::objectMayOutliveTheMessage()
{
    Payload payload;
    auto earlier = std::make_unique<TarvoCollabMessage>();
    TarvoCollabMessage later;
    earlier->setdataobject(&payload);
    later.setdataobject(&payload);
    earlier.reset();
    QCOMPARE(dataObjectOf(later), &payload);
}

void tst_TarvoCollabMessage::withoutPayloadDataStaysAndALineSaysSo_data()
{
    QTest::addColumn<QVariant>("data");

    QTest::newRow("nothing") << QVariant();
    QTest::newRow("text") << QVariant("text");
    QTest::newRow("number") << QVariant(3);
    QTest::newRow("list") << QVariant(QVariantList{1, 2});
}

void tst_TarvoCollabMessage::withoutPayloadDataStaysAndALineSaysSo()
{
    QFETCH(QVariant, data);
    TarvoCollabMessage message;
    message.setdata(data);
    const LogCapture log;
    message.compileData();
    QCOMPARE(log.messages(), QStringList{invalidLine});
    QCOMPARE(message.data(), data);
    QCOMPARE(message.data().isValid(), data.isValid());
}

void tst_TarvoCollabMessage::secondCompileFindsAList()
{
    TarvoCollabMessage message;
    message.setdata(QVariantMap{{"a", 1}});
    const LogCapture log;
    message.compileData();
    QCOMPARE(log.messages(), QStringList());
    const QVariant compiled = message.data();
    message.compileData();
    QCOMPARE(log.messages(), QStringList{invalidLine});
    QCOMPARE(message.data(), compiled);
}

void tst_TarvoCollabMessage::compiledMessageSerializesWhole()
{
    TarvoCollabMessage message;
    message.setfrom(u"teacher"_s);
    message.settype(u"dialogShow"_s);
    message.setdata(QVariantMap{{"b", true}, {"a", "x"}});
    message.compileData();
    QCOMPARE(JsonSerializer::serializeToJson(&message), uR"({
    "data": [
        "XQBAAAAgAAAAIAAAAAA9goAZG5p/0vPWepWnrnnd2988sclnLJQRE8r+Xf/1D1AA"
    ],
    "from": "teacher",
    "sourceSystem": "Corvel",
    "type": "dialogShow",
    "version": "3.0.0"
}
)"_s);
}

QTEST_APPLESS_MAIN(tst_TarvoCollabMessage)
#include "tst_tarvocollabmessage.moc"
