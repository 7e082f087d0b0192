#include "collab/ReadableJson.h"

#include <cstddef>

namespace
{

constexpr std::size_t MAX_MEMORY = 480UL * 1024 * 1024;

// What the toolkit takes for each of these, in bytes, in the document and in the variants together.
constexpr std::size_t VALUE = 56;
constexpr std::size_t LIST = 104; // that holds something; as a value it counts, too
constexpr std::size_t OBJECT = 136;
constexpr std::size_t MEMBER = 72; // of an object, beside its name and its value
constexpr std::size_t TEXT = 52;   // that is not empty
constexpr std::size_t CHARACTER = 6;

// No character of JSON takes more than the one that opens an object.
constexpr int ALWAYS_READABLE = MAX_MEMORY / (VALUE + OBJECT);

// More than any message or payload has; a conversion to UTF-8 has room for ten times as many.
constexpr int MAX_CHARACTERS = 64 * 1024 * 1024;

// Behind the quotation mark that opens a text: behind the one that closes it.
const ushort *behindText(const ushort *at, const ushort *end)
{
    while (at < end && *at != '"')
        at += *at == '\\' ? 2 : 1;
    return at < end ? at + 1 : end;
}

bool isBlank(ushort character)
{
    return character == ' ' || character == '\n' || character == '\r' || character == '\t';
}

// Whether a list or object that has just been opened holds something.
bool holdsSomething(const ushort *at, const ushort *end)
{
    while (at < end && isBlank(*at))
        ++at;
    return at < end && *at != ']' && *at != '}';
}

std::size_t memoryOf(ushort mark, const ushort *behind, const ushort *end)
{
    switch (mark) {
    case ',':
        return VALUE;
    case ':':
        return MEMBER;
    case '[':
        return holdsSomething(behind, end) ? VALUE + LIST : 0;
    case '{':
        return holdsSomething(behind, end) ? VALUE + OBJECT : 0;
    default:
        return 0;
    }
}

std::size_t memoryToRead(const ushort *at, const ushort *end)
{
    std::size_t memory = VALUE;
    while (at < end) {
        const ushort mark = *at++;
        memory += memoryOf(mark, at, end);
        if (mark != '"')
            continue;
        const ushort *text = at;
        at = behindText(text, end);
        if (at - text > 1)
            memory += TEXT + CHARACTER * static_cast<std::size_t>(at - text - 1);
    }
    return memory;
}

} // namespace

bool isReadableJson(const QString &json)
{
    if (json.size() <= ALWAYS_READABLE)
        return true;
    if (json.size() > MAX_CHARACTERS)
        return false;
    const auto *characters = reinterpret_cast<const ushort *>(json.constData());
    return memoryToRead(characters, characters + json.size()) <= MAX_MEMORY;
}
