// Reading responses: bytes in, header blocks and bodies out.

#include "sockjs/SockJSXHRPollingWorker.h"

#include <QtCore/QDebug>
#include <QtNetwork/QTcpSocket>

namespace
{

// Real responses stay far below these; beyond them the peer does not speak HTTP, or means harm.
constexpr int MAX_HEADER_BYTES = 64 * 1024; // a header block, or the size line of a chunk
constexpr int MAX_BODY_BYTES = 64 * 1024 * 1024;

constexpr char HEADER_START[] = "HTTP/";
constexpr int HEADER_START_BYTES = sizeof(HEADER_START) - 1;

// Told by the header parser of every response: the service's status codes carry nothing.
constexpr int STATUS_OF_ANY_HEADER = 200;
constexpr int NO_STATUS = -1;

// Results of reading, beside the number of bytes used.
constexpr int NEEDS_MORE = 0;
constexpr int END_OF_BODY = -1;

QDebug debug()
{
    return qDebug().noquote() << "[SockJSXHRPollingWorker]";
}

// The whole of it: the toolkit's own conversion of a byte array stops at the first zero byte.
QString toText(const QByteArray &bytes)
{
    return QString::fromUtf8(bytes.constData(), bytes.size());
}

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

bool isHeaderWhole(const QByteArray &data, int start)
{
    return data.indexOf("\n\r\n", start) >= 0 || data.indexOf("\n\n", start) >= 0;
}

// Whether all there is may become the start of a header when more comes.
bool isHeaderStartCutShort(const QByteArray &data)
{
    return data.size() < HEADER_START_BYTES && QByteArray(HEADER_START).startsWith(data);
}

int chunkSize(const QByteArray &sizeLine)
{
    return sizeLine.toInt(nullptr, 16);
}

// A chunk of one byte ends the body like the empty one: the service sends none.
bool isEndChunk(int size)
{
    return size <= 1;
}

// Whether the size line and all bytes of the next chunk are there. The line end behind the bytes may
// be still to come; it is then skipped before the next size line.
bool isChunkWhole(const QByteArray &data)
{
    int position = 0;
    if (data.startsWith("\r\n") || data.startsWith('\n'))
        takeLine(data, &position);
    if (data.indexOf('\n', position) < 0)
        return false;
    const int size = chunkSize(takeLine(data, &position));
    return isEndChunk(size) || size <= data.size() - position;
}

} // namespace

void SockJSXHRPollingWorker::onData()
{
    if (bodyOutstanding && receivedNothingForLong())
        resumedAt = buffer.size();
    lastReceived = QDateTime::currentDateTimeUtc();
    buffer.append(socket->readAll());
    parseBuffer();
    if (exceedsLimits()) {
        resetSocket();
        forgetResponse();
    }
}

void SockJSXHRPollingWorker::parseBuffer()
{
    if (!isResumptionClear())
        return;
    int position = 0;
    while (position < buffer.size()) {
        const int used = readPiece(position);
        // The bytes of an end chunk stay until a header follows or the buffer is cleared.
        if (used == NEEDS_MORE || (used == END_OF_BODY && findHeader(position) < 0))
            break;
        if (used > 0)
            position = qMin(position + used, buffer.size());
    }
    buffer.remove(0, position);
    headerSearchStart = qMax(0, headerSearchStart - position);
}

// Whether it is known what the bytes behind a long silence inside a body are. Those that begin a
// response take the place of the half body; all others continue it.
bool SockJSXHRPollingWorker::isResumptionClear()
{
    if (resumedAt < 0)
        return true;
    const QByteArray start = buffer.mid(resumedAt, HEADER_START_BYTES);
    if (start == HEADER_START) {
        buffer.remove(0, resumedAt);
        headerSearchStart = 0;
        bodyOutstanding = false;
    } else if (isHeaderStartCutShort(start)) {
        return false;
    }
    resumedAt = -1;
    return true;
}

// Reads one header block, or one piece of a body, that starts at `position` of the buffer.
int SockJSXHRPollingWorker::readPiece(int position)
{
    const QByteArray data =
        QByteArray::fromRawData(buffer.constData() + position, buffer.size() - position);
    if (!bodyOutstanding) {
        const int start = findHeader(position);
        if (start >= 0)
            return isHeaderWhole(buffer, start) ? readHeader(data) : NEEDS_MORE;
        if (isHeaderStartCutShort(data))
            return NEEDS_MORE;
    }
    if (!current)
        return NEEDS_MORE;
    return current->chunked ? readChunk(data) : readPlainBody(data);
}

