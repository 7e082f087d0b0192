// Single questions on a channel: what goes out, whom to, and what stays as it was.
#include "OpenChannel.h"
#include "model/Card.h"
#include "model/JsonSerializer.h"
#include "model/QuestionSort.h"
#include "model/QuestionText.h"
#include "model/QuestionYesNo.h"

#include <QtTest/QtTest>

#include <optional>

using Tarvo::JsonSerializer;
using Tarvo::QuestionBase;

class tst_SentQuestions : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { QVERIFY(host.emplace().open()); }
    void cleanup() { host.reset(); }

    void sentQuestionArrivesWhole();
    void sentQuestionIsTheSerializersText_data();
    void sentQuestionIsTheSerializersText();
    void sentQuestionGoesToItsAddress();
    void sentQuestionGetsItsIdAndNameAndKeepsTheRest();
    void questionOfNoKnownKindIsSentWithoutTypeId();
    void noQuestionIsNotSent();

private:
    std::optional<OpenChannel> host;
};

void tst_SentQuestions::sentQuestionArrivesWhole()
{
    Tarvo::QuestionText question(nullptr);
    question.setID("q1");
    question.setmaxChars(40);
    host->channel.sendQuestion(&question);
    const Published sent = host->sent(0);
    QCOMPARE(sent.address, u"session"_s);
    QCOMPARE(sent.payload, golden("sent-question.json"));
}

void tst_SentQuestions::sentQuestionIsTheSerializersText_data()
{
    QTest::addColumn<int>("kind");
    for (const PollKind &kind : pollKinds) {
        if (kind.className)
            QTest::addRow("%d %s", kind.value, kind.name) << kind.value;
    }
}

void tst_SentQuestions::sentQuestionIsTheSerializersText()
{
    QFETCH(int, kind);
    const std::unique_ptr<QuestionBase> question(host->channel.createPollQuestion(
        pollKinds[kind].type(), Tarvo::OrdinalType::AGREEMENT, 3, 0));
    auto *card = new Tarvo::Card(question.get());
    question->setcard(card);
    host->channel.sendQuestion(question.get());
    QCOMPARE(host->sent(0).payload, JsonSerializer::serializeToJson(question.get()));
}

void tst_SentQuestions::sentQuestionGoesToItsAddress()
{
    Tarvo::QuestionSort question(nullptr);
    host->channel.sendQuestion(".user.d1", &question);
    host->channel.sendQuestion("elsewhere", &question);
    QCOMPARE(host->sent(0).address, u"session.user.d1"_s);
    QCOMPARE(host->sent(1).address, u"elsewhere"_s);
    QCOMPARE(host->sent(0).payload, host->sent(1).payload);
}

void tst_SentQuestions::sentQuestionGetsItsIdAndNameAndKeepsTheRest()
{
    UnopenedChannel channel;
    Tarvo::QuestionYesNo question(nullptr);
    question.trueFalse = true;
    question.setID("q1");
    question.sethint("think");
    question.setactivityType({{"name", "other"}, {"extra", 1}, {"level", "hard"}});
    const QString before = JsonSerializer::serializeToJson(&question);
    channel.sendQuestion(&question);
    QCOMPARE(question.activityType(),
             (QVariantMap{{"id", "3c476afbcfce45eda0b44df4737c3d27"},
                          {"name", "true-false"},
                          {"extra", 1},
                          {"level", "hard"}}));
    question.setactivityType({{"name", "other"}, {"extra", 1}, {"level", "hard"}});
    QCOMPARE(JsonSerializer::serializeToJson(&question), before);
}

void tst_SentQuestions::questionOfNoKnownKindIsSentWithoutTypeId()
{
    QuestionBase question(nullptr);
    question.setType("riddle");
    host->channel.sendQuestion(&question);
    QCOMPARE(host->sent(0).object().value("activityType").toObject(),
             (QJsonObject{{"id", ""}, {"name", "riddle"}}));
}

void tst_SentQuestions::noQuestionIsNotSent()
{
    const LogCapture log;
    host->channel.sendQuestion(nullptr);
    host->channel.sendQuestion(".user.d1", nullptr);
    const QString line = u"[PresenterCollab] No question to send!"_s;
    QCOMPARE(log.messages(), (QStringList{line, line}));
    QVERIFY(host->hasPublishedNothing());
}

QTEST_GUILESS_MAIN(tst_SentQuestions)
#include "tst_sentquestions.moc"
