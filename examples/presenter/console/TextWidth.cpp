#include "console/TextWidth.h"

#include <QtCore/QTextBoundaryFinder>
#include <QtCore/QVector>

#include <clocale>
#include <cwchar>

namespace Host
{

namespace
{

// The C library's table of character widths is the one that terminals go by. It belongs to a locale,
// so a UTF-8 one is put in place for the length of a measurement, on this thread alone.
class Utf8Locale
{
public:
    Utf8Locale() : m_previous(uselocale(instance())) { }
    ~Utf8Locale() { uselocale(m_previous); }
    Q_DISABLE_COPY_MOVE(Utf8Locale)

private:
    static locale_t instance()
    {
        static const locale_t locale = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
        return locale; // null leaves the current locale in place
    }
    locale_t m_previous;
};

int characterWidth(uint character)
{
    const int width = wcwidth(static_cast<wchar_t>(character));
    return width < 0 ? 1 : width; // unknown to the table: terminals draw a box
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
    const Utf8Locale locale;
    int width = 0;
    const QVector<uint> characters = text.toUcs4();
    for (const uint character : characters)
        width += characterWidth(character);
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
