// Objects and maps as JSON text: which properties, in which order, in which form.
#include "Nodes.h"
#include "model/JsonSerializer.h"
#include "model/QuestionMultiChoice.h"
#include "support/LogCapture.h"

#include <QtCore/QJsonDocument>
#include <QtTest/QtTest>

using namespace Tarvo;

namespace
{

const QString leafText = u"{\n    \"n\": 1\n}\n"_s;

// What the operations take.
[[maybe_unused]] QString (*const SERIALIZE_OBJECT)(const QObject *) =
    &JsonSerializer::serializeToJson;
[[maybe_unused]] QString (*const SERIALIZE_MAP)(const QVariantMap &) =
    &JsonSerializer::serializeToJson;
[[maybe_unused]] QVariantMap (*const BUILD_MAP)(const QObject *, QStringList,
                                                int) = &JsonSerializer::buildObjectMap;
[[maybe_unused]] QVariantList (*const BUILD_LIST)(QList<QObject *>) =
    &JsonSerializer::buildArrayObjectMap;

} // namespace

class Variety : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QString text MEMBER text)
    Q_PROPERTY(int secret WRITE setSecret)
    Q_PROPERTY(Leaf *typedPointer MEMBER typedPointer)
    Q_PROPERTY(QVariant anything MEMBER anything)
    Q_PROPERTY(QList<QVariantMap> maps MEMBER maps)
    Q_PROPERTY(double ratio MEMBER ratio)
    Q_PROPERTY(QStringList names MEMBER names)

public:
    void setSecret(int) { }
    QString text;
    Leaf *typedPointer = nullptr;
    QVariant anything;
    QList<QVariantMap> maps;
    double ratio = 0.5;
    QStringList names;
};

class Capitals : public QObject
{
    Q_OBJECT
    Q_PROPERTY(int activityType MEMBER n)
    Q_PROPERTY(int id MEMBER n)
    Q_PROPERTY(int activityOptions MEMBER n)
    Q_PROPERTY(int ID MEMBER n)
    Q_PROPERTY(int Zebra MEMBER n)

public:
    int n = 0;
};

class tst_JsonSerializer : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void objectNameIsNeverWritten();
    void ignoredNamesAreObjectNameAlone();
    void ignoredNamesAreCaseSensitive();
    void ignoredNamesHoldForNestedObjects();
    void writeOnlyPropertyIsNotCopied();
    void inheritedPropertiesAreCopied();
    void dynamicPropertiesAreNotCopied();
    void valuesAreStoredUnchanged();
    void keysAscendByCodeUnit();
    void textIsIndentedAndEndsWithANewline();
    void valuesAppearAsTheirJsonKinds();
    void charactersAreEscapedOrWrittenAsUtf8();
    void listOfMapsBecomesAnArray();
    void listOfMapsInAVariantBecomesAnArray();
    void listOfMapsIsStoredUnchanged();
    void listOfMapsBecomesAnArrayWhereverItStands_data();
    void listOfMapsBecomesAnArrayWhereverItStands();
    void listOfMapsTypeIsKnownByName();
    void nullObjectPropertyIsNullAndReported();
    void objectInAVariantPropertyIsMapped();
    void moreSpecificPointerIsLeftAsItIs();
    void nullRootGivesAnEmptyObject();
    void emptyMapAndEmptyListGiveEmptyForms();
    void listKeepsTheOrderOfItsObjects();
    void deeplyNestedMapIsWritten();
    void aCharacterZeroDoesNotCutTheText();
};

void tst_JsonSerializer::objectNameIsNeverWritten()
{
    Leaf leaf;
    leaf.setObjectName("a name");
    QCOMPARE(JsonSerializer::serializeToJson(&leaf), leafText);
    Node root("root");
    root.setObjectName("root's name");
    root.a = &leaf;
    QVERIFY(!JsonSerializer::serializeToJson(&root).contains("objectName"));
    QVERIFY(!JsonSerializer::serializeToJson(&root).contains("name"));
}

void tst_JsonSerializer::ignoredNamesAreObjectNameAlone()
{
    QCOMPARE(JsonSerializer::getIgnorePropertiesList(), QStringList{"objectName"});
    QCOMPARE(JsonSerializer::MAX_RECURSE_DEPTH, 4);
}

