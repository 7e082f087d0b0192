#include "client/PresenterClient.h"
#include "support/Text.h"

#include "client/RestService.h"
#include "sockjs/DeadPort.h"
#include "support/LogCapture.h"

#include <QtCore/QBuffer>
#include <QtCore/QElapsedTimer>
#include <QtCore/QJsonDocument>
#include <QtCore/QMetaMethod>
#include <QtNetwork/QNetworkAccessManager>
#include <QtNetwork/QNetworkCookieJar>
#include <QtTest/QtTest>

#include <zlib.h>

namespace
{

const QByteArray PATH = "/vantora/test";

// A client whose handlers note what they were given.
class Client : public PresenterClient
{
public:
    using PresenterClient::PresenterClient;

    bool request(const QByteArray &body = {}, bool multipart = false)
    {
        succeeded.clear();
        failed.clear();
        doRequest(true, QUrl(getServerUrl() + QString::fromUtf8(PATH)), body, SUCCESS, FAILURE,
                  multipart);
        return !succeeded.isEmpty();
    }

    void onSuccess(QString body) { succeeded.append(body); }
    void onFailure(QNetworkReply *reply, QString body)
    {
        failed.append(body);
        error = reply->error();
    }

    static const SuccessHandler SUCCESS;
    static const FailureHandler FAILURE;

    QStringList succeeded;
    QStringList failed;
    QNetworkReply::NetworkError error = QNetworkReply::NoError;
};

const PresenterClient::SuccessHandler Client::SUCCESS =
    static_cast<PresenterClient::SuccessHandler>(&Client::onSuccess);
const PresenterClient::FailureHandler Client::FAILURE =
    static_cast<PresenterClient::FailureHandler>(&Client::onFailure);

// A reply that no request of the client asked for.
class StrayReply : public QNetworkReply
{
public:
    explicit StrayReply(const QByteArray &body)
    {
        m_body.setData(body);
        m_body.open(QIODevice::ReadOnly);
        open(QIODevice::ReadOnly);
    }
    void abort() override { }
    qint64 bytesAvailable() const override
    {
        return m_body.bytesAvailable() + QNetworkReply::bytesAvailable();
    }

protected:
    qint64 readData(char *data, qint64 size) override { return m_body.read(data, size); }

private:
    QBuffer m_body;
};

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

QVariant json(const char *text)
{
    return QJsonDocument::fromJson(text).toVariant();
}

} // namespace

class tst_RequestEngine : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void declaresItsSignalAndSlotsInOrder();
    void boundaryIsThatOfTheForms();
    void newClientKnowsNothing();
    void oneTrailingSlashIsDropped_data();
    void oneTrailingSlashIsDropped();

    void everyRequestIsAPostOfJsonWithoutCompression();
    void formsNameTheirBoundary();
    void textBodiesAreSentAsUtf8();
    void cookieJarIsTheClients();
    void cookiesOfTheServiceRideAlong();
    void requestWithoutWaitingReturnsAtOnce();
    void missingHandlersAreNotRun();

    void bodyReachesTheSuccessHandlerAndTheLog_data();
    void bodyReachesTheSuccessHandlerAndTheLog();
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
    void abortedRequestRunsTheFailureHandler();
    void errorStatusRunsTheFailureHandler_data();
    void errorStatusRunsTheFailureHandler();
    void successStatusIsNotLookedAt();
    void percentSignsInAFailedBodyAreLoggedAsTheyAre();
    void connectionClosedBeforeTheReplyIsAFailure();
    void refusedConnectionIsAFailure();
    void clientWithoutServerFails();

    void redirectMovesTheBaseAddress_data();
    void redirectMovesTheBaseAddress();
    void redirectElsewhereIsAnOrdinaryReply_data();
    void redirectElsewhereIsAnOrdinaryReply();
    void followedRedirectRunsNoHandlerAndIsNotRepeated();
    void nextRequestGoesToTheAddressRedirectedTo();

    void firstErrorKeyIsFound_data();
    void firstErrorKeyIsFound();

    void strayReplyIsDroppedWithoutAHandler();

    void httpCredentialsAreGivenOnRequest();
    void httpUserAloneIsGiven();
    void httpPasswordAloneIsGiven();
    void wrongHttpCredentialsFail();
};

