// The library's debug lines, and the categories by which a host silences them.
#include "client/PresenterClient.h"
#include "collab/PresenterCollab.h"
#include "model/JsonSerializer.h"
#include "sockjs/SockJSXHRPolling.h"
#include "support/Log.h"
#include "support/LogCapture.h"
#include "support/Text.h"

#include <QtTest/QtTest>

namespace
{

const char *const CATEGORIES[] = {"tarvo.rest", "tarvo.sockjs", "tarvo.channel", "tarvo.model"};

// A line of each category, from the part of the library that writes it; in the order of the categories.
QStringList linesOfTheLibrary()
{
    const LogCapture log;
    PresenterClient client(nullptr, u"http://127.0.0.1:1"_s);
    client.doGetLearners();
    SockJSXHRPolling transport;
    transport.close();
    transport.doRequestXHR(u"/xhr"_s, QString());
    PresenterCollab channel(nullptr, QString(), QString(), QString(), QString());
    channel.publishMessage(QString(), nullptr);
    Tarvo::JsonSerializer::buildObjectMap(nullptr, {}, 0);
    return log.messages();
}

const QStringList &allLines()
{
    static const QStringList lines{
        u"[PresenterClient] No session to get users for!"_s,
        u"[SockJSXHRPolling] Can't make request when in closed state!"_s,
        u"[PresenterCollab] No message to send!"_s,
        u"[JsonSerializer] ERROR: Reached max depth! Increase MAX_RECURSE_DEPTH or check object references!"_s,
    };
    return lines;
}

} // namespace

class tst_Log : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup() { QLoggingCategory::setFilterRules(QString()); }

    void lineIsItsPartsOneAfterAnother();
    void lineHasTheDefaultCategory();
    void everyCategoryIsOnAtFirst();
    void ruleSilencesOneCategory_data();
    void ruleSilencesOneCategory();
    void oneRuleSilencesAll();
    void silencedLineIsNotComputed();
};

void tst_Log::lineIsItsPartsOneAfterAnother()
{
    const LogCapture log;
    TARVO_LOG(rest, "alone");
    TARVO_LOG(rest, "[Class] ", u"%1 \u20ac"_s, ": ", -7, QString(), " ");
    QCOMPARE(log.messages(), QStringList({u"alone"_s, u"[Class] %1 \u20ac: -7 "_s}));
}

// Its name would stand in front of the line on the standard error stream.
void tst_Log::lineHasTheDefaultCategory()
{
    static QByteArray seen;
    const auto previous = qInstallMessageHandler(
        [](QtMsgType type, const QMessageLogContext &context, const QString &) {
            seen = QByteArray::number(type) + context.category;
        });
    TARVO_LOG(sockjs, "line");
    qInstallMessageHandler(previous);
    QCOMPARE(seen, QByteArray("0default"));
}

void tst_Log::everyCategoryIsOnAtFirst()
{
    QCOMPARE(linesOfTheLibrary(), allLines());
}

void tst_Log::ruleSilencesOneCategory_data()
{
    QTest::addColumn<int>("silenced");
    for (int i = 0; i < 4; ++i)
        QTest::newRow(CATEGORIES[i]) << i;
}

void tst_Log::ruleSilencesOneCategory()
{
    QFETCH(int, silenced);
    QLoggingCategory::setFilterRules(u"%1.debug=false"_s.arg(CATEGORIES[silenced]));
    QStringList expected = allLines();
    expected.removeAt(silenced);
    QCOMPARE(linesOfTheLibrary(), expected);
}

void tst_Log::oneRuleSilencesAll()
{
    QLoggingCategory::setFilterRules(u"tarvo.*=false"_s);
    QCOMPARE(linesOfTheLibrary(), QStringList());
}

void tst_Log::silencedLineIsNotComputed()
{
    int computed = 0;
    const auto value = [&] { return QString::number(++computed); };
    const LogCapture log;
    TARVO_LOG(channel, "value ", value());
    QLoggingCategory::setFilterRules(u"tarvo.channel=false"_s);
    TARVO_LOG(channel, "value ", value());
    QCOMPARE(log.messages(), QStringList{u"value 1"_s});
    QCOMPARE(computed, 1);
}

QTEST_GUILESS_MAIN(tst_Log)
#include "tst_log.moc"