void tst_JsonSerializer::ignoredNamesAreCaseSensitive()
{
    Leaf leaf;
    leaf.setObjectName("x");
    const QVariantMap all = {{"n", 1}, {"objectName", "x"}};
    QCOMPARE(JsonSerializer::buildObjectMap(&leaf, {}, 1), all);
    QCOMPARE(JsonSerializer::buildObjectMap(&leaf, {"N", "objectname"}, 1), all);
    QCOMPARE(JsonSerializer::buildObjectMap(&leaf, {"n", "objectName"}, 1), QVariantMap());
}

void tst_JsonSerializer::ignoredNamesHoldForNestedObjects()
{
    Leaf leaf;
    Node root("root");
    root.a = &leaf;
    const QVariantMap map = JsonSerializer::buildObjectMap(
        &root, {"n", "b", "c", "d", "objectName"}, JsonSerializer::MAX_RECURSE_DEPTH);
    QCOMPARE(map, (QVariantMap{{"value", "root"}, {"a", QVariantMap()}}));
}

void tst_JsonSerializer::writeOnlyPropertyIsNotCopied()
{
    const Variety object;
    QVERIFY(object.metaObject()->indexOfProperty("secret") >= 0);
    const QVariantMap map =
        JsonSerializer::buildObjectMap(&object, JsonSerializer::getIgnorePropertiesList(), 1);
    QCOMPARE(map.keys(),
             QStringList({"anything", "maps", "names", "ratio", "text", "typedPointer"}));
}

void tst_JsonSerializer::inheritedPropertiesAreCopied()
{
    const QuestionMultiChoice question(nullptr);
    const QVariantMap map =
        JsonSerializer::buildObjectMap(&question, JsonSerializer::getIgnorePropertiesList(), 4);
    QCOMPARE(
        map.keys(),
        QStringList({"activityOptions", "activityType", "card", "feedBack", "hasNext", "hint", "id",
                     "instructions", "math", "metadata", "navigable", "numberOfCorrectOptions",
                     "passage", "questionNumber", "questionSetMode", "type"}));
}

void tst_JsonSerializer::dynamicPropertiesAreNotCopied()
{
    Leaf leaf;
    leaf.setProperty("extra", 5);
    QCOMPARE(JsonSerializer::serializeToJson(&leaf), leafText);
}

void tst_JsonSerializer::valuesAreStoredUnchanged()
{
    Variety object;
    object.text = "t";
    object.anything = QByteArray("bytes");
    const QVariantMap map = JsonSerializer::buildObjectMap(&object, {}, 1);
    QCOMPARE(map["text"].userType(), int(QMetaType::QString));
    QCOMPARE(map["anything"].userType(), int(QMetaType::QByteArray));
    QCOMPARE(map["anything"].toByteArray(), QByteArray("bytes"));
    QCOMPARE(map["ratio"].userType(), int(QMetaType::Double));
    QCOMPARE(map["names"].userType(), int(QMetaType::QStringList));
}

void tst_JsonSerializer::keysAscendByCodeUnit()
{
    const Capitals object;
    QCOMPARE(JsonSerializer::serializeToJson(&object), uR"({
    "ID": 0,
    "Zebra": 0,
    "activityOptions": 0,
    "activityType": 0,
    "id": 0
}
)"_s);
    // By UTF-16 code units a character beyond the first plane precedes U+FFFD.
    const QVariantMap map = {{QString(QChar(0xFFFD)), 1}, {u"\U0001F600"_s, 2}};
    QCOMPARE(JsonSerializer::serializeToJson(map),
             u"{\n    \"\U0001F600\": 2,\n    \"\uFFFD\": 1\n}\n"_s);
}

void tst_JsonSerializer::textIsIndentedAndEndsWithANewline()
{
    const QVariantMap map = {{"list", QVariantList{1, QVariantMap{{"k", true}}, QVariantList()}}};
    QCOMPARE(JsonSerializer::serializeToJson(map), uR"({
    "list": [
        1,
        {
            "k": true
        },
        [
        ]
    ]
}
)"_s);
}

