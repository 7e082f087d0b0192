#pragma once

#include "support/Text.h"

#include <QtCore/QStringList>
#include <QtCore/QVector>

#include <type_traits>

// A class's data members as a table: one line each, with type and name, in the order in which they
// lie in an object. A test that sets or reads a member relies on all three.
//
//   QVector<Extent> extents(const Class &object);
//   template struct Members<Class, member<QTimer>(&Class::pingTimer), member<bool>(&Class::loggedIn)>;
//
// Private members may be named there: the rules of access do not apply to the arguments of an
// explicit instantiation. A wrong name or type does not compile; the order is looked at with
// outOfPlace().

// Where one member lies in an object, in bytes.
struct Extent {
    qptrdiff begin;
    qptrdiff end;
    qptrdiff alignment;
};

template<typename Type, typename Class, typename Actual>
constexpr Actual Class::*member(Actual Class::*pointer)
{
    static_assert(std::is_same_v<Type, Actual>, "the member has another type");
    return pointer;
}

template<typename Class, typename Type> Extent extentOf(const Class &object, Type Class::*pointer)
{
    const qptrdiff begin = reinterpret_cast<const char *>(&(object.*pointer))
        - reinterpret_cast<const char *>(&object);
    return {begin, begin + qptrdiff(sizeof(Type)), qptrdiff(alignof(Type))};
}

template<typename Class, auto... Pointers> struct Members {
    friend QVector<Extent> extents(const Class &object) { return {extentOf(object, Pointers)...}; }
};

// The lines of a table, counted from 0, whose member does not lie right behind the one before it. The
// first has to lie at `begin`, where the base class ends; what stands between two members shows too.
inline QString outOfPlace(const QVector<Extent> &members, qptrdiff begin)
{
    QStringList wrong;
    for (int i = 0; i < members.size(); ++i) {
        const qptrdiff alignment = members[i].alignment;
        const qptrdiff expected = (begin + alignment - 1) / alignment * alignment;
        if (members[i].begin != expected)
            wrong << u"line %1 lies at %2, not at %3"_s.arg(i).arg(members[i].begin).arg(expected);
        begin = members[i].end;
    }
    return wrong.join(u"; "_s);
}

// The same for a table that begins somewhere inside the class.
inline QString outOfPlace(const QVector<Extent> &members)
{
    return outOfPlace(members, members.value(0).begin);
}
