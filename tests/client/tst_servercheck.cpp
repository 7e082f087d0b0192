// Whether a service is there, and the credentials that it may ask for over HTTP.

#include "client/ServiceTest.h"

#include "support/LogCapture.h"

class tst_ServerCheck : public ClientTest
{
    Q_OBJECT

private Q_SLOTS:
    void checkFindsAServiceThatAnswersWithJson_data();
    void checkFindsAServiceThatAnswersWithJson();
    void failedCheckForgetsTheLastError();
    void followedRedirectCountsAsReachable();

    void httpCredentialsAreGivenOnRequest_data();
    void httpCredentialsAreGivenOnRequest();
    void wrongHttpCredentialsFail();
    void emptyHttpCredentialsKeepTheEarlierOnes();
};

// ---- Reachability --------------------------------------------------------------------------------

void tst_ServerCheck::checkFindsAServiceThatAnswersWithJson_data()
{
    addReplyColumns();
    QTest::addColumn<bool>("reachable");
    const auto row = [](const char *name, const char *status, const QByteArray &reply,
                        bool reachable) {
        QTest::newRow(name) << QByteArray(status) << reply << reachable;
    };
    row("object", "200 OK", "{}", true);
    row("list", "200 OK", "[1]", true);
    row("failure told in JSON", "200 OK", R"({"success":false})", true);
    row("empty", "200 OK", "", false);
    row("html", "200 OK", NO_JSON, false);
    row("cut off", "200 OK", "{\"a\":", false);
    row("bare text", "200 OK", "\"a\"", false);
    row("error status", "500 Broken", "{}", false);
}

void tst_ServerCheck::checkFindsAServiceThatAnswersWithJson()
{
    QFETCH(QByteArray, status);
    QFETCH(QByteArray, reply);
    QFETCH(bool, reachable);
    service->expect(CHECK).json("{}");
    QVERIFY(check());
    QVERIFY(client->isServerReachable());

    service->expect(CHECK).status(status, reply);
    QCOMPARE(check(), reachable);
    QCOMPARE(client->isServerReachable(), reachable);
    QVERIFY(!client->isLoggedIn());
    QVERIFY(client->getLastErrorKey().isNull());
}

void tst_ServerCheck::failedCheckForgetsTheLastError()
{
    service->expect(LOGIN, ANN).status("401 No", WRONG_PASSWORD);
    QVERIFY(!login());
    QCOMPARE(client->getLastErrorKey(), u"login.error.password"_s);

    service->expect(CHECK).status("500 Broken", WRONG_PASSWORD);
    QVERIFY(!check());
    QVERIFY(client->getLastErrorKey().isNull());
}

void tst_ServerCheck::followedRedirectCountsAsReachable()
{
    service->expect(CHECK).redirect("https://school.example:8443/x");
    QVERIFY(check());
    QCOMPARE(client->getServerUrl(), u"https://school.example:8443"_s);
}

// ---- HTTP authentication -------------------------------------------------------------------------

void tst_ServerCheck::httpCredentialsAreGivenOnRequest_data()
{
    QTest::addColumn<QString>("user");
    QTest::addColumn<QString>("password");
    QTest::addColumn<QByteArray>("credentials");
    QTest::newRow("both") << u"us%1er"_s << u"pass%20word"_s << QByteArray("us%1er:pass%20word");
    QTest::newRow("user alone") << u"user"_s << QString() << QByteArray("user:");
    QTest::newRow("password alone") << QString() << u"word"_s << QByteArray(":word");
}

void tst_ServerCheck::httpCredentialsAreGivenOnRequest()
{
    QFETCH(QString, user);
    QFETCH(QString, password);
    QFETCH(QByteArray, credentials);
    service->expect(CHECK).status("401 Unauthorized", "{}", CHALLENGE);
    service->expect(CHECK);
    QVERIFY(client->checkServer(user, password));
    QVERIFY(service->requests().first().headerLines("authorization").isEmpty());
    QCOMPARE(service->lastRequest().headerLines("authorization"),
             QList<QByteArray>{"Authorization: Basic " + credentials.toBase64()});
}

void tst_ServerCheck::wrongHttpCredentialsFail()
{
    service->expect(CHECK).status("401 Unauthorized", "{}", CHALLENGE);
    service->expect(CHECK).status("401 Unauthorized", "{}", CHALLENGE);
    LogCapture log;
    QVERIFY(!client->checkServer(u"user"_s, u"wrong"_s));
    QCOMPARE(
        log.messages(),
        (QStringList{"[REST Response] {}", "ERROR: Host requires authentication\nRESPONSE: {}"}));
}

void tst_ServerCheck::emptyHttpCredentialsKeepTheEarlierOnes()
{
    service->expect(CHECK).json("{}");
    QVERIFY(client->checkServer(u"user"_s, u"word"_s));
    service->expect(CHECK).json("{}");
    QVERIFY(check());
    service->expect(CHECK).json("{}");
    QVERIFY(client->checkServer(u"other"_s, QString()));

    service->expect(CHECK).status("401 Who", "{}", CHALLENGE);
    service->expect(CHECK).json("{}");
    QVERIFY(check());
    QCOMPARE(service->lastRequest().headerLines("authorization"),
             QList<QByteArray>{"Authorization: Basic " + QByteArray("other:word").toBase64()});
}

QTEST_GUILESS_MAIN(tst_ServerCheck)
#include "tst_servercheck.moc"
