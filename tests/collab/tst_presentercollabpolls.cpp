// Polls of every kind and single questions: the question objects, what goes out, what stays behind.
#include "OpenChannel.h"
#include "support/Text.h"

#include "model/Card.h"
#include "model/JsonSerializer.h"
#include "model/QuestionBaseWithOptions.h"
#include "model/QuestionMathFormula.h"
#include "model/QuestionMultiChoice.h"
#include "model/QuestionNumeric.h"
#include "model/QuestionScale.h"
#include "model/QuestionSort.h"
#include "model/QuestionText.h"
#include "model/QuestionYesNo.h"
#include "support/LogCapture.h"

#include <QtCore/QRegularExpression>
#include <QtTest/QtTest>

#include <memory>

#include <malloc.h>

#if defined(__SANITIZE_ADDRESS__)
extern "C" size_t __sanitizer_get_current_allocated_bytes();
#endif

using Tarvo::OrdinalType;
using Tarvo::PollType;
using Tarvo::QuestionBase;
using Tarvo::QuestionBaseWithOptions;

namespace
{

const QString notConnectedLine = u"[PresenterCollab] SockJS socket not connected!"_s;

struct Kind {
    int value;
    const char *name;
    const char *id;
    const char *className; // of the question object; null when there is none
    bool hasOptions;
};

const Kind kinds[] = {
    {0, "true-false", "3c476afbcfce45eda0b44df4737c3d27", "Tarvo::QuestionYesNo", true},
    {1, "yes-no-other", "3c476afbcfce45eda0b44df4737c3d27", "Tarvo::QuestionYesNo", true},
    {2, "multiple", "8755bfc923cb492094df5c842a30da5f", "Tarvo::QuestionMultiChoice", true},
    {3, "scale", "c80eb89f2c7240fb83d53069bf4c1f2c", "Tarvo::QuestionBaseWithOptions", true},
    {4, "sort", "be8a3a7f5d624a798ec54900385a9eb8", "Tarvo::QuestionBaseWithOptions", true},
    {5, "text", "6efc81c52cfe4502976de55df9af2f89", "Tarvo::QuestionText", false},
    {6, "word-seed", "cfd9a136d9c44699ae1d7f489f6c513b", nullptr, false},
    {7, "number", "24e7bda40c4140f896648511a5782466", "Tarvo::QuestionNumeric", false},
    {8, "creative", "5446bd7896d54c7d84e2aeb75904ddab", nullptr, false},
    {9, "math formula", "9f31dd1a55374c49a3127b8f94a1f1a6", "Tarvo::QuestionBase", false},
    {-1, "", "", nullptr, false},
    {10, "", "", nullptr, false},
};

const char *const ordinalNames[] = {"true-false",   "yes-no",      "yes-no-maybe", "yes-no-unsure",
                                    "yes-no-other", "alpha-upper", "alpha-lower",  "number",
                                    "agreement",    "confidence",  "generic"};

const int counts[] = {-1, 0, 1, 2, 3, 26, 100};

PollType::POLL_TYPE pollType(int value)
{
    return static_cast<PollType::POLL_TYPE>(value);
}

OrdinalType::ORDINAL_TYPE ordinalType(int value)
{
    return static_cast<OrdinalType::ORDINAL_TYPE>(value);
}

QString ordinalName(int value)
{
    return value <= 10 ? QLatin1String(ordinalNames[value]) : QLatin1String();
}

// The id and the text of option i.
QPair<QString, QString> expectedLabel(int ordinal, int i)
{
    if (ordinal <= 4) {
        const char *const ids[] = {"A", "B", "?"};
        const char *const trueFalse[] = {"TRUE", "FALSE", "DONTKNOW"};
        const char *const yesNo[] = {"YES", "NO", "DONTKNOW"};
        const int shown = qMin(i, 2);
        return {ids[shown], ordinal == 0 ? trueFalse[shown] : yesNo[shown]};
    }
    const QString label = ordinal == 5 ? QString(QChar('A' + i))
        : ordinal == 6                 ? QString(QChar('a' + i))
                                       : QString::number(i);
    return {label, label};
}

// What devices receive, whole.
QString golden(const char *name)
{
    QFile file(QFINDTESTDATA(QLatin1String("golden/") + name));
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}

// What is in use on the heap, in bytes.
size_t heapInUse()
{
#if defined(__SANITIZE_ADDRESS__)
    return __sanitizer_get_current_allocated_bytes();
#else
    return mallinfo2().uordblks;
#endif
}

// How much of it comes and goes by itself: the sanitizer counts exactly, the C library counts what it
// keeps at hand for the sockets' buffers. The smallest leak of a poll shows in one or the other.
size_t heapNoise(bool connected)
{
#if defined(__SANITIZE_ADDRESS__)
    Q_UNUSED(connected)
    return 512;
#else
    return connected ? 64 * 1024 : 8 * 1024;
#endif
}

} // namespace