void tst_RequestEngine::declaresItsSignalAndSlotsInOrder()
{
    const QMetaObject &meta = PresenterClient::staticMetaObject;
    QCOMPARE(meta.className(), "PresenterClient");
    QCOMPARE(meta.superClass(), &QObject::staticMetaObject);
    QCOMPARE(meta.propertyCount(), meta.propertyOffset());

    QStringList methods;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
        const QMetaMethod method = meta.method(i);
        const char *kind = method.methodType() == QMetaMethod::Signal ? "signal" : "slot";
        const char *access = method.access() == QMetaMethod::Public ? "public" : "protected";
        methods.append(u"%1 %2 %3"_s.arg(QLatin1String(access), QLatin1String(kind),
                                         QString::fromLatin1(method.methodSignature())));
    }
    QCOMPARE(methods,
             (QStringList{
                 "public signal requestProcessed()",
                 "protected slot slotRequestFinished(QNetworkReply*)",
                 "protected slot onPingTimer()",
                 "protected slot slotSslErrors(QNetworkReply*,QList<QSslError>)",
                 "protected slot authenticationRequired(QNetworkReply*,QAuthenticator*)",
             }));
}

void tst_RequestEngine::boundaryIsThatOfTheForms()
{
    QCOMPARE(PresenterClient::MULTIPART_BOUNDARY, u"----boundary"_s);
}

void tst_RequestEngine::newClientKnowsNothing()
{
    QObject parent;
    auto *client = new PresenterClient(&parent, u"https://classroom.example.com"_s);
    QCOMPARE(client->parent(), &parent);
    QVERIFY(!client->isLoggedIn());
    QVERIFY(!client->isServerReachable());
    QVERIFY(client->getLastErrorKey().isNull());
    QVERIFY(client->getSessionCode().isNull());
    QVERIFY(client->getSessionToken().isNull());
    QVERIFY(client->getUserToken().isNull());
    QVERIFY(client->getCollabServerUrl().isNull());
    QVERIFY(client->getLearners().isEmpty());
    QCOMPARE(client->findChild<QNetworkAccessManager *>()->parent(), client);
    QCOMPARE(client->findChild<QNetworkCookieJar *>()->parent(), client);
}

void tst_RequestEngine::oneTrailingSlashIsDropped_data()
{
    QTest::addColumn<QString>("given");
    QTest::addColumn<QString>("kept");
    QTest::newRow("no slash") << "https://h"
                              << "https://h";
    QTest::newRow("one slash") << "https://h/"
                               << "https://h";
    QTest::newRow("two slashes") << "https://h//"
                                 << "https://h/";
    QTest::newRow("path") << "https://h/p/"
                          << "https://h/p";
    QTest::newRow("nothing but a slash") << "/"
                                         << "";
    QTest::newRow("empty") << ""
                           << "";
}

void tst_RequestEngine::oneTrailingSlashIsDropped()
{
    QFETCH(QString, given);
    QFETCH(QString, kept);
    QCOMPARE(PresenterClient(nullptr, given).getServerUrl(), kept);
}

// ---- Requests -------------------------------------------------------------------------------------

void tst_RequestEngine::everyRequestIsAPostOfJsonWithoutCompression()
{
    RestService service;
    Client client(nullptr, service.url() + QLatin1Char('/'));
    service.expect(PATH, "{\"a\":1}");
    QVERIFY(client.request("{\"a\":1}"));

    const RestRequest request = service.lastRequest();
    QCOMPARE(request.requestLine(), QByteArray("POST /vantora/test HTTP/1.1"));
    QCOMPARE(request.headerLines("content-type"),
             QList<QByteArray>{"Content-Type: application/json; charset=UTF-8"});
    QCOMPARE(request.headerLines("accept-encoding"),
             QList<QByteArray>{"accept-encoding: identity"});
    QCOMPARE(request.headerLines("content-length"), QList<QByteArray>{"Content-Length: 7"});
    QCOMPARE(service.faults(), QStringList());
}

void tst_RequestEngine::formsNameTheirBoundary()
{
    RestService service;
    Client client(nullptr, service.url());
    service.expect(PATH, "------boundary--\r\n");
    QVERIFY(client.request("------boundary--\r\n", true));
    QCOMPARE(service.lastRequest().headerLines("content-type"),
             QList<QByteArray>{
                 "Content-Type: multipart/form-data; charset=UTF-8; boundary=----boundary"});
    QCOMPARE(service.lastRequest().headerLines("accept-encoding"),
             QList<QByteArray>{"accept-encoding: identity"});
    QCOMPARE(service.faults(), QStringList());
}

void tst_RequestEngine::textBodiesAreSentAsUtf8()
{
    RestService service;
    Client client(nullptr, service.url());
    const QUrl url(service.url() + QString::fromUtf8(PATH));

    service.expect(PATH, "\"\xc3\xa4 \xe2\x82\xac \xf0\x9f\x8d\x8e\"");
    client.doRequest(true, url, u"\"ä € 🍎\""_s, Client::SUCCESS, Client::FAILURE, false);
    QCOMPARE(client.succeeded, QStringList{"{}"});

    service.expect(PATH, "\xc3\xa4");
    client.doRequest(true, url, u"ä"_s, Client::SUCCESS);
    QCOMPARE(client.succeeded, (QStringList{"{}", "{}"}));
    QCOMPARE(service.lastRequest().headerLines("content-type"),
             QList<QByteArray>{"Content-Type: application/json; charset=UTF-8"});

    service.expect(PATH, "form");
    client.doRequest(true, url, u"form"_s, Client::SUCCESS, Client::FAILURE, true);
    QCOMPARE(service.lastRequest().headerLines("content-type"),
             QList<QByteArray>{
                 "Content-Type: multipart/form-data; charset=UTF-8; boundary=----boundary"});
    QVERIFY(client.failed.isEmpty());
    QCOMPARE(service.faults(), QStringList());
}

