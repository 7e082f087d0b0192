#pragma once

#include "sockjs/LineBuffer.h"

#include <QtCore/QByteArray>
#include <QtCore/QList>
#include <QtCore/QString>

#include <optional>

namespace Tarvo
{

// Cuts the bytes of a connection into answers as HTTP/1.1 means them: by chunks, by length, or
// until the connection ends. ResponseReader is the other way of cutting them, for services that do
// not keep to that. It owns no socket, knows no clock and may be copied.
//
//   reader.append(bytes);
//   while (...)
//       switch (reader.next(&piece)) { ... }   // until NOTHING_YET or BROKEN
//
// An answer is found as a HEADER, any number of PIECEs and an END. Interim answers (100 Continue)
// are passed over. Every byte is looked at and moved a bounded number of times, however the bytes
// are cut.
class HttpResponseReader
{
public:
    enum class State {
        BETWEEN, // no answer has begun
        HEADER,  // some of its header has come, or an interim answer before it
        LENGTH_BODY,
        CHUNK_SIZE, // the line before the data of a chunk
        CHUNK_DATA,
        CHUNK_END, // the line end behind it
        TRAILERS,  // behind the last chunk
        OPEN_BODY, // until the connection ends
        BROKEN     // problem() says why; only reset() helps
    };

    enum class Found {
        NOTHING_YET, // more bytes are needed
        HEADER,      // of an answer: status() and the others tell of it
        PIECE,       // of the body, as it came: a chunk need not be whole
        END,         // the answer is whole
        BROKEN       // no answer can be read from this connection any more
    };

    // The longest header block, size line of a chunk, and block of trailers.
    static constexpr int MAX_HEADER_BYTES = 64 * 1024;

    State state() const { return m_state; }
    void append(const QByteArray &bytes) { m_bytes.append(bytes); }
    // Sets `piece` with PIECE only.
    Found next(QByteArray *piece);
    // The connection has ended, and next() has found NOTHING_YET behind its last bytes: END when
    // that ends the body, BROKEN inside an answer, NOTHING_YET when none has begun.
    Found endOfInput();

    // Bytes of an answer have been read that is not whole yet.
    bool hasBegun() const { return m_state != State::BETWEEN; }
    // Bytes were appended and not yet read. Behind an answer that isLast() only
    // line ends are read.
    bool hasPending() const { return !m_bytes.isEmpty(); }

    // Of the last HEADER.
    int status() const { return m_answer.status; }
    QByteArray reasonPhrase() const { return m_answer.reasonPhrase; }
    // The values of all "Set-Cookie" lines, one a line.
    QByteArray setCookies() const { return m_answer.setCookies; }
    bool isChunked() const { return m_answer.isChunked; }
    // The connection carries no further answer: HTTP/1.0, "Connection: close", another protocol
    // from here on, or a body that ends with it.
    bool isLast() const { return m_answer.isLast; }

    // Why the state is BROKEN, in words for a log line and a person.
    QString problem() const { return m_problem; }
    // Forgets everything: a new connection.
    void reset() { *this = HttpResponseReader(); }

private:
    struct Answer {
        int status = 0;
        QByteArray reasonPhrase;
        QByteArray setCookies;
        bool isChunked = false;
        bool isLast = false;
    };
    // The elements of the fields that decide how the body is cut, of all lines of the same name.
    struct Fields {
        QList<QByteArray> connection;
        QList<QByteArray> contentEncoding;
        QList<QByteArray> contentLength;
        QList<QByteArray> transferEncoding;
    };
    // Without a value the bytes were of use and the next ones are to be read.
    using Step = std::optional<Found>;

    Step step(QByteArray *piece);
    Found passOverLineEnds();
    Step readStatusLine();
    Step readHeaderLine();
    Step readBody(QByteArray *piece);
    Step readChunkSize();
    Step readChunkEnd();
    Step readTrailer();
    Step readOpenBody(QByteArray *piece);

    void beginHeader();
    bool parseStatusLine(const QByteArray &line);
    void takeField();
    Step endHeader();
    Step findEncoding();
    Step findLength();

    Step readLine(QByteArray *line, const QString &tooLong);
    bool takeLineEnd();
    bool isLineEndCutShort() const;
    void beginBlock(State state);
    Found end();
    Found fail(const QString &problem);

    State m_state = State::BETWEEN;
    LineBuffer m_bytes;
    QString m_problem;
    Answer m_answer;     // the last one whose header is whole
    bool m_over = false; // an answer that isLast() is whole

    // The header being read.
    bool m_hasStatusLine = false;
    Answer m_coming;
    Fields m_fields;
    QByteArray m_field; // its last line, to which the next may belong

    int m_blockBytes = 0;   // that have been read of the header, size line or trailers
    qint64 m_remaining = 0; // bytes of the body, or of the chunk, that are still to come
};

} // namespace Tarvo
