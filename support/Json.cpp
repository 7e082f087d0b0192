#include "support/Json.h"

#include <QtCore/QString>
#include <QtCore/QVarLengthArray>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string_view>
#include <utility>
#include <vector>

namespace Tarvo
{

namespace
{

// The toolkit reads no text whose lists and objects are nested deeper.
constexpr int MAX_DEPTH = 1024;

// A list or an object whose end has not come.
struct OpenValue {
    bool isObject;
    bool holdsValues; // lists or objects
    int firstMember;  // of the object, among those of all
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

QString unescaped(const char *at, const char *end)
{
    QString text;
    while (at < end) {
        const char *escape = std::find(at, end, '\\');
        text += QString::fromUtf8(at, int(escape - at));
        if (end - escape < 2)
            break;
        const char letter = escape[1];
        at = escape + 2;
        if (letter == 'u') {
            text += ofHexDigits(at, end);
            at += std::min<std::ptrdiff_t>(4, end - at);
        } else {
            text += ofEscape(letter);
        }
    }
    return text;
}

// A name in the spelling that has no escapes, as "a" for "\u0061". Only an escape can name half a letter, for
// which UTF-8 has no bytes, and with 0xff nothing of it begins.
QByteArray plainlySpelt(std::string_view name)
{
    const QString text = unescaped(name.data(), name.data() + name.size());
    return text.isValidUtf16()
        ? text.toUtf8()
        : '\xff' + QByteArray(reinterpret_cast<const char *>(text.utf16()), 2 * int(text.size()));
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
    const std::vector<std::string_view> &found() const { return m_found; }

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
        const char *end = m_at;
        while (isEscaped(end = endOfText(end), m_at))
            ++end;
        m_text = std::string_view(m_at, std::size_t(end - m_at));
        m_at = std::min(end + 1, m_end);
    }

    const char *endOfText(const char *at) const
    {
        const void *mark = std::memchr(at, '"', std::size_t(m_end - at));
        return mark ? static_cast<const char *>(mark) : m_end;
    }

    // Whether the mark stands behind an odd number of backslashes.
    bool isEscaped(const char *mark, const char *begin) const
    {
        const char *at = mark;
        while (at > begin && at[-1] == '\\')
            --at;
        return mark < m_end && (mark - at) % 2 == 1;
    }

    void beginMember()
    {
        if (m_open.empty() || !m_open.back().isObject)
            return;
        if (!m_text.data()) {
            giveUp();
            return;
        }
        m_names.append(m_text);
        m_text = {};
    }

    void open(bool isObject)
    {
        m_text = {};
        if (!m_open.empty())
            m_open.back().holdsValues = true;
        m_open.append({isObject, false, int(m_names.size())});
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
        m_open.removeLast();
        m_text = {};
    }

    // This is no JSON, and the toolkit reads no further, either.
    void giveUp() { m_at = m_end; }

    void findRepeated()
    {
        const int first = m_open.back().firstMember;
        std::vector<QByteArray> plain;
        QVarLengthArray<std::pair<std::string_view, int>, 16> names;
        for (int i = first; i < m_names.size(); ++i) {
            std::string_view name = m_names[i];
            if (name.find('\\') != std::string_view::npos) {
                plain.push_back(plainlySpelt(name));
                name = std::string_view(plain.back().constData(), std::size_t(plain.back().size()));
            }
            names.append({name, i});
        }
        std::sort(names.begin(), names.end());
        for (int i = 1; i < names.size(); ++i) {
            if (names[i - 1].first == names[i].first)
                m_found.push_back(member(names[i - 1].second));
        }
    }

    // That is not the last of its object.
    std::string_view member(int i) const
    {
        const char *begin = m_names[i].data() - 1;
        return std::string_view(begin, std::size_t(m_names[i + 1].data() - 1 - begin));
    }

    const char *m_at;
    const char *m_end;
    std::string_view m_text; // that was read last, unless it is behind us
    QVarLengthArray<OpenValue, 16> m_open;
    QVarLengthArray<std::string_view, 32> m_names; // of the members of all objects in m_open
    std::vector<std::string_view> m_found;
};

} // namespace

QJsonDocument readJson(QByteArray json, QJsonParseError *error)
{
    const char *begin = json.constData();
    const RepeatedMembers repeated(json);
    for (const std::string_view member : repeated.found()) {
        char *at = json.data() + (member.data() - begin);
        std::fill(at, at + member.size(), ' ');
    }
    return QJsonDocument::fromJson(json, error);
}

} // namespace Tarvo
