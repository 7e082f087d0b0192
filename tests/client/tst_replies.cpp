// Replies and failures, and what becomes of their bodies.

#include "client/RequestTest.h"

#include "sockjs/DeadPort.h"
#include "support/LogCapture.h"

#include <QtCore/QBuffer>
#include <QtCore/QJsonDocument>

namespace
{

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

} // namespace

class tst_Replies : public RequestTest
{
    Q_OBJECT

private Q_SLOTS:
    void bodyReachesTheSuccessHandlerAndTheLog_data();
    void bodyReachesTheSuccessHandlerAndTheLog();
    void successStatusIsNotLookedAt();
    void strayReplyIsDroppedWithoutAHandler();

    void abortedRequestRunsTheFailureHandler();
    void errorStatusRunsTheFailureHandler_data();
    void errorStatusRunsTheFailureHandler();
    void percentSignsInAFailedBodyAreLoggedAsTheyAre();
    void connectionClosedBeforeTheReplyIsAFailure();
    void refusedConnectionIsAFailure();
    void clientWithoutServerFails();
    void firstErrorKeyIsFound_data();
    void firstErrorKeyIsFound();
};

// ---- Bodies --------------------------------------------------------------------------------------

void tst_Replies::bodyReachesTheSuccessHandlerAndTheLog_data()
{
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<QString>("text");
    const auto row = [](const char *name, const QByteArray &body, const QString &text) {
        QTest::newRow(name) << body << text;
    };
    row("empty", {}, {});
    row("json", "{\"a\":\"b\"}", u"{\"a\":\"b\"}"_s);
    row("no json", "<html>", u"<html>"_s);
    row("utf-8", "\xc3\xa4 \xf0\x9f\x8d\x8e", u"ä 🍎"_s);
    row("quotes and lines", "\"a\"\n\\ \t", u"\"a\"\n\\ \t"_s);
    row("percent signs", "%0 %1 %%", u"%0 %1 %%"_s);
    row("cut at NUL", QByteArray("{\"a\":1}\0{\"b\":2}", 15), u"{\"a\":1}"_s);
    row("NUL first", QByteArray("\0{}", 3), {});
    row("large", QByteArray(300000, 'x'), QString(300000, QLatin1Char('x')));
}

void tst_Replies::bodyReachesTheSuccessHandlerAndTheLog()
{
    QFETCH(QByteArray, body);
    QFETCH(QString, text);
    service->expect(PATH).json(body);
    LogCapture log;
    QVERIFY(client->request());
    QCOMPARE(client->succeeded, QStringList{text});
    QVERIFY(client->failed.isEmpty());
    QCOMPARE(log.messages(), QStringList{"[REST Response] " + text});
}

void tst_Replies::successStatusIsNotLookedAt()
{
    service->expect(PATH).status("203 Second Hand", "{\"success\":false}");
    QVERIFY(client->request());
    QCOMPARE(client->succeeded, QStringList{"{\"success\":false}"});
    QVERIFY(client->failed.isEmpty());
}

void tst_Replies::strayReplyIsDroppedWithoutAHandler()
{
    QSignalSpy processed(client.data(), &PresenterClient::requestProcessed);
    QPointer<QNetworkReply> reply(new StrayReply("stray"));
    LogCapture log;
    QVERIFY(QMetaObject::invokeMethod(client.data(), "slotRequestFinished",
                                      Q_ARG(QNetworkReply *, reply.data())));
    QCOMPARE(processed.count(), 1);
    QVERIFY(client->succeeded.isEmpty() && client->failed.isEmpty());
    QCOMPARE(log.messages(), QStringList{"[REST Response] stray"});
    QTRY_VERIFY(reply.isNull());
}

// ---- Failures ------------------------------------------------------------------------------------

void tst_Replies::abortedRequestRunsTheFailureHandler()
{
    service->expect(PATH).silence().meanwhile([&] { client->sendKeepAlive(); }); // ends the wait
    service->expect(KEEP_ALIVE);
    QVERIFY(!client->request());
    QCOMPARE(client->failed, QStringList{QString()});
    QCOMPARE(client->error, QNetworkReply::OperationCanceledError);
}

void tst_Replies::errorStatusRunsTheFailureHandler_data()
{
    QTest::addColumn<QByteArray>("status");
    QTest::addColumn<int>("error");
    const auto row = [](const char *name, const char *status, QNetworkReply::NetworkError error) {
        QTest::newRow(name) << QByteArray(status) << int(error);
    };
    row("bad request", "400 Bad Request", QNetworkReply::ProtocolInvalidOperationError);
    row("forbidden", "403 Forbidden", QNetworkReply::ContentAccessDenied);
    row("not found", "404 Not Found", QNetworkReply::ContentNotFoundError);
    row("server error", "500 Broken", QNetworkReply::InternalServerError);
    row("unavailable", "503 Later", QNetworkReply::ServiceUnavailableError);
}

