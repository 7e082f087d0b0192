// One assessment on a channel: what goes to whom, and what the host hears.
#include "OpenChannel.h"
#include "collab/PresenterAssessment.h"
#include "model/AssessmentOptions.h"
#include "model/JsonSerializer.h"
#include "model/QuestionMultiChoice.h"
#include "model/QuestionText.h"

#include <QtCore/QRegularExpression>
#include <QtTest/QtTest>

#include <memory>
#include <optional>
#include <type_traits>

// The way to the channel that an assessment holds.
struct Channel {
    using Member = PresenterCollab *PresenterAssessment::*;
    friend Member memberOf(Channel);
};
template struct Reach<Channel, &PresenterAssessment::collab>;

namespace
{

QString questionGet(const QString &device, int number)
{
    return incomingMessage(
        uR"("from":"%1","type":"questionGet","data":{"questionNumber":%2})"_s.arg(device).arg(
            number));
}

PresenterCollab *channelOf(const PresenterAssessment &assessment)
{
    return assessment.*memberOf(Channel());
}

// Whether sendMessage() can be called with arguments of these types.
template<typename Enabled, typename... Arguments> struct Sends : std::false_type {
};
template<typename... Arguments>
struct Sends<std::void_t<decltype(std::declval<PresenterAssessment &>().sendMessage(
                 std::declval<Arguments>()...))>,
             Arguments...> : std::true_type {
};
template<typename... Arguments> constexpr bool sends = Sends<void, Arguments...>::value;

// With a device, and without.
static_assert(sends<QString, QString, bool, bool>);
static_assert(sends<const char (&)[3], const char (&)[9], bool, bool>);
static_assert(sends<QString, bool, bool>);
static_assert(sends<const char (&)[9], bool, bool>);
static_assert(sends<QString, int, int>);
[[maybe_unused]] void (PresenterAssessment::*const SEND_TO_ONE)(QString, QString, bool, bool) =
    &PresenterAssessment::sendMessage;
[[maybe_unused]] void (PresenterAssessment::*const SEND)(QString, bool,
                                                         bool) = &PresenterAssessment::sendMessage;
// A device and a text, but only one flag.
static_assert(!sends<const char (&)[3], const char (&)[9], bool>);
static_assert(!sends<QString, const char (&)[9], bool>);
static_assert(!sends<QString, const char *, bool>);
static_assert(!sends<QString, char *, bool>);
static_assert(!sends<QString, const char16_t (&)[9], bool>);
static_assert(!sends<QString, QString, bool>);
static_assert(!sends<const char (&)[3], QString, bool>);
static_assert(!sends<QString, QByteArray, bool>);
static_assert(!sends<QString, QLatin1String, bool>);

} // namespace

class tst_PresenterAssessment : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { QVERIFY(host.emplace().open()); }
    void cleanup() { host.reset(); }

    void declaresItsSignal();
    void everyAssessmentHasATokenOfItsOwn();
    void startSendsTheOptionsToOneDevice();
    void stopSendsTheTokenToAll();
    void questionGoesToOneDeviceOnly();
    void noQuestionIsNotSent();
    void pauseAndResumeAreTheChannels();
    void message_data();
    void message();
    void learnersRequestReachesTheHost();
    void twoAssessmentsBothHearTheRequest();
    void wholeExchange();
    void hostMayDeleteTheAssessmentFromItsSignal();
    void hostMayDeleteTheChannelFromItsSignal();
    void withoutConnectionNothingIsSent();
    void withoutChannelNothingHappens_data();
    void withoutChannelNothingHappens();
    void channelIsForgottenOnceItIsGone_data();
    void channelIsForgottenOnceItIsGone();
    void channelMayOutliveTheAssessment();
    void messagesAreFreedOnceSent();

private:
    std::optional<OpenChannel> host;
};

void tst_PresenterAssessment::declaresItsSignal()
{
    const QMetaObject &meta = PresenterAssessment::staticMetaObject;
    QCOMPARE(meta.methodCount() - meta.methodOffset(), 1);
    QCOMPARE(meta.method(meta.methodOffset()).methodSignature(),
             QByteArray("learnerGetQuestion(QString,int)"));
    QCOMPARE(meta.method(meta.methodOffset()).methodType(), QMetaMethod::Signal);
}

