// What the fuzzer begins with: each target has seeds and a dictionary, and takes its seeds as they are.
#include "docs/Pages.h"
#include "support/LogCapture.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtTest/QtTest>

#include <cstdint>

// The targets, in the order of fuzz/CMakeLists.txt; each aborts when its code breaks its word.
extern "C" {
int fuzz_block(const std::uint8_t *data, std::size_t size);
int fuzz_base64(const std::uint8_t *data, std::size_t size);
int fuzz_list(const std::uint8_t *data, std::size_t size);
int fuzz_gunzip(const std::uint8_t *data, std::size_t size);
int fuzz_dispatch(const std::uint8_t *data, std::size_t size);
int fuzz_frame(const std::uint8_t *data, std::size_t size);
int fuzz_httpparsers(const std::uint8_t *data, std::size_t size);
int fuzz_responses(const std::uint8_t *data, std::size_t size);
int fuzz_answers(const std::uint8_t *data, std::size_t size);
int fuzz_replies(const std::uint8_t *data, std::size_t size);
}

namespace
{

const struct {
    const char *name;
    int (*run)(const std::uint8_t *data, std::size_t size);
} TARGETS[] = {
    {"fuzz_block", fuzz_block},
    {"fuzz_base64", fuzz_base64},
    {"fuzz_list", fuzz_list},
    {"fuzz_gunzip", fuzz_gunzip},
    {"fuzz_dispatch", fuzz_dispatch},
    {"fuzz_frame", fuzz_frame},
    {"fuzz_httpparsers", fuzz_httpparsers},
    {"fuzz_responses", fuzz_responses},
    {"fuzz_answers", fuzz_answers},
    {"fuzz_replies", fuzz_replies},
};

QStringList targetsOfTheTree()
{
    return allCaptured(treeFile(u"fuzz/CMakeLists.txt"_s), u"^tarvo_add_fuzzer\\((\\w+)\\)"_s);
}

QDir seedsOf(const QString &target)
{
    return QDir(QStringLiteral(TARVO_SOURCE_DIR "/fuzz/seeds/") + target);
}

QByteArray contentOf(const QString &file)
{
    QFile opened(file);
    return opened.open(QIODevice::ReadOnly) ? opened.readAll() : QByteArray();
}

} // namespace

class tst_Seeds : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyTargetIsHere();
    void everyTargetSaysWhatItIsMeantFor();
    void everyTargetHasSeedsAndADictionary_data();
    void everyTargetHasSeedsAndADictionary();
    void seedPasses_data();
    void seedPasses();
};

void tst_Seeds::everyTargetIsHere()
{
    QStringList here;
    for (const auto &target : TARGETS)
        here.append(QString::fromLatin1(target.name));
    QCOMPARE(here, targetsOfTheTree());
    here.sort();
    QCOMPARE(seedsOf(QString()).entryList(QDir::Dirs | QDir::NoDotAndDotDot), here);
}

void tst_Seeds::everyTargetSaysWhatItIsMeantFor()
{
    QStringList meant = allCaptured(treeFile(u"fuzz/functions.txt"_s), u"^(\\w+) +[\\w:]+$"_s);
    meant.removeDuplicates();
    QCOMPARE(meant, targetsOfTheTree());
}

void tst_Seeds::everyTargetHasSeedsAndADictionary_data()
{
    QTest::addColumn<QString>("target");
    for (const auto &target : TARGETS)
        QTest::newRow(target.name) << QString::fromLatin1(target.name);
}

void tst_Seeds::everyTargetHasSeedsAndADictionary()
{
    QFETCH(QString, target);
    QVERIFY(seedsOf(target).count() >= 5);
    const QStringList lines =
        treeFile(u"fuzz/dictionaries/%1.dict"_s.arg(target)).split(u'\n', Qt::SkipEmptyParts);
    // The fuzzer refuses a whole file for one line of another form.
    const QRegularExpression entry(uR"(^(#.*|"([^"\\]|\\\\|\\"|\\x[0-9a-fA-F]{2})+")$)"_s);
    for (const QString &line : lines)
        QVERIFY2(entry.match(line).hasMatch(), qPrintable(line));
    QVERIFY(lines.size() > 10);
}

void tst_Seeds::seedPasses_data()
{
    QTest::addColumn<int>("target");
    QTest::addColumn<QString>("file");
    for (int i = 0; i < int(std::size(TARGETS)); ++i) {
        const QFileInfoList seeds =
            seedsOf(QString::fromLatin1(TARGETS[i].name)).entryInfoList(QDir::Files, QDir::Name);
        for (const QFileInfo &seed : seeds)
            QTest::addRow("%s: %s", TARGETS[i].name, qPrintable(seed.fileName()))
                << i << seed.filePath();
    }
}

void tst_Seeds::seedPasses()
{
    QFETCH(int, target);
    QFETCH(QString, file);
    const QByteArray seed = contentOf(file);
    QVERIFY(!seed.isEmpty());
    // The fuzzer cuts off what is longer than scripts/fuzz allows.
    QVERIFY(seed.size() <= 4096);
    const LogCapture log;
    TARGETS[target].run(reinterpret_cast<const std::uint8_t *>(seed.constData()),
                        std::size_t(seed.size()));
}

QTEST_GUILESS_MAIN(tst_Seeds)
#include "tst_seeds.moc"
