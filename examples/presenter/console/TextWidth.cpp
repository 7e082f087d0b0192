#include "console/TextWidth.h"

#include <QtCore/QTextBoundaryFinder>
#include <QtCore/QVector>

#include <utf8proc.h>

namespace Host
{

namespace
{

int characterWidth(utf8proc_int32_t character)
{
    // Vowel signs that stand beside their letter: terminals give them a column, utf8proc none.
    const bool isSpacingMark = utf8proc_category(character) == UTF8PROC_CATEGORY_MC;
    return isSpacingMark ? 1 : utf8proc_charwidth(character);
}

bool isControl(QChar character)
{
    const ushort code = character.unicode();
    const bool isDirectional =
        (code >= 0x202A && code <= 0x202E) || (code >= 0x2066 && code <= 0x2069);
    return character.category() == QChar::Other_Control || isDirectional
        || character == QChar::LineSeparator || character == QChar::ParagraphSeparator;
}

} // namespace

int textWidth(const QString &text)
{
    int width = 0;
    // Composed, since terminals show the letters of a Korean syllable as one sign.
    const QVector<uint> characters = text.normalized(QString::NormalizationForm_C).toUcs4();
    for (const uint character : characters)
        width += characterWidth(utf8proc_int32_t(character));
    return width;
}

QString fitting(const QString &text, int columns)
{
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    int end = 0;
    int width = 0;
    while (finder.toNextBoundary() > 0) {
        width += textWidth(text.mid(end, finder.position() - end));
        if (width > columns)
            break;
        end = finder.position();
    }
    return text.left(end);
}

QString elided(const QString &text, int columns)
{
    if (columns <= 0)
        return QString();
    if (textWidth(text) <= columns)
        return text;
    return fitting(text, columns - 1) + QChar(0x2026);
}

QStringList wrapped(const QString &text, int columns)
{
    const QLatin1Char blank(' ');
    QStringList lines;
    QString rest = text;
    while (textWidth(rest) > columns) {
        const int room = fitting(rest, columns).size();
        int end = rest.lastIndexOf(blank, room);
        if (rest.leftRef(qMax(0, end))
                .trimmed()
                .isEmpty()) // blanks before the first word are no place
            end = rest.indexOf(blank, room);
        if (end < 0)
            break;
        int next = end;
        while (next < rest.size() && rest.at(next) == blank)
            ++next;
        while (end > 0 && rest.at(end - 1) == blank)
            --end;
        lines.append(rest.left(end));
        rest.remove(0, next);
    }
    return rest.isEmpty() && !lines.isEmpty() ? lines : lines << rest;
}

QString padded(const QString &text, int columns)
{
    return text + QString(qMax(0, columns - textWidth(text)), QLatin1Char(' '));
}

QString printable(const QString &text)
{
    QString result = text;
    for (QChar &character : result) {
        if (isControl(character))
            character = QLatin1Char(' ');
    }
    return result;
}

} // namespace Host
