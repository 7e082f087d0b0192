#pragma once

#include <QtCore/QByteArray>

namespace Tarvo
{

// Bytes that come in reads of any size and leave, from the front, as lines and as pieces. A byte is
// searched for a line feed once and moved a bounded number of times, however the reads are cut.
class LineBuffer
{
public:
    void append(const QByteArray &bytes)
    {
        // Moving what is left is paid for by what has been taken out.
        if (m_position > m_bytes.size() / 2)
            compact();
        m_bytes.append(bytes);
    }
    void clear() { *this = LineBuffer(); }

    int size() const { return m_bytes.size() - m_position; }
    bool isEmpty() const { return size() == 0; }
    char at(int index) const { return m_bytes.at(m_position + index); }
    bool endsWith(char byte) const { return !isEmpty() && m_bytes.endsWith(byte); }

    // How many bytes the first line has with its line feed, 0 when that has not come.
    int lineSize()
    {
        const int lineFeed = m_bytes.indexOf('\n', qMax(m_position, m_searched));
        m_searched = lineFeed < 0 ? m_bytes.size() : lineFeed;
        return lineFeed < 0 ? 0 : lineFeed + 1 - m_position;
    }
    // The first line, of so many bytes, without its line feed and a carriage return before that.
    QByteArray takeLine(int lineSize)
    {
        const int end = lineSize - 1;
        const QByteArray line = peek(end > 0 && at(end - 1) == '\r' ? end - 1 : end);
        drop(lineSize);
        return line;
    }
    // The first bytes: all when there are fewer.
    QByteArray peek(int count) const { return m_bytes.mid(m_position, count); }
    QByteArray take(int count)
    {
        const QByteArray bytes = peek(count);
        drop(bytes.size());
        return bytes;
    }
    void drop(int count)
    {
        m_position += count;
        if (isEmpty())
            clear();
    }

private:
    void compact()
    {
        m_bytes.remove(0, m_position);
        m_searched = qMax(0, m_searched - m_position);
        m_position = 0;
    }

    QByteArray m_bytes;
    int m_position = 0; // where the first byte stands
    int m_searched = 0; // no line feed stands between the first byte and here
};

} // namespace Tarvo
