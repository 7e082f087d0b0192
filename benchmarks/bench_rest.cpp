// A REST operation beside a bare post of a QNetworkAccessManager, both to one loopback server.

#include "benchmarks/Comparison.h"
#include "benchmarks/Lesson.h"
#include "client/PresenterClient.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QDebug>
#include <QtCore/QEventLoop>
#include <QtCore/QJsonDocument>
#include <QtCore/QUrl>
#include <QtNetwork/QNetworkAccessManager>
#include <QtNetwork/QNetworkReply>
#include <QtNetwork/QNetworkRequest>

#include <benchmark/benchmark.h>
#include <httplib.h>

#include <limits>
#include <thread>

namespace
{

constexpr char SMALL_REPLY[] =
    R"({"infoMsgs":["login.success"],"infoMsgKeys":[],"errorMsgKeys":[],"data":{"userLoginId":"t"}})";

// Answers the server check with 30 KB of JSON and everything else with a line of it.
class Service
{
public:
    Service()
    {
        m_server.set_keep_alive_max_count(std::numeric_limits<int>::max());
        m_server.set_keep_alive_timeout(60);
        m_server.set_tcp_nodelay(true);
        const QByteArray list = Lesson::text(30000);
        const std::string largeReply =
            "[" + list.left(list.lastIndexOf("},{") + 1).toStdString() + "]";
        m_server.Post("/vantora",
                      [largeReply](const httplib::Request &, httplib::Response &response) {
                          response.set_content(largeReply, "application/json");
                      });
        // A kept connection would show the system's delayed acknowledgement of 40 ms instead: the
        // toolkit sends a body apart from its header, and the second waits for the first.
        m_server.Post("/vantora/login/submit",
                      [](const httplib::Request &, httplib::Response &response) {
                          response.set_header("Connection", "close");
                          response.set_content(SMALL_REPLY, "application/json");
                      });
        m_server.Post("/vantora/.+", [](const httplib::Request &, httplib::Response &response) {
            response.set_content(SMALL_REPLY, "application/json");
        });
        m_port = m_server.bind_to_any_port("127.0.0.1");
        m_thread = std::thread([this] { m_server.listen_after_bind(); });
    }
    ~Service()
    {
        m_server.stop();
        m_thread.join();
    }
    Service(const Service &) = delete;
    Service &operator=(const Service &) = delete;

    QString address() const { return QStringLiteral("http://127.0.0.1:%1").arg(m_port); }

private:
    httplib::Server m_server;
    int m_port = 0;
    std::thread m_thread;
};

void postBare(QNetworkAccessManager *manager, const QUrl &url, const QByteArray &body)
{
    QNetworkRequest request(url);
    request.setRawHeader("accept-encoding", "identity");
    request.setHeader(QNetworkRequest::ContentTypeHeader,
                      QStringLiteral("application/json; charset=UTF-8"));
    QNetworkReply *reply = manager->post(request, body);
    QEventLoop loop;
    QObject::connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
    loop.exec();
    const QByteArray text = reply->readAll();
    qDebug().noquote() << "[REST Response]" << QString::fromUtf8(text);
    const QJsonDocument document = QJsonDocument::fromJson(text);
    benchmark::DoNotOptimize(document.isObject());
    reply->deleteLater();
}

void freeReplies()
{
    QCoreApplication::processEvents();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

void add(const std::string &name, std::function<void()> operation, QNetworkAccessManager *manager,
         const QUrl &url, const QByteArray &body)
{
    Comparison::addWaiting(
        name, Comparison::atMost(1.1), std::move(operation),
        [manager, url, body] { postBare(manager, url, body); }, freeReplies);
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});

    const Service service;
    const QString address = service.address();
    QNetworkAccessManager manager;
    PresenterClient client(nullptr, address);
    const QString user = QStringLiteral("teacher");
    const QString password = QStringLiteral("secret");
    if (!client.checkServer(QString(), QString()) || !client.doLogin(user, password))
        qFatal("The loopback server does not answer as it should.");

    add(
        "keep-alive", [&] { client.sendKeepAlive(); }, &manager,
        address + QStringLiteral("/vantora/login/keepSessionAlive"), QByteArray());
    add(
        "sign-in", [&] { client.doLogin(user, password); }, &manager,
        address + QStringLiteral("/vantora/login/submit"),
        R"({"userId":"teacher","password":"secret","sourceSystem":"Corvel"})");
    add(
        "server check, 30 KB reply", [&] { client.checkServer(QString(), QString()); }, &manager,
        address + QStringLiteral("/vantora"), QByteArray());
    return Comparison::run(argc, argv, "REST operation, beside a bare post to the same server");
}
