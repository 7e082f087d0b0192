// The page on failures names every line that the library writes to the debug stream, and none that it
// does not write.

#include "support/Text.h"

#include <QtCore/QDirIterator>
#include <QtCore/QFile>
#include <QtCore/QRegularExpression>
#include <QtCore/QSet>
#include <QtTest/QtTest>

namespace
{

constexpr int SHORTEST_FRAGMENT = 3;

QString readFile(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        qFatal("Cannot read %s", qPrintable(path));
    return QString::fromUtf8(file.readAll());
}

// The words of a line between its values.
QStringList fragments(const QString &line, const QRegularExpression &value)
{
    QStringList found;
    for (const QString &piece : line.split(value)) {
        const QString trimmed = piece.trimmed();
        if (trimmed.size() >= SHORTEST_FRAGMENT)
            found.append(trimmed);
    }
    return found;
}

// The literals of one statement; neighbours are one literal, as the compiler reads them.
QStringList literals(QString statement)
{
    static const QRegularExpression between(u"(?<!\\\\)\"\\s+\""_s);
    static const QRegularExpression literal(u"\"((?:[^\"\\\\]|\\\\.)*)\""_s);
    statement.remove(between);
    QStringList found;
    auto match = literal.globalMatch(statement);
    while (match.hasNext())
        found.append(match.next().captured(1).replace(QLatin1String("\\n"), QLatin1String("\n")));
    return found;
}

// What the library's sources write, without the values.
QStringList writtenFragments()
{
    static const QRegularExpression statement(
        u"(?:qDebug\\(\\)|qWarning\\(|\\bdebugLine\\(Q|\\bdebug\\(\\) <<)[^;]*;"_s);
    static const QRegularExpression value(u"%\\d|\n"_s);
    QStringList found;
    for (const char *folder : {"client", "collab", "model", "sockjs", "compression", "support"}) {
        QDirIterator files(QStringLiteral(TARVO_SOURCE_DIR "/") + QLatin1String(folder),
                           {u"*.cpp"_s, u"*.h"_s}, QDir::Files);
        while (files.hasNext()) {
            auto match = statement.globalMatch(readFile(files.next()));
            while (match.hasNext()) {
                for (const QString &text : literals(match.next().captured(0)))
                    found.append(fragments(text, value));
            }
        }
    }
    return found;
}

QString logLinesSection(const QString &page)
{
    const int from = page.indexOf(QLatin1String("\n## Log lines\n"));
    const int to = page.indexOf(QLatin1String("\n## "), from + 1);
    return page.mid(from, to - from);
}

// What the page says that is written: the code spans in the first column of the section's tables.
QStringList describedLines(const QString &section)
{
    static const QRegularExpression row(u"^\\| (`.*?`) \\| "_s,
                                        QRegularExpression::MultilineOption);
    QStringList found;
    auto match = row.globalMatch(section);
    while (match.hasNext()) {
        for (const QString &span : match.next().captured(1).split(QLatin1String("<br>")))
            found.append(span.mid(1, span.size() - 2));
    }
    return found;
}

} // namespace

class tst_Failures : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyWrittenLineIsDescribed();
    void everyDescribedLineIsWritten();
    void errorKeyIsDescribed();

private:
    const QString m_page = readFile(QStringLiteral(TARVO_SOURCE_DIR "/docs/failures.md"));
    const QString m_logLines = logLinesSection(m_page);
};

void tst_Failures::everyWrittenLineIsDescribed()
{
    const QStringList written = writtenFragments();
    QVERIFY(written.size() > 50);
    QVERIFY(written.contains(u"[REST Response]"_s));
    for (const QString &fragment : written)
        QVERIFY2(m_logLines.contains(fragment), qPrintable(fragment));
}

void tst_Failures::everyDescribedLineIsWritten()
{
    static const QRegularExpression value(u"…"_s);
    static const QRegularExpression tag(u"^\\[[A-Za-z]+\\] "_s);
    const QStringList lines = describedLines(m_logLines);
    QVERIFY(lines.size() > 50);
    const QString written = writtenFragments().join(QLatin1Char('\n'));
    for (QString line : lines) {
        // Some classes write their tag apart.
        const auto tagged = tag.match(line);
        if (tagged.hasMatch()) {
            QVERIFY2(written.contains(tagged.captured(0).trimmed()), qPrintable(line));
            line.remove(tag);
        }
        for (const QString &fragment : fragments(line, value))
            QVERIFY2(written.contains(fragment), qPrintable(fragment));
    }
}

void tst_Failures::errorKeyIsDescribed()
{
    const QString key = u"SSLRootCertificateMissing"_s;
    QVERIFY(m_page.contains(QLatin1String("| `") + key + QLatin1String("` |")));
    QVERIFY(readFile(QStringLiteral(TARVO_SOURCE_DIR "/client/PresenterClientTls.cpp"))
                .contains(QLatin1Char('"') + key + QLatin1Char('"')));
}

QTEST_GUILESS_MAIN(tst_Failures)
#include "support/Text.h"
#include "tst_failures.moc"
