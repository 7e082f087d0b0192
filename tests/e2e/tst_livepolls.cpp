#include "e2e/LiveSession.h"
#include "e2e/PayloadJson.h"
#include "support/Text.h"

// Polls: what the learners' devices got, field by field, and what the host was told.
class tst_LivePolls : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void pollsOfEveryKind_data() { addLessonAndTlsRows(); }
    void pollsOfEveryKind();
    void everyFormOfPayloadIsUnderstood_data();
    void everyFormOfPayloadIsUnderstood();
    void pausedLearnersAnswerAfterResume_data() { addLessonRows(); }
    void pausedLearnersAnswerAfterResume();
    void stoppedPollIsAnsweredByNobody_data() { addWebSocketAndRobustRows(); }
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
    QString name;
    QString typeId;      // empty: sent in the fixed form
    const char *members; // beside those that every question has
    QString answer;      // of learner 0, who has answered all polls before in the table
};

const PollCase POLL_CASES[] = {
    {PollType::TRUE_FALSE, OrdinalType::TRUE_FALSE, 2, u"true-false"_s,
     u"3c476afbcfce45eda0b44df4737c3d27"_s, R"({
        "metadata": {"ordinalType": "true-false", "options": [0, 1]},
        "activityOptions": [
            {"id": "A", "optionText": "TRUE", "displaySeqNumber": 0, "math": false},
            {"id": "B", "optionText": "FALSE", "displaySeqNumber": 1, "math": false}]})",
     u"A"_s},
    {PollType::YES_NO_OTHER, OrdinalType::YES_NO_OTHER, 3, u"yes-no-other"_s,
     u"3c476afbcfce45eda0b44df4737c3d27"_s, R"({
        "metadata": {"ordinalType": "yes-no-other", "options": [0, 1, 2]},
        "activityOptions": [
            {"id": "A", "optionText": "YES", "displaySeqNumber": 0, "math": false},
            {"id": "B", "optionText": "NO", "displaySeqNumber": 1, "math": false},
            {"id": "?", "optionText": "DONTKNOW", "displaySeqNumber": 2, "math": false}]})",
     u"B"_s},
    {PollType::MULTIPLE, OrdinalType::ALPHA_UPPER, 4, u"multiple"_s,
     u"8755bfc923cb492094df5c842a30da5f"_s, R"({
        "metadata": {"ordinalType": "alpha-upper", "options": [0, 1, 2, 3]},
        "numberOfCorrectOptions": 1,
        "activityOptions": [
            {"id": "A", "optionText": "A", "displaySeqNumber": 0, "math": false},
            {"id": "B", "optionText": "B", "displaySeqNumber": 1, "math": false},
            {"id": "C", "optionText": "C", "displaySeqNumber": 2, "math": false},
            {"id": "D", "optionText": "D", "displaySeqNumber": 3, "math": false}]})",
     u"C"_s},
    {PollType::SCALE, OrdinalType::NUMBER, 5, u"scale"_s, u"c80eb89f2c7240fb83d53069bf4c1f2c"_s,
     R"({
        "metadata": {"ordinalType": "number", "options": [0, 1, 2, 3, 4]},
        "activityOptions": [
            {"id": "0", "optionText": "0", "displaySeqNumber": 0, "math": false},
            {"id": "1", "optionText": "1", "displaySeqNumber": 1, "math": false},
            {"id": "2", "optionText": "2", "displaySeqNumber": 2, "math": false},
            {"id": "3", "optionText": "3", "displaySeqNumber": 3, "math": false},
            {"id": "4", "optionText": "4", "displaySeqNumber": 4, "math": false}]})",
     u"3"_s},
    {PollType::SORT, OrdinalType::ALPHA_LOWER, 3, u"sort"_s, u"be8a3a7f5d624a798ec54900385a9eb8"_s,
     R"({
        "metadata": {"ordinalType": "alpha-lower", "options": [0, 1, 2]},
        "activityOptions": [
            {"id": "a", "optionText": "a", "displaySeqNumber": 0, "math": false},
            {"id": "b", "optionText": "b", "displaySeqNumber": 1, "math": false},
            {"id": "c", "optionText": "c", "displaySeqNumber": 2, "math": false}]})",
     u"b,c,a"_s},
    {PollType::TEXT, OrdinalType::GENERIC, 0, u"text"_s, u"6efc81c52cfe4502976de55df9af2f89"_s,
     R"({"maxChars": 0})", u"The answer is ember."_s},
    {PollType::WORD_SEED,
     OrdinalType::GENERIC,
     0,
     u"word-seed"_s,
     {},
     R"({"metadata": {"ordinalType": "generic", "options": []}})",
     u"willow"_s},
    {PollType::NUMBER, OrdinalType::GENERIC, 0, u"number"_s, u"24e7bda40c4140f896648511a5782466"_s,
     R"({"noOfDecimals": 0})", u"9"_s},
    {PollType::CREATIVE,
     OrdinalType::AGREEMENT,
     3,
     u"creative"_s,
     {},
     R"({"metadata": {"ordinalType": "agreement", "options": [0, 1, 2]}})",
     u"cloud,stone"_s},
    {PollType::MATH_FORMULA, OrdinalType::CONFIDENCE, 0, u"math formula"_s,
     u"9f31dd1a55374c49a3127b8f94a1f1a6"_s, "{}", u"x=\\frac{10}{2}"_s},
};