void tst_RequestEngine::cookieJarIsTheClients()
{
    PresenterClient client(nullptr, QString());
    const auto *manager = client.findChild<QNetworkAccessManager *>();
    QCOMPARE(manager->parent(), &client);
    QCOMPARE(manager->cookieJar()->parent(), &client);
}

void tst_RequestEngine::cookiesOfTheServiceRideAlong()
{
    RestService service;
    Client client(nullptr, service.url());
    service.expect(PATH).status("200 OK", "{}",
                                "Set-Cookie: SESSION=a%20b%1%%; Path=/vantora\r\n"
                                "Set-Cookie: other=2; Path=/elsewhere\r\n");
    QVERIFY(client.request());
    QVERIFY(service.lastRequest().headerLines("cookie").isEmpty());

    service.expect(PATH);
    QVERIFY(client.request());
    QCOMPARE(service.lastRequest().headerLines("cookie"),
             QList<QByteArray>{"Cookie: SESSION=a%20b%1%%"});

    // Another client starts without them.
    Client stranger(nullptr, service.url());
    service.expect(PATH);
    QVERIFY(stranger.request());
    QVERIFY(service.lastRequest().headerLines("cookie").isEmpty());
    QCOMPARE(service.faults(), QStringList());
}

void tst_RequestEngine::requestWithoutWaitingReturnsAtOnce()
{
    RestService service;
    Client client(nullptr, service.url());
    QSignalSpy processed(&client, &PresenterClient::requestProcessed);
    service.expect(PATH).json("{\"late\":true}");
    client.doRequest(false, QUrl(service.url() + QString::fromUtf8(PATH)), QByteArray(),
                     Client::SUCCESS, Client::FAILURE, false);
    QVERIFY(service.requests().isEmpty());
    QVERIFY(client.succeeded.isEmpty());

    QTRY_COMPARE(processed.count(), 1);
    QCOMPARE(client.succeeded, QStringList{"{\"late\":true}"});
    QCOMPARE(service.faults(), QStringList());
}

void tst_RequestEngine::missingHandlersAreNotRun()
{
    RestService service;
    Client client(nullptr, service.url());
    QSignalSpy processed(&client, &PresenterClient::requestProcessed);
    const QUrl url(service.url() + QString::fromUtf8(PATH));

    service.expect(PATH);
    client.doRequest(true, url, QByteArray(), nullptr, Client::FAILURE, false);
    service.expect(PATH).status("500 Broken");
    client.doRequest(true, url, QByteArray(), Client::SUCCESS, nullptr, false);

    QCOMPARE(processed.count(), 2);
    QVERIFY(client.succeeded.isEmpty());
    QVERIFY(client.failed.isEmpty());
    QCOMPARE(service.faults(), QStringList());
}

// ---- Replies --------------------------------------------------------------------------------------

void tst_RequestEngine::bodyReachesTheSuccessHandlerAndTheLog_data()
{
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<QString>("text");
    QTest::newRow("empty") << QByteArray() << QString();
    QTest::newRow("json") << QByteArray("{\"a\":\"b\"}") << u"{\"a\":\"b\"}"_s;
    QTest::newRow("no json") << QByteArray("<html>") << u"<html>"_s;
    QTest::newRow("utf-8") << QByteArray("\xc3\xa4 \xf0\x9f\x8d\x8e") << u"ä 🍎"_s;
    QTest::newRow("quotes and lines") << QByteArray("\"a\"\n\\ \t") << u"\"a\"\n\\ \t"_s;
    QTest::newRow("percent signs") << QByteArray("%0 %1 %%") << u"%0 %1 %%"_s;
    QTest::newRow("cut at NUL") << QByteArray("{\"a\":1}\0{\"b\":2}", 15) << u"{\"a\":1}"_s;
    QTest::newRow("NUL first") << QByteArray("\0{}", 3) << QString();
    QTest::newRow("large") << QByteArray(300000, 'x') << QString(300000, QLatin1Char('x'));
}

