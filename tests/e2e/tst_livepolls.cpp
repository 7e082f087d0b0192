#include "e2e/LiveSession.h"
#include "e2e/PayloadJson.h"

// Polls: what the learners' devices got, field by field, and what the host was told.
class tst_LivePolls : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void pollsOfEveryKind_data() { addTransportAndTlsRows(); }
    void pollsOfEveryKind();
    void everyFormOfPayloadIsUnderstood_data();
    void everyFormOfPayloadIsUnderstood();
    void pausedLearnersAnswerAfterResume_data() { addTransportRows(); }
    void pausedLearnersAnswerAfterResume();
    void stoppedPollIsAnsweredByNobody();
};

namespace
{

using Tarvo::OrdinalType;
using Tarvo::PollType;

// ---- What a poll is sent as ----------------------------------------------------------------------

const char FIXED_FORM[] = R"({
    "type": "", "expressionQuestionId": 1, "metadata": {}, "id": "", "sessionToken": "",
    "sessionCode": "", "lessonId": null, "startTime": 1395358151638,
    "lastUpdatedOn": 1395358151638,
    "card": {"segment": "fake-id", "tracks": [{"placeholder": true}], "visible": true,
             "ordinal": 1395358139515, "components": [],
             "styles": {"backgroundColor": "", "backgroundImage": "", "backgroundSize": "100%"}},
    "unrespondedUsers": []})";

struct PollCase {
    PollType::POLL_TYPE kind;
    OrdinalType::ORDINAL_TYPE labels;
    int count;
    const char *name;
    const char *typeId;  // null: sent in the fixed form
    const char *members; // beside those that every question has
    const char *answer;  // of learner 0, who has answered all polls before in the table
};

const PollCase POLL_CASES[] = {
    {PollType::TRUE_FALSE, OrdinalType::TRUE_FALSE, 2, "true-false",
     "3c476afbcfce45eda0b44df4737c3d27", R"({
        "metadata": {"ordinalType": "true-false", "options": [0, 1]},
        "activityOptions": [
            {"id": "A", "optionText": "TRUE", "displaySeqNumber": 0, "math": false},
            {"id": "B", "optionText": "FALSE", "displaySeqNumber": 1, "math": false}]})",
     "A"},
    {PollType::YES_NO_OTHER, OrdinalType::YES_NO_OTHER, 3, "yes-no-other",
     "3c476afbcfce45eda0b44df4737c3d27", R"({
        "metadata": {"ordinalType": "yes-no-other", "options": [0, 1, 2]},
        "activityOptions": [
            {"id": "A", "optionText": "YES", "displaySeqNumber": 0, "math": false},
            {"id": "B", "optionText": "NO", "displaySeqNumber": 1, "math": false},
            {"id": "?", "optionText": "DONTKNOW", "displaySeqNumber": 2, "math": false}]})",
     "B"},
    {PollType::MULTIPLE, OrdinalType::ALPHA_UPPER, 4, "multiple",
     "8755bfc923cb492094df5c842a30da5f", R"({
        "metadata": {"ordinalType": "alpha-upper", "options": [0, 1, 2, 3]},
        "numberOfCorrectOptions": 1,
        "activityOptions": [
            {"id": "A", "optionText": "A", "displaySeqNumber": 0, "math": false},
            {"id": "B", "optionText": "B", "displaySeqNumber": 1, "math": false},
            {"id": "C", "optionText": "C", "displaySeqNumber": 2, "math": false},
            {"id": "D", "optionText": "D", "displaySeqNumber": 3, "math": false}]})",
     "C"},
    {PollType::SCALE, OrdinalType::NUMBER, 5, "scale", "c80eb89f2c7240fb83d53069bf4c1f2c", R"({
        "metadata": {"ordinalType": "number", "options": [0, 1, 2, 3, 4]},
        "activityOptions": [
            {"id": "0", "optionText": "0", "displaySeqNumber": 0, "math": false},
            {"id": "1", "optionText": "1", "displaySeqNumber": 1, "math": false},
            {"id": "2", "optionText": "2", "displaySeqNumber": 2, "math": false},
            {"id": "3", "optionText": "3", "displaySeqNumber": 3, "math": false},
            {"id": "4", "optionText": "4", "displaySeqNumber": 4, "math": false}]})",
     "3"},
    {PollType::SORT, OrdinalType::ALPHA_LOWER, 3, "sort", "be8a3a7f5d624a798ec54900385a9eb8", R"({
        "metadata": {"ordinalType": "alpha-lower", "options": [0, 1, 2]},
        "activityOptions": [
            {"id": "a", "optionText": "a", "displaySeqNumber": 0, "math": false},
            {"id": "b", "optionText": "b", "displaySeqNumber": 1, "math": false},
            {"id": "c", "optionText": "c", "displaySeqNumber": 2, "math": false}]})",
     "bca"},
    {PollType::TEXT, OrdinalType::GENERIC, 0, "text", "6efc81c52cfe4502976de55df9af2f89",
     R"({"maxChars": 0})", "The answer is ember."},
    {PollType::WORD_SEED, OrdinalType::GENERIC, 0, "word-seed", nullptr,
     R"({"metadata": {"ordinalType": "generic", "options": []}})", "willow"},
    {PollType::NUMBER, OrdinalType::GENERIC, 0, "number", "24e7bda40c4140f896648511a5782466",
     R"({"noOfDecimals": 0})", "9"},
    {PollType::CREATIVE, OrdinalType::AGREEMENT, 3, "creative", nullptr,
     R"({"metadata": {"ordinalType": "agreement", "options": [0, 1, 2]}})", "cloud,stone"},
    {PollType::MATH_FORMULA, OrdinalType::CONFIDENCE, 0, "math formula",
     "9f31dd1a55374c49a3127b8f94a1f1a6", "{}", "x=\\frac{10}{2}"},
};

