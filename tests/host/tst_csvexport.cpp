#include "host/CsvExport.h"
#include "host/LearnersModel.h"
#include "host/ResultsModel.h"
#include "support/Text.h"

#include <QtCore/QAbstractItemModel>
#include <QtCore/QBuffer>
#include <QtCore/QTemporaryFile>
#include <QtTest/QAbstractItemModelTester>
#include <QtTest/QtTest>

#include <memory>

using namespace Tarvo;

class tst_CsvExport : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void nobodyMakesAHeader();
    void aLineForEachPersonAndQuestion();
    void theLastAnswerStandsInTheFirstOnesPlace();
    void whoHasNoNameIsCalledByTheDevice();
    void questionsWithoutTextAreCalledByTheirId();
    void cellsAreQuotedAndDefused_data();
    void cellsAreQuotedAndDefused();
    void everyCellIsDefused();
    void textIsUtf8();
    void aLargeSchoolFits();
    void lineEndsAreNotTranslated();
    void devicesThatFailAreTold();
    void devicesThatTakeLessAreTold_data();
    void devicesThatTakeLessAreTold();
    void devicesThatAreNotOpenAreTold();
    void filesAreWrittenOut();

private:
    QByteArray csv() const;

    std::unique_ptr<LearnersModel> m_learners;
    std::unique_ptr<ResultsModel> m_results;
};

namespace
{

// Takes so many bytes; what is too much, it refuses for ever or once, or takes in part.
class SmallDevice : public QIODevice
{
public:
    enum WhenFull {
        Fails,
        FailsOnce,
        TakesLess
    };

    SmallDevice(int room, WhenFull whenFull) : m_room(room), m_whenFull(whenFull) { }

    QByteArray taken() const { return m_taken; }
    bool wasText() const { return m_wasText; }

protected:
    qint64 readData(char *, qint64) override { return -1; }
    qint64 writeData(const char *data, qint64 size) override
    {
        m_wasText = m_wasText || isTextModeEnabled();
        const int left = m_room - m_taken.size();
        if (size > left && m_whenFull == FailsOnce)
            m_room = 10000000;
        if (size > left && m_whenFull != TakesLess)
            return -1;
        const int taken = static_cast<int>(qMin<qint64>(size, left));
        m_taken.append(data, taken);
        return taken;
    }

private:
    int m_room;
    const WhenFull m_whenFull;
    QByteArray m_taken;
    bool m_wasText = false;
};

const QByteArray HEADER = "Name,Device,Question,Answer,Milliseconds\r\n";

} // namespace

void tst_CsvExport::init()
{
    m_learners = std::make_unique<LearnersModel>();
    m_results = std::make_unique<ResultsModel>();
    for (QAbstractItemModel *const model : {static_cast<QAbstractItemModel *>(m_learners.get()),
                                            static_cast<QAbstractItemModel *>(m_results.get())}) {
        new QAbstractItemModelTester(model, QAbstractItemModelTester::FailureReportingMode::Fatal,
                                     model);
    }
    m_results->begin(
        {{u"q1"_s, u"Why?"_s, PollType::TEXT, {}}, {u"q2"_s, u"Who?"_s, PollType::TEXT, {}}});
    m_learners->join({{u"d1"_s, u"Ada"_s, u"web"_s}, {u"d2"_s, u"Bob"_s, u"web"_s}});
}

// Without the header; nothing when not all could be written.
QByteArray tst_CsvExport::csv() const
{
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    if (!writeCsv(&buffer, *m_results, *m_learners) || !buffer.data().startsWith(HEADER))
        return {};
    return buffer.data().mid(HEADER.size());
}

void tst_CsvExport::nobodyMakesAHeader()
{
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    QVERIFY(writeCsv(&buffer, ResultsModel(), *m_learners));
    QCOMPARE(buffer.data(), QByteArray("Name,Device,Question,Answer,Milliseconds\r\n"));
}

void tst_CsvExport::aLineForEachPersonAndQuestion()
{
    m_results->answer(u"d2"_s, u"q2"_s, u"you"_s, 40);
    m_results->answer(u"d2"_s, u"q1"_s, u"so"_s, 20);
    m_results->answer(u"d1"_s, u"q1"_s, u"so"_s, 30);
    QCOMPARE(csv(),
             QByteArray("Bob,d2,Why?,so,20\r\n"
                        "Ada,d1,Why?,so,30\r\n"
                        "Bob,d2,Who?,you,40\r\n"));
}

