// How deep objects in objects are written: the budget, what it is shared by, and where it ends.
#include "Nodes.h"
#include "model/JsonSerializer.h"
#include "model/QuestionMultiChoice.h"
#include "support/LogCapture.h"

#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtTest/QtTest>

using namespace Tarvo;

// A chain of objects through one property each.
class Link : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QObject *next MEMBER next)

public:
    QObject *next = nullptr;
};

namespace
{

void join(Link *chain, int count)
{
    for (int i = 1; i < count; ++i)
        chain[i - 1].next = &chain[i];
}

} // namespace

class tst_JsonSerializerDepth : public QObject
{
    Q_OBJECT

private Q_SLOTS:
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
};

void tst_JsonSerializerDepth::budgetLevels_data()
{
    QTest::addColumn<int>("depth");
    QTest::addColumn<QVariantMap>("expected");
    const QVariantMap leaf = {{"n", 1}};
    const QVariantMap empty;
    const auto row = [](int depth, const QVariant &a, const QVariant &b, const QVariant &c,
                        const QVariant &d) {
        QTest::addRow("%d", depth)
            << depth << QVariantMap{{"value", "root"}, {"a", a}, {"b", b}, {"c", c}, {"d", d}};
    };
    QTest::newRow("-1") << -1 << empty;
    QTest::newRow("0") << 0 << empty;
    row(1, empty, empty, empty, empty);
    row(2, leaf, empty, empty, empty);
    row(4, leaf, leaf, leaf, empty);
    row(5, leaf, leaf, leaf, leaf);
}

void tst_JsonSerializerDepth::budgetLevels()
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

void tst_JsonSerializerDepth::fourthObjectIsEmptyAndReported()
{
    Leaf leaf;
    Node root("root");
    root.a = root.b = root.c = root.d = &leaf;
    const LogCapture log;
    QCOMPARE(JsonSerializer::serializeToJson(&root), uR"({
    "a": {
        "n": 1
    },
    "b": {
        "n": 1
    },
    "c": {
        "n": 1
    },
    "d": {
    },
    "value": "root"
}
)"_s);
    QCOMPARE(log.messages(),
             QStringList({mapping("a"), mapping("b"), mapping("c"), mapping("d"), MAX_DEPTH}));
}

// Objects of one level share the budget, those of another have their own.
void tst_JsonSerializerDepth::budgetIsSharedAlongALevel()
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

void tst_JsonSerializerDepth::nullObjectsDoNotLowerTheBudget()
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

void tst_JsonSerializerDepth::budgetOfAListElementReachesOneLevel()
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
void tst_JsonSerializerDepth::questionBudgetsAreThreeTwoOne()
{
    QuestionMultiChoice question(nullptr);
    Link card[4];
    Link feedback[4];
    Link metadata[4];
    for (Link *chain : {card, feedback, metadata})
        join(chain, 4);
    question.setcard(&card[0]);
    question.setfeedBack(&feedback[0]);
    question.setmetadata(&metadata[0]);

    const LogCapture log;
    const QString json = JsonSerializer::serializeToJson(&question);
    QVERIFY(json.contains(R"(    "card": {
        "next": {
            "next": {
                "next": {
                }
            }
        }
    },
)"));
    QVERIFY(json.contains(R"(    "feedBack": {
        "next": {
            "next": {
            }
        }
    },
)"));
    QVERIFY(json.contains(R"(    "metadata": {
        "next": {
        }
    },
)"));
    QCOMPARE(log.count(MAX_DEPTH), 3);
}

void tst_JsonSerializerDepth::chainEndsAtTheBudget()
{
    Link chain[20];
    join(chain, 20);
    const LogCapture log;
    QCOMPARE(JsonSerializer::serializeToJson(&chain[0]), uR"({
    "next": {
        "next": {
            "next": {
                "next": {
                }
            }
        }
    }
}
)"_s);
    QCOMPARE(log.messages(),
             QStringList(
                 {mapping("next"), mapping("next"), mapping("next"), mapping("next"), MAX_DEPTH}));
}

void tst_JsonSerializerDepth::cycleEndsAtTheBudget()
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

void tst_JsonSerializerDepth::questionThatIsItsOwnCardEnds()
{
    QuestionMultiChoice question(nullptr);
    question.setcard(&question);
    const QJsonObject json =
        QJsonDocument::fromJson(JsonSerializer::serializeToJson(&question).toUtf8()).object();
    QCOMPARE(json["card"].toObject()["type"].toString(), u"multiple"_s);
    const QJsonObject third = json["card"].toObject()["card"].toObject()["card"].toObject();
    QCOMPARE(third["type"].toString(), u"multiple"_s); // with a budget of 1
    QCOMPARE(third["card"].toObject(), QJsonObject());
}

QTEST_GUILESS_MAIN(tst_JsonSerializerDepth)
#include "tst_jsonserializerdepth.moc"
