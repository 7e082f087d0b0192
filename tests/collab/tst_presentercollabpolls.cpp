// Polls of every kind: what goes out, what it carries, what stays behind.
#include "OpenChannel.h"

#include <QtCore/QRegularExpression>
#include <QtTest/QtTest>

#include <optional>

#include <malloc.h>

#if defined(__SANITIZE_ADDRESS__)
extern "C" size_t __sanitizer_get_current_allocated_bytes();
#endif

using Tarvo::OrdinalType;
using Tarvo::PollType;

namespace
{

PollType::POLL_TYPE pollType(int value)
{
    return static_cast<PollType::POLL_TYPE>(value);
}

OrdinalType::ORDINAL_TYPE ordinalType(int value)
{
    return static_cast<OrdinalType::ORDINAL_TYPE>(value);
}

QString imageOf(const Published &poll)
{
    const QJsonObject card = poll.object().value("card").toObject();
    return card.value("styles").toObject().value("backgroundImage").toString();
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
    void init() { QVERIFY(host.emplace().open()); }
    void cleanup() { host.reset(); }

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

    void withoutConnectionNothingIsSent_data();
    void withoutConnectionNothingIsSent();
    void aThousandPollsLeaveTheHeapAsItWas_data();
    void aThousandPollsLeaveTheHeapAsItWas();

private:
    std::optional<OpenChannel> host;
};

// ---- Starting and stopping -----------------------------------------------------------------------

void tst_PresenterCollabPolls::everyPollStartsAndArrives_data()
{
    QTest::addColumn<int>("kind");
    for (size_t kind = 0; kind < std::size(pollKinds); ++kind)
        QTest::addRow("%d %s", pollKinds[kind].value, pollKinds[kind].name) << int(kind);
}

void tst_PresenterCollabPolls::everyPollStartsAndArrives()
{
    QFETCH(int, kind);
    const PollKind &expected = pollKinds[kind];
    host->channel.startPoll(expected.type(), OrdinalType::ALPHA_UPPER, 3, 0);

    const Published poll = host->sent(0);
    QCOMPARE(poll.address, u"session"_s);
    QCOMPARE(poll.from, u"teacher"_s);
    QCOMPARE(poll.pieces, 1);
    const QJsonObject payload = poll.object();
    QCOMPARE(payload.value("type").toString(), QLatin1String(expected.name));
    if (!expected.className) {
        QCOMPARE(poll.type, u"poll"_s);
        QCOMPARE(payload.value("id").toString(), host->channel.getCurrentPollId());
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
    host->channel.setCardImageData("PNG");
    host->channel.startPoll(PollType::MULTIPLE, OrdinalType::ALPHA_UPPER, 2, 0);
    const Published poll = host->sent(0);
    const QString id = poll.object().value("id").toString();
    QVERIFY(QRegularExpression("^[A-Za-z0-9]{8}$").match(id).hasMatch());
    const QString expected = golden("poll-question.json").replace("THE ID", id);
    QCOMPARE(poll.payload, expected);
    QCOMPARE(host->published(1), QStringList{objectMessage("session", "questionStart", expected)});
}

void tst_PresenterCollabPolls::fixedFormArrivesWhole_data()
{
    QTest::addColumn<int>("kind");
    QTest::addColumn<int>("ordinal");
    QTest::addColumn<int>("count");
    QTest::addColumn<QString>("kindName");
    QTest::addColumn<QString>("ordinalName");
    QTest::addColumn<QString>("options");

    const auto row = [](const char *name, int kind, int ordinal, int count, const char *kindName,
                        const char *ordinalName, const char *options) {
        QTest::newRow(name) << kind << ordinal << count << kindName << ordinalName << options;
    };
    row("word-seed", 6, 7, 2, "word-seed", "number", "0,1");
    row("creative", 8, 5, 4, "creative", "alpha-upper", "0,1,2,3");
    row("one option", 8, 0, 1, "creative", "true-false", "0");
    row("no options", 8, 10, 0, "creative", "generic", "");
    row("fewer than none", 6, 10, -1, "word-seed", "generic", "");
    row("unknown kind and ordinal", 10, 11, 2, "", "", "0,1");
}

void tst_PresenterCollabPolls::fixedFormArrivesWhole()
{
    QFETCH(int, kind);
    QFETCH(int, ordinal);
    QFETCH(int, count);
    QFETCH(QString, kindName);
    QFETCH(QString, ordinalName);
    QFETCH(QString, options);
    host->channel.setCardImageData("PNG");
    host->channel.startPoll(pollType(kind), ordinalType(ordinal), count, 0);
    const QString expected = golden("poll-fixed-form.txt")
                                 .replace("THE KIND", kindName)
                                 .replace("THE ORDINAL", ordinalName)
                                 .replace("THE OPTIONS", options)
                                 .replace("THE ID", host->channel.getCurrentPollId());
    QCOMPARE(host->sent(0).payload, expected);
    QCOMPARE(host->published(1), QStringList{typedMessage("session", "poll", packed(expected))});
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
    host->channel.setCardImageData(data);
    host->channel.setCardImageRef("http://h/a%20b.png");
    host->channel.startPoll(pollType(kind), OrdinalType::NUMBER, 2, 0);
    const LogCapture log;
    host->channel.startPoll(pollType(kind), OrdinalType::NUMBER, 2, 0);
    QCOMPARE(log.count("[PresenterCollab] No image reference has been set!"), 1);
    QCOMPARE(imageOf(host->sent(0)), image);
    QCOMPARE(imageOf(host->sent(1)), u""_s);
    QCOMPARE(host->bus.published().size(), 2);
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
    host->channel.setCardImageData(image);
    host->channel.startPoll(pollType(kind), OrdinalType::NUMBER, 2, 0);
    QVERIFY(imageOf(host->sent(0))
            == "data:image/png;base64," + QString::fromLatin1(image.toBase64()));
}

void tst_PresenterCollabPolls::everyPollGetsANewIdWithoutBraces()
{
    UnopenedChannel channel;
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
    host->channel.startPoll(PollType::TEXT, OrdinalType::NUMBER, 0, 0);
    const QString block = packed('"' + host->channel.getCurrentPollId() + '"');
    host->channel.pausePoll();
    host->channel.resumePoll();
    host->channel.stopPoll();
    QCOMPARE(host->published(4).mid(1),
             (QStringList{typedMessage("session", "pause", block),
                          typedMessage("session", "resume", block),
                          typedMessage("session", "pollStop", block)}));
    QCOMPARE(host->sent(3).payload, '"' + host->channel.getCurrentPollId() + '"');
}

void tst_PresenterCollabPolls::stopEmptiesTheCardImage()
{
    UnopenedChannel channel;
    channel.setCardImageData("PNG");
    channel.setCardImageRef("http://h/i.png");
    channel.stopPoll();
    QCOMPARE(channel.getCardImageRef(false), QString());
}

void tst_PresenterCollabPolls::debugLinesOfAPoll()
{
    host->channel.setCardImageRef("http://h/i.png");
    const LogCapture log;
    host->channel.startPoll(PollType::MULTIPLE, OrdinalType::NUMBER, 2, 0);
    const QStringList lines = log.messages();
    QCOMPARE(lines.size(), 4);
    QCOMPARE(lines.mid(0, 3),
             (QStringList{"[JsonSerializer] Mapping sub-property: card",
                          "[JsonSerializer] Mapping sub-property: feedBack",
                          "[JsonSerializer] Mapping sub-property: metadata"}));
    QVERIFY(lines.last().startsWith(
        "TRANSMIT: {\"type\":\"publish\",\"address\":\"session\",\"body\":{"));
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
    OpenChannel later;
    {
        later.channel.setCardImageRef("http://h/i.png");
        const LogCapture log;
        later.channel.startPoll(pollType(kind), OrdinalType::NUMBER, 2, 0);
        QCOMPARE(log.startingWith("TRANSMIT: ").size(), fixedForm ? 0 : 1);
        QCOMPARE(log.count(notConnectedLine), fixedForm ? 1 : 0);
        QCOMPARE(later.channel.getCurrentPollId().size(), 36);
        QCOMPARE(later.channel.getCardImageRef(false), QString());
    }
    {
        const LogCapture log;
        later.channel.pausePoll();
        later.channel.resumePoll();
        later.channel.stopPoll();
        QCOMPARE(log.messages(),
                 (QStringList{notConnectedLine, notConnectedLine, notConnectedLine}));
    }
    QVERIFY(later.hasPublishedNothing());
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
    OpenChannel later;
    OpenChannel &used = connected ? *host : later;

    int sent = 0;
    const auto lesson = [&](int polls) {
        const LogCapture quiet;
        for (int i = 0; i < polls; ++i) {
            used.channel.setCardImageData(QByteArray(1000, 'x'));
            used.channel.startPoll(pollType(i % 10), ordinalType(i % 11), i % 30, 0);
            used.channel.pausePoll();
            used.channel.resumePoll();
            used.channel.stopPoll();
            sent += 4;
            if (connected && i % 50 == 49) {
                if (!QTest::qWaitFor([&] { return used.bus.messages().size() >= 200; }, 60000))
                    return false;
                used.bus.clear();
            }
            if (i % 50 == 49)
                const_cast<LogCapture &>(quiet).clear();
        }
        return true;
    };
    used.bus.clear();
    QVERIFY(lesson(200)); // what is kept once and for all is allocated
    const size_t before = heapInUse();
    const int objects = used.channel.findChildren<QObject *>().size();
    QVERIFY(lesson(1000));
    const size_t after = heapInUse();
    QVERIFY2(after < before + heapNoise(connected),
             qPrintable(u"grew by %1 bytes"_s.arg(qint64(after) - qint64(before))));
    QCOMPARE(used.channel.findChildren<QObject *>().size(), objects);
    QCOMPARE(sent, 4800);
}

QTEST_GUILESS_MAIN(tst_PresenterCollabPolls)
#include "tst_presentercollabpolls.moc"
