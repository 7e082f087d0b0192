// The tables of poll and ordinal types. Run with the argument "at-exit", the program reads them from
// the destructor of a global object instead, and says so.
#include "model/OrdinalType.h"
#include "model/PollType.h"
#include "support/Text.h"

#include <QtCore/QProcess>
#include <QtTest/QtTest>

#include <cstdio>

using Tarvo::OrdinalType;
using Tarvo::PollType;

namespace
{

const char AT_EXIT[] = "at-exit";

// Built before anything else of the program runs, so destroyed after all that was built later.
struct LastOfTheHost {
    bool reads = false;

    ~LastOfTheHost()
    {
        if (!reads)
            return;
        const QStringList texts{PollType::POLL_TYPE_STR().value(PollType::MATH_FORMULA),
                                PollType::POLL_TYPE_ID().value("creative"),
                                OrdinalType::ORDINAL_TYPE_STR().value(OrdinalType::GENERIC)};
        std::puts(qPrintable(texts.join('|')));
        std::fflush(stdout);
    }
} lastOfTheHost;

int readAtExit()
{
    PollType::POLL_TYPE_STR();
    PollType::POLL_TYPE_ID();
    OrdinalType::ORDINAL_TYPE_STR();
    lastOfTheHost.reads = true;
    return 0;
}

} // namespace

class tst_TypeTables : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyPollTypeHasItsNameAndId_data();
    void everyPollTypeHasItsNameAndId();
    void everyOrdinalTypeHasItsName_data();
    void everyOrdinalTypeHasItsName();
    void tablesHoldNothingElse();
    void yesNoPollsShareAnId();
    void tablesAreBuiltAfresh();
    void globalObjectsMayReadThemAtTheVeryEnd();
    void valuesPrintTheirEnumerators();
};

void tst_TypeTables::everyPollTypeHasItsNameAndId_data()
{
    QTest::addColumn<int>("value");
    QTest::addColumn<int>("enumerator");
    QTest::addColumn<QString>("id");
    const auto row = [](int value, PollType::POLL_TYPE enumerator, const char *name,
                        const char *id) {
        QTest::newRow(name) << value << int(enumerator) << QString(id);
    };
    row(0, PollType::TRUE_FALSE, "true-false", "3c476afbcfce45eda0b44df4737c3d27");
    row(1, PollType::YES_NO_OTHER, "yes-no-other", "3c476afbcfce45eda0b44df4737c3d27");
    row(2, PollType::MULTIPLE, "multiple", "8755bfc923cb492094df5c842a30da5f");
    row(3, PollType::SCALE, "scale", "c80eb89f2c7240fb83d53069bf4c1f2c");
    row(4, PollType::SORT, "sort", "be8a3a7f5d624a798ec54900385a9eb8");
    row(5, PollType::TEXT, "text", "6efc81c52cfe4502976de55df9af2f89");
    row(6, PollType::WORD_SEED, "word-seed", "cfd9a136d9c44699ae1d7f489f6c513b");
    row(7, PollType::NUMBER, "number", "24e7bda40c4140f896648511a5782466");
    row(8, PollType::CREATIVE, "creative", "5446bd7896d54c7d84e2aeb75904ddab");
    row(9, PollType::MATH_FORMULA, "math formula", "9f31dd1a55374c49a3127b8f94a1f1a6");
}

void tst_TypeTables::everyPollTypeHasItsNameAndId()
{
    QFETCH(int, value);
    QFETCH(int, enumerator);
    QFETCH(QString, id);
    QCOMPARE(enumerator, value);
    const QString name = PollType::POLL_TYPE_STR().value(static_cast<PollType::POLL_TYPE>(value));
    QCOMPARE(name, QString(QTest::currentDataTag()));
    QCOMPARE(PollType::POLL_TYPE_ID().value(name), id);
}

