// Payloads of up to 16 MiB are unpacked, larger ones passed on as they came, in every form and in
// any number of pieces.
#include "Messages.h"
#include "support/LogCapture.h"

#include <QtTest/QtTest>

using namespace Samples;

namespace
{

constexpr int MEBI = 1024 * 1024;
constexpr int LIMIT = 16 * MEBI;

const char *const FORMS[] = {"a text", "a list of texts", "a list of numbers", "a bracketed list"};

// What the payload is read from: the forms in which a block travels.
QByteArray inForm(int form, const QByteArray &block)
{
    const QByteArray numbers = listOf(block).toLatin1();
    const QByteArray forms[] = {text64(block), list64(block), numbers, '"' + numbers + '"'};
    return forms[form];
}

// A list of one text, `size` bytes of JSON in all.
QByteArray listOfOneText(int size, const QByteArray &letter)
{
    const int letters = (size - 4) / letter.size();
    return "[\"" + letter.repeated(letters) + QByteArray(size - 4 - letters * letter.size(), 'a')
        + "\"]";
}

} // namespace

class tst_PayloadLimits : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void sixteenMebibytesAreUnpackedAndNotOneByteMore_data();
    void sixteenMebibytesAreUnpackedAndNotOneByteMore();
    void piecesHaveOneLimitTogether();
    void whatABrokenPieceGivesCountsToo();
    void declaredLengthOfMinusOneIsNoLength_data();
    void declaredLengthOfMinusOneIsNoLength();
    void manyCostlyPiecesDoNotHoldTheHostUp();
    void manyPiecesOfTheUsualKindAreRead();
};

void tst_PayloadLimits::sixteenMebibytesAreUnpackedAndNotOneByteMore_data()
{
    QTest::addColumn<int>("form");
    QTest::addColumn<QByteArray>("letter");
    for (int form = 0; form < 4; ++form) {
        QTest::addRow("%s", FORMS[form]) << form << QByteArray("a");
        QTest::addRow("%s, two bytes a letter", FORMS[form]) << form << QByteArray("é");
    }
}

void tst_PayloadLimits::sixteenMebibytesAreUnpackedAndNotOneByteMore()
{
    QFETCH(int, form);
    QFETCH(QByteArray, letter);
    const LogCapture log;
    HandlerHost host;
    const QByteArray fitting = listOfOneText(LIMIT, letter);
    QCOMPARE(fitting.size(), LIMIT);
    QCOMPARE(host.receivePayload(inForm(form, Samples::packed(fitting))), u"unpacked"_s);
    QVERIFY(host.data.toList().value(0).toString().toUtf8() == fitting.mid(2, LIMIT - 4));
    QCOMPARE(log.count(rawLine) + log.count(listLine), 0);

    const QByteArray tooLarge = listOfOneText(LIMIT + 1, letter);
    QCOMPARE(host.receivePayload(inForm(form, Samples::packed(tooLarge))), u"as it came"_s);
    host.receive(incomingMessage(joinFields));
    QCOMPARE(host.events.last(), u"learnerJoin|d1|Ada|tablet"_s);
    QCOMPARE(log.count(form == 0 || form == 3 ? rawLine : listLine), 1);
    // The very next payload has the whole limit again.
    QCOMPARE(host.receivePayload(inForm(form, Samples::packed(fitting))), u"unpacked"_s);
}

void tst_PayloadLimits::piecesHaveOneLimitTogether()
{
    const QByteArray whole = listOfOneText(LIMIT, "a");
    QByteArray pieces;
    for (int i = 0; i < 16; ++i)
        pieces += text64(Samples::packed(whole.mid(i * MEBI, MEBI))) + ',';

    const LogCapture log;
    HandlerHost host;
    QCOMPARE(host.receivePayload('[' + pieces + "\"\"]"), u"unpacked"_s);
    QCOMPARE(host.data.toList().value(0).toString().size(), LIMIT - 4);

    // A blank behind the list is JSON, too, but one byte more.
    QCOMPARE(host.receivePayload('[' + pieces + text64(Samples::packed(" ")) + ']'),
             u"as it came"_s);
    QCOMPARE(host.data.toList().size(), 17);
    QCOMPARE(log.count(listLine), 1);
}

void tst_PayloadLimits::whatABrokenPieceGivesCountsToo()
{
    const auto brokenAfter = [](int size) {
        const QByteArray block = Samples::packed(QByteArray(size, ' '));
        return text64(block.left(block.size() - 6));
    };
    const QByteArray good = text64(Samples::packed("[1,2]"));
    HandlerHost host;
    QCOMPARE(host.receivePayload('[' + brokenAfter(MEBI) + ',' + good + ']'), u"unpacked"_s);
    QCOMPARE(host.data, QVariant(QVariantList{1, 2}));
    QCOMPARE(host.receivePayload('[' + brokenAfter(LIMIT) + ',' + good + ']'), u"as it came"_s);
}

void tst_PayloadLimits::declaredLengthOfMinusOneIsNoLength_data()
{
    QTest::addColumn<int>("form");
    for (int form = 0; form < 4; ++form)
        QTest::addRow("%s", FORMS[form]) << form;
}

void tst_PayloadLimits::declaredLengthOfMinusOneIsNoLength()
{
    QFETCH(int, form);
    HandlerHost host;
    const auto receive = [form, &host](const QByteArray &payload) {
        const QByteArray block = withDeclaredLength(Samples::packed(payload), 0xFFFFFFFFu);
        return host.receivePayload(inForm(form, block));
    };
    QCOMPARE(receive("[1,2]"), u"unpacked"_s);
    QCOMPARE(host.data, QVariant(QVariantList{1, 2}));
    QCOMPARE(receive(listOfOneText(LIMIT, "a")), u"unpacked"_s);
    QCOMPARE(receive(listOfOneText(LIMIT + 1, "a")), u"as it came"_s);
}

void tst_PayloadLimits::manyCostlyPiecesDoNotHoldTheHostUp()
{
    // 224 stands for the largest of all decoders; each takes milliseconds to set up.
    const QByteArray costly = text64(QByteArray(1, static_cast<char>(224))
                                     + Samples::packed("").mid(1) + QByteArray(10, '\0'));
    const QByteArray data = '[' + (costly + ',').repeated(100000) + "\"\"]";
    HandlerHost host;
    QElapsedTimer timer;
    timer.start();
    const QString outcome = host.receivePayload(data);
    QVERIFY2(timer.elapsed() < (UNDER_SANITIZER ? 60000 : 5000),
             QByteArray::number(timer.elapsed()));
    QCOMPARE(outcome, u"as it came"_s);
}

void tst_PayloadLimits::manyPiecesOfTheUsualKindAreRead()
{
    QByteArray data = "[" + text64(Samples::packed("["));
    const QByteArray piece = ',' + text64(Samples::packed("1,"));
    data += piece.repeated(20000) + ',' + text64(Samples::packed("1]")) + ']';
    HandlerHost host;
    QCOMPARE(host.receivePayload(data), u"unpacked"_s);
    QCOMPARE(host.data.toList().size(), 20001);
}

QTEST_GUILESS_MAIN(tst_PayloadLimits)
#include "tst_payloadlimits.moc"
