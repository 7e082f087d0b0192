#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QString>

namespace Host
{

// Reads UTF-8 that comes in pieces: the first bytes of a letter that a piece ends in wait for its others.
class Utf8Reader
{
public:
    QString read(const QByteArray &bytes)
    {
        m_bytes += bytes;
        const int whole = int(m_bytes.size()) - bytesOfBegunLetter();
        const QString text = QString::fromUtf8(m_bytes.constData(), whole);
        m_bytes.remove(0, whole);
        return text;
    }

private:
    int bytesOfBegunLetter() const
    {
        for (int count = 1; count <= 3 && count <= m_bytes.size(); ++count) {
            const uchar byte = uchar(m_bytes.at(m_bytes.size() - count));
            if ((byte & 0xC0) != 0x80) // the letter's first
                return lengthOfLetter(byte) > count ? count : 0;
        }
        return 0;
    }

    static int lengthOfLetter(uchar first)
    {
        if (first >= 0xF0)
            return 4;
        if (first >= 0xE0)
            return 3;
        return first >= 0xC0 ? 2 : 1;
    }

    QByteArray m_bytes;
};

} // namespace Host
