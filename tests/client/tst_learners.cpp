// The list of the learners in a session.

#include "client/SessionTest.h"

#include "support/LogCapture.h"

class tst_Learners : public SessionTest
{
    Q_OBJECT

private Q_SLOTS:
    void learnersAreListed_data();
    void learnersAreListed();
    void failedLearnersRequestKeepsTheList_data();
    void failedLearnersRequestKeepsTheList();
    void learnersWithoutASessionSendNothing();
};

void tst_Learners::learnersAreListed_data()
{
    QTest::addColumn<QByteArray>("users");
    QTest::addColumn<QStringList>("learners");
    const auto row = [](const char *name, const char *users, const QStringList &learners) {
        QTest::newRow(name) << QByteArray(users) << learners;
    };
    row("learners alone", R"([
            {"mode":"learner","userToken":"d1","userName":"Änn","deviceType":"tablet"},
            {"mode":"Learner","userToken":"d2","userName":"Bob","deviceType":"tablet"},
            {"mode":"presenter","userToken":"d3","userName":"SessionStarter","deviceType":"presenter"}])",
        {u"d1 Änn tablet"_s});
    row("in order", R"([
            {"mode":"learner","userToken":"d2","userName":"B","deviceType":"phone"},
            {"mode":"learner","userToken":"d1","userName":"A","deviceType":"tablet"}])",
        {"d2 B phone", "d1 A tablet"});
    row("missing fields", R"([{"mode":"learner"}])", {"  "});
    row("numbers as text", R"([{"mode":"learner","userToken":7,"userName":8,"deviceType":9}])",
        {"7 8 9"});
    row("wrong kinds", R"([1,"learner",null,["learner"],{"mode":["learner"]},{"mode":null}])", {});
    row("empty", "[]", {});
}

void tst_Learners::learnersAreListed()
{
    QFETCH(QByteArray, users);
    QFETCH(QStringList, learners);
    startSession();
    service->expect(LEARNERS, TOKEN_BODY)
        .json(R"({"data":{"users":[{"mode":"learner","userToken":"earlier"}]}})");
    QVERIFY(client->doGetLearners());
    QCOMPARE(client->getLearners().size(), 1);

    service->expect(LEARNERS, TOKEN_BODY).json("{\"data\":{\"users\":" + users + "}}");
    QVERIFY(client->doGetLearners());
    QStringList found;
    for (const Tarvo::Learner &learner : client->getLearners())
        found.append(learner.deviceId + ' ' + learner.userName + ' ' + learner.deviceType);
    QCOMPARE(found, learners);
    expectStop();
}

void tst_Learners::failedLearnersRequestKeepsTheList_data()
{
    addReplyColumns();
    addReply("error status", "500 Broken", REFUSED);
    addReply("no json", "200 OK", NO_JSON);
    addReply("no users", "200 OK", R"({"data":{}})");
    addReply("users of a wrong kind", "200 OK", R"({"data":{"users":{"mode":"learner"}}})");
    addReply("users as a bare text", "200 OK", R"({"data":{"users":"learner"}})");
    addReply("null users", "200 OK", R"({"data":{"users":null}})");
}

void tst_Learners::failedLearnersRequestKeepsTheList()
{
    QFETCH(QByteArray, status);
    QFETCH(QByteArray, reply);
    startSession();
    service->expect(LEARNERS, TOKEN_BODY)
        .json(R"({"data":{"users":[{"mode":"learner","userToken":"d1"}]}})");
    QVERIFY(client->doGetLearners());
    service->expect(LEARNERS, TOKEN_BODY).status(status, reply);
    QVERIFY(client->doGetLearners());
    QCOMPARE(client->getLearners().size(), 1);
    QCOMPARE(client->getLearners().first().deviceId, u"d1"_s);
    QVERIFY(client->getLastErrorKey().isNull());
    expectStop();
}

void tst_Learners::learnersWithoutASessionSendNothing()
{
    LogCapture log;
    QVERIFY(!client->doGetLearners());
    QCOMPARE(log.messages(), QStringList{"[PresenterClient] No session to get users for!"});
    QVERIFY(service->requests().isEmpty());
}

QTEST_GUILESS_MAIN(tst_Learners)
#include "tst_learners.moc"