void tst_CsvExport::theLastAnswerStandsInTheFirstOnesPlace()
{
    m_results->answer(u"d2"_s, u"q1"_s, u"so"_s, 20);
    m_results->answer(u"d1"_s, u"q1"_s, u"so"_s, 30);
    m_results->answer(u"d2"_s, u"q1"_s, u"no"_s, 90);
    QCOMPARE(csv(),
             QByteArray("Bob,d2,Why?,no,90\r\n"
                        "Ada,d1,Why?,so,30\r\n"));
}

void tst_CsvExport::whoHasNoNameIsCalledByTheDevice()
{
    m_learners->join({{u"d3"_s, u""_s, u"web"_s}});
    m_results->answer(u"d3"_s, u"q1"_s, u"so"_s, 20);
    m_results->answer(u"d4"_s, u"q1"_s, u"so"_s, 30);
    QCOMPARE(csv(),
             QByteArray("d3,d3,Why?,so,20\r\n"
                        "d4,d4,Why?,so,30\r\n"));
}

void tst_CsvExport::questionsWithoutTextAreCalledByTheirId()
{
    m_results->begin({{u"q7"_s, u""_s, PollType::TEXT, {}}});
    m_results->answer(u"d1"_s, u"q7"_s, u"so"_s, 20);
    QCOMPARE(csv(), QByteArray("Ada,d1,q7,so,20\r\n"));
}

void tst_CsvExport::cellsAreQuotedAndDefused_data()
{
    QTest::addColumn<QString>("answer");
    QTest::addColumn<QByteArray>("cell");

    // clang-format off
    QTest::newRow("plain") << u"so it is"_s << QByteArray("so it is");
    QTest::newRow("empty") << u""_s << QByteArray("");
    QTest::newRow("comma") << u"a,b"_s << QByteArray("\"a,b\"");
    QTest::newRow("quote") << u"a \"b\""_s << QByteArray("\"a \"\"b\"\"\"");
    QTest::newRow("line feed") << u"a\nb"_s << QByteArray("\"a\nb\"");
    QTest::newRow("carriage return") << u"a\rb"_s << QByteArray("\"a\rb\"");
    QTest::newRow("leading blank") << u" a"_s << QByteArray("\" a\"");
    QTest::newRow("trailing blank") << u"a "_s << QByteArray("\"a \"");
    QTest::newRow("trailing tab") << u"a\t"_s << QByteArray("\"a\t\"");
    QTest::newRow("inner tab") << u"a\tb"_s << QByteArray("a\tb");
    QTest::newRow("apostrophe") << u"'a"_s << QByteArray("'a");
    QTest::newRow("equals") << u"=1+1"_s << QByteArray("'=1+1");
    QTest::newRow("plus") << u"+cmd"_s << QByteArray("'+cmd");
    QTest::newRow("minus") << u"-cmd"_s << QByteArray("'-cmd");
    QTest::newRow("at") << u"@SUM(A1)"_s << QByteArray("'@SUM(A1)");
    QTest::newRow("tab first") << u"\tx"_s << QByteArray("'\tx");
    QTest::newRow("return first") << u"\rx"_s << QByteArray("\"'\rx\"");
    QTest::newRow("after blanks") << u"  =1"_s << QByteArray("'  =1");
    QTest::newRow("after a line feed") << u"\n=1"_s << QByteArray("\"'\n=1\"");
    QTest::newRow("after a wide blank") << u"\u3000=1"_s << QByteArray("'\xe3\x80\x80=1");
    QTest::newRow("after a zero byte") << QString(QChar(0)) + u"=1"_s << QByteArray("'=1");
    QTest::newRow("full-width") << u"\uff1d1+1"_s << QByteArray("'\xef\xbc\x9d""1+1");
    QTest::newRow("with comma and quotes") << u"=A(\"x\",1)"_s << QByteArray("\"'=A(\"\"x\"\",1)\"");
    QTest::newRow("inside") << u"1=1"_s << QByteArray("1=1");
    QTest::newRow("negative number") << u"-5"_s << QByteArray("-5");
    QTest::newRow("signed number") << u"+3.5"_s << QByteArray("+3.5");
    QTest::newRow("calculation") << u"-5+3"_s << QByteArray("'-5+3");
    QTest::newRow("not finite") << u"-inf"_s << QByteArray("'-inf");
    QTest::newRow("too large") << u"-1e999"_s << QByteArray("'-1e999");
    QTest::newRow("minus alone") << u"-"_s << QByteArray("'-");
    QTest::newRow("control characters") << u"a\u0001b\u001bc\u007fd\u0085e"_s << QByteArray("abcde");
    // clang-format on
}

