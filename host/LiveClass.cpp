// The face of a live class: properties, and calls that become requests.
#include "host/LiveClass.h"

#include "host/CsvExport.h"
#include "host/LiveClassPrivate.h"
#include "host/QuestionRecords.h"

namespace Tarvo
{

LiveClass::LiveClass(QObject *parent) : QObject(parent), d(std::make_unique<LiveClassPrivate>(this))
{
    qRegisterMetaType<Operation>(); // Qt Quick calls nothing that returns what it does not know
}

LiveClass::~LiveClass() = default;

// ---- Settings ------------------------------------------------------------------------------------

void LiveClass::setTransports(const QStringList &names)
{
    d->settings.transports = names;
}

void LiveClass::setRobustTransport(bool robust)
{
    d->settings.isRobust = robust;
}

void LiveClass::setTrustedCertificates(const QList<QSslCertificate> &certificates)
{
    d->settings.certificates = certificates;
}

void LiveClass::setProxy(const QNetworkProxy &proxy)
{
    d->settings.proxy = proxy;
}

void LiveClass::setLongestPause(int ms)
{
    d->settings.longestPauseMs = qMax(0, ms);
}

void LiveClass::setWorkingTime(int ms)
{
    d->settings.workingMs = qMax(0, ms);
}

void LiveClass::setSilenceLimit(int ms)
{
    d->settings.silenceMs = qMax(1, ms);
}

void LiveClass::setKeepPassword(bool keep)
{
    d->settings.keepsPassword = keep;
}

// ---- Properties ----------------------------------------------------------------------------------

LiveClass::State LiveClass::state() const
{
    return d->state;
}

QString LiveClass::userName() const
{
    return d->userName;
}

QString LiveClass::sessionCode() const
{
    return d->sessionCode;
}

QString LiveClass::transport() const
{
    return d->transport;
}

LiveClass::Activity LiveClass::activity() const
{
    return d->activity;
}

bool LiveClass::isPaused() const
{
    return d->isPaused;
}

int LiveClass::attempt() const
{
    return d->attempt;
}

QDateTime LiveClass::nextAttemptAt() const
{
    return d->nextAttemptAt;
}

Failure::Reason LiveClass::reason() const
{
    return d->reason;
}

QAbstractItemModel *LiveClass::learners() const
{
    return &d->learners;
}

QAbstractItemModel *LiveClass::results() const
{
    return &d->results;
}

bool LiveClass::exportCsv(QIODevice *device) const
{
    return writeCsv(device, d->results, d->learners);
}

// ---- Signing in ----------------------------------------------------------------------------------

Operation LiveClass::signIn(const QString &server, const QString &userId, const QString &password)
{
    return d->signIn({Credentials::Password, server, userId, password, QString()});
}

Operation LiveClass::signInWithDeviceToken(const QString &server, const QString &userId,
                                           const QString &deviceId, const QString &token)
{
    return d->signIn({Credentials::DeviceToken, server, userId, token, deviceId});
}

Operation LiveClass::signInWithOAuth(const QString &server, const QString &provider,
                                     const QString &code)
{
    return d->signIn({Credentials::OAuth, server, provider, code, QString()});
}

Operation LiveClass::completeRegistration(const QString &data)
{
    return d->request(Action::CompleteRegistration, [data](ClassRunner &runner, int id) {
        runner.completeRegistration(id, data);
    });
}

// ---- The session ---------------------------------------------------------------------------------

Operation LiveClass::start()
{
    return d->request(Action::Start, [](ClassRunner &runner, int id) { runner.start(id); });
}

Operation LiveClass::stop()
{
    return d->request(Action::Stop, [](ClassRunner &runner, int id) { runner.stop(id); });
}

Operation LiveClass::signOut()
{
    return d->request(Action::SignOut, [](ClassRunner &runner, int id) { runner.signOut(id); });
}

Operation LiveClass::reconnectNow()
{
    return d->request(Action::ReconnectNow,
                      [](ClassRunner &runner, int id) { runner.reconnectNow(id); });
}

// ---- Activities ----------------------------------------------------------------------------------

Operation LiveClass::startPoll(int kind, int ordinals, int count)
{
    return startPollWithImageAt(kind, ordinals, count, QString());
}

Operation LiveClass::startPollWithImage(int kind, int ordinals, int count, const QByteArray &png)
{
    const FixedPoll poll{kind, ordinals, count, {}};
    return d->request(Action::StartPoll, [=](ClassRunner &runner, int id) {
        runner.startPollWithImage(id, poll, png);
    });
}

Operation LiveClass::startPollWithImageAt(int kind, int ordinals, int count, const QString &url)
{
    const FixedPoll poll{kind, ordinals, count, {url, {}}};
    return d->request(Action::StartPoll,
                      [poll](ClassRunner &runner, int id) { runner.startPoll(id, poll); });
}

Operation LiveClass::ask(const QString &text, int kind, const QStringList &options)
{
    const AssessmentQuestion question = questionWithWords(text, PollType::POLL_TYPE(kind), options);
    return d->perform(Action::Ask, [question](Lesson &lesson) { return lesson.ask(question); });
}

Operation LiveClass::startAssessment(const Tarvo::Assessment &assessment)
{
    return d->perform(Action::StartAssessment,
                      [assessment](Lesson &lesson) { return lesson.startAssessment(assessment); });
}

Operation LiveClass::stopActivity()
{
    return d->perform(Action::StopActivity, [](Lesson &lesson) { return lesson.stopActivity(); });
}

Operation LiveClass::pause()
{
    return d->perform(Action::Pause, [](Lesson &lesson) { return lesson.pause(); });
}

Operation LiveClass::resume()
{
    return d->perform(Action::Resume, [](Lesson &lesson) { return lesson.resume(); });
}

// ---- Pictures, cards, messages -------------------------------------------------------------------

Operation LiveClass::showImage(const QByteArray &png)
{
    return d->request(Action::ShowImage,
                      [png](ClassRunner &runner, int id) { runner.showImage(id, png); });
}

Operation LiveClass::showImageAt(const QString &url)
{
    return d->perform(Action::ShowImage, [url](Lesson &lesson) {
        return lesson.showImage({url, {}});
    });
}

Operation LiveClass::uploadImage(const QString &fileName, const QByteArray &bytes)
{
    return d->request(Action::UploadImage,
                      [=](ClassRunner &runner, int id) { runner.upload(id, fileName, bytes); });
}

Operation LiveClass::showLesson(const QString &id, const QString &name)
{
    return d->perform(Action::ShowLesson,
                      [=](Lesson &lesson) { return lesson.showLesson(id, name); });
}

Operation LiveClass::showCard(int number, int total)
{
    return d->perform(Action::ShowCard,
                      [=](Lesson &lesson) { return lesson.showCard(number, total); });
}

Operation LiveClass::sendText(const QString &text, TextOption option)
{
    return d->perform(Action::SendText, [=](Lesson &lesson) {
        return lesson.sendText(lesson.present(), text, option);
    });
}

Operation LiveClass::sendTextTo(const QString &deviceId, const QString &text, TextOption option)
{
    return d->perform(Action::SendText,
                      [=](Lesson &lesson) { return lesson.sendText({deviceId}, text, option); });
}

Operation LiveClass::removeLearner(const QString &deviceId)
{
    return d->perform(Action::RemoveLearner,
                      [deviceId](Lesson &lesson) { return lesson.removeLearner(deviceId); });
}

} // namespace Tarvo
