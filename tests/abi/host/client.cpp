#include "Part.h"

#include "client/PresenterClient.h"

#include <QtNetwork/QNetworkReply>

namespace
{

const QString NOBODY = QStringLiteral("http://127.0.0.1:1");

class Client : public PresenterClient
{
    Q_OBJECT

public:
    using PresenterClient::PresenterClient;

    void ask()
    {
        const auto failed = static_cast<FailureHandler>(&Client::onFailed);
        doRequest(true, QUrl(NOBODY + QStringLiteral("/status")), QString(), nullptr, failed,
                  false);
    }

    int failures = 0;
    QNetworkReply::NetworkError error = QNetworkReply::NoError;

private:
    void onFailed(QNetworkReply *reply, QString)
    {
        ++failures;
        error = reply->error();
    }
};

} // namespace

bool usesClient()
{
    int processed = 0;
    Client client(nullptr, NOBODY + QStringLiteral("/"));
    QObject::connect(&client, &PresenterClient::requestProcessed, [&processed] { ++processed; });
    client.setRequestTimeout(5000);
    client.setKeepAliveInterval(0);
    client.ask();
    EXPECT(client.failures == 1 && client.error == QNetworkReply::ConnectionRefusedError);
    EXPECT(!client.doLogin(QStringLiteral("teacher"), QStringLiteral("secret")));
    EXPECT(processed == 2);
    const PresenterClient::Reply reply = client.getLastReply();
    EXPECT(reply.error == QNetworkReply::ConnectionRefusedError && reply.httpStatus == 0);
    EXPECT(reply.retryAfter == -1 && !reply.errorText.isEmpty());
    EXPECT(client.getServerUrl() == NOBODY && !client.isLoggedIn()
           && client.getLearners().isEmpty());
    EXPECT(!client.doStopSession() && !client.wasStopConfirmed());
    EXPECT(PresenterClient::MULTIPART_BOUNDARY.startsWith(QLatin1String("----")));
    return true;
}

#include "client.moc"
