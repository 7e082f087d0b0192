// How payloads are unpacked, and that nothing that can arrive does any harm.
#include "Messages.h"
#include "compression/Samples.h"
#include "support/LogCapture.h"

#include <QtTest/QtTest>

#include <optional>

namespace
{

// Blocks of payloads, byte for byte.
const char joinBlock[] = // joinText
    "XQBAAAAoAAAAKAAAAAA9iIqnc6DEsK0cMlKbTvMQjo1mZ/nd9Nj5TLhiKRHtOoc0/XK107HTHp"
    "Wc//vHsAA=";
const char numbersBlock[] = "XQBAAAAFAAAABQAAAAAtjEGDVnrmxf///eKwAA=="; // [1,2]
const char wordBlock[] = "XQBAAAAEAAAABAAAAAA6GUt4GWiyv//7OcAA";        // text
const char stringBlock[] = "XQBAAAAEAAAABAAAAAARHAIiJ/Pf///8IQAA";      // "p1"
// One payload in two pieces.
const char pieceOne[] = "XQBAAAAOAAAADgAAAAA9iIoHM/J+ste1oWb+kaLPJuhf/8ySwAA=";
const char pieceTwo[] = "XQBAAAAsAAAALAAAAAAWCIrGwjwngO305yFA2dVM6NHEU2STT4/1yFJvv0CbfXZJhbWI1vwlng"
                        "b/LRfM7vD//1p1wAA=";
const char piecesText[] = R"({"pollId":"p1","responseTime":7,"pick":{"blob":["A","C"]}})";

} // namespace

class tst_IncomingPayloads : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { host.emplace(); }
    void cleanup() { host.reset(); }

    void dataValue_data();
    void dataValue();
    void bodyWithoutDataGivesAnInvalidValue();
    void numbersFlagsAndNullArriveAsTexts_data();
    void numbersFlagsAndNullArriveAsTexts();
    void undecodablePayloadReachesTheHandlerAsItCame();

    void hostileTextDoesNoHarm_data();
    void hostileTextDoesNoHarm();
    void wrongTypeInEveryField_data();
    void wrongTypeInEveryField();

private:
    std::optional<HandlerHost> host;
};

// ---- Unpacking -----------------------------------------------------------------------------------

void tst_IncomingPayloads::dataValue_data()
{
    QTest::addColumn<QVariant>("data");
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<QString>("line");
    const auto row = [](const char *name, const QVariant &data, const QVariant &value,
                        const QString &line) { QTest::newRow(name) << data << value << line; };
    // What is passed on as it came.
    const auto raw = [row](const char *name, const QVariant &data, const QString &line = rawLine) {
        row(name, data, data, line);
    };

    const QVariantMap join{{"userName", "Ada"}, {"deviceType", "tablet"}};
    const QVariantMap pieces = QJsonDocument::fromJson(piecesText).object().toVariantMap();
    const QVariantList oneTwo{1, 2};
    const QString fromString = u"[MessageHandler.Decompressed from String] "_s;
    const QString fromList = u"[MessageHandler.Decompressed from List] "_s;
    const QVariant invalid;
    const QVariantList bytes = Samples::integersOf(QByteArray::fromBase64(joinBlock));
    const QString bracketed = Samples::listOf(QByteArray::fromBase64(joinBlock));

    // Texts.
    row("base64", joinBlock, join, fromString + joinText);
    row("bracketed list as text", bracketed, join, fromString + joinText);
    row("base64 of a list", numbersBlock, oneTwo, fromString + "[1,2]");
    row("base64 of what is no JSON", wordBlock, invalid, fromString + "text");
    row("base64 of a bare JSON text", stringBlock, invalid, fromString + "\"p1\"");
    row("base64 of nothing", packed(""), invalid, fromString);
    raw("plain text", "hello");
    raw("plain JSON text", joinText);
    raw("empty text", "");
    raw("base64 of no block", "aGVsbG8gd29ybGQsIGhlbGxvIQ==");
    raw("what is no base64", "%%%%");

    // Of texts, only those that hold nothing but whole numbers are read as a list.
    const QString spaced =
        QString(bracketed).replace(',', " , ").replace('[', "[ ").replace(']', " ] ");
    const QString bare = bracketed.mid(1, bracketed.size() - 2);
    const QString zeros = "[0" + u",0"_s.repeated(17) + ']'; // the block of an empty text
    row("bracketed list with blanks", spaced, join, fromString + joinText);
    row("list without brackets", bare, join, fromString + joinText);
    row("list of zeros", zeros, invalid, fromString);
    raw("text with 17 commas", "a, b, c, d, e, f, g, h, i, j, k, l, m, n, o, p, q, r");
    raw("17 commas", QString(17, ','));
    for (const QString part : {"x", "", " ", "0.0", "1e1", "0x0", "99999999999", "0 0", "- 1", "+"})
        raw(qPrintable("list that ends in '" + part + '\''),
            QString(zeros).replace(",0]", ',' + part + ']'));
    raw("list with a dash inside", QString(zeros).replace(3, 1, "-"));

    // What is no text but has one.
    row("number", 5, "5", rawLine);
    row("fraction", 2.5, "2.5", rawLine);
    row("true", true, "true", rawLine);
    row("false", false, "false", rawLine);
    row("null", QVariant::fromValue(nullptr), QString(), rawLine);

    // Lists of texts.
    const QVariantList mixed{"", pieceOne, "broken", QVariant(), 5, QVariantList{pieceOne},
                             "", pieceTwo};
    row("one piece", QVariantList{joinBlock}, join, fromList + joinText);
    row("two pieces", QVariantList{pieceOne, pieceTwo}, pieces, fromList + piecesText);
    row("empty and broken pieces are skipped", mixed, pieces, fromList + piecesText);
    row("piece that holds a list", QVariantList{numbersBlock}, oneTwo, fromList + "[1,2]");
    row("piece that holds no JSON", QVariantList{wordBlock}, invalid, fromList + "text");
    row("piece that holds nothing", QVariantList{packed("")}, invalid, fromList);
    raw("only broken pieces", QVariantList{"a", "b"}, listLine);
    raw("only empty pieces", QVariantList{"", ""}, listLine);
    raw("pieces in a list of their own form", QVariantList{bracketed}, listLine);
    raw("empty list", QVariantList(), listLine);

    // Lists of numbers.
    const QByteArray numbers = QByteArray::fromBase64(numbersBlock);
    row("bytes", bytes, join, fromList + joinText);
    row("bytes of a list", Samples::integersOf(numbers), oneTwo, fromList + "[1,2]");
    raw("bytes of no block", QVariantList{1, 2, 3}, listLine);
    raw("bytes of a block cut off", bytes.mid(0, 20), listLine);
    raw("number before a piece", QVariantList{1, joinBlock}, listLine);
    raw("null before a piece", QVariantList{QVariant(), joinBlock}, listLine);

    // Everything else.
    raw("map", QVariantMap{{"a", 1}}, QString());
    raw("empty map", QVariantMap(), QString());
}

