#include "Recipes.h"

#include "client/PresenterClient.h"
#include "collab/PresenterCollab.h"
#include "compression/Lzma.h"
#include "host/LiveClass.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QJsonDocument>
#include <QtCore/QLoggingCategory>
#include <QtCore/QRandomGenerator>
#include <QtCore/QThread>
#include <QtCore/QTimer>

#include <memory>

using Tarvo::Failure;
using Tarvo::LiveClass;

namespace Reference
{

// ---- Recipes -------------------------------------------------------------------------------------

void signInWithOAuth(LiveClass &lesson, const QString &server, const QString &code,
                     const Form &askTheUser)
{
    //! [oauth]
    QObject::connect(&lesson, &LiveClass::registrationNeeded, &lesson,
                     [&lesson, askTheUser](const QString &data) {
                         lesson.completeRegistration(askTheUser(data)).then(&lesson, [&lesson] {
                             lesson.start();
                         });
                     });
    lesson.signInWithOAuth(server, "school", code).then(&lesson, [&lesson] { lesson.start(); });
    //! [oauth]
}

bool signInWithOAuth(PresenterClient &client, const QString &code, const Form &askTheUser)
{
    //! [oauth without the kit]
    QString registration;
    bool isIn = client.doLoginWithOAuth("school", code, registration);
    if (!isIn && !registration.isEmpty()) { // the user is new here
        registration = askTheUser(registration);
        isIn = client.doLoginWithOAuth("school", code, registration);
    }
    //! [oauth without the kit]
    return isIn;
}

void trustTheSchool(LiveClass &lesson, const QString &file)
{
    //! [trust]
    const QList<QSslCertificate> roots = QSslCertificate::fromPath(file, QSsl::Pem);
    if (roots.isEmpty())
        qWarning("There is no certificate in %s", qPrintable(file));
    lesson.setTrustedCertificates(roots); // beside the system's, from the next sign-in on
    //! [trust]
}

void goThroughTheProxy(LiveClass &lesson, const QString &host, quint16 port, const QString &user,
                       const QString &password)
{
    //! [proxy]
    lesson.setProxy(QNetworkProxy(QNetworkProxy::HttpProxy, host, port, user, password));
    //! [proxy]
}

//! [reconnect]
void comeBack(PresenterClient &client, PresenterCollab *channel)
{
    auto *pause = new QTimer(channel); // goes with the channel
    pause->setSingleShot(true);
    QObject::connect(pause, &QTimer::timeout, channel, [&client, channel] {
        if (!client.getSessionToken().isNull()) // not stopped meanwhile
            channel->open(client.getSockJSProtocols());
    });
    auto attempt = std::make_shared<int>(0);
    QObject::connect(channel, &PresenterCollab::connectionClosed, pause, [=] {
        if (channel->getCloseReason() == QLatin1String("Closed by the host"))
            return;
        const int longest = 1000 << qMin((*attempt)++, 5); // 1, 2, 4 ... 32 s
        pause->start(longest / 2 + QRandomGenerator::global()->bounded(longest / 2));
    });
    auto *look = new QTimer(channel);
    QObject::connect(look, &QTimer::timeout, channel, [=, &client] {
        if (*attempt == 0 || !channel->isConnected())
            return;
        *attempt = 0;
        client.doGetLearners(); // who came meanwhile was not announced
    });
    look->start(50);
}
//! [reconnect]

void measure(PresenterCollab *channel, const Took &took)
{
    //! [measure]
    QElapsedTimer since;
    channel->startPoll(Tarvo::PollType::MULTIPLE, Tarvo::OrdinalType::ALPHA_UPPER, 4, 0);
    since.start();
    QObject::connect(channel, &PresenterCollab::learnerPollResponse, channel,
                     [=](const QString &deviceId, const QString &question) {
                         if (question == channel->getCurrentQuestionId())
                             took(deviceId, since.elapsed());
                     });
    //! [measure]
}

void keepOnlyRequests()
{
    //! [requests only]
    QLoggingCategory::setFilterRules("tarvo.*.debug=false\n"
                                     "tarvo.rest.debug=true");
    //! [requests only]
}

void keepOnlyWarnings()
{
    //! [warnings only]
    static QtMessageHandler next = nullptr;
    next = qInstallMessageHandler(
        [](QtMsgType type, const QMessageLogContext &context, const QString &text) {
            const bool isOurs = QByteArray(context.category).startsWith("tarvo.");
            if (!(isOurs && type == QtDebugMsg))
                next(type, context, text);
        });
    //! [warnings only]
}

// ---- Troubles, threads, the wire -----------------------------------------------------------------

void tellTheTeacher(LiveClass &lesson, const Show &show)
{
    //! [failures]
    QObject::connect(&lesson, &LiveClass::failed, &lesson, [show](const Failure &failure) {
        if (failure.isRepeatable())
            show("Not now: the connection is coming back.");
        else if (failure.reason() == Failure::UntrustedRoot)
            show("This computer does not trust the classroom service; please ask the school's IT.");
        else
            show(failure.message() + ' ' + failure.advice());
    });
    //! [failures]
}

//! [why not]
QString whyNot(const PresenterClient &client)
{
    if (client.getLastErrorKey() == QLatin1String("SSLRootCertificateMissing"))
        return "This computer does not trust the service";
    if (!client.getLastErrorKey().isNull())
        return "The service says " + client.getLastErrorKey();
    const PresenterClient::Reply reply = client.getLastReply();
    if (reply.error == QNetworkReply::TimeoutError)
        return "The service does not answer";
    return reply.error == QNetworkReply::NoError ? "The service gives no reason" : reply.errorText;
}
//! [why not]

void teachOnAThread(QObject *window, const QString &server, const Show &show)
{
    //! [thread]
    auto *network = new QThread(window);
    auto *teacher = new QObject; // what it makes lives on the thread, too
    teacher->moveToThread(network);
    QObject::connect(network, &QThread::finished, teacher, &QObject::deleteLater);
    QObject::connect(network, &QThread::started, teacher, [=] {
        auto *client = new PresenterClient(teacher, server);
        const bool isIn = client->doLogin("teacher", "secret"); // the window goes on meanwhile
        QMetaObject::invokeMethod(window, [=] { show(isIn ? "signed in" : "not signed in"); });
    });
    QObject::connect(window, &QObject::destroyed, network, [network] {
        network->quit();
        network->wait(); // the client's destructor stops a running session
    });
    network->start();
    //! [thread]
}

QString unpacked(const QString &block)
{
    //! [unpack]
    QString text;
    if (!Lzma::decompress64(block, &text))
        return QString(); // no block, or cut off
    return QJsonDocument::fromJson(text.toUtf8()).toJson(QJsonDocument::Indented);
    //! [unpack]
}

void hearTheUnknown(PresenterCollab *channel, const Show &show)
{
    //! [unknown]
    QObject::connect(channel, &PresenterCollab::unhandledMessage, channel,
                     [show](const QVariantMap &body, const QVariant &data) {
                         show(body.value("type").toString() + " from "
                              + body.value("from").toString() + ": "
                              + QJsonDocument::fromVariant(data).toJson());
                     });
    //! [unknown]
}

} // namespace Reference
