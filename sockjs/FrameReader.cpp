#include "sockjs/FrameReader.h"

#include "support/Json.h"

#include <QtCore/QJsonArray>

#include <cmath>
#include <limits>

namespace Tarvo
{

bool FrameReader::next(QByteArray *frame)
{
    while (!m_tooLarge) {
        const int lineSize = m_bytes.lineSize();
        if (lineSize == 0)
            break;
        const QByteArray line = m_bytes.takeLine(lineSize);
        m_tooLarge = line.size() > MAX_FRAME_BYTES;
        if (m_tooLarge || line.isEmpty())
            continue;
        *frame = line;
        return true;
    }
    // A carriage return at the end may turn out to belong to the line's end.
    const int unfinished = m_bytes.size() - (m_bytes.endsWith('\r') ? 1 : 0);
    m_tooLarge = m_tooLarge || unfinished > MAX_FRAME_BYTES;
    return false;
}

bool FrameReader::rest(QByteArray *frame)
{
    QByteArray line = m_bytes.take(m_bytes.size());
    if (line.endsWith('\r'))
        line.chop(1);
    if (m_tooLarge || line.isEmpty())
        return false;
    *frame = line;
    return true;
}

bool readCloseFrame(const QByteArray &frame, int *code, QString *reason)
{
    if (!frame.startsWith('c'))
        return false;
    const QJsonArray fields = readJson(frame.mid(1)).array();
    if (fields.size() != 2 || !fields.at(0).isDouble() || !fields.at(1).isString())
        return false;
    const double number = fields.at(0).toDouble();
    if (number != std::floor(number) || number < std::numeric_limits<int>::min()
        || number > std::numeric_limits<int>::max())
        return false;
    *code = static_cast<int>(number);
    *reason = fields.at(1).toString();
    return true;
}

} // namespace Tarvo