void tst_Replies::errorStatusRunsTheFailureHandler()
{
    QFETCH(QByteArray, status);
    QFETCH(int, error);
    service->expect(PATH).status(status, "{\"errorMsgKeys\":[\"x\"]}");
    LogCapture log;
    QVERIFY(!client->request());
    QCOMPARE(client->failed, QStringList{"{\"errorMsgKeys\":[\"x\"]}"});
    QCOMPARE(int(client->error), error);
    QCOMPARE(log.messages(),
             (QStringList{"[REST Response] {\"errorMsgKeys\":[\"x\"]}",
                          u"ERROR: Error transferring %1/vantora/test - server replied: "
                          "%2\nRESPONSE: {\"errorMsgKeys\":[\"x\"]}"_s.arg(
                              service->url(), QString::fromUtf8(status.mid(4)))}));
}

void tst_Replies::percentSignsInAFailedBodyAreLoggedAsTheyAre()
{
    service->expect(PATH).status("500 100%1", "%0 and %1");
    LogCapture log;
    QVERIFY(!client->request());
    QCOMPARE(log.messages().last(),
             u"ERROR: Error transferring "_s + service->url()
                 + u"/vantora/test - server replied: 100%1\nRESPONSE: %0 and %1"_s);
}

void tst_Replies::connectionClosedBeforeTheReplyIsAFailure()
{
    // The toolkit sends a request again when a connection closes before its reply.
    constexpr int ATTEMPTS = 2;
    for (int i = 0; i < ATTEMPTS; ++i)
        service->expect(PATH).hangUp();
    LogCapture log;
    QVERIFY(!client->request());
    QCOMPARE(client->failed, QStringList{QString()});
    QCOMPARE(client->error, QNetworkReply::RemoteHostClosedError);
    QCOMPARE(log.messages(),
             (QStringList{"[REST Response] ", "ERROR: Connection closed\nRESPONSE: "}));
}

void tst_Replies::refusedConnectionIsAFailure()
{
    const DeadPort port;
    NotingClient refused(nullptr, localUrl(port));
    LogCapture log;
    QVERIFY(!refused.request());
    QCOMPARE(refused.failed, QStringList{QString()});
    QCOMPARE(refused.error, QNetworkReply::ConnectionRefusedError);
    QCOMPARE(log.messages(),
             (QStringList{"[REST Response] ", "ERROR: Connection refused\nRESPONSE: "}));
}

void tst_Replies::clientWithoutServerFails()
{
    NotingClient lost(nullptr, QString());
    QVERIFY(!lost.request());
    QCOMPARE(lost.failed, QStringList{QString()});
    QCOMPARE(lost.error, QNetworkReply::ProtocolUnknownError);
}

void tst_Replies::firstErrorKeyIsFound_data()
{
    QTest::addColumn<QVariant>("reply");
    QTest::addColumn<QString>("key"); // null for none
    const auto row = [](const char *name, const char *reply, const QString &key = {}) {
        QTest::newRow(name) << QJsonDocument::fromJson(reply).toVariant() << key;
    };
    row("one key", R"({"errorMsgKeys":["login.error.password"]})", u"login.error.password"_s);
    row("later keys do not matter", R"({"errorMsgKeys":["a.error","b","c.error"]})", u"a.error"_s);
    row("only the first counts", R"({"errorMsgKeys":["a.warning","b.error"]})");
    row("case matters", R"({"errorMsgKeys":["a.Error"]})");
    row("empty list", R"({"errorMsgKeys":[]})");
    row("no list", R"({"success":false})");
    row("bare text is no list", R"({"errorMsgKeys":"a.error"})");
    row("null", R"({"errorMsgKeys":null})");
    row("null inside", R"({"errorMsgKeys":[null]})");
    row("number inside", R"({"errorMsgKeys":[5]})");
    row("object inside", R"({"errorMsgKeys":[{"error":1}]})");
    row("list at the top", R"(["a.error"])");
    QTest::newRow("list of texts made by a host")
        << QVariant(QVariantMap{{"errorMsgKeys", QStringList{"a.error"}}}) << "a.error";
    QTest::newRow("nothing") << QVariant() << QString();
}

void tst_Replies::firstErrorKeyIsFound()
{
    QFETCH(QVariant, reply);
    QFETCH(QString, key);
    QString errorKey = u"earlier"_s;
    QCOMPARE(client->isErrorInErrorMsgKeys(reply, errorKey), !key.isNull());
    QCOMPARE(errorKey, key);
    QCOMPARE(errorKey.isNull(), key.isNull());
}

QTEST_GUILESS_MAIN(tst_Replies)
#include "tst_replies.moc"
