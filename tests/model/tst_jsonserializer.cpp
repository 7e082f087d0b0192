#include "model/JsonSerializer.h"
#include "model/QuestionMultiChoice.h"
#include "support/LogCapture.h"
#include "support/Text.h"

#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtTest/QtTest>

using namespace Tarvo;

namespace
{

const QString MAX_DEPTH =
    "[JsonSerializer] ERROR: Reached max depth! Increase MAX_RECURSE_DEPTH or "
    "check object references!";

QString mapping(const char *name)
{
    return QString("[JsonSerializer] Mapping sub-property: %1").arg(name);
}

QString failedToMap(const char *name)
{
    return QString("[JsonSerializer] ERROR: Failed to map property: %1").arg(name);
}

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

// A value and up to four further objects, declared against the order of their keys.
class Node : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QString value MEMBER value)
    Q_PROPERTY(QObject *d MEMBER d)
    Q_PROPERTY(QObject *c MEMBER c)
    Q_PROPERTY(QObject *b MEMBER b)
    Q_PROPERTY(QObject *a MEMBER a)

public:
    explicit Node(const QString &text) : value(text) { }
    QString value;
    QObject *a = nullptr;
    QObject *b = nullptr;
    QObject *c = nullptr;
    QObject *d = nullptr;
};

class Leaf : public QObject
{
    Q_OBJECT
    Q_PROPERTY(int n MEMBER n)

public:
    int n = 1;
};

// A chain of objects through one property each.
class Link : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QObject *next MEMBER next)

public:
    QObject *next = nullptr;
};

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

    void budgetLevels_data();
    void budgetLevels();
    void fourthObjectIsEmptyAndReported();
    void budgetIsSharedAlongALevel();
    void nullObjectsDoNotLowerTheBudget();
    void budgetOfAListElementReachesOneLevel();
    void questionBudgetsAreThreeTwoOne();
    void chainEndsAtTheBudget();
    void cycleEndsAtTheBudget();
    void questionThatIsItsOwnCardEnds();

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
    QCOMPARE(JsonSerializer::serializeToJson(&leaf), QString("{\n    \"n\": 1\n}\n"));
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
    QCOMPARE(JsonSerializer::serializeToJson(&leaf), QString("{\n    \"n\": 1\n}\n"));
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
    QCOMPARE(JsonSerializer::serializeToJson(&object),
             QString("{\n"
                     "    \"ID\": 0,\n"
                     "    \"Zebra\": 0,\n"
                     "    \"activityOptions\": 0,\n"
                     "    \"activityType\": 0,\n"
                     "    \"id\": 0\n"
                     "}\n"));
    // By UTF-16 code units a character beyond the first plane precedes U+FFFD.
    const QVariantMap map = {{QString(QChar(0xFFFD)), 1}, {u"\U0001F600"_s, 2}};
    QCOMPARE(JsonSerializer::serializeToJson(map),
             u"{\n    \"\U0001F600\": 2,\n    \"\uFFFD\": 1\n}\n"_s);
}

void tst_JsonSerializer::textIsIndentedAndEndsWithANewline()
{
    const QVariantMap map = {{"list", QVariantList{1, QVariantMap{{"k", true}}, QVariantList()}}};
    QCOMPARE(JsonSerializer::serializeToJson(map),
             QString("{\n"
                     "    \"list\": [\n"
                     "        1,\n"
                     "        {\n"
                     "            \"k\": true\n"
                     "        },\n"
                     "        [\n"
                     "        ]\n"
                     "    ]\n"
                     "}\n"));
}

void tst_JsonSerializer::valuesAppearAsTheirJsonKinds()
{
    Variety object;
    object.names = QStringList{"x", "y"};
    object.text = "text";
    QCOMPARE(JsonSerializer::serializeToJson(&object),
             QString("{\n"
                     "    \"anything\": null,\n"
                     "    \"maps\": [\n"
                     "    ],\n"
                     "    \"names\": [\n"
                     "        \"x\",\n"
                     "        \"y\"\n"
                     "    ],\n"
                     "    \"ratio\": 0.5,\n"
                     "    \"text\": \"text\",\n"
                     "    \"typedPointer\": null\n"
                     "}\n"));
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
    const QVariantMap map = {{"k", u"a/\"\\\n\t\u0001\u00e9\u4e2d\U0001F600"_s}};
    QCOMPARE(JsonSerializer::serializeToJson(map),
             u"{\n    \"k\": \"a/\\\"\\\\\\n\\t\\u0001\u00e9\u4e2d\U0001F600\"\n}\n"_s);
}

void tst_JsonSerializer::listOfMapsBecomesAnArray()
{
    Variety object;
    object.maps = {{{"a", 1}}, {{"b", QVariantList{2}}}};
    QVERIFY(JsonSerializer::serializeToJson(&object).contains("    \"maps\": [\n"
                                                              "        {\n"
                                                              "            \"a\": 1\n"
                                                              "        },\n"
                                                              "        {\n"
                                                              "            \"b\": [\n"
                                                              "                2\n"
                                                              "            ]\n"
                                                              "        }\n"
                                                              "    ],\n"));
}

