#pragma once

#include "support/Text.h"

#include <QtCore/QMetaEnum>
#include <QtCore/QMetaMethod>
#include <QtCore/QMetaProperty>
#include <QtCore/QStringList>
#include <QtTest/QtTest>

#include <initializer_list>

// What a class adds to its base's meta-object, as tables: one line a signal, slot, property or
// enumerator, in the order of declaration. Connections by text, generic code and the JSON know the
// class so.

using Lines = std::initializer_list<const char *>;

inline QStringList texts(const Lines &lines)
{
    QStringList texts;
    for (const char *line : lines)
        texts << QString::fromUtf8(line);
    return texts;
}

// "protected slot void onClosed(bool bClosedForInactivity)"
inline QString describe(const QMetaMethod &method)
{
    static const char *const ACCESS[] = {"private", "protected", "public"};
    static const char *const KIND[] = {"invokable", "signal", "slot", "constructor"};
    QStringList parameters;
    for (int i = 0; i < method.parameterCount(); ++i) {
        const QByteArray name = method.parameterNames().at(i);
        parameters << QString::fromUtf8(method.parameterTypes().at(i) + (name.isEmpty() ? "" : " ")
                                        + name);
    }
    return u"%1 %2 %3 %4(%5)"_s.arg(QLatin1String(ACCESS[method.access()]),
                                    QLatin1String(KIND[method.methodType()]),
                                    QLatin1String(method.typeName()),
                                    QString::fromUtf8(method.name()), parameters.join(u", "_s));
}

inline QStringList methodsOf(const QMetaObject &meta)
{
    QStringList lines;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i)
        lines << describe(meta.method(i));
    return lines;
}

// "QString title READ WRITE", and whatever else it can do.
inline QString describe(const QMetaProperty &property)
{
    QString line =
        u"%1 %2"_s.arg(QLatin1String(property.typeName()), QLatin1String(property.name()));
    const auto add = [&line](bool can, const char *what) {
        if (can)
            line += QLatin1Char(' ') + QLatin1String(what);
    };
    add(property.isReadable(), "READ");
    add(property.isWritable(), "WRITE");
    add(property.isResettable(), "RESET");
    add(property.hasNotifySignal(), "NOTIFY");
    add(property.isConstant(), "CONSTANT");
    add(property.isFinal(), "FINAL");
    return line;
}

inline QStringList propertiesOf(const QMetaObject &meta)
{
    QStringList lines;
    for (int i = meta.propertyOffset(); i < meta.propertyCount(); ++i)
        lines << describe(meta.property(i));
    return lines;
}

// "PROTOCOL_TYPE WEBSOCKET 1"
inline QStringList enumeratorsOf(const QMetaObject &meta)
{
    QStringList lines;
    for (int i = meta.enumeratorOffset(); i < meta.enumeratorCount(); ++i) {
        const QMetaEnum type = meta.enumerator(i);
        for (int key = 0; key < type.keyCount(); ++key)
            lines << u"%1 %2 %3"_s.arg(QLatin1String(type.name()), QLatin1String(type.key(key)),
                                       QString::number(type.value(key)));
    }
    return lines;
}

// "PresenterCollab: QObject"
inline QString lineageOf(const QMetaObject &meta)
{
    return u"%1: %2"_s.arg(QLatin1String(meta.className()),
                           QLatin1String(meta.superClass()->className()));
}

// Compares all of that, each list in its order.
inline void compareMetaObject(const QMetaObject &meta, const char *lineage,
                              const Lines &methods = {}, const Lines &properties = {},
                              const Lines &enumerators = {})
{
    QCOMPARE(lineageOf(meta), QString::fromUtf8(lineage));
    QCOMPARE(methodsOf(meta), texts(methods));
    QCOMPARE(propertiesOf(meta), texts(properties));
    QCOMPARE(enumeratorsOf(meta), texts(enumerators));
}
