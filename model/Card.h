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

    TARVO_PROPERTY(bool, active, true)
    TARVO_PROPERTY(bool, autoSend, true)
    /// What lies on the page, each a map, bottom first.
    TARVO_PROPERTY(QVariantList, components, QVariantList())
    TARVO_PROPERTY(bool, hasRendered, true)
    TARVO_PROPERTY(QString, id, QString())
    TARVO_PROPERTY(bool, isTeacherCard, true)
    TARVO_PROPERTY(QString, notes, QString())
    TARVO_PROPERTY(int, ordinal, 1)
    TARVO_PROPERTY(bool, primary, true)
    TARVO_PROPERTY(bool, pristine, true)
    TARVO_PROPERTY(QString, remoteId, QString())
    TARVO_PROPERTY(QVariantMap, segment, QVariantMap())
    /// The page's look, CSS names and values, all of them texts.
    TARVO_PROPERTY(QVariantMap, styles, filledPage())
    TARVO_PROPERTY(QVariantList, tracks, QVariantList())
    TARVO_PROPERTY(QString, type, QStringLiteral("TEACHER"))
    TARVO_PROPERTY(bool, visible, true)

public:
    explicit Card(QObject *parent);

public Q_SLOTS:
    /// Sets the entry "backgroundImage" of `styles` and leaves the other entries alone. `url` is a
    /// CSS value, such as `url('...')`, or a data URI.
    void setBackgroundImage(QString url);

private:
    static QVariantMap filledPage();
};

} // namespace Tarvo
