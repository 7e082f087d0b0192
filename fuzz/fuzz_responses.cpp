#include "fuzz/Fuzzing.h"
#include "sockjs/SockJSXHRPollingWorker.h"

#include <QtNetwork/QTcpSocket>

#include <cstring>
#include <memory>
#include <vector>

namespace
{

// A socket whose bytes come from the input.
class FedSocket : public QTcpSocket
{
public:
    FedSocket() { setOpenMode(QIODevice::ReadWrite | QIODevice::Unbuffered); }
    void feed(const QByteArray &bytes) { m_bytes += bytes; }
    qint64 bytesAvailable() const override { return m_bytes.size(); }

protected:
    qint64 readData(char *data, qint64 maxSize) override
    {
        const auto count = static_cast<int>(qMin<qint64>(maxSize, m_bytes.size()));
        std::memcpy(data, m_bytes.constData(), static_cast<std::size_t>(count));
        m_bytes.remove(0, count);
        return count;
    }

private:
    QByteArray m_bytes;
};

constexpr std::size_t REQUESTS = 8;

} // namespace

// Reaches the reading half of the worker without its loop.
struct SockJSProbe {
    static void expectResponse(SockJSXHRPollingWorker *worker, XHRRequest *request)
    {
        worker->inFlight.append(request);
    }
    static void read(SockJSXHRPollingWorker *worker) { worker->onData(); }
    // So much time passes that what is half read is given up, or what comes next is looked at.
    static void passTime(SockJSXHRPollingWorker *worker, bool idleTurn)
    {
        worker->lastReceived = QDateTime::currentDateTimeUtc().addSecs(-10);
        if (idleTurn)
            worker->onNoData();
    }
};

// The first byte is the length of a read in bytes; the second says before which reads time passes,
// and whether the worker has an idle turn then. The rest arrives in reads of that length.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    if (size < 2)
        return 0;
    const int readLength = data[0] + 1;
    const int silentRead = data[1] / 2;
    const bool idleTurn = data[1] % 2 != 0;
    const QByteArray bytes = Fuzzing::bytesOf(data + 2, size - 2);

    FedSocket socket;
    SockJSXHRPollingWorker worker(nullptr, &socket, QString(), 80, false, true);
    std::vector<std::unique_ptr<XHRRequest>> requests;
    for (std::size_t i = 0; i < REQUESTS; ++i) {
        requests.push_back(std::make_unique<XHRRequest>(nullptr, QString(), QString()));
        SockJSProbe::expectResponse(&worker, requests.back().get());
    }
    int delivered = 0;
    QObject::connect(&worker, &SockJSXHRPollingWorker::receivedMessageResponse,
                     [&delivered](XHRRequest *, const QString &text) { delivered += text.size(); });

    for (int position = 0; position < bytes.size(); position += readLength) {
        if (silentRead > 0 && position / readLength % silentRead == silentRead - 1)
            SockJSProbe::passTime(&worker, idleTurn);
        socket.feed(bytes.mid(position, readLength));
        SockJSProbe::read(&worker);
    }
    Fuzzing::require(delivered <= bytes.size());
    return 0;
}
