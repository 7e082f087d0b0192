#pragma once

#include "ConnectorRun.h"

// A connector that opens the robust way, with what it reports. Unlike a ConnectorRun, there may be
// several.
struct OpeningRun {
    explicit OpeningRun(bool robust = true)
    {
        connector.setRobustTransport(robust);
        QObject::connect(&connector, &SockJSConnector::closed, &connector, [this] {
            ends.append(
                u"%1 %2"_s.arg(connector.getCloseCode()).arg(connector.getCloseReason()).trimmed());
        });
    }
    void open(quint16 port, const Protocols &protocols = {WEBSOCKET},
              const QString &scheme = u"ws"_s)
    {
        connector.open(serverUrl(port, scheme), protocols);
    }

    QStringList
        ends; // the code and the reason as they stood at each closed(), the last one included
    SockJSConnector connector;
    QSignalSpy connected{&connector, &SockJSConnector::connected};
    QSignalSpy messages{&connector, &SockJSConnector::sockJSMessage};
    QSignalSpy closed{&connector, &SockJSConnector::closed};
};

// The session id of a request for "/bus/eventbus/119/<id>/<transport>".
inline QString sessionIdOf(const QByteArray &request)
{
    return QString::fromLatin1(request.split('/').value(4));
}
