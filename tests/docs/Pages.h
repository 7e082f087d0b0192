#pragma once

#include "support/Text.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QRegularExpression>
#include <QtCore/QString>
#include <QtCore/QStringList>

// The pages of the tree and its sources, as texts to be compared. Needs TARVO_SOURCE_DIR.

inline QString readFile(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        qFatal("Cannot read %s", qPrintable(path));
    return QString::fromUtf8(file.readAll());
}

// A file of the tree, by its path from the root.
inline QString treeFile(const QString &path)
{
    return readFile(QStringLiteral(TARVO_SOURCE_DIR "/") + path);
}

// Those that people read, by their paths from the root.
inline QStringList pages()
{
    QStringList found{u"README.md"_s, u"CONTRIBUTING.md"_s, u"CHANGELOG.md"_s};
    const QDir docs(QStringLiteral(TARVO_SOURCE_DIR "/docs"));
    for (const QString &page : docs.entryList({u"*.md"_s}))
        found.append(u"docs/"_s + page);
    return found;
}

// The section under the heading, which is its whole line, up to the next one of the same level.
inline QString section(const QString &page, const QString &heading)
{
    const QString level = heading.left(heading.indexOf(u' ') + 1);
    const int from = page.indexOf(u"\n"_s + heading + u"\n"_s);
    const int to = page.indexOf(u"\n"_s + level, from + 1);
    return from < 0 ? QString() : page.mid(from, to < 0 ? -1 : to - from);
}

// The cells of each row of the tables in a text, without headers. A bar in a code span is no border.
inline QVector<QStringList> tableRows(const QString &text)
{
    QVector<QStringList> rows;
    const QStringList lines = text.split(u'\n');
    for (int i = 0; i < lines.size(); ++i) {
        if (!lines[i].startsWith(u"| "_s) || lines.value(i + 1).startsWith(u"|-"_s))
            continue;
        QStringList cells;
        for (const QString &cell : lines[i].mid(2).split(u" |"_s))
            cells.append(cell.trimmed());
        cells.removeLast(); // what is behind the last bar
        rows.append(cells);
    }
    return rows;
}

// The first group of every match.
inline QStringList allCaptured(const QString &text, const QString &pattern)
{
    QStringList found;
    auto match = QRegularExpression(pattern, QRegularExpression::MultilineOption).globalMatch(text);
    while (match.hasNext())
        found.append(match.next().captured(1));
    return found;
}

// What stands in code spans.
inline QStringList codeSpans(const QString &text)
{
    return allCaptured(text, u"`([^`]+)`"_s);
}

// Lines in one text may be broken elsewhere in the other.
inline QString inOneLine(const QString &text)
{
    return text.simplified();
}

inline QStringList sortedOnce(QStringList texts)
{
    texts.sort();
    texts.removeDuplicates();
    return texts;
}
