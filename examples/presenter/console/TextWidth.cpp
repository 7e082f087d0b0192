#include "console/TextWidth.h"

#include <QtCore/QTextBoundaryFinder>
#include <QtCore/QVector>

#include <utf8proc.h>

namespace Host
{

namespace
{

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
        width += utf8proc_charwidth(utf8proc_int32_t(character));
    return width;
}

QString elided(const QString &text, int columns)
{
    if (columns <= 0)
        return QString();
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    int width = 0;
    int kept = 0; // what still leaves room for the ellipsis
    int begin = 0;
    while (finder.toNextBoundary() > 0) {
        width += textWidth(text.mid(begin, finder.position() - begin));
        begin = finder.position();
        if (width > columns)
            return text.left(kept) + QChar(0x2026);
        if (width < columns)
            kept = begin;
    }
    return text;
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
