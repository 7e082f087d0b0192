// The page on failures names every line that the library writes to the debug stream, and none that it
// does not write.

#include "Pages.h"

#include <QtCore/QDirIterator>
#include <QtTest/QtTest>

namespace
{

const QString VALUE = u"…"_s; // stands for a value, on the page as well

// The library's sources, without the file that defines TARVO_LOG.
QString sources()
{
    QString text;
    for (const char *folder : {"client", "collab", "model", "sockjs", "compression", "support"}) {
        QDirIterator files(QStringLiteral(TARVO_SOURCE_DIR "/") + QLatin1String(folder),
                           {u"*.cpp"_s, u"*.h"_s}, QDir::Files);
        while (files.hasNext()) {
            const QString file = files.next();
            if (files.fileInfo().completeBaseName() != u"Log"_s)
                text += readFile(file);
        }
    }
    return text;
}

// The first group of every match, each once.
QStringList captured(const QString &text, const QRegularExpression &pattern)
{
    QStringList found;
    auto match = pattern.globalMatch(text);
    while (match.hasNext())
        found.append(match.next().captured(1));
    return sortedOnce(found);
}

// What a call writes whose arguments are at the beginning of the text: an argument that begins with a
// literal is text, every other one a value.
QString written(const QString &arguments)
{
    static const QRegularExpression token(
        uR"re(\s+|"((?:[^"\\]|\\.)*)"|'(?:[^'\\]|\\.)*'|[\w:.]+|.)re"_s);
    QString line;
    bool isValue = false;
    int depth = 0;
    auto match = token.globalMatch(arguments);
    while (depth >= 0 && match.hasNext()) {
        const auto next = match.next();
        const QString word = next.captured();
        if (word == u"("_s || word == u"{"_s)
            ++depth;
        else if (word == u")"_s || word == u"}"_s)
            --depth;

        if (depth < 0 || word.trimmed().isEmpty())
            continue;
        if (depth == 0 && word == u","_s) {
            isValue = false;
        } else if (!isValue && next.capturedStart(1) >= 0) {
            line += next.captured(1);
        } else if (!isValue) {
            isValue = true;
            line += VALUE;
        }
    }
    return line.replace(u"\\n"_s, u"\n"_s);
}

// Every line that the sources write.
QStringList writtenLines(const QString &text)
{
    static const QRegularExpression call(uR"(\b(?:TARVO_LOG\(\s*\w+,|qWarning\())"_s);
    QStringList lines;
    auto match = call.globalMatch(text);
    while (match.hasNext()) {
        for (const QString &line : written(text.mid(match.next().capturedEnd())).split(u'\n'))
            lines.append(line.trimmed());
    }
    return sortedOnce(lines);
}

QString logLinesSection(const QString &page)
{
    const int from = page.indexOf(u"\n## Log lines\n"_s);
    const int to = page.indexOf(u"\n## "_s, from + 1);
    return page.mid(from, to - from);
}

// What the page says that is written: the code spans in the first column of the section's tables.
QStringList describedLines(const QString &section)
{
    static const QRegularExpression row(u"^\\| `(.*?)` \\| "_s,
                                        QRegularExpression::MultilineOption);
    return sortedOnce(captured(section, row).join(u"`<br>`"_s).split(u"`<br>`"_s));
}

QString missing(const QStringList &from, const QStringList &in)
{
    QStringList lines;
    for (const QString &line : from) {
        if (!in.contains(line))
            lines.append(line);
    }
    return lines.join(u'\n');
}

} // namespace

class tst_Failures : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void linesAreReadFromSources();
    void everyWrittenLineIsDescribed();
    void everyDescribedLineIsWritten();
    void everyCategoryIsDescribed();
    void nothingIsWrittenInAnotherWay();
    void errorKeyIsDescribed();
    void everyReasonOfAnEndIsDescribed();
    void everyLineOfTheKitIsDescribed();

private:
    const QString m_page = readFile(QStringLiteral(TARVO_SOURCE_DIR "/docs/failures.md"));
    const QString m_logLines = logLinesSection(m_page);
    const QString m_sources = sources();
};

void tst_Failures::linesAreReadFromSources()
{
    const QString source = uR"(
        TARVO_LOG(channel, "[Class] Nothing to do!");
        if (isLate)
            TARVO_LOG(rest, "[Class] Too late: ", number(late, ", "), "(of ", all.size(), ')',
                      " seconds; going "
                      "on");
        TARVO_LOG(sockjs, isBig ? "big" : "small", " one\nRESPONSE: ", '"');
        qWarning("Class: cut off");
    )"_s;
    QCOMPARE(writtenLines(source),
             QStringList({u"Class: cut off"_s, u"RESPONSE: …"_s, u"[Class] Nothing to do!"_s,
                          u"[Class] Too late: …(of …… seconds; going on"_s, u"… one"_s}));
}

