#include "Samples.h"
#include "compression/Lzma.h"
#include "support/Text.h"

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
class tst_LzmaJavaScript : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void packageReadsOurBlocksAndWeReadIts();
};

void tst_LzmaJavaScript::packageReadsOurBlocksAndWeReadIts()
{
    const QStringList texts = sampleTexts().filter(QRegularExpression(u"."_s));
    QJsonArray ourBlocks;
    for (const QString &text : texts) {
        QString block;
        QVERIFY(Lzma::compress64(text, &block));
        ourBlocks.append(block);
    }

    const QJsonObject answer = askJavaScriptPeer({
        {u"pack"_s, QJsonArray::fromStringList(texts)},
        {u"unpack"_s, ourBlocks},
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

QTEST_GUILESS_MAIN(tst_LzmaJavaScript)
#include "tst_lzmajavascript.moc"
