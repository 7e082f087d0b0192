#include "support/Json.h"

#include <QtCore/QString>

#include <algorithm>
#include <cstddef>
#include <utility>
#include <vector>

namespace Tarvo
{

namespace
{

// The toolkit reads no text whose lists and objects are nested deeper.
constexpr std::size_t MAX_DEPTH = 1024;

// A text in the text, between its quotation marks.
struct JsonText {
    const char *begin = nullptr;
    const char *end = nullptr;
};

// A list or an object whose end has not come.
struct OpenValue {
    bool isObject;
    bool holdsValues;        // lists or objects
    std::size_t firstMember; // of the object, among those of all
};

QChar ofHexDigits(const char *at, const char *end)
{
    return QChar(
        ushort(QByteArray(at, int(std::min<std::ptrdiff_t>(4, end - at))).toUInt(nullptr, 16)));
}

QChar ofEscape(char letter)
{
    switch (letter) {
    case 'b':
        return QLatin1Char('\b');
    case 'f':
        return QLatin1Char('\f');
    case 'n':
        return QLatin1Char('\n');
    case 'r':
        return QLatin1Char('\r');
    case 't':
        return QLatin1Char('\t');
    default:
        return QLatin1Char(letter);
    }
}

// A text has several spellings: "a" and "\u0061" are one name.
QString decoded(JsonText text)
{
    QString name;
    const char *at = text.begin;
    while (at < text.end) {
        const char *escape = std::find(at, text.end, '\\');
        name += QString::fromUtf8(at, int(escape - at));
        if (text.end - escape < 2)
            break;
        const char letter = escape[1];
        at = escape + 2;
        if (letter == 'u') {
            name += ofHexDigits(at, text.end);
            at += std::min<std::ptrdiff_t>(4, text.end - at);
        } else {
            name += ofEscape(letter);
        }
    }
    return name;
}

// Goes through a text of JSON once, and finds each member of an object whose name comes again there. Objects that
// hold nothing but numbers and the like have no memory to lose, and are left alone.
class RepeatedMembers
{
public:
    explicit RepeatedMembers(const QByteArray &json)
        : m_at(json.constData()), m_end(m_at + json.size())
    {
        while (m_at < m_end && m_open.size() <= MAX_DEPTH)
            readMark(*m_at++);
    }

    // From their names on to the names of the members behind them.
    const std::vector<JsonText> &found() const { return m_found; }

private:
    void readMark(char mark)
    {
        switch (mark) {
        case '"':
            readText();
            break;
        case ':':
            beginMember();
            break;
        case '[':
        case '{':
            open(mark == '{');
            break;
        case ']':
        case '}':
            close(mark == '}');
            break;
        default:
            break;
        }
    }

    void readText()
    {
        m_text.begin = m_at;
        while (m_at < m_end && *m_at != '"')
            m_at += *m_at == '\\' && m_end - m_at > 1 ? 2 : 1;
        m_text.end = m_at;
        if (m_at < m_end)
            ++m_at;
    }

    void beginMember()
    {
        if (m_open.empty() || !m_open.back().isObject)
            return;
        if (!m_text.begin) {
            giveUp();
            return;
        }
        m_names.push_back(m_text);
        m_text = {};
    }

    void open(bool isObject)
    {
        m_text = {};
        if (!m_open.empty())
            m_open.back().holdsValues = true;
        m_open.push_back({isObject, false, m_names.size()});
    }

    void close(bool isObject)
    {
        if (m_open.empty() || m_open.back().isObject != isObject) {
            giveUp();
            return;
        }
        if (m_open.back().holdsValues)
            findRepeated();
        m_names.resize(m_open.back().firstMember);
        m_open.pop_back();
        m_text = {};
    }

    // This is no JSON, and the toolkit reads no further, either.
    void giveUp() { m_at = m_end; }

    void findRepeated()
    {
        const std::size_t first = m_open.back().firstMember;
        if (m_names.size() - first < 2)
            return;
        std::vector<std::pair<QString, std::size_t>> names;
        names.reserve(m_names.size() - first);
        for (std::size_t i = first; i < m_names.size(); ++i)
            names.emplace_back(decoded(m_names[i]), i);
        std::sort(names.begin(), names.end());
        for (std::size_t i = 1; i < names.size(); ++i) {
            const std::size_t earlier = names[i - 1].second;
            if (names[i - 1].first == names[i].first)
                m_found.push_back({m_names[earlier].begin - 1, m_names[earlier + 1].begin - 1});
        }
    }

    const char *m_at;
    const char *m_end;
    JsonText m_text; // that was read last, unless it is behind us
    std::vector<OpenValue> m_open;
    std::vector<JsonText> m_names; // of the members of all objects in m_open
    std::vector<JsonText> m_found;
};

} // namespace

QJsonDocument readJson(QByteArray json, QJsonParseError *error)
{
    const char *begin = json.constData();
    const RepeatedMembers repeated(json);
    for (const JsonText &member : repeated.found()) {
        char *at = json.data() + (member.begin - begin);
        std::fill(at, at + (member.end - member.begin), ' ');
    }
    return QJsonDocument::fromJson(json, error);
}

} // namespace Tarvo
