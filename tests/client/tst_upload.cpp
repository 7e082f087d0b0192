// Files for the service to keep, and packed blocks from the host.

#include "client/ServiceTest.h"
#include "client/UploadForm.h"

#include "compression/Lzma.h"

namespace
{

const QByteArray STORED = R"({"data":{"id":"res-1","path":"/store/res-1"}})";

} // namespace

class tst_Upload : public ClientTest
{
    Q_OBJECT

private Q_SLOTS:
    void fieldIsFollowedByItsBoundary();
    void fileIsSentUnchanged_data();
    void fileIsSentUnchanged();
    void fileNameIsSentAsItIs_data();
    void fileNameIsSentAsItIs();
    void largeFileIsSentWhole();
    void contentTypeNamesTheBoundary();
    void idAndDownloadPathAreReturned_data();
    void idAndDownloadPathAreReturned();
    void failedUploadLeavesTheOutputsAlone_data();
    void failedUploadLeavesTheOutputsAlone();
    void redirectedUploadFailsAndIsNotRepeated();
    void deletedClientLeavesTheOutputsAlone();
    void blocksAreUnpacked();
    void blocksOfMoreThanSixteenMebibytesAreNot();

private:
    RestExchange &expectUpload() { return service->expect(UPLOAD, form("a", "b")); }
    bool upload(const QString &name = u"a"_s, const QByteArray &data = "b")
    {
        return client->doUploadResource(name, data, &id, &path);
    }

    QString id;
    QString path;
};

void tst_Upload::fieldIsFollowedByItsBoundary()
{
    QCOMPARE(client->addMultipartValue(u"n"_s, u"v"_s, false),
             u"Content-Disposition: form-data; name=n\r\n"
             "Content-Type: text/plain; charset=utf-8\r\n\r\n"
             "v\r\n"
             "------boundary\r\n\r\n"_s);
    QCOMPARE(client->addMultipartValue(u"%1%2"_s, u"\"%3%4 ä\""_s, true),
             u"Content-Disposition: form-data; name=%1%2\r\n"
             "Content-Type: text/plain; charset=utf-8\r\n\r\n"
             "\"%3%4 ä\"\r\n"
             "------boundary--\r\n\r\n"_s);
    QCOMPARE(client->addMultipartValue(QString(), QString(), false),
             u"Content-Disposition: form-data; name=\r\n"
             "Content-Type: text/plain; charset=utf-8\r\n\r\n"
             "\r\n"
             "------boundary\r\n\r\n"_s);
}

void tst_Upload::fileIsSentUnchanged_data()
{
    QByteArray everyByte;
    for (int value = 0; value < 256; ++value)
        everyByte.append(static_cast<char>(value));

    QTest::addColumn<QByteArray>("data");
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("one byte") << QByteArray("\0", 1);
    QTest::newRow("every byte") << everyByte;
    QTest::newRow("line ends") << QByteArray("\r\n\r\n\n\r");
    QTest::newRow("boundary") << QByteArray("a\r\n------boundary\r\n\r\n------boundary--\r\n");
    QTest::newRow("percent signs") << QByteArray("%1 %2 %%");
}

void tst_Upload::fileIsSentUnchanged()
{
    QFETCH(QByteArray, data);
    service->expect(UPLOAD, form("slide.png", data)).json(STORED);
    QVERIFY(upload(u"slide.png"_s, data));
    QCOMPARE(service->lastRequest().body, form("slide.png", data));
}

void tst_Upload::fileNameIsSentAsItIs_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("empty") << QString();
    QTest::newRow("blanks and umlauts") << u"Folie ä 1.png"_s;
    QTest::newRow("percent signs") << u"100%1%2%20.png"_s;
    QTest::newRow("quote breaks the header") << u"a\"b.png"_s;
}

void tst_Upload::fileNameIsSentAsItIs()
{
    QFETCH(QString, name);
    service->expect(UPLOAD, form(name.toUtf8(), "x")).json(STORED);
    QVERIFY(upload(name, "x"));
}

void tst_Upload::largeFileIsSentWhole()
{
    QByteArray data(5 * 1024 * 1024, '\0');
    for (int i = 0; i < data.size(); ++i)
        data[i] = static_cast<char>((i * 7 + i / 251) & 0xFF);
    service->expect(UPLOAD, form("large.bin", data)).json(STORED);
    QVERIFY(upload(u"large.bin"_s, data));
}

void tst_Upload::contentTypeNamesTheBoundary()
{
    expectUpload().json(STORED);
    QVERIFY(upload());
    const RestRequest request = service->lastRequest();
    QCOMPARE(request.headerLines("content-type"),
             QList<QByteArray>{
                 "Content-Type: multipart/form-data; charset=UTF-8; boundary=----boundary"});
    QCOMPARE(request.headerLines("content-length"),
             QList<QByteArray>{"Content-Length: " + QByteArray::number(form("a", "b").size())});
    QCOMPARE(request.headerLines("accept-encoding"),
             QList<QByteArray>{"accept-encoding: identity"});
}