class tst_PresenterCollabPolls : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void pollQuestion_data();
    void pollQuestion();
    void thirdAndFurtherYesNoOptionsAreAllDontKnow();
    void secondNumberOfAPollIsNotUsed();

    void everyPollStartsAndArrives_data();
    void everyPollStartsAndArrives();
    void pollQuestionArrivesWhole();
    void fixedFormArrivesWhole_data();
    void fixedFormArrivesWhole();
    void pollCarriesTheCardImageOnce_data();
    void pollCarriesTheCardImageOnce();
    void largeCardImageArrivesWhole_data();
    void largeCardImageArrivesWhole();
    void everyPollGetsANewIdWithoutBraces();
    void pauseResumeAndStopCarryThePollId();
    void stopEmptiesTheCardImage();
    void debugLinesOfAPoll();

    void sentQuestionArrivesWhole();
    void sentQuestionIsTheSerializersText_data();
    void sentQuestionIsTheSerializersText();
    void sentQuestionGoesToItsAddress();
    void sentQuestionGetsItsIdAndNameAndKeepsTheRest();
    void questionOfNoKnownKindIsSentWithoutTypeId();
    void noQuestionIsNotSent();

    void withoutConnectionNothingIsSent_data();
    void withoutConnectionNothingIsSent();
    void aThousandPollsLeaveTheHeapAsItWas_data();
    void aThousandPollsLeaveTheHeapAsItWas();
};

// ---- The question objects ------------------------------------------------------------------------

void tst_PresenterCollabPolls::pollQuestion_data()
{
    QTest::addColumn<int>("kind");
    QTest::addColumn<int>("ordinal");
    QTest::addColumn<int>("count");

    for (size_t kind = 0; kind < std::size(kinds); ++kind) {
        for (const int ordinal : {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}) {
            for (const int count : counts) {
                QTest::addRow("kind %d, ordinal %d, count %d", kinds[kind].value, ordinal, count)
                    << int(kind) << ordinal << count;
            }
        }
    }
}

void tst_PresenterCollabPolls::pollQuestion()
{
    QFETCH(int, kind);
    QFETCH(int, ordinal);
    QFETCH(int, count);
    const Kind &expected = kinds[kind];
    PresenterCollab channel(nullptr, "http://h", "CODE", "session", "teacher");
    const std::unique_ptr<QuestionBase> question(
        channel.createPollQuestion(pollType(expected.value), ordinalType(ordinal), count, 0));
    QCOMPARE(question == nullptr, expected.className == nullptr);
    if (!question)
        return;
    QVERIFY(!question->parent());
    QCOMPARE(question->metaObject()->className(), expected.className);
    QCOMPARE(question->getType(), QLatin1String(expected.name));

    auto *withOptions = qobject_cast<QuestionBaseWithOptions *>(question.get());
    QCOMPARE(withOptions != nullptr, expected.hasOptions);
    if (!withOptions)
        return;
    const QVariantList options = withOptions->activityOptions();
    QCOMPARE(options.size(), qMax(count, 0));
    QVariantList numbers;
    for (int i = 0; i < count; ++i) {
        const auto [id, text] = expectedLabel(ordinal, i);
        QCOMPARE(options.at(i).toMap(),
                 (QVariantMap{
                     {"id", id}, {"optionText", text}, {"displaySeqNumber", i}, {"math", false}}));
        numbers.append(i);
    }
    QCOMPARE(withOptions->metadata()->property("ordinalType").toString(),
             count >= 1 ? ordinalName(ordinal) : QString());
    QCOMPARE(withOptions->metadata()->property("options").toList(), numbers);
}

