#pragma once

#include "support/Text.h"

#include <QtCore/QObject>

// What the serializer writes about objects in objects.
inline const QString MAX_DEPTH =
    u"[JsonSerializer] ERROR: Reached max depth! Increase MAX_RECURSE_DEPTH or "
    "check object references!"_s;

inline QString mapping(const char *name)
{
    return u"[JsonSerializer] Mapping sub-property: %1"_s.arg(name);
}

inline QString failedToMap(const char *name)
{
    return u"[JsonSerializer] ERROR: Failed to map property: %1"_s.arg(name);
}

// A value and up to four further objects, declared against the order of their keys.
class Node : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QString value MEMBER value)
    Q_PROPERTY(QObject *d MEMBER d)
    Q_PROPERTY(QObject *c MEMBER c)
    Q_PROPERTY(QObject *b MEMBER b)
    Q_PROPERTY(QObject *a MEMBER a)

public:
    explicit Node(const QString &text) : value(text) { }
    QString value;
    QObject *a = nullptr;
    QObject *b = nullptr;
    QObject *c = nullptr;
    QObject *d = nullptr;
};

class Leaf : public QObject
{
    Q_OBJECT
    Q_PROPERTY(int n MEMBER n)

public:
    int n = 1;
};
