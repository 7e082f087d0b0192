#include "Diagnostics.h"

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

namespace
{

QStringList outside;

void noteOutside(QtMsgType, const QMessageLogContext &, const QString &message)
{
    outside.append(message);
}

} // namespace

void tst_Diagnostics::transportIsReadFromTheConnectorsLines_data()
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
    QCOMPARE(diagnostics.transport(), QString("xhr-polling"));
}

void tst_Diagnostics::linesReachTheSinkOnly()
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

void tst_Diagnostics::withoutSinkLinesAreDropped()
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

void tst_Diagnostics::theEarlierHandlerComesBack()
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

QTEST_GUILESS_MAIN(tst_Diagnostics)
#include "tst_diagnostics.moc"