void tst_RequestEngine::bodyReachesTheSuccessHandlerAndTheLog()
{
    QFETCH(QByteArray, body);
    QFETCH(QString, text);
    RestService service;
    Client client(nullptr, service.url());
    service.expect(PATH).json(body);
    LogCapture log;
    QVERIFY(client.request());
    QCOMPARE(client.succeeded, QStringList{text});
    QVERIFY(client.failed.isEmpty());
    QCOMPARE(log.messages(), QStringList{"[REST Response] " + text});
    QCOMPARE(service.faults(), QStringList());
}

void tst_RequestEngine::gzipBodyIsInflatedAndItsSizeLogged()
{
    const QByteArray body = "{\"name\":\"ä\",\"more\":\"" + QByteArray(5000, 'y') + "\"}";
    const QByteArray packed = gzip(body);
    RestService service;
    Client client(nullptr, service.url());
    service.expect(PATH).status("200 OK", packed, "Content-Encoding: gzip\r\n");
    LogCapture log;
    QVERIFY(client.request());
    QCOMPARE(client.succeeded, QStringList{QString::fromUtf8(body)});
    QCOMPARE(log.messages(),
             (QStringList{"[REST Responze.gzip] Compressed size: " + QString::number(packed.size()),
                          "[REST Response] " + QString::fromUtf8(body)}));
    QCOMPARE(service.faults(), QStringList());
}

void tst_RequestEngine::gzipIsRecognisedByItsExactName()
{
    // Not inflated: the text ends at the first NUL of the gzip header.
    RestService service;
    Client client(nullptr, service.url());
    service.expect(PATH).status("200 OK", gzip("{}"), "Content-Encoding: GZIP\r\n");
    LogCapture log;
    QVERIFY(client.request());
    QCOMPARE(client.succeeded, QStringList{u"\x1f\ufffd\b"_s});
    QVERIFY(log.startingWith("[REST Responze.gzip]").isEmpty());
    QCOMPARE(service.faults(), QStringList());
}

void tst_RequestEngine::brokenGzipBodyReadsAsEmpty_data()
{
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<QStringList>("lines");
    QTest::newRow("under five bytes")
        << QByteArray("\x1f\x8b\x08\x00", 4)
        << QStringList{"[REST Responze.gzip] Compressed size: 4",
                       "gUncompress: Input data is truncated", "[REST Response] "};
    QTest::newRow("no gzip") << QByteArray("{\"plain\":1}")
                             << QStringList{"[REST Responze.gzip] Compressed size: 11",
                                            "[REST Response] "};
    QTest::newRow("empty") << QByteArray()
                           << QStringList{"[REST Responze.gzip] Compressed size: 0",
                                          "gUncompress: Input data is truncated",
                                          "[REST Response] "};
}

void tst_RequestEngine::brokenGzipBodyReadsAsEmpty()
{
    QFETCH(QByteArray, body);
    QFETCH(QStringList, lines);
    RestService service;
    Client client(nullptr, service.url());
    service.expect(PATH).status("200 OK", body, "Content-Encoding: gzip\r\n");
    LogCapture log;
    QVERIFY(client.request());
    QCOMPARE(client.succeeded, QStringList{QString()});
    QCOMPARE(log.messages(), lines);
    QCOMPARE(service.faults(), QStringList());
}

void tst_RequestEngine::gzipBodyOfAFailureIsInflated()
{
    RestService service;
    Client client(nullptr, service.url());
    service.expect(PATH).status("403 No", gzip(R"({"errorMsgKeys":["x.error"]})"),
                                "Content-Encoding: gzip\r\n");
    QVERIFY(!client.request());
    QCOMPARE(client.failed, QStringList{R"({"errorMsgKeys":["x.error"]})"});
    QCOMPARE(service.faults(), QStringList());
}

void tst_RequestEngine::cutOffGzipBodyReadsUpToTheCut()
{
    RestService service;
    Client client(nullptr, service.url());
    // Nothing but the checksum and the length behind the text is missing.
    service.expect(PATH).status("200 OK", gzip(R"({"a":1})").chopped(8),
                                "Content-Encoding: gzip\r\n");
    QVERIFY(client.request());
    QCOMPARE(client.succeeded, QStringList{R"({"a":1})"});

    // Half of a text that cannot be packed to less.
    QByteArray body;
    for (quint32 i = 1; body.size() < 4000; i = i * 1664525 + 1013904223)
        body += char('A' + (i >> 24) % 26);
    const QByteArray packed = gzip(body);
    service.expect(PATH).status("200 OK", packed.left(packed.size() / 2),
                                "Content-Encoding: gzip\r\n");
    QVERIFY(client.request());
    QCOMPARE(client.succeeded.size(), 1);
    const QString part = client.succeeded.first();
    QVERIFY2(part.size() > 1000 && part.size() < 3000, qPrintable(QString::number(part.size())));
    QCOMPARE(part, QString::fromLatin1(body.left(part.size())));
    QCOMPARE(service.faults(), QStringList());
}