void tst_PresenterCollabPolls::thirdAndFurtherYesNoOptionsAreAllDontKnow()
{
    PresenterCollab channel(nullptr, "http://h", "CODE", "session", "teacher");
    const std::unique_ptr<QuestionBase> question(
        channel.createPollQuestion(PollType::TRUE_FALSE, OrdinalType::YES_NO_MAYBE, 5, 0));
    QStringList labels;
    const QVariantList options =
        qobject_cast<QuestionBaseWithOptions *>(question.get())->activityOptions();
    for (const QVariant &option : options)
        labels.append(option.toMap().value("id").toString()
                      + option.toMap().value("optionText").toString());
    QCOMPARE(labels, (QStringList{"AYES", "BNO", "?DONTKNOW", "?DONTKNOW", "?DONTKNOW"}));
}

void tst_PresenterCollabPolls::secondNumberOfAPollIsNotUsed()
{
    PresenterCollab channel(nullptr, "http://h", "CODE", "session", "teacher");
    QStringList texts;
    for (const int unused : {0, 7, -1}) {
        const std::unique_ptr<QuestionBase> question(
            channel.createPollQuestion(PollType::MULTIPLE, OrdinalType::ALPHA_UPPER, 2, unused));
        question->setID("q");
        texts.append(Tarvo::JsonSerializer::serializeToJson(question.get()));
    }
    QCOMPARE(texts.at(1), texts.at(0));
    QCOMPARE(texts.at(2), texts.at(0));
}

// ---- Starting and stopping -----------------------------------------------------------------------

void tst_PresenterCollabPolls::everyPollStartsAndArrives_data()
{
    QTest::addColumn<int>("kind");
    for (size_t kind = 0; kind < std::size(kinds); ++kind)
        QTest::addRow("%d %s", kinds[kind].value, kinds[kind].name) << int(kind);
}

void tst_PresenterCollabPolls::everyPollStartsAndArrives()
{
    QFETCH(int, kind);
    const Kind &expected = kinds[kind];
    OpenChannel host;
    QVERIFY(host.open());
    host.channel.startPoll(pollType(expected.value), OrdinalType::ALPHA_UPPER, 3, 0);
    QVERIFY(host.waitForPublished(1));

    const Published poll(host.bus.published().first());
    QCOMPARE(poll.address, u"session"_s);
    QCOMPARE(poll.from, u"teacher"_s);
    QCOMPARE(poll.pieces, 1);
    const QJsonObject payload = poll.object();
    QCOMPARE(payload.value("type").toString(), QLatin1String(expected.name));
    if (!expected.className) {
        QCOMPARE(poll.type, u"poll"_s);
        QCOMPARE(payload.value("id").toString(), host.channel.getCurrentPollId());
        QVERIFY(!payload.contains("activityType"));
        return;
    }
    QCOMPARE(poll.type, u"questionStart"_s);
    QCOMPARE(payload.value("activityType").toObject(),
             (QJsonObject{{"id", expected.id}, {"name", expected.name}}));
    QCOMPARE(payload.value("questionSetMode").toString(), u"Poll"_s);
    QCOMPARE(payload.contains("activityOptions"), expected.hasOptions);
    QCOMPARE(payload.value("activityOptions").toArray().size(), expected.hasOptions ? 3 : 0);
    QCOMPARE(payload.value("card").toObject().value("type").toString(), u"TEACHER"_s);
}

