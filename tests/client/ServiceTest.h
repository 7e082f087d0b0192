#pragma once

#include "client/PresenterClient.h"

#include "client/Operations.h"
#include "client/RestService.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QPointer>
#include <QtTest/QtTest>

#include <memory>

// A wait that ends by itself takes 10 s; all that is ended otherwise must be well below.
constexpr int AT_ONCE_MS = 8000;

// A test class whose functions have a scripted service each. Once a function is over, all that it
// scripted must have been asked and nothing else, within the limit.
class ServiceTest : public QObject
{
    Q_OBJECT

public:
    explicit ServiceTest(int limitMs = AT_ONCE_MS) : m_limitMs(limitMs) { }

    std::unique_ptr<RestService> service;

    void expectAll(const QVector<Operation> &operations);

public Q_SLOTS:
    virtual void init();
    virtual void cleanup();

protected:
    // The columns "status" and "reply", and their rows.
    static void addReplyColumns();
    static void addReply(const char *name, const QByteArray &status, const QByteArray &reply);

    // What came before, such as the making of keys, is not what a function is about.
    void startClock() { m_clock.start(); }

private:
    const int m_limitMs;
    QElapsedTimer m_clock;
};

// A ServiceTest whose functions have a client of their service each. What the client asks for when it is
// deleted is part of the script.
template<typename Client> class ClientTestOf : public ServiceTest
{
public:
    using ServiceTest::ServiceTest;

    QPointer<Client> client;

    void init() override
    {
        ServiceTest::init();
        client = new Client(nullptr, service->url());
    }
    void cleanup() override
    {
        delete client;
        ServiceTest::cleanup();
    }

    // Goes over to a service that speaks TLS so, with another client.
    void serve(const QSslConfiguration &tls)
    {
        delete client;
        service.reset(new RestService(tls));
        client = new Client(nullptr, service->url());
        startClock();
    }

    bool check() { return client->checkServer(QString(), QString()); }
    bool login() { return client->doLogin(u"ann"_s, u"pw"_s); }
    void signIn()
    {
        service->expect(LOGIN, ANN).json(SUCCESS);
        if (!login())
            qFatal("not signed in");
    }
    // Code "c" of provider "x".
    RestExchange &expectOAuth(const QByteArray &deviceFields = {})
    {
        return service->expect(OAUTH, oauthBody(service->url(), "c", deviceFields));
    }
    bool loginWithOAuth(QString &registration)
    {
        return client->doLoginWithOAuth(u"x"_s, u"c"_s, registration);
    }
    // Asks for something without waiting for the answer.
    void ask(const QByteArray &path)
    {
        client->doRequest(false, QUrl(service->url(path)), QByteArray(), nullptr, nullptr, false);
    }
};
using ClientTest = ClientTestOf<PresenterClient>;