void tst_TypeTables::everyOrdinalTypeHasItsName_data()
{
    QTest::addColumn<int>("value");
    QTest::addColumn<int>("enumerator");
    const auto row = [](int value, OrdinalType::ORDINAL_TYPE enumerator, const char *name) {
        QTest::newRow(name) << value << int(enumerator);
    };
    row(0, OrdinalType::TRUE_FALSE, "true-false");
    row(1, OrdinalType::YES_NO, "yes-no");
    row(2, OrdinalType::YES_NO_MAYBE, "yes-no-maybe");
    row(3, OrdinalType::YES_NO_UNSURE, "yes-no-unsure");
    row(4, OrdinalType::YES_NO_OTHER, "yes-no-other");
    row(5, OrdinalType::ALPHA_UPPER, "alpha-upper");
    row(6, OrdinalType::ALPHA_LOWER, "alpha-lower");
    row(7, OrdinalType::NUMBER, "number");
    row(8, OrdinalType::AGREEMENT, "agreement");
    row(9, OrdinalType::CONFIDENCE, "confidence");
    row(10, OrdinalType::GENERIC, "generic");
}

void tst_TypeTables::everyOrdinalTypeHasItsName()
{
    QFETCH(int, value);
    QFETCH(int, enumerator);
    QCOMPARE(enumerator, value);
    QCOMPARE(OrdinalType::ORDINAL_TYPE_STR().value(static_cast<OrdinalType::ORDINAL_TYPE>(value)),
             QString(QTest::currentDataTag()));
}

void tst_TypeTables::tablesHoldNothingElse()
{
    QCOMPARE(PollType::POLL_TYPE_STR().size(), 10);
    QCOMPARE(PollType::POLL_TYPE_ID().size(), 10);
    QCOMPARE(OrdinalType::ORDINAL_TYPE_STR().size(), 11);
    QCOMPARE(PollType::POLL_TYPE_STR().value(static_cast<PollType::POLL_TYPE>(10)), QString());
    QCOMPARE(OrdinalType::ORDINAL_TYPE_STR().value(static_cast<OrdinalType::ORDINAL_TYPE>(11)),
             QString());
}

void tst_TypeTables::yesNoPollsShareAnId()
{
    const QMap<QString, QString> ids = PollType::POLL_TYPE_ID();
    QCOMPARE(ids["true-false"], ids["yes-no-other"]);
    const QStringList all = ids.values();
    QCOMPARE(QSet<QString>(all.begin(), all.end()).size(), 9);
}

void tst_TypeTables::tablesAreBuiltAfresh()
{
    QMap<PollType::POLL_TYPE, QString> names = PollType::POLL_TYPE_STR();
    names.clear();
    QCOMPARE(PollType::POLL_TYPE_STR().size(), 10);
    // No call gives what another one holds.
    const auto one = PollType::POLL_TYPE_STR();
    const auto other = PollType::POLL_TYPE_STR();
    QVERIFY(!one.isSharedWith(other));
    QVERIFY(!PollType::POLL_TYPE_ID().isSharedWith(PollType::POLL_TYPE_ID()));
    QVERIFY(!OrdinalType::ORDINAL_TYPE_STR().isSharedWith(OrdinalType::ORDINAL_TYPE_STR()));
}

void tst_TypeTables::globalObjectsMayReadThemAtTheVeryEnd()
{
    QProcess program;
    program.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    program.start(QCoreApplication::applicationFilePath(), {AT_EXIT});
    QVERIFY(program.waitForFinished());
    QCOMPARE(program.exitStatus(), QProcess::NormalExit);
    QCOMPARE(program.exitCode(), 0);
    QCOMPARE(program.readAllStandardOutput(),
             QByteArray("math formula|5446bd7896d54c7d84e2aeb75904ddab|generic\n"));
}

void tst_TypeTables::valuesPrintTheirEnumerators()
{
    QString printed;
    QDebug(&printed) << PollType::MATH_FORMULA << OrdinalType::ALPHA_UPPER;
    QCOMPARE(printed.trimmed(), u"Tarvo::PollType::MATH_FORMULA Tarvo::OrdinalType::ALPHA_UPPER"_s);
}

int main(int argc, char **argv)
{
    if (argc == 2 && qstrcmp(argv[1], AT_EXIT) == 0)
        return readAtExit();
    const QCoreApplication application(argc, argv);
    tst_TypeTables test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_typetables.moc"