void tst_CsvExport::cellsAreQuotedAndDefused()
{
    QFETCH(QString, answer);
    QFETCH(QByteArray, cell);
    m_results->answer(u"d1"_s, u"q1"_s, answer, 20);
    QCOMPARE(csv(), QByteArray("Ada,d1,Why?,") + cell + QByteArray(",20\r\n"));
}

void tst_CsvExport::everyCellIsDefused()
{
    m_results->begin({{u"q1"_s, u"=q"_s, PollType::TEXT, {}}});
    m_learners->join({{u"@d"_s, u"+n"_s, u"web"_s}});
    m_results->answer(u"@d"_s, u"q1"_s, u"-a"_s, -1);
    QCOMPARE(csv(), QByteArray("'+n,'@d,'=q,'-a,-1\r\n"));
}

void tst_CsvExport::textIsUtf8()
{
    m_results->answer(u"d1"_s, u"q1"_s, u"\u00fc\u4e2d"_s, 20);
    QCOMPARE(csv(), QByteArray("Ada,d1,Why?,\xc3\xbc\xe4\xb8\xad,20\r\n"));
}

void tst_CsvExport::aLargeSchoolFits()
{
    for (int i = 0; i < 10000; ++i)
        m_results->answer(u"d%1"_s.arg(i), u"q1"_s, u"so"_s, 20);
    const QByteArray lines = csv();
    QCOMPARE(lines.count("\r\n"), 10000);
    QVERIFY(lines.endsWith("d9999,d9999,Why?,so,20\r\n"));
}

void tst_CsvExport::lineEndsAreNotTranslated()
{
    SmallDevice device(1000, SmallDevice::Fails);
    device.open(QIODevice::WriteOnly | QIODevice::Text);
    QVERIFY(writeCsv(&device, *m_results, *m_learners));
    QVERIFY(!device.wasText());
    QVERIFY(device.isTextModeEnabled()); // again
    QCOMPARE(device.taken(), QByteArray("Name,Device,Question,Answer,Milliseconds\r\n"));
}

void tst_CsvExport::devicesThatFailAreTold()
{
    SmallDevice device(41, SmallDevice::Fails);
    device.open(QIODevice::WriteOnly);
    QVERIFY(!writeCsv(&device, *m_results, *m_learners));
    SmallDevice larger(42, SmallDevice::Fails);
    larger.open(QIODevice::WriteOnly);
    QVERIFY(writeCsv(&larger, *m_results, *m_learners));
}

void tst_CsvExport::devicesThatTakeLessAreTold_data()
{
    QTest::addColumn<int>("whenFull");
    QTest::addColumn<int>("taken");

    // What is written at once is a little more than 65,536 bytes.
    QTest::newRow("fails") << int(SmallDevice::Fails) << 0;
    QTest::newRow("fails once") << int(SmallDevice::FailsOnce) << 0;
    QTest::newRow("takes less") << int(SmallDevice::TakesLess) << 60000;
}

void tst_CsvExport::devicesThatTakeLessAreTold()
{
    QFETCH(int, whenFull);
    for (int i = 0; i < 10000; ++i)
        m_results->answer(u"d%1"_s.arg(i), u"q1"_s, u"so"_s, 20);
    SmallDevice device(60000, static_cast<SmallDevice::WhenFull>(whenFull));
    device.open(QIODevice::WriteOnly);
    QVERIFY(!writeCsv(&device, *m_results, *m_learners));
    QTEST(int(device.taken().size()), "taken");
}

void tst_CsvExport::devicesThatAreNotOpenAreTold()
{
    QBuffer buffer;
    QVERIFY(!writeCsv(&buffer, *m_results, *m_learners));
    buffer.open(QIODevice::ReadOnly);
    QVERIFY(!writeCsv(&buffer, *m_results, *m_learners));
    QVERIFY(!writeCsv(nullptr, *m_results, *m_learners));
}

void tst_CsvExport::filesAreWrittenOut()
{
    QTemporaryFile file;
    QVERIFY(file.open());
    QVERIFY(writeCsv(&file, *m_results, *m_learners));
    QFile again(file.fileName());
    QVERIFY(again.open(QIODevice::ReadOnly));
    QCOMPARE(again.readAll(), QByteArray("Name,Device,Question,Answer,Milliseconds\r\n"));
    QFile full(u"/dev/full"_s); // which has no room for anything
    QVERIFY(full.open(QIODevice::WriteOnly));
    QVERIFY(!writeCsv(&full, *m_results, *m_learners));
}

QTEST_GUILESS_MAIN(tst_CsvExport)
#include "tst_csvexport.moc"
