#pragma once

#include "support/Text.h"

#include <QtTest/QtTest>

// A way to the collaboration server.
struct Way {
    QString transport;
    bool isTls = false;
    bool isRobust = false; // with the robust transport, to a server at its stock settings
};
inline void addWayColumns()
{
    QTest::addColumn<QString>("transport");
    QTest::addColumn<bool>("tls");
    QTest::addColumn<bool>("robust");
}
inline QString rowTransport()
{
    QFETCH(QString, transport);
    return transport;
}
inline Way rowWay()
{
    QFETCH(bool, tls);
    QFETCH(bool, robust);
    return {rowTransport(), tls, robust};
}

// The rows of tests that are to hold on both transports.
inline void addTransportRows()
{
    addWayColumns();
    QTest::newRow("websocket") << u"websocket"_s << false << false;
    QTest::newRow("xhr-polling") << u"xhr-polling"_s << false << false;
}

// Further rows, for the robust transport.
inline void addRobustRows(const QStringList &transports)
{
    for (const QString &transport : transports) {
        QTest::addRow("robust %s", qPrintable(transport)) << transport << false << true;
        QTest::addRow("robust %s, TLS", qPrintable(transport)) << transport << true << true;
    }
}