void tst_PresenterCollabPolls::pollQuestionArrivesWhole()
{
    OpenChannel host;
    QVERIFY(host.open());
    host.channel.setCardImageData("PNG");
    host.channel.startPoll(PollType::MULTIPLE, OrdinalType::ALPHA_UPPER, 2, 0);
    QVERIFY(host.waitForPublished(1));
    const Published poll(host.bus.published().first());

    const QString id = poll.object().value("id").toString();
    QVERIFY(QRegularExpression("^[A-Za-z0-9]{8}$").match(id).hasMatch());
    const QString expected = golden("poll-question.json").replace("THE ID", id);
    QCOMPARE(poll.payload, expected);
    QCOMPARE(host.bus.published(),
             QStringList{objectMessage("session", "questionStart", expected)});
}

void tst_PresenterCollabPolls::fixedFormArrivesWhole_data()
{
    QTest::addColumn<int>("kind");
    QTest::addColumn<int>("ordinal");
    QTest::addColumn<int>("count");
    QTest::addColumn<QString>("kindName");
    QTest::addColumn<QString>("ordinalName");
    QTest::addColumn<QString>("options");

    QTest::newRow("word-seed") << 6 << 7 << 2 << "word-seed"
                               << "number"
                               << "0,1";
    QTest::newRow("creative") << 8 << 5 << 4 << "creative"
                              << "alpha-upper"
                              << "0,1,2,3";
    QTest::newRow("one option") << 8 << 0 << 1 << "creative"
                                << "true-false"
                                << "0";
    QTest::newRow("no options") << 8 << 10 << 0 << "creative"
                                << "generic"
                                << "";
    QTest::newRow("fewer than none") << 6 << 10 << -1 << "word-seed"
                                     << "generic"
                                     << "";
    QTest::newRow("unknown kind and ordinal") << 10 << 11 << 2 << ""
                                              << ""
                                              << "0,1";
}

void tst_PresenterCollabPolls::fixedFormArrivesWhole()
{
    QFETCH(int, kind);
    QFETCH(int, ordinal);
    QFETCH(int, count);
    QFETCH(QString, kindName);
    QFETCH(QString, ordinalName);
    QFETCH(QString, options);
    OpenChannel host;
    QVERIFY(host.open());
    host.channel.setCardImageData("PNG");
    host.channel.startPoll(pollType(kind), ordinalType(ordinal), count, 0);
    QVERIFY(host.waitForPublished(1));

    const QString expected = golden("poll-fixed-form.txt")
                                 .replace("THE KIND", kindName)
                                 .replace("THE ORDINAL", ordinalName)
                                 .replace("THE OPTIONS", options)
                                 .replace("THE ID", host.channel.getCurrentPollId());
    QCOMPARE(Published(host.bus.published().first()).payload, expected);
    const QString block = packed(expected);
    QCOMPARE(host.bus.published(), QStringList{typedMessage("session", "poll", block)});
}

void tst_PresenterCollabPolls::pollCarriesTheCardImageOnce_data()
{
    QTest::addColumn<int>("kind");
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<QString>("image");

    const QString wrapped = u"url('http://h/a%20b.png')"_s;
    const QString inlined = u"data:image/png;base64,UE5H"_s;
    QTest::newRow("reference, question") << 2 << QByteArray() << wrapped;
    QTest::newRow("reference, fixed form") << 8 << QByteArray() << wrapped;
    QTest::newRow("data, question") << 2 << QByteArray("PNG") << inlined;
    QTest::newRow("data, fixed form") << 8 << QByteArray("PNG") << inlined;
}

