#pragma once

#include <QtCore/QMetaMethod>
#include <QtCore/QStringList>

// The signals and slots that a class declares itself, in their order.
inline QStringList methodsOf(const QMetaObject &meta)
{
    QStringList signatures;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i)
        signatures.append(meta.method(i).methodSignature());
    return signatures;
}
