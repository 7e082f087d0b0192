#include "collab/ReadableJson.h"

#include "support/Text.h"

#include <QtTest/QtTest>

// Which texts of JSON are read, by the memory that reading them would take: 480 MiB and no more.
class tst_ReadableJson : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void memoryDecides_data();
    void memoryDecides();
};

namespace
{

constexpr int MILLION = 1000 * 1000;

} // namespace

void tst_ReadableJson::memoryDecides_data()
{
    QTest::addColumn<QString>("json");
    QTest::addColumn<bool>("isReadable");
    const auto row = [](const char *name, const QString &json, bool isReadable) {
        QTest::newRow(name) << json << isReadable;
    };
    const auto listOf = [](const QString &element, int count) {
        return '[' + (element + ',').repeated(count) + "0]";
    };
    row("nothing but blanks", QString(3 * MILLION, ' '), true);
    row("as many characters as there may be", QString(64 * 1024 * 1024, ' '), true);
    row("a character more", QString(64 * 1024 * 1024 + 1, ' '), false);

    row("numbers", listOf(u"0"_s, 8 * MILLION), true);
    row("more numbers", listOf(u"0"_s, 9 * MILLION), false);
    row("commas in a text", '"' + QString(9 * MILLION, ',') + '"', true);
    row("commas behind quotation marks in a text", '"' + u"\\\","_s.repeated(9 * MILLION) + '"',
        true);
    row("text without an end", '"' + QString(3 * MILLION, 'x'), true);
    row("text that ends with half an escape", '"' + QString(3 * MILLION, 'x') + '\\', true);

    row("lists that hold nothing", listOf(u"[ \t\r\n]"_s, 3 * MILLION), true);
    row("lists that hold something", listOf(u"[ \t\r\n0]"_s, 3 * MILLION), false);
    row("objects that hold nothing", listOf(u"{ }"_s, 3 * MILLION), true);
    row("objects that hold something", listOf(u"{\"a\":0}"_s, 3 * MILLION), false);
    row("list without an end", QString(3 * MILLION, ' ') + '[', true);
    row("list without an end behind blanks", '[' + QString(3 * MILLION, ' '), true);
}

void tst_ReadableJson::memoryDecides()
{
    QFETCH(QString, json);
    QFETCH(bool, isReadable);
    QCOMPARE(isReadableJson(json), isReadable);
}

QTEST_GUILESS_MAIN(tst_ReadableJson)
#include "tst_readablejson.moc"
