#pragma once

#include "sockjs/ReceivingLine.h"

#include <QtCore/QByteArray>
#include <QtCore/QObject>
#include <QtCore/QString>
#include <QtCore/QThread>

#include <memory>

// The transport's end of a ReceivingLine: owns the thread that the line lives on, and hands on what
// the line reports, in order, from the event loop of the thread that the receiver lives on.
//
// It may be deleted at any time. Its line, the connection and the thread are gone then; that takes
// milliseconds, and what the line has reported and nobody has heard is dropped.
class XHRReceiver : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(XHRReceiver)

public:
    XHRReceiver(const ReceivingLine::Server &server, QObject *parent);
    ~XHRReceiver() override;

    // Begins to ask.
    void start(const ReceivingLine::Request &request);
    // "Set-Cookie" lines, one a line, that have come with the answer to a post.
    void addCookies(const QByteArray &setCookies);
    void setHeartbeatTimeout(int ms);
    // ended() comes with this, behind all that has arrived, unless it is on its way with another
    // reason.
    void end(int code, const QString &reason);
    // Goes on, so that the server keeps the session, but reports nothing any more beside cookies.
    void mute();

Q_SIGNALS:
    // A frame of SockJS, of any kind.
    void frameCame(const QString &frame);
    // "Set-Cookie" lines, one a line, that have come with an answer.
    void cookiesCame(const QByteArray &setCookies);
    // The first connection stands.
    void connected();
    // Nothing more will come.
    void ended(int code, const QString &reason);

private:
    void takeFrame(const QString &frame);
    template<typename Function> void tellLine(Function function);

    const ReceivingLine::Backlog m_backlog = std::make_shared<std::atomic<qint64>>(0);
    ReceivingLine *m_line; // the thread deletes it when it ends
    std::unique_ptr<QThread> m_thread;
    bool m_isMute = false;
};
