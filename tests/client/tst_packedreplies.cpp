// Packed replies, and how large a reply may be.

#include "client/RequestTest.h"

#include "support/LogCapture.h"
#include "support/Slowness.h"

#include <zlib.h>

namespace
{

const QByteArray GZIP = "Content-Encoding: gzip\r\n";
constexpr int LARGEST_BYTES = 67108864;
const QString TOO_LARGE = u"[PresenterClient] Reply dropped, larger than 67108864 bytes!"_s;

QByteArray gzip(const QByteArray &bytes)
{
    z_stream stream = {};
    deflateInit2(&stream, Z_BEST_COMPRESSION, Z_DEFLATED, 15 + 16, 8, Z_DEFAULT_STRATEGY);
    QByteArray packed(bytes.size() + 1000, '\0');
    stream.next_in = reinterpret_cast<Bytef *>(const_cast<char *>(bytes.data()));
    stream.avail_in = static_cast<uInt>(bytes.size());
    stream.next_out = reinterpret_cast<Bytef *>(packed.data());
    stream.avail_out = static_cast<uInt>(packed.size());
    deflate(&stream, Z_FINISH);
    packed.chop(static_cast<int>(stream.avail_out));
    deflateEnd(&stream);
    return packed;
}

QString sizeLine(const QByteArray &packed)
{
    return u"[REST Responze.gzip] Compressed size: %1"_s.arg(packed.size());
}

} // namespace

class tst_PackedReplies : public RequestTest
{
    Q_OBJECT

public:
    tst_PackedReplies() : RequestTest(60000 * SLOWNESS) { } // the largest replies take their time

private Q_SLOTS:
    void gzipBodyIsInflatedAndItsSizeLogged();
    void gzipIsRecognisedByItsExactName();
    void brokenGzipBodyReadsAsEmpty_data();
    void brokenGzipBodyReadsAsEmpty();
    void gzipBodyOfAFailureIsInflated();
    void cutOffGzipBodyReadsUpToTheCut();

    void replyOfTheLargestSizeIsTaken_data();
    void replyOfTheLargestSizeIsTaken();
    void largerReplyFailsAsSoonAsThatIsKnown_data();
    void largerReplyFailsAsSoonAsThatIsKnown();
    void replyThatInflatesToMoreReadsAsEmpty();
    void replyOfTooManyValuesReadsAsNoJson();
};

// ---- Gzip ----------------------------------------------------------------------------------------

void tst_PackedReplies::gzipBodyIsInflatedAndItsSizeLogged()
{
    const QByteArray body = "{\"name\":\"ä\",\"more\":\"" + QByteArray(5000, 'y') + "\"}";
    const QByteArray packed = gzip(body);
    service->expect(PATH).status("200 OK", packed, GZIP);
    LogCapture log;
    QVERIFY(client->request());
    QCOMPARE(client->succeeded, QStringList{QString::fromUtf8(body)});
    QCOMPARE(log.messages(),
             (QStringList{sizeLine(packed), "[REST Response] " + QString::fromUtf8(body)}));
}

void tst_PackedReplies::gzipIsRecognisedByItsExactName()
{
    // Not inflated: the text ends at the first NUL of the gzip header.
    service->expect(PATH).status("200 OK", gzip("{}"), "Content-Encoding: GZIP\r\n");
    LogCapture log;
    QVERIFY(client->request());
    QCOMPARE(client->succeeded, QStringList{u"\x1f\ufffd\b"_s});
    QVERIFY(log.startingWith("[REST Responze.gzip]").isEmpty());
}

void tst_PackedReplies::brokenGzipBodyReadsAsEmpty_data()
{
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<QStringList>("lines");
    const auto row = [](const char *name, const QByteArray &body, const QStringList &lines) {
        QTest::newRow(name) << body << lines + QStringList{"[REST Response] "};
    };
    row("under five bytes", QByteArray("\x1f\x8b\x08\x00", 4),
        {"[REST Responze.gzip] Compressed size: 4", "gUncompress: Input data is truncated"});
    row("no gzip", "{\"plain\":1}", {"[REST Responze.gzip] Compressed size: 11"});
    row("empty", {},
        {"[REST Responze.gzip] Compressed size: 0", "gUncompress: Input data is truncated"});
}

void tst_PackedReplies::brokenGzipBodyReadsAsEmpty()
{
    QFETCH(QByteArray, body);
    QFETCH(QStringList, lines);
    service->expect(PATH).status("200 OK", body, GZIP);
    LogCapture log;
    QVERIFY(client->request());
    QCOMPARE(client->succeeded, QStringList{QString()});
    QCOMPARE(log.messages(), lines);
}

void tst_PackedReplies::gzipBodyOfAFailureIsInflated()
{
    service->expect(PATH).status("403 No", gzip(R"({"errorMsgKeys":["x.error"]})"), GZIP);
    QVERIFY(!client->request());
    QCOMPARE(client->failed, QStringList{R"({"errorMsgKeys":["x.error"]})"});
}

