// The session: started, its channel opened and watched, its learners listed, and stopped.
#include "host/ClassRunner.h"

#include "host/ReplyReason.h"

#include "collab/PresenterCollab.h"

namespace Tarvo
{

namespace
{

// The reply to the start, or to the join, may be lost on the way; asking once more mends that.
constexpr int START_TRIES = 2;
// Where the collaboration server is, and which transports the tenant prefers.
constexpr int REQUESTS_BEFORE_START = 2;
// Every transport has its time: 15 s each.
constexpr int MAX_OPENING_MS = 50000;
constexpr int LISTING_DISTANCE_MS = 1000;
constexpr int LISTING_AGAIN_MS = 5000;
// The library's own code for a connection that broke, and for one that we have closed.
constexpr int CODE_BROKEN = 1006;
constexpr int CODE_CLOSED = 1000;

const char PNG_SIGNATURE[] = "\x89PNG\r\n\x1a\n";

} // namespace

// ---- Starting ------------------------------------------------------------------------------------

void ClassRunner::start(int id)
{
    m_startId = id;
    m_startIsUnclear = false;
    m_endReason = Failure::NoReason;
    enqueue([this](int turn) { startNow(turn); });
}

void ClassRunner::startNow(int turn)
{
    Failure failure;
    if (!isInterrupted(turn))
        failure = createSession(turn);
    if (!failure && !isInterrupted(turn))
        failure = openSession(turn);
    if (failure && !isInterrupted(turn))
        startFailed(failure);
}

// The client signs in again, once, if it must and may.
Failure ClassRunner::createSession(int turn)
{
    m_client->setServerUrl(m_serverUrl);
    const bool isCreated = m_client->doStartSession(QString());
    if (!isCreated && !m_client->isLoggedIn() && !isInterrupted(turn))
        return {Action::Start, Failure::SignInOver};
    if (!isCreated)
        return lastFailure(Action::Start, Failure::UnexpectedAnswer);
    return {};
}

Failure ClassRunner::openSession(int turn)
{
    Failure failure;
    for (int tries = 0; tries < START_TRIES; ++tries) {
        PresenterCollab *channel = nullptr;
        failure = startSession(&channel);
        if (isInterrupted(turn))
            return {};
        if (!failure) {
            m_channel = channel;
            connect(channel, &PresenterCollab::connectionClosed, this, &ClassRunner::channelClosed);
            m_lesson.begin(channel);
            watchOpening(Channel::Opening);
            return {};
        }
        delete channel;
        if (failure.reason() != Failure::NotStarted && failure.reason() != Failure::NotJoined)
            break;
    }
    return failure;
}

// The client says that all went well although it did not hear that the session has started, or could
// not join it: nobody could be heard in it.
Failure ClassRunner::startSession(PresenterCollab **channel)
{
    const int turn = m_turn;
    const auto answers = std::make_shared<int>(0);
    const auto counting =
        connect(m_client.get(), &PresenterClient::requestProcessed, this, [this, turn, answers] {
            if (!isInterrupted(turn))
                ++*answers;
        });
    m_openingLimit.start(MAX_OPENING_MS); // without the robust transport this waits for the channel
    const bool isMade = m_client->startWebsocket(channel);
    m_openingLimit.stop();
    disconnect(counting);
    m_hasSession = !m_client->getSessionToken().isEmpty();
    // An interrupted start may reach the service all the same.
    if (isMade || (isInterrupted(turn) && *answers >= REQUESTS_BEFORE_START))
        m_startIsUnclear = true;
    if (m_hasSession)
        m_startIsUnclear = false;
    if (!isMade)
        return lastFailure(Action::Start, Failure::UnexpectedAnswer);
    if (!m_hasSession)
        return {Action::Start, Failure::NotStarted};
    if (m_client->getUserToken().isEmpty() || lastReason() != Failure::NoReason)
        return {Action::Start, Failure::NotJoined, errorKeyOf(m_client->getLastReply())};
    return {};
}

// The session that has been begun is stopped behind the host's back.
void ClassRunner::startFailed(const Failure &failure)
{
    const bool isSignedOut = failure.reason() == Failure::SignInOver;
    m_opening.stop();
    m_openingLimit.stop();
    happens(isSignedOut ? ClassEvent::SignInLost : ClassEvent::StartFailed, failure.reason());
    if (isSignedOut) {
        m_keepAlive.stop();
        m_notices->post(Notices::UserIs{QString()});
    }
    if (m_startId)
        finish(std::exchange(m_startId, 0), failure);
    if (m_hasSession)
        enqueue([this](int) { stopSession(); });
    else
        m_notices->post(Notices::CodeIs{QString()});
}

// ---- The channel ---------------------------------------------------------------------------------

// Without the robust transport this waits. What is left of the connection before ends first, and says so.
void ClassRunner::openChannel(Channel as)
{
    m_channel->setRobustTransport(m_settings.isRobust);
    m_channel->setTrustedCertificates(m_settings.certificates);
    m_channel->setProxy(proxy());
    const QStringList &chosen = m_settings.transports;
    m_lesson.wentAway();
    watchOpening(as);
    m_isReplacing = true;
    m_channel->open(chosen.isEmpty() ? m_client->getSockJSProtocols() : chosen);
    m_isReplacing = false;
}

void ClassRunner::watchOpening(Channel as)
{
    m_channelIs = as;
    m_opening.start();
    m_openingLimit.start(qMin(MAX_OPENING_MS, 2 * m_settings.silenceMs));
}

void ClassRunner::lookAtChannel()
{
    if (m_channel && m_channel->isConnected())
        channelOpened();
}

void ClassRunner::channelOpened()
{
    m_opening.stop();
    m_openingLimit.stop();
    m_probing.start(qMax(1, m_settings.silenceMs / 2));
    m_notices->post(Notices::TransportIs{m_channel->getTransport()});
    const bool isRenewed = m_channelIs == Channel::Renewing;
    m_channelIs = Channel::Open;
    if (isRenewed)
        wantLearners();
    else
        enqueue([this](int turn) { becomeLive(turn); });
}

// Closing it would send every device away, so it is left to itself, until it is opened again.
void ClassRunner::channelNotOpened()
{
    if (m_channelIs == Channel::None)
        endOpening(); // the client waits for it
    else
        channelFailed(Failure::ChannelNotOpened);
}

// Ends the wait of an opening without the robust transport.
void ClassRunner::endOpening()
{
    const auto channels =
        m_client ? m_client->findChildren<PresenterCollab *>() : QList<PresenterCollab *>();
    for (PresenterCollab *channel : channels) {
        if (!channel->isConnected())
            channel->close();
    }
}

void ClassRunner::channelClosed(bool forInactivity)
{
    if (m_channelIs == Channel::None || m_isReplacing)
        return;
    if (forInactivity && m_state == LiveClass::Live && m_channelIs == Channel::Open) {
        enqueue([this](int turn) {
            if (!isInterrupted(turn) && m_channel)
                openChannel(Channel::Renewing);
        });
        return;
    }
    const int code = m_channel->getCloseCode();
    m_isClosedOnPurpose = code != 0 && code != CODE_BROKEN && code != CODE_CLOSED;
    channelFailed(m_channelIs == Channel::Opening ? Failure::ChannelNotOpened
                                                  : Failure::ConnectionLost);
}

void ClassRunner::channelFailed(Failure::Reason reason)
{
    m_channelIs = Channel::None;
    m_opening.stop();
    m_openingLimit.stop();
    m_probing.stop();
    m_working.stop();
    if (m_channel && !m_channel->isConnected())
        m_channel->close(); // an attempt that is still under way
    if (m_state == LiveClass::Live) {
        lose(reason);
    } else if (m_state == LiveClass::Starting) {
        const QString words = m_channel ? m_channel->getCloseReason() : QString();
        startFailed({Action::Start, Failure::ChannelNotOpened, QString(), words});
    } else {
        attemptFailed(reason);
    }
}

void ClassRunner::becomeLive(int turn)
{
    if (isInterrupted(turn) || m_channelIs != Channel::Open)
        return;
    const bool isBack = m_state == LiveClass::Reconnecting;
    const Failure::Reason reason = listLearners();
    if (isInterrupted(turn) || m_channelIs != Channel::Open)
        return;
    if (reason == Failure::SessionOver) {
        sessionIsGone();
        return;
    }
    if (isBack && reason != Failure::NoReason) {
        if (reason == Failure::SignInOver)
            loseSignIn();
        else
            attemptFailed(reason, m_client->getLastReply().retryAfter);
        return;
    }
    if (reason != Failure::NoReason)
        m_listing.start(LISTING_AGAIN_MS);
    if (m_state == LiveClass::Starting) // no earlier: who joins before that is not heard
        m_notices->post(Notices::CodeIs{m_client->getSessionCode()});
    if (!happens(ClassEvent::ChannelOpened))
        return;
    m_lesson.goLive();
    m_nextAttempt.stop();
    m_isAttempting = false;
    m_isClosedOnPurpose = false;
    m_attempt = 0;
    tellAttempt();
    m_working.start(m_settings.workingMs);
    m_wake.start();
    if (isBack)
        m_lesson.cameBack();
    if (m_startId)
        finish(std::exchange(m_startId, 0));
}

// A connection that is dead does not say so.
void ClassRunner::probe()
{
    if (m_channel && m_channelIs == Channel::Open)
        m_channel->probe(qMax(1, m_settings.silenceMs / 2));
}

// ---- The learners --------------------------------------------------------------------------------

Failure::Reason ClassRunner::listLearners()
{
    m_sinceListing.start();
    m_client->setServerUrl(m_serverUrl);
    m_lesson.listingBegins();
    m_client->doGetLearners();
    const Failure::Reason reason = lastReason();
    if (reason == Failure::NoReason)
        m_lesson.learnersAre(m_client->getLearners());
    else
        m_lesson.listingFailed();
    return reason;
}

void ClassRunner::wantLearners()
{
    if (m_listing.isActive())
        return;
    const qint64 elapsed =
        m_sinceListing.isValid() ? m_sinceListing.elapsed() : LISTING_DISTANCE_MS;
    m_listing.start(int(qMax<qint64>(0, LISTING_DISTANCE_MS - elapsed)));
}

void ClassRunner::readLearners(int turn)
{
    if (isInterrupted(turn) || m_state != LiveClass::Live) {
        m_lesson.listingFailed();
        return;
    }
    const Failure::Reason reason = listLearners();
    if (isInterrupted(turn) || m_state != LiveClass::Live)
        return;
    if (reason == Failure::SessionOver)
        sessionIsGone();
    else if (reason != Failure::NoReason)
        m_listing.start(LISTING_AGAIN_MS);
    else if (m_channelIs == Channel::Open)
        m_lesson.cameBack();
}

// ---- Stopping ------------------------------------------------------------------------------------

void ClassRunner::stop(int id)
{
    m_stopId = id;
    endSession(Failure::NoReason);
}

void ClassRunner::endSession(Failure::Reason reason)
{
    m_endReason = reason;
    if (m_startId)
        finish(std::exchange(m_startId, 0), {Action::Start, Failure::Abandoned});
    m_nextAttempt.stop();
    interrupt();
    enqueue([this](int) { stopNow(); });
}

void ClassRunner::stopNow()
{
    const bool isConfirmed = stopSession();
    const Failure failure =
        isConfirmed ? Failure() : Failure(Action::Stop, Failure::StopUnconfirmed);
    happens(ClassEvent::StopEnded, m_endReason);
    if (m_stopId)
        finish(std::exchange(m_stopId, 0), failure);
    else if (failure)
        m_notices->post(Notices::SomethingFailed{failure});
    m_notices->post(Notices::SessionIsOver{m_endReason});
}

// Its last word may still be on its way, so it goes with the next one, or with the client.
void ClassRunner::retireChannel()
{
    delete m_retired;
    m_retired = m_channel;
    m_channel = nullptr;
    if (m_retired)
        m_retired->disconnect(this);
}

// Whether the service has confirmed it.
bool ClassRunner::stopSession()
{
    for (QTimer *timer : {&m_opening, &m_openingLimit, &m_probing, &m_working, &m_listing})
        timer->stop();
    m_wake.stop();
    m_channelIs = Channel::None;
    m_isAttempting = false;
    m_attempt = 0;
    tellAttempt();
    m_client->setServerUrl(m_serverUrl);

    const QString code = m_client->getSessionCode();
    bool isConfirmed = !m_startIsUnclear;
    m_isStopping = true;
    if (m_hasSession) {
        m_client->doStopSession();
        isConfirmed = m_client->wasStopConfirmed() || lastReason() == Failure::SessionOver;
    }
    m_isStopping = false;
    if (m_isEnding && !isConfirmed) {
        qWarning("[LiveClass] The session %s may still be open: the service has not confirmed "
                 "that it has stopped.",
                 qPrintable(code));
    }
    m_hasSession = false;
    m_startIsUnclear = false;
    m_lesson.end();
    retireChannel();
    m_notices->post(Notices::CodeIs{QString()});
    return isConfirmed;
}

// The service no longer knows it. The client has to be told, too, and the devices that still listen.
void ClassRunner::sessionIsGone()
{
    if (m_state == LiveClass::Starting) {
        startFailed({Action::Start, Failure::SessionOver});
        return;
    }
    const Failure::Reason reason =
        m_isClosedOnPurpose ? Failure::EndedByService : Failure::SessionOver;
    if (!happens(ClassEvent::SessionGone, reason))
        return;
    stopSession();
    m_notices->post(Notices::SessionIsOver{reason});
}

// ---- Uploads -------------------------------------------------------------------------------------

void ClassRunner::upload(int id, const QString &fileName, const QByteArray &bytes)
{
    if (bytes.isEmpty() || fileName.isEmpty() || fileName.contains(QLatin1Char('"'))) {
        finish(id,
               {Action::UploadImage, Failure::InvalidArgument, QString(),
                QStringLiteral("the file: it is empty, or its name holds a quotation mark")});
        return;
    }
    enqueue([=](int turn) { uploadNow(turn, id, fileName, bytes); });
}

void ClassRunner::uploadNow(int turn, int id, const QString &fileName, const QByteArray &bytes)
{
    QString resource;
    QString path;
    bool isUploaded = false;
    if (!isInterrupted(turn)) {
        m_client->setServerUrl(m_serverUrl);
        isUploaded = m_client->doUploadResource(fileName, bytes, &resource, &path);
    }
    if (isUploaded) {
        m_notices->post(Notices::FileIsUploaded{resource, m_serverUrl + path});
        finish(id);
    } else if (isInterrupted(turn)) {
        finish(id,
               {Action::UploadImage,
                m_state == LiveClass::Reconnecting ? Failure::ConnectionLost : Failure::Abandoned});
    } else {
        finish(id, lastFailure(Action::UploadImage, Failure::UnexpectedAnswer));
    }
}

void ClassRunner::showImage(int id, const QByteArray &png)
{
    withPicture({Action::ShowImage, id}, png,
                [=](const Picture &picture) { finish(id, m_lesson.showImage(picture)); });
}

void ClassRunner::startPollWithImage(int id, const FixedPoll &poll, const QByteArray &png)
{
    if (const Failure failure = m_lesson.whyNoPoll(poll)) {
        finish(id, failure);
        return;
    }
    withPicture({Action::StartPoll, id}, png, [=](const Picture &picture) {
        startPoll(id, {poll.kind, poll.ordinals, poll.count, picture});
    });
}

void ClassRunner::withPicture(const Operated &operated, const QByteArray &png, const Show &show)
{
    if (!png.startsWith(PNG_SIGNATURE)) {
        finish(operated.id,
               {operated.action, Failure::InvalidArgument, QString(),
                QStringLiteral("the picture: it is no PNG image")});
        return;
    }
    enqueue([=](int turn) { uploadPicture(turn, operated, png, show); });
}

// A service that takes no upload is no reason not to show it.
void ClassRunner::uploadPicture(int turn, const Operated &operated, const QByteArray &png,
                                const Show &show)
{
    QString resource;
    QString path;
    bool isUploaded = false;
    if (!isInterrupted(turn)) {
        m_client->setServerUrl(m_serverUrl);
        isUploaded = m_client->doUploadResource(QStringLiteral("image.png"), png, &resource, &path);
    }
    if (isInterrupted(turn))
        finish(operated.id, {operated.action, whyInterrupted()});
    else
        show(isUploaded ? Picture{m_serverUrl + path, {}} : Picture{{}, png});
}

} // namespace Tarvo
