#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QList>
#include <QtCore/QMetaMethod>

// The signals and slots that a class itself declares, in their order.
inline QList<QByteArray> methodsOf(const QMetaObject &meta)
{
    QList<QByteArray> methods;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i)
        methods.append(meta.method(i).methodSignature());
    return methods;
}
