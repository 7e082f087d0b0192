#pragma once

#include "support/ScriptedServer.h"
#include "support/Text.h"

// What the polling transport's connections carry, as texts.

inline const QByteArray CHUNKED = "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n";
inline const QByteArray END_CHUNK = "0\r\n\r\n";
// The answer to a post.
inline const QByteArray NO_CONTENT = Scripted::reply("", "204 No Content");
// The answer to a poll that opens a session.
inline const QByteArray FRAME_O = Scripted::reply("o\n");

// A response that announces so many bytes, and what there is of its body.
inline QByteArray plain(int length, const QByteArray &body = QByteArray())
{
    return "HTTP/1.1 200 OK\r\nContent-Length: " + QByteArray::number(length) + "\r\n\r\n" + body;
}

inline QByteArray chunk(const QByteArray &data)
{
    return QByteArray::number(data.size(), 16) + "\r\n" + data + "\r\n";
}

// A poll as it is asked on a connection of its own.
inline QByteArray pollText(const QByteArray &path, const QByteArray &cookieLine = QByteArray())
{
    return "POST " + path
        + " HTTP/1.1\r\n"
          "Host: 127.0.0.1\r\n"
          "Connection: keep-alive\r\n"
          "Accept-Encoding: identity\r\n"
          "Content-Type: application/json\r\n"
          "Content-Length: 0\r\n"
        + cookieLine + "\r\n\r\n\r\n";
}

inline QByteArray bodyOf(const QByteArray &request)
{
    return request.mid(request.indexOf("\r\n\r\n") + 4);
}

// The value of a header of a request, null when it is not there.
inline QByteArray headerOf(const QByteArray &request, const QByteArray &name)
{
    const int start = request.indexOf("\r\n" + name + ": ");
    if (start < 0)
        return QByteArray();
    const int value = start + 2 + name.size() + 2;
    return request.mid(value, request.indexOf("\r\n", value) - value);
}

inline QString localhost()
{
    return u"127.0.0.1"_s;
}
