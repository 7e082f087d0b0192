#include "Diagnostics.h"
#include "support/LogCapture.h"
#include "support/Text.h"

#include <QtTest/QtTest>

using namespace Host;

class tst_Diagnostics : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void linesReachTheSinkOnly();
    void withoutSinkLinesAreDropped();
    void theEarlierHandlerComesBack();
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
