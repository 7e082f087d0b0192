#pragma once

#include "sockjs/LineBuffer.h"

#include <QtCore/QByteArray>
#include <QtCore/QString>

namespace Tarvo
{

// Cuts the bodies of the receiving requests into frames: bytes in, frames out. It owns no socket,
// knows no clock and may be copied.
//
//   frames.append(piece);
//   while (frames.next(&frame)) { ... }
//   if (frames.isTooLarge()) ...             // known once next() has no more
//   if (bodyHasEnded && frames.rest(&frame)) ...
//
// A line is a frame, whichever pieces its bytes come in. The prelude of a stream is one, too: a
// line of many `h`.
class FrameReader
{
public:
    static constexpr int MAX_FRAME_BYTES = 16 * 1024 * 1024;

    void append(const QByteArray &piece) { m_bytes.append(piece); }
    // The next whole line, without its line feed and a carriage return before that. Empty lines are
    // passed over. Nothing comes behind a line that is too large.
    bool next(QByteArray *frame);
    // The body has ended: what stands behind its last line feed, without a carriage return at its
    // end.
    bool rest(QByteArray *frame);
    // The body was cut off, so its unfinished line is no frame. Another body may follow.
    void drop() { *this = FrameReader(); }
    // The line that comes next, whole or not, is beyond MAX_FRAME_BYTES.
    bool isTooLarge() const { return m_tooLarge; }

private:
    LineBuffer m_bytes;
    bool m_tooLarge = false;
};

// Takes a close frame, c[code,"reason"], apart. False when the frame has another form; code and
// reason then stay as they are.
bool readCloseFrame(const QByteArray &frame, int *code, QString *reason);

} // namespace Tarvo