void tst_PresenterAssessment::everyAssessmentHasATokenOfItsOwn()
{
    QObject parent;
    UnopenedChannel channel;
    const PresenterAssessment one(&parent, &channel);
    const PresenterAssessment two(&parent, &channel);
    QCOMPARE(one.parent(), &parent);
    const QRegularExpression form("^[0-9a-f]{8}(-[0-9a-f]{4}){3}-[0-9a-f]{12}$");
    QVERIFY(form.match(one.getAssessmentToken()).hasMatch());
    QVERIFY(form.match(two.getAssessmentToken()).hasMatch());
    QVERIFY(one.getAssessmentToken() != two.getAssessmentToken());
}

void tst_PresenterAssessment::startSendsTheOptionsToOneDevice()
{
    PresenterAssessment assessment(nullptr, &host->channel);
    Tarvo::AssessmentOptions options(nullptr);
    options.setassessmentToken(assessment.getAssessmentToken());
    options.setquestionCount(5);
    options.settitle("Fractions");
    assessment.start("d1", &options);
    const QString payload = uR"({
    "allowNavigateQuestionSet": false,
    "allowResubmitResponse": true,
    "allowSkipQuestion": false,
    "allowedTime": 0,
    "assessmentSectionConfigurations": {
        "leveled": false
    },
    "assessmentToken": "%1",
    "currentAssessmentSectionId": "",
    "description": "",
    "questionCount": 5,
    "scored": false,
    "showAnswerOnIncorrectResponse": false,
    "showFeedback": false,
    "showSummaryOnAssessmentCompletion": false,
    "startingQuestionNumber": 0,
    "title": "Fractions"
}
)"_s.arg(assessment.getAssessmentToken());
    QCOMPARE(host->sent(0).payload, payload);
    QCOMPARE(host->published(1),
             QStringList{objectMessage("session.user.d1", "assessmentStart", payload)});
}

void tst_PresenterAssessment::stopSendsTheTokenToAll()
{
    PresenterAssessment assessment(nullptr, &host->channel);
    assessment.stop();
    assessment.stop();
    const QString expected = objectMessage("session", "assessmentStop",
                                           "{\n    \"assessmentToken\": \""
                                               + assessment.getAssessmentToken() + "\"\n}\n");
    QCOMPARE(host->published(2), (QStringList{expected, expected}));
}

void tst_PresenterAssessment::questionGoesToOneDeviceOnly()
{
    PresenterAssessment assessment(nullptr, &host->channel);
    Tarvo::QuestionText question(nullptr);
    QCOMPARE(question.questionSetMode(), u"Poll"_s);
    assessment.sendQuestion("d1", &question);
    QCOMPARE(question.questionSetMode(), u"Assessment"_s);
    const QJsonObject sent = host->sent(0).object();
    host->channel.sendPing();
    QCOMPARE(host->published(2).size(), 2);
    QCOMPARE(host->bus.published().first(),
             objectMessage("session.user.d1", "questionStart",
                           Tarvo::JsonSerializer::serializeToJson(&question)));
    QCOMPARE(sent.value("questionSetMode").toString(), u"Assessment"_s);
    QCOMPARE(sent.value("activityType").toObject(),
             (QJsonObject{{"id", "6efc81c52cfe4502976de55df9af2f89"}, {"name", "text"}}));
}

void tst_PresenterAssessment::noQuestionIsNotSent()
{
    PresenterAssessment assessment(nullptr, &host->channel);
    const LogCapture log;
    assessment.sendQuestion("d1", nullptr);
    QCOMPARE(log.messages(), QStringList{"[PresenterCollab] No question to send!"});
}

void tst_PresenterAssessment::pauseAndResumeAreTheChannels()
{
    PresenterAssessment assessment(nullptr, &host->channel);
    assessment.pause();
    assessment.resume();
    QCOMPARE(host->published(2),
             (QStringList{typedMessage("session", "pause", emptyTextBlock),
                          typedMessage("session", "resume", emptyTextBlock)}));
}

