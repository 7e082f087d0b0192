#include "Failure.h"
#include "support/Text.h"

#include <QtTest/QtTest>

using namespace Host;

// What the user reads when a session has failed. The steps before the channel, and the whole way of
// such a text to standard error, are shown by the tests against the classroom.
class tst_FailureTexts : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void channelThatDidNotOpenIsExplained_data();
    void channelThatDidNotOpenIsExplained();
    void lostChannelIsExplained_data();
    void lostChannelIsExplained();
    void serversWordsCannotReachTheTerminalAsCommands();
};

namespace
{

void addColumns()
{
    QTest::addColumn<Failure>("failure");
    QTest::addColumn<QString>("why");
    QTest::addColumn<QString>("advice");
}

} // namespace

Q_DECLARE_METATYPE(Host::Failure)

void tst_FailureTexts::channelThatDidNotOpenIsExplained_data()
{
    addColumns();
    const auto row = [](const char *name, const QString &transport, int code, const char *reason,
                        const char *why, const char *advice) {
        QTest::newRow(name) << Failure{Step::Connect, {}, transport, code, QLatin1String(reason)}
                            << QString::fromLatin1(why) << QString::fromLatin1(advice);
    };
    const char *tryPolling = "Web sockets may be blocked on the way; try --transport xhr-polling.";
    const char *streaming = "Over xhr-streaming frames arrive when the server ends a response; try "
                            "--transport xhr-polling.";
    const char *allTried = "Check the network, or name another transport with --transport.";
    row("compatible, none started", u""_s, 0, "", "no error key", tryPolling);
    row("compatible, web socket", u"websocket"_s, 0, "", "no error key", tryPolling);
    row("compatible, streaming", u"xhr-streaming"_s, 0, "", "no error key", streaming);
    row("robust, all tried", u""_s, 1006, "refused", "code 1006: refused", allTried);
    row("robust, streaming", u"xhr-streaming"_s, 1006, "late", "code 1006: late", allTried);
    row("robust, server's words", u""_s, 2010, "in use", "code 2010: in use", allTried);
}

void tst_FailureTexts::channelThatDidNotOpenIsExplained()
{
    QFETCH(Failure, failure);
    QFETCH(QString, why);
    QFETCH(QString, advice);
    QCOMPARE(describe(failure),
             QStringList(
                 {u"The collaboration server did not open the channel (%1)."_s.arg(why), advice}));
}

void tst_FailureTexts::lostChannelIsExplained_data()
{
    addColumns();
    const auto row = [](const char *name, int code, const char *reason, const char *errorKey,
                        const char *why, const char *advice) {
        QTest::newRow(name) << Failure{Step::KeepChannel, QLatin1String(errorKey), u"websocket"_s,
                                       code, QLatin1String(reason)}
                            << QString::fromLatin1(why) << QString::fromLatin1(advice);
    };
    const char *network = "Check the network and start a new session.";
    const char *again = "Start a new session.";
    row("nothing is known", 0, "", "", "lost (no error key)", network);
    row("a key", 0, "", "session.error.x", "lost (error key session.error.x)", network);
    row("broken", 1006, "silence", "", "lost (code 1006: silence)", network);
    row("broken, without words", 1006, "", "", "lost (code 1006)", network);
    row("ended by the server", 3000, "No ping for 10 s", "", "closed (code 3000: No ping for 10 s)",
        again);
    row("ended by the server, without words", 3000, "", "", "closed (code 3000)", again);
    row("idle for an hour", 1000, "idle", "", "closed (code 1000: idle)", again);
    row("a key and a code", 1001, "bye", "k", "closed (error key k, code 1001: bye)", again);
}

void tst_FailureTexts::lostChannelIsExplained()
{
    QFETCH(Failure, failure);
    QFETCH(QString, why);
    QFETCH(QString, advice);
    QCOMPARE(
        describe(failure),
        QStringList({u"The connection to the collaboration server was %1."_s.arg(why), advice}));
}

void tst_FailureTexts::serversWordsCannotReachTheTerminalAsCommands()
{
    const QStringList lines =
        describe({Step::KeepChannel, {}, {}, 3000, u"\x1b[2Jgone\r\n%1\u202e"_s});
    QCOMPARE(lines.first(),
             u"The connection to the collaboration server was closed (code 3000: [2Jgone  %1)."_s);
}

QTEST_GUILESS_MAIN(tst_FailureTexts)
#include "tst_failuretexts.moc"
