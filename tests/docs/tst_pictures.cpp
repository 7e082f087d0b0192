// The pictures of the reference show what the code has; that of the kit's states is compared by
// tests/host/tst_classstates.cpp.

#include "Pages.h"

#include <QtTest/QtTest>

namespace
{

const QString PICTURES = u"docs/reference/"_s;

// The names at both ends of the arrows.
QStringList nodes(const QString &picture)
{
    return sortedOnce(allCaptured(picture, u"^  (\\w+) -> "_s)
                      + allCaptured(picture, u"^  \\w+ -> (\\w+)"_s));
}

// The enumerators of a class's State.
QStringList states(const QString &header)
{
    const QString begin = u"enum class State {"_s;
    const int from = header.indexOf(begin) + begin.size();
    return sortedOnce(
        allCaptured(header.mid(from, header.indexOf(u"};"_s, from) - from), u"^ *([A-Z]+)"_s));
}

// The first cells of the table of states in a section.
QStringList tableStates(const QString &heading)
{
    QStringList found;
    for (const QStringList &row : tableRows(section(treeFile(u"docs/connection.md"_s), heading)))
        found.append(row.first());
    return sortedOnce(found);
}

} // namespace

class tst_Pictures : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void statesAreThoseOfTheCode_data();
    void statesAreThoseOfTheCode();
    void questionsAreDerivedAsShown();
};

void tst_Pictures::statesAreThoseOfTheCode_data()
{
    QTest::addColumn<QString>("picture");
    QTest::addColumn<QString>("header");
    QTest::addColumn<QString>("heading");
    QTest::addColumn<QStringList>("missing");
    const QString connector = u"sockjs/SockJSConnector.h"_s;
    const QString theDefaultWay = u"## The default way"_s;
    QTest::newRow("default") << u"connection-default"_s << connector << theDefaultWay
                             << QStringList();
    QTest::newRow("robust") << u"connection-robust"_s << connector << theDefaultWay
                            << QStringList{u"CLOSING"_s};
    QTest::newRow("receiving") << u"receiving"_s << u"sockjs/ReceivingLine.h"_s
                               << u"## Receiving, the robust way over XHR"_s << QStringList();
}

void tst_Pictures::statesAreThoseOfTheCode()
{
    QFETCH(QString, picture);
    QFETCH(QString, header);
    QFETCH(QString, heading);
    QFETCH(QStringList, missing);
    const QStringList shown = nodes(treeFile(PICTURES + picture + u".dot"_s)) + missing;
    QCOMPARE(sortedOnce(shown), states(treeFile(header)));
    const QStringList told = tableStates(heading);
    for (const QString &state : shown)
        QVERIFY2(told.contains(state), qPrintable(state));
}

void tst_Pictures::questionsAreDerivedAsShown()
{
    const QString derived = u"^class \\w+ (\\w+) : public Question"_s;
    QStringList known;
    const QDir model(QStringLiteral(TARVO_SOURCE_DIR "/model"));
    for (const QString &file : model.entryList({u"Question*.h"_s})) {
        const QString header = treeFile(u"model/"_s + file);
        const QStringList bases =
            allCaptured(header, u"^class \\w+ \\w+ : public (Question\\w+)"_s);
        for (const QString &name : allCaptured(header, derived))
            known.append(name + u" -> "_s + bases.first());
    }
    QVERIFY(known.size() >= 10);
    const QString picture = treeFile(PICTURES + u"questions.dot"_s);
    QCOMPARE(sortedOnce(allCaptured(picture, u"^  (\\w+ -> \\w+)$"_s)), sortedOnce(known));
}

QTEST_GUILESS_MAIN(tst_Pictures)
#include "tst_pictures.moc"
