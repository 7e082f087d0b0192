#include "Diagnostics.h"
#include "support/LogCapture.h"
#include "support/Text.h"

#include <QtTest/QtTest>

using namespace Host;

class tst_Diagnostics : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void transportIsReadFromTheConnectorsLines_data();
    void transportIsReadFromTheConnectorsLines();
    void theLastTransportHolds();
    void linesReachTheSinkOnly();
    void withoutSinkLinesAreDropped();
    void theEarlierHandlerComesBack();
};

void tst_Diagnostics::transportIsReadFromTheConnectorsLines_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("transport");
    const auto row = [](const char *name, const char *line, const char *transport) {
        QTest::newRow(name) << QString::fromUtf8(line) << QString::fromUtf8(transport);
    };
    row("web socket", "[SockJSConnector] CONNECTED via Websocket", "websocket");
    row("streaming", "[SockJSConnector] CONNECTED via xhr_streaming", "xhr-streaming");
    row("polling", "[SockJSConnector] CONNECTED via xhr_polling", "xhr-polling");
    row("said by somebody else", "[Chat] [SockJSConnector] CONNECTED via Websocket", "");
    row("only tried", "[SockJSConnector] Websocket url = ws://h", "");
}

void tst_Diagnostics::transportIsReadFromTheConnectorsLines()
{
    QFETCH(QString, line);
    const Diagnostics diagnostics(nullptr);
    QCOMPARE(diagnostics.transport(), QString());
    qDebug().noquote() << line;
    QTEST(diagnostics.transport(), "transport");
}

void tst_Diagnostics::theLastTransportHolds()
{
    const Diagnostics diagnostics(nullptr);
    qDebug().noquote() << "[SockJSConnector] CONNECTED via Websocket";
    qDebug().noquote() << "[SockJSConnector] CONNECTED via xhr_polling";
    QCOMPARE(diagnostics.transport(), u"xhr-polling"_s);
}

void tst_Diagnostics::linesReachTheSinkOnly()
{
    const LogCapture outside;
    QStringList lines;
    {
        const Diagnostics diagnostics([&lines](const QString &line) { lines.append(line); });
        qDebug().noquote() << "one";
        qWarning().noquote() << "two";
    }
    QCOMPARE(lines, QStringList({u"one"_s, u"two"_s}));
    QCOMPARE(outside.messages(), QStringList());
}

void tst_Diagnostics::withoutSinkLinesAreDropped()
{
    const LogCapture outside;
    {
        const Diagnostics diagnostics(nullptr);
        qDebug().noquote() << "one";
    }
    QCOMPARE(outside.messages(), QStringList());
}

void tst_Diagnostics::theEarlierHandlerComesBack()
{
    const LogCapture outside;
    {
        const Diagnostics diagnostics(nullptr);
    }
    qDebug().noquote() << "after";
    QCOMPARE(outside.messages(), QStringList({u"after"_s}));
}

QTEST_GUILESS_MAIN(tst_Diagnostics)
#include "tst_diagnostics.moc"
