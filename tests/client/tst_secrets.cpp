// What the host entrusts to the client, and what the service entrusts to it in cookies, never reaches
// the debug stream, whatever becomes of the request.

#include "client/SessionTest.h"
#include "client/UploadForm.h"

#include "sockjs/DeadPort.h"
#include "support/LogCapture.h"
#include "support/TestCertificates.h"

namespace
{

// Each is unique, so that finding it anywhere means that it was written.
const char PASSWORD[] = "s3cret-password-0001";
const char HTTP_USER[] = "s3cret-httpuser-0002";
const char HTTP_PASSWORD[] = "s3cret-httppassword-0003";
const char DEVICE_TOKEN[] = "s3cret-devicetoken-0004";
const char OAUTH_CODE[] = "s3cret-oauthcode-0005";
const char REGISTRATION[] = R"({"name":"s3cret-registration-0006"})";
const char UPLOADED[] = "s3cret-upload-0007";
const char COOKIE[] = "s3cret-cookie-0008";
const QByteArray SET_COOKIE = "Set-Cookie: SESSION=" + QByteArray(COOKIE) + "; Path=/\r\n";

void useSecrets(PresenterClient &client)
{
    const QString password = QString::fromUtf8(PASSWORD);
    const QString code = QString::fromUtf8(OAUTH_CODE);
    QString registration;
    client.checkServer(QString::fromUtf8(HTTP_USER), QString::fromUtf8(HTTP_PASSWORD));
    client.doLogin(u"ann"_s, password);
    client.doLogin(u"ann"_s, u"device"_s, QString::fromUtf8(DEVICE_TOKEN));
    client.doLoginWithOAuth(u"x"_s, code, registration);
    registration = QString::fromUtf8(REGISTRATION);
    client.doLoginWithOAuth(u"x"_s, code, registration);
    client.doGetAccessToken(u"ann"_s, password, u"device"_s, u"name"_s);
    client.doGetOAuthAccessToken(u"x"_s, code, u"device"_s, u"name"_s, registration);
    client.reLogin();
    client.sendKeepAlive();
    client.doGetUserName();
    QString id;
    QString path;
    client.doUploadResource(u"slide.png"_s, UPLOADED, &id, &path);
}

QByteArray passwordBody(const QByteArray &deviceFields = {})
{
    return "{\"userId\":\"ann\",\"password\":\"" + QByteArray(PASSWORD) + "\"," + deviceFields
        + "\"sourceSystem\":\"Corvel\"}";
}

// What that asks for, in order.
QVector<Operation> secretOperations(const QString &url)
{
    const QByteArray device = "\"deviceId\":\"device\",\"deviceName\":\"name\",";
    return {
        {CHECK, ""},
        {LOGIN, passwordBody()},
        {LOGIN,
         "{\"userId\":\"ann\",\"deviceId\":\"device\",\"deviceAccessToken\":\""
             + QByteArray(DEVICE_TOKEN) + "\",\"sourceSystem\":\"Corvel\"}"},
        {OAUTH, oauthBody(url, OAUTH_CODE)},
        {REGISTER, QByteArray(REGISTRATION).chopped(1) + ",\"sourceSystem\":\"Corvel\"}"},
        {LOGIN, passwordBody(device)},
        {OAUTH, oauthBody(url, OAUTH_CODE, device)},
        {LOGIN, passwordBody()},
        {KEEP_ALIVE, ""},
        {USER, "{}"},
        {UPLOAD, form("slide.png", UPLOADED)},
    };
}

void compareWithSecrets(const QStringList &lines)
{
    const QString all = lines.join(QLatin1Char('\n'));
    QVERIFY(!all.isEmpty());
    for (const char *secret : {PASSWORD, HTTP_USER, HTTP_PASSWORD, DEVICE_TOKEN, OAUTH_CODE,
                               REGISTRATION, UPLOADED, COOKIE}) {
        QVERIFY2(!all.contains(QString::fromUtf8(secret)), secret);
        const QString encoded = QString::fromLatin1(QByteArray(secret).toBase64());
        QVERIFY2(!all.contains(encoded.chopped(4)), secret);
    }
    const QString credentials =
        QString::fromLatin1((QByteArray(HTTP_USER) + ':' + HTTP_PASSWORD).toBase64());
    QVERIFY(!all.contains(credentials));
    QVERIFY(!all.contains(u"s3cret"_s));
}

} // namespace

class tst_Secrets : public SessionTest
{
    Q_OBJECT

private Q_SLOTS:
    void operationsThatSucceed();
    void operationsThatFail_data();
    void operationsThatFail();
    void operationsThatAreAborted();
    void refusedConnections();
    void untrustedConnections();
    void credentialsInTheAddress_data();
    void credentialsInTheAddress();
    void wholeSession_data();
    void wholeSession();
};

