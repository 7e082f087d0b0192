#pragma once

#include <QtCore/QByteArray>
#include <QtNetwork/QTcpSocket>

#include <cstring>

// A socket whose bytes come from the test, as if they had arrived. It is never connected.
class FedSocket : public QTcpSocket
{
public:
    FedSocket() { setOpenMode(QIODevice::ReadWrite | QIODevice::Unbuffered); }
    // What is read next; what was fed before and not read is gone.
    void feed(const QByteArray &bytes)
    {
        m_bytes = bytes;
        m_position = 0;
    }
    qint64 bytesAvailable() const override { return m_bytes.size() - m_position; }

protected:
    qint64 readData(char *data, qint64 maxSize) override
    {
        const int count = int(qMin<qint64>(maxSize, bytesAvailable()));
        std::memcpy(data, m_bytes.constData() + m_position, std::size_t(count));
        m_position += count;
        return count;
    }

private:
    QByteArray m_bytes;
    int m_position = 0;
};
