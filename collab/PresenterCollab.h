#pragma once

#include "model/Learner.h"
#include "model/OrdinalType.h"
#include "model/PollType.h"
#include "model/RemoteControlMessage.h"
#include "support/Export.h"

#include <QtCore/QByteArray>
#include <QtCore/QObject>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QTimer>
#include <QtCore/QVariant>
#include <QtNetwork/QNetworkProxy>
#include <QtNetwork/QSslCertificate>

#if defined(Q_MOC_RUN) && defined(TARVOCLIENT_LIBRARY)
// For moc alone, and not for that of a host, whose types of these names are others: what asks a
// signal for the types of its arguments, as a QSignalSpy does, gets the library's.
Q_DECLARE_METATYPE(Learner)
Q_DECLARE_METATYPE(RemoteControlMessage)
#endif

class CollaborationMessageHandler;
class SockJSConnector;

namespace Tarvo
{
class QuestionBase;
class TarvoCollabMessage;
} // namespace Tarvo

/// The real-time channel of one running class session: polls, questions, cards and the lesson go
/// out to the learners' devices and the remote, and what they do comes back as signals.
///
/// `PresenterClient::startWebsocket()` makes the channel and opens it; the client owns it.
/// Everything runs on the host's event loop, and every signal is emitted directly. In a slot
/// connected to any of them the host may call back into the channel, close it or delete it.
///
/// No operation waits for an answer or reports an error. What is published while the connection is
/// down is lost: a text payload with a debug line that says so, a message object without one. A
/// lost connection shows as `connectionClosed()`, and `getCloseCode()` and `getCloseReason()` tell
/// why.
///
/// An address that begins with "." is relative and is completed by putting the session token in
/// front of it; any other address is used as it stands. The addresses of a session are
/// - the session token: every device of the session,
/// - ".presenter": the presenters; ".presenter." + user token: one of them,
/// - ".learner": the learners' devices,
/// - ".user." + device id: one learner's device,
/// - ".controller": the remote controllers.
class TARVOCLIENT_EXPORT PresenterCollab : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(PresenterCollab)

