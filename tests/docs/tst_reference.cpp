// The reference, as scripts/reference makes it: without a warning, with a page for each public class, without a
// dead link, and the same wherever and whenever it is made.

#include "Pages.h"

#include <QtCore/QDirIterator>
#include <QtCore/QFileInfo>
#include <QtCore/QHash>
#include <QtCore/QProcess>
#include <QtCore/QSet>
#include <QtSql/QSqlDatabase>
#include <QtSql/QSqlQuery>
#include <QtTest/QtTest>

class tst_Reference : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void itIsMadeOfTheInstalledHeaders();
    void everyPublicClassHasAPage();
    void everyPageIsThere();
    void everyLinkLeadsSomewhere();
    void helpFileIsFull();
    void itIsTheSameEverywhere();
    void warningEndsTheMaking();
};

namespace
{

const QString FOLDER = QStringLiteral(REFERENCE_DIR);
const QString SOURCES = QStringLiteral(TARVO_SOURCE_DIR);
const QString HTML = FOLDER + QStringLiteral("/html/");

// Empty when it was made, else what went wrong.
QString make(const QString &output, const QString &sources = SOURCES)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(QStringLiteral(CMAKE_PROGRAM),
                  {u"-DSOURCE_DIR="_s + sources, u"-DOUTPUT="_s + output,
                   QStringLiteral("-DDOXYGEN=" DOXYGEN_PROGRAM),
                   QStringLiteral("-DQHELPGENERATOR=" QHELP_PROGRAM), u"-P"_s,
                   sources + u"/docs/reference/BuildReference.cmake"_s});
    const bool hasEnded = process.waitForFinished(240000);
    const QString said = QString::fromUtf8(process.readAll());
    return hasEnded && process.exitCode() == 0 ? QString() : said + u" (it did not end well)"_s;
}

// What the reference is made of.
bool copySources(const QString &tree)
{
    bool isDone = QDir().mkpath(tree);
    for (const QString &part : {u"client"_s, u"collab"_s, u"compression"_s, u"model"_s, u"sockjs"_s,
                                u"support"_s, u"host"_s, u"docs"_s, u"examples"_s, u"cmake"_s})
        isDone = QProcess::execute(u"cp"_s, {u"-r"_s, SOURCES + u'/' + part, tree}) == 0 && isDone;
    return isDone;
}

QStringList files(const QString &folder, const QStringList &kinds)
{
    return QDir(folder).entryList(kinds, QDir::Files, QDir::Name);
}

QStringList installedHeaders()
{
    return sortedOnce(QStringLiteral(PUBLIC_HEADERS).split(u','));
}

// Each page's own anchors.
QSet<QString> anchors(const QString &page)
{
    const QStringList found = allCaptured(page, u" (?:id|name)=\"([^\"]+)\""_s);
    return QSet<QString>(found.cbegin(), found.cend());
}

} // namespace

void tst_Reference::initTestCase()
{
    QDir(FOLDER).removeRecursively();
    QCOMPARE(make(FOLDER), QString());
}

void tst_Reference::itIsMadeOfTheInstalledHeaders()
{
    const QStringList read = allCaptured(readFile(FOLDER + u"/Doxyfile"_s), u"([\\w/]+\\.h)\\b"_s);
    QCOMPARE(sortedOnce(read), installedHeaders());
}

void tst_Reference::everyPublicClassHasAPage()
{
    QStringList shown;
    for (const QString &file : files(HTML, {u"class*.html"_s, u"struct*.html"_s})) {
        shown += allCaptured(readFile(HTML + file),
                             u"<title>[^<]*: ([\\w:]+) (?:Class|Struct) Reference</title>"_s);
    }
    QStringList missing;
    for (const QString &path : installedHeaders()) {
        const QString header = treeFile(path);
        for (const QString &name :
             allCaptured(header, u"^(?:class \\w+_EXPORT|struct) (\\w+)[^;]*$"_s)) {
            if (!shown.contains(u"Tarvo::"_s + name) && !shown.contains(name))
                missing.append(name);
        }
    }
    QCOMPARE(missing.join(u" "_s), QString());
    QVERIFY2(shown.size() >= 40, qPrintable(shown.join(u' ')));
    QVERIFY(shown.contains(u"Tarvo::LiveClass"_s) && shown.contains(u"PresenterClient::Reply"_s));
}

void tst_Reference::everyPageIsThere()
{
    const QStringList there = files(HTML, {u"*.html"_s});
    for (const QString &page :
         {u"index"_s, u"first-host"_s, u"recipes"_s, u"threads"_s, u"wire"_s, u"troubles"_s,
          u"host"_s, u"kit"_s, u"connection"_s, u"failures"_s, u"protocol"_s, u"operating"_s})
        QVERIFY2(there.contains(page + u".html"_s), qPrintable(page));
    QVERIFY2(there.size() >= 150, qPrintable(QString::number(there.size())));
    // What Doxygen does not understand, it shows.
    const QRegularExpression raw(
        u"\\\\snippet|\\\\dotfile|@(sub)*section |@ref |&lt;t[tdr]&gt;|\\]\\([^)]*\\.md"_s);
    for (const QString &page : there) {
        const auto found = raw.match(readFile(HTML + page));
        QVERIFY2(!found.hasMatch(), qPrintable(page + u": "_s + found.captured()));
    }
}

