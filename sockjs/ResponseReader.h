#pragma once

#include "sockjs/XHRRequest.h"

#include <QtCore/QByteArray>
#include <QtCore/QString>

namespace Tarvo
{

// Reads the responses of the polling connection: bytes in, headers and bodies out. It owns no socket,
// knows no clock and may be copied; the worker is its only user, on the worker's thread.
//
//   reader.append(bytes);
//   while (...)
//       switch (reader.next(&message)) { ... }   // until NOTHING_YET or TOO_MUCH
//
// The body gathered so far stands in the caller's `message`, one character a byte. Each call reads one
// header block or one piece of a body, so that the caller can stop in between. Every byte is looked at
// a bounded number of times, however the bytes are cut.
class ResponseReader
{
public:
    enum class State {
        // No body is outstanding, a response begins next. Other bytes are a further body of the
        // request before; in front of the first response they belong to nobody and wait.
        HEADER,
        // "Content-Length" announced a body, of which bytes are still to come. They are not searched
        // for a header; the body may hold one.
        LENGTH_BODY,
        // The header announced no length: a body is whatever comes together with its header, and
        // each later read in which no response begins.
        OPEN_BODY,
        // Chunks of a body are still to come, each read once all its bytes are there. They are not
        // searched for a header either.
        CHUNKS,
        // The end chunk has been read. Its bytes stay until a header follows or they are dropped;
        // chunks that come after that are a further body of the same request.
        BEHIND_CHUNKS,
        // A response that no request waited for. Its body belongs to nobody and waits.
        UNASKED
    };

    enum class Found {
        NOTHING_YET, // more bytes are needed
        PIECE,       // a piece of a body, appended to the message
        HEADER,  // a header: headers() has it; say whose it is with expectBody() or expectNothing()
        BODY,    // the message is a whole body; take it out
        TOO_MUCH // beyond what a response can be; call reset()
    };

    // The longest header block, and the longest size line of a chunk.
    static constexpr int MAX_HEADER_BYTES = 64 * 1024;
    // The largest body, and the most bytes that are kept when they belong to nobody.
    static constexpr int MAX_BODY_BYTES = 16 * 1024 * 1024;

    State state() const { return m_state; }
    void append(const QByteArray &bytes);
    Found next(QString *message);

    // The header that next() found last.
    const QStringMap &headers() const { return m_headers; }
    // The header answers this request, whose `chunked` and `contentLength` have been set from it. Not
    // every header has a "Content-Length".
    void expectBody(const XHRRequest &request, bool lengthAnnounced);
    // The header answers no request.
    void expectNothing();

    // Nothing came for long. Inside a body the bytes that come next are looked at: a response that
    // begins with them takes the place of the half body, all others continue it.
    void noteSilence();
    // Bytes that were appended and not yet read.
    QByteArray pending() const { return m_buffer.mid(m_position); }
    bool hasPending() const { return m_position < m_buffer.size(); }
    // Forgets the pending bytes; what was read stays read.
    void dropPending();
    // Forgets everything: a new connection.
    void reset() { *this = ResponseReader(); }

    // The worker's functions of the same names say what they do.
    static int parseHttpHeaderResponse(const QByteArray &data, int *status, QStringMap *headers);
    static int parseMessageResponse(const QByteArray &data, bool chunked, QString *message,
                                    int expectedLength);

private:
    Found readBetween(QString *message);
    Found readLengthBody(QString *message);
    Found readOpenBody(QString *message);
    Found readChunk(QString *message);
    Found readBehindChunks(QString *message);

    bool isResumptionClear(QString *message);
    Found readHeader();
    bool findHeader();
    int findHeaderEnd();
    bool findChunkSize();
    Found readPlain(QString *message, int count);
    Found needMore() const;

    int available() const { return m_buffer.size() - m_position; }
    QByteArray rest() const;
    void consume(int count);
    void compact();

    State m_state = State::HEADER;
    QByteArray m_buffer;
    int m_position = 0; // in the buffer, where the piece to be read next begins
    QStringMap m_headers;
    // The body being read.
    int m_expectedLength = 0;      // in bytes; 1 when it is not known, 0 before the first response
    bool m_cameWithHeader = false; // open body: its bytes came in one read with the header
    bool m_endChunkUnread = false; // behind the chunks: bytes came since the end chunk was read
    // How far the bytes from m_position on have been looked at.
    int m_headerSearched = 0; // no header begins before
    int m_linesSearched = 0;  // no line end that counts stands before
    int m_sizeLineEnd = 0;    // where the bytes of the chunk begin, 0 when not known
    int m_chunkSize = 0;
    int m_resumption = -1; // where bytes behind a silence begin that are not yet judged
};

} // namespace Tarvo