void tst_Upload::idAndDownloadPathAreReturned_data()
{
    QTest::addColumn<QByteArray>("reply");
    QTest::addColumn<QString>("expectedId");
    const auto row = [](const char *name, const QByteArray &reply, const char *id) {
        QTest::newRow(name) << reply << id;
    };
    row("text", STORED, "res-1");
    row("number", R"({"data":{"id":42}})", "42");
    row("percent signs", R"({"data":{"id":"a%1%20b"}})", "a%1%20b");
    row("empty text is an id", R"({"data":{"id":""}})", "");
    row("failure flag is not looked at",
        R"({"success":false,"errorMsgKeys":["a.error"],"data":{"id":"r"}})", "r");
}

void tst_Upload::idAndDownloadPathAreReturned()
{
    QFETCH(QByteArray, reply);
    QFETCH(QString, expectedId);
    expectUpload().json(reply);
    id = u"earlier"_s;
    path = u"earlier"_s;
    QVERIFY(upload());
    QCOMPARE(id, expectedId);
    QCOMPARE(path, "/vantora/resource/downloadResourceFile?resourceId=" + expectedId);
    QVERIFY(client->getLastErrorKey().isNull());
}

void tst_Upload::failedUploadLeavesTheOutputsAlone_data()
{
    addReplyColumns();
    addReply("error status", "500 Broken", STORED);
    addReply("no json", "200 OK", NO_JSON);
    addReply("empty", "200 OK", "");
    addReply("no id", "200 OK", R"({"data":{"path":"/p"}})");
    addReply("null id", "200 OK", R"({"data":{"id":null}})");
    addReply("id of a wrong kind", "200 OK", R"({"data":{"id":{"a":1}}})");
    addReply("no data", "200 OK", R"({"id":"r"})");
    addReply("data of a wrong kind", "200 OK", R"({"data":["id"]})");
}

void tst_Upload::failedUploadLeavesTheOutputsAlone()
{
    QFETCH(QByteArray, status);
    QFETCH(QByteArray, reply);
    expectUpload().json(STORED);
    QVERIFY(upload());

    // An id from before does not make a failed upload succeed.
    id = u"untouched id"_s;
    path = u"untouched path"_s;
    expectUpload().status(status, reply);
    QVERIFY(!upload());
    QCOMPARE(id, u"untouched id"_s);
    QCOMPARE(path, u"untouched path"_s);
    QVERIFY(client->getLastErrorKey().isNull()); // no failure handler
}

void tst_Upload::redirectedUploadFailsAndIsNotRepeated()
{
    RestService present;
    id = u"untouched id"_s;
    path = u"untouched path"_s;
    expectUpload().redirect(present.url(UPLOAD), STORED);
    QVERIFY(!upload());
    QCOMPARE(id, u"untouched id"_s);
    QCOMPARE(path, u"untouched path"_s);
    QCOMPARE(client->getServerUrl(), present.url());

    present.expect(UPLOAD, form("a", "b")).json(STORED);
    QVERIFY(upload());
    QCOMPARE(id, u"res-1"_s);
    QCOMPARE(present.faults(), QStringList());
}

void tst_Upload::deletedClientLeavesTheOutputsAlone()
{
    expectUpload().silence().meanwhile([&] { delete client; });
    id = u"earlier"_s;
    path = u"earlier"_s;
    QVERIFY(!upload());
    QVERIFY(client.isNull());
    QCOMPARE(id, u"earlier"_s);
    QCOMPARE(path, u"earlier"_s);
}

void tst_Upload::blocksAreUnpacked()
{
    QString packed;
    QVERIFY(Lzma::compress64(u"{\"a\":\"ä\"}"_s, &packed));
    QString output = u"earlier"_s;
    QCOMPARE(client->LzmaDecompress64(packed, &output), 1);
    QCOMPARE(output, u"{\"a\":\"ä\"}"_s);
    QCOMPARE(client->LzmaDecompress64(u"AAAA"_s, &output), 0);
    QCOMPARE(output, u"{\"a\":\"ä\"}"_s);
}

void tst_Upload::blocksOfMoreThanSixteenMebibytesAreNot()
{
    QString packed;
    QString output;
    QVERIFY(Lzma::compress64(QString(16 * 1024 * 1024, QLatin1Char('x')), &packed));
    QCOMPARE(client->LzmaDecompress64(packed, &output), 1);
    QCOMPARE(output.size(), 16 * 1024 * 1024);
    QVERIFY(Lzma::compress64(QString(16 * 1024 * 1024 + 1, QLatin1Char('x')), &packed));
    output = u"earlier"_s;
    QCOMPARE(client->LzmaDecompress64(packed, &output), 0);
    QCOMPARE(output, u"earlier"_s);
}

QTEST_GUILESS_MAIN(tst_Upload)
#include "tst_upload.moc"
