#include "fuzz/Fuzzing.h"
#include "sockjs/FrameReader.h"
#include "sockjs/HttpResponseReader.h"

#include <QtCore/QList>

using Tarvo::FrameReader;
using Tarvo::HttpResponseReader;
using Found = Tarvo::HttpResponseReader::Found;
using State = Tarvo::HttpResponseReader::State;

namespace
{

// More than the longest header, size line or trailers, for an input of 4 KiB.
constexpr int MANY_TIMES = 20;

// A receiving connection, with what is found on it.
class Reading
{
public:
    void feed(const QByteArray &bytes)
    {
        if (m_answers.state() == State::BROKEN)
            return;
        m_answers.append(bytes);
        QByteArray piece;
        Found found = Found::NOTHING_YET;
        do {
            found = m_answers.next(&piece);
            note(found, piece);
        } while (found != Found::NOTHING_YET && found != Found::BROKEN);
        // A body is handed on as it comes: however large it is, nothing of it is kept.
        const State state = m_answers.state();
        if (state == State::LENGTH_BODY || state == State::CHUNK_DATA || state == State::OPEN_BODY)
            Fuzzing::require(!m_answers.hasPending());
    }
    void end()
    {
        if (m_answers.state() != State::BROKEN)
            note(m_answers.endOfInput(), QByteArray());
    }

    QList<QByteArray> findings() const { return m_findings; }
    int frameBytes() const { return m_frameBytes; }

private:
    void note(Found found, const QByteArray &piece)
    {
        switch (found) {
        case Found::NOTHING_YET:
            break;
        case Found::HEADER:
            noteHeader();
            break;
        case Found::PIECE:
            Fuzzing::require(!piece.isEmpty());
            m_frames.append(piece);
            noteFrames();
            break;
        case Found::END:
            noteRest();
            m_findings.append("end");
            break;
        case Found::BROKEN:
            m_frames.drop();
            m_findings.append("broken: " + m_answers.problem().toUtf8());
            break;
        }
    }
    void noteHeader()
    {
        m_findings.append("header " + QByteArray::number(m_answers.status()) + ' '
                          + m_answers.reasonPhrase() + (m_answers.isChunked() ? " chunked" : "")
                          + (m_answers.isLast() ? " last" : "") + '\n' + m_answers.setCookies());
    }
    void noteFrames()
    {
        QByteArray frame;
        while (m_frames.next(&frame))
            noteFrame(frame);
    }
    void noteRest()
    {
        QByteArray frame;
        if (m_frames.rest(&frame))
            noteFrame(frame);
    }
    void noteFrame(const QByteArray &frame)
    {
        Fuzzing::require(!frame.isEmpty() && !frame.contains('\n'));
        m_frameBytes += frame.size();
        m_findings.append("frame " + frame);
        int code = 0;
        QString reason;
        if (Tarvo::readCloseFrame(frame, &code, &reason))
            m_findings.append("close " + QByteArray::number(code) + ' ' + reason.toUtf8());
        else
            Fuzzing::require(code == 0 && reason.isNull());
    }

    HttpResponseReader m_answers;
    FrameReader m_frames;
    QList<QByteArray> m_findings;
    int m_frameBytes = 0;
};

} // namespace

// The first byte says whether the rest comes once or many times; the next two are the lengths of the
// reads, which take turns. What is found is the same as in one read.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    if (size < 3)
        return 0;
    const int times = data[0] % 8 == 0 ? MANY_TIMES : 1;
    const int lengths[] = {data[1] + 1, data[2] + 1};
    const QByteArray bytes = Fuzzing::bytesOf(data + 3, size - 3).repeated(times);

    Reading whole;
    whole.feed(bytes);
    whole.end();

    Reading cut;
    int position = 0;
    for (int read = 0; position < bytes.size(); ++read) {
        const int length = lengths[read % 2];
        cut.feed(bytes.mid(position, length));
        position += length;
    }
    cut.end();

    Fuzzing::require(cut.findings() == whole.findings());
    Fuzzing::require(whole.frameBytes() <= bytes.size());
    return 0;
}
