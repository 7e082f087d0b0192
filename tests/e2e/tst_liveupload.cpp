#include "e2e/LiveSession.h"

// Files go to the service's store and come back identical.
class tst_LiveUpload : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void fileComesBackIdentical_data();
    void fileComesBackIdentical();
    void everyUploadHasAnIdOfItsOwn();
    void failedUploadLeavesTheOutputsAlone_data();
    void failedUploadLeavesTheOutputsAlone();
    void uploadedImageReachesTheLearners();
};

namespace
{

const char DOWNLOAD_PATH[] = "/vantora/resource/downloadResourceFile?resourceId=";

// What the form adds around the file: its lines, the two fields and the name "slide 1.png".
constexpr int FORM_BYTES = 350;

QByteArray everyByte()
{
    QByteArray bytes;
    for (int i = 0; i < 256; ++i)
        bytes.append(char(i));
    return bytes;
}

} // namespace

void tst_LiveUpload::fileComesBackIdentical_data()
{
    QTest::addColumn<bool>("tls");
    QTest::addColumn<QByteArray>("file");
    const QByteArray lookAlike(
        "\r\n------boundary\r\n\r\nContent-Disposition: form-data; name=isTemporary\r\n"
        "Content-Type: text/plain; charset=utf-8\r\n\r\ntrue\r\n------boundary--\r\n\r\n");

    for (const bool tls : {false, true}) {
        const char *suffix = tls ? ", TLS" : "";
        QTest::addRow("empty%s", suffix) << tls << QByteArray("");
        QTest::addRow("one byte%s", suffix) << tls << QByteArray("\0", 1);
        QTest::addRow("every byte%s", suffix) << tls << everyByte();
        QTest::addRow("line ends%s", suffix) << tls << QByteArray("\r\n\r\na\nb\r\r\n");
        QTest::addRow("a boundary's look-alike%s", suffix) << tls << lookAlike + "x" + lookAlike;
        QTest::addRow("five megabytes%s", suffix) << tls << noise(5 * 1024 * 1024);
    }
}

void tst_LiveUpload::fileComesBackIdentical()
{
    QFETCH(bool, tls);
    QFETCH(QByteArray, file);
    const Far far(tls);
    PresenterClient client(nullptr, far->url());
    QVERIFY(client.doLogin("teacher", "secret"));
    QString id;
    QString path;
    QVERIFY(client.doUploadResource("slide 1.png", file, &id, &path));
    QVERIFY(!id.isEmpty());
    QCOMPARE(path, DOWNLOAD_PATH + id);
    const QByteArray back = far->download(path);
    QVERIFY(!back.isNull());
    QCOMPARE(back.size(), file.size());
    QVERIFY(back == file);
    const QJsonValue request =
        far->journal({{"kind", "request"}, {"path", "/vantora/resource/uploadResourceFile"}}).at(0);
    QCOMPARE(request["body"].toString(),
             QString("(form of %1 bytes)").arg(FORM_BYTES + file.size()));
}

void tst_LiveUpload::everyUploadHasAnIdOfItsOwn()
{
    const Far far(false);
    PresenterClient client(nullptr, far->url());
    QVERIFY(client.doLogin("teacher", "secret"));
    QString firstId;
    QString secondId;
    QString path;
    QVERIFY(client.doUploadResource("a", "one", &firstId, &path));
    QCOMPARE(far->download(path), QByteArray("one"));
    QVERIFY(client.doUploadResource("a", "two", &secondId, &path));
    QCOMPARE(far->download(path), QByteArray("two"));
    QVERIFY(firstId != secondId);
}

void tst_LiveUpload::failedUploadLeavesTheOutputsAlone_data()
{
    QTest::addColumn<QJsonObject>("fault");
    QTest::newRow("error status") << QJsonObject{
        {"status", 500}, {"body", R"({"errorMsgKeys":["resource.error.disk"]})"}};
    QTest::newRow("no JSON") << QJsonObject{{"status", 200}, {"body", "<html>"}};
    QTest::newRow("no id") << QJsonObject{{"status", 200}, {"body", R"({"data":{"path":"p"}})"}};
    QTest::newRow("connection cut") << QJsonObject{{"hangUp", true}, {"times", 10}};
    QTest::newRow("not signed in") << QJsonObject();
}

void tst_LiveUpload::failedUploadLeavesTheOutputsAlone()
{
    QFETCH(QJsonObject, fault);
    const Far far(false);
    PresenterClient client(nullptr, far->url());
    QVERIFY(client.doLogin("teacher", "secret"));
    QString id;
    QString path;
    QVERIFY(client.doUploadResource("a", "one", &id, &path));
    QString untouchedId = "id";
    QString untouchedPath = "path";
    if (fault.isEmpty()) {
        far->remove("sign-ins");
    } else {
        fault.insert("path", "/vantora/resource/uploadResourceFile");
        far->post("faults", fault);
    }
    QVERIFY(!client.doUploadResource("a", "two", &untouchedId, &untouchedPath));
    QCOMPARE(untouchedId, QString("id"));
    QCOMPARE(untouchedPath, QString("path"));
}

void tst_LiveUpload::uploadedImageReachesTheLearners()
{
    const Far far(false, {"--learners", "1"});
    LiveSession session(*far, "websocket");
    QVERIFY(session.open());
    QTRY_COMPARE_WITH_TIMEOUT(far->learners().size(), 1, LONG_MS);
    const QByteArray image = "\x89PNG\r\n\x1a\n" + noise(1000);
    QString id;
    QString path;
    QVERIFY(session.client->doUploadResource("slide.png", image, &id, &path));
    session.channel->setCardImageRef(session.client->getServerUrl() + path);
    session.channel->showImageCard(false);

    const QString url =
        far->receivedOne("showCard")["data"]["components"][0]["blob"]["url"].toString();
    QVERIFY2(url.startsWith(far->url() + DOWNLOAD_PATH), qPrintable(url));
    QCOMPARE(far->download(url.mid(far->url().size())), image);
}

QTEST_GUILESS_MAIN(tst_LiveUpload)
#include "tst_liveupload.moc"