public:
    // Hosts connect by the short names, so the signals carry them; where such a connection is
    // queued, model/Learner.h and model/RemoteControlMessage.h tell what it takes.
    /// The name by which the signals carry a learner.
    using Learner = Tarvo::Learner;
    /// The name by which the signals carry a remote's command.
    using RemoteControlMessage = Tarvo::RemoteControlMessage;
    /// The kinds of poll.
    using POLL_TYPE = Tarvo::PollType::POLL_TYPE;
    /// The ways of labelling options.
    using ORDINAL_TYPE = Tarvo::OrdinalType::ORDINAL_TYPE;

    /// A channel that is not yet open: `serverUrl` is the collaboration server's, `sessionCode` the
    /// code that learners type in, `sessionToken` the base of every address, `userToken` the
    /// presenter's identity, sent as "from" with every message.
    PresenterCollab(QObject *parent, QString serverUrl, QString sessionCode, QString sessionToken,
                    QString userToken);
    /// Closes the connection if it is open, without a word to the devices and without a signal.
    ~PresenterCollab() override;

    /// Whether connections that are opened from now on use the robust transport, off by default:
    /// over HTTP as prompt as a web socket, no wait without a limit, and every end told with a
    /// reason. With it on, `open()` returns at once; `isConnected()` tells when the session is
    /// open, and `connectionClosed()` also comes when no transport could be opened. See
    /// `SockJSConnector::setRobustTransport()`.
    void setRobustTransport(bool robust);
    /// Milliseconds between two pings to the collaboration server: 60,000 by default, 0 for none.
    /// Some servers close a connection that has not pinged for a while. Takes effect at once,
    /// whichever transport is used.
    void setPingInterval(int ms);
    /// See `SockJSConnector::setHeartbeatTimeout()`: 60,000 ms by default, 0 for none.
    void setHeartbeatTimeout(int ms);
    /// See `SockJSConnector::setSilenceTimeout()`: 20,000 ms by default, 0 for none.
    void setSilenceTimeout(int ms);

    /// Certificates to trust beside the system's, for connections that are opened from now on.
    void setTrustedCertificates(const QList<QSslCertificate> &certificates);
    /// The proxy for connections that are opened from now on; one of type DefaultProxy, as by default,
    /// stands for the system's.
    void setProxy(const QNetworkProxy &proxy);
    /// Asks the collaboration server for a sign of life at once. When none comes within `timeoutMs`, the
    /// connection ends with code 1006. Only with the robust transport, and while it is open; otherwise
    /// nothing happens.
    void probe(int timeoutMs);

    /// Connects with the transports named in `protocols` ("websocket", "xhr-streaming",
    /// "xhr-polling"), tried in that order; unknown names are skipped, and with none left every
    /// transport is tried. The call waits, dispatching events, until a transport has started or all
    /// have failed; connected or not, it returns nothing: see `isConnected()`. With the robust
    /// transport it returns at once.
    void open(QStringList protocols);
    /// Connects with every transport there is, in the order of their values.
    void open();
    /// Tells every device of the session to disconnect, and closes the connection;
    /// `connectionClosed()` follows. Without a connection there is nothing to close and no signal.
    void close();

    /// Publishes `message` to `address` after setting its sender and compressing its payload. The
    /// message stays the caller's and is not needed once the call returns; a null one is not sent.
    void publishMessage(QString address, Tarvo::TarvoCollabMessage *message);
    /// Publishes the text `data`, compressed, as a message of type `type` to `address`.
    void publishMessage(QString address, QString type, QString data);
    /// The same operation under a second name.
    void publishMessage64(QString address, QString type, QString data);

    /// Tells one learner's device to disconnect, and emits `learnerUnregister()`, also when the
    /// connection is down.
    void removeLearner(QString deviceId);
    /// Keeps the connection alive at the far end; sent by itself, see `setPingInterval()`. It does
    /// not count as activity, so a channel without other messages still closes after an hour.
    void sendPing();
    /// Tells the learners' devices that a large message has been sent. `showImageCard()` does it by
    /// itself.
    void sendHeavy();

    // ---- Polls and questions ---------------------------------------------------------------------

    /// Makes the question object of a poll as `Tarvo::pollQuestion` does. The caller owns it. The
    /// last argument is accepted for the callers' sake and not used.
    Tarvo::QuestionBase *createPollQuestion(POLL_TYPE pollType, ORDINAL_TYPE ordinalType, int count,
                                            int);
    /// Starts a poll on every device of the session, with the card image as its background, under a
    /// new poll id; the card image is used up by it. The arguments are `createPollQuestion()`'s.
    ///
    /// A kind that has a question object is sent as that question, which learners answer by the
    /// question's own id; "word-seed" and "creative" are sent in a fixed form under the poll id.
    void startPoll(POLL_TYPE pollType, ORDINAL_TYPE ordinalType, int count, int);
    /// Ends the running poll on every device, and empties the card image.
    void stopPoll();
    /// Pauses the running poll, or the assessment, on every device.
    void pausePoll();
    /// Goes on with what `pausePoll()` paused.
    void resumePoll();
    /// Sends `question` to `address`. In its activityType, "id" is set to the question-type id of
    /// its kind and "name" to the kind's wire name, and they stay so; other entries are left alone.
    /// The question stays the caller's; a null one is not sent.
    void sendQuestion(QString address, Tarvo::QuestionBase *question);
    /// Sends `question` to every device of the session.
    void sendQuestion(Tarvo::QuestionBase *question);

    // ---- Cards and the remote --------------------------------------------------------------------

    /// Sets the PNG image of the next poll or image card; it goes before an image reference. Both
    /// are emptied once used.
    void setCardImageData(QByteArray data);
    /// Sets the URL of the image of the next poll or image card.
    void setCardImageRef(QString url);
    /// The card image as one text: a data URI when there is image data; else the reference, as a
    /// CSS value `url('...')` when `wrapUrl` is true and bare when it is false; else empty.
    QString getCardImageRef(bool wrapUrl);
    /// Empties both forms of the card image.
    void clearCardImage();
    /// Shows the card image on the learners' devices and empties it; `wrapUrl` is
    /// `getCardImageRef()`'s.
    void showImageCard(bool wrapUrl);

    /// Shows a lesson on the remote.
    void sendCurrentLessonToRemote(QString lessonId, QString name);
    /// Shows on the remote that the presenter is there.
    void sendPresenterIsActiveToRemote();
    /// Shows on the remote that card number `currentCard` of the cards 1 to `totalCards` is up.
    void sendCurrentCardToRemote(int currentCard, int totalCards);

    // ---- What the channel knows ------------------------------------------------------------------

    /// The code that learners type in, as the constructor was given it.
    QString getSessionCode() const { return sessionCode; }
    /// The token that every address begins with, as the constructor was given it.
    QString getSessionToken() const { return sessionToken; }
    /// The presenter's identity on the channel, as the constructor was given it.
    QString getUserToken() const { return userToken; }
    /// The id of the poll started last; empty before the first. `pausePoll()`, `resumePoll()` and
    /// `stopPoll()` carry it.
    QString getCurrentPollId() const { return currentPollId; }
    /// The id that answers to the poll started last carry: its question's, or the poll id for the kinds
    /// without a question; empty before the first.
    QString getCurrentQuestionId() const { return currentQuestionId; }
    /// True from the server's word that the session is open until the connection is closed.
    bool isConnected() const;
    /// The wire name of the transport that has started, "websocket", "xhr-streaming" or
    /// "xhr-polling", also before the session is open; empty before one has started, and from
    /// `close()` on.
    QString getTransport() const;
    /// Why the connection has ended, valid from `connectionClosed()` until the next `open()`, 0
    /// before: the server's own code, 1000 after `close()` or an hour without messages, or 1006.
    /// Without the robust transport a connection over XHR that was lost always has 1006.
    int getCloseCode() const;
    /// The reason in words: the server's own, or the library's for the codes 1000 and 1006.
    QString getCloseReason() const;
    /// Whether messages are still leaving, also after `close()`, whose last word to the devices may
    /// be behind them. A host that is about to end lets its event loop turn until this is false;
    /// deleting the channel or ending the process earlier loses what has not left.
    bool hasUnsentMessages() const;
    /// The dispatcher of incoming messages; the channel owns it.
    CollaborationMessageHandler *messageHandler() const { return m_messageHandler; }

