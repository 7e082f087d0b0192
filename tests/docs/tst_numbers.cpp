// The sizes, times, counts and lists that the pages tell are those of the code. Each row has the words of the
// page and the line of the code that makes them true, both as they are written there; whoever changes the one
// is led to the other.

#include "Pages.h"

#include <QtTest/QtTest>

namespace
{

struct Number {
    const char *page;
    const char *words; // a piece of the page, its lines joined
    const char *file;
    const char *code; // a piece of the file, its lines joined
};

const char OPERATING[] = "docs/operating.md";
const char CONNECTION[] = "docs/connection.md";
const char FAILURES[] = "docs/failures.md";
const char KIT[] = "docs/kit.md";
const char CLASSROOM[] = "docs/classroom.md";
const char PROTOCOL[] = "docs/protocol.md";
const char PERFORMANCE[] = "docs/performance.md";
const char CONTRIBUTING[] = "CONTRIBUTING.md";

const char CONNECTOR[] = "sockjs/SockJSConnector.cpp";
const char CONNECTOR_H[] = "sockjs/SockJSConnector.h";
const char ROBUST[] = "sockjs/SockJSConnectorRobust.cpp";
const char LINE[] = "sockjs/ReceivingLine.cpp";
const char LINE_H[] = "sockjs/ReceivingLine.h";
const char WORKER[] = "sockjs/SockJSXHRPollingWorker.cpp";
const char POSTS[] = "sockjs/PostQueue.cpp";
const char POSTS_H[] = "sockjs/PostQueue.h";
const char CLIENT[] = "client/PresenterClient.cpp";
const char CLIENT_H[] = "client/PresenterClient.h";
const char RUNNER_SESSION[] = "host/ClassRunnerSession.cpp";

// clang-format off
const Number NUMBERS[] = {
    // ---- The connection, the robust way
    {OPERATING, "asked at most 100 times a second", LINE, "PAUSE_AFTER_EMPTY_MS = 10;"},
    {OPERATING, "costs 5 s: no `o` comes through", ROBUST, "OPENING_MS = 5000;"},
    {OPERATING, "| until a transport stands, robust way | 10 s |", ROBUST, "STANDING_MS = 10000;"},
    {OPERATING, "| from then to the `o`, robust way | 5 s |", ROBUST, "OPENING_MS = 5000;"},
    {OPERATING, "| until a lost receiving connection stands again, robust way | 10 s |", LINE, "CONNECT_WAIT_MS = 10000;"},
    {OPERATING, "a reset within 1 s after the request counts as orderly", LINE, "CROSSING_MS = 1000;"},
    {OPERATING, "that cannot be made is tried for 10 s", LINE, "CONNECT_WAIT_MS = 10000;"},
    {OPERATING, "anew last less than a second and bring nothing", LINE, "SHORT_CONNECTION_MS = 1000;"},
    {OPERATING, "bring nothing, pauses of 250 ms, 500 ms", LINE, "FIRST_PAUSE_MS = 250;"},
    {OPERATING, "4 s and then 5 s come before the next.", LINE, "LONGEST_PAUSE_MS = 5000;"},
    {OPERATING, "| a frame on the receiving connection, robust way | 16 MiB |", "sockjs/FrameReader.h", "MAX_FRAME_BYTES = 16 * 1024 * 1024;"},
    {OPERATING, "or the trailers, there | 64 KiB | the connection ends, code 1006 |", "sockjs/HttpResponseReader.h", "MAX_HEADER_BYTES = 64 * 1024;"},
    {OPERATING, "| 32 Mi characters, each frame with", LINE_H, "MAX_BACKLOG_CHARACTERS = 32LL * 1024 * 1024;"},
    {OPERATING, "each frame with 128 more |", LINE_H, "EVENT_CHARACTERS = 128;"},
    {OPERATING, "the connection ends, code 1006", "sockjs/CloseReason.h", "ABNORMAL = 1006;"},
    {OPERATING, "| messages that leave in one post, robust way | 64 KiB together", POSTS, "joinedBytes = 64LL * 1024;"},
    {OPERATING, "| a post to `/xhr_send`, robust way | 10 s without progress", POSTS, "patienceMs = 10000;"},
    {OPERATING, "without progress, 60 s in all | the connection ends", POSTS, "longestMs = 60000;"},
    {OPERATING, "| a sending connection without a post, robust way | 3 s |", POSTS, "idleMs = 3000;"},
    {OPERATING, "60 s (`setHeartbeatTimeout(ms)`)", CONNECTOR_H, "heartbeatTimeoutMs = 60000;"},
    {OPERATING, "20 s (`setSilenceTimeout(ms)`)", CONNECTOR_H, "silenceTimeoutMs = 20000;"},
    {OPERATING, "10 s later the connection ends", "sockjs/WebSocketWatch.cpp", "ANSWER_WAIT_MS = 10000;"},
    {OPERATING, "or 30 s while a part of a frame has arrived", "sockjs/WebSocketWatch.cpp", "FRAME_WAIT_MS = 30000;"},
    {CONNECTION, "| 10 s to stand (name, connection, TLS, handshake)", ROBUST, "STANDING_MS = 10000;"},
    {CONNECTION, "then 5 s for the `o` |", ROBUST, "OPENING_MS = 5000;"},
    {CONNECTION, "leaves together, in order, up to 64 KiB in a post", POSTS, "joinedBytes = 64LL * 1024;"},
    {CONNECTION, "never twice; 10 s without progress", POSTS, "patienceMs = 10000;"},
    {CONNECTION, "10 s without progress, 60 s in all, a failure", POSTS, "longestMs = 60000;"},
    {CONNECTION, "| dropped after 3 s |", POSTS, "idleMs = 3000;"},
    {CONNECTION, "over XHR 60 s after the last byte", CONNECTOR_H, "heartbeatTimeoutMs = 60000;"},
    {CONNECTION, "over a web socket a ping after 20 s", CONNECTOR_H, "silenceTimeoutMs = 20000;"},
    {CONNECTION, "a ping after 20 s, the end 10 s later", "sockjs/WebSocketWatch.cpp", "ANSWER_WAIT_MS = 10000;"},
    {CONNECTION, "when a part of a frame has arrived, after 30 s", "sockjs/WebSocketWatch.cpp", "FRAME_WAIT_MS = 30000;"},
    {CONNECTION, "before a time counts as over, for 100 ms.", "sockjs/Patience.h", "LAST_LOOK_MS = 100;"},
    {CONNECTION, "looked at for another 100 ms", LINE, "LAST_LOOK_MS = 100;"},
    {CONNECTION, "for up to 10 s; a later one again and again until 10 s", LINE, "CONNECT_WAIT_MS = 10000;"},
    {CONNECTION, "| the request behind an empty answer, on the same connection | 10 ms |", LINE, "PAUSE_AFTER_EMPTY_MS = 10;"},
    {CONNECTION, "too, lasted less than 1 s and", LINE, "SHORT_CONNECTION_MS = 1000;"},
    {CONNECTION, "| 250 ms, 500 ms, 1 s, 2 s, 4 s, then 5 s,", LINE, "FIRST_PAUSE_MS = 250; constexpr int LONGEST_PAUSE_MS = 5000;"},
    {CONNECTION, "and within 1 s after the request", LINE, "CROSSING_MS = 1000;"},
    {CONNECTION, "more than 32 Mi (33,554,432) characters", LINE_H, "MAX_BACKLOG_CHARACTERS = 32LL * 1024 * 1024;"},
    {CONNECTION, "each frame with 128 more", LINE_H, "EVENT_CHARACTERS = 128;"},
    {CONNECTION, "`trailers too long` (64 KiB each)", "sockjs/HttpResponseReader.h", "MAX_HEADER_BYTES = 64 * 1024;"},
    {CONNECTION, "| 1000 | `Closed by the host`", "sockjs/CloseReason.h", "NORMAL = 1000;"},
    {CONNECTION, "| 2010 | the server's |", "sockjs/CloseReason.h", "ANOTHER_CONNECTION = 2010;"},
    {FAILURES, "Each of them has up to 15 s.", ROBUST, "STANDING_MS = 10000;"},
    {FAILURES, "With the robust transport the first two times are 10 s and 60 s", POSTS, "patienceMs = 10000; limits.longestMs = 60000;"},

    // ---- The connection, the default way
    {OPERATING, "a turn lasts up to 1 s.", WORKER, "READ_WAIT_MS = 1000;"},
    {OPERATING, "until 2 s have passed without data", WORKER, "INCOMPLETE_DATA_MS = 2000;"},
    {OPERATING, "**16 MiB** (16,777,216 bytes, all its chunks together)", "sockjs/ResponseReader.h", "MAX_BODY_BYTES = 16 * 1024 * 1024;"},
    {OPERATING, "size line of a chunk at most **64 KiB**", "sockjs/ResponseReader.h", "MAX_HEADER_BYTES = 64 * 1024;"},
    {OPERATING, "a pause of more than 2 s begin with `HTTP/`", WORKER, "INCOMPLETE_DATA_MS = 2000;"},
    {OPERATING, "keeps dropping it within a second", WORKER, "SHORT_CONNECTION_MS = 1000;"},
    {OPERATING, "pauses of 250 ms, 500 ms, 1 s, 2 s, 4 s and then 5 s come before the next attempts", WORKER, "FIRST_PAUSE_MS = 250; constexpr int LONGEST_PAUSE_MS = 5000;"},
    {OPERATING, "tried eleven times in a row", WORKER, "MAX_FAILED_RECONNECTIONS = 10;"},
    {OPERATING, "tried eleven times in a row", WORKER, "if (++retryCount > MAX_FAILED_RECONNECTIONS)"},
    {OPERATING, "without pauses, each for up to 30 s", WORKER, "CONNECT_WAIT_MS = 30000;"},
    {OPERATING, "| a message on the web socket, and each of its frames | 16 MiB |", CONNECTOR, "MAX_MESSAGE_BYTES = 16ULL * 1024 * 1024;"},
    {OPERATING, "| a body on the polling connection, default way | 16 MiB |", "sockjs/ResponseReader.h", "MAX_BODY_BYTES = 16 * 1024 * 1024;"},
    {OPERATING, "| messages that wait for `/xhr_send` | 64 MiB |", POSTS_H, "waitingBytes = 64LL * 1024 * 1024;"},
    {OPERATING, "| a post to `/xhr_send`, default way | 30 s without progress", POSTS_H, "patienceMs = 30000;"},
    {OPERATING, "without progress, 120 s in all |", POSTS_H, "longestMs = 120000;"},
    {OPERATING, "| posts that are left when the connection is closed | 30 s in all |", POSTS_H, "remainingMs = 30000;"},
    {OPERATING, "| requests that wait on the polling connection, default way | 51 |", WORKER, "MAX_QUEUED_REQUESTS = 50;"},
    {CONNECTION, "for XHR up to 30 s, with everything blocked", WORKER, "CONNECT_WAIT_MS = 30000;"},
    {CONNECTION, "taken off only after 2 s without data", WORKER, "INCOMPLETE_DATA_MS = 2000;"},
    {CONNECTION, "in an idle turn of the reader, of up to 1 s", WORKER, "READ_WAIT_MS = 1000;"},
    {CONNECTION, "could not be made again in eleven attempts", WORKER, "MAX_FAILED_RECONNECTIONS = 10;"},
    {CONNECTION, "after 30 s without progress, or 120 s in all", POSTS_H, "patienceMs = 30000; // for one post without progress int longestMs = 120000;"},
    {CONNECTION, "Each of the two steps ends after 2 s without progress", "sockjs/WebSocketGoodbye.h", "patienceMs = 2000;"},
    {CONNECTION, "and after 60 s in any case", "sockjs/WebSocketGoodbye.h", "longestMs = 60000;"},
    {CONNECTION, "those that wait have 30 s in all", POSTS_H, "remainingMs = 30000;"},
    {CONNECTION, "or none has made progress for 2 s", "sockjs/SockJSXHRPolling.cpp", "RECEIVING_PATIENCE_MS = 2000;"},
    {CONNECTION, "a message that comes while 64 MiB wait", POSTS_H, "waitingBytes = 64LL * 1024 * 1024;"},
    {FAILURES, "made no progress for 30 s, took more than 120 s", POSTS_H, "patienceMs = 30000; // for one post without progress int longestMs = 120000;"},
    {FAILURES, "were left 30 s after the connection was closed", POSTS_H, "remainingMs = 30000;"},
    {FAILURES, "It could not be made again in eleven attempts.", WORKER, "MAX_FAILED_RECONNECTIONS = 10;"},
    {FAILURES, "at ever longer intervals up to 5 s", WORKER, "LONGEST_PAUSE_MS = 5000;"},
    {FAILURES, "could not be queued within 1 s, or behind 51 others", WORKER, "MUTEX_WAIT_MS = 1000;"},
    {FAILURES, "What was left in the buffer for 2 s is dropped", WORKER, "INCOMPLETE_DATA_MS = 2000;"},

    // ---- Messages, requests, keeping alive
    {OPERATING, "all its pieces together | 16 MiB |", "compression/BoundedLzma.h", "textBytes = 16UL * 1024 * 1024;"},
    {OPERATING, "of a message, or of a payload, takes | 480 MiB |", "collab/ReadableJson.cpp", "MAX_MEMORY = 480UL * 1024 * 1024;"},
    {OPERATING, "| a REST reply, as it comes | 64 MiB |", CLIENT, "MAX_REPLY_BYTES = 64 * 1024 * 1024;"},
    {OPERATING, "| a REST reply, inflated | 64 MiB |", CLIENT, "MAX_REPLY_BYTES = 64 * 1024 * 1024;"},
    {OPERATING, "sends `{\"type\":\"ping\"}` every 60 s", "collab/PresenterCollab.h", "pingIntervalMs = 60000;"},
    {OPERATING, "`/vantora/login/keepSessionAlive` every 60 s", CLIENT_H, "keepAliveMs = 60000;"},
    {OPERATING, "for more than an hour (looked at", CONNECTOR, "MAX_INACTIVITY_S = 3600;"},
    {OPERATING, "(looked at every half hour)", CONNECTOR, "INACTIVITY_CHECK_MS = 1800000;"},
    {FAILURES, "Every request is given up after 10 s", CLIENT_H, "requestTimeoutMs = 10000;"},
    {FAILURES, "first waits up to 2 s for the channel's last message", "client/PresenterClientSession.cpp", "LAST_WORD_WAIT_MS = 2000;"},
    {FAILURES, "service asks to wait, at most 86,400;", "client/RetryAfter.cpp", "LONGEST_S = 86400;"},
    {FAILURES, "A compressed reply of under 5 bytes", "compression/gUncompress.cpp", "MIN_INPUT_BYTES = 5;"},
    {FAILURES, "A reply has more than 64 MiB", CLIENT, "MAX_REPLY_BYTES = 64 * 1024 * 1024;"},
    {FAILURES, "unpacks to more than 16 MiB of text", "compression/BoundedLzma.h", "textBytes = 16UL * 1024 * 1024;"},
    {FAILURES, "would take more than 480 MiB of memory", "collab/ReadableJson.cpp", "MAX_MEMORY = 480UL * 1024 * 1024;"},
    {PROTOCOL, "A ping follows every 60 seconds", "collab/PresenterCollab.h", "pingIntervalMs = 60000;"},
    {PROTOCOL, "for more than an hour is closed by the library, at the next of its checks every half hour", CONNECTOR, "INACTIVITY_CHECK_MS = 1800000; constexpr int MAX_INACTIVITY_S = 3600;"},

    {PROTOCOL, "`numberOfRetriesRemaining` is then 99", "model/QuestionBase.cpp", "RETRIES_WITH_PRIOR_ANSWER = 99;"},
    {PROTOCOL, "Eight letters and digits, drawn from the second", "support/RandomId.cpp", "ID_LENGTH = 8;"},
    {PROTOCOL, "behind a header of 13 bytes", "compression/LzmaBlock.h", "HEADER_SIZE = 13;"},
    {PROTOCOL, "share a budget of four levels", "model/JsonSerializer.h", "MAX_RECURSE_DEPTH = 4;"},
    {PROTOCOL, "more than 16 MiB of text, all pieces together", "compression/BoundedLzma.h", "textBytes = 16UL * 1024 * 1024;"},
    {PROTOCOL, "would take more than 480 MiB of memory", "collab/ReadableJson.cpp", "MAX_MEMORY = 480UL * 1024 * 1024;"},

    // ---- The host kit
    {KIT, "begins at a random moment within a second", "host/Backoff.cpp", "FIRST_SPAN_MS = 1000;"},
    {KIT, "are 1, 2, 4, 8, 16, 30, 30 ... seconds", "host/Backoff.cpp", "SHORTEST_MS = 1000;"},
    {KIT, "16, 30, 30 ... seconds", "host/ClassSettings.h", "longestPauseMs = 30000;"},
    {KIT, "each made up to a half shorter or longer", "host/Backoff.cpp", "(0.5 + random)"},
    {KIT, "is honoured, up to an hour", "host/ClassRunnerReconnect.cpp", "MAX_RETRY_AFTER_S = 3600;"},
    {KIT, "After 30 s of a working channel", "host/ClassSettings.h", "workingMs = 30000;"},
    {KIT, "A request has 10 s", "host/ClassRunnerSignIn.cpp", "MAX_REQUEST_MS = 10000;"},
    {KIT, "a transport 15 s", ROBUST, "STANDING_MS = 10000;"},
    {KIT, "all of them together 50 s", RUNNER_SESSION, "MAX_OPENING_MS = 50000;"},
    {KIT, "transports together never have more than its double", RUNNER_SESSION, "qMin(MAX_OPENING_MS, 2 * m_settings.silenceMs)"},
    {KIT, "has run ahead by more than 5 s", "host/WakeWatch.cpp", "SLEPT_MS = 5000;"},
    {KIT, "every half of `setSilenceLimit()`, 15 s by default", "host/ClassSettings.h", "silenceMs = 30000;"},
    {KIT, "every half of `setSilenceLimit()`", RUNNER_SESSION, "m_probing.start(qMax(1, m_settings.silenceMs / 2));"},
    {KIT, "The service hears every 60 s", "host/ClassRunner.cpp", "KEEP_ALIVE_MS = 60000;"},
    {KIT, "at least a second after the one before", "host/LessonActivities.cpp", "POLL_DISTANCE_MS = 1000;"},
    {KIT, "more than 100 options", "host/QuestionRecords.h", "MAX_CHOICES = 100;"},
    {KIT, "beyond 1 to `total`, or a total beyond 10,000", "host/LessonActivities.cpp", "MAX_CARDS = 10000;"},
    {KIT, "(twice when the reply to start or join was lost)", RUNNER_SESSION, "START_TRIES = 2;"},
    {KIT, "Names and device types are cut at 64 characters", "host/LiveClass.h", "MAX_NAME_LENGTH = 64;"},
    {KIT, "and answers at 10,000 when they arrive", "host/LiveClass.h", "MAX_ANSWER_LENGTH = 10000;"},
    {KIT, "at most 20,000 learners are taken", "host/Roster.h", "MAX_LEARNERS = 20000;"},
    {KIT, "longer than 200 characters", "host/Lesson.cpp", "MAX_ID_LENGTH = 200;"},
    {KIT, "and every 5 s", "host/WaitingAnswers.h", "LIST_AGAIN_MS = 5000;"},
    {KIT, "is not listed after 30 s", "host/WaitingAnswers.h", "LONGEST_MS = 30000;"},
    {KIT, "At most 20,000 answers wait", "host/WaitingAnswers.h", "MAX_ANSWERS = 20000;"},
    {KIT, "100 of a device, with", "host/WaitingAnswers.h", "MAX_OF_DEVICE = 100;"},
    {KIT, "with 16 MiB of text in all", "host/WaitingAnswers.h", "MAX_BYTES = 16LL * 1024 * 1024;"},
    {KIT, "at most once in 200 ms", "host/Lesson.cpp", "REMOTE_ANSWER_MS = 200;"},
    {KIT, "told at most 60 times a second", "host/LiveClassPrivate.cpp", "FLUSH_MS = 17;"},
    {KIT, "are stopped, at most 5 s for all of them together", "host/SessionKeeper.cpp", "LAST_WAIT_MS = 5000;"},
    {FAILURES, "has waited its 5 s in vain", "host/SessionKeeper.cpp", "LAST_WAIT_MS = 5000;"},

    // ---- The classroom
    {CLASSROOM, "**`disconnect_delay` is 30 s.**", "classroom/src/bus/sockjs.js", "DISCONNECT_DELAY_MS = 30_000;"},
    {CLASSROOM, "idle HTTP connections are kept for 65 s", "classroom/src/server.js", "KEEP_ALIVE_MS = 65_000;"},
    {CLASSROOM, "closed with code 3000", "classroom/src/bus/line.js", "NO_PING = 3000;"},
    {CLASSROOM, "a protocol version other than 3.0.0", "classroom/src/protocol.js", "PROTOCOL_VERSION = '3.0.0';"},
    {CLASSROOM, "of more than 40,000 entries", "classroom/src/journal.js", "KEPT_ENTRIES = 40_000;"},
    {CLASSROOM, "256 Mi (268,435,456) characters", "classroom/src/journal.js", "KEPT_CHARS = 256 * 1024 * 1024;"},
    {CLASSROOM, "wait up to so long (at most 60 s)", "classroom/src/control.js", "MAX_WAIT_MS = 60_000;"},
    {CLASSROOM, "Ada, Ben, Cleo, Dan, Eva, Finn, Gia, Hugo, Ida, Jon, Ada 2", "classroom/src/devices/learner.js", "['Ada', 'Ben', 'Cleo', 'Dan', 'Eva', 'Finn', 'Gia', 'Hugo', 'Ida', 'Jon']"},
    {CLASSROOM, "on a tablet, a phone, a laptop in turn", "classroom/src/devices/learner.js", "['tablet', 'phone', 'laptop']"},
    {CLASSROOM, "river, cloud, stone, meadow, harbour, ember, willow.", "classroom/src/devices/answers.js", "['river', 'cloud', 'stone', 'meadow', 'harbour', 'ember', 'willow']"},

    // ---- Measuring, and the house
    {PERFORMANCE, "for each of them instead of 3 s", "scripts/bench", "the seconds that a row takes, 3 otherwise"},
    {PERFORMANCE, "take turns of about a millisecond", "benchmarks/Comparison.cpp", "MIN_TURN_SECONDS = 1e-3;"},
    {PERFORMANCE, "at most 3 times that median", "benchmarks/bench_answer.cpp", "RATIO_GOAL = 3;"},
    {PERFORMANCE, "with 1.5 as the aim", "benchmarks/bench_answer.cpp", "RATIO_AIM = 1.5;"},
    {PERFORMANCE, "99 of 100 answers within 50 ms", "benchmarks/bench_answer.cpp", "PERCENTILE_GOAL_SECONDS = 50e-3;"},
    {PERFORMANCE, "There are 800 answers, 2 to 10 ms apart", "benchmarks/bench_answer.cpp", "TURNS = 40;"},
    {PERFORMANCE, "in turns of 20 answers", "benchmarks/bench_answer.cpp", "PROMPT = {TURNS, 20, 2, 10, 1500};"},
    {PERFORMANCE, "Its 16 answers come 0 to 2 s apart", "benchmarks/bench_answer.cpp", "SLOW = {1, 16, 0, 2000, 30000};"},
    {PERFORMANCE, "local classroom service, over 30 s;", "benchmarks/bench_idle.cpp", "MEASURED_MS = 30000;"},
    {PERFORMANCE, "10,000 learners join or answer | 1 ms |", "tests/host/tst_freezes.cpp", "SLOT_MS = 1;"},
    {PERFORMANCE, "999 of 1000 | 8 ms |", "tests/host/tst_freezes.cpp", "TURN_MS = 8;"},
    {PERFORMANCE, "with both models and all signals | 5 us |", "tests/host/tst_freezes.cpp", "ANSWER_US = 5;"},
    {CONTRIBUTING, "at most 100 columns", ".clang-format", "ColumnLimit: 100"},
    {CONTRIBUTING, "has at most 40 lines", ".clang-tidy", "readability-function-size.LineThreshold value: 40"},
    {CONTRIBUTING, "No six lines of code stand twice", "scripts/repeated-lines", "RUN = 6;"},
    {"docs/fuzzing.md", "# every target for a minute", "scripts/fuzz", "seconds=60"},
};
// clang-format on

} // namespace