void tst_JsonSerializer::valuesAppearAsTheirJsonKinds()
{
    Variety object;
    object.names = QStringList{"x", "y"};
    object.text = "text";
    QCOMPARE(JsonSerializer::serializeToJson(&object), uR"({
    "anything": null,
    "maps": [
    ],
    "names": [
        "x",
        "y"
    ],
    "ratio": 0.5,
    "text": "text",
    "typedPointer": null
}
)"_s);
    object.anything = true;
    QVERIFY(JsonSerializer::serializeToJson(&object).contains("    \"anything\": true,\n"));
    object.anything = 7;
    QVERIFY(JsonSerializer::serializeToJson(&object).contains("    \"anything\": 7,\n"));
    object.anything = QVariantMap{{"k", "v"}};
    QVERIFY(JsonSerializer::serializeToJson(&object).contains(
        "    \"anything\": {\n        \"k\": \"v\"\n    },\n"));
}

void tst_JsonSerializer::charactersAreEscapedOrWrittenAsUtf8()
{
    const QVariantMap map = {{"k", u"a/\"\\\n\t\u0001é中😀"_s}};
    QCOMPARE(JsonSerializer::serializeToJson(map),
             u"{\n    \"k\": \"a/\\\"\\\\\\n\\t\\u0001é中😀\"\n}\n"_s);
}

void tst_JsonSerializer::listOfMapsBecomesAnArray()
{
    Variety object;
    object.maps = {{{"a", 1}}, {{"b", QVariantList{2}}}};
    QVERIFY(JsonSerializer::serializeToJson(&object).contains(R"(    "maps": [
        {
            "a": 1
        },
        {
            "b": [
                2
            ]
        }
    ],
)"));
}

void tst_JsonSerializer::listOfMapsInAVariantBecomesAnArray()
{
    Variety object;
    object.anything = QVariant::fromValue(QList<QVariantMap>{{{"a", 1}}});
    QVERIFY(JsonSerializer::serializeToJson(&object).contains(R"(    "anything": [
        {
            "a": 1
        }
    ],
)"));
}

void tst_JsonSerializer::listOfMapsIsStoredUnchanged()
{
    Variety object;
    object.maps = {{{"a", 1}}};
    object.anything = QVariant::fromValue(object.maps);
    const QVariantMap map = JsonSerializer::buildObjectMap(&object, {}, 1);
    const int type = qMetaTypeId<QList<QVariantMap>>();
    for (const char *name : {"maps", "anything"}) {
        QCOMPARE(map.value(name).userType(), type);
        QCOMPARE(map.value(name).value<QList<QVariantMap>>(), object.maps);
    }
    QCOMPARE(JsonSerializer::buildArrayObjectMap({&object}).at(0).toMap().value("maps").userType(),
             type);
}

void tst_JsonSerializer::listOfMapsBecomesAnArrayWhereverItStands_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<QByteArray>("json");

    const QVariantMap a{{"a", 1}};
    const QVariant maps = QVariant::fromValue(QList<QVariantMap>{a, {{"b", QVariant()}}});
    const QByteArray array = R"([{"a":1},{"b":null}])";
    QTest::newRow("by itself") << maps << array;
    QTest::newRow("empty") << QVariant::fromValue(QList<QVariantMap>()) << QByteArray("[]");
    QTest::newRow("in a map") << QVariant(QVariantMap{{"k", maps}, {"l", 2}})
                              << R"({"k":)" + array + R"(,"l":2})";
    QTest::newRow("in a list") << QVariant(QVariantList{0, maps}) << "[0," + array + ']';
    QTest::newRow("in a hash") << QVariant(QVariantHash{{"k", maps}}) << R"({"k":)" + array + '}';
    QTest::newRow("in another one")
        << QVariant::fromValue(QList<QVariantMap>{{{"k", maps}}}) << R"([{"k":)" + array + "}]";
    QTest::newRow("deep inside") << QVariant(
        QVariantList{QVariantMap{{"k", QVariantList{maps, "x"}}}})
                                 << R"([{"k":[)" + array + R"(,"x"]}])";
}

void tst_JsonSerializer::listOfMapsBecomesAnArrayWhereverItStands()
{
    QFETCH(QVariant, value);
    QFETCH(QByteArray, json);
    const QByteArray expected = QJsonDocument::fromJson(R"({"value":)" + json + '}').toJson();
    QCOMPARE(JsonSerializer::serializeToJson({{"value", value}}), QString::fromUtf8(expected));
}

