#include "Diagnostics.h"

#include <QtTest/QtTest>

using namespace Host;

class TestDiagnostics : public QObject
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

namespace
{

QStringList outside;

void noteOutside(QtMsgType, const QMessageLogContext &, const QString &message)
{
    outside.append(message);
}

} // namespace

void TestDiagnostics::transportIsReadFromTheConnectorsLines_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("transport");
    QTest::newRow("web socket") << "[SockJSConnector] CONNECTED via Websocket"
                                << "websocket";
    QTest::newRow("streaming") << "[SockJSConnector] CONNECTED via xhr_streaming"
                               << "xhr-streaming";
    QTest::newRow("polling") << "[SockJSConnector] CONNECTED via xhr_polling"
                             << "xhr-polling";
    QTest::newRow("said by somebody else") << "[Chat] [SockJSConnector] CONNECTED via Websocket"
                                           << "";
    QTest::newRow("only tried") << "[SockJSConnector] Websocket url = ws://h"
                                << "";
}

void TestDiagnostics::transportIsReadFromTheConnectorsLines()
{
    QFETCH(QString, line);
    const Diagnostics diagnostics(nullptr);
    QCOMPARE(diagnostics.transport(), QString());
    qDebug().noquote() << line;
    QTEST(diagnostics.transport(), "transport");
}

void TestDiagnostics::theLastTransportHolds()
{
    const Diagnostics diagnostics(nullptr);
    qDebug().noquote() << "[SockJSConnector] CONNECTED via Websocket";
    qDebug().noquote() << "[SockJSConnector] CONNECTED via xhr_polling";
    QCOMPARE(diagnostics.transport(), QString("xhr-polling"));
}

void TestDiagnostics::linesReachTheSinkOnly()
{
    outside.clear();
    const QtMessageHandler before = qInstallMessageHandler(&noteOutside);
    QStringList lines;
    {
        const Diagnostics diagnostics([&lines](const QString &line) { lines.append(line); });
        qDebug().noquote() << "one";
        qWarning().noquote() << "two";
    }
    qInstallMessageHandler(before);
    QCOMPARE(lines, QStringList({"one", "two"}));
    QCOMPARE(outside, QStringList());
}

void TestDiagnostics::withoutSinkLinesAreDropped()
{
    outside.clear();
    const QtMessageHandler before = qInstallMessageHandler(&noteOutside);
    {
        const Diagnostics diagnostics(nullptr);
        qDebug().noquote() << "one";
    }
    qInstallMessageHandler(before);
    QCOMPARE(outside, QStringList());
}

void TestDiagnostics::theEarlierHandlerComesBack()
{
    outside.clear();
    const QtMessageHandler before = qInstallMessageHandler(&noteOutside);
    {
        const Diagnostics diagnostics(nullptr);
    }
    qDebug().noquote() << "after";
    qInstallMessageHandler(before);
    QCOMPARE(outside, QStringList({"after"}));
}

QTEST_GUILESS_MAIN(TestDiagnostics)
#include "tst_diagnostics.moc"
