#include "sockjs/ResponseReader.h"
#include "support/Log.h"
#include "support/Utf8.h"

namespace Tarvo
{

namespace
{

constexpr char HEADER_START[] = "HTTP/";
constexpr int HEADER_START_BYTES = sizeof(HEADER_START) - 1;

// Told by the header parser of every response: the service's status codes carry nothing.
constexpr int STATUS_OF_ANY_HEADER = 200;
constexpr int NO_STATUS = -1;

// Results of the body parser, beside the number of bytes used.
constexpr int NEEDS_MORE = 0;
constexpr int END_OF_BODY = -1;

// The line at `position` without its end; moves `position` behind it. The last line may lack its
// line feed.
QByteArray takeLine(const QByteArray &data, int *position)
{
    const int lineFeed = data.indexOf('\n', *position);
    const int end = lineFeed < 0 ? data.size() : lineFeed;
    QByteArray line = data.mid(*position, end - *position);
    if (line.endsWith('\r'))
        line.chop(1);
    *position = lineFeed < 0 ? end : end + 1;
    return line;
}

// Appends up to `count` bytes as one character each; returns how many there were.
int appendBytes(QString *message, const QByteArray &data, int position, int count)
{
    const int available = qMin(count, data.size() - position);
    message->append(QLatin1String(data.constData() + position, available));
    return available;
}

// Whether all there is may become the start of a header when more comes.
bool isHeaderStartCutShort(const QByteArray &data)
{
    return data.size() < HEADER_START_BYTES && QByteArray(HEADER_START).startsWith(data);
}

// What is no number, or beyond an int, is 0 and so ends the body.
int chunkSize(const QByteArray &sizeLine)
{
    return sizeLine.toInt(nullptr, 16);
}

// A chunk of one byte ends the body like the empty one: the service sends none.
bool isEndChunk(int size)
{
    return size <= 1;
}

} // namespace

// ---- What the worker tells ----------------------------------------------------------------------

void ResponseReader::append(const QByteArray &bytes)
{
    m_buffer.append(bytes);
    m_endChunkUnread = true;
}

void ResponseReader::expectBody(const XHRRequest &request, bool lengthAnnounced)
{
    m_expectedLength = qMax(request.contentLength, 1);
    m_cameWithHeader = hasPending();
    if (request.chunked)
        m_state = State::CHUNKS;
    else if (request.contentLength > 0)
        m_state = State::LENGTH_BODY;
    else
        m_state = lengthAnnounced ? State::HEADER : State::OPEN_BODY;
}

void ResponseReader::expectNothing()
{
    m_expectedLength = 0;
    m_state = State::UNASKED;
}

void ResponseReader::noteSilence()
{
    if (m_state == State::LENGTH_BODY || m_state == State::CHUNKS)
        m_resumption = available();
}

void ResponseReader::dropPending()
{
    consume(available());
    compact();
}

// ---- One piece ----------------------------------------------------------------------------------

ResponseReader::Found ResponseReader::next(QString *message)
{
    Found found = Found::NOTHING_YET;
    if (hasPending() && isResumptionClear(message)) {
        switch (m_state) {
        case State::HEADER:
        case State::UNASKED:
            found = readBetween(message);
            break;
        case State::LENGTH_BODY:
            found = readLengthBody(message);
            break;
        case State::OPEN_BODY:
            found = readOpenBody(message);
            break;
        case State::CHUNKS:
            found = readChunk(message);
            break;
        case State::BEHIND_CHUNKS:
            found = readBehindChunks(message);
            break;
        }
    }
    if (found == Found::NOTHING_YET)
        compact();
    return found;
}

ResponseReader::Found ResponseReader::readBetween(QString *message)
{
    if (findHeader())
        return readHeader();
    if (isHeaderStartCutShort(rest()) || m_expectedLength == 0)
        return needMore();
    return readPlain(message, available());
}

ResponseReader::Found ResponseReader::readLengthBody(QString *message)
{
    return readPlain(message, qMin(available(), m_expectedLength - message->size()));
}

ResponseReader::Found ResponseReader::readOpenBody(QString *message)
{
    if (!m_cameWithHeader)
        return readBetween(message);
    m_cameWithHeader = false;
    return readPlain(message, available());
}

ResponseReader::Found ResponseReader::readChunk(QString *message)
{
    if (!findChunkSize())
        return available() > MAX_HEADER_BYTES ? Found::TOO_MUCH : Found::NOTHING_YET;
    if (m_sizeLineEnd > MAX_HEADER_BYTES)
        return Found::TOO_MUCH;
    if (!isEndChunk(m_chunkSize)) {
        const int there = qMin(m_chunkSize, available() - m_sizeLineEnd);
        if (message->size() + there > MAX_BODY_BYTES)
            return Found::TOO_MUCH;
        if (there < m_chunkSize)
            return Found::NOTHING_YET;
    }
    const int used = parseMessageResponse(rest(), true, message, 0);
    if (used != END_OF_BODY) {
        consume(used);
        return Found::PIECE;
    }
    m_state = State::BEHIND_CHUNKS;
    m_endChunkUnread = false;
    return message->isEmpty() ? Found::PIECE : Found::BODY;
}

ResponseReader::Found ResponseReader::readBehindChunks(QString *message)
{
    if (findHeader())
        return readHeader();
    if (!m_endChunkUnread || isHeaderStartCutShort(rest()))
        return needMore();
    return readChunk(message);
}

// Whether it is known what the bytes behind a silence are.
bool ResponseReader::isResumptionClear(QString *message)
{
    if (m_resumption < 0 || m_resumption == available())
        return true;
    const QByteArray start = rest().mid(m_resumption, HEADER_START_BYTES);
    if (start == HEADER_START) {
        consume(m_resumption);
        message->clear();
        m_state = State::HEADER;
    } else if (isHeaderStartCutShort(start)) {
        return false;
    }
    m_resumption = -1;
    return true;
}

ResponseReader::Found ResponseReader::readPlain(QString *message, int count)
{
    const QByteArray body = rest().left(count);
    consume(parseMessageResponse(body, false, message, m_expectedLength));
    if (message->size() > MAX_BODY_BYTES)
        return Found::TOO_MUCH;
    if (message->size() < m_expectedLength)
        return Found::PIECE;
    if (m_state == State::LENGTH_BODY)
        m_state = State::HEADER;
    return Found::BODY;
}

// Reads the header that findHeader() found. Whatever stands before it is passed over.
ResponseReader::Found ResponseReader::readHeader()
{
    const int start = m_headerSearched;
    const int end = findHeaderEnd();
    const int size = (end < 0 ? available() : end) - start;
    if (size > MAX_HEADER_BYTES)
        return Found::TOO_MUCH;
    if (end < 0)
        return needMore();
    int status = NO_STATUS;
    m_headers.clear();
    parseHttpHeaderResponse(rest().mid(start, size), &status, &m_headers);
    consume(end);
    return Found::HEADER;
}

// ---- Looking ahead ------------------------------------------------------------------------------

bool ResponseReader::findHeader()
{
    const int start = m_buffer.indexOf(HEADER_START, m_position + m_headerSearched);
    m_headerSearched =
        start >= 0 ? start - m_position : qMax(0, available() - HEADER_START_BYTES + 1);
    return start >= 0;
}

// Behind the empty line that ends the header, or -1 when that has not come.
int ResponseReader::findHeaderEnd()
{
    const QByteArray data = rest();
    int lineFeed = data.indexOf('\n', qMax(m_headerSearched, m_linesSearched));
    while (lineFeed >= 0) {
        int next = lineFeed + 1;
        if (next < data.size() && data.at(next) == '\r')
            ++next;
        if (next == data.size()) {
            m_linesSearched = lineFeed;
            return -1;
        }
        if (data.at(next) == '\n')
            return next + 1;
        lineFeed = data.indexOf('\n', next);
    }
    m_linesSearched = data.size();
    return -1;
}

// The size of the chunk that comes next, once its size line is there. The line end behind the chunk
// before may stand in front of it.
bool ResponseReader::findChunkSize()
{
    if (m_sizeLineEnd > 0)
        return true;
    const QByteArray data = rest();
    int position = 0;
    if (data.startsWith("\r\n") || data.startsWith('\n'))
        takeLine(data, &position);
    if (data.indexOf('\n', qMax(position, m_linesSearched)) < 0) {
        m_linesSearched = data.size();
        return false;
    }
    m_chunkSize = chunkSize(takeLine(data, &position));
    m_sizeLineEnd = position;
    return true;
}

ResponseReader::Found ResponseReader::needMore() const
{
    return available() > MAX_BODY_BYTES ? Found::TOO_MUCH : Found::NOTHING_YET;
}

// ---- The buffer ---------------------------------------------------------------------------------

// What is still to be read, without a copy: valid until the buffer changes.
QByteArray ResponseReader::rest() const
{
    return QByteArray::fromRawData(m_buffer.constData() + m_position, available());
}

void ResponseReader::consume(int count)
{
    count = qMin(count, available());
    m_position += count;
    m_headerSearched = qMax(0, m_headerSearched - count);
    m_linesSearched = 0;
    m_sizeLineEnd = 0;
    if (m_resumption >= 0)
        m_resumption = qMax(0, m_resumption - count);
}

void ResponseReader::compact()
{
    m_buffer.remove(0, m_position);
    m_position = 0;
}

// ---- The parsers --------------------------------------------------------------------------------

int ResponseReader::parseHttpHeaderResponse(const QByteArray &data, int *status,
                                            QStringMap *headers)
{
    *status = NO_STATUS;
    int position = data.indexOf(HEADER_START);
    if (position < 0)
        return 0;
    takeLine(data, &position);
    *status = STATUS_OF_ANY_HEADER;

    while (position < data.size()) {
        const QByteArray line = takeLine(data, &position);
        if (line.isEmpty())
            break;
        const int colon = line.indexOf(':');
        if (colon > 0)
            headers->insert(wholeUtf8(line.left(colon)), wholeUtf8(line.mid(colon + 1)));
    }
    return position;
}

int ResponseReader::parseMessageResponse(const QByteArray &data, bool chunked, QString *message,
                                         int expectedLength)
{
    if (!chunked)
        return appendBytes(message, data, 0, expectedLength > 1 ? expectedLength : data.size());

    int position = 0;
    QByteArray sizeLine = takeLine(data, &position);
    if (sizeLine.isEmpty()) {
        TARVO_LOG(sockjs, "[SockJSXHRPollingWorker] Chunk_continued");
        sizeLine = takeLine(data, &position);
    }
    const int size = chunkSize(sizeLine);
    if (isEndChunk(size)) {
        TARVO_LOG(sockjs, "[SockJSXHRPollingWorker] chunk complete size ", message->size());
        return END_OF_BODY;
    }
    if (data.size() < size)
        return NEEDS_MORE;
    constexpr int LINE_END_BYTES = 2;
    return position + appendBytes(message, data, position, size) + LINE_END_BYTES;
}

} // namespace Tarvo
