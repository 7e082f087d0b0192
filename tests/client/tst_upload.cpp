#include "client/PresenterClient.h"

#include "client/RestService.h"
#include "client/UploadForm.h"
#include "compression/Lzma.h"
#include "support/LogCapture.h"

#include <QtTest/QtTest>

namespace
{

const QByteArray UPLOAD = "/vantora/resource/uploadResourceFile";
const QByteArray STORED = R"({"data":{"id":"res-1","path":"/store/res-1"}})";

QString text(const char *value)
{
    return QString::fromUtf8(value);
}

} // namespace

class tst_upload : public QObject
{
    Q_OBJECT

private slots:
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

void tst_upload::fieldIsFollowedByItsBoundary()
{
    PresenterClient client(nullptr, QString());
    QCOMPARE(client.addMultipartValue(text("n"), text("v"), false),
             text("Content-Disposition: form-data; name=n\r\n"
                  "Content-Type: text/plain; charset=utf-8\r\n\r\n"
                  "v\r\n"
                  "------boundary\r\n\r\n"));
    QCOMPARE(client.addMultipartValue(text("%1%2"), text("\"%3%4 ä\""), true),
             text("Content-Disposition: form-data; name=%1%2\r\n"
                  "Content-Type: text/plain; charset=utf-8\r\n\r\n"
                  "\"%3%4 ä\"\r\n"
                  "------boundary--\r\n\r\n"));
    QCOMPARE(client.addMultipartValue(QString(), QString(), false),
             text("Content-Disposition: form-data; name=\r\n"
                  "Content-Type: text/plain; charset=utf-8\r\n\r\n"
                  "\r\n"
                  "------boundary\r\n\r\n"));
}

void tst_upload::fileIsSentUnchanged_data()
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

void tst_upload::fileIsSentUnchanged()
{
    QFETCH(QByteArray, data);
    PresenterClient client(nullptr, service->url());
    service->expect(UPLOAD, form("slide.png", data)).json(STORED);
    QString id;
    QString path;
    QVERIFY(client.doUploadResource(text("slide.png"), data, &id, &path));
    QCOMPARE(service->lastRequest().body, form("slide.png", data));
}

void tst_upload::fileNameIsSentAsItIs_data()
{
    QTest::addColumn<QString>("name");
    QTest::newRow("empty") << QString();
    QTest::newRow("blanks and umlauts") << text("Folie ä 1.png");
    QTest::newRow("percent signs") << text("100%1%2%20.png");
    QTest::newRow("quote breaks the header") << text("a\"b.png");
}

void tst_upload::fileNameIsSentAsItIs()
{
    QFETCH(QString, name);
    PresenterClient client(nullptr, service->url());
    service->expect(UPLOAD, form(name.toUtf8(), "x")).json(STORED);
    QString id;
    QString path;
    QVERIFY(client.doUploadResource(name, "x", &id, &path));
}

void tst_upload::largeFileIsSentWhole()
{
    QByteArray data(5 * 1024 * 1024, '\0');
    for (int i = 0; i < data.size(); ++i)
        data[i] = static_cast<char>((i * 7 + i / 251) & 0xFF);
    PresenterClient client(nullptr, service->url());
    service->expect(UPLOAD, form("large.bin", data)).json(STORED);
    QString id;
    QString path;
    QVERIFY(client.doUploadResource(text("large.bin"), data, &id, &path));
}

void tst_upload::contentTypeNamesTheBoundary()
{
    PresenterClient client(nullptr, service->url());
    service->expect(UPLOAD, form("a", "b")).json(STORED);
    QString id;
    QString path;
    QVERIFY(client.doUploadResource(text("a"), "b", &id, &path));
    const RestRequest request = service->lastRequest();
    QCOMPARE(request.headerLines("content-type"),
             QList<QByteArray>{
                 "Content-Type: multipart/form-data; charset=UTF-8; boundary=----boundary"});
    QCOMPARE(request.headerLines("content-length"),
             QList<QByteArray>{"Content-Length: " + QByteArray::number(form("a", "b").size())});
    QCOMPARE(request.headerLines("accept-encoding"),
             QList<QByteArray>{"accept-encoding: identity"});
}

void tst_upload::idAndDownloadPathAreReturned_data()
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

void tst_upload::idAndDownloadPathAreReturned()
{
    QFETCH(QByteArray, reply);
    QFETCH(QString, id);
    PresenterClient client(nullptr, service->url());
    service->expect(UPLOAD, form("a", "b")).json(reply);
    QString idOut = text("earlier");
    QString pathOut = text("earlier");
    QVERIFY(client.doUploadResource(text("a"), "b", &idOut, &pathOut));
    QCOMPARE(idOut, id);
    QCOMPARE(pathOut, "/vantora/resource/downloadResourceFile?resourceId=" + id);
    QVERIFY(client.getLastErrorKey().isNull());
}

void tst_upload::failedUploadLeavesTheOutputsAlone_data()
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

void tst_upload::failedUploadLeavesTheOutputsAlone()
{
    QFETCH(QByteArray, status);
    QFETCH(QByteArray, reply);
    PresenterClient client(nullptr, service->url());
    QString id;
    QString path;
    service->expect(UPLOAD, form("a", "b")).json(STORED);
    QVERIFY(client.doUploadResource(text("a"), "b", &id, &path));

    // An id from before does not make a failed upload succeed.
    id = text("untouched id");
    path = text("untouched path");
    service->expect(UPLOAD, form("a", "b")).status(status, reply);
    QVERIFY(!client.doUploadResource(text("a"), "b", &id, &path));
    QCOMPARE(id, text("untouched id"));
    QCOMPARE(path, text("untouched path"));
    QVERIFY(client.getLastErrorKey().isNull()); // no failure handler
}

void tst_upload::redirectedUploadFailsAndIsNotRepeated()
{
    RestService present;
    PresenterClient client(nullptr, service->url());
    QString id = text("untouched id");
    QString path = text("untouched path");
    service->expect(UPLOAD, form("a", "b")).redirect(present.url().toUtf8() + UPLOAD, STORED);
    QVERIFY(!client.doUploadResource(text("a"), "b", &id, &path));
    QCOMPARE(id, text("untouched id"));
    QCOMPARE(path, text("untouched path"));
    QCOMPARE(client.getServerUrl(), present.url());

    present.expect(UPLOAD, form("a", "b")).json(STORED);
    QVERIFY(client.doUploadResource(text("a"), "b", &id, &path));
    QCOMPARE(id, text("res-1"));
    QCOMPARE(present.faults(), QStringList());
}

void tst_upload::deletedClientLeavesTheOutputsAlone()
{
    QPointer<PresenterClient> client = new PresenterClient(nullptr, service->url());
    service->expect(UPLOAD, form("a", "b")).silence().meanwhile([&] { delete client; });
    QString id = text("earlier");
    QString path = text("earlier");
    QVERIFY(!client->doUploadResource(text("a"), "b", &id, &path));
    QVERIFY(client.isNull());
    QCOMPARE(id, text("earlier"));
    QCOMPARE(path, text("earlier"));
}

void tst_upload::blocksAreUnpacked()
{
    PresenterClient client(nullptr, QString());
    QString packed;
    QVERIFY(Lzma::compress64(text("{\"a\":\"ä\"}"), &packed));
    QString output = text("earlier");
    QCOMPARE(client.LzmaDecompress64(packed, &output), 1);
    QCOMPARE(output, text("{\"a\":\"ä\"}"));
    QCOMPARE(client.LzmaDecompress64(text("AAAA"), &output), 0);
    QCOMPARE(output, text("{\"a\":\"ä\"}"));
}

void tst_upload::blocksOfMoreThanSixteenMebibytesAreNot()
{
    PresenterClient client(nullptr, QString());
    QString packed;
    QString output;
    QVERIFY(Lzma::compress64(QString(16 * 1024 * 1024, QLatin1Char('x')), &packed));
    QCOMPARE(client.LzmaDecompress64(packed, &output), 1);
    QCOMPARE(output.size(), 16 * 1024 * 1024);
    QVERIFY(Lzma::compress64(QString(16 * 1024 * 1024 + 1, QLatin1Char('x')), &packed));
    output = text("earlier");
    QCOMPARE(client.LzmaDecompress64(packed, &output), 0);
    QCOMPARE(output, text("earlier"));
}

QTEST_GUILESS_MAIN(tst_upload)
#include "tst_upload.moc"
