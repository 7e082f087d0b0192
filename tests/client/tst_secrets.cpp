// What the host entrusts to the client, and what the service entrusts to it in cookies, never reaches
// the debug stream, whatever becomes of the request.

#include "client/PresenterClient.h"

#include "client/RestService.h"
#include "client/RunningSession.h"
#include "client/UploadForm.h"
#include "collab/PresenterCollab.h"
#include "sockjs/DeadPort.h"
#include "support/EventBusServer.h"
#include "support/LogCapture.h"
#include "support/TestCertificates.h"

#include <QtTest/QtTest>

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

QString text(const char *value)
{
    return QString::fromUtf8(value);
}

void signIn(PresenterClient &client)
{
    QString registration;
    client.checkServer(text(HTTP_USER), text(HTTP_PASSWORD));
    client.doLogin(text("ann"), text(PASSWORD));
    client.doLogin(text("ann"), text("device"), text(DEVICE_TOKEN));
    client.doLoginWithOAuth(text("x"), text(OAUTH_CODE), registration);
    registration = text(REGISTRATION);
    client.doLoginWithOAuth(text("x"), text(OAUTH_CODE), registration);
    client.doGetAccessToken(text("ann"), text(PASSWORD), text("device"), text("name"));
    client.doGetOAuthAccessToken(text("x"), text(OAUTH_CODE), text("device"), text("name"),
                                 registration);
    client.reLogin();
    client.sendKeepAlive();
    client.doGetUserName();
}

const QByteArray UPLOAD_PATH = "/vantora/resource/uploadResourceFile";
const QByteArray UPLOAD_FORM = form("slide.png", UPLOADED);

void upload(PresenterClient &client)
{
    QString id;
    QString path;
    client.doUploadResource(text("slide.png"), UPLOADED, &id, &path);
}

// What signIn() asks for, in order.
QList<QPair<QByteArray, QByteArray>> signInRequests(const QByteArray &url)
{
    const QByteArray login = "/vantora/login/submit";
    const QByteArray oauth = "/vantora/login/oauth/x/callback";
    const QByteArray corvel = "\"sourceSystem\":\"Corvel\"}";
    const QByteArray codeAndUrl =
        "{\"code\":\"" + QByteArray(OAUTH_CODE) + "\",\"callbackUrl\":\"" + url + "\",";
    const QByteArray device = "\"deviceId\":\"device\",\"deviceName\":\"name\",";
    const QByteArray password =
        "{\"userId\":\"ann\",\"password\":\"" + QByteArray(PASSWORD) + "\",";
    return {
        {"/vantora", ""},
        {login, password + corvel},
        {login,
         "{\"userId\":\"ann\",\"deviceId\":\"device\",\"deviceAccessToken\":\""
             + QByteArray(DEVICE_TOKEN) + "\"," + corvel},
        {oauth, codeAndUrl + corvel},
        {"/vantora/register/oauth/submit", QByteArray(REGISTRATION).chopped(1) + "," + corvel},
        {login, password + device + corvel},
        {oauth, codeAndUrl + device + corvel},
        {login, password + corvel},
        {"/vantora/login/keepSessionAlive", ""},
        {"/vantora/login/user", "{}"},
    };
}

void compareWithSecrets(const QStringList &lines)
{
    const QString all = lines.join(QLatin1Char('\n'));
    QVERIFY(!all.isEmpty());
    for (const char *secret : {PASSWORD, HTTP_USER, HTTP_PASSWORD, DEVICE_TOKEN, OAUTH_CODE,
                               REGISTRATION, UPLOADED, COOKIE}) {
        QVERIFY2(!all.contains(text(secret)), secret);
        const QString encoded = QString::fromLatin1(QByteArray(secret).toBase64());
        QVERIFY2(!all.contains(encoded.chopped(4)), secret);
    }
    const QString credentials =
        QString::fromLatin1((QByteArray(HTTP_USER) + ':' + HTTP_PASSWORD).toBase64());
    QVERIFY(!all.contains(credentials));
    QVERIFY(!all.contains(text("s3cret")));
}

} // namespace

