#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QCryptographicHash>
#include <QtCore/QList>
#include <QtCore/QtEndian>
#include <QtNetwork/QTcpServer>
#include <QtNetwork/QTcpSocket>

// A web-socket server that shows and controls what QWebSocketServer hides: when and how the handshake
// is answered, what comes in the same packet with the answer, and the frames as they arrive. It runs
// on the test's event loop and has one client at a time.
class RawWebSocketServer
{
public:
    struct Frame {
        int opcode;
        QByteArray payload;
    };
    enum Opcode {
        TEXT = 0x81,
        CLOSE = 0x88,
        PING = 0x89,
        PONG = 0x8a
    };

    RawWebSocketServer()
    {
        QObject::connect(&m_server, &QTcpServer::newConnection, &m_server, [this] {
            client = m_server.nextPendingConnection();
            ++connections;
            m_request.clear();
            m_received.clear();
            QObject::connect(client, &QTcpSocket::readyRead, client, [this] { read(); });
        });
        m_server.listen(QHostAddress::LocalHost);
    }

    quint16 port() const { return m_server.serverPort(); }

    // The server's side of a frame; payloads below 126 bytes.
    static QByteArray frame(int opcode, const QByteArray &payload)
    {
        return QByteArray(1, char(opcode)) + char(payload.size()) + payload;
    }
    static QByteArray text(const QByteArray &payload) { return frame(TEXT, payload); }

    // A text message of any size, in so many frames.
    static QList<QByteArray> fragments(const QByteArray &text, int pieces)
    {
        QList<QByteArray> frames;
        const int pieceBytes = (text.size() + pieces - 1) / pieces;
        for (int i = 0; i < pieces; ++i) {
            const QByteArray payload = text.mid(i * pieceBytes, pieceBytes);
            const int opcode = (i == 0 ? 0x01 : 0x00) | (i == pieces - 1 ? 0x80 : 0x00);
            const quint64 length = qToBigEndian(quint64(payload.size()));
            frames.append(QByteArray(1, char(opcode)) + char(127)
                          + QByteArray(reinterpret_cast<const char *>(&length), sizeof length)
                          + payload);
        }
        return frames;
    }

    // In the packet of the handshake's answer.
    QByteArray behindHandshake;
    // Instead of the handshake's answer; the connection stays open.
    QByteArray refusal;
    bool answersHandshake = true;
    bool answersPings = true;
    bool closesAfterHandshake = false;

    // For a server that left the handshake unanswered.
    void answerNow()
    {
        answersHandshake = true;
        answer();
    }

    QByteArray request() const { return m_request; }
    // What has come in after the handshake, frame by frame.
    QList<Frame> frames;
    QTcpSocket *client = nullptr;
    int connections = 0;

private:
    void read()
    {
        if (!m_request.endsWith("\r\n\r\n")) {
            m_request += client->readAll();
            if (m_request.endsWith("\r\n\r\n"))
                answer();
            return;
        }
        m_received += client->readAll();
        while (takeFrame()) { }
    }

    void answer()
    {
        // Other requests are the test's to answer.
        if (!answersHandshake || !m_request.contains("\r\nSec-WebSocket-Key: "))
            return;
        if (!refusal.isEmpty()) {
            client->write(refusal);
            return;
        }
        const QByteArray name = "\r\nSec-WebSocket-Key: ";
        const int start = m_request.indexOf(name) + name.size();
        const QByteArray key = m_request.mid(start, m_request.indexOf('\r', start) - start);
        const QByteArray accept =
            QCryptographicHash::hash(key + "258EAFA5-E914-47DA-95CA-C5AB0DC85B11",
                                     QCryptographicHash::Sha1)
                .toBase64();
        client->write("HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\n"
                      "Connection: Upgrade\r\nSec-WebSocket-Accept: "
                      + accept + "\r\n\r\n" + behindHandshake);
        if (closesAfterHandshake)
            client->disconnectFromHost();
    }

    // A client's frame: masked, with a length of one of three sizes.
    bool takeFrame()
    {
        const auto at = [this](int index) { return quint8(m_received.at(index)); };
        if (m_received.size() < 2)
            return false;
        qint64 length = at(1) & 0x7f;
        const int lengthBytes = length == 126 ? 2 : length == 127 ? 8 : 0;
        const int head = 2 + lengthBytes + 4;
        if (m_received.size() < head)
            return false;
        if (lengthBytes > 0) {
            length = 0;
            for (int i = 0; i < lengthBytes; ++i)
                length = (length << 8) | at(2 + i);
        }
        if (m_received.size() < head + length)
            return false;
        QByteArray payload = m_received.mid(head, int(length));
        for (int i = 0; i < payload.size(); ++i)
            payload[i] = char(payload.at(i) ^ m_received.at(head - 4 + i % 4));
        const int opcode = at(0);
        m_received.remove(0, head + int(length));
        frames.append({opcode, payload});
        if (opcode == PING && answersPings)
            client->write(frame(PONG, payload));
        return true;
    }

    QTcpServer m_server;
    QByteArray m_request;
    QByteArray m_received;
};
