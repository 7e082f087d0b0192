#include "sockjs/HttpResponseReader.h"

namespace Tarvo
{

namespace
{

const char HEADER_START[] = "HTTP/";
// What every status line begins with; a 0 stands for any digit.
const char STATUS_LINE[] = "HTTP/0.0 000";
constexpr int STATUS_LINE_BYTES = sizeof(STATUS_LINE) - 1;
constexpr int VERSION_AT = 5;
constexpr int VERSION_BYTES = 3;
constexpr int STATUS_AT = 9;
constexpr int STATUS_BYTES = 3;
// The first version whose connections carry several answers.
const char KEEPS_CONNECTION[] = "1.1";

constexpr int SWITCHING_PROTOCOLS = 101;
constexpr int NO_CONTENT = 204;
constexpr int NOT_MODIFIED = 304;

// Values of fields, in small letters.
const char CHUNKED[] = "chunked";
const char IDENTITY[] = "identity";
const char CLOSE[] = "close";

// More would not fit a number, and no service sends so much.
constexpr int MAX_SIZE_DIGITS = 15;
// The name of a coding is the far end's; a person reads the beginning of it.
constexpr int MAX_NAME_BYTES = 40;

bool isBlank(char byte)
{
    return byte == ' ' || byte == '\t';
}

bool isDigit(char byte)
{
    return byte >= '0' && byte <= '9';
}

bool isHexDigit(char byte)
{
    return isDigit(byte) || (byte >= 'a' && byte <= 'f') || (byte >= 'A' && byte <= 'F');
}

QByteArray withoutBlanks(const QByteArray &text)
{
    int start = 0;
    int end = text.size();
    while (start < end && isBlank(text.at(start)))
        ++start;
    while (end > start && isBlank(text.at(end - 1)))
        --end;
    return text.mid(start, end - start);
}

// The elements of a list with commas, in small letters; some may be empty.
QList<QByteArray> elementsOf(const QByteArray &value)
{
    QList<QByteArray> elements = value.toLower().split(',');
    for (QByteArray &element : elements)
        element = withoutBlanks(element);
    return elements;
}

// An interim answer, with a final one behind it.
bool isInterim(int status)
{
    return status >= 100 && status < 200 && status != SWITCHING_PROTOCOLS;
}

// Whether a body follows, as its fields say.
bool hasBody(int status)
{
    return status != SWITCHING_PROTOCOLS && status != NO_CONTENT && status != NOT_MODIFIED;
}

// The first of the codings that cannot be read, empty when all can.
QByteArray unreadable(const QList<QByteArray> &codings, const QList<QByteArray> &readable)
{
    for (const QByteArray &coding : codings) {
        if (!coding.isEmpty() && !readable.contains(coding))
            return coding;
    }
    return QByteArray();
}

// Digits alone, no sign.
bool parseLength(const QByteArray &text, qint64 *length)
{
    for (const char byte : text) {
        if (!isDigit(byte))
            return false;
    }
    bool isNumber = false;
    *length = text.toLongLong(&isNumber);
    return isNumber;
}

// The size of a chunk: hexadecimal digits, blanks, extensions behind a semicolon.
bool parseChunkSize(const QByteArray &line, qint64 *size)
{
    int zeros = 0;
    while (zeros < line.size() && line.at(zeros) == '0')
        ++zeros;
    int digits = zeros;
    while (digits < line.size() && isHexDigit(line.at(digits)))
        ++digits;
    int behind = digits;
    while (behind < line.size() && isBlank(line.at(behind)))
        ++behind;
    if (digits == 0 || digits - zeros > MAX_SIZE_DIGITS
        || (behind < line.size() && line.at(behind) != ';'))
        return false;
    *size = digits == zeros ? 0 : line.mid(zeros, digits - zeros).toLongLong(nullptr, 16);
    return true;
}

} // namespace

// ---- One step -----------------------------------------------------------------------------------

HttpResponseReader::Found HttpResponseReader::next(QByteArray *piece)
{
    Step found;
    while (!found)
        found = step(piece);
    return *found;
}

HttpResponseReader::Step HttpResponseReader::step(QByteArray *piece)
{
    switch (m_state) {
    case State::BETWEEN:
        return m_over ? passOverLineEnds() : readStatusLine();
    case State::HEADER:
        return m_hasStatusLine ? readHeaderLine() : readStatusLine();
    case State::LENGTH_BODY:
    case State::CHUNK_DATA:
        return readBody(piece);
    case State::CHUNK_SIZE:
        return readChunkSize();
    case State::CHUNK_END:
        return readChunkEnd();
    case State::TRAILERS:
        return readTrailer();
    case State::OPEN_BODY:
        return readOpenBody(piece);
    case State::BROKEN:
        break;
    }
    return Found::BROKEN;
}

HttpResponseReader::Found HttpResponseReader::endOfInput()
{
    switch (m_state) {
    case State::BETWEEN:
        return Found::NOTHING_YET;
    case State::HEADER:
        return fail(QStringLiteral("cut off inside a header"));
    case State::OPEN_BODY:
        return end();
    case State::BROKEN:
        return Found::BROKEN;
    default:
        return fail(QStringLiteral("cut off inside a body"));
    }
}

HttpResponseReader::Found HttpResponseReader::end()
{
    m_state = State::BETWEEN;
    m_over = m_answer.isLast;
    return Found::END;
}

HttpResponseReader::Found HttpResponseReader::fail(const QString &problem)
{
    m_state = State::BROKEN;
    m_problem = problem;
    return Found::BROKEN;
}

// ---- The header ---------------------------------------------------------------------------------

// Empty lines in front of an answer belong to nobody: services send them behind a body.
HttpResponseReader::Found HttpResponseReader::passOverLineEnds()
{
    while (takeLineEnd()) { }
    return Found::NOTHING_YET;
}

HttpResponseReader::Step HttpResponseReader::readStatusLine()
{
    passOverLineEnds();
    if (isLineEndCutShort())
        return Found::NOTHING_YET;
    if (m_state == State::BETWEEN)
        beginHeader();
    if (!QByteArray(HEADER_START).startsWith(m_bytes.peek(sizeof(HEADER_START) - 1)))
        return fail(QStringLiteral("no HTTP answer"));

    QByteArray line;
    if (const Step found = readLine(&line, QStringLiteral("header too long")))
        return found;
    m_hasStatusLine = parseStatusLine(line);
    if (!m_hasStatusLine)
        return fail(QStringLiteral("no HTTP answer"));
    return {};
}

void HttpResponseReader::beginHeader()
{
    beginBlock(State::HEADER);
    m_hasStatusLine = false;
    m_coming = Answer();
    m_fields = Fields();
    m_field.clear();
}

bool HttpResponseReader::parseStatusLine(const QByteArray &line)
{
    if (line.size() < STATUS_LINE_BYTES)
        return false;
    for (int i = 0; i < STATUS_LINE_BYTES; ++i) {
        const char expected = STATUS_LINE[i];
        if (expected == '0' ? !isDigit(line.at(i)) : line.at(i) != expected)
            return false;
    }
    if (line.size() > STATUS_LINE_BYTES && line.at(STATUS_LINE_BYTES) != ' ')
        return false;
    m_coming.isLast = line.mid(VERSION_AT, VERSION_BYTES) < KEEPS_CONNECTION;
    m_coming.status = line.mid(STATUS_AT, STATUS_BYTES).toInt();
    m_coming.reasonPhrase = line.mid(STATUS_LINE_BYTES + 1);
    return true;
}

// A line is a field once the line behind it is known not to continue it.
HttpResponseReader::Step HttpResponseReader::readHeaderLine()
{
    QByteArray line;
    if (const Step found = readLine(&line, QStringLiteral("header too long")))
        return found;
    if (!line.isEmpty() && isBlank(line.at(0))) {
        m_field += ' ';
        m_field += withoutBlanks(line);
        return {};
    }
    takeField();
    m_field = line;
    return line.isEmpty() ? endHeader() : Step();
}

// Names that hold a blank are no names: what stands there must not decide how the body is cut.
void HttpResponseReader::takeField()
{
    static const struct {
        const char *name;
        QList<QByteArray> Fields::*elements;
    } LISTS[] = {
        {"connection", &Fields::connection},
        {"content-encoding", &Fields::contentEncoding},
        {"content-length", &Fields::contentLength},
        {"transfer-encoding", &Fields::transferEncoding},
    };
    const int colon = m_field.indexOf(':');
    const QByteArray name = m_field.left(qMax(0, colon)).toLower();
    const QByteArray value = withoutBlanks(m_field.mid(colon + 1));
    for (const auto &list : LISTS) {
        if (name == list.name)
            m_fields.*list.elements += elementsOf(value);
    }
    if (name == "set-cookie" && !value.isEmpty()) {
        if (!m_coming.setCookies.isEmpty())
            m_coming.setCookies += '\n';
        m_coming.setCookies += value;
    }
}

HttpResponseReader::Step HttpResponseReader::endHeader()
{
    if (isInterim(m_coming.status)) {
        beginHeader();
        return {};
    }
    m_state = State::LENGTH_BODY;
    m_remaining = 0;
    if (hasBody(m_coming.status)) {
        if (const Step problem = findEncoding())
            return problem;
    }
    if (m_state == State::OPEN_BODY || m_coming.status == SWITCHING_PROTOCOLS
        || m_fields.connection.contains(CLOSE))
        m_coming.isLast = true;
    m_answer = m_coming;
    return Found::HEADER;
}

// ---- How the body is cut ------------------------------------------------------------------------

// No request asks for a coding, so that only chunks are expected.
HttpResponseReader::Step HttpResponseReader::findEncoding()
{
    QList<QByteArray> codings = m_fields.transferEncoding;
    codings.removeAll(QByteArray());
    const QByteArray problem =
        unreadable(m_fields.contentEncoding, {IDENTITY}) + unreadable(codings, {IDENTITY, CHUNKED});
    if (!problem.isEmpty())
        return fail(QStringLiteral("encoded with %0")
                        .arg(QString::fromLatin1(problem.left(MAX_NAME_BYTES))));
    if (codings.isEmpty())
        return findLength();
    m_coming.isChunked = codings.constLast() == CHUNKED;
    if (!m_coming.isChunked && codings.contains(CHUNKED))
        return fail(QStringLiteral("encoded behind the chunks"));
    beginBlock(m_coming.isChunked ? State::CHUNK_SIZE : State::OPEN_BODY);
    return {};
}

HttpResponseReader::Step HttpResponseReader::findLength()
{
    if (m_fields.contentLength.isEmpty()) {
        m_state = State::OPEN_BODY;
        return {};
    }
    bool isFirst = true;
    for (const QByteArray &text : qAsConst(m_fields.contentLength)) {
        qint64 length = 0;
        if (!parseLength(text, &length) || (!isFirst && length != m_remaining))
            return fail(QStringLiteral("bad content length"));
        m_remaining = length;
        isFirst = false;
    }
    return {};
}

// ---- The body -----------------------------------------------------------------------------------

HttpResponseReader::Step HttpResponseReader::readBody(QByteArray *piece)
{
    if (m_remaining == 0)
        return end();
    if (m_bytes.isEmpty())
        return Found::NOTHING_YET;
    *piece = m_bytes.take(static_cast<int>(qMin<qint64>(m_remaining, m_bytes.size())));
    m_remaining -= piece->size();
    if (m_remaining == 0 && m_state == State::CHUNK_DATA)
        m_state = State::CHUNK_END;
    return Found::PIECE;
}

HttpResponseReader::Step HttpResponseReader::readChunkSize()
{
    QByteArray line;
    if (const Step found = readLine(&line, QStringLiteral("size line too long")))
        return found;
    if (!parseChunkSize(line, &m_remaining))
        return fail(QStringLiteral("bad chunk size"));
    beginBlock(m_remaining > 0 ? State::CHUNK_DATA : State::TRAILERS);
    return {};
}

HttpResponseReader::Step HttpResponseReader::readChunkEnd()
{
    if (isLineEndCutShort())
        return Found::NOTHING_YET;
    if (!takeLineEnd())
        return fail(QStringLiteral("no line end behind a chunk"));
    beginBlock(State::CHUNK_SIZE);
    return {};
}

HttpResponseReader::Step HttpResponseReader::readTrailer()
{
    QByteArray line;
    if (const Step found = readLine(&line, QStringLiteral("trailers too long")))
        return found;
    return line.isEmpty() ? Step(end()) : Step();
}

HttpResponseReader::Step HttpResponseReader::readOpenBody(QByteArray *piece)
{
    if (m_bytes.isEmpty())
        return Found::NOTHING_YET;
    *piece = m_bytes.take(m_bytes.size());
    return Found::PIECE;
}

// ---- Lines --------------------------------------------------------------------------------------

// The header, a size line or the trailers begin next.
void HttpResponseReader::beginBlock(State state)
{
    m_state = state;
    m_blockBytes = 0;
}

HttpResponseReader::Step HttpResponseReader::readLine(QByteArray *line, const QString &tooLong)
{
    const int lineSize = m_bytes.lineSize();
    const int blockBytes = m_blockBytes + (lineSize > 0 ? lineSize : m_bytes.size());
    if (blockBytes > MAX_HEADER_BYTES)
        return fail(tooLong);
    if (lineSize == 0)
        return Found::NOTHING_YET;
    m_blockBytes = blockBytes;
    *line = m_bytes.takeLine(lineSize);
    return {};
}

bool HttpResponseReader::takeLineEnd()
{
    const QByteArray bytes = m_bytes.peek(2);
    if (!bytes.startsWith('\n') && bytes != "\r\n")
        return false;
    m_bytes.drop(bytes.startsWith('\n') ? 1 : 2);
    return true;
}

// Whether all there is may become a line end when more comes.
bool HttpResponseReader::isLineEndCutShort() const
{
    return m_bytes.isEmpty() || (m_bytes.size() == 1 && m_bytes.at(0) == '\r');
}

} // namespace Tarvo