class tst_Numbers : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void pageAndCodeSayTheSame_data();
    void pageAndCodeSayTheSame();
    void typesThatAreHeard();
    void labellings();
    void verdictsFollowFromTheFigures();
    void fuzzTargets();
    void kitRoles();
    void kitCalls();
    void kitReasons();
    void classroomJournalKinds();
    void classroomControlPaths();
};

void tst_Numbers::pageAndCodeSayTheSame_data()
{
    QTest::addColumn<QString>("page");
    QTest::addColumn<QString>("words");
    QTest::addColumn<QString>("file");
    QTest::addColumn<QString>("code");
    for (const Number &number : NUMBERS) {
        QTest::addRow("%s: %s", number.page, number.words)
            << QString::fromUtf8(number.page) << QString::fromUtf8(number.words)
            << QString::fromUtf8(number.file) << QString::fromUtf8(number.code);
    }
}

void tst_Numbers::pageAndCodeSayTheSame()
{
    QFETCH(QString, page);
    QFETCH(QString, words);
    QFETCH(QString, file);
    QFETCH(QString, code);
    QVERIFY2(inOneLine(treeFile(page)).contains(words), qPrintable(page));
    QVERIFY2(inOneLine(treeFile(file)).contains(code), qPrintable(file + u": "_s + code));
}

