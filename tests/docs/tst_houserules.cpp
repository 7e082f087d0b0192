// Rules of CONTRIBUTING.md, as they are kept: who may include whom is what the check of the includes holds,
// and event loops are made where it says.

#include "Pages.h"

#include <QtCore/QMap>
#include <QtTest/QtTest>

namespace
{

// By folder: the folders whose headers it may include. Those of which only the public ones count begin
// with a plus.
using Rules = QMap<QString, QStringList>;

Rules rulesOfPage(const QString &table)
{
    Rules rules;
    for (const QStringList &row : tableRows(table)) {
        const QString allowed = row.value(1).section(u": "_s, 0, 0);
        const QString mark = allowed.startsWith(u"the public headers of"_s) ? u"+"_s : QString();
        QStringList others;
        for (const QString &other : allCaptured(allowed, u"`(\\w+)/`"_s))
            others.append(mark + other);
        for (const QString &folder : allCaptured(row.value(0), u"`(\\w+)/`"_s))
            rules.insert(folder, others);
    }
    return rules;
}

Rules rulesOfCheck(const QString &script)
{
    Rules rules;
    auto row = QRegularExpression(u"set\\((\\w+)_may_include(_public)? ([\\w \"]+)\\)"_s)
                   .globalMatch(script);
    while (row.hasNext()) {
        const auto match = row.next();
        const bool isPublic = !match.captured(2).isEmpty();
        QStringList &others = rules[match.captured(1)];
        for (const QString &other : allCaptured(match.captured(3), u"(\\w+)"_s))
            others.append(isPublic ? u'+' + other : other);
    }
    return rules;
}

// One rule a line.
QString text(const Rules &rules)
{
    QStringList lines;
    for (auto rule = rules.cbegin(); rule != rules.cend(); ++rule)
        lines.append(rule.key() + u": "_s + rule.value().join(u' '));
    return lines.join(u'\n');
}

} // namespace

class tst_HouseRules : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void tableIsWhatIsChecked();
    void everyFolderOfTheLibrariesHasARow();
    void eventLoopsAreMadeInTwoPlaces();
};

void tst_HouseRules::tableIsWhatIsChecked()
{
    const Rules checked = rulesOfCheck(treeFile(u"tests/house/CheckIncludes.cmake"_s));
    QCOMPARE(checked.value(u"host"_s), QStringList({u"+client"_s, u"+collab"_s, u"+model"_s}));
    const QString page = section(treeFile(u"CONTRIBUTING.md"_s), u"## The house"_s);
    QCOMPARE(text(rulesOfPage(page)), text(checked));
}

void tst_HouseRules::everyFolderOfTheLibrariesHasARow()
{
    const Rules checked = rulesOfCheck(treeFile(u"tests/house/CheckIncludes.cmake"_s));
    QCOMPARE(QStringList(checked.keys()),
             QStringList({u"client"_s, u"collab"_s, u"compression"_s, u"host"_s, u"model"_s,
                          u"sockjs"_s, u"support"_s}));
}

void tst_HouseRules::eventLoopsAreMadeInTwoPlaces()
{
    const QString page = treeFile(u"CONTRIBUTING.md"_s);
    QVERIFY(inOneLine(page).contains(
        u"one way to wait, `support/Wait`. Nobody else makes a `QEventLoop`, but `host/SessionKeeper`"_s));
    QStringList places;
    for (const QString &folder : rulesOfPage(section(page, u"## The house"_s)).keys()) {
        const QDir files(QStringLiteral(TARVO_SOURCE_DIR "/") + folder);
        for (const QString &file : files.entryList({u"*.cpp"_s, u"*.h"_s})) {
            const QString path = folder + u'/' + file;
            if (treeFile(path).contains(
                    QRegularExpression(u"QEventLoop [a-z]\\w*[;({]|new QEventLoop"_s)))
                places.append(path);
        }
    }
    QCOMPARE(places, QStringList({u"host/SessionKeeper.cpp"_s, u"support/Wait.cpp"_s}));
}

QTEST_GUILESS_MAIN(tst_HouseRules)
#include "tst_houserules.moc"
