#include "Samples.h"
#include "compression/Lzma.h"

#include <QtTest/QtTest>

using namespace Samples;

namespace
{

QJsonObject askJavaScriptPeer(const QJsonObject &request)
{
    QProcess node;
    node.start(QStringLiteral(NODE), {QStringLiteral(LZMA_PEER)});
    node.write(QJsonDocument(request).toJson());
    node.closeWriteChannel();
    if (!node.waitForFinished(100000) || node.exitCode() != 0)
        qWarning("%s", node.readAllStandardError().constData());
    return QJsonDocument::fromJson(node.readAllStandardOutput()).object();
}

} // namespace

// The package that the classroom service and the learners' devices use, as the other end.
class tst_lzmajavascript : public QObject
{
    Q_OBJECT

private slots:
    void packageReadsOurBlocksAndWeReadIts();
};

void tst_lzmajavascript::packageReadsOurBlocksAndWeReadIts()
{
    const QStringList texts = sampleTexts().filter(QRegularExpression(QStringLiteral(".")));
    QJsonArray ourBlocks;
    for (const QString &text : texts) {
        QString block;
        QVERIFY(Lzma::compress64(text, &block));
        ourBlocks.append(block);
    }

    const QJsonObject answer = askJavaScriptPeer({
        {QStringLiteral("pack"), QJsonArray::fromStringList(texts)},
        {QStringLiteral("unpack"), ourBlocks},
    });

    QCOMPARE(answer.value(QLatin1String("texts")).toArray(), QJsonArray::fromStringList(texts));
    const QJsonArray theirBlocks = answer.value(QLatin1String("blocks")).toArray();
    QCOMPARE(theirBlocks.size(), texts.size());
    for (int i = 0; i < texts.size(); ++i) {
        QString read;
        QVERIFY(Lzma::decompress64(theirBlocks.at(i).toString(), &read));
        QCOMPARE(read, texts.at(i));
    }
}

QTEST_GUILESS_MAIN(tst_lzmajavascript)
#include "tst_lzmajavascript.moc"
