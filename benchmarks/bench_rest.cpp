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

#include <httplib.h>

#include <limits>
#include <memory>
#include <thread>
#include <utility>

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
    doNotOptimize(document);
    reply->deleteLater();
}

// Both sides, made anew every now and then: the processor that a connection's threads come to run on
// decides a third of its time, and stays the same for its life.
class Sides
{
public:
    explicit Sides(QString address) : m_address(std::move(address)) { renew(); }

    PresenterClient &client() { return *m_client; }
    void post(const QString &path, const QByteArray &body)
    {
        postBare(m_manager.get(), QUrl(m_address + path), body);
    }
    // Frees the replies, outside what is measured.
    void settle()
    {
        QCoreApplication::processEvents();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        if (++m_calls % CALLS_A_CONNECTION == 0)
            renew();
    }

private:
    static constexpr int CALLS_A_CONNECTION = 100;

    void renew()
    {
        m_client = std::make_unique<PresenterClient>(nullptr, m_address);
        m_manager = std::make_unique<QNetworkAccessManager>();
    }

    QString m_address;
    std::unique_ptr<PresenterClient> m_client;
    std::unique_ptr<QNetworkAccessManager> m_manager;
    int m_calls = 0;
};

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});

    const Service service;
    Sides sides(service.address());
    const QString user = QStringLiteral("teacher");
    const QString password = QStringLiteral("secret");
    if (!sides.client().checkServer(QString(), QString())
        || !sides.client().doLogin(user, password))
        qFatal("The loopback server does not answer as it should.");

    const Comparison comparison(argc, argv,
                                "REST operation, beside a bare post to the same server");
    const auto add = [&](const char *name, const Comparison::Work &operation, const QString &path,
                         const QByteArray &body) {
        comparison.addWaiting(
            name, 1.1, operation, [&] { sides.post(path, body); }, [&] { sides.settle(); });
    };
    add(
        "keep-alive", [&] { sides.client().sendKeepAlive(); },
        QStringLiteral("/vantora/login/keepSessionAlive"), QByteArray());
    add(
        "sign-in", [&] { sides.client().doLogin(user, password); },
        QStringLiteral("/vantora/login/submit"),
        R"({"userId":"teacher","password":"secret","sourceSystem":"Corvel"})");
    add(
        "server check, 30 KB reply", [&] { sides.client().checkServer(QString(), QString()); },
        QStringLiteral("/vantora"), QByteArray());
    return 0;
}