void tst_Failures::everyWrittenLineIsDescribed()
{
    const QStringList lines = writtenLines(m_sources);
    QVERIFY(lines.size() > 50);
    QCOMPARE(missing(lines, describedLines(m_logLines)), QString());
}

void tst_Failures::everyDescribedLineIsWritten()
{
    const QStringList lines = describedLines(m_logLines);
    QVERIFY(lines.size() > 50);
    QCOMPARE(missing(lines, writtenLines(m_sources)), QString());
}

void tst_Failures::everyCategoryIsDescribed()
{
    static const QRegularExpression used(u"\\bTARVO_LOG\\(\\s*(\\w+),"_s);
    static const QRegularExpression described(u"`tarvo\\.(\\w+)`"_s);
    QCOMPARE(captured(m_logLines, described), captured(m_sources, used));
}

void tst_Failures::nothingIsWrittenInAnotherWay()
{
    static const QRegularExpression other(
        u"\\b(q(?:Debug|Info|Critical)\\(|qC(?:Debug|Info|Warning|Critical)\\(|qWarning\\(\\)"
        "|qt_message_output\\()"_s);
    QCOMPARE(captured(m_sources, other), QStringList());
}

void tst_Failures::errorKeyIsDescribed()
{
    const QString key = u"SSLRootCertificateMissing"_s;
    QVERIFY(m_page.contains(u"| `"_s + key + u"` |"_s));
    QVERIFY(readFile(QStringLiteral(TARVO_SOURCE_DIR "/client/PresenterClientTls.cpp"))
                .contains(u'"' + key + u'"'));
}

// What getCloseReason() gives, but for the words of the server and the toolkit.
void tst_Failures::everyReasonOfAnEndIsDescribed()
{
    const QString page = treeFile(u"docs/connection.md"_s);
    const QString told = inOneLine(section(page, u"## Why a connection has ended"_s));
    QString sources;
    for (const QString &file :
         QDir(QStringLiteral(TARVO_SOURCE_DIR "/sockjs")).entryList({u"*.cpp"_s}))
        sources += treeFile(u"sockjs/"_s + file);
    QStringList reasons = allCaptured(
        sources,
        u"(?:QStringLiteral|CLOSED_\\w+)\\(\\s*\"((?:[A-Z][a-z]+|the server) [^\"]+)\"\\)"_s);
    reasons.removeOne(u"The application has ended"_s); // nobody hears it
    QVERIFY(reasons.size() > 15);
    QStringList missing;
    for (QString reason : sortedOnce(reasons)) {
        reason.replace(QRegularExpression(u"%\\d( %\\d)*"_s), VALUE);
        if (!told.contains(u'`' + reason + u'`'))
            missing.append(reason);
    }
    QCOMPARE(missing.join(u'\n'), QString());
}

void tst_Failures::everyLineOfTheKitIsDescribed()
{
    QString sources;
    for (const QString &file :
         QDir(QStringLiteral(TARVO_SOURCE_DIR "/host")).entryList({u"*.cpp"_s}))
        sources += treeFile(u"host/"_s + file);
    const QString told = inOneLine(section(m_page, u"## What the host kit says"_s));
    const QStringList lines = writtenLines(sources);
    QCOMPARE(lines.size(), 3);
    for (QString line : lines) {
        line.replace(u"%s"_s, u"123456"_s).remove(VALUE);
        QVERIFY2(told.contains(u'`' + line + u'`'), qPrintable(line));
    }
}

QTEST_GUILESS_MAIN(tst_Failures)
#include "tst_failures.moc"
