#include "console/LineEditor.h"

#include <QtCore/QTextBoundaryFinder>
#include <QtCore/QTextCodec>
#include <QtCore/QTextDecoder>

namespace Host
{

namespace
{

constexpr ushort ESCAPE = 0x1B;
constexpr ushort DELETE = 0x7F;
constexpr int MAX_HISTORY = 200;

constexpr ushort control(char letter)
{
    return ushort(letter - '@');
}

} // namespace

LineEditor::LineEditor() : m_decoder(QTextCodec::codecForName("UTF-8")->makeDecoder()) { }

LineEditor::~LineEditor() = default;

void LineEditor::type(const QByteArray &bytes)
{
    const QString typed = m_decoder->toUnicode(bytes);
    for (const QChar character : typed)
        takeCharacter(character);
}

void LineEditor::takeCharacter(QChar character)
{
    switch (m_state) {
    case AfterEscape: {
        const bool opensSequence = character == QLatin1Char('[') || character == QLatin1Char('O');
        m_state = opensSequence ? InSequence : Typing;
        m_sequence.clear();
        return;
    }
    case InSequence:
        // Parameters are digits, ";" and the like; the first character from "@" on ends the sequence.
        if (character.unicode() < '@') {
            m_sequence.append(character);
            return;
        }
        m_state = Typing;
        takeSequence(character);
        return;
    case Typing:
        break;
    }
    if (character.unicode() == ESCAPE)
        m_state = AfterEscape;
    else if (character.unicode() < ' ' || character.unicode() == DELETE)
        takeControl(character.unicode());
    else
        insert(character);
}

void LineEditor::takeControl(ushort code)
{
    switch (code) {
    case '\r':
    case '\n':
        return enter();
    case '\b':
    case DELETE:
        return erase(previousBoundary(), m_cursor);
    case '\t':
        return insert(QLatin1Char(' '));
    case control('A'):
        m_cursor = 0;
        return;
    case control('E'):
        m_cursor = m_text.size();
        return;
    case control('B'):
        m_cursor = previousBoundary();
        return;
    case control('F'):
        m_cursor = nextBoundary();
        return;
    case control('P'):
        return recall(-1);
    case control('N'):
        return recall(+1);
    case control('U'):
        return erase(0, m_cursor);
    case control('K'):
        return erase(m_cursor, m_text.size());
    case control('W'):
        return erase(previousWord(), m_cursor);
    case control('D'):
        if (!m_text.isEmpty())
            erase(m_cursor, nextBoundary());
        else if (onEndOfInput)
            onEndOfInput();
        return;
    default:
        return; // not a key of ours
    }
}

void LineEditor::takeSequence(QChar final)
{
    switch (final.unicode()) {
    case 'A':
        return recall(-1);
    case 'B':
        return recall(+1);
    case 'C':
        m_cursor = nextBoundary();
        return;
    case 'D':
        m_cursor = previousBoundary();
        return;
    case 'H':
        m_cursor = 0;
        return;
    case 'F':
        m_cursor = m_text.size();
        return;
    case '~':
        if (m_sequence == QLatin1String("3"))
            erase(m_cursor, nextBoundary());
        else if (m_sequence == QLatin1String("1") || m_sequence == QLatin1String("7"))
            m_cursor = 0;
        else if (m_sequence == QLatin1String("4") || m_sequence == QLatin1String("8"))
            m_cursor = m_text.size();
        return;
    default:
        return;
    }
}

void LineEditor::insert(QChar character)
{
    m_text.insert(m_cursor, character);
    ++m_cursor;
}

void LineEditor::erase(int from, int to)
{
    m_text.remove(from, to - from);
    m_cursor = from;
}

void LineEditor::enter()
{
    const QString line = m_text;
    const bool isWorthKeeping =
        !line.trimmed().isEmpty() && (m_history.isEmpty() || m_history.constLast() != line);
    if (isWorthKeeping)
        m_history.append(line);
    if (m_history.size() > MAX_HISTORY)
        m_history.removeFirst();
    m_text.clear();
    m_draft.clear();
    m_cursor = 0;
    m_recalled = m_history.size();
    if (onLine)
        onLine(line);
}

void LineEditor::recall(int step)
{
    const int wanted = m_recalled + step;
    if (wanted < 0 || wanted > m_history.size())
        return;
    if (m_recalled == m_history.size())
        m_draft = m_text;
    m_recalled = wanted;
    m_text = wanted == m_history.size() ? m_draft : m_history.at(wanted);
    m_cursor = m_text.size();
}

int LineEditor::previousBoundary() const
{
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, m_text);
    finder.setPosition(m_cursor);
    return qMax(0, finder.toPreviousBoundary());
}

int LineEditor::nextBoundary() const
{
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, m_text);
    finder.setPosition(m_cursor);
    const int next = finder.toNextBoundary();
    return next < 0 ? m_text.size() : next;
}

int LineEditor::previousWord() const
{
    int position = m_cursor;
    while (position > 0 && m_text.at(position - 1).isSpace())
        --position;
    while (position > 0 && !m_text.at(position - 1).isSpace())
        --position;
    return position;
}

} // namespace Host