void tst_Reference::everyLinkLeadsSomewhere()
{
    QHash<QString, QSet<QString>> known;
    for (const QString &file : files(HTML, {u"*.html"_s}))
        known.insert(file, anchors(readFile(HTML + file)));
    QStringList dead;
    int count = 0;
    for (const QString &file : files(HTML, {u"*.html"_s, u"*.svg"_s})) {
        for (const QString &link :
             allCaptured(readFile(HTML + file), u"(?:href|src)=\"([^\"]*)\""_s)) {
            static const QRegularExpression elsewhere(u"^(https?|javascript):"_s);
            if (elsewhere.match(link).hasMatch())
                continue;
            const QString path = link.section(u'#', 0, 0);
            const QString anchor = link.section(u'#', 1);
            const QString target = path.isEmpty() ? file : path;
            const bool isThere = QFileInfo::exists(HTML + target)
                && (anchor.isEmpty() || !target.endsWith(u".html"_s)
                    || known[target].contains(anchor));
            if (!isThere)
                dead.append(file + u": "_s + link);
            ++count;
        }
    }
    dead.removeDuplicates();
    QCOMPARE(dead.join(u'\n'), QString());
    QVERIFY2(count > 2000, qPrintable(QString::number(count)));
}

void tst_Reference::helpFileIsFull()
{
    QSqlDatabase help = QSqlDatabase::addDatabase(u"QSQLITE"_s);
    help.setDatabaseName(FOLDER + u"/tarvoclient.qch"_s);
    QVERIFY(help.open());
    const auto values = [&help](const QString &query) {
        QStringList found;
        QSqlQuery rows(query, help);
        while (rows.next())
            found.append(rows.value(0).toString());
        return found;
    };
    const QStringList keywords = values(u"SELECT Name FROM IndexTable"_s);
    QVERIFY2(keywords.size() >= 650, qPrintable(QString::number(keywords.size())));
    QVERIFY(keywords.contains(u"Tarvo::LiveClass"_s) && keywords.contains(u"PresenterClient"_s));
    const QStringList inside = values(u"SELECT Name FROM FileNameTable"_s);
    for (const QString &page : files(HTML, {u"*.html"_s}))
        QVERIFY2(inside.contains(page), qPrintable(page));
    QCOMPARE(values(u"SELECT Name FROM NamespaceTable"_s), QStringList(u"tarvo.client"_s));
    help.close();
}

// A second time, of sources in another folder, which has a blank in its name: every file has the same bytes,
// and none names this machine's folders.
void tst_Reference::itIsTheSameEverywhere()
{
    QTemporaryDir folder;
    const QString other = folder.filePath(u"out"_s);
    const QString tree = folder.filePath(u"a tree"_s);
    QVERIFY(copySources(tree));
    QCOMPARE(make(other, tree), QString());
    const auto bytes = [](const QString &path) {
        QFile file(path);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    };
    QDirIterator all(HTML, QDir::Files, QDirIterator::Subdirectories);
    int count = 0;
    while (all.hasNext()) {
        const QString path = all.next();
        const QByteArray own = bytes(path);
        QVERIFY2(own == bytes(other + path.mid(FOLDER.size())), qPrintable(path));
        QVERIFY2(!own.contains(SOURCES.toUtf8()) && !own.contains(FOLDER.toUtf8()),
                 qPrintable(path));
        ++count;
    }
    QVERIFY(count >= 200);
    QVERIFY(bytes(FOLDER + u"/tarvoclient.qch"_s) == bytes(other + u"/tarvoclient.qch"_s));
}

// A public function without a comment.
void tst_Reference::warningEndsTheMaking()
{
    QTemporaryDir folder;
    const QString tree = folder.filePath(u"tree"_s);
    QVERIFY(copySources(tree));
    QFile header(tree + u"/host/Operation.h"_s);
    QVERIFY(header.open(QIODevice::ReadWrite));
    const QByteArray text = header.readAll();
    QVERIFY(header.resize(0) && header.seek(0));
    header.write(QByteArray(text).replace("    /// Whether it has ended, well or not.\n", ""));
    header.close();
    const QString said = make(folder.filePath(u"out"_s), tree);
    QVERIFY2(inOneLine(said).contains(
                 u"isFinished() const (function) of class Tarvo::Operation is not"_s),
             qPrintable(said));
}

QTEST_GUILESS_MAIN(tst_Reference)
#include "tst_reference.moc"