int SockJSXHRPollingWorker::findHeader(int position)
{
    const int start = buffer.indexOf(HEADER_START, qMax(position, headerSearchStart));
    headerSearchStart = start >= 0 ? start : qMax(position, buffer.size() - HEADER_START_BYTES + 1);
    return start;
}

int SockJSXHRPollingWorker::readHeader(const QByteArray &data)
{
    int status = NO_STATUS;
    QStringMap headers;
    const int used = parseHttpHeaderResponse(data, &status, &headers);
    message.clear();
    current = inFlight.isEmpty() ? nullptr : inFlight.takeFirst();
    if (!current)
        return used;

    const auto transferEncoding = headers.constFind(QStringLiteral("Transfer-Encoding"));
    current->chunked = transferEncoding != headers.constEnd()
        && transferEncoding->endsWith(QLatin1String("chunked"));
    if (current->chunked)
        debug() << "Detected transfer-encoding: chunked header";
    const auto contentLength = headers.constFind(QStringLiteral("Content-Length"));
    const bool hasLength = contentLength != headers.constEnd();
    if (hasLength)
        current->contentLength = contentLength->toInt();
    // A body of unannounced length is what comes together with its header, and each later read that
    // begins no new response.
    bodyOutstanding =
        current->chunked || current->contentLength > 0 || (!hasLength && used < data.size());
    Q_EMIT receivedHeadersResponse(current, headers);
    return used;
}

int SockJSXHRPollingWorker::readChunk(const QByteArray &data)
{
    if (!isChunkWhole(data))
        return NEEDS_MORE;
    const int used = parseMessageResponse(data, true, &message, 0);
    if (used == END_OF_BODY) {
        bodyOutstanding = false;
        if (!message.isEmpty())
            deliverMessage();
    }
    return used;
}

int SockJSXHRPollingWorker::readPlainBody(const QByteArray &data)
{
    const int expectedLength = qMax(current->contentLength, 1);
    const bool lengthKnown = bodyOutstanding && current->contentLength > 0;
    const QByteArray body = lengthKnown ? data.left(expectedLength - message.size()) : data;
    const int used = parseMessageResponse(body, false, &message, expectedLength);
    if (message.size() >= expectedLength) {
        bodyOutstanding = false;
        deliverMessage();
    }
    return used;
}

void SockJSXHRPollingWorker::deliverMessage()
{
    QByteArray bytes = message.toLatin1();
    if (bytes.endsWith('\n'))
        bytes.chop(1);
    message = QString();
    Q_EMIT receivedMessageResponse(current, toText(bytes));
}

void SockJSXHRPollingWorker::clearBuffer()
{
    debug() << "Incoming data timeout, clearing buffer";
    qDebug().noquote() << "[SockJSXHRPollingWorker.BufferData] =" << toText(buffer);
    buffer.clear();
    headerSearchStart = 0;
}

void SockJSXHRPollingWorker::forgetResponse()
{
    buffer.clear();
    headerSearchStart = 0;
    resumedAt = -1;
    current = nullptr;
    bodyOutstanding = false;
    message = QString();
}

// Whether the peer has sent more than a response can be, so that memory and parsing stay bounded.
bool SockJSXHRPollingWorker::exceedsLimits()
{
    if (message.size() + buffer.size() > MAX_BODY_BYTES)
        return true;
    if (buffer.size() <= MAX_HEADER_BYTES)
        return false;
    if (!bodyOutstanding && findHeader(0) >= 0)
        return buffer.size() - headerSearchStart > MAX_HEADER_BYTES;
    constexpr int LONGEST_LINE_END = 2;
    return current && current->chunked && buffer.indexOf('\n', LONGEST_LINE_END) < 0;
}

// ---- The parsers --------------------------------------------------------------------------------

int SockJSXHRPollingWorker::parseHttpHeaderResponse(QByteArray data, int *status,
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
            headers->insert(toText(line.left(colon)), toText(line.mid(colon + 1)));
    }
    return position;
}

int SockJSXHRPollingWorker::parseMessageResponse(QByteArray data, bool chunked, QString *message,
                                                 int expectedLength)
{
    if (!chunked)
        return appendBytes(message, data, 0, expectedLength > 1 ? expectedLength : data.size());

    int position = 0;
    QByteArray sizeLine = takeLine(data, &position);
    if (sizeLine.isEmpty()) {
        debug() << "Chunk_continued";
        sizeLine = takeLine(data, &position);
    }
    const int size = chunkSize(sizeLine);
    if (isEndChunk(size)) {
        debug() << "chunk complete size" << message->size();
        return END_OF_BODY;
    }
    if (data.size() < size)
        return NEEDS_MORE;
    constexpr int LINE_END_BYTES = 2;
    return position + appendBytes(message, data, position, size) + LINE_END_BYTES;
}