Q_SIGNALS:
    /// The connection is closed; true when it closed by itself, after more than an hour without a
    /// message to the devices. With the robust transport it also comes, with false, when none of
    /// the transports could be opened.
    void connectionClosed(bool bClosedForInactivity);
    /// A learner answered a poll or a question; see CollaborationMessageHandler.
    void learnerPollResponse(QString deviceId, QString pollId, int responseTime, QString answer);
    /// A learner's device has joined the session.
    void learnerJoin(Learner learner);
    /// A learner's device has left the session, or was removed with `removeLearner()`.
    void learnerUnregister(QString deviceId);
    /// A remote controller came (true) or went (false).
    void controllerRegister(bool isRegister);
    /// A remote controller sent a command.
    void remoteControl(RemoteControlMessage signal);
    /// A message of a type that the library does not know: its body, and its data unpacked.
    void unhandledMessage(QVariantMap jsonMessage, QVariant data);

protected Q_SLOTS:
    /// Registers the presenter on its three addresses and starts the ping.
    void onConnected();
    /// Stops the ping and tells the host.
    void onClosed(bool bClosedForInactivity);
    /// Sends the channel's ping when its time has come.
    void onPingTimer();

private:
    void startPings();
    QString fullAddress(const QString &address) const;

    QTimer pingTimer{this};
    QString serverUrl;
    QString sessionCode;
    QString sessionToken;
    QString userToken;
    QString currentPollId;
    QByteArray imageData;
    QString imageRef;
    SockJSConnector *connector;                    // child
    CollaborationMessageHandler *m_messageHandler; // child
    int pingIntervalMs = 60000;
    QString currentQuestionId; // of the poll started last
};
