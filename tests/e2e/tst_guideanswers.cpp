#include "Answers.h"
#include "e2e/LiveSession.h"
#include "support/Text.h"

#include "host/LiveClass.h"
#include "model/QuestionText.h"

// What the guide answers to what people ask, where no other test holds it.
class tst_GuideAnswers : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void joinsAreHeardByWhoConnectsBehindTheStart_data() { addRows(true); }
    void joinsAreHeardByWhoConnectsBehindTheStart();
    void answersNameTheirQuestion();
    void questionOfTheHostChangesNoPollId();
    void sessionStopsWithAPollRunning();
    void lostChannelIsOpenedAgain_data() { addRows(false); }
    void lostChannelIsOpenedAgain();
    void stoppedSessionIsNotOpenedAgain();
    void listingTellsThatTheSessionIsGone();
    void unsendablePasswordIsRefused_data();
    void unsendablePasswordIsRefused();
    void escapedPasswordSignsIn();
    void hostKitSendsNoUnsendablePassword();

private:
    // A row for each way of carrying the channel robustly; and the default one, whose open() waits.
    static void addRows(bool withDefault);

    std::unique_ptr<Classroom> m_classroom; // for tests that need no other
};

void tst_GuideAnswers::initTestCase()
{
    Guide::silenceTheLibrary();
    m_classroom = std::make_unique<Classroom>(
        words(u"--learners 1 --think 20 --user teacher --password secret"_s)
        + QStringList{u"--user"_s, u"quoting"_s, u"--password"_s, u"se\"cret"_s}
        + QStringList{u"--user"_s, u"backslashing"_s, u"--password"_s, u"se\\cret"_s}
        + QStringList{u"--user"_s, u"tabbing"_s, u"--password"_s, u"se\\tcret"_s});
    QVERIFY2(!m_classroom->url().isEmpty(), qPrintable(m_classroom->errors()));
}

void tst_GuideAnswers::addRows(bool withDefault)
{
    addWayColumns();
    if (withDefault)
        QTest::newRow("websocket") << u"websocket"_s << false << false;
    QTest::newRow("robust websocket") << u"websocket"_s << false << true;
    QTest::newRow("robust xhr-polling") << u"xhr-polling"_s << false << true;
}

void tst_GuideAnswers::joinsAreHeardByWhoConnectsBehindTheStart()
{
    const Far far(rowWay(), words(u"--learners 3 --join-every 1"_s));
    LiveSession session(*far, rowWay());
    QVERIFY(session.create());
    QVERIFY(session.startChannel());
    QSignalSpy joined(session.channel, &PresenterCollab::learnerJoin);
    QTRY_COMPARE_WITH_TIMEOUT(joined.count(), 3, LONG_MS);
}

void tst_GuideAnswers::answersNameTheirQuestion()
{
    LiveSession session(*m_classroom, u"websocket"_s);
    QVERIFY(openWithLearners(session, 1));
    QSignalSpy answers(session.channel, &PresenterCollab::learnerPollResponse);
    session.channel->startPoll(Tarvo::PollType::TEXT, Tarvo::OrdinalType::GENERIC, 0, 0);
    QTRY_COMPARE_WITH_TIMEOUT(answers.count(), 1, LONG_MS);
    QCOMPARE(answers.last().at(1).toString(), session.channel->getCurrentQuestionId());
    QVERIFY(session.channel->getCurrentQuestionId() != session.channel->getCurrentPollId());

    session.channel->startPoll(Tarvo::PollType::WORD_SEED, Tarvo::OrdinalType::GENERIC, 0, 0);
    QTRY_COMPARE_WITH_TIMEOUT(answers.count(), 2, LONG_MS);
    QCOMPARE(answers.last().at(1).toString(), session.channel->getCurrentPollId());
    QCOMPARE(session.channel->getCurrentQuestionId(), session.channel->getCurrentPollId());
}

void tst_GuideAnswers::questionOfTheHostChangesNoPollId()
{
    PresenterCollab channel(nullptr, QString(), QString(), u"abc123"_s, u"t42"_s);
    channel.startPoll(Tarvo::PollType::TEXT, Tarvo::OrdinalType::GENERIC, 0, 0);
    const QString pollId = channel.getCurrentPollId();
    const QString questionId = channel.getCurrentQuestionId();
    Tarvo::QuestionText question(nullptr);
    question.setID(u"own"_s);
    channel.sendQuestion(&question);
    QCOMPARE(channel.getCurrentPollId(), pollId);
    QCOMPARE(channel.getCurrentQuestionId(), questionId);
}

void tst_GuideAnswers::sessionStopsWithAPollRunning()
{
    LiveSession session(*m_classroom, u"websocket"_s);
    QVERIFY(openWithLearners(session, 1));
    const int before = m_classroom->lastNumber();
    session.channel->startPoll(Tarvo::PollType::TEXT, Tarvo::OrdinalType::GENERIC, 0, 0);
    QVERIFY(session.client->doStopSession());
    QVERIFY(session.client->wasStopConfirmed());
    const auto received = [&](const QString &type, int count) {
        return m_classroom->journal(u"received"_s, {{u"type"_s, type}}, count, before).size();
    };
    QCOMPARE(received(u"disconnect"_s, 1), 1);
    QCOMPARE(received(u"pollStop"_s, 0), 0);
}