void tst_IncomingPayloads::dataValue()
{
    QFETCH(QVariant, data);
    QFETCH(QVariant, value);
    QFETCH(QString, line);
    const LogCapture log;
    const QVariant result = host->handler->getDataValue({{"from", "d1"}, {"data", data}});
    QCOMPARE(log.messages(), line.isNull() ? QStringList() : QStringList{line});
    QCOMPARE(result.type(), value.type());
    QCOMPARE(result, value);
}

void tst_IncomingPayloads::bodyWithoutDataGivesAnInvalidValue()
{
    const LogCapture log;
    QVERIFY(!host->handler->getDataValue({{"from", "d1"}}).isValid());
    QCOMPARE(log.messages(), QStringList());
    host->receive(incomingMessage(R"("type":"dance")"));
    QVERIFY(!host->data.isValid());
}

void tst_IncomingPayloads::numbersFlagsAndNullArriveAsTexts_data()
{
    QTest::addColumn<QString>("json");
    QTest::addColumn<QString>("text");
    const auto row = [](const char *name, const QString &json, const QString &text) {
        QTest::newRow(name) << json << text;
    };
    row("number", "5", "5");
    row("negative number", "-7", "-7");
    row("fraction", "2.5", "2.5");
    row("true", "true", "true");
    row("false", "false", "false");
    row("null", "null", QString());
}

void tst_IncomingPayloads::numbersFlagsAndNullArriveAsTexts()
{
    QFETCH(QString, json);
    QFETCH(QString, text);
    const QString fields = R"("from":"c1","data":)" + json;
    for (const QString &type : {u"dance"_s, u"nextCard"_s}) {
        const QString message = incomingMessage(fields + uR"(,"type":"%1")"_s.arg(type));
        const LogCapture log;
        host->receive(message);
        QCOMPARE(host->data.userType(), int(QMetaType::QString));
        QCOMPARE(host->data.toString(), text);
        QCOMPARE(host->data.toString().isNull(), text.isNull());
        QCOMPARE(
            log.messages(),
            (QStringList{"[MessageHandler] " + message, "[MessageHandler.TYPE] " + type, rawLine}));
    }
    QCOMPARE(host->events, (QStringList{"unhandledMessage|dance", "remoteControl|nextCard|c1"}));
}

void tst_IncomingPayloads::undecodablePayloadReachesTheHandlerAsItCame()
{
    const LogCapture log;
    host->receive(incomingMessage(R"("type":"dance","data":"plain text")"));
    QCOMPARE(host->data, QVariant("plain text"));
    QVERIFY(log.contains(rawLine));

    host->receive(incomingMessage(R"("type":"dance","data":{"plain":"map"})"));
    QCOMPARE(host->data, QVariant(QVariantMap{{"plain", "map"}}));

    // A sender that does not compress is understood like one that does.
    host->receive(incomingMessage(
        R"("from":"d1","type":"join","data":{"userName":"Ada","deviceType":"tablet"})"));
    QCOMPARE(host->events.last(), u"learnerJoin|d1|Ada|tablet"_s);
}

