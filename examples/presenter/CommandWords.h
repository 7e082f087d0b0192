#pragma once

#include <QtCore/QString>
#include <QtCore/QStringList>

namespace Host
{

// The words of a line, or why it has none: see parseCommand() for what separates them.
struct Words {
    QStringList list;
    QString error;
};

Words readWords(const QString &line);

// A line that is still being typed: the words that are complete, and the one at its end, which may be
// empty or in quotes that are not closed yet.
struct UnfinishedLine {
    QStringList complete;
    QString last;
    int lastBegins; // where it begins in the line, with its quote
    bool isInComment;
};

UnfinishedLine readUnfinished(const QString &line);

// The word as it has to be typed: in quotes when it holds blanks or what means something else, or when
// quotes have been opened already. Begins with the quote that is opened, as long as the word allows it.
QString quoted(const QString &word, QChar opened = QChar());

} // namespace Host