QJsonObject expectedPayload(const PollCase &poll, const QString &id, const LiveSession &session)
{
    if (!poll.typeId) {
        return merged(merged(json(FIXED_FORM), json(poll.members)),
                      {{"type", poll.name},
                       {"id", id},
                       {"sessionToken", session.token()},
                       {"sessionCode", session.client->getSessionCode()}});
    }
    return merged(merged(json(QUESTION), json(poll.members)),
                  {{"type", poll.name},
                   {"id", id},
                   {"activityType", QJsonObject{{"id", poll.typeId}, {"name", poll.name}}}});
}

} // namespace

void tst_LivePolls::pollsOfEveryKind()
{
    QFETCH(QString, transport);
    QFETCH(bool, tls);
    const Far far(tls, {"--learners", "1", "--think", "20"});
    LiveSession session(*far, transport);
    QVERIFY(openWithLearners(session, 1));
    const QString device = far->learners().at(0)["deviceId"].toString();
    const QString userToken = session.client->getUserToken();
    QSignalSpy answers(session.channel, &PresenterCollab::learnerPollResponse);

    QStringList ids; // that the learner answered by
    int since = far->lastNumber();
    for (const PollCase &poll : POLL_CASES) {
        session.channel->startPoll(poll.kind, poll.labels, poll.count, 0);
        const QString pollId = session.channel->getCurrentPollId();
        const QString type = poll.typeId ? "questionStart" : "poll";
        const QJsonValue message =
            far->journal({{"kind", "received"}, {"type", type}}, 1, since).at(0);
        QCOMPARE(message["address"].toString(), session.token());
        QCOMPARE(message["from"].toString(), userToken);
        QCOMPARE(message["form"].toString(), QString("base64"));
        QCOMPARE(message["version"].toString(), QString(poll.typeId ? "3.0.0" : ""));
        QCOMPARE(message["sourceSystem"].toString(), QString(poll.typeId ? "Corvel" : ""));
        const QJsonObject payload = message["data"].toObject();
        const QString id = payload["id"].toString();
        if (poll.typeId)
            QVERIFY2(QRegularExpression("^[A-Za-z0-9]{8}$").match(id).hasMatch(), qPrintable(id));
        else
            QCOMPARE(id, pollId);
        QCOMPARE(text(payload), text(expectedPayload(poll, id, session)));
        ids.append(id);

        // The learner has answered before the poll is stopped.
        const QString answerType = poll.typeId ? "questionResponse" : "pollResponse";
        QCOMPARE(far->journal({{"kind", "publish"}, {"type", answerType}}, 1, since).size(), 1);
        session.channel->stopPoll();
        const QJsonValue stop =
            far->journal({{"kind", "received"}, {"type", "pollStop"}}, 1, since).at(0);
        QCOMPARE(stop["address"].toString(), session.token());
        QCOMPARE(stop["text"].toString(), "\"" + pollId + "\"");
        since = far->lastNumber();
    }

    QTRY_COMPARE_WITH_TIMEOUT(answers.count(), int(std::size(POLL_CASES)), LONG_MS);
    for (int i = 0; i < answers.count(); ++i) {
        QCOMPARE(answers.at(i), QVariantList({device, ids.at(i), 20, POLL_CASES[i].answer}));
    }
}