namespace
{

constexpr int LARGEST_BYTES = 67108864;
const QString TOO_LARGE = u"[PresenterClient] Reply dropped, larger than 67108864 bytes!"_s;

} // namespace

void tst_RequestEngine::replyOfTheLargestSizeIsTaken_data()
{
    QTest::addColumn<bool>("packed");
    QTest::newRow("plain") << false;
    QTest::newRow("gzip") << true;
}

void tst_RequestEngine::replyOfTheLargestSizeIsTaken()
{
    QFETCH(bool, packed);
    const QByteArray body(LARGEST_BYTES, 'x');
    RestService service;
    Client client(nullptr, service.url());
    service.expect(PATH).status("200 OK", packed ? gzip(body) : body,
                                packed ? "Content-Encoding: gzip\r\n" : "");
    LogCapture log;
    QVERIFY(client.request());
    QVERIFY(client.succeeded.first() == QString::fromLatin1(body));
    QVERIFY(!log.contains(TOO_LARGE));
    QCOMPARE(service.faults(), QStringList());
}

void tst_RequestEngine::largerReplyFailsAsSoonAsThatIsKnown_data()
{
    QTest::addColumn<QByteArray>("reply");
    const QByteArray head = "HTTP/1.1 200 OK\r\n";
    QTest::newRow("announced") << head + "Content-Length: 67108865\r\n\r\n{";
    QTest::newRow("announced, beyond every number")
        << head + "Content-Length: 9223372036854775807\r\n\r\n{";
    // The ends of these never come.
    QTest::newRow("until the connection ends")
        << head + "\r\n" + QByteArray(LARGEST_BYTES + 1, 'x');
    QTest::newRow("in chunks") << head + "Transfer-Encoding: chunked\r\n\r\n"
            + QByteArray::number(LARGEST_BYTES + 1, 16) + "\r\n"
            + QByteArray(LARGEST_BYTES + 1, 'x') + "\r\n";
    QTest::newRow("gzip") << head + "Content-Encoding: gzip\r\n\r\n"
            + QByteArray(LARGEST_BYTES + 1, 'x');
}

void tst_RequestEngine::largerReplyFailsAsSoonAsThatIsKnown()
{
    QFETCH(QByteArray, reply);
    RestService service;
    Client client(nullptr, service.url());
    QSignalSpy processed(&client, &PresenterClient::requestProcessed);
    service.expect(PATH).raw(reply);
    LogCapture log;
    QElapsedTimer clock;
    clock.start();
    QVERIFY(!client.request());
    QVERIFY(clock.elapsed() < 8000); // not by the end of the wait
    QCOMPARE(client.failed, QStringList{QString()});
    QCOMPARE(client.error, QNetworkReply::OperationCanceledError);
    QStringList lines = log.messages();
    lines.removeOne(u"[REST Responze.gzip] Compressed size: 0"_s);
    lines.removeOne(u"gUncompress: Input data is truncated"_s);
    QCOMPARE(lines,
             (QStringList{TOO_LARGE, "[REST Response] ", "ERROR: Operation canceled\nRESPONSE: "}));
    QCOMPARE(processed.count(), 1);
    QCOMPARE(service.faults(), QStringList());
}

void tst_RequestEngine::replyThatInflatesToMoreReadsAsEmpty()
{
    const QByteArray packed = gzip(QByteArray(LARGEST_BYTES + 1, 'x'));
    RestService service;
    Client client(nullptr, service.url());
    service.expect(PATH).status("200 OK", packed, "Content-Encoding: gzip\r\n");
    LogCapture log;
    QVERIFY(client.request());
    QCOMPARE(client.succeeded, QStringList{QString()});
    QCOMPARE(log.messages(),
             (QStringList{"[REST Responze.gzip] Compressed size: " + QString::number(packed.size()),
                          TOO_LARGE, "[REST Response] "}));
    QCOMPARE(service.faults(), QStringList());
}

// Lists with next to nothing in them take thirty times their text and more.
void tst_RequestEngine::replyOfTooManyValuesReadsAsNoJson()
{
    const auto lists = [](int count) {
        return gzip("{\"data\":[" + QByteArray("[0],").repeated(count) + "0]}");
    };
    RestService service;
    PresenterClient client(nullptr, service.url());
    service.expect("/vantora").status("200 OK", lists(500 * 1000), "Content-Encoding: gzip\r\n");
    service.expect("/vantora")
        .status("200 OK", lists(16 * 1000 * 1000), "Content-Encoding: gzip\r\n");
    QVERIFY(client.checkServer(QString(), QString()));
    QVERIFY(!client.checkServer(QString(), QString()));
    QCOMPARE(service.faults(), QStringList());
}