QJsonObject expectedPayload(const PollCase &poll, const QString &id, const LiveSession &session)
{
    if (poll.typeId.isEmpty()) {
        return merged(merged(json(FIXED_FORM), json(poll.members)),
                      {{u"type"_s, poll.name},
                       {u"id"_s, id},
                       {u"sessionToken"_s, session.token()},
                       {u"sessionCode"_s, session.client->getSessionCode()}});
    }
    return merged(
        merged(json(QUESTION), json(poll.members)),
        {{u"type"_s, poll.name},
         {u"id"_s, id},
         {u"activityType"_s, QJsonObject{{u"id"_s, poll.typeId}, {u"name"_s, poll.name}}}});
}

} // namespace

void tst_LivePolls::pollsOfEveryKind()
{
    const Far far(rowWay(), words(u"--learners 1 --think 20"_s));
    LiveSession session(*far, rowWay());
    QVERIFY(openWithLearners(session, 1));
    const QString device = far->deviceId(0);
    const QString userToken = session.client->getUserToken();
    QSignalSpy answers(session.channel, &PresenterCollab::learnerPollResponse);

    QStringList ids; // that the learner answered by
    int since = far->lastNumber();
    for (const PollCase &poll : POLL_CASES) {
        session.channel->startPoll(poll.kind, poll.labels, poll.count, 0);
        const QString pollId = session.channel->getCurrentPollId();
        const bool isQuestion = !poll.typeId.isEmpty();
        const QString type = isQuestion ? u"questionStart"_s : u"poll"_s;
        const QJsonValue message = far->journal(u"received"_s, {{u"type"_s, type}}, 1, since).at(0);
        QCOMPARE(message[u"address"_s].toString(), session.token());
        QCOMPARE(message[u"from"_s].toString(), userToken);
        QCOMPARE(message[u"form"_s].toString(), u"base64"_s);
        QCOMPARE(message[u"version"_s].toString(), isQuestion ? u"3.0.0"_s : QString());
        QCOMPARE(message[u"sourceSystem"_s].toString(), isQuestion ? u"Corvel"_s : QString());
        const QJsonObject payload = message[u"data"_s].toObject();
        const QString id = payload[u"id"_s].toString();
        if (isQuestion)
            QVERIFY2(QRegularExpression(u"^[A-Za-z0-9]{8}$"_s).match(id).hasMatch(),
                     qPrintable(id));
        else
            QCOMPARE(id, pollId);
        QCOMPARE(text(payload), text(expectedPayload(poll, id, session)));
        ids.append(id);

        // The learner has answered before the poll is stopped.
        const QString answerType = isQuestion ? u"questionResponse"_s : u"pollResponse"_s;
        QCOMPARE(far->journal(u"publish"_s, {{u"type"_s, answerType}}, 1, since).size(), 1);
        session.channel->stopPoll();
        const QJsonValue stop =
            far->journal(u"received"_s, {{u"type"_s, u"pollStop"_s}}, 1, since).at(0);
        QCOMPARE(stop[u"address"_s].toString(), session.token());
        QCOMPARE(stop[u"text"_s].toString(), u"\""_s + pollId + u"\""_s);
        since = far->lastNumber();
    }

    QTRY_COMPARE_WITH_TIMEOUT(answers.count(), int(std::size(POLL_CASES)), LONG_MS);
    for (int i = 0; i < answers.count(); ++i)
        QCOMPARE(answers.at(i), QVariantList({device, ids.at(i), 20, POLL_CASES[i].answer}));
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
    const Far far(false,
                  {u"--learners"_s, u"1"_s, u"--think"_s, u"20"_s, u"--payload-form"_s, form});
    LiveSession session(*far, u"websocket"_s);
    QVERIFY(session.open());
    QSignalSpy joined(session.channel, &PresenterCollab::learnerJoin);
    QSignalSpy answers(session.channel, &PresenterCollab::learnerPollResponse);
    QTRY_COMPARE_WITH_TIMEOUT(joined.count(), 1, LONG_MS);
    QCOMPARE(joined.first().first().value<Tarvo::Learner>().userName, u"Ada"_s);
    QCOMPARE(far->journal(u"publish"_s, {{u"type"_s, u"join"_s}}).at(0)[u"form"_s].toString(),
             form);
    session.channel->startPoll(PollType::TEXT, OrdinalType::GENERIC, 0, 0);
    QTRY_COMPARE_WITH_TIMEOUT(answers.count(), 1, LONG_MS);
    QCOMPARE(answers.first().at(3).toString(), u"The answer is river."_s);
}

