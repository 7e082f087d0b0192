#include "texts/ShownText.h"

#include <algorithm>
#include <string>

namespace Desktop
{

namespace
{

constexpr uint ZERO_WIDTH_NON_JOINER = 0x200C; // scripts and emoji need the joiners
constexpr uint ZERO_WIDTH_JOINER = 0x200D;
constexpr uint FIRST_STRONG_ISOLATE = 0x2068;
constexpr uint POP_ISOLATE = 0x2069;
constexpr ushort ELLIPSIS = 0x2026;
constexpr int MAX_TOOL_TIP = 2000;

bool isBreak(uint character)
{
    switch (QChar::category(character)) {
    case QChar::Other_Control:
    case QChar::Separator_Line:
    case QChar::Separator_Paragraph:
        return true;
    default:
        return QChar::isSpace(character);
    }
}

bool isSeen(uint character)
{
    if (character == ZERO_WIDTH_NON_JOINER || character == ZERO_WIDTH_JOINER)
        return true;
    const QChar::Category category = QChar::category(character);
    return category != QChar::Other_Format && category != QChar::Other_Surrogate;
}

bool canTurn(uint character)
{
    switch (QChar::direction(character)) {
    case QChar::DirR:
    case QChar::DirAL:
    case QChar::DirAN:
        return true;
    default:
        return false;
    }
}

// An end of isolation too many would end the isolation around the text, and one too few would not let it end.
class Isolates
{
public:
    bool takes(uint character)
    {
        if (character != FIRST_STRONG_ISOLATE && character != POP_ISOLATE)
            return false;
        if (character == POP_ISOLATE && m_open == 0)
            return false;
        m_open += character == POP_ISOLATE ? -1 : 1;
        return true;
    }
    QString ends() const { return QString(m_open, QChar(POP_ISOLATE)); }

private:
    int m_open = 0;
};

std::u32string beginning(const QString &text, int mostCharacters)
{
    QString shown = text.left(mostCharacters);
    if (shown.size() < text.size() && !shown.isEmpty()
        && shown.at(shown.size() - 1).isHighSurrogate())
        shown.chop(1);
    return shown.toStdU32String();
}

QString onOneLine(const QString &text, int mostCharacters, Isolates *isolates)
{
    std::u32string kept;
    const std::u32string characters = beginning(text, mostCharacters);
    for (const char32_t character : characters) {
        if (isBreak(character))
            kept += U' ';
        else if (isSeen(character) || (isolates && isolates->takes(character)))
            kept += character;
    }
    const QString line = QString::fromStdU32String(kept).simplified();
    return text.size() > mostCharacters ? line + QChar(ELLIPSIS) : line;
}

} // namespace

QString shownText(const QString &text, int mostCharacters)
{
    return onOneLine(text, mostCharacters, nullptr);
}

QString quotedText(const QString &text, int mostCharacters)
{
    const QString shown = shownText(text, mostCharacters);
    const std::u32string characters = shown.toStdU32String();
    if (std::none_of(characters.begin(), characters.end(), canTurn))
        return shown;
    return QChar(FIRST_STRONG_ISOLATE) + shown + QChar(POP_ISOLATE);
}

QString plainToolTip(const QString &text)
{
    if (text.isEmpty())
        return QString();
    Isolates isolates;
    const QString line = onOneLine(text, MAX_TOOL_TIP, &isolates);
    return QStringLiteral("<p dir=\"auto\">%1</p>").arg((line + isolates.ends()).toHtmlEscaped());
}

} // namespace Desktop
