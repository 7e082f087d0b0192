#pragma once

#include "host/Action.h"
#include "host/HostExport.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QMetaType>
#include <QtCore/QString>

#include <memory>

namespace Tarvo
{

/// Why something did not come about, or what a class in trouble waits for. A plain value.
class TARVOHOST_EXPORT Failure
{
    Q_GADGET
    Q_DECLARE_TR_FUNCTIONS(Tarvo::Failure)
    /// What `action()` tells.
    Q_PROPERTY(Tarvo::Action::Type action READ action)
    /// What `reason()` tells.
    Q_PROPERTY(Reason reason READ reason)
    /// What `key()` tells.
    Q_PROPERTY(QString key READ key)
    /// What `message()` tells.
    Q_PROPERTY(QString message READ message)
    /// What `advice()` tells.
    Q_PROPERTY(QString advice READ advice)
    /// What `isRepeatable()` tells.
    Q_PROPERTY(bool repeatable READ isRepeatable)

public:
    /// Why; `message()` and `advice()` have a sentence for each.
    enum Reason : int {
        NoReason, ///< nothing has failed

        // The way to the service.
        Refused,          ///< the service's machine takes no connection
        NameNotFound,     ///< the service's name is not known
        Unreachable,      ///< the network has no way to the service
        Tls,              ///< the service's certificate does not hold
        UntrustedRoot,    ///< the root of the service's certificate is not trusted here
        ProxyTrouble,     ///< the proxy cannot be used, or does not let us through
        SignInPage,       ///< a page of the network stands in between, such as a guest network's
        Maintenance,      ///< the service is there and cannot serve now
        Silent,           ///< nothing came in time
        ConnectionLost,   ///< the connection broke
        UnexpectedAnswer, ///< what came is not an answer of the service

        // What the service says.
        RefusedByService, ///< the service refuses this; `key()` is its reason
        SignInRefused,    ///< user, password, token or code are not accepted
        SignInOver,       ///< the service no longer knows who is signed in
        SessionOver,      ///< the service no longer knows the session
        EndedByService,   ///< the collaboration server has closed the channel for good
        EndedByRemote,    ///< the remote controller has stopped the session
        NotRegistered,    ///< the user has to complete a registration first

        // What the service does not say.
        NotStarted,       ///< the service's word that the session has started was lost
        NotJoined,        ///< the presenter could not join the session
        ChannelNotOpened, ///< no transport reaches the collaboration server
        StopUnconfirmed,  ///< the service did not confirm that the session has stopped

        // What the class itself says.
        NotAllowed,      ///< not in this state; nothing was sent
        NotConnected,    ///< not while the connection is gone; nothing was sent
        InvalidArgument, ///< what was given cannot be sent
        UnknownDevice,   ///< answers come from a device that is not in the session
        ForeignCommand,  ///< a device that is no remote controller sends a remote's commands
        Abandoned        ///< the class is gone, or its session has ended meanwhile
    };
    Q_ENUM(Reason)

    /// No failure.
    Failure() = default;
    /// `key` is the service's error key, if it gave one. `detail` is told with `InvalidArgument`: the name
    /// of what cannot be sent and perhaps why, as "the lesson's name: it holds a double quote".
    Failure(Action::Type action, Reason reason, const QString &key = QString(),
            const QString &detail = QString());

    /// The operation that has failed; `None` when it happened by itself.
    Action::Type action() const { return m_action; }
    /// Why it has failed; `NoReason` when nothing has.
    Reason reason() const { return m_reason; }
    /// The service's own error key, such as "login.error.wrongCredentials"; empty without one.
    QString key() const { return m_key; }
    /// What happened, in a sentence for the teacher.
    QString message() const;
    /// What to do, in a sentence for the teacher.
    QString advice() const;
    /// Whether the same call may succeed when the connection is back; nothing was sent.
    bool isRepeatable() const { return m_reason == NotConnected; }
    /// Whether something has failed.
    explicit operator bool() const { return m_reason != NoReason; }

private:
    QString sentence() const;
    QString beginning() const;
    QString clause() const;

    Action::Type m_action = Action::None;
    Reason m_reason = NoReason;
    QString m_key;
    QString m_detail;
    // Null. A failure is a value that hosts copy, so its size stays: what a later version tells besides
    // goes in here.
    std::shared_ptr<void> m_more;
};

} // namespace Tarvo

Q_DECLARE_METATYPE(Tarvo::Failure)
