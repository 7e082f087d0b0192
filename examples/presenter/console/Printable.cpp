#include "console/Printable.h"

#include "console/TextWidth.h"

#include <algorithm>

namespace Host
{

namespace
{

constexpr uint ZERO_WIDTH_NON_JOINER = 0x200C;
constexpr uint ZERO_WIDTH_JOINER = 0x200D;
constexpr uint LAST_OF_ONE_BYTE = 0xFF;
constexpr uint LAST_OF_FIRST_PLANE = 0xFFFF;
constexpr ushort ELLIPSIS = 0x2026;

bool isJoiner(uint character)
{
    return character == ZERO_WIDTH_JOINER || character == ZERO_WIDTH_NON_JOINER;
}

// Characters that terminals obey, or show nothing for. What has no meaning yet is among them: nobody knows
// its width.
bool isHidden(uint character)
{
    switch (QChar::category(character)) {
    case QChar::Other_Control:
    case QChar::Other_Format:
    case QChar::Other_Surrogate:
    case QChar::Other_NotAssigned:
    case QChar::Separator_Line:
    case QChar::Separator_Paragraph:
        return true;
    default:
        return false;
    }
}

// What a joiner can stand between.
bool isJoinable(uint character)
{
    return !isHidden(character) && !QChar::isSpace(character);
}

QString hexadecimal(uint character, int digits)
{
    return QString::number(character, 16).rightJustified(digits, QLatin1Char('0'));
}

QString escapeOf(uint character)
{
    switch (character) {
    case '\n':
        return QStringLiteral("\\n");
    case '\r':
        return QStringLiteral("\\r");
    case '\t':
        return QStringLiteral("\\t");
    default:
        break;
    }
    if (character <= LAST_OF_ONE_BYTE)
        return QStringLiteral("\\x") + hexadecimal(character, 2);
    if (character <= LAST_OF_FIRST_PLANE)
        return QStringLiteral("\\u") + hexadecimal(character, 4);
    return QStringLiteral("\\u{%1}").arg(hexadecimal(character, 5));
}

// Takes the characters of a text one by one. A joiner waits for the character behind it.
class Escaper
{
public:
    void take(uint character)
    {
        if (m_joiner != 0)
            endJoiner(isJoinable(character));
        if (isJoiner(character) && m_canJoin)
            m_joiner = character;
        else if (isHidden(character))
            escape(character);
        else
            show(character);
    }
    QString result()
    {
        if (m_joiner != 0)
            endJoiner(false);
        return m_result;
    }

private:
    void show(uint character)
    {
        m_canJoin = isJoinable(character);
        m_marks = characterWidth(character) > 0 ? 0 : m_marks + 1;
        if (m_marks <= Printable::MAX_MARKS)
            m_result += QString::fromStdU32String({char32_t(character)});
    }
    void escape(uint character)
    {
        m_canJoin = false;
        m_marks = 0;
        m_result += escapeOf(character);
    }
    void endJoiner(bool isShown)
    {
        const uint joiner = m_joiner;
        m_joiner = 0;
        if (isShown)
            show(joiner);
        else
            escape(joiner);
    }

    QString m_result;
    uint m_joiner = 0;
    int m_marks = 0;        // since the last character that has a width
    bool m_canJoin = false; // a joiner may follow
};

bool isPlain(QChar character)
{
    return character >= QLatin1Char(' ') && character < QLatin1Char('\x7f');
}

// A lone surrogate stays what it is, which QString::toUcs4() would not leave it.
uint characterAt(const QString &text, int at)
{
    const QChar unit = text.at(at);
    const bool isPair =
        unit.isHighSurrogate() && at + 1 < text.size() && text.at(at + 1).isLowSurrogate();
    return isPair ? QChar::surrogateToUcs4(unit, text.at(at + 1)) : uint(unit.unicode());
}

int unitsOf(uint character)
{
    return character > LAST_OF_FIRST_PLANE ? 2 : 1;
}

// Escapes are longer than what they stand for.
QString cut(const QString &text)
{
    const QString kept = beginning(text, Printable::MAX_CHARACTERS);
    if (kept.size() == text.size())
        return text;
    return beginning(text, Printable::MAX_CHARACTERS - 1) + QChar(ELLIPSIS);
}

QString escaped(const QString &text)
{
    Escaper escaper;
    for (int at = 0; at < text.size();) {
        const uint character = characterAt(text, at);
        escaper.take(character);
        at += unitsOf(character);
    }
    return escaper.result();
}

} // namespace

Printable::Printable(const QString &text) : m_text(printable(text)) { }

QString printable(const QString &text)
{
    const QString shown = cut(text); // before the work, which megabytes would make long
    if (std::all_of(shown.begin(), shown.end(), isPlain))
        return shown;
    return cut(escaped(shown));
}

QString beginning(const QString &text, int characters)
{
    if (text.size() <= characters)
        return text;
    int end = 0;
    for (int count = 0; count < characters && end < text.size(); ++count)
        end += unitsOf(characterAt(text, end));
    return text.left(end);
}

} // namespace Host