void tst_Numbers::typesThatAreHeard()
{
    const QString handler = treeFile(u"collab/CollaborationMessageHandler.cpp"_s);
    QStringList told;
    for (const QStringList &row :
         tableRows(section(treeFile(u"docs/protocol.md"_s), u"## What the presenter hears"_s)))
        told += codeSpans(row.first());
    QCOMPARE(told.join(u' '),
             allCaptured(handler, u"\\{QStringLiteral\\(\"(\\w+)\"\\), &"_s).join(u' '));
}

void tst_Numbers::labellings()
{
    const QString page = inOneLine(treeFile(u"docs/protocol.md"_s));
    const QString told = page.section(u"The labellings are "_s, 1).section(u'.', 0, 0);
    const QString table = treeFile(u"model/OrdinalType.cpp"_s);
    QCOMPARE(codeSpans(told).join(u' '),
             allCaptured(table, u"\\{[A-Z_]+, QStringLiteral\\(\"([a-z-]+)\"\\)\\}"_s).join(u' '));
}

void tst_Numbers::verdictsFollowFromTheFigures()
{
    static const QRegularExpression goal(u"^at most ([\\d.]+): (\\w+)$"_s);
    int count = 0;
    for (const QStringList &row : tableRows(treeFile(u"docs/performance.md"_s))) {
        // ratio, goal, ratio with Qt 6
        const auto match = goal.match(row.value(row.size() - 2));
        if (!match.hasMatch())
            continue;
        const double limit = match.captured(1).toDouble();
        const auto verdict = [limit](const QString &ratio) {
            return ratio.toDouble() <= limit ? u"met"_s : u"MISSED"_s;
        };
        QCOMPARE(match.captured(2), verdict(row[row.size() - 3]));
        QCOMPARE(row.last().section(u": "_s, 1), verdict(row.last().section(u": "_s, 0, 0)));
        ++count;
    }
    QCOMPARE(count, 24);
}