void tst_JsonSerializer::listOfMapsTypeIsKnownByName()
{
    const Leaf leaf;
    JsonSerializer::serializeToJson(&leaf);
    const int type = QMetaType::type("QList<QVariantMap>");
    QVERIFY(type != QMetaType::UnknownType);
    QCOMPARE(type, qMetaTypeId<QList<QVariantMap>>());
    const QVariant value = QVariant::fromValue(QList<QVariantMap>{{{"a", 1}}});
    QVERIFY(value.canConvert<QVariantList>());
    QCOMPARE(value.value<QSequentialIterable>().size(), 1);
}

void tst_JsonSerializer::nullObjectPropertyIsNullAndReported()
{
    QuestionMultiChoice question(nullptr);
    question.setcard(nullptr);
    const LogCapture log;
    const QString json = JsonSerializer::serializeToJson(&question);
    QVERIFY(json.contains("    \"card\": null,\n"));
    QCOMPARE(log.messages(),
             QStringList({failedToMap("card"), mapping("feedBack"), mapping("metadata")}));
}

void tst_JsonSerializer::objectInAVariantPropertyIsMapped()
{
    Leaf leaf;
    Variety object;
    object.anything = QVariant::fromValue<QObject *>(&leaf);
    const LogCapture log;
    QVERIFY(JsonSerializer::serializeToJson(&object).contains(
        "    \"anything\": {\n        \"n\": 1\n    },\n"));
    QCOMPARE(log.messages(), QStringList{mapping("anything")});
}

void tst_JsonSerializer::moreSpecificPointerIsLeftAsItIs()
{
    Leaf leaf;
    Variety object;
    object.typedPointer = &leaf;
    const LogCapture log;
    QVERIFY(JsonSerializer::serializeToJson(&object).contains("    \"typedPointer\": null\n"));
    const QVariantMap map = JsonSerializer::buildObjectMap(&object, {}, 4);
    QCOMPARE(map["typedPointer"].value<Leaf *>(), &leaf);
    QCOMPARE(log.messages(), QStringList());
}

void tst_JsonSerializer::nullRootGivesAnEmptyObject()
{
    const LogCapture log;
    QCOMPARE(JsonSerializer::serializeToJson(static_cast<const QObject *>(nullptr)), u"{\n}\n"_s);
    QCOMPARE(JsonSerializer::buildArrayObjectMap({nullptr}), QVariantList{QVariantMap()});
    QCOMPARE(log.messages(), QStringList());
}

void tst_JsonSerializer::emptyMapAndEmptyListGiveEmptyForms()
{
    QCOMPARE(JsonSerializer::serializeToJson(QVariantMap()), u"{\n}\n"_s);
    QCOMPARE(JsonSerializer::buildArrayObjectMap({}), QVariantList());
}

void tst_JsonSerializer::listKeepsTheOrderOfItsObjects()
{
    QList<QObject *> objects;
    QVariantList expected;
    for (int i = 9; i >= 0; --i) {
        auto *leaf = new Leaf;
        leaf->setParent(this);
        leaf->setObjectName("never written");
        leaf->n = i;
        objects << leaf;
        expected << QVariantMap{{"n", i}};
    }
    QCOMPARE(JsonSerializer::buildArrayObjectMap(objects), expected);
}

void tst_JsonSerializer::deeplyNestedMapIsWritten()
{
    constexpr int LEVELS = 1000;
    QVariant nested = 1;
    for (int i = 0; i < LEVELS; ++i)
        nested = i % 2 == 0 ? QVariant(QVariantList{nested}) : QVariant(QVariantMap{{"k", nested}});
    const QString json = JsonSerializer::serializeToJson(nested.toMap());
    QCOMPARE(json.count('{'), LEVELS / 2);
    QCOMPARE(json.count('['), LEVELS / 2);
    QVERIFY(json.endsWith("\n}\n"));
}

void tst_JsonSerializer::aCharacterZeroDoesNotCutTheText()
{
    const QVariantMap map = {{"k", u"a"_s + QChar(0) + "b"}};
    QCOMPARE(JsonSerializer::serializeToJson(map), u"{\n    \"k\": \"a\\u0000b\"\n}\n"_s);
}

QTEST_GUILESS_MAIN(tst_JsonSerializer)
#include "tst_jsonserializer.moc"
