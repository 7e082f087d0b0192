#pragma once

#include "RawWebSocketServer.h"

// Opens every session in the packet of its handshake's answer, so that a connector is connected when
// open() returns; what `further` holds comes with it.
struct OpeningServer : RawWebSocketServer {
    explicit OpeningServer(const QByteArray &further = QByteArray())
    {
        behindHandshake = text("o") + further;
    }
};

// Leaves every handshake unanswered.
struct StallingServer : RawWebSocketServer {
    StallingServer() { answersHandshake = false; }
};