void tst_LivePolls::everyFormOfPayloadIsUnderstood_data()
{
    QTest::addColumn<QString>("form");
    for (const char *form : {"base64", "integers", "string"})
        QTest::newRow(form) << form;
}

void tst_LivePolls::everyFormOfPayloadIsUnderstood()
{
    QFETCH(QString, form);
    const Far far(false, {"--learners", "1", "--think", "20", "--payload-form", form});
    LiveSession session(*far, "websocket");
    QVERIFY(session.open());
    QSignalSpy joined(session.channel, &PresenterCollab::learnerJoin);
    QSignalSpy answers(session.channel, &PresenterCollab::learnerPollResponse);
    QTRY_COMPARE_WITH_TIMEOUT(joined.count(), 1, LONG_MS);
    QCOMPARE(joined.first().first().value<Tarvo::Learner>().userName, QString("Ada"));
    QCOMPARE(far->journal({{"kind", "publish"}, {"type", "join"}}).at(0)["form"].toString(), form);
    session.channel->startPoll(PollType::TEXT, OrdinalType::GENERIC, 0, 0);
    QTRY_COMPARE_WITH_TIMEOUT(answers.count(), 1, LONG_MS);
    QCOMPARE(answers.first().at(3).toString(), QString("The answer is river."));
}

void tst_LivePolls::pausedLearnersAnswerAfterResume()
{
    QFETCH(QString, transport);
    QFETCH(bool, tls);
    const Far far(tls, {"--learners", "1", "--think", "500"});
    LiveSession session(*far, transport);
    QVERIFY(openWithLearners(session, 1));
    QSignalSpy answers(session.channel, &PresenterCollab::learnerPollResponse);

    session.channel->startPoll(PollType::TRUE_FALSE, OrdinalType::TRUE_FALSE, 2, 0);
    session.channel->pausePoll();
    const QString quotedId = "\"" + session.channel->getCurrentPollId() + "\"";
    const QJsonValue pause = far->receivedOne("pause");
    QCOMPARE(pause["address"].toString(), session.token());
    QCOMPARE(pause["text"].toString(), quotedId);
    QCOMPARE(far->journal({{"kind", "device"}, {"event", "paused"}}).size(), 1);
    QCOMPARE(far->countNow({{"kind", "publish"}, {"type", "questionResponse"}}), 0);

    session.channel->resumePoll();
    const QJsonValue resume = far->receivedOne("resume");
    QCOMPARE(resume["address"].toString(), session.token());
    QCOMPARE(resume["text"].toString(), quotedId);
    QTRY_COMPARE_WITH_TIMEOUT(answers.count(), 1, LONG_MS);
    // The answer came after the resume.
    const int resumed = far->journal({{"kind", "device"}, {"event", "resumed"}}).at(0)["n"].toInt();
    const int answered =
        far->journal({{"kind", "publish"}, {"type", "questionResponse"}}).at(0)["n"].toInt();
    QVERIFY(answered > resumed);
}

void tst_LivePolls::stoppedPollIsAnsweredByNobody()
{
    // The first learner would answer after half a second, but the poll is over before.
    const Far far(false, {"--learners", "1", "--think", "500"});
    LiveSession session(*far, "websocket");
    QVERIFY(openWithLearners(session, 1));
    session.channel->startPoll(PollType::TEXT, OrdinalType::GENERIC, 0, 0);
    session.channel->stopPoll();
    QCOMPARE(far->received("pollStop").size(), 1);
    // A second poll is answered; the first is not, though its time was up earlier.
    session.channel->startPoll(PollType::NUMBER, OrdinalType::GENERIC, 0, 0);
    QSignalSpy answers(session.channel, &PresenterCollab::learnerPollResponse);
    QTRY_COMPARE_WITH_TIMEOUT(answers.count(), 1, LONG_MS);
    QCOMPARE(answers.first().at(3).toString(), QString("1"));
}

QTEST_GUILESS_MAIN(tst_LivePolls)
#include "tst_livepolls.moc"