class tst_secrets : public QObject
{
    Q_OBJECT

private slots:
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

void tst_secrets::operationsThatSucceed()
{
    RestService service;
    PresenterClient client(nullptr, service.url());
    service.expect("/vantora")
        .status("401 Who", "{}", "WWW-Authenticate: Basic realm=\"school\"\r\n");
    for (const auto &request : signInRequests(service.url().toUtf8())) {
        service.expect(request.first, request.second)
            .status(
                "200 OK",
                R"({"infoMsgs":["success"],"data":{"userLoginId":"ann","deviceAccessToken":"t"}})",
                "Set-Cookie: SESSION=" + QByteArray(COOKIE) + "; Path=/\r\n");
    }
    service.expect(UPLOAD_PATH, UPLOAD_FORM).json(R"({"data":{"id":"1","path":"/p"}})");
    LogCapture log;
    signIn(client);
    upload(client);
    QCOMPARE(service.lastRequest().headerLines("cookie").size(), 1);
    QCOMPARE(service.lastRequest().headerLines("authorization").size(), 1);
    compareWithSecrets(log.messages());
    QCOMPARE(service.faults(), QStringList());
}

void tst_secrets::operationsThatFail_data()
{
    QTest::addColumn<QByteArray>("status");
    QTest::addColumn<QByteArray>("reply");
    QTest::newRow("refused") << QByteArray("403 No")
                             << QByteArray(R"({"errorMsgKeys":["a.error"]})");
    QTest::newRow("broken") << QByteArray("500 Broken") << QByteArray("<html>");
    QTest::newRow("no json") << QByteArray("200 OK") << QByteArray("<html>");
    QTest::newRow("registration asked for")
        << QByteArray("200 OK") << QByteArray(R"({"infoMsgKeys":["success.registration"]})");
}

void tst_secrets::operationsThatFail()
{
    QFETCH(QByteArray, status);
    QFETCH(QByteArray, reply);
    RestService service;
    PresenterClient client(nullptr, service.url());
    for (const auto &request : signInRequests(service.url().toUtf8()))
        service.expect(request.first, request.second).status(status, reply);
    service.expect(UPLOAD_PATH, UPLOAD_FORM).status(status, reply);
    LogCapture log;
    signIn(client);
    upload(client);
    compareWithSecrets(log.messages());
    QCOMPARE(service.faults(), QStringList());
}

void tst_secrets::operationsThatAreAborted()
{
    // The handling of another request ends each wait, which aborts what it waited for.
    RestService service;
    RestService other;
    PresenterClient client(nullptr, service.url());
    for (const auto &request : signInRequests(service.url().toUtf8())) {
        other.expect("/x");
        service.expect(request.first, request.second).silence().meanwhile([&] {
            client.doRequest(false, QUrl(other.url() + "/x"), QByteArray(), nullptr, nullptr,
                             false);
        });
    }
    other.expect("/x");
    service.expect(UPLOAD_PATH, UPLOAD_FORM).silence().meanwhile([&] {
        client.doRequest(false, QUrl(other.url() + "/x"), QByteArray(), nullptr, nullptr, false);
    });
    LogCapture log;
    signIn(client);
    upload(client);
    QCOMPARE(log.count(text("ERROR: Operation canceled\nRESPONSE: ")), 11);
    compareWithSecrets(log.messages());
    QCOMPARE(service.faults() + other.faults(), QStringList());
}

void tst_secrets::refusedConnections()
{
    const DeadPort port;
    PresenterClient client(nullptr, QStringLiteral("http://127.0.0.1:%1").arg(quint16(port)));
    LogCapture log;
    signIn(client);
    upload(client);
    compareWithSecrets(log.messages());
}

void tst_secrets::untrustedConnections()
{
    TestCertificates certificates;
    certificates.trustNobody();
    RestService service(certificates.issue(text("localhost")).serverConfiguration());
    PresenterClient client(nullptr, service.url());
    LogCapture log;
    signIn(client);
    upload(client);
    compareWithSecrets(log.messages());
    QVERIFY(service.requests().isEmpty());
}

void tst_secrets::credentialsInTheAddress_data()
{
    QTest::addColumn<QString>("userInfo");
    QTest::newRow("user and password") << "s3cret-user:s3cret-word";
    QTest::newRow("user") << "s3cret-user";
    QTest::newRow("encoded") << "s3cret%40user:s3cret%2F%3F%23%3A%20word";
    QTest::newRow("beyond ASCII") << QString::fromUtf8("s3cret-üser:s3cret-wörd");
}

void tst_secrets::credentialsInTheAddress()
{
    QFETCH(QString, userInfo);
    RestService service;
    PresenterClient client(nullptr, QString(service.url()).replace("://", "://" + userInfo + '@'));
    service.expect("/vantora/login/user", "{}").status("500 Broken");
    LogCapture log;
    client.doGetUserName();
    QCOMPARE(log.messages(),
             (QStringList{"[REST Response] ",
                          "ERROR: Error transferring " + service.url()
                              + "/vantora/login/user - server replied: Broken\nRESPONSE: "}));
    QCOMPARE(service.faults(), QStringList());
}

void tst_secrets::wholeSession_data()
{
    QTest::addColumn<QString>("userInfo");
    QTest::newRow("plain") << "";
    QTest::newRow("collaboration server with credentials") << "s3cret-user:s3cret-word@";
}

void tst_secrets::wholeSession()
{
    QFETCH(QString, userInfo);
    EventBusServer bus;
    RestService service;
    LogCapture log;
    {
        PresenterClient client(nullptr, service.url());
        service
            .expect("/vantora/login/submit",
                    "{\"userId\":\"ann\",\"password\":\"" + QByteArray(PASSWORD)
                        + "\",\"sourceSystem\":\"Corvel\"}")
            .status("200 OK", R"({"infoMsgs":["success"]})",
                    "Set-Cookie: SESSION=" + QByteArray(COOKIE) + "; Path=/\r\n");
        QVERIFY(client.doLogin(text("ann"), text(PASSWORD)));

        service.expect("/vantora/login/user", "{}").json(R"({"data":{"userLoginId":"ann"}})");
        service.expect("/vantora/session/create", "{}").json(R"({"data":{"sessionCode":"CODE"}})");
        QVERIFY(client.doStartSession(QString()));

        const QByteArray url = bus.url().replace("://", "://" + userInfo).toUtf8();
        expectStartAndJoin(service, "websocket", url);
        PresenterCollab *channel = nullptr;
        QVERIFY(client.startWebsocket(&channel));
        QTRY_COMPARE(bus.messages().size(), 3);

        service.expect("/vantora/session/stop", R"({"sessionToken":"TOKEN"})");
    }
    QTRY_VERIFY(!bus.hasConnection());
    // The reply that names the server is written in full, like every reply.
    QStringList lines = log.messages();
    lines.removeOne("[REST Response] {\"data\":{\"url\":\""
                    + bus.url().replace("://", "://" + userInfo) + "\"}}");
    compareWithSecrets(lines);
    QVERIFY(lines.contains("TOKEN " + bus.url()));
    QVERIFY(lines.contains("Connecting to collaboration server: " + bus.url() + " [websocket]"));
    QCOMPARE(service.faults(), QStringList());
}

QTEST_GUILESS_MAIN(tst_secrets)
#include "tst_secrets.moc"