void tst_PackedReplies::cutOffGzipBodyReadsUpToTheCut()
{
    // Nothing but the checksum and the length behind the text is missing.
    service->expect(PATH).status("200 OK", gzip(R"({"a":1})").chopped(8), GZIP);
    QVERIFY(client->request());
    QCOMPARE(client->succeeded, QStringList{R"({"a":1})"});

    // Half of a text that cannot be packed to less.
    QByteArray body;
    for (quint32 i = 1; body.size() < 4000; i = i * 1664525 + 1013904223)
        body += char('A' + (i >> 24) % 26);
    const QByteArray packed = gzip(body);
    service->expect(PATH).status("200 OK", packed.left(packed.size() / 2), GZIP);
    QVERIFY(client->request());
    QCOMPARE(client->succeeded.size(), 1);
    const QString part = client->succeeded.first();
    QVERIFY2(part.size() > 1000 && part.size() < 3000, qPrintable(QString::number(part.size())));
    QCOMPARE(part, QString::fromLatin1(body.left(part.size())));
}

// ---- Sizes ---------------------------------------------------------------------------------------

void tst_PackedReplies::replyOfTheLargestSizeIsTaken_data()
{
    QTest::addColumn<bool>("packed");
    QTest::newRow("plain") << false;
    QTest::newRow("gzip") << true;
}

void tst_PackedReplies::replyOfTheLargestSizeIsTaken()
{
    QFETCH(bool, packed);
    const QByteArray body(LARGEST_BYTES, 'x');
    service->expect(PATH).status("200 OK", packed ? gzip(body) : body, packed ? GZIP : "");
    LogCapture log;
    QVERIFY(client->request());
    QVERIFY(client->succeeded.first() == QString::fromLatin1(body));
    QVERIFY(!log.contains(TOO_LARGE));
}

void tst_PackedReplies::largerReplyFailsAsSoonAsThatIsKnown_data()
{
    QTest::addColumn<QByteArray>("reply");
    const auto row = [](const char *name, const QByteArray &reply) {
        QTest::newRow(name) << "HTTP/1.1 200 OK\r\n" + reply;
    };
    row("announced", "Content-Length: 67108865\r\n\r\n{");
    row("announced, beyond every number", "Content-Length: 9223372036854775807\r\n\r\n{");
    // The ends of these never come.
    const QByteArray body(LARGEST_BYTES + 1, 'x');
    row("until the connection ends", "\r\n" + body);
    row("in chunks", "Transfer-Encoding: chunked\r\n\r\n4000001\r\n" + body + "\r\n");
    row("gzip", GZIP + "\r\n" + body);
}

void tst_PackedReplies::largerReplyFailsAsSoonAsThatIsKnown()
{
    QFETCH(QByteArray, reply);
    QSignalSpy processed(client.data(), &PresenterClient::requestProcessed);
    service->expect(PATH).raw(reply);
    LogCapture log;
    QElapsedTimer clock;
    clock.start();
    QVERIFY(!client->request());
    QVERIFY(clock.elapsed() < AT_ONCE_MS);
    QCOMPARE(client->failed, QStringList{QString()});
    QCOMPARE(client->error, QNetworkReply::OperationCanceledError);
    QStringList lines = log.messages();
    lines.removeOne(u"[REST Responze.gzip] Compressed size: 0"_s);
    lines.removeOne(u"gUncompress: Input data is truncated"_s);
    QCOMPARE(lines,
             (QStringList{TOO_LARGE, "[REST Response] ", "ERROR: Operation canceled\nRESPONSE: "}));
    QCOMPARE(processed.count(), 1);
}

void tst_PackedReplies::replyThatInflatesToMoreReadsAsEmpty()
{
    const QByteArray packed = gzip(QByteArray(LARGEST_BYTES + 1, 'x'));
    service->expect(PATH).status("200 OK", packed, GZIP);
    LogCapture log;
    QVERIFY(client->request());
    QCOMPARE(client->succeeded, QStringList{QString()});
    QCOMPARE(log.messages(), (QStringList{sizeLine(packed), TOO_LARGE, "[REST Response] "}));
}

// Lists with next to nothing in them take thirty times their text and more.
void tst_PackedReplies::replyOfTooManyValuesReadsAsNoJson()
{
    const auto lists = [](int count) {
        return gzip("{\"data\":[" + QByteArray("[0],").repeated(count) + "0]}");
    };
    service->expect(CHECK).status("200 OK", lists(500 * 1000), GZIP);
    service->expect(CHECK).status("200 OK", lists(16 * 1000 * 1000), GZIP);
    QVERIFY(check());
    QVERIFY(!check());
}

QTEST_GUILESS_MAIN(tst_PackedReplies)
#include "tst_packedreplies.moc"