void tst_RequestEngine::abortedRequestRunsTheFailureHandler()
{
    RestService service;
    Client client(nullptr, service.url());
    service.expect(PATH).silence().meanwhile([&] { client.sendKeepAlive(); }); // ends the wait
    service.expect("/vantora/login/keepSessionAlive");
    QVERIFY(!client.request());
    QCOMPARE(client.failed, QStringList{QString()});
    QCOMPARE(client.error, QNetworkReply::OperationCanceledError);
    QCOMPARE(service.faults(), QStringList());
}

void tst_RequestEngine::errorStatusRunsTheFailureHandler_data()
{
    QTest::addColumn<QByteArray>("status");
    QTest::addColumn<int>("error");
    QTest::newRow("bad request") << QByteArray("400 Bad Request")
                                 << int(QNetworkReply::ProtocolInvalidOperationError);
    QTest::newRow("forbidden") << QByteArray("403 Forbidden")
                               << int(QNetworkReply::ContentAccessDenied);
    QTest::newRow("not found") << QByteArray("404 Not Found")
                               << int(QNetworkReply::ContentNotFoundError);
    QTest::newRow("server error") << QByteArray("500 Broken")
                                  << int(QNetworkReply::InternalServerError);
    QTest::newRow("unavailable") << QByteArray("503 Later")
                                 << int(QNetworkReply::ServiceUnavailableError);
}

void tst_RequestEngine::errorStatusRunsTheFailureHandler()
{
    QFETCH(QByteArray, status);
    QFETCH(int, error);
    RestService service;
    Client client(nullptr, service.url());
    service.expect(PATH).status(status, "{\"errorMsgKeys\":[\"x\"]}");
    LogCapture log;
    QVERIFY(!client.request());
    QCOMPARE(client.failed, QStringList{"{\"errorMsgKeys\":[\"x\"]}"});
    QCOMPARE(int(client.error), error);
    QCOMPARE(log.messages(),
             (QStringList{"[REST Response] {\"errorMsgKeys\":[\"x\"]}",
                          u"ERROR: Error transferring %1/vantora/test - server replied: "
                          "%2\nRESPONSE: {\"errorMsgKeys\":[\"x\"]}"_s.arg(
                              service.url(), QString::fromUtf8(status.mid(4)))}));
    QCOMPARE(service.faults(), QStringList());
}

void tst_RequestEngine::successStatusIsNotLookedAt()
{
    RestService service;
    Client client(nullptr, service.url());
    service.expect(PATH).status("203 Second Hand", "{\"success\":false}");
    QVERIFY(client.request());
    QCOMPARE(client.succeeded, QStringList{"{\"success\":false}"});
    QVERIFY(client.failed.isEmpty());
    QCOMPARE(service.faults(), QStringList());
}

void tst_RequestEngine::percentSignsInAFailedBodyAreLoggedAsTheyAre()
{
    RestService service;
    Client client(nullptr, service.url());
    service.expect(PATH).status("500 100%1", "%0 and %1");
    LogCapture log;
    QVERIFY(!client.request());
    QCOMPARE(log.messages().last(),
             u"ERROR: Error transferring "_s + service.url()
                 + u"/vantora/test - server replied: 100%1\nRESPONSE: %0 and %1"_s);
    QCOMPARE(service.faults(), QStringList());
}

void tst_RequestEngine::connectionClosedBeforeTheReplyIsAFailure()
{
    RestService service;
    Client client(nullptr, service.url());
    // The toolkit sends a request again when a connection closes before its reply.
    constexpr int ATTEMPTS = 2;
    for (int i = 0; i < ATTEMPTS; ++i)
        service.expect(PATH).hangUp();
    LogCapture log;
    QVERIFY(!client.request());
    QCOMPARE(client.failed, QStringList{QString()});
    QCOMPARE(client.error, QNetworkReply::RemoteHostClosedError);
    QCOMPARE(log.messages(),
             (QStringList{"[REST Response] ", "ERROR: Connection closed\nRESPONSE: "}));
    QCOMPARE(service.faults(), QStringList());
}

void tst_RequestEngine::refusedConnectionIsAFailure()
{
    const DeadPort port;
    Client client(nullptr, u"http://127.0.0.1:%1"_s.arg(quint16(port)));
    LogCapture log;
    QVERIFY(!client.request());
    QCOMPARE(client.failed, QStringList{QString()});
    QCOMPARE(client.error, QNetworkReply::ConnectionRefusedError);
    QCOMPARE(log.messages(),
             (QStringList{"[REST Response] ", "ERROR: Connection refused\nRESPONSE: "}));
}

void tst_RequestEngine::clientWithoutServerFails()
{
    Client client(nullptr, QString());
    QVERIFY(!client.request());
    QCOMPARE(client.failed, QStringList{QString()});
    QCOMPARE(client.error, QNetworkReply::ProtocolUnknownError);
}

