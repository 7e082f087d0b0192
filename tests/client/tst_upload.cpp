#include "client/PresenterClient.h"
#include "support/Text.h"

#include "client/RestService.h"
#include "client/UploadForm.h"
#include "compression/Lzma.h"
#include "support/LogCapture.h"

#include <QtTest/QtTest>

namespace
{

const QByteArray UPLOAD = "/vantora/resource/uploadResourceFile";
const QByteArray STORED = R"({"data":{"id":"res-1","path":"/store/res-1"}})";
} // namespace

class tst_Upload : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { service.reset(new RestService); }
    void cleanup() { QCOMPARE(service->faults(), QStringList()); }

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
    std::unique_ptr<RestService> service;
};

void tst_Upload::fieldIsFollowedByItsBoundary()
{
    PresenterClient client(nullptr, QString());
    QCOMPARE(client.addMultipartValue(u"n"_s, u"v"_s, false),
             u"Content-Disposition: form-data; name=n\r\n"
             "Content-Type: text/plain; charset=utf-8\r\n\r\n"
             "v\r\n"
             "------boundary\r\n\r\n"_s);
    QCOMPARE(client.addMultipartValue(u"%1%2"_s, u"\"%3%4 ä\""_s, true),
             u"Content-Disposition: form-data; name=%1%2\r\n"
             "Content-Type: text/plain; charset=utf-8\r\n\r\n"
             "\"%3%4 ä\"\r\n"
             "------boundary--\r\n\r\n"_s);
    QCOMPARE(client.addMultipartValue(QString(), QString(), false),
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
    QTest::newRow("boundary inside")
        << QByteArray("a\r\n------boundary\r\n\r\n------boundary--\r\n");
    QTest::newRow("percent signs") << QByteArray("%1 %2 %%");
}

void tst_Upload::fileIsSentUnchanged()
{
    QFETCH(QByteArray, data);
    PresenterClient client(nullptr, service->url());
    service->expect(UPLOAD, form("slide.png", data)).json(STORED);
    QString id;
    QString path;
    QVERIFY(client.doUploadResource(u"slide.png"_s, data, &id, &path));
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
    PresenterClient client(nullptr, service->url());
    service->expect(UPLOAD, form(name.toUtf8(), "x")).json(STORED);
    QString id;
    QString path;
    QVERIFY(client.doUploadResource(name, "x", &id, &path));
}

void tst_Upload::largeFileIsSentWhole()
{
    QByteArray data(5 * 1024 * 1024, '\0');
    for (int i = 0; i < data.size(); ++i)
        data[i] = static_cast<char>((i * 7 + i / 251) & 0xFF);
    PresenterClient client(nullptr, service->url());
    service->expect(UPLOAD, form("large.bin", data)).json(STORED);
    QString id;
    QString path;
    QVERIFY(client.doUploadResource(u"large.bin"_s, data, &id, &path));
}

void tst_Upload::contentTypeNamesTheBoundary()
{
    PresenterClient client(nullptr, service->url());
    service->expect(UPLOAD, form("a", "b")).json(STORED);
    QString id;
    QString path;
    QVERIFY(client.doUploadResource(u"a"_s, "b", &id, &path));
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
    QTest::addColumn<QString>("id");
    QTest::newRow("text") << STORED << "res-1";
    QTest::newRow("number") << QByteArray(R"({"data":{"id":42}})") << "42";
    QTest::newRow("percent signs") << QByteArray(R"({"data":{"id":"a%1%20b"}})") << "a%1%20b";
    QTest::newRow("empty text is an id") << QByteArray(R"({"data":{"id":""}})") << "";
    QTest::newRow("failure flag is not looked at")
        << QByteArray(R"({"success":false,"errorMsgKeys":["a.error"],"data":{"id":"r"}})") << "r";
}

void tst_Upload::idAndDownloadPathAreReturned()
{
    QFETCH(QByteArray, reply);
    QFETCH(QString, id);
    PresenterClient client(nullptr, service->url());
    service->expect(UPLOAD, form("a", "b")).json(reply);
    QString idOut = u"earlier"_s;
    QString pathOut = u"earlier"_s;
    QVERIFY(client.doUploadResource(u"a"_s, "b", &idOut, &pathOut));
    QCOMPARE(idOut, id);
    QCOMPARE(pathOut, "/vantora/resource/downloadResourceFile?resourceId=" + id);
    QVERIFY(client.getLastErrorKey().isNull());
}

void tst_Upload::failedUploadLeavesTheOutputsAlone_data()
{
    QTest::addColumn<QByteArray>("status");
    QTest::addColumn<QByteArray>("reply");
    QTest::newRow("error status") << QByteArray("500 Broken") << STORED;
    QTest::newRow("no json") << QByteArray("200 OK") << QByteArray("<html>");
    QTest::newRow("empty") << QByteArray("200 OK") << QByteArray();
    QTest::newRow("no id") << QByteArray("200 OK") << QByteArray(R"({"data":{"path":"/p"}})");
    QTest::newRow("null id") << QByteArray("200 OK") << QByteArray(R"({"data":{"id":null}})");
    QTest::newRow("id of a wrong kind")
        << QByteArray("200 OK") << QByteArray(R"({"data":{"id":{"a":1}}})");
    QTest::newRow("no data") << QByteArray("200 OK") << QByteArray(R"({"id":"r"})");
    QTest::newRow("data of a wrong kind")
        << QByteArray("200 OK") << QByteArray(R"({"data":["id"]})");
}

void tst_Upload::failedUploadLeavesTheOutputsAlone()
{
    QFETCH(QByteArray, status);
    QFETCH(QByteArray, reply);
    PresenterClient client(nullptr, service->url());
    QString id;
    QString path;
    service->expect(UPLOAD, form("a", "b")).json(STORED);
    QVERIFY(client.doUploadResource(u"a"_s, "b", &id, &path));

    // An id from before does not make a failed upload succeed.
    id = u"untouched id"_s;
    path = u"untouched path"_s;
    service->expect(UPLOAD, form("a", "b")).status(status, reply);
    QVERIFY(!client.doUploadResource(u"a"_s, "b", &id, &path));
    QCOMPARE(id, u"untouched id"_s);
    QCOMPARE(path, u"untouched path"_s);
    QVERIFY(client.getLastErrorKey().isNull()); // no failure handler
}

void tst_Upload::redirectedUploadFailsAndIsNotRepeated()
{
    RestService present;
    PresenterClient client(nullptr, service->url());
    QString id = u"untouched id"_s;
    QString path = u"untouched path"_s;
    service->expect(UPLOAD, form("a", "b")).redirect(present.url().toUtf8() + UPLOAD, STORED);
    QVERIFY(!client.doUploadResource(u"a"_s, "b", &id, &path));
    QCOMPARE(id, u"untouched id"_s);
    QCOMPARE(path, u"untouched path"_s);
    QCOMPARE(client.getServerUrl(), present.url());

    present.expect(UPLOAD, form("a", "b")).json(STORED);
    QVERIFY(client.doUploadResource(u"a"_s, "b", &id, &path));
    QCOMPARE(id, u"res-1"_s);
    QCOMPARE(present.faults(), QStringList());
}

void tst_Upload::deletedClientLeavesTheOutputsAlone()
{
    QPointer<PresenterClient> client = new PresenterClient(nullptr, service->url());
    service->expect(UPLOAD, form("a", "b")).silence().meanwhile([&] { delete client; });
    QString id = u"earlier"_s;
    QString path = u"earlier"_s;
    QVERIFY(!client->doUploadResource(u"a"_s, "b", &id, &path));
    QVERIFY(client.isNull());
    QCOMPARE(id, u"earlier"_s);
    QCOMPARE(path, u"earlier"_s);
}

void tst_Upload::blocksAreUnpacked()
{
    PresenterClient client(nullptr, QString());
    QString packed;
    QVERIFY(Lzma::compress64(u"{\"a\":\"ä\"}"_s, &packed));
    QString output = u"earlier"_s;
    QCOMPARE(client.LzmaDecompress64(packed, &output), 1);
    QCOMPARE(output, u"{\"a\":\"ä\"}"_s);
    QCOMPARE(client.LzmaDecompress64(u"AAAA"_s, &output), 0);
    QCOMPARE(output, u"{\"a\":\"ä\"}"_s);
}

void tst_Upload::blocksOfMoreThanSixteenMebibytesAreNot()
{
    PresenterClient client(nullptr, QString());
    QString packed;
    QString output;
    QVERIFY(Lzma::compress64(QString(16 * 1024 * 1024, QLatin1Char('x')), &packed));
    QCOMPARE(client.LzmaDecompress64(packed, &output), 1);
    QCOMPARE(output.size(), 16 * 1024 * 1024);
    QVERIFY(Lzma::compress64(QString(16 * 1024 * 1024 + 1, QLatin1Char('x')), &packed));
    output = u"earlier"_s;
    QCOMPARE(client.LzmaDecompress64(packed, &output), 0);
    QCOMPARE(output, u"earlier"_s);
}

QTEST_GUILESS_MAIN(tst_Upload)
#include "tst_upload.moc"