void tst_Secrets::operationsThatSucceed()
{
    service->expect(CHECK).status("401 Who", "{}", CHALLENGE);
    for (const Operation &each : secretOperations(service->url())) {
        service->expect(each.path, each.body)
            .status(
                "200 OK",
                R"({"infoMsgs":["success"],"data":{"userLoginId":"ann","deviceAccessToken":"t","id":"1"}})",
                SET_COOKIE);
    }
    LogCapture log;
    useSecrets(*client);
    QCOMPARE(service->lastRequest().headerLines("cookie").size(), 1);
    QCOMPARE(service->lastRequest().headerLines("authorization").size(), 1);
    compareWithSecrets(log.messages());
}

void tst_Secrets::operationsThatFail_data()
{
    addReplyColumns();
    addReply("refused", "403 No", R"({"errorMsgKeys":["a.error"]})");
    addReply("broken", "500 Broken", NO_JSON);
    addReply("no json", "200 OK", NO_JSON);
    addReply("registration asked for", "200 OK", R"({"infoMsgKeys":["success.registration"]})");
}

void tst_Secrets::operationsThatFail()
{
    QFETCH(QByteArray, status);
    QFETCH(QByteArray, reply);
    for (const Operation &each : secretOperations(service->url()))
        service->expect(each.path, each.body).status(status, reply);
    LogCapture log;
    useSecrets(*client);
    compareWithSecrets(log.messages());
}

void tst_Secrets::operationsThatAreAborted()
{
    // The handling of another request ends each wait, which aborts what it waited for.
    RestService other;
    for (const Operation &each : secretOperations(service->url())) {
        other.expect("/x");
        service->expect(each.path, each.body).silence().meanwhile([&] {
            client->doRequest(false, QUrl(other.url("/x")), QByteArray(), nullptr, nullptr, false);
        });
    }
    LogCapture log;
    useSecrets(*client);
    QCOMPARE(log.count(u"ERROR: Operation canceled\nRESPONSE: "_s), 11);
    compareWithSecrets(log.messages());
    QCOMPARE(other.faults(), QStringList());
}

void tst_Secrets::refusedConnections()
{
    const DeadPort port;
    PresenterClient refused(nullptr, localUrl(port));
    LogCapture log;
    useSecrets(refused);
    compareWithSecrets(log.messages());
}

void tst_Secrets::untrustedConnections()
{
    TestCertificates certificates;
    certificates.trustNobody();
    serve(certificates.issue(u"localhost"_s).serverConfiguration());
    LogCapture log;
    useSecrets(*client);
    compareWithSecrets(log.messages());
    QVERIFY(service->requests().isEmpty());
}

void tst_Secrets::credentialsInTheAddress_data()
{
    QTest::addColumn<QString>("userInfo");
    QTest::newRow("user and password") << "s3cret-user:s3cret-word";
    QTest::newRow("user") << "s3cret-user";
    QTest::newRow("encoded") << "s3cret%40user:s3cret%2F%3F%23%3A%20word";
    QTest::newRow("beyond ASCII") << u"s3cret-üser:s3cret-wörd"_s;
}

void tst_Secrets::credentialsInTheAddress()
{
    QFETCH(QString, userInfo);
    PresenterClient named(nullptr, service->url().replace("://", "://" + userInfo + '@'));
    service->expect(USER, "{}").status("500 Broken");
    LogCapture log;
    named.doGetUserName();
    QCOMPARE(log.messages(),
             (QStringList{"[REST Response] ",
                          "ERROR: Error transferring " + service->url()
                              + "/vantora/login/user - server replied: Broken\nRESPONSE: "}));
}

void tst_Secrets::wholeSession_data()
{
    QTest::addColumn<QString>("userInfo");
    QTest::newRow("plain") << "";
    QTest::newRow("collaboration server with credentials") << "s3cret-user:s3cret-word@";
}

void tst_Secrets::wholeSession()
{
    QFETCH(QString, userInfo);
    const QString url = bus->url().replace("://", "://" + userInfo);
    LogCapture log;
    service->expect(LOGIN, passwordBody()).status("200 OK", SUCCESS, SET_COOKIE);
    QVERIFY(client->doLogin(u"ann"_s, QString::fromUtf8(PASSWORD)));
    expectCreation();
    QVERIFY(create());
    expectAll(startOperations(url));
    QVERIFY(openChannel());
    QTRY_COMPARE(bus->messages().size(), 3);
    expectStop();
    delete client;
    QTRY_VERIFY(!bus->hasConnection());
    // The reply that names the server is written in full, like every reply.
    QStringList lines = log.messages();
    lines.removeOne("[REST Response] " + collabUrlReply(url));
    compareWithSecrets(lines);
    QVERIFY(lines.contains("TOKEN " + bus->url()));
    QVERIFY(lines.contains("Connecting to collaboration server: " + bus->url() + " [websocket]"));
}

QTEST_GUILESS_MAIN(tst_Secrets)
#include "tst_secrets.moc"
