// The examples of docs/protocol.md against what the library really makes. Examples.h tells how an
// example is written.

#include "Examples.h"

#include <QtCore/QFile>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QRegularExpression>
#include <QtTest/QtTest>

namespace
{

struct Block {
    QString name;     // empty without a comment before it
    QStringList keys; // the top-level keys it is cut down to; all of them when empty
    QString language;
    QString text;
};

QVector<Example> allExamples()
{
    return messageExamples() + contentExamples();
}

QVector<Block> fencedBlocks(const QStringList &lines)
{
    static const QRegularExpression comment(
        "\\A<!-- example: ([a-z0-9-]+)(?:, only: ([A-Za-z ]+))? -->\\z");
    QVector<Block> blocks;
    for (int i = 0; i < lines.size(); ++i) {
        if (!lines[i].startsWith("```"))
            continue;
        Block block;
        const auto match = comment.match(lines.value(i - 1));
        block.name = match.captured(1);
        block.keys = match.captured(2).split(' ', Qt::SkipEmptyParts);
        block.language = lines[i].mid(3);
        while (++i < lines.size() && lines[i] != "```")
            block.text += lines[i] + '\n';
        blocks << block;
    }
    return blocks;
}

QString cutDownTo(const QStringList &keys, const QString &json)
{
    const QJsonObject whole = QJsonDocument::fromJson(json.toUtf8()).object();
    QJsonObject part;
    for (const QString &key : keys) {
        if (whole.contains(key))
            part[key] = whole[key];
    }
    return QString::fromUtf8(QJsonDocument(part).toJson());
}

} // namespace

class tst_ProtocolExamples : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void exampleIsRealOutput_data();
    void exampleIsRealOutput();
    void everyExampleCommentIsReadAsOne();
    void everyJsonBlockIsAnExample();
    void everyRowIsUsed();
    void namesAreUnique();

private:
    QStringList m_lines;
    QVector<Block> m_blocks;
};

void tst_ProtocolExamples::initTestCase()
{
    QFile document(QStringLiteral(TARVO_DOCS_DIR "/protocol.md"));
    QVERIFY2(document.open(QIODevice::ReadOnly), qPrintable(document.fileName()));
    m_lines = QString::fromUtf8(document.readAll()).split('\n');
    m_blocks = fencedBlocks(m_lines);
    QVERIFY(!m_blocks.isEmpty());
}

void tst_ProtocolExamples::exampleIsRealOutput_data()
{
    QTest::addColumn<int>("block");
    for (int i = 0; i < m_blocks.size(); ++i) {
        if (!m_blocks[i].name.isEmpty())
            QTest::addRow("%s %d", qPrintable(m_blocks[i].name), i) << i;
    }
}

void tst_ProtocolExamples::exampleIsRealOutput()
{
    QFETCH(int, block);
    const Block &written = m_blocks[block];
    for (const Example &example : allExamples()) {
        if (written.name != example.name)
            continue;
        QString made = example.make();
        if (!written.keys.isEmpty())
            made = cutDownTo(written.keys, made);
        if (!made.endsWith('\n'))
            made += '\n';
        const QStringList writtenLines = written.text.split('\n');
        const QStringList madeLines = made.split('\n');
        for (int i = 0; i < qMin(writtenLines.size(), madeLines.size()); ++i)
            QCOMPARE(writtenLines[i], madeLines[i]);
        QCOMPARE(written.text, made);
        return;
    }
    QFAIL("The document has an example that nothing makes.");
}

void tst_ProtocolExamples::everyExampleCommentIsReadAsOne()
{
    const int comments = m_lines.filter("<!-- example").size();
    const auto named = std::count_if(m_blocks.begin(), m_blocks.end(),
                                     [](const Block &block) { return !block.name.isEmpty(); });
    QCOMPARE(int(named), comments);
}

void tst_ProtocolExamples::everyJsonBlockIsAnExample()
{
    for (const Block &block : qAsConst(m_blocks)) {
        QVERIFY2(block.language != "json" || !block.name.isEmpty(),
                 qPrintable("No example comment before: " + block.text));
    }
}

void tst_ProtocolExamples::everyRowIsUsed()
{
    for (const Example &example : allExamples()) {
        const bool used = std::any_of(m_blocks.begin(), m_blocks.end(), [&](const Block &block) {
            return block.name == example.name;
        });
        QVERIFY2(used, example.name);
    }
}

void tst_ProtocolExamples::namesAreUnique()
{
    QStringList names;
    for (const Example &example : allExamples())
        names << example.name;
    QCOMPARE(names.removeDuplicates(), 0);
}

QTEST_GUILESS_MAIN(tst_ProtocolExamples)
#include "tst_protocolexamples.moc"