// ---- Whatever arrives ----------------------------------------------------------------------------

void tst_IncomingPayloads::hostileTextDoesNoHarm_data()
{
    QTest::addColumn<QString>("text");

    const QString brackets(1000, QLatin1Char('['));
    QTest::newRow("deep list as data")
        << incomingMessage(R"("type":"join","data":)" + brackets + QString(1000, ']'));
    QTest::newRow("deep map as data") << incomingMessage(
        R"("type":"join","data":)" + QString(R"({"a":)").repeated(1000) + '1' + QString(1000, '}'));
    QTest::newRow("deep list inside the payload")
        << deviceMessage("join", brackets + QString(1000, ']'));
    QTest::newRow("payload nested too deeply")
        << deviceMessage("join", brackets.repeated(100) + QString(100000, ']'));
    QTest::newRow("a million brackets") << brackets.repeated(1000);
    QTest::newRow("control characters") << QString(QChar(0)) + QChar(1) + QChar(0x7f);
    QTest::newRow("half a character")
        << incomingMessage(R"("type":"join","from":"\ud800","data":{"userName":"\udc00"})");
    QTest::newRow("half a character, bare")
        << incomingMessage(u"\"type\":\""_s + QChar(0xd800) + '"');
    QTest::newRow("zero characters inside")
        << incomingMessage(R"("type":"join","from":"a\u0000b")");
    QTest::newRow("block that declares 4 GB")
        << incomingMessage(uR"("type":"join","data":["%1"])"_s.arg(QString::fromLatin1(
               QByteArray::fromHex("5d00400000ffffffffffffffff00112233445566").toBase64())));
    QTest::newRow("100,000 pieces") << incomingMessage(R"("type":"join","data":["")"
                                                       + QString(R"(,"x")").repeated(100000) + ']');
    QTest::newRow("a number list of 100,000")
        << incomingMessage(R"("type":"join","data":[93)" + u",0"_s.repeated(100000) + ']');
    QTest::newRow("numbers out of range") << incomingMessage(
        R"("type":"join","data":[1e300,-1e300,99999999999999999999,-1,256,0.5,1,1,1,1,1,1,1,1,1])");
    QTest::newRow("bracketed text of 100,000")
        << incomingMessage(R"("type":"join","data":")" + u"[]],"_s.repeated(100000) + "\"");
    QTest::newRow("the same key many times")
        << incomingMessage(QString(R"("type":"a",)").repeated(1000) + R"("type":"join")");
}

void tst_IncomingPayloads::hostileTextDoesNoHarm()
{
    QFETCH(QString, text);
    host->receive(text);
    host->events.clear();
    host->receive(deviceMessage("join", joinText));
    QCOMPARE(host->events, QStringList{"learnerJoin|d1|Ada|tablet"});
}

void tst_IncomingPayloads::wrongTypeInEveryField_data()
{
    QTest::addColumn<QString>("json");
    for (const char *json : {"null", "true", "-1", "1e999", "2.5", R"("")", R"("x")", "[]", "[[]]",
                             "[null]", "{}", R"({"a":{}})"})
        QTest::newRow(json) << json;
}

// Each handler emits its one signal, or the message is dropped, whatever a field holds.
void tst_IncomingPayloads::wrongTypeInEveryField()
{
    QFETCH(QString, json);
    const QString field = uR"("%1":%2)"_s;
    for (const char *key : {"action", "type", "from", "data", "client"})
        host->receive(incomingMessage(field.arg(QLatin1String(key), json)));
    for (const char *key : {"token", "type"}) {
        host->receive(incomingMessage(R"("action":"unregister","client":{)"
                                      + field.arg(QLatin1String(key), json) + '}'));
    }
    host->events.clear();

    const QVector<QPair<QString, QStringList>> fields{
        {"join", {"userName", "deviceType"}},
        {"pollResponse", {"pollId", "responseTime", "pick"}},
        {"questionGet", {"questionNumber"}},
        {"questionResponse",
         {"questionId", "studentAssessmentToken", "questionSetMode", "responseTime", "answer",
          "optionAnswers"}},
        {"nextCard", {"anything"}},
        {"dance", {"anything"}},
    };
    int expected = 0;
    for (const auto &[type, keys] : fields) {
        const QString from = uR"("from":%1,"type":"%2",)"_s.arg(json, type);
        for (const QString &key : keys) {
            host->receive(incomingMessage(from + R"("data":{)" + field.arg(key, json) + '}'));
            host->receive(incomingMessage(from + R"("data":[")"
                                          + packed('{' + field.arg(key, json) + '}') + "\"]"));
            expected += json == "1e999" ? 0 : 2;
        }
        host->receive(incomingMessage(from + R"("data":)" + json));
        expected += json == "1e999" ? 0 : 1;
    }
    QCOMPARE(host->events.size(), expected);
}

QTEST_GUILESS_MAIN(tst_IncomingPayloads)
#include "tst_incomingpayloads.moc"