void tst_PresenterCollabPolls::pollCarriesTheCardImageOnce()
{
    QFETCH(int, kind);
    QFETCH(QByteArray, data);
    QFETCH(QString, image);
    OpenChannel host;
    QVERIFY(host.open());
    host.channel.setCardImageData(data);
    host.channel.setCardImageRef("http://h/a%20b.png");
    host.channel.startPoll(pollType(kind), OrdinalType::NUMBER, 2, 0);
    const LogCapture log;
    host.channel.startPoll(pollType(kind), OrdinalType::NUMBER, 2, 0);
    QCOMPARE(log.count("[PresenterCollab] No image reference has been set!"), 1);
    QVERIFY(host.waitForPublished(2));
    QStringList images;
    const QStringList published = host.bus.published();
    for (const QString &message : published) {
        const QJsonObject card = Published(message).object().value("card").toObject();
        images.append(card.value("styles").toObject().value("backgroundImage").toString());
    }
    QCOMPARE(images, (QStringList{image, ""}));
}

void tst_PresenterCollabPolls::largeCardImageArrivesWhole_data()
{
    QTest::addColumn<int>("kind");
    QTest::newRow("question") << 2;
    QTest::newRow("fixed form") << 8;
}

void tst_PresenterCollabPolls::largeCardImageArrivesWhole()
{
    QFETCH(int, kind);
    const QByteArray image = noise(5 * 1024 * 1024);
    OpenChannel host;
    QVERIFY(host.open());
    host.channel.setCardImageData(image);
    host.channel.startPoll(pollType(kind), OrdinalType::NUMBER, 2, 0);
    QVERIFY(host.waitForPublished(1));
    const QJsonObject card =
        Published(host.bus.published().first()).object().value("card").toObject();
    const QString url = card.value("styles").toObject().value("backgroundImage").toString();
    QVERIFY(url == "data:image/png;base64," + QString::fromLatin1(image.toBase64()));
}

void tst_PresenterCollabPolls::everyPollGetsANewIdWithoutBraces()
{
    PresenterCollab channel(nullptr, "http://h", "CODE", "session", "teacher");
    QSet<QString> ids;
    const QRegularExpression form("^[0-9a-f]{8}(-[0-9a-f]{4}){3}-[0-9a-f]{12}$");
    for (int i = 0; i < 20; ++i) {
        channel.startPoll(i % 2 ? PollType::CREATIVE : PollType::TEXT, OrdinalType::NUMBER, 2, 0);
        QVERIFY(form.match(channel.getCurrentPollId()).hasMatch());
        ids.insert(channel.getCurrentPollId());
    }
    QCOMPARE(ids.size(), 20);
}

void tst_PresenterCollabPolls::pauseResumeAndStopCarryThePollId()
{
    OpenChannel host;
    QVERIFY(host.open());
    host.channel.startPoll(PollType::TEXT, OrdinalType::NUMBER, 0, 0);
    const QString block = packed('"' + host.channel.getCurrentPollId() + '"');
    host.channel.pausePoll();
    host.channel.resumePoll();
    host.channel.stopPoll();
    QVERIFY(host.waitForPublished(4));
    QCOMPARE(host.bus.published().mid(1),
             (QStringList{typedMessage("session", "pause", block),
                          typedMessage("session", "resume", block),
                          typedMessage("session", "pollStop", block)}));
    QCOMPARE(Published(host.bus.published().at(3)).payload,
             '"' + host.channel.getCurrentPollId() + '"');
}

void tst_PresenterCollabPolls::stopEmptiesTheCardImage()
{
    PresenterCollab channel(nullptr, "http://h", "CODE", "session", "teacher");
    channel.setCardImageData("PNG");
    channel.setCardImageRef("http://h/i.png");
    channel.stopPoll();
    QCOMPARE(channel.getCardImageRef(false), QString());
}

