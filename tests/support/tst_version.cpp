// The version stands in one place, and is the same wherever somebody reads it. And what is marked as deprecated is
// still there.

#define TARVO_NO_DEPRECATION_WARNINGS // one test calls what others should not

#include "support/TarvoVersion.h"

#include <QtCore/QFile>
#include <QtCore/QRegularExpression>
#include <QtTest/QtTest>

class OldWays : public QObject
{
    Q_OBJECT

public:
    using QObject::QObject;

    TARVO_DEPRECATED("call newWay() instead") int oldWay() const { return 1; }

Q_SIGNALS:
    TARVO_DEPRECATED("connect to newSignal() instead") void oldSignal();

public Q_SLOTS:
    TARVO_DEPRECATED("call newSlot() instead") void oldSlot() { }
};

class tst_Version : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void headerLibraryAndBuildSayTheSame();
    void newestChangesAreThoseOfThisVersion();
    void versionsCompareByTheirNumbers();
    void preprocessorComparesVersions();
    void deprecatedFunctionsSignalsAndSlotsWork();
};

void tst_Version::headerLibraryAndBuildSayTheSame()
{
    const QString build = QStringLiteral(TARVO_BUILD_VERSION);
    QCOMPARE(QStringLiteral(TARVO_VERSION_STR), build);
    QCOMPARE(Tarvo::libraryVersion().toString(), build);
    QCOMPARE(Tarvo::libraryVersion(),
             QVersionNumber(TARVO_VERSION_MAJOR, TARVO_VERSION_MINOR, TARVO_VERSION_PATCH));
    const QVersionNumber number(TARVO_VERSION >> 16, TARVO_VERSION >> 8 & 0xff,
                                TARVO_VERSION & 0xff);
    QCOMPARE(number.toString(), build);
}

void tst_Version::newestChangesAreThoseOfThisVersion()
{
    QFile changes(QStringLiteral(TARVO_SOURCE_DIR "/CHANGELOG.md"));
    QVERIFY(changes.open(QIODevice::ReadOnly));
    const QRegularExpression heading(QStringLiteral("^## ([0-9.]+)"),
                                     QRegularExpression::MultilineOption);
    QCOMPARE(heading.match(QString::fromUtf8(changes.readAll())).captured(1),
             QStringLiteral(TARVO_VERSION_STR));
}

void tst_Version::versionsCompareByTheirNumbers()
{
    QVERIFY(TARVO_VERSION_CHECK(1, 10, 0) > TARVO_VERSION_CHECK(1, 9, 255));
    QVERIFY(TARVO_VERSION_CHECK(2, 0, 0) > TARVO_VERSION_CHECK(1, 255, 255));
    QCOMPARE(TARVO_VERSION_CHECK(1, 2, 3), 0x010203);
}

void tst_Version::preprocessorComparesVersions()
{
#if TARVO_VERSION >= TARVO_VERSION_CHECK(1, 0, 0) \
    && TARVO_VERSION < TARVO_VERSION_CHECK(TARVO_VERSION_MAJOR + 1, 0, 0)
    const bool isOfThisMajorVersion = true;
#else
    const bool isOfThisMajorVersion = false;
#endif
    QVERIFY(isOfThisMajorVersion);
}

void tst_Version::deprecatedFunctionsSignalsAndSlotsWork()
{
    OldWays old;
    int heard = 0;
    QObject::connect(&old, SIGNAL(oldSignal()), &old, SLOT(oldSlot()));
    QObject::connect(&old, &OldWays::oldSignal, &old, [&heard] { ++heard; });
    Q_EMIT old.oldSignal();
    QCOMPARE(heard, 1);
    QCOMPARE(old.oldWay(), 1);
    QVERIFY(old.metaObject()->indexOfMethod("oldSlot()") >= 0);
}

QTEST_GUILESS_MAIN(tst_Version)
#include "tst_version.moc"
