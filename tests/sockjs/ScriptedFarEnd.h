#pragma once

#include "support/LogCapture.h"
#include "support/ScriptedServer.h"
#include "support/TestCertificates.h"

#include <QtTest/QtTest>

// A server that listens and plays one script on each connection, and what is logged meanwhile.
struct ScriptedFarEnd {
    // With a certificate, it speaks TLS; with `plainFirst`, a script starts that itself.
    explicit ScriptedFarEnd(std::initializer_list<Scripted::Script> scripts,
                            const TestCertificates::Identity *identity = nullptr,
                            bool plainFirst = false)
    {
        for (const Scripted::Script &script : scripts)
            server.onConnection(script);
        if (identity)
            server.setCertificate(*identity, plainFirst);
        if (!server.listen())
            qFatal("no port for the server");
    }
    // For the end of the test, with the other side still there.
    void verifyScripts()
    {
        if (!QTest::currentTestFailed())
            QVERIFY2(server.finished(), qPrintable(server.failure()));
    }

    ScriptedServer server;
    LogCapture log;
};