// The learners stay, and are told nothing; the poll that runs can still be stopped.
void tst_GuideAnswers::lostChannelIsOpenedAgain()
{
    const Far far(rowWay(), words(u"--learners 2 --think 20"_s));
    LiveSession session(*far, rowWay());
    QVERIFY(openWithLearners(session, 2));
    Guide::reopenWhenLost(*session.client, session.channel);
    QSignalSpy closed(session.channel, &PresenterCollab::connectionClosed);
    session.channel->startPoll(Tarvo::PollType::TEXT, Tarvo::OrdinalType::GENERIC, 0, 0);
    QCOMPARE(far->received(u"questionStart"_s, 2).size(), 2);
    const int before = far->lastNumber();

    far->remove(u"connections"_s);
    QTRY_COMPARE_WITH_TIMEOUT(closed.count(), 1, LONG_MS);
    QCOMPARE(closed.first().first().toBool(), false);
    far->post(u"learners"_s, {{u"count"_s, 1}});
    QVERIFY(session.awaitChannel());
    QCOMPARE(far->journal(u"received"_s, {{u"role"_s, u"learner"_s}}, 0, before), QJsonArray());
    QVERIFY(session.client->doGetLearners());
    QCOMPARE(session.client->getLastReply().error, QNetworkReply::NoError);
    QCOMPARE(session.client->getLearners().size(), 3);
    session.channel->stopPoll();
    QCOMPARE(far->received(u"pollStop"_s, 3).size(), 3);
    QVERIFY(session.client->doLogout());
    QCOMPARE(closed.count(), 2);
}

void tst_GuideAnswers::stoppedSessionIsNotOpenedAgain()
{
    LiveSession session(*m_classroom, Way{u"websocket"_s, false, true});
    QVERIFY(session.open());
    Guide::reopenWhenLost(*session.client, session.channel);
    QSignalSpy closed(session.channel, &PresenterCollab::connectionClosed);
    m_classroom->remove(u"connections"_s);
    QTRY_COMPARE_WITH_TIMEOUT(closed.count(), 1, LONG_MS);
    QVERIFY(session.client->doStopSession());
    QTest::qWait(1500); // the host's second, and more
    QCOMPARE(session.channel->getTransport(), QString());
}

void tst_GuideAnswers::listingTellsThatTheSessionIsGone()
{
    LiveSession session(*m_classroom, u"websocket"_s);
    QVERIFY(session.open());
    m_classroom->fail(u"/vantora/session/getusers"_s, 404,
                      uR"({"errorMsgKeys":["session.error.unknownSession"]})"_s);
    QVERIFY(session.client->doGetLearners());
    QCOMPARE(session.client->getLastReply().httpStatus, 404);
    QVERIFY(session.client->getLastReply().error != QNetworkReply::NoError);
    QVERIFY(session.client->doGetLearners());
    QCOMPARE(session.client->getLastReply().error, QNetworkReply::NoError);
    m_classroom->remove(u"sign-ins"_s);
    QVERIFY(session.client->doGetLearners());
    QCOMPARE(session.client->getLastReply().httpStatus, 403);
    QVERIFY(session.client->getLastReply().error != QNetworkReply::NoError);
}

void tst_GuideAnswers::unsendablePasswordIsRefused_data()
{
    QTest::addColumn<QString>("user");
    QTest::addColumn<QString>("password");
    QTest::addColumn<int>("status");
    QTest::addColumn<QString>("key");
    const QString noJson = u"request.error.invalidJson"_s;
    const QString wrong = u"login.error.wrongCredentials"_s;
    QTest::newRow("quotation mark") << u"quoting"_s << u"se\"cret"_s << 400 << noJson;
    QTest::newRow("backslash") << u"backslashing"_s << u"se\\cret"_s << 400 << noJson;
    QTest::newRow("read as a tab") << u"tabbing"_s << u"se\\tcret"_s << 403 << wrong;
}

void tst_GuideAnswers::unsendablePasswordIsRefused()
{
    QFETCH(QString, user);
    QFETCH(QString, password);
    PresenterClient client(nullptr, m_classroom->url());
    QVERIFY(!client.doLogin(user, password));
    QTEST(client.getLastReply().httpStatus, "status");
    QTEST(client.getLastErrorKey(), "key");
}

void tst_GuideAnswers::escapedPasswordSignsIn()
{
    PresenterClient client(nullptr, m_classroom->url());
    QVERIFY(client.doLogin(u"quoting"_s, u"se\\\"cret"_s));
    QVERIFY(client.doLogin(u"backslashing"_s, u"se\\\\cret"_s));
}

void tst_GuideAnswers::hostKitSendsNoUnsendablePassword()
{
    const int before = m_classroom->countNow(u"request"_s);
    Tarvo::LiveClass lesson;
    QSignalSpy failed(&lesson, &Tarvo::LiveClass::failed);
    lesson.signIn(m_classroom->url(), u"quoting"_s, u"se\"cret"_s);
    QTRY_COMPARE_WITH_TIMEOUT(failed.count(), 1, LONG_MS);
    QCOMPARE(failed.first().first().value<Tarvo::Failure>().message(),
             u"The name or password cannot be sent: it holds a quotation mark or a backslash."_s);
    QCOMPARE(m_classroom->countNow(u"request"_s), before);
}

QTEST_GUILESS_MAIN(tst_GuideAnswers)
#include "tst_guideanswers.moc"