// ---- Redirects ------------------------------------------------------------------------------------

void tst_RequestEngine::redirectMovesTheBaseAddress_data()
{
    QTest::addColumn<QByteArray>("location");
    QTest::addColumn<QString>("base");
    QTest::newRow("to https with a port")
        << QByteArray("https://h.example:8443/x") << "https://h.example:8443";
    QTest::newRow("to https") << QByteArray("https://h.example/x/y?q=1#f") << "https://h.example";
    QTest::newRow("stated port 443 stays")
        << QByteArray("https://h.example:443/x") << "https://h.example:443";
    QTest::newRow("port 80 goes, with https too")
        << QByteArray("https://h.example:80/x") << "https://h.example";
    QTest::newRow("same scheme, port 80")
        << QByteArray("http://h.example:80/") << "http://h.example";
    QTest::newRow("same scheme") << QByteArray("http://h.example") << "http://h.example";
    QTest::newRow("same scheme in capitals")
        << QByteArray("HTTP://h.example") << "http://h.example";
    QTest::newRow("user and password go")
        << QByteArray("http://u:p@h.example:81/") << "http://h.example:81";
    QTest::newRow("numeric address of the new kind")
        << QByteArray("http://[::1]:8080/x") << "http://[::1]:8080";
}

void tst_RequestEngine::redirectMovesTheBaseAddress()
{
    QFETCH(QByteArray, location);
    QFETCH(QString, base);
    RestService service;
    Client client(nullptr, service.url());
    service.expect(PATH).redirect(location, "moved");
    QVERIFY(!client.request());
    QCOMPARE(client.getServerUrl(), base);
    QVERIFY(client.isServerReachable());
    QCOMPARE(service.faults(), QStringList());
}

void tst_RequestEngine::redirectElsewhereIsAnOrdinaryReply_data()
{
    QTest::addColumn<QByteArray>("location");
    QTest::newRow("another scheme") << QByteArray("ftp://h.example/x");
    QTest::newRow("path alone") << QByteArray("/elsewhere");
    QTest::newRow("empty") << QByteArray("");
}

void tst_RequestEngine::redirectElsewhereIsAnOrdinaryReply()
{
    QFETCH(QByteArray, location);
    RestService service;
    Client client(nullptr, service.url());
    service.expect(PATH).redirect(location, "moved");
    QVERIFY(client.request());
    QCOMPARE(client.succeeded, QStringList{"moved"});
    QCOMPARE(client.getServerUrl(), service.url());
    QVERIFY(!client.isServerReachable());
    QCOMPARE(service.faults(), QStringList());
}

void tst_RequestEngine::followedRedirectRunsNoHandlerAndIsNotRepeated()
{
    RestService service;
    Client client(nullptr, service.url());
    QSignalSpy processed(&client, &PresenterClient::requestProcessed);
    service.expect(PATH).redirect(service.url().toUtf8() + "/x");
    LogCapture log;
    QVERIFY(!client.request());
    QVERIFY(client.failed.isEmpty());
    QCOMPARE(processed.count(), 1);
    QCOMPARE(client.getServerUrl(), service.url());
    QCOMPARE(log.messages(), QStringList());

    // What comes next comes from the next request alone.
    service.expect(PATH);
    QVERIFY(client.request());
    QCOMPARE(service.requests().size(), 2);
    QCOMPARE(service.faults(), QStringList());
}

void tst_RequestEngine::nextRequestGoesToTheAddressRedirectedTo()
{
    RestService former;
    RestService present;
    Client client(nullptr, former.url());
    former.expect(PATH).redirect(present.url().toUtf8() + PATH);
    QVERIFY(!client.request());
    present.expect(PATH);
    QVERIFY(client.request());
    QCOMPARE(former.faults() + present.faults(), QStringList());
}

// ---- Error keys -----------------------------------------------------------------------------------

void tst_RequestEngine::firstErrorKeyIsFound_data()
{
    QTest::addColumn<QVariant>("reply");
    QTest::addColumn<bool>("found");
    QTest::addColumn<QString>("key");
    QTest::newRow("one key") << json(R"({"errorMsgKeys":["login.error.password"]})") << true
                             << "login.error.password";
    QTest::newRow("later keys do not matter")
        << json(R"({"errorMsgKeys":["a.error","b","c.error"]})") << true << "a.error";
    QTest::newRow("only the first counts")
        << json(R"({"errorMsgKeys":["a.warning","b.error"]})") << false << QString();
    QTest::newRow("case matters") << json(R"({"errorMsgKeys":["a.Error"]})") << false << QString();
    QTest::newRow("empty list") << json(R"({"errorMsgKeys":[]})") << false << QString();
    QTest::newRow("no list") << json(R"({"success":false})") << false << QString();
    QTest::newRow("bare text is no list")
        << json(R"({"errorMsgKeys":"a.error"})") << false << QString();
    QTest::newRow("null") << json(R"({"errorMsgKeys":null})") << false << QString();
    QTest::newRow("null inside") << json(R"({"errorMsgKeys":[null]})") << false << QString();
    QTest::newRow("number inside") << json(R"({"errorMsgKeys":[5]})") << false << QString();
    QTest::newRow("object inside")
        << json(R"({"errorMsgKeys":[{"error":1}]})") << false << QString();
    QTest::newRow("list at the top") << json(R"(["a.error"])") << false << QString();
    QTest::newRow("list of texts made by a host")
        << QVariant(QVariantMap{{"errorMsgKeys", QStringList{"a.error"}}}) << true << "a.error";
    QTest::newRow("nothing") << QVariant() << false << QString();
}