void tst_Numbers::fuzzTargets()
{
    const QStringList targets =
        allCaptured(treeFile(u"fuzz/CMakeLists.txt"_s), u"^tarvo_add_fuzzer\\((\\w+)\\)"_s);
    QStringList told;
    const QString page = treeFile(u"docs/fuzzing.md"_s);
    for (const QStringList &row : tableRows(page.section(u"\n## "_s, 0, 0)))
        told += codeSpans(row.first());
    QCOMPARE(told, targets);
}

// Under the names that QML uses, in the order of the roles.
void tst_Numbers::kitRoles()
{
    QStringList roles;
    for (const QString &model : {u"LearnersModel"_s, u"ResultsModel"_s})
        roles += allCaptured(treeFile(u"host/%1.cpp"_s.arg(model)),
                             u"\\{LiveClass::\\w+Role, QByteArrayLiteral\\(\"(\\w+)\"\\)"_s);
    QCOMPARE(roles.size(), 14);
    const QString models = inOneLine(section(treeFile(u"docs/kit.md"_s), u"## Models"_s));
    const QStringList told = codeSpans(models.section(u"in QML "_s, 1).section(u". "_s, 0, 0));
    QCOMPARE(told.join(u' '), roles.join(u' '));
}

// Every call has a row.
void tst_Numbers::kitCalls()
{
    const QStringList calls =
        allCaptured(treeFile(u"host/LiveClass.h"_s), u"^    Tarvo::Operation (\\w+)\\("_s);
    QVERIFY(calls.size() > 20);
    QStringList told;
    for (const QStringList &row :
         tableRows(section(treeFile(u"docs/kit.md"_s), u"## Operations"_s)))
        told += codeSpans(row.first());
    QCOMPARE(sortedOnce(told).join(u' '), sortedOnce(calls).join(u' '));
}

