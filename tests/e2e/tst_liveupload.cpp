#include "e2e/LiveSession.h"
#include "support/Text.h"

// Images go to the service's store and come back identical. The store knows an image by its first bytes
// and looks at no more of it.
class tst_LiveUpload : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void fileComesBackIdentical_data();
    void fileComesBackIdentical();
    void everyUploadHasAnIdOfItsOwn();
    void failedUploadLeavesTheOutputsAlone_data();
    void failedUploadLeavesTheOutputsAlone();
    void uploadedImageReachesTheLearners_data() { addWebSocketAndRobustRows(); }
    void uploadedImageReachesTheLearners();
};

namespace
{

const QString DOWNLOAD_PATH = u"/vantora/resource/downloadResourceFile?resourceId="_s;

// What the form adds around the file: its lines, the two fields and the name "slide 1.png".
constexpr int FORM_BYTES = 350;

const QByteArray PNG("\x89PNG\r\n\x1a\n");

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
        QTest::addRow("nothing but its first bytes%s", suffix) << tls << QByteArray("GIF89a");
        QTest::addRow("a zero%s", suffix) << tls << PNG + QByteArray("\0", 1);
        QTest::addRow("every byte%s", suffix) << tls << "\xff\xd8\xff" + everyByte();
        QTest::addRow("line ends%s", suffix) << tls << PNG + "\r\n\r\na\nb\r\r\n";
        QTest::addRow("a boundary's look-alike%s", suffix)
            << tls << PNG + lookAlike + "x" + lookAlike;
        QTest::addRow("five megabytes%s", suffix)
            << tls << QByteArray("RIFF\0\0\x50\0WEBP", 12) + noise(5 * 1024 * 1024);
    }
}

void tst_LiveUpload::fileComesBackIdentical()
{
    QFETCH(bool, tls);
    QFETCH(QByteArray, file);
    const Far far(tls);
    PresenterClient client(nullptr, far->url());
    QVERIFY(client.doLogin(u"teacher"_s, u"secret"_s));
    QString id;
    QString path;
    QVERIFY(client.doUploadResource(u"slide 1.png"_s, file, &id, &path));
    QVERIFY(!id.isEmpty());
    QCOMPARE(path, DOWNLOAD_PATH + id);
    const QByteArray back = far->download(path);
    QVERIFY(!back.isNull());
    QCOMPARE(back.size(), file.size());
    QVERIFY(back == file);
    const QJsonValue request =
        far->journal(u"request"_s, {{u"path"_s, u"/vantora/resource/uploadResourceFile"_s}}).at(0);
    QCOMPARE(request[u"body"_s].toString(), u"(form of %1 bytes)"_s.arg(FORM_BYTES + file.size()));
}

void tst_LiveUpload::everyUploadHasAnIdOfItsOwn()
{
    const Far far(false);
    PresenterClient client(nullptr, far->url());
    QVERIFY(client.doLogin(u"teacher"_s, u"secret"_s));
    QString firstId;
    QString secondId;
    QString path;
    QVERIFY(client.doUploadResource(u"a"_s, PNG + "one", &firstId, &path));
    QCOMPARE(far->download(path), PNG + "one");
    QVERIFY(client.doUploadResource(u"a"_s, PNG + "two", &secondId, &path));
    QCOMPARE(far->download(path), PNG + "two");
    QVERIFY(firstId != secondId);
}

void tst_LiveUpload::failedUploadLeavesTheOutputsAlone_data()
{
    QTest::addColumn<QJsonObject>("fault");
    const auto row = [](const char *name, const QJsonObject &fault) {
        QTest::newRow(name) << fault;
    };
    row("error status",
        {{u"status"_s, 500}, {u"body"_s, uR"({"errorMsgKeys":["resource.error.disk"]})"_s}});
    row("no JSON", {{u"status"_s, 200}, {u"body"_s, u"<html>"_s}});
    row("no id", {{u"status"_s, 200}, {u"body"_s, uR"({"data":{"path":"p"}})"_s}});
    row("connection cut", {{u"hangUp"_s, true}, {u"times"_s, 10}});
    row("not signed in", {});
}

void tst_LiveUpload::failedUploadLeavesTheOutputsAlone()
{
    QFETCH(QJsonObject, fault);
    const Far far(false);
    PresenterClient client(nullptr, far->url());
    QVERIFY(client.doLogin(u"teacher"_s, u"secret"_s));
    QString id;
    QString path;
    QVERIFY(client.doUploadResource(u"a"_s, PNG + "one", &id, &path));
    QString untouchedId = u"id"_s;
    QString untouchedPath = u"path"_s;
    if (fault.isEmpty()) {
        far->remove(u"sign-ins"_s);
    } else {
        fault.insert(u"path"_s, u"/vantora/resource/uploadResourceFile"_s);
        far->post(u"faults"_s, fault);
    }
    QVERIFY(!client.doUploadResource(u"a"_s, PNG + "two", &untouchedId, &untouchedPath));
    QCOMPARE(untouchedId, u"id"_s);
    QCOMPARE(untouchedPath, u"path"_s);
}

void tst_LiveUpload::uploadedImageReachesTheLearners()
{
    const Far far(rowWay(), words(u"--learners 1"_s));
    LiveSession session(*far, rowWay());
    QVERIFY(openWithLearners(session, 1));
    const QByteArray image = PNG + noise(1000);
    QString id;
    QString path;
    QVERIFY(session.client->doUploadResource(u"slide.png"_s, image, &id, &path));
    session.channel->setCardImageRef(session.client->getServerUrl() + path);
    session.channel->showImageCard(false);

    const QString url = far->shownImage();
    QVERIFY2(url.startsWith(far->url() + DOWNLOAD_PATH), qPrintable(url));
    QCOMPARE(far->download(url.mid(far->url().size())), image);
}

QTEST_GUILESS_MAIN(tst_LiveUpload)
#include "tst_liveupload.moc"
