#pragma once

#include <QtCore/QString>

#include <functional>

class PresenterClient;
class PresenterCollab;
class QObject;

namespace Tarvo
{
class LiveClass;
} // namespace Tarvo

// The snippets of the reference's pages, each as a function.
namespace Reference
{

using Form = std::function<QString(const QString &)>;
using Show = std::function<void(const QString &)>;
using Took = std::function<void(const QString &deviceId, qint64 ms)>;

void signInWithOAuth(Tarvo::LiveClass &lesson, const QString &server, const QString &code,
                     const Form &askTheUser);
bool signInWithOAuth(PresenterClient &client, const QString &code, const Form &askTheUser);
void trustTheSchool(Tarvo::LiveClass &lesson, const QString &file);
void goThroughTheProxy(Tarvo::LiveClass &lesson, const QString &host, quint16 port,
                       const QString &user, const QString &password);
void comeBack(PresenterClient &client, PresenterCollab *channel);
void measure(PresenterCollab *channel, const Took &took);
void keepOnlyRequests();
void keepOnlyWarnings();

void tellTheTeacher(Tarvo::LiveClass &lesson, const Show &show);
QString whyNot(const PresenterClient &client);
void teachOnAThread(QObject *window, const QString &server, const Show &show);
QString unpacked(const QString &block);
void hearTheUnknown(PresenterCollab *channel, const Show &show);

} // namespace Reference
