#pragma once

#include "Http.h"
#include "ScriptedFarEnd.h"
#include "SockJSProbe.h"
#include "support/Text.h"

// The poll of an OpenTransport.
inline const QByteArray POLL = pollText("/s/xhr");

// A polling transport and the server that it polls, with what it reports.
struct OpenTransport : ScriptedFarEnd {
    OpenTransport(std::initializer_list<Scripted::Script> scripts,
                  const TestCertificates::Identity *identity = nullptr)
        : ScriptedFarEnd(scripts, identity), tls(identity)
    {
    }
    ~OpenTransport() { verifyScripts(); }

    bool start(const QString &path = u"/s"_s, bool streaming = false)
    {
        return transport.start(localhost(), server.port(), tls, path, streaming);
    }

    // The frames as texts.
    QStringList texts() const
    {
        QStringList list;
        for (const QList<QVariant> &frame : frames)
            list.append(frame.at(0).toString());
        return list;
    }

    const bool tls;
    SockJSXHRPolling transport;
    QSignalSpy frames{&transport, &SockJSXHRPolling::textMessageReceived};
    QSignalSpy ends{&transport, &SockJSXHRPolling::connectionClosed};
};
