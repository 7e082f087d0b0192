// Numbers in the JSON that goes out and comes in, whichever version of the toolkit writes and reads it.

#include "collab/CollaborationMessageHandler.h"
#include "model/JsonSerializer.h"
#include "support/Text.h"

#include <QtTest/QtTest>

#include <limits>

namespace
{

class Handler : public CollaborationMessageHandler
{
public:
    Handler() : CollaborationMessageHandler(nullptr) { }

    // What a remote's message with this number brings the host.
    QVariant hear(const QByteArray &number)
    {
        QVariant heard;
        const auto keep = [&heard](const Tarvo::RemoteControlMessage &message) {
            heard = message.data.toMap().value(u"n"_s);
        };
        const auto connection = connect(this, &CollaborationMessageHandler::remoteControl, keep);
        onHandleMessage(uR"({"type":"rec","address":"a","body":{"from":"c1","type":"nextCard",)"
                        uR"("data":{"n":%1}}})"_s.arg(QString::fromLatin1(number)));
        disconnect(connection);
        return heard;
    }
};

QByteArray written(const QVariant &number)
{
    const QByteArray text = Tarvo::JsonSerializer::serializeToJson({{"n", number}}).toUtf8();
    return text.mid(11, text.size() - 14); // without {\n    "n": and \n}\n
}

constexpr qlonglong LARGEST_EXACT = 9007199254740992; // 2^53, for a device

} // namespace

class tst_JsonNumbers : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void numbersAreWrittenInOneForm_data();
    void numbersAreWrittenInOneForm();
    void largerNumbersAreTheSameForDevices_data();
    void largerNumbersAreTheSameForDevices();
    void numbersThatComeAreOfOneKind_data();
    void numbersThatComeAreOfOneKind();
};

void tst_JsonNumbers::numbersAreWrittenInOneForm_data()
{
    QTest::addColumn<QVariant>("number");
    QTest::addColumn<QByteArray>("form");
    const auto row = [](const QVariant &number, const char *form) {
        QTest::newRow(form) << number << QByteArray(form);
    };
    row(-7, "-7");
    row(4294967295U, "4294967295");
    row(LARGEST_EXACT, "9007199254740992");
    row(-LARGEST_EXACT + 1, "-9007199254740991");
    row(1.0, "1");
    row(1e3, "1000");
    row(-0.0, "0");
    row(0.1, "0.1");
    row(-2.5, "-2.5");
    row(0.1F, "0.10000000149011612");
    row(1e15, "1000000000000000");
    row(1e300, "1e+300");
    row(1e-7, "1e-07");
    row(5e-324, "5e-324");
    row(qInf(), "null");
}

void tst_JsonNumbers::numbersAreWrittenInOneForm()
{
    QFETCH(QVariant, number);
    QFETCH(QByteArray, form);
    QCOMPARE(written(number), form);
}

// Qt 5 writes whole numbers as a device holds them; Qt 6 every digit of an integer, and large other ones with an
// exponent.
void tst_JsonNumbers::largerNumbersAreTheSameForDevices_data()
{
    QTest::addColumn<QVariant>("number");
    QTest::addColumn<double>("held");
    const auto row = [](const char *name, const QVariant &number, double held) {
        QTest::newRow(name) << number << held;
    };
    row("2^53 + 1", LARGEST_EXACT + 1, double(LARGEST_EXACT));
    row("2^53 + 1 without a sign", qulonglong(LARGEST_EXACT + 1), double(LARGEST_EXACT));
    row("largest", std::numeric_limits<qlonglong>::max(), 9223372036854775808.0);
    row("smallest", std::numeric_limits<qlonglong>::min(), -9223372036854775808.0);
    row("largest without a sign", std::numeric_limits<qulonglong>::max(), 18446744073709551616.0);
    row("1e17", 1e17, 1e17);
}

void tst_JsonNumbers::largerNumbersAreTheSameForDevices()
{
    QFETCH(QVariant, number);
    QFETCH(double, held);
    bool isNumber = false;
    const double read = written(number).toDouble(&isNumber);
    QVERIFY(isNumber);
    QVERIFY(read >= held && read <= held); // to the last bit
}

void tst_JsonNumbers::numbersThatComeAreOfOneKind_data()
{
    QTest::addColumn<int>("kind");
    QTest::addColumn<QString>("text");
    const auto row = [](const char *form, QMetaType::Type kind, const char *text) {
        QTest::newRow(form) << int(kind) << QString::fromLatin1(text);
    };
    row("1", QMetaType::LongLong, "1");
    row("1.0", QMetaType::LongLong, "1");
    row("1e3", QMetaType::LongLong, "1000");
    row("-0", QMetaType::LongLong, "0");
    row("-0.0", QMetaType::LongLong, "0");
    row("9007199254740993", QMetaType::LongLong, "9007199254740993");
    row("9223372036854775807", QMetaType::LongLong, "9223372036854775807");
    row("9223372036854775808", QMetaType::Double, "9223372036854776000");
    row("0.1", QMetaType::Double, "0.1");
    row("1.5e-7", QMetaType::Double, "1.5e-07");
    row("1e300", QMetaType::Double, "1e+300");
}

void tst_JsonNumbers::numbersThatComeAreOfOneKind()
{
    QFETCH(int, kind);
    QFETCH(QString, text);
    Handler handler;
    const QVariant heard = handler.hear(QTest::currentDataTag());
    QCOMPARE(heard.userType(), kind);
    QCOMPARE(heard.toString(), text);
}

QTEST_GUILESS_MAIN(tst_JsonNumbers)
#include "tst_jsonnumbers.moc"
