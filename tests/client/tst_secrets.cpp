// What the host entrusts to the client, and what the service entrusts to it in cookies, never reaches
// the debug stream, whatever becomes of the request.

#include "client/PresenterClient.h"
#include "support/Text.h"

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
void signIn(PresenterClient &client)
{
    QString registration;
    client.checkServer(QString::fromUtf8(HTTP_USER), QString::fromUtf8(HTTP_PASSWORD));
    client.doLogin(u"ann"_s, QString::fromUtf8(PASSWORD));
    client.doLogin(u"ann"_s, u"device"_s, QString::fromUtf8(DEVICE_TOKEN));
    client.doLoginWithOAuth(u"x"_s, QString::fromUtf8(OAUTH_CODE), registration);
    registration = QString::fromUtf8(REGISTRATION);
    client.doLoginWithOAuth(u"x"_s, QString::fromUtf8(OAUTH_CODE), registration);
    client.doGetAccessToken(u"ann"_s, QString::fromUtf8(PASSWORD), u"device"_s, u"name"_s);
    client.doGetOAuthAccessToken(u"x"_s, QString::fromUtf8(OAUTH_CODE), u"device"_s, u"name"_s,
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
    client.doUploadResource(u"slide.png"_s, UPLOADED, &id, &path);
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

class tst_Secrets : public QObject
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

void tst_Secrets::operationsThatFail_data()
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

void tst_Secrets::operationsThatFail()
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

void tst_Secrets::operationsThatAreAborted()
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
    QCOMPARE(log.count(u"ERROR: Operation canceled\nRESPONSE: "_s), 11);
    compareWithSecrets(log.messages());
    QCOMPARE(service.faults() + other.faults(), QStringList());
}

void tst_Secrets::refusedConnections()
{
    const DeadPort port;
    PresenterClient client(nullptr, u"http://127.0.0.1:%1"_s.arg(quint16(port)));
    LogCapture log;
    signIn(client);
    upload(client);
    compareWithSecrets(log.messages());
}

void tst_Secrets::untrustedConnections()
{
    TestCertificates certificates;
    certificates.trustNobody();
    RestService service(certificates.issue(u"localhost"_s).serverConfiguration());
    PresenterClient client(nullptr, service.url());
    LogCapture log;
    signIn(client);
    upload(client);
    compareWithSecrets(log.messages());
    QVERIFY(service.requests().isEmpty());
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

void tst_Secrets::wholeSession_data()
{
    QTest::addColumn<QString>("userInfo");
    QTest::newRow("plain") << "";
    QTest::newRow("collaboration server with credentials") << "s3cret-user:s3cret-word@";
}

void tst_Secrets::wholeSession()
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
        QVERIFY(client.doLogin(u"ann"_s, QString::fromUtf8(PASSWORD)));

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

QTEST_GUILESS_MAIN(tst_Secrets)
#include "tst_secrets.moc"