void tst_PresenterCollabPolls::debugLinesOfAPoll()
{
    OpenChannel host;
    QVERIFY(host.open());
    host.channel.setCardImageRef("http://h/i.png");
    const LogCapture log;
    host.channel.startPoll(PollType::MULTIPLE, OrdinalType::NUMBER, 2, 0);
    const QStringList lines = log.messages();
    QCOMPARE(lines.size(), 4);
    QCOMPARE(lines.mid(0, 3),
             (QStringList{"[JsonSerializer] Mapping sub-property: card",
                          "[JsonSerializer] Mapping sub-property: feedBack",
                          "[JsonSerializer] Mapping sub-property: metadata"}));
    QVERIFY(lines.last().startsWith(
        "TRANSMIT: {\"type\":\"publish\",\"address\":\"session\",\"body\":{"));
}

// ---- Single questions ----------------------------------------------------------------------------

void tst_PresenterCollabPolls::sentQuestionArrivesWhole()
{
    OpenChannel host;
    QVERIFY(host.open());
    Tarvo::QuestionText question(nullptr);
    question.setID("q1");
    question.setmaxChars(40);
    host.channel.sendQuestion(&question);
    QVERIFY(host.waitForPublished(1));
    const Published sent(host.bus.published().first());
    QCOMPARE(sent.address, u"session"_s);
    QCOMPARE(sent.payload, golden("sent-question.json"));
}

void tst_PresenterCollabPolls::sentQuestionIsTheSerializersText_data()
{
    everyPollStartsAndArrives_data();
}

void tst_PresenterCollabPolls::sentQuestionIsTheSerializersText()
{
    QFETCH(int, kind);
    if (!kinds[kind].className)
        return;
    OpenChannel host;
    QVERIFY(host.open());
    const std::unique_ptr<QuestionBase> question(
        host.channel.createPollQuestion(pollType(kinds[kind].value), OrdinalType::AGREEMENT, 3, 0));
    auto *card = new Tarvo::Card(question.get());
    question->setcard(card);
    host.channel.sendQuestion(question.get());
    QVERIFY(host.waitForPublished(1));
    QCOMPARE(Published(host.bus.published().first()).payload,
             Tarvo::JsonSerializer::serializeToJson(question.get()));
}

void tst_PresenterCollabPolls::sentQuestionGoesToItsAddress()
{
    OpenChannel host;
    QVERIFY(host.open());
    Tarvo::QuestionSort question(nullptr);
    host.channel.sendQuestion(".user.d1", &question);
    host.channel.sendQuestion("elsewhere", &question);
    QVERIFY(host.waitForPublished(2));
    QCOMPARE(Published(host.bus.published().at(0)).address, u"session.user.d1"_s);
    QCOMPARE(Published(host.bus.published().at(1)).address, u"elsewhere"_s);
    QCOMPARE(Published(host.bus.published().at(0)).payload,
             Published(host.bus.published().at(1)).payload);
}

void tst_PresenterCollabPolls::sentQuestionGetsItsIdAndNameAndKeepsTheRest()
{
    PresenterCollab channel(nullptr, "http://h", "CODE", "session", "teacher");
    Tarvo::QuestionYesNo question(nullptr);
    question.trueFalse = true;
    question.setID("q1");
    question.sethint("think");
    question.setactivityType({{"name", "other"}, {"extra", 1}, {"level", "hard"}});
    const QString before = Tarvo::JsonSerializer::serializeToJson(&question);
    channel.sendQuestion(&question);
    QCOMPARE(question.activityType(),
             (QVariantMap{{"id", "3c476afbcfce45eda0b44df4737c3d27"},
                          {"name", "true-false"},
                          {"extra", 1},
                          {"level", "hard"}}));
    question.setactivityType({{"name", "other"}, {"extra", 1}, {"level", "hard"}});
    QCOMPARE(Tarvo::JsonSerializer::serializeToJson(&question), before);
}

void tst_PresenterCollabPolls::questionOfNoKnownKindIsSentWithoutTypeId()
{
    OpenChannel host;
    QVERIFY(host.open());
    QuestionBase question(nullptr);
    question.setType("riddle");
    host.channel.sendQuestion(&question);
    QVERIFY(host.waitForPublished(1));
    QCOMPARE(Published(host.bus.published().first()).object().value("activityType").toObject(),
             (QJsonObject{{"id", ""}, {"name", "riddle"}}));
}

