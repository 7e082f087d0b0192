#pragma once

#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtNetwork/QNetworkProxy>
#include <QtNetwork/QSslCertificate>

namespace Tarvo
{

// What a host has set for its class.
struct ClassSettings {
    QStringList transports;
    bool isRobust = true;
    QList<QSslCertificate> certificates;
    QNetworkProxy proxy;
    int longestPauseMs = 30000;
    int workingMs = 30000;
    int silenceMs = 30000;
    bool keepsPassword = false;
};

// Where and as whom a teacher signs in.
struct Credentials {
    enum Kind {
        Password,
        DeviceToken,
        OAuth
    };

    Kind kind = Password;
    QString server;
    QString userId;   // or the OAuth provider
    QString secret;   // password, token or code
    QString deviceId; // with a token
};

} // namespace Tarvo
