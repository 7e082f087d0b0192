#pragma once

#include "support/Export.h"

#include <QtCore/QMap>
#include <QtCore/QObject>
#include <QtCore/QString>

/// The header lines of one HTTP response, by name. A later line of the same name replaces an earlier
/// one. Registered with the meta-type system as "QStringMap", so that it crosses threads.
using QStringMap = QMap<QString, QString>;

/// One request of the polling connection: the complete text that goes on the wire, and what the
/// header of its response announced.
///
/// The transport makes the requests and frees them; the worker, on its own thread, writes them and
/// fills in `chunked` and `contentLength` before it reports the response's header.
class TARVOCLIENT_EXPORT XHRRequest : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(XHRRequest)

public:
    /// A request for `path` whose complete HTTP text is `payload`. It takes the next number of the
    /// process-wide count of requests, which starts at 1 (and wraps around after 2^32 requests).
    XHRRequest(QObject *parent, QString path, QString payload);

    /// The request's path, as the transport gave it; not read from the payload.
    QString path() const { return m_path; }
    /// The HTTP request as it goes on the wire. A null text writes nothing.
    QString payload() const { return m_payload; }
    /// Its number in the process-wide count.
    int requestId() const { return m_requestId; }

    /// The response announced "Transfer-Encoding" "chunked".
    bool chunked = false;

private:
    int m_requestId;
    QString m_path;
    QString m_payload;

public:
    /// The response's "Content-Length" in bytes; 0 until a header sets it.
    int contentLength = 0;
};
