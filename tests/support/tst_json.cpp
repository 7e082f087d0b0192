#include "support/Json.h"

#include "support/Text.h"

#include <QtTest/QtTest>

#include <malloc.h>

// What Tarvo::readJson reads, and that it keeps nothing of it: names that come again in an object have lists and
// objects whose memory the toolkit's version 5 loses.
class tst_Json : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void lastValueOfANameCounts_data();
    void lastValueOfANameCounts();
    void brokenTextsAreRefused_data();
    void brokenTextsAreRefused();
    void textOfTheCallerStaysAsItIs();
    void nothingStaysInMemory_data();
    void nothingStaysInMemory();
};

void tst_Json::lastValueOfANameCounts_data()
{
    QTest::addColumn<QByteArray>("json");
    QTest::addColumn<QByteArray>("read");
    const auto row = [](const char *name, const QByteArray &json, const char *read) {
        QTest::newRow(name) << json << QByteArray(read);
    };
    const auto same = [&](const char *name, const char *json) { row(name, json, json); };

    same("nothing in it", R"({})");
    same("every name once", R"({"a":{"a":[{"a":1}]},"b":{"a":{"a":2}},"c":[3]})");
    same("one name in the objects of a list", R"([{"a":[1]},{"a":[2]},{"a":[3]}])");
    same("names as long as each other", R"({"aa":[1],"ab":[2],"ba":[3]})");
    same("marks in a text", R"({"a":[1],"b":"\",\"a\":[2],\"a\":{"})");
    same("marks in a name", R"({"\",\"a\":[":[1],"a":[2]})");
    same("no name at all", R"({"":[1],"a":[2]})");
    same("name of a mark alone", R"({"\"":[1],"\\":[2]})");
    same("halves of a letter", R"({"?":[0],"\ud83d":[1],"\ude00":[2]})");

    row("text, then object", R"({"a":"x","a":{"b":1}})", R"({"a":{"b":1}})");
    row("object, then text", R"({"a":{"b":1},"a":"x"})", R"({"a":"x"})");
    row("object, then list", R"({"a":{"b":1},"a":[2]})", R"({"a":[2]})");
    row("list three times", R"({"a":[1],"a":[2,2],"a":[3]})", R"({"a":[3]})");
    row("list, number, list, number", R"({"a":[1],"a":2,"a":[3],"a":4})", R"({"a":4})");
    row("empty ones", R"({"a":{},"a":[],"a":{}})", R"({"a":{}})");
    row("others between", R"({"a":[1],"b":[2],"c":3,"a":[4],"b":5})", R"({"a":[4],"b":5,"c":3})");
    row("behind numbers", R"({"x":0,"a":1,"y":2,"a":[3],"a":4})", R"({"a":4,"x":0,"y":2})");
    row("within what comes again", R"({"a":{"b":[1],"b":[2]},"a":{"b":[3],"b":[4]}})",
        R"({"a":{"b":[4]}})");
    row("deep in lists", R"([[{"a":[[{"b":1}]],"a":[2]}],{"a":[3]}])",
        R"([[{"a":[2]}],{"a":[3]}])");
    const QByteArray hundred = QByteArray(R"("a":[1],"b":2,)").repeated(100);
    row("a hundred of a name", '{' + hundred + R"("a":3,"b":[4]})", R"({"a":3,"b":[4]})");
    row("blanks everywhere", " { \"a\" : [ 1 , 2 ] ,\r\n\t\"a\" : [ 3 ] } ", R"({"a":[3]})");
    row("no name at all, twice", R"({"":[1],"":[2]})", R"({"":[2]})");

    row("another spelling", R"({"a":[1],"\u0061":[2]})", R"({"a":[2]})");
    row("large and small digits", R"({"\u00E9":[1],"\u00e9":[2],"é":[3]})", R"({"é":[3]})");
    row("letter of two halves", R"({"\ud83d\ude00":[1],"😀":[2]})", R"({"😀":[2]})");
    row("short and long escapes",
        R"({"\b\f\n\r\t\"\\\/":[1],"\u0008\u000c\u000A\u000D\u0009\u0022\u005c/":[2]})",
        R"({"\b\f\n\r\t\"\\/":[2]})");
    row("escape that need not be", R"({"x":[1],"\x":[2]})", R"({"x":[2]})");
    row("zero in a name", R"({"a\u0000b":[1],"a":[2],"a\u0000b":[3]})",
        R"({"a":[2],"a\u0000b":[3]})");
}