void tst_PresenterAssessment::message_data()
{
    QTest::addColumn<bool>("toNobody");
    QTest::addColumn<bool>("dismissible");
    QTest::addColumn<bool>("review");
    QTest::addColumn<QString>("address");
    QTest::addColumn<QString>("type");
    QTest::addColumn<QString>("payload");

    const QString show = "{\n    \"showNavigation\": true,\n    \"text\": \"Well done\"\n}\n";
    const QString open = "{\n    \"isDismissible\": true,\n    \"text\": \"Well done\"\n}\n";
    const QString stuck = "{\n    \"isDismissible\": false,\n    \"text\": \"Well done\"\n}\n";
    const QString one = u"session.user.d1"_s;
    const QString nobody = u"session.user."_s;
    const auto row = [nobody](const char *name, const QString &address, bool dismissible,
                              bool review, const char *type, const QString &payload) {
        QTest::newRow(name) << (address == nobody) << dismissible << review << address << type
                            << payload;
    };
    row("dialog", one, true, false, "dialogShow", open);
    row("dialog that stays", one, false, false, "dialogShow", stuck);
    row("review", one, true, true, "questionSetReview", show);
    row("review, whatever is dismissible", one, false, true, "questionSetReview", show);
    row("dialog without a device", nobody, true, false, "dialogShow", open);
    row("dialog that stays, without a device", nobody, false, false, "dialogShow", stuck);
    row("review without a device", nobody, false, true, "questionSetReview", show);
}

void tst_PresenterAssessment::message()
{
    QFETCH(bool, toNobody);
    QFETCH(bool, dismissible);
    QFETCH(bool, review);
    QFETCH(QString, address);
    QFETCH(QString, type);
    QFETCH(QString, payload);
    PresenterAssessment assessment(nullptr, &host->channel);
    if (toNobody)
        assessment.sendMessage("Well done", dismissible, review);
    else
        assessment.sendMessage("d1", "Well done", dismissible, review);
    QCOMPARE(host->published(1), QStringList{objectMessage(address, type, payload)});
    QCOMPARE(host->sent(0).payload, payload);
}

void tst_PresenterAssessment::learnersRequestReachesTheHost()
{
    const PresenterAssessment assessment(nullptr, &host->channel);
    const QSignalSpy asked(&assessment, &PresenterAssessment::learnerGetQuestion);
    host->bus.send(questionGet("d1", 3));
    QTRY_COMPARE(asked.size(), 1);
    QCOMPARE(asked.first(), (QVariantList{"d1", 3}));
}

void tst_PresenterAssessment::twoAssessmentsBothHearTheRequest()
{
    const PresenterAssessment one(nullptr, &host->channel);
    const PresenterAssessment two(nullptr, &host->channel);
    const QSignalSpy askedOne(&one, &PresenterAssessment::learnerGetQuestion);
    const QSignalSpy askedTwo(&two, &PresenterAssessment::learnerGetQuestion);
    host->bus.send(questionGet("d1", 0));
    QTRY_COMPARE(askedTwo.size(), 1);
    QCOMPARE(askedOne.size(), 1);
}

void tst_PresenterAssessment::wholeExchange()
{
    PresenterAssessment assessment(nullptr, &host->channel);
    const QSignalSpy answered(&host->channel, &PresenterCollab::learnerPollResponse);
    connect(&assessment, &PresenterAssessment::learnerGetQuestion, this,
            [&assessment](const QString &device, int number) {
                Tarvo::QuestionMultiChoice question(nullptr);
                question.setID(u"q%1"_s.arg(number));
                question.setquestionNumber(number);
                assessment.sendQuestion(device, &question);
            });
    Tarvo::AssessmentOptions options(nullptr);
    assessment.start("d1", &options);
    host->bus.send(questionGet("d1", 2));
    const QJsonObject question = host->sent(1).object();
    QCOMPARE(question.value("id").toString(), u"q2"_s);
    QCOMPARE(question.value("questionNumber").toInt(), 2);
    host->bus.send(incomingMessage(
        R"("from":"d1","type":"questionResponse","data":{"questionId":"q2","questionSetMode":"Assessment","responseTime":900,"optionAnswers":[{"activityOptionId":"B"}]})"));
    QTRY_COMPARE(answered.size(), 1);
    QCOMPARE(answered.first(), (QVariantList{"d1", "q2", 900, "B"}));
    assessment.stop();
    QCOMPARE(host->sent(2).type, u"assessmentStop"_s);
}

// ---- Hosts ---------------------------------------------------------------------------------------

void tst_PresenterAssessment::hostMayDeleteTheAssessmentFromItsSignal()
{
    QPointer<PresenterAssessment> assessment = new PresenterAssessment(this, &host->channel);
    connect(assessment, &PresenterAssessment::learnerGetQuestion, this,
            [&assessment] { delete assessment; });
    host->bus.send(questionGet("d1", 1));
    QTRY_VERIFY(assessment.isNull());
    QVERIFY(host->channel.isConnected());
}

