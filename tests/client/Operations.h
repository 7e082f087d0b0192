#pragma once

#include "support/Text.h"

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/QVector>

// The service's operations, as the tests script them: paths, bodies and answers that several tests use.

inline const QByteArray CHECK = "/vantora";
inline const QByteArray LOGIN = "/vantora/login/submit";
inline const QByteArray OAUTH = "/vantora/login/oauth/x/callback"; // of a provider "x"
inline const QByteArray REGISTER = "/vantora/register/oauth/submit";
inline const QByteArray KEEP_ALIVE = "/vantora/login/keepSessionAlive";
inline const QByteArray USER = "/vantora/login/user";
inline const QByteArray LOGOUT = "/vantora/login/logout";
inline const QByteArray CREATE = "/vantora/session/create";
inline const QByteArray COLLAB_URL = "/vantora/session/getcollabserverurl";
inline const QByteArray FEATURES = "/vantora/config/findTenantFeatureDetails";
inline const QByteArray START = "/vantora/session/start";
inline const QByteArray JOIN = "/vantora/classroom/session/join";
inline const QByteArray LEARNERS = "/vantora/session/getusers";
inline const QByteArray STOP = "/vantora/session/stop";
inline const QByteArray UPLOAD = "/vantora/resource/uploadResourceFile";

// Signing in as ann, with a password.
inline const QByteArray ANN = R"({"userId":"ann","password":"pw","sourceSystem":"Corvel"})";
inline const QByteArray SUCCESS = R"({"success":true,"infoMsgs":["login.success"]})";
inline const QByteArray WRONG_PASSWORD = R"({"errorMsgKeys":["login.error.password"]})";
inline const QByteArray ANN_IS_KNOWN = R"({"data":{"userLoginId":"ann"}})";

inline QByteArray oauthBody(const QString &callbackUrl, const QByteArray &code = "c",
                            const QByteArray &deviceFields = {})
{
    return "{\"code\":\"" + code + "\",\"callbackUrl\":\"" + callbackUrl.toUtf8() + "\","
        + deviceFields + "\"sourceSystem\":\"Corvel\"}";
}

// Asking for a token for a device, with a password; the same fields with an OAuth code; the answer.
inline const QByteArray TOKEN_REQUEST =
    R"({"userId":"u","password":"p","deviceId":"d","deviceName":"n","sourceSystem":"Corvel"})";
inline const QByteArray DEVICE_FIELDS = R"("deviceId":"d","deviceName":"n",)";
inline const QByteArray TOKEN_REPLY = R"({"data":{"deviceAccessToken":"t"}})";
// Signing in with such a token.
inline const QByteArray DEVICE_LOGIN =
    R"({"userId":"u","deviceId":"d","deviceAccessToken":"t","sourceSystem":"Corvel"})";

// Session CODE, which runs under the token TOKEN.
inline const QByteArray TOKEN_BODY = R"({"sessionToken":"TOKEN"})";
inline const QByteArray JOIN_BODY =
    R"({"userName":"SessionStarter","sessionCode":"CODE","mode":"presenter","deviceName":"ann_SessionStarter","deviceType":"presenter"})";
inline const QByteArray REFUSED = R"({"errorMsgKeys":["session.error.refused"]})";

inline QByteArray startBody(const QString &collabUrl, const QByteArray &code = "CODE")
{
    return "{\"sessionCode\": \"" + code + "\",\"serverUrl\":\"" + collabUrl.toUtf8()
        + "\",\"sourceSystem\":\"Corvel\",\"version\":\"3.0.0\"}";
}
inline QByteArray collabUrlReply(const QString &collabUrl)
{
    return "{\"data\":{\"url\":\"" + collabUrl.toUtf8() + "\"}}";
}

struct Operation {
    QByteArray path;
    QByteArray body;
    QByteArray reply = QByteArray();
};
// What starts and joins session CODE, whose collaboration server is at `collabUrl`.
inline QVector<Operation> startOperations(const QString &collabUrl,
                                          const QByteArray &transport = "websocket")
{
    return {
        {COLLAB_URL, "{}", collabUrlReply(collabUrl)},
        {FEATURES, "{}", "{\"data\":{\"sockJSProtocols\":[\"" + transport + "\"]}}"},
        {START, startBody(collabUrl), R"({"data":{"sessionToken":"TOKEN"}})"},
        {JOIN, JOIN_BODY, R"({"data":{"userToken":"USER"}})"},
    };
}

// A reply that is no JSON, and one that asks for HTTP credentials.
inline const QByteArray NO_JSON = "<html>success</html>";
inline const QByteArray CHALLENGE = "WWW-Authenticate: Basic realm=\"school\"\r\n";

// A server of this machine, other than a RestService.
inline QString localUrl(quint16 port, const QString &scheme = u"http"_s)
{
    return u"%1://127.0.0.1:%2"_s.arg(scheme).arg(port);
}
