#include "sockjs/XHRReceiver.h"

#include <QtCore/QEventLoop>

XHRReceiver::XHRReceiver(const ReceivingLine::Server &server, QObject *parent)
    : QObject(parent), m_line(new ReceivingLine(server, m_backlog)),
      // The line goes with its thread, which needs no application object for that.
      m_thread(QThread::create([line = m_line] {
          QEventLoop().exec();
          delete line;
      }))
{
    connect(m_line, &ReceivingLine::connected, this, [this] {
        if (!m_isMute)
            Q_EMIT connected();
    });
    connect(m_line, &ReceivingLine::cookiesCame, this, &XHRReceiver::cookiesCame);
    connect(m_line, &ReceivingLine::frameCame, this, &XHRReceiver::takeFrame);
    connect(m_line, &ReceivingLine::ended, this, [this](int code, const QString &reason) {
        if (!m_isMute)
            Q_EMIT ended(code, reason);
    });
    m_thread->setObjectName(QStringLiteral("sockjs-xhr"));
    m_line->moveToThread(m_thread.get());
    m_thread->start(QThread::InheritPriority);
}

XHRReceiver::~XHRReceiver()
{
    m_thread->quit();
    m_thread->wait();
}

void XHRReceiver::start(const ReceivingLine::Request &request)
{
    tellLine([line = m_line, request] { line->start(request); });
}

void XHRReceiver::addCookies(const QByteArray &setCookies)
{
    tellLine([line = m_line, setCookies] { line->addCookies(setCookies); });
}

void XHRReceiver::setHeartbeatTimeout(int ms)
{
    tellLine([line = m_line, ms] { line->setHeartbeatTimeout(ms); });
}

void XHRReceiver::end(int code, const QString &reason)
{
    tellLine([line = m_line, code, reason] { line->endSoon(code, reason); });
}

void XHRReceiver::mute()
{
    m_isMute = true;
}

void XHRReceiver::takeFrame(const QString &frame)
{
    // Counted down first: a slot may delete this.
    const qint64 size = ReceivingLine::backlogOf(frame);
    const qint64 before = m_backlog->fetch_sub(size);
    if (before > ReceivingLine::MAX_BACKLOG_CHARACTERS
        && before - size <= ReceivingLine::MAX_BACKLOG_CHARACTERS)
        tellLine([line = m_line] { line->goOn(); });
    if (!m_isMute)
        Q_EMIT frameCame(frame);
}

template<typename Function> void XHRReceiver::tellLine(Function function)
{
    QMetaObject::invokeMethod(m_line, function, Qt::QueuedConnection);
}
