// What the pages point to is there: every page, heading and file that a link or a code span names.

#include "Pages.h"

#include <QtCore/QDirIterator>
#include <QtCore/QFileInfo>
#include <QtCore/QHash>
#include <QtCore/QSet>
#include <QtTest/QtTest>

namespace
{

// A page without its fenced blocks, which hold no links.
QString prose(const QString &page)
{
    static const QRegularExpression block(u"^```.*?^```$"_s,
                                          QRegularExpression::MultilineOption
                                              | QRegularExpression::DotMatchesEverythingOption);
    return QString(page).remove(block);
}

// The anchors that the headings of a page get: small letters, hyphens for blanks, no other signs; the
// second of the same name ends in -1.
QStringList anchors(const QString &page)
{
    QStringList found;
    QHash<QString, int> used;
    for (QString heading : allCaptured(prose(page), u"^#+ (.*)$"_s)) {
        heading = heading.toLower().remove(QRegularExpression(u"[^\\w -]"_s)).replace(u' ', u'-');
        const int count = used[heading]++;
        found.append(count == 0 ? heading : u"%1-%2"_s.arg(heading).arg(count));
    }
    return found;
}

// The links of a page that are not of the web.
QStringList links(const QString &page)
{
    QString text = prose(page);
    text.remove(QRegularExpression(u"`[^`]*`"_s)); // a link's own text may be one
    return allCaptured(text, u"\\]\\((?!https?:)([^)\\s]+)\\)"_s);
}

QString root()
{
    return QStringLiteral(TARVO_SOURCE_DIR "/");
}

// A header and its source may be named together, without an ending, and a test as CTest does.
bool isThere(const QString &path)
{
    return QFileInfo::exists(root() + path) || QFileInfo::exists(root() + path + u".cpp"_s)
        || QFileInfo::exists(root() + u"tests/"_s + path + u".cpp"_s);
}

// Everything that is written in C++ here, the toolkit's names that pages use among it.
QString sources()
{
    QString text;
    for (const QString &folder :
         {u"host"_s, u"client"_s, u"collab"_s, u"model"_s, u"sockjs"_s, u"compression"_s,
          u"support"_s, u"tests"_s, u"benchmarks"_s, u"fuzz"_s, u"examples"_s}) {
        QDirIterator files(root() + folder, {u"*.cpp"_s, u"*.h"_s}, QDir::Files,
                           QDirIterator::Subdirectories);
        while (files.hasNext())
            text += readFile(files.next());
    }
    return text;
}

// All that is called or declared.
const QSet<QString> &functions()
{
    static const QSet<QString> names = [] {
        const QStringList found = allCaptured(sources(), u"\\b([A-Za-z_]\\w+)\\("_s);
        return QSet<QString>(found.cbegin(), found.cend());
    }();
    return names;
}

} // namespace

class tst_Links : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void anchorsAreMadeOfHeadings();
    void everyLinkPointsToWhatIsThere_data() { eachPage(); }
    void everyLinkPointsToWhatIsThere();
    void everyNamedFileIsThere_data() { eachPage(); }
    void everyNamedFileIsThere();
    void everyNamedFunctionIsThere_data() { eachPage(); }
    void everyNamedFunctionIsThere();
    void readmeLeadsToEveryPage();

private:
    static void eachPage();
};

void tst_Links::eachPage()
{
    QTest::addColumn<QString>("page");
    const QDir reference(root() + u"docs/reference"_s);
    QStringList all = pages();
    for (const QString &page : reference.entryList({u"*.md"_s}))
        all.append(u"docs/reference/"_s + page);
    for (const QString &page : all)
        QTest::newRow(qPrintable(page)) << page;
}

void tst_Links::anchorsAreMadeOfHeadings()
{
    QCOMPARE(anchors(u"# `a()`, or b\n```\n# no heading\n```\n## Two-fold!\n## Two-fold!\n"_s),
             QStringList({u"a-or-b"_s, u"two-fold"_s, u"two-fold-1"_s}));
}

void tst_Links::everyLinkPointsToWhatIsThere()
{
    QFETCH(QString, page);
    const QString folder = page.left(page.lastIndexOf(u'/') + 1);
    QStringList dead;
    for (const QString &link : links(treeFile(page))) {
        const QString path = link.section(u'#', 0, 0);
        const QString anchor = link.section(u'#', 1);
        const QString target = path.isEmpty() ? page : QDir::cleanPath(folder + path);
        const bool isDead = !QFileInfo::exists(root() + target)
            || (!anchor.isEmpty() && !anchors(treeFile(target)).contains(anchor));
        if (isDead)
            dead.append(link);
    }
    QCOMPARE(dead.join(u" "_s), QString());
}

// Those of the library's folders not in fenced blocks, where a host of one's own may have the same names.
void tst_Links::everyNamedFileIsThere()
{
    QFETCH(QString, page);
    const QString text = treeFile(page);
    const QString path = u"(?<![\\w/.$:-])((?:%1)/[\\w./-]*\\w)(?![\\w<])"_s;
    const QString ours = u"host|client|collab|model|sockjs|compression|support|e2e"_s;
    const QString tools = u"classroom|examples|tests|docs|scripts|cmake|benchmarks|fuzz"_s;
    QStringList missing;
    for (const QString &named :
         allCaptured(text, path.arg(tools)) + allCaptured(prose(text), path.arg(ours))) {
        if (!isThere(named))
            missing.append(named);
    }
    QCOMPARE(missing.join(u" "_s), QString());
}

// In a code span, with what it takes; beside those of the example in CONTRIBUTING.md, and the build system's.
void tst_Links::everyNamedFunctionIsThere()
{
    QFETCH(QString, page);
    const QStringList others{u"learnerHand"_s, u"dataHand"_s, u"find_package"_s};
    QStringList missing;
    for (const QString &span : codeSpans(prose(treeFile(page)))) {
        const QString name = QRegularExpression(u"(\\w+)\\("_s).match(span).captured(1);
        if (!name.isEmpty() && !functions().contains(name) && !others.contains(name))
            missing.append(span);
    }
    QCOMPARE(missing.join(u" "_s), QString());
}

void tst_Links::readmeLeadsToEveryPage()
{
    QStringList linked{u"README.md"_s};
    for (const QString &link : links(section(treeFile(u"README.md"_s), u"## Where to read on"_s)))
        linked.append(link);
    QCOMPARE(sortedOnce(linked), sortedOnce(pages()));
}

QTEST_GUILESS_MAIN(tst_Links)
#include "tst_links.moc"
