#pragma once

#include "support/Export.h"

#include <QtCore/QList>
#include <QtCore/QObject>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVariant>

namespace Tarvo
{

/// Turns property-bearing objects into the JSON that learners' devices read: one key per declared
/// meta-property, nested objects included.
///
/// Keeps no state; may run on any thread that may read the objects' properties. It never fails
/// outright: it reports to the debug stream, lines beginning with `[JsonSerializer]`, and returns
/// what it could build.
///
/// Maps are converted by the toolkit, which follows nesting on the stack: maps and lists nested some
/// ten thousand levels deep exceed the usual 8 MB stack of a main thread.
class TARVOCLIENT_EXPORT JsonSerializer
{
public:
    /// Depth budget of a top-level object. See `buildObjectMap`.
    static constexpr int MAX_RECURSE_DEPTH = 4;

    JsonSerializer() = delete;

    /// The object's JSON text, without its `objectName`.
    ///
    /// Nothing is kept of `object`. A null pointer gives the text of an empty object.
    static QString serializeToJson(const QObject *object);

    /// The map's JSON text: keys in ascending order of their UTF-16 code units (capitals before
    /// small letters), indented by four spaces a level, with a newline at the end. A value of the
    /// type `QList<QVariantMap>` is written as an array of objects wherever it stands; values without
    /// a JSON form, invalid variants and null objects are written as null.
    static QString serializeToJson(const QVariantMap &map);

    /// The object's readable properties, inherited ones included, by name.
    ///
    /// Properties named in `ignored` are left out (case-sensitive). A property whose value is a
    /// `QObject*` is replaced by the map of that object; one that refers to no object stays as it
    /// is. Every other value is stored unchanged.
    ///
    /// `depth` is a running budget: every nested object, in key order, lowers it by one, for itself
    /// and for all that follow it in the same object. With a budget of 4 the first nested object is
    /// mapped with 3, the second with 2, the third with 1, and a fourth comes out empty. That
    /// decides what appears in a question's JSON, and it is also what ends a cycle of references.
    /// With a budget of 0 or less the map is empty.
    static QVariantMap buildObjectMap(const QObject *object, QStringList ignored, int depth);

    /// One map per object, in list order, each built with a depth budget of 2.
    static QVariantList buildArrayObjectMap(QList<QObject *> objects);

    /// The names of the properties that never appear in the JSON: `objectName`.
    static QStringList getIgnorePropertiesList();
};

} // namespace Tarvo
