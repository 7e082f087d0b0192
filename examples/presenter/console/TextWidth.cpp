#include "console/TextWidth.h"

#include "console/Printable.h"

#include <QtCore/QTextBoundaryFinder>
#include <string>
#include <utf8proc.h>

namespace Host
{

namespace
{

// The beginning of a text in which all of that many columns are, and more if there is more. A letter has
// its marks behind it, and each may take two code units.
QString head(const QString &text, int columns)
{
    return text.left((qMax(0, columns) + 1) * 2 * (Printable::MAX_MARKS + 2));
}

} // namespace

int characterWidth(uint character)
{
    const auto code = utf8proc_int32_t(character);
    // Vowel signs that stand beside their letter: terminals give them a column, utf8proc none.
    return utf8proc_category(code) == UTF8PROC_CATEGORY_MC ? 1 : utf8proc_charwidth(code);
}

int textWidth(const QString &text)
{
    int width = 0;
    // Composed, since terminals show the letters of a Korean syllable as one sign.
    const std::u32string characters =
        text.normalized(QString::NormalizationForm_C).toStdU32String();
    for (const char32_t character : characters)
        width += characterWidth(character);
    return width;
}

bool isWider(const QString &text, int columns)
{
    const QString beginning = head(text, columns);
    return beginning.size() < text.size() || textWidth(beginning) > columns;
}

QString fitting(const QString &text, int columns)
{
    const QString beginning = head(text, columns);
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, beginning);
    int end = 0;
    int width = 0;
    while (finder.toNextBoundary() > 0) {
        width += textWidth(beginning.mid(end, finder.position() - end));
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
    if (!isWider(text, columns))
        return text;
    return fitting(text, columns - 1) + QChar(0x2026);
}

QStringList wrapped(const QString &text, int columns)
{
    const QLatin1Char blank(' ');
    QStringList lines;
    QString rest = text;
    while (isWider(rest, columns)) {
        const int room = fitting(rest, columns).size();
        int end = rest.lastIndexOf(blank, room);
        if (QStringView(rest)
                .left(qMax(0, end))
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

} // namespace Host
