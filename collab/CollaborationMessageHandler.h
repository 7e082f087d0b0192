#pragma once

#include "model/Learner.h"
#include "model/RemoteControlMessage.h"
#include "support/Export.h"

#include <QtCore/QMap>
#include <QtCore/QObject>
#include <QtCore/QString>
#include <QtCore/QVariant>

#if defined(Q_MOC_RUN) && defined(TARVOCLIENT_LIBRARY)
// For moc alone, and not for that of a host, whose types of these names are others: what asks a signal
// for the types of its arguments, as a QSignalSpy does, gets the library's.
Q_DECLARE_METATYPE(Learner)
Q_DECLARE_METATYPE(RemoteControlMessage)
#endif

/// Turns each text message of the collaboration channel into a typed signal.
///
/// A message is an event-bus message whose body names an "action" or else a "type"; the payload in
/// the body's "data" arrives compressed and is unpacked on the way. Every message is handled by
/// itself, to the end, on the channel's thread; nothing is kept between messages.
///
/// Whatever arrives, nothing is raised: text that is not JSON and unknown actions are dropped,
/// unknown types are handed on with `unhandledMessage()`, a payload that cannot be unpacked is handed
/// on as it came, and a missing field reads as empty text or 0. The host may do anything in a slot
/// connected to a signal, deleting the channel included.
class TARVOCLIENT_EXPORT CollaborationMessageHandler : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(CollaborationMessageHandler)

public:
    // Hosts connect by the short names, so the signals carry them; where such a connection is queued,
    // model/Learner.h and model/RemoteControlMessage.h tell what it takes.
    /// The name by which the signals carry a learner.
    using Learner = Tarvo::Learner;
    /// The name by which the signals carry a remote's command.
    using RemoteControlMessage = Tarvo::RemoteControlMessage;

    /// A handler owned by `parent`, with its tables filled.
    explicit CollaborationMessageHandler(QObject *parent);

    /// Unpacks the "data" of `body`, which the senders compress.
    ///
    /// A text is taken as base64 of a block or as the block's bracketed list, a list of texts as
    /// base64 pieces of one payload, a list of numbers as the block's bytes; the result is the JSON
    /// inside, as a map, a list or, when it is neither, invalid. Data in another form and data that
    /// cannot be unpacked come back as they are, numbers and flags as their text; a body without data
    /// gives an invalid QVariant.
    ///
    /// At most 16 MiB of text (in UTF-8, all pieces together) are unpacked, and JSON is read only if
    /// that takes no more than 480 MiB of memory and these can be had: any other payload counts as one
    /// that cannot be unpacked.
    QVariant getDataValue(QVariantMap body);

Q_SIGNALS:
    /// A learner answered: the device, what was answered ("pollId" of a poll, "questionId" of a
    /// question), how long it took in the unit that the device counts in, and the answer; the parts
    /// of an answer that has several are separated by commas.
    void learnerPollResponse(QString deviceId, QString pollId, int responseTime, QString answer);
    /// A learner's device has joined the session.
    void learnerJoin(Learner learner);
    /// A learner's device has left the session.
    void learnerUnregister(QString deviceId);
    /// A remote controller came (true) or went (false). No message makes a remote come at present.
    void controllerRegister(bool isRegister);
    /// A remote controller sent a command.
    void remoteControl(RemoteControlMessage Signal);
    /// A message of a type that has no handler: its body, and its data unpacked.
    void unhandledMessage(QVariantMap jsonMessage, QVariant data);
    /// The learner device `id` asks for question number `questionId` of an assessment.
    void learnerGetQuestion(QString id, int questionId);

protected Q_SLOTS:
    /// Handles one text message of the event bus; the channel connects the connector to it.
    void onHandleMessage(QString message);

protected:
    // The handlers: each reads the fields of `body`, and of its unpacked `data`, and emits its signal.
    // A derived class may call them for messages of its own.

    /// Takes "register": emits `controllerRegister(true)` for a remote. Learners' devices introduce
    /// themselves by "join".
    void actionRegister(QVariantMap body);
    /// Takes "unregister": emits `learnerUnregister()`, or `controllerRegister(false)` for a remote.
    void actionUnregister(QVariantMap body);

    /// Takes "join": emits `learnerJoin()`.
    void dataJoin(QVariantMap body, QVariant data);
    /// Takes the answer to a poll: emits `learnerPollResponse()` with the poll's id.
    void dataPollResponse(QVariantMap body, QVariant data);
    /// Takes the answer to a question: emits `learnerPollResponse()` with the question's id.
    void dataQuestionResponse(QVariantMap body, QVariant data);
    /// Takes a device's wish for a question: emits `learnerGetQuestion()`.
    void dataGetQuestion(QVariantMap body, QVariant data);
    /// Takes a remote's command: emits `remoteControl()`.
    void dataRemote(QVariantMap body, QVariant data);

private:
    friend class PresenterCollab; // wires the slot to its connector

    using ActionHandler = void (CollaborationMessageHandler::*)(QVariantMap body);
    using DataHandler = void (CollaborationMessageHandler::*)(QVariantMap body, QVariant data);

    QMap<QString, ActionHandler> actions;
    QMap<QString, DataHandler> dataTypes;
};