void tst_JsonSerializer::listOfMapsInAVariantBecomesAnArray()
{
    Variety object;
    object.anything = QVariant::fromValue(QList<QVariantMap>{{{"a", 1}}});
    QVERIFY(JsonSerializer::serializeToJson(&object).contains("    \"anything\": [\n"
                                                              "        {\n"
                                                              "            \"a\": 1\n"
                                                              "        }\n"
                                                              "    ],\n"));
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

void tst_JsonSerializer::budgetLevels_data()
{
    QTest::addColumn<int>("depth");
    QTest::addColumn<QVariantMap>("expected");
    const QVariantMap leaf = {{"n", 1}};
    const QVariantMap empty;
    QTest::newRow("-1") << -1 << empty;
    QTest::newRow("0") << 0 << empty;
    QTest::newRow("1")
        << 1
        << QVariantMap{{"value", "root"}, {"a", empty}, {"b", empty}, {"c", empty}, {"d", empty}};
    QTest::newRow("2")
        << 2
        << QVariantMap{{"value", "root"}, {"a", leaf}, {"b", empty}, {"c", empty}, {"d", empty}};
    QTest::newRow("4")
        << 4 << QVariantMap{{"value", "root"}, {"a", leaf}, {"b", leaf}, {"c", leaf}, {"d", empty}};
    QTest::newRow("5")
        << 5 << QVariantMap{{"value", "root"}, {"a", leaf}, {"b", leaf}, {"c", leaf}, {"d", leaf}};
}

void tst_JsonSerializer::budgetLevels()
{
    QFETCH(int, depth);
    QFETCH(QVariantMap, expected);
    Leaf leaf;
    Node root("root");
    root.a = root.b = root.c = root.d = &leaf;
    const LogCapture log;
    const QVariantMap map = JsonSerializer::buildObjectMap(&root, {"objectName"}, depth);
    QCOMPARE(map, expected);
    // One line for each object that got nothing, or for the root itself.
    QCOMPARE(log.count(MAX_DEPTH), depth <= 0 ? 1 : qMax(0, 5 - depth));
}

void tst_JsonSerializer::fourthObjectIsEmptyAndReported()
{
    Leaf leaf;
    Node root("root");
    root.a = root.b = root.c = root.d = &leaf;
    const LogCapture log;
    QCOMPARE(JsonSerializer::serializeToJson(&root),
             QString("{\n"
                     "    \"a\": {\n"
                     "        \"n\": 1\n"
                     "    },\n"
                     "    \"b\": {\n"
                     "        \"n\": 1\n"
                     "    },\n"
                     "    \"c\": {\n"
                     "        \"n\": 1\n"
                     "    },\n"
                     "    \"d\": {\n"
                     "    },\n"
                     "    \"value\": \"root\"\n"
                     "}\n"));
    QCOMPARE(log.messages(),
             QStringList({mapping("a"), mapping("b"), mapping("c"), mapping("d"), MAX_DEPTH}));
}

// Objects of one level share the budget, those of another have their own.
void tst_JsonSerializer::budgetIsSharedAlongALevel()
{
    Leaf leaf;
    Node first("first"); // mapped with 3: its own a gets 2, b gets 1, c nothing
    first.a = first.b = first.c = &leaf;
    Node second("second"); // mapped with 2: its own a gets 1, b nothing
    second.a = second.b = &leaf;
    Node third("third"); // mapped with 1: its own a gets nothing
    third.a = &leaf;
    Node root("root");
    root.a = &first;
    root.b = &second;
    root.c = &third;
    const QStringList ignored = {"objectName", "d"};
    const QVariant none = QVariant::fromValue<QObject *>(nullptr);
    const QVariantMap leafMap = {{"n", 1}};
    const QVariantMap empty;
    const QVariantMap firstMap = {{"value", "first"}, {"a", leafMap}, {"b", leafMap}, {"c", empty}};
    const QVariantMap secondMap = {{"value", "second"}, {"a", leafMap}, {"b", empty}, {"c", none}};
    const QVariantMap thirdMap = {{"value", "third"}, {"a", empty}, {"b", none}, {"c", none}};
    const QVariantMap expected = {
        {"value", "root"}, {"a", firstMap}, {"b", secondMap}, {"c", thirdMap}};
    QCOMPARE(JsonSerializer::buildObjectMap(&root, ignored, 4), expected);
}

void tst_JsonSerializer::nullObjectsDoNotLowerTheBudget()
{
    Leaf leaf;
    Node root("root");
    root.d = &leaf;
    const LogCapture log;
    const QVariantMap map = JsonSerializer::buildObjectMap(&root, {"objectName"}, 2);
    QCOMPARE(map["d"].toMap(), (QVariantMap{{"n", 1}}));
    QCOMPARE(log.messages(),
             QStringList({failedToMap("a"), failedToMap("b"), failedToMap("c"), mapping("d")}));
}

void tst_JsonSerializer::budgetOfAListElementReachesOneLevel()
{
    Leaf leaf;
    Node inner("inner");
    inner.a = &leaf;
    Node element("element");
    element.a = &inner;
    element.b = &leaf;
    const QVariantList list = JsonSerializer::buildArrayObjectMap({&element, &leaf});
    QCOMPARE(list.size(), 2);
    const QVariantMap map = list[0].toMap();
    QCOMPARE(map["value"], QVariant("element"));
    QCOMPARE(map["a"].toMap()["value"], QVariant("inner")); // mapped with 1
    QCOMPARE(map["a"].toMap()["a"], QVariant(QVariantMap()));
    QCOMPARE(map["b"], QVariant(QVariantMap())); // nothing left
    QCOMPARE(list[1], QVariant(QVariantMap{{"n", 1}}));
}

// What a host nests into card, feedback and metadata appears as far as the budget goes.
void tst_JsonSerializer::questionBudgetsAreThreeTwoOne()
{
    QuestionMultiChoice question(nullptr);
    Link card[4];
    Link feedback[4];
    Link metadata[4];
    for (Link *chain : {card, feedback, metadata}) {
        for (int i = 0; i < 3; ++i)
            chain[i].next = &chain[i + 1];
    }
    question.setcard(&card[0]);
    question.setfeedBack(&feedback[0]);
    question.setmetadata(&metadata[0]);

    const LogCapture log;
    const QString json = JsonSerializer::serializeToJson(&question);
    QVERIFY(json.contains("    \"card\": {\n"
                          "        \"next\": {\n"
                          "            \"next\": {\n"
                          "                \"next\": {\n"
                          "                }\n"
                          "            }\n"
                          "        }\n"
                          "    },\n"));
    QVERIFY(json.contains("    \"feedBack\": {\n"
                          "        \"next\": {\n"
                          "            \"next\": {\n"
                          "            }\n"
                          "        }\n"
                          "    },\n"));
    QVERIFY(json.contains("    \"metadata\": {\n"
                          "        \"next\": {\n"
                          "        }\n"
                          "    },\n"));
    QCOMPARE(log.count(MAX_DEPTH), 3);
}

void tst_JsonSerializer::chainEndsAtTheBudget()
{
    Link chain[20];
    for (int i = 0; i < 19; ++i)
        chain[i].next = &chain[i + 1];
    const LogCapture log;
    QCOMPARE(JsonSerializer::serializeToJson(&chain[0]),
             QString("{\n"
                     "    \"next\": {\n"
                     "        \"next\": {\n"
                     "            \"next\": {\n"
                     "                \"next\": {\n"
                     "                }\n"
                     "            }\n"
                     "        }\n"
                     "    }\n"
                     "}\n"));
    QCOMPARE(log.messages(),
             QStringList(
                 {mapping("next"), mapping("next"), mapping("next"), mapping("next"), MAX_DEPTH}));
}

void tst_JsonSerializer::cycleEndsAtTheBudget()
{
    Node left("left");
    Node right("right");
    left.a = left.b = left.c = left.d = &right;
    right.a = right.b = right.c = right.d = &left;
    const LogCapture log;
    const QString json = JsonSerializer::serializeToJson(&left);
    QVERIFY(!QJsonDocument::fromJson(json.toUtf8()).isNull());
    // A budget of n gives an object with four others, of which those with a budget left (n - 1,
    // n - 2, ...) have content themselves: 1, 2, 4 and 8 objects with content for n = 1 to 4.
    QCOMPARE(json.count("\"value\""), 8);
    QCOMPARE(log.startingWith("[JsonSerializer] Mapping sub-property: ").size(), 32);
    QCOMPARE(log.count(MAX_DEPTH), 32 - 7); // all but those with content below the first
}

void tst_JsonSerializer::questionThatIsItsOwnCardEnds()
{
    QuestionMultiChoice question(nullptr);
    question.setcard(&question);
    const QJsonObject json =
        QJsonDocument::fromJson(JsonSerializer::serializeToJson(&question).toUtf8()).object();
    QCOMPARE(json["card"].toObject()["type"].toString(), QString("multiple"));
    const QJsonObject third = json["card"].toObject()["card"].toObject()["card"].toObject();
    QCOMPARE(third["type"].toString(), QString("multiple")); // with a budget of 1
    QCOMPARE(third["card"].toObject(), QJsonObject());
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
    QCOMPARE(JsonSerializer::serializeToJson(static_cast<const QObject *>(nullptr)),
             QString("{\n}\n"));
    QCOMPARE(JsonSerializer::buildArrayObjectMap({nullptr}), QVariantList{QVariantMap()});
    QCOMPARE(log.messages(), QStringList());
}

void tst_JsonSerializer::emptyMapAndEmptyListGiveEmptyForms()
{
    QCOMPARE(JsonSerializer::serializeToJson(QVariantMap()), QString("{\n}\n"));
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
    const QVariantMap map = {{"k", QString("a") + QChar(0) + "b"}};
    QCOMPARE(JsonSerializer::serializeToJson(map), QString("{\n    \"k\": \"a\\u0000b\"\n}\n"));
}

QTEST_GUILESS_MAIN(tst_JsonSerializer)
#include "tst_jsonserializer.moc"
