#pragma once

#include "support/Text.h"

#include <QtTest/QtTest>

// The rows of tests that are to hold on both transports.
inline void addTransportRows()
{
    QTest::addColumn<QString>("transport");
    QTest::addColumn<bool>("tls");
    QTest::newRow("websocket") << u"websocket"_s << false;
    QTest::newRow("xhr-polling") << u"xhr-polling"_s << false;
}
inline QString rowTransport()
{
    QFETCH(QString, transport);
    return transport;
}