void tst_RequestEngine::firstErrorKeyIsFound()
{
    QFETCH(QVariant, reply);
    QFETCH(bool, found);
    QFETCH(QString, key);
    PresenterClient client(nullptr, QString());
    QString errorKey = u"earlier"_s;
    QCOMPARE(client.isErrorInErrorMsgKeys(reply, errorKey), found);
    QCOMPARE(errorKey, key);
    QCOMPARE(errorKey.isNull(), !found);
}

// ---- Odd replies ----------------------------------------------------------------------------------

void tst_RequestEngine::strayReplyIsDroppedWithoutAHandler()
{
    Client client(nullptr, QString());
    QSignalSpy processed(&client, &PresenterClient::requestProcessed);
    QPointer<QNetworkReply> reply(new StrayReply("stray"));
    LogCapture log;
    QVERIFY(QMetaObject::invokeMethod(&client, "slotRequestFinished",
                                      Q_ARG(QNetworkReply *, reply.data())));
    QCOMPARE(processed.count(), 1);
    QVERIFY(client.succeeded.isEmpty() && client.failed.isEmpty());
    QCOMPARE(log.messages(), QStringList{"[REST Response] stray"});
    QTRY_VERIFY(reply.isNull());
}

// ---- HTTP authentication --------------------------------------------------------------------------

namespace
{

const QByteArray CHALLENGE = "WWW-Authenticate: Basic realm=\"school\"\r\n";

} // namespace

void tst_RequestEngine::httpCredentialsAreGivenOnRequest()
{
    RestService service;
    PresenterClient client(nullptr, service.url());
    service.expect("/vantora").status("401 Unauthorized", "{}", CHALLENGE);
    service.expect("/vantora").json("{}");
    QVERIFY(client.checkServer(u"us%1er"_s, u"pass%20word"_s));
    QVERIFY(service.requests().first().headerLines("authorization").isEmpty());
    QCOMPARE(
        service.lastRequest().headerLines("authorization"),
        QList<QByteArray>{"Authorization: Basic " + QByteArray("us%1er:pass%20word").toBase64()});
    QCOMPARE(service.faults(), QStringList());
}

void tst_RequestEngine::httpUserAloneIsGiven()
{
    RestService service;
    PresenterClient client(nullptr, service.url());
    service.expect("/vantora").status("401 Unauthorized", "{}", CHALLENGE);
    service.expect("/vantora").json("{}");
    QVERIFY(client.checkServer(u"user"_s, QString()));
    QCOMPARE(service.lastRequest().headerLines("authorization"),
             QList<QByteArray>{"Authorization: Basic " + QByteArray("user:").toBase64()});
    QCOMPARE(service.faults(), QStringList());
}

void tst_RequestEngine::httpPasswordAloneIsGiven()
{
    RestService service;
    PresenterClient client(nullptr, service.url());
    service.expect("/vantora").status("401 Unauthorized", "{}", CHALLENGE);
    service.expect("/vantora").json("{}");
    QVERIFY(client.checkServer(QString(), u"word"_s));
    QCOMPARE(service.lastRequest().headerLines("authorization"),
             QList<QByteArray>{"Authorization: Basic " + QByteArray(":word").toBase64()});
    QCOMPARE(service.faults(), QStringList());
}

void tst_RequestEngine::wrongHttpCredentialsFail()
{
    RestService service;
    PresenterClient client(nullptr, service.url());
    service.expect("/vantora").status("401 Unauthorized", "{}", CHALLENGE);
    service.expect("/vantora").status("401 Unauthorized", "{}", CHALLENGE);
    LogCapture log;
    QVERIFY(!client.checkServer(u"user"_s, u"wrong"_s));
    QCOMPARE(
        log.messages(),
        (QStringList{"[REST Response] {}", "ERROR: Host requires authentication\nRESPONSE: {}"}));
    QCOMPARE(service.faults(), QStringList());
}

QTEST_GUILESS_MAIN(tst_RequestEngine)
#include "tst_requestengine.moc"