void tst_Numbers::kitReasons()
{
    const QStringList reasons =
        allCaptured(treeFile(u"host/Failure.h"_s), u"^        (\\w+),? +///<"_s);
    const QString operations = section(treeFile(u"docs/kit.md"_s), u"## Operations"_s);
    QStringList unknown;
    for (const QString &told : allCaptured(operations, u"`([A-Z][a-z]+[A-Z]?[a-zA-Z]+)`"_s)) {
        if (!reasons.contains(told))
            unknown.append(told);
    }
    QCOMPARE(unknown.join(u' '), u"Operation Reconnecting Live"_s); // a class, two states
}

void tst_Numbers::classroomJournalKinds()
{
    const QString page = treeFile(u"docs/classroom.md"_s);
    QStringList known;
    for (const QString &file : {u"bus/bus"_s, u"bus/sockjs"_s, u"devices/device"_s, u"rest/rest"_s})
        known += allCaptured(treeFile(u"classroom/src/%1.js"_s.arg(file)), u"\\.note\\('(\\w+)'"_s);
    QStringList told;
    for (const QStringList &row : tableRows(section(page, u"## The journal"_s)))
        told += codeSpans(row.first());
    QCOMPARE(sortedOnce(told), sortedOnce(known));
}

void tst_Numbers::classroomControlPaths()
{
    const QString page = treeFile(u"docs/classroom.md"_s);
    const QStringList known = allCaptured(treeFile(u"classroom/src/control.js"_s),
                                          u"\\[`\\$\\{ROOT\\}(/[\\w:/-]+)`\\]: "_s);
    QStringList told;
    for (const QStringList &row : tableRows(section(page, u"## Control endpoints"_s)))
        told += allCaptured(row.first(), u"`[A-Z]+ /classroom(/[\\w/-]+)"_s);
    told.replaceInStrings(u"DEVICE"_s, u":deviceId"_s);
    QCOMPARE(sortedOnce(told), sortedOnce(known));
}

QTEST_GUILESS_MAIN(tst_Numbers)
#include "tst_numbers.moc"
