#pragma once

#include "model/PropertyRecord.h"
#include "support/Export.h"

#include <QtCore/QString>
#include <QtCore/QVariant>

namespace Tarvo
{

/// One lesson card, as learners' devices receive it as the `card` of a question: a page with a
/// background, ordered components and tracks.
///
/// A new card is a visible teacher card whose background fills the page. Every flag starts as true,
/// `hasRendered` and `pristine` too: that is what devices expect of a card they have not seen.
class TARVOCLIENT_EXPORT Card : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(Card)

    /// A flag of the devices' own; true for a card that they have not seen.
    TARVO_PROPERTY(bool, active, true)
    /// A flag of the devices' own; true for a card that they have not seen.
    TARVO_PROPERTY(bool, autoSend, true)
    /// What lies on the page, each a map, bottom first.
    TARVO_PROPERTY(QVariantList, components, QVariantList())
    /// A flag of the devices' own; true for a card that they have not seen.
    TARVO_PROPERTY(bool, hasRendered, true)
    /// Its id.
    TARVO_PROPERTY(QString, id, QString())
    /// Whether it is the teacher's, and not a learner's.
    TARVO_PROPERTY(bool, isTeacherCard, true)
    /// The teacher's notes.
    TARVO_PROPERTY(QString, notes, QString())
    /// Its place in the lesson.
    TARVO_PROPERTY(int, ordinal, 1)
    /// A flag of the devices' own; true for a card that they have not seen.
    TARVO_PROPERTY(bool, primary, true)
    /// A flag of the devices' own; true for a card that they have not seen.
    TARVO_PROPERTY(bool, pristine, true)
    /// An id of the devices' own.
    TARVO_PROPERTY(QString, remoteId, QString())
    /// The segment of the lesson that it belongs to, by its "id".
    TARVO_PROPERTY(QVariantMap, segment, QVariantMap())
    /// The page's look, CSS names and values, all of them texts.
    TARVO_PROPERTY(QVariantMap, styles, filledPage())
    /// Its tracks, each a map.
    TARVO_PROPERTY(QVariantList, tracks, QVariantList())
    /// Whose it is, in capitals.
    TARVO_PROPERTY(QString, type, QStringLiteral("TEACHER"))
    /// Whether it is shown.
    TARVO_PROPERTY(bool, visible, true)

public:
    /// A card owned by `parent`, with the first value of each property.
    explicit Card(QObject *parent);

public Q_SLOTS:
    /// Sets the entry "backgroundImage" of `styles` and leaves the other entries alone. `url` is a
    /// CSS value, such as `url('...')`, or a data URI.
    void setBackgroundImage(QString url);

private:
    static QVariantMap filledPage();
};

} // namespace Tarvo