void tst_PresenterAssessment::hostMayDeleteTheChannelFromItsSignal()
{
    PresenterAssessment assessment(nullptr, &host->channel);
    connect(&assessment, &PresenterAssessment::learnerGetQuestion, this, [this, &assessment] {
        host->destroyChannel();
        assessment.stop();
    });
    host->bus.send(questionGet("d1", 1));
    QTRY_VERIFY(!host->owner);
}

void tst_PresenterAssessment::withoutConnectionNothingIsSent()
{
    OpenChannel later;
    PresenterAssessment assessment(nullptr, &later.channel);
    {
        const LogCapture log;
        Tarvo::AssessmentOptions options(nullptr);
        Tarvo::QuestionText question(nullptr);
        assessment.start("d1", &options);
        assessment.sendQuestion("d1", &question);
        assessment.sendMessage("d1", "text", true, false);
        assessment.stop();
        QCOMPARE(log.startingWith("TRANSMIT: ").size(), 4);
    }
    {
        const LogCapture log;
        assessment.pause();
        assessment.resume();
        QCOMPARE(log.messages(), (QStringList{notConnectedLine, notConnectedLine}));
    }
    QVERIFY(later.hasPublishedNothing());
}

void tst_PresenterAssessment::withoutChannelNothingHappens_data()
{
    QTest::addColumn<bool>("destroyed");
    QTest::newRow("never had one") << false;
    QTest::newRow("destroyed") << true;
}

void tst_PresenterAssessment::withoutChannelNothingHappens()
{
    QFETCH(bool, destroyed);
    auto channel = std::make_unique<UnopenedChannel>();
    const LogCapture log;
    PresenterAssessment assessment(nullptr, destroyed ? channel.get() : nullptr);
    channel.reset();
    Tarvo::AssessmentOptions options(nullptr);
    Tarvo::QuestionText question(nullptr);
    assessment.start("d1", &options);
    assessment.sendQuestion("d1", &question);
    assessment.sendQuestion("d1", nullptr);
    assessment.sendMessage("d1", "text", true, false);
    assessment.sendMessage("text", true, true);
    assessment.pause();
    assessment.resume();
    assessment.stop();
    QCOMPARE(log.messages(), QStringList());
    QCOMPARE(assessment.getAssessmentToken().size(), 36);
    QCOMPARE(question.questionSetMode(), u"Poll"_s);
}

void tst_PresenterAssessment::channelIsForgottenOnceItIsGone_data()
{
    QTest::addColumn<bool>("connectionsAreCut");
    QTest::newRow("deleted") << false;
    QTest::newRow("deleted after all its connections were cut") << true;
}

void tst_PresenterAssessment::channelIsForgottenOnceItIsGone()
{
    QFETCH(bool, connectionsAreCut);
    auto channel = std::make_unique<UnopenedChannel>();
    PresenterAssessment assessment(nullptr, channel.get());
    QCOMPARE(channelOf(assessment), channel.get());
    if (connectionsAreCut)
        channel->disconnect();
    channel.reset();
    if (!connectionsAreCut)
        QCOMPARE(channelOf(assessment), nullptr);
    assessment.stop();
    assessment.sendMessage("d1", "text", true, true);
    QCOMPARE(channelOf(PresenterAssessment(nullptr, nullptr)), nullptr);
}

void tst_PresenterAssessment::channelMayOutliveTheAssessment()
{
    auto channel = std::make_unique<UnopenedChannel>();
    auto earlier = std::make_unique<PresenterAssessment>(nullptr, channel.get());
    const PresenterAssessment later(nullptr, channel.get());
    earlier.reset();
    QCOMPARE(channelOf(later), channel.get());
    channel.reset();
    QCOMPARE(channelOf(later), nullptr);
}

void tst_PresenterAssessment::messagesAreFreedOnceSent()
{
    UnopenedChannel channel;
    PresenterAssessment assessment(nullptr, &channel);
    const int children = channel.findChildren<QObject *>().size();
    const LogCapture quiet;
    for (int i = 0; i < 100; ++i) {
        assessment.sendMessage("d1", "text", true, false);
        assessment.stop();
    }
    QCOMPARE(channel.findChildren<QObject *>().size(), children);
    QCOMPARE(assessment.findChildren<QObject *>().size(), 0);
}

QTEST_GUILESS_MAIN(tst_PresenterAssessment)
#include "tst_presenterassessment.moc"