void tst_Json::lastValueOfANameCounts()
{
    QFETCH(QByteArray, json);
    QFETCH(QByteArray, read);
    QJsonParseError error;
    const QJsonDocument document = Tarvo::readJson(json, &error);
    QCOMPARE(error.errorString(), u"no error occurred"_s);
    QCOMPARE(document.toJson(QJsonDocument::Compact), read);
}

void tst_Json::brokenTextsAreRefused_data()
{
    QTest::addColumn<QByteArray>("json");
    const auto row = [](const char *name, const QByteArray &json) { QTest::newRow(name) << json; };
    row("nothing", "");
    row("no object's end", R"({"a":[1],"a":[2])");
    row("no list's end", R"([{"a":[1],"a":[2]})");
    row("no name's end", R"({"a":[1],"a)");
    row("half an escape", R"({"a":[1],"a\)");
    row("half a character by number", R"({"a":[1],"b\u00":[2],"\u0":[3],"a)");
    row("ends without beginnings", "]}]}]}");
    row("beginnings without ends", "[{[{[{");
    row("colons in a list", R"([:{"a":[1],"a":[2]}:])");
    row("name without a text", R"({:[1],:[2]})");
    row("list instead of a name", R"({[1]:[2],[1]:[2]})");
    row("values without names", R"({"a":[1],[2],{"b":[3]},[4]})");
    row("list that ends as an object", R"({"a":[1},"a":[2]})");
    row("lists too deep", QByteArray(2000, '[') + QByteArray(2000, ']'));
    row("objects too deep", QByteArray(R"({"a":)").repeated(2000) + '0' + QByteArray(2000, '}'));
    row("millions of lists", QByteArray(20 * 1000 * 1000, '['));
}

void tst_Json::brokenTextsAreRefused()
{
    QFETCH(QByteArray, json);
    QJsonParseError error;
    QVERIFY(Tarvo::readJson(json, &error).isNull());
    QVERIFY(error.error != QJsonParseError::NoError);
}

void tst_Json::textOfTheCallerStaysAsItIs()
{
    const QByteArray json = R"({"a":[1],"a":[2]})";
    Tarvo::readJson(json);
    QCOMPARE(json, QByteArray(R"({"a":[1],"a":[2]})"));
}

void tst_Json::nothingStaysInMemory_data()
{
    QTest::addColumn<QByteArray>("member");
    QTest::newRow("objects") << QByteArray(R"("a":{"x":1},)");
    QTest::newRow("lists") << QByteArray(R"("a":[1],)");
    QTest::newRow("lists in lists") << QByteArray(R"("a":[[[1]]],)");
    QTest::newRow("two names") << QByteArray(R"("a":{"x":1},"b":[{"x":1}],)");
    QTest::newRow("two spellings") << QByteArray(R"("a":{"x":1},"\u0061":{"x":1},)");
    QTest::newRow("names that come again within") << QByteArray(R"("a":{"x":[1],"x":[2]},)");
}

void tst_Json::nothingStaysInMemory()
{
    QFETCH(QByteArray, member);
    const QByteArray json = '{' + member.repeated(10 * 1000) + R"("z":1})";
    QVERIFY(Tarvo::readJson(json).isObject());
    const std::size_t before = mallinfo2().uordblks;
    for (int i = 0; i < 10; ++i)
        Tarvo::readJson(json);
    const std::size_t after = mallinfo2().uordblks;
    QVERIFY2(after < before + 512, qPrintable(QString::number(after - before)));
}

QTEST_GUILESS_MAIN(tst_Json)
#include "tst_json.moc"
