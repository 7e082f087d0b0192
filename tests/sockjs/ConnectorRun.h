#pragma once

#include "SockJSProbe.h"
#include "support/LogCapture.h"
#include "support/Text.h"

#include <QtTest/QtTest>

using Protocols = QList<SockJSConnector::PROTOCOL_TYPE>;

constexpr auto WEBSOCKET = SockJSConnector::WEBSOCKET;
constexpr auto XHR_STREAMING = SockJSConnector::XHR_STREAMING;
constexpr auto XHR_POLLING = SockJSConnector::XHR_POLLING;
constexpr auto NO_PROTOCOL = SockJSConnector::PROTOCOL_TYPE(3);

inline const QString CONNECTED_LINE = u"[SockJSConnector] CONNECTED via Websocket"_s;
inline const QString POLLING_LINE = u"[SockJSConnector] CONNECTED via xhr_polling"_s;
inline const QString CLOSED_LINE = u"[SockJSConnector] Websocket CLOSED"_s;
inline const QString NO_MORE_LINE = u"[SockJSConnector] No more protocols found!"_s;

inline QUrl serverUrl(quint16 port, const QString &scheme = u"ws"_s)
{
    return QUrl(u"%1://127.0.0.1:%2/bus/"_s.arg(scheme).arg(port));
}

// The frame of a message that needs no escapes.
inline QString framed(const QString &message)
{
    return u"[\n    \"%1\"\n]\n"_s.arg(message);
}

// A connector, with what it reports and logs.
struct ConnectorRun {
    bool open(quint16 port, const Protocols &protocols = {WEBSOCKET})
    {
        return connector.open(serverUrl(port), protocols);
    }
    QStringList texts() const
    {
        QStringList list;
        for (const QList<QVariant> &message : messages)
            list.append(message.at(0).toString());
        return list;
    }
    // The line that a web-socket attempt writes first.
    QString urlLine() const
    {
        return u"[SockJSConnector] Websocket url = %1://%2:%3%4/eventbus/119/%5/websocket"_s.arg(
            SockJSProbe::ssl(connector) ? u"wss"_s : u"ws"_s, SockJSProbe::host(connector),
            QString::number(SockJSProbe::port(connector)), SockJSProbe::path(connector),
            SockJSProbe::sessionId(connector));
    }

    LogCapture log;
    SockJSConnector connector;
    QSignalSpy connected{&connector, &SockJSConnector::connected};
    QSignalSpy messages{&connector, &SockJSConnector::sockJSMessage};
    QSignalSpy closed{&connector, &SockJSConnector::closed};
};
