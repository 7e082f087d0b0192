#pragma once

#include "model/PropertyRecord.h"
#include "support/Export.h"

#include <QtCore/QString>
#include <QtCore/QVariant>

namespace Tarvo
{

/// The body of one published message: who sends what, and the payload.
///
/// The five properties are the body's JSON keys, as the service and the learners' devices read them.
/// The host fills in the type and the payload and hands the message to PresenterCollab, which sets
/// the sender and compresses the payload; a message is published once.
class TARVOCLIENT_EXPORT TarvoCollabMessage : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(TarvoCollabMessage)

public:
    /// The protocol that the learners' devices speak.
    inline static const QString PROTOCOL_VERSION = QStringLiteral("3.0.0");

    /// A message without type and payload.
    explicit TarvoCollabMessage(QObject *parent = nullptr);

    /// Puts the payload into its wire form: the JSON of the data object if there is one, else of the
    /// map in `data`, compressed, as a list of one base64 text. The channel calls it while it
    /// publishes.
    ///
    /// With neither an object nor a map in `data`, `data` is left as it is and a debug line says so.
    /// That is also what a second call finds, so it is called once per message.
    void compileData();

private:
    /// The sender; the channel writes the presenter's user token here.
    TARVO_PROPERTY(QString, from, QString())
    /// What the message is, such as "questionStart".
    TARVO_PROPERTY(QString, type, QString())
    /// Which protocol the payload follows.
    TARVO_PROPERTY(QString, version, PROTOCOL_VERSION)
    /// The name under which the service knows hosts of this kind.
    TARVO_PROPERTY(QString, sourceSystem, QStringLiteral("Corvel"))
    /// The payload: a map before `compileData`, its wire form after.
    TARVO_PROPERTY(QVariant, data, QVariant())

public Q_SLOTS:
    /// Takes an object whose properties are the payload, whatever `data` holds; null for none. It
    /// stays the caller's and must live until the message has been published; one that is destroyed
    /// earlier is forgotten.
    void setdataobject(QObject *dataObject);

private:
    QObject *dataObject = nullptr; // not owned; null once it is gone
    QMetaObject::Connection m_dataObjectGone;
    QPointer<QObject> m_living; // the same object, whose connections a host may have cut
};

} // namespace Tarvo
