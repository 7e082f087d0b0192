// What makes a session, and what keeps it from being made.

#include "client/SessionTest.h"

class tst_SessionCreation : public SessionTest
{
    Q_OBJECT

private Q_SLOTS:
    void sessionIsCreatedForASignedInTeacher_data();
    void sessionIsCreatedForASignedInTeacher();
    void teacherIsSignedInAgainFirst();
    void teacherIsSignedInAgainWithoutAReplyToTheUserQuery();
    void failedSignInStopsTheSession();
    void failedSignInKeepsTheEarlierSession();
    void signedOutClientWithoutCredentialsSendsNoMore();
    void earlierErrorKeyStandsWhenNobodyIsSignedIn();
    void emptyCodeAndTokenCountAsASession();
    void failedCreationIsReported_data();
    void failedCreationIsReported();
    void newSessionForgetsTheEarlierOne();
};

void tst_SessionCreation::sessionIsCreatedForASignedInTeacher_data()
{
    QTest::addColumn<QString>("ignored");
    QTest::newRow("null") << QString();
    QTest::newRow("empty") << "";
    QTest::newRow("anything") << "{\"%1\":1}";
}

void tst_SessionCreation::sessionIsCreatedForASignedInTeacher()
{
    QFETCH(QString, ignored);
    expectCreation("CO%1DE");
    QVERIFY(client->doStartSession(ignored));
    QCOMPARE(client->getSessionCode(), u"CO%1DE"_s);
    QVERIFY(client->getSessionToken().isNull());
}

void tst_SessionCreation::teacherIsSignedInAgainFirst()
{
    service->expect(LOGIN, ANN).json(SUCCESS);
    QVERIFY(login());

    // The query clears the user id; signing in again still knows it.
    service->expect(USER, "{}").json(R"({"data":{}})");
    service->expect(LOGIN, ANN).json(SUCCESS);
    service->expect(CREATE, "{}").json(R"({"data":{"sessionCode":"CODE"}})");
    QVERIFY(create());
    QCOMPARE(client->getSessionCode(), u"CODE"_s);
}

void tst_SessionCreation::teacherIsSignedInAgainWithoutAReplyToTheUserQuery()
{
    service->expect(LOGIN, ANN).json("{}");
    QVERIFY(!login());
    service->expect(USER, "{}").status("500 Broken");
    service->expect(LOGIN, ANN).json(SUCCESS);
    service->expect(CREATE, "{}").json(R"({"data":{"sessionCode":"CODE"}})");
    QVERIFY(create());
}

void tst_SessionCreation::failedSignInStopsTheSession()
{
    service->expect(LOGIN, ANN).json("{}");
    QVERIFY(!login());
    service->expect(USER, "{}").json("{}");
    service->expect(LOGIN, ANN).status("403 No", WRONG_PASSWORD);
    QVERIFY(!create());
    QCOMPARE(client->getLastErrorKey(), u"login.error.password"_s);
    QVERIFY(client->getSessionCode().isNull());
}

void tst_SessionCreation::failedSignInKeepsTheEarlierSession()
{
    startSession();
    service->expect(USER, "{}").json("{}");
    service->expect(LOGIN, ANN).json("{}");
    QVERIFY(!create());
    QCOMPARE(client->getSessionCode(), u"CODE"_s);
    QCOMPARE(client->getSessionToken(), u"TOKEN"_s);
    expectStop();
}

void tst_SessionCreation::signedOutClientWithoutCredentialsSendsNoMore()
{
    service->expect(USER, "{}").json("{}");
    QVERIFY(!create());
    QCOMPARE(service->requests().size(), 1);
}

void tst_SessionCreation::earlierErrorKeyStandsWhenNobodyIsSignedIn()
{
    service->expect(LOGIN, R"({"userId":"","password":"pw","sourceSystem":"Corvel"})")
        .status("403 No", WRONG_PASSWORD);
    QVERIFY(!client->doLogin(QString(), u"pw"_s));
    service->expect(USER, "{}").json("{}");
    QVERIFY(!create());
    QCOMPARE(client->getLastErrorKey(), u"login.error.password"_s);
}

void tst_SessionCreation::emptyCodeAndTokenCountAsASession()
{
    expectCreation("");
    QVERIFY(create());

    expectAll(startOperations(bus->url()).mid(0, 2));
    service->expect(START, startBody(bus->url(), "")).json(R"({"data":{"sessionToken":""}})");
    service->expect(JOIN, QByteArray(JOIN_BODY).replace("CODE", "")).json("{}");
    QVERIFY(openChannel());

    service->expect(LEARNERS, R"({"sessionToken":""})");
    QVERIFY(client->doGetLearners());
    service->expect(STOP, R"({"sessionToken":""})");
    QVERIFY(client->doStopSession());
}

void tst_SessionCreation::failedCreationIsReported_data()
{
    addReplyColumns();
    QTest::addColumn<QString>("key");
    const auto row = [](const char *name, const char *status, const QByteArray &reply,
                        const QString &key = {}) {
        QTest::newRow(name) << QByteArray(status) << reply << key;
    };
    row("refused with a key", "403 No", REFUSED, u"session.error.refused"_s);
    row("refused without a key", "403 No", "{}");
    row("refused, not in JSON", "500 Broken", NO_JSON);
    row("no code", "200 OK", R"({"data":{}})");
    row("null code", "200 OK", R"({"data":{"sessionCode":null}})");
    row("code of a wrong kind", "200 OK", R"({"data":{"sessionCode":["c"]}})");
    row("keys of a good reply are not read", "200 OK", REFUSED);
    row("no json", "200 OK", NO_JSON);
}

void tst_SessionCreation::failedCreationIsReported()
{
    QFETCH(QByteArray, status);
    QFETCH(QByteArray, reply);
    QFETCH(QString, key);
    service->expect(USER, "{}").json(ANN_IS_KNOWN);
    service->expect(CREATE, "{}").status(status, reply);
    QVERIFY(!create());
    QVERIFY(client->getSessionCode().isNull());
    QCOMPARE(client->getLastErrorKey(), key);
    QVERIFY(client->isLoggedIn());
}

void tst_SessionCreation::newSessionForgetsTheEarlierOne()
{
    startSession();
    service->expect(USER, "{}").json(ANN_IS_KNOWN);
    service->expect(CREATE, "{}").status("403 No", REFUSED);
    QVERIFY(!create());
    QVERIFY(client->getSessionCode().isNull());
    QVERIFY(client->getSessionToken().isNull());
    QCOMPARE(client->getLastErrorKey(), u"session.error.refused"_s);

    expectCreation("SECOND");
    QVERIFY(create());
    QVERIFY(client->getLastErrorKey().isNull());
    QCOMPARE(client->getSessionCode(), u"SECOND"_s);
}

QTEST_GUILESS_MAIN(tst_SessionCreation)
#include "tst_sessioncreation.moc"
