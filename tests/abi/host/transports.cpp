#include "Part.h"

#include "sockjs/SockJSConnector.h"
#include "sockjs/SockJSXHRPolling.h"
#include "sockjs/SockJSXHRPollingWorker.h"
#include "sockjs/XHRRequest.h"

#include <QtCore/QUrl>

namespace
{

class Connector : public SockJSConnector
{
    Q_OBJECT

public:
    using SockJSConnector::SockJSConnector;

    bool triesNext() { return tryNextProtocol(); }

    int own = 5;
};

// Nobody listens there.
bool isRefused()
{
    int closed = 0;
    Connector connector;
    QObject::connect(&connector, &SockJSConnector::closed, [&closed](bool) { ++closed; });
    const QUrl nobody(QStringLiteral("http://127.0.0.1:1/eventbus"));
    EXPECT(!connector.open(nobody, {SockJSConnector::XHR_POLLING}));
    EXPECT(!connector.isConnected() && !connector.isSending() && !connector.triesNext());
    EXPECT(SockJSConnector::PROTOCOL_TYPE_STR().value(SockJSConnector::XHR_STREAMING)
           == QStringLiteral("xhr-streaming"));
    EXPECT(connector.own == 5);
    return true;
}

bool readsHeaders()
{
    SockJSXHRPollingWorker worker(nullptr, nullptr, QStringLiteral("h"), 80, false, true);
    int status = 0;
    QStringMap headers;
    worker.parseHttpHeaderResponse("HTTP/1.1 200 OK\r\nB: 3\r\n\r\n", &status, &headers);
    EXPECT(status == 200 && headers.value(QStringLiteral("B")) == QStringLiteral(" 3"));
    return true;
}

} // namespace

bool usesTransports()
{
    XHRRequest request(nullptr, QStringLiteral("/xhr"), QStringLiteral("POST"));
    request.chunked = true;
    request.contentLength = 12;
    EXPECT(request.path() == QStringLiteral("/xhr") && request.requestId() > 0);
    EXPECT(request.chunked && request.contentLength == 12);
    SockJSXHRPolling polling;
    EXPECT(polling.getCookieCount() == 0 && polling.getCookieString().isEmpty());
    EXPECT(!polling.isStreaming());
    return isRefused() && readsHeaders();
}

#include "transports.moc"