void tst_PresenterCollabPolls::noQuestionIsNotSent()
{
    OpenChannel host;
    QVERIFY(host.open());
    const LogCapture log;
    host.channel.sendQuestion(nullptr);
    host.channel.sendQuestion(".user.d1", nullptr);
    const QString line = u"[PresenterCollab] No question to send!"_s;
    QCOMPARE(log.messages(), (QStringList{line, line}));
    QVERIFY(host.hasPublishedNothing());
}

// ---- What stays behind ---------------------------------------------------------------------------

void tst_PresenterCollabPolls::withoutConnectionNothingIsSent_data()
{
    QTest::addColumn<int>("kind");
    QTest::addColumn<bool>("fixedForm");
    QTest::newRow("question") << 2 << false;
    QTest::newRow("fixed form") << 6 << true;
}

// A question is handed to the connector, with its line; the texts are dropped with theirs.
void tst_PresenterCollabPolls::withoutConnectionNothingIsSent()
{
    QFETCH(int, kind);
    QFETCH(bool, fixedForm);
    OpenChannel host;
    {
        host.channel.setCardImageRef("http://h/i.png");
        const LogCapture log;
        host.channel.startPoll(pollType(kind), OrdinalType::NUMBER, 2, 0);
        QCOMPARE(log.startingWith("TRANSMIT: ").size(), fixedForm ? 0 : 1);
        QCOMPARE(log.count(notConnectedLine), fixedForm ? 1 : 0);
        QCOMPARE(host.channel.getCurrentPollId().size(), 36);
        QCOMPARE(host.channel.getCardImageRef(false), QString());
    }
    {
        const LogCapture log;
        host.channel.pausePoll();
        host.channel.resumePoll();
        host.channel.stopPoll();
        QCOMPARE(log.messages(),
                 (QStringList{notConnectedLine, notConnectedLine, notConnectedLine}));
    }
    QVERIFY(host.hasPublishedNothing());
}

void tst_PresenterCollabPolls::aThousandPollsLeaveTheHeapAsItWas_data()
{
    QTest::addColumn<bool>("connected");
    QTest::newRow("connected") << true;
    QTest::newRow("connection down") << false;
}

void tst_PresenterCollabPolls::aThousandPollsLeaveTheHeapAsItWas()
{
    QFETCH(bool, connected);
    OpenChannel host;
    if (connected)
        QVERIFY(host.open());

    int sent = 0;
    const auto lesson = [&](int polls) {
        const LogCapture quiet;
        for (int i = 0; i < polls; ++i) {
            host.channel.setCardImageData(QByteArray(1000, 'x'));
            host.channel.startPoll(pollType(i % 10), ordinalType(i % 11), i % 30, 0);
            host.channel.pausePoll();
            host.channel.resumePoll();
            host.channel.stopPoll();
            sent += 4;
            if (connected && i % 50 == 49) {
                if (!QTest::qWaitFor([&] { return host.bus.messages().size() >= 200; }, 60000))
                    return false;
                host.bus.clear();
            }
            if (i % 50 == 49)
                const_cast<LogCapture &>(quiet).clear();
        }
        return true;
    };
    host.bus.clear();
    QVERIFY(lesson(200)); // what is kept once and for all is allocated
    const size_t before = heapInUse();
    const int objects = host.channel.findChildren<QObject *>().size();
    QVERIFY(lesson(1000));
    const size_t after = heapInUse();
    QVERIFY2(after < before + heapNoise(connected),
             qPrintable(u"grew by %1 bytes"_s.arg(qint64(after) - qint64(before))));
    QCOMPARE(host.channel.findChildren<QObject *>().size(), objects);
    QCOMPARE(sent, 4800);
}

QTEST_GUILESS_MAIN(tst_PresenterCollabPolls)
#include "tst_presentercollabpolls.moc"
