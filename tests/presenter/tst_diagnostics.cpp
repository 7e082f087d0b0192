#include "Diagnostics.h"
#include "support/LogCapture.h"
#include "support/Text.h"

#include <QtCore/QLoggingCategory>
#include <QtTest/QtTest>

using namespace Host;

class tst_Diagnostics : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void linesReachTheSinkOnly();
    void withoutSinkLinesAreDropped();
    void withoutSinkLinesAreNotMade();
    void theEarlierHandlerComesBack();
    void linesHoldNoCommandsToTheTerminal();
};

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

void tst_Diagnostics::withoutSinkLinesAreNotMade()
{
    const QLoggingCategory channel("tarvo.channel");
    {
        const Diagnostics diagnostics([](const QString &) {});
        QVERIFY(channel.isDebugEnabled());
    }
    {
        const Diagnostics diagnostics(nullptr);
        QVERIFY(!channel.isDebugEnabled());
        QVERIFY(channel.isWarningEnabled());
    }
    QVERIFY(channel.isDebugEnabled());
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

// They tell what learners and the service have sent.
void tst_Diagnostics::linesHoldNoCommandsToTheTerminal()
{
    QStringList lines;
    const Diagnostics diagnostics([&lines](const QString &line) { lines.append(line); });
    qDebug().noquote() << u"a\x1b[2J\nb\u202e"_s;
    qDebug().noquote() << u"words "_s.repeated(1024 * 1024);
    QCOMPARE(lines.value(0), u"a\\x1b[2J\\nb\\u202e"_s);
    QCOMPARE(lines.value(1).size(), 4000);
}

QTEST_GUILESS_MAIN(tst_Diagnostics)
#include "tst_diagnostics.moc"
