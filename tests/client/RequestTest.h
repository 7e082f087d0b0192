#pragma once

#include "client/ServiceTest.h"

#include <functional>

inline const QByteArray PATH = "/vantora/test";

// A client whose handlers note what they were given.
class NotingClient : public PresenterClient
{
public:
    using PresenterClient::PresenterClient;

    // Asks for PATH; whether that succeeded.
    bool request(const QByteArray &body = {}, bool multipart = false)
    {
        succeeded.clear();
        failed.clear();
        doRequest(true, QUrl(getServerUrl() + QString::fromUtf8(PATH)), body, SUCCESS_HANDLER,
                  FAILURE_HANDLER, multipart);
        return !succeeded.isEmpty();
    }

    void onSuccess(QString body)
    {
        succeeded.append(body);
        statuses.append(getLastReply().httpStatus);
        if (whenSucceeding)
            whenSucceeding();
    }
    void onFailure(QNetworkReply *reply, QString body)
    {
        failed.append(body);
        statuses.append(getLastReply().httpStatus);
        error = reply->error();
    }

    static const SuccessHandler SUCCESS_HANDLER;
    static const FailureHandler FAILURE_HANDLER;

    QStringList succeeded;
    QStringList failed;
    QList<int> statuses; // of the last reply, when a handler ran
    QNetworkReply::NetworkError error = QNetworkReply::NoError;
    std::function<void()> whenSucceeding;
};

inline const PresenterClient::SuccessHandler NotingClient::SUCCESS_HANDLER =
    static_cast<PresenterClient::SuccessHandler>(&NotingClient::onSuccess);
inline const PresenterClient::FailureHandler NotingClient::FAILURE_HANDLER =
    static_cast<PresenterClient::FailureHandler>(&NotingClient::onFailure);

using RequestTest = ClientTestOf<NotingClient>;
