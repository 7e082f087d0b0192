#include "sockjs/XHRRequest.h"

#include <atomic>

static std::atomic<int> requestCount{0};

XHRRequest::XHRRequest(QObject *parent, QString path, QString payload)
    : QObject(parent), m_requestId(++requestCount), m_path(path), m_payload(payload)
{
}
