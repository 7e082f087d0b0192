#include "CommandWords.h"

#include <algorithm>

namespace Host
{

namespace
{

bool isQuote(QChar character)
{
    return character == QLatin1Char('"') || character == QLatin1Char('\'');
}

// A word that has begun is kept also when it is empty: "" is an argument.
class WordReader
{
public:
    explicit WordReader(const QString &line)
    {
        for (; m_at < line.size() && !m_isInComment; ++m_at)
            take(line.at(m_at));
    }

    Words words()
    {
        if (!m_quote.isNull())
            return {{}, QStringLiteral("A quote is opened but not closed.")};
        if (m_isEscaped)
            return {{}, QStringLiteral("The line ends with a backslash.")};
        endWord();
        return {m_words, QString()};
    }

    UnfinishedLine unfinished() const
    {
        return {m_words, m_word, m_isInWord ? m_begin : m_at, m_isInComment};
    }

private:
    void take(QChar character)
    {
        if (m_isEscaped) {
            m_word.append(character);
            m_isEscaped = false;
        } else if (character == QLatin1Char('\\') && m_quote != QLatin1Char('\'')) {
            beginWord();
            m_isEscaped = true;
        } else if (!m_quote.isNull()) {
            takeQuoted(character);
        } else if (isQuote(character)) {
            beginWord();
            m_quote = character;
        } else if (character.isSpace()) {
            endWord();
        } else if (!m_isInWord && character == QLatin1Char('#')) {
            m_isInComment = true;
        } else {
            beginWord();
            m_word.append(character);
        }
    }

    void takeQuoted(QChar character)
    {
        if (character == m_quote)
            m_quote = QChar();
        else
            m_word.append(character);
    }

    void beginWord()
    {
        if (!m_isInWord)
            m_begin = m_at;
        m_isInWord = true;
    }

    void endWord()
    {
        if (m_isInWord)
            m_words.append(m_word);
        m_word.clear();
        m_isInWord = false;
    }

    QStringList m_words;
    QString m_word;
    QChar m_quote;
    int m_at = 0;
    int m_begin = 0; // of the word
    bool m_isInWord = false;
    bool m_isEscaped = false;
    bool m_isInComment = false;
};

} // namespace

Words readWords(const QString &line)
{
    return WordReader(line).words();
}

UnfinishedLine readUnfinished(const QString &line)
{
    return WordReader(line).unfinished();
}

QString quoted(const QString &word, QChar opened)
{
    const QChar single = QLatin1Char('\'');
    if (opened == single && !word.contains(single))
        return single + word + single; // nothing is escaped in these
    const bool isPlain = std::none_of(word.begin(), word.end(), [](QChar character) {
        return character.isSpace() || isQuote(character) || character == QLatin1Char('\\');
    });
    if (isPlain && !isQuote(opened) && !word.isEmpty() && !word.startsWith(QLatin1Char('#')))
        return word;
    QString escaped = word;
    escaped.replace(QLatin1Char('\\'), QLatin1String("\\\\"));
    escaped.replace(QLatin1Char('"'), QLatin1String("\\\""));
    return QLatin1Char('"') + escaped + QLatin1Char('"');
}

} // namespace Host
