#pragma once

#include <QtCore/QObject>
#include <QtCore/QPointer>

// Rows of the property records.
//
// What learners' devices receive of an object is its meta-object: every property is a key of the
// JSON, in the spelling it is declared with, and generic code writes it through the slot beside it.
// A record therefore reads as the table of its properties, one row each; the order of the rows is
// the order of the properties and of the slots. A row stands for
//
//   Q_PROPERTY(Type name READ name WRITE setter)
//   public:          Type name() const;
//   public Q_SLOTS:  void setter(Type argument);
//   private:         Type m_name = initial;
//
// and leaves the class in its private section. Setters assign and nothing more; no property has a
// change signal. Properties that do more are written out in their record.

/// A row whose setter is `set` and the property's name, in its own capitalisation.
#define TARVO_PROPERTY(Type, name, initial) \
    TARVO_PROPERTY_NAMED(Type, name, set##name, name, initial)

/// A row whose setter or setter argument has a name of its own.
#define TARVO_PROPERTY_NAMED(Type, name, setter, argument, initial) \
    TARVO_PROPERTY_STORED(Type, Type, name, setter, argument, initial)

/// A row that refers to an object, which becomes a nested JSON object. Its type is `QObject*`,
/// because the serializer descends into that type alone. An object that is put in its place keeps
/// its owner, the one it replaces stays where it was; one that is destroyed leaves null behind.
#define TARVO_OBJECT_PROPERTY(name, argument, initial) \
    TARVO_PROPERTY_STORED(QObject *, QPointer<QObject>, name, set##name, argument, initial)

/// What a row stands for.
// clang-format off
#define TARVO_PROPERTY_STORED(Type, Stored, name, setter, argument, initial) \
    Q_PROPERTY(Type name READ name WRITE setter)                             \
public:                                                                      \
    Type name() const { return m_##name; }                                   \
public Q_SLOTS:                                                              \
    void setter(Type argument) { m_##name = argument; }                      \
private:                                                                     \
    Stored m_##name = initial;
// clang-format on
