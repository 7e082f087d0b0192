#pragma once

#include "support/ScriptedServer.h"
#include "support/Text.h"

#include <QtCore/QByteArray>
#include <QtCore/QList>
#include <QtCore/QObject>
#include <QtCore/QPointer>
#include <QtCore/QStringList>
#include <QtNetwork/QSslConfiguration>
#include <QtNetwork/QTcpSocket>

#include <deque>
#include <functional>
#include <memory>

// One request as it came.
struct RestRequest {
    QByteArray head; // request line and header lines, without the empty line
    QByteArray body;

    QByteArray requestLine() const { return head.left(head.indexOf("\r\n")); }
    // The header lines named `name` (lower case), whole and in order.
    QList<QByteArray> headerLines(const QByteArray &name) const;
};

// One scripted exchange: what is to be asked, and what is answered. Answers 200 with "{}" unless told
// otherwise.
class RestExchange
{
public:
    RestExchange(const QByteArray &path, const QByteArray &body) : m_path(path), m_body(body) { }

    RestExchange &json(const QByteArray &body) { return status("200 OK", body); }
    RestExchange &status(const QByteArray &status, const QByteArray &body = {},
                         const QByteArray &headerLines = {});
    // The answer's bytes as they are.
    RestExchange &raw(const QByteArray &bytes);
    RestExchange &redirect(const QString &location, const QByteArray &body = {});
    // Never answers.
    RestExchange &silence();
    // Closes the connection instead of answering.
    RestExchange &hangUp();
    // Answers when RestService::release() is called.
    RestExchange &hold();
    // Runs from the event loop once the request has come, after the answer (if any) was written.
    RestExchange &meanwhile(std::function<void()> action);

private:
    friend class RestService;
    enum Way {
        Answer,
        Hold,
        Silence,
        HangUp
    };

    QByteArray m_path;
    QByteArray m_body;
    QByteArray m_answer = Scripted::reply("{}");
    Way m_way = Answer;
    std::function<void()> m_meanwhile;
};

// A classroom service that knows only the exchanges it was told, in the order it was told them. It
// keeps every request as it came, answers what was not scripted with an error status, and says what
// went wrong. Lives on the test's own event loop, on 127.0.0.1.
class RestService : public QObject
{
    Q_OBJECT

public:
    explicit RestService(const QSslConfiguration &tls = {});
    ~RestService() override;

    // The address of a path of the service.
    QString url(const QByteArray &path = {}) const;
    quint16 port() const;

    RestExchange &expect(const QByteArray &path, const QByteArray &body = {});
    // Answers the oldest request that is held.
    void release();

    const QList<RestRequest> &requests() const { return m_requests; }
    const RestRequest &lastRequest() const { return m_requests.last(); }
    // What was asked unscripted or otherwise than scripted, and what was never asked. Empty when all
    // went as told.
    QStringList faults() const;
    int openConnections() const;

private:
    class Server;

    void read(QTcpSocket *connection);
    void respond(QTcpSocket *connection, const RestRequest &request);

    std::unique_ptr<Server> m_server;
    bool m_tls;
    std::deque<RestExchange> m_script;
    QList<RestRequest> m_requests;
    QStringList m_faults;
    std::deque<std::pair<QPointer<QTcpSocket>, QByteArray>> m_held;
};