void tst_LivePolls::pausedLearnersAnswerAfterResume()
{
    const Far far(rowWay(), words(u"--learners 1 --think 500"_s));
    LiveSession session(*far, rowWay());
    QVERIFY(openWithLearners(session, 1));
    QSignalSpy answers(session.channel, &PresenterCollab::learnerPollResponse);

    session.channel->startPoll(PollType::TRUE_FALSE, OrdinalType::TRUE_FALSE, 2, 0);
    session.channel->pausePoll();
    const QString quotedId = u"\""_s + session.channel->getCurrentPollId() + u"\""_s;
    const QJsonValue pause = far->receivedOne(u"pause"_s);
    QCOMPARE(pause[u"address"_s].toString(), session.token());
    QCOMPARE(pause[u"text"_s].toString(), quotedId);
    QCOMPARE(far->journal(u"device"_s, {{u"event"_s, u"paused"_s}}).size(), 1);
    QCOMPARE(far->countNow(u"publish"_s, {{u"type"_s, u"questionResponse"_s}}), 0);

    session.channel->resumePoll();
    const QJsonValue resume = far->receivedOne(u"resume"_s);
    QCOMPARE(resume[u"address"_s].toString(), session.token());
    QCOMPARE(resume[u"text"_s].toString(), quotedId);
    QTRY_COMPARE_WITH_TIMEOUT(answers.count(), 1, LONG_MS);
    // The answer came after the resume.
    const int resumed =
        far->journal(u"device"_s, {{u"event"_s, u"resumed"_s}}).at(0)[u"n"_s].toInt();
    const int answered =
        far->journal(u"publish"_s, {{u"type"_s, u"questionResponse"_s}}).at(0)[u"n"_s].toInt();
    QVERIFY(answered > resumed);
}

void tst_LivePolls::stoppedPollIsAnsweredByNobody()
{
    // The first learner would answer after half a second, but the poll is over before.
    const Far far(rowWay(), words(u"--learners 1 --think 500"_s));
    LiveSession session(*far, rowWay());
    QVERIFY(openWithLearners(session, 1));
    session.channel->startPoll(PollType::TEXT, OrdinalType::GENERIC, 0, 0);
    session.channel->stopPoll();
    QCOMPARE(far->received(u"pollStop"_s).size(), 1);
    // A second poll is answered; the first is not, though its time was up earlier.
    session.channel->startPoll(PollType::NUMBER, OrdinalType::GENERIC, 0, 0);
    QSignalSpy answers(session.channel, &PresenterCollab::learnerPollResponse);
    QTRY_COMPARE_WITH_TIMEOUT(answers.count(), 1, LONG_MS);
    QCOMPARE(answers.first().at(3).toString(), u"1"_s);
}

QTEST_GUILESS_MAIN(tst_LivePolls)
#include "tst_livepolls.moc"
