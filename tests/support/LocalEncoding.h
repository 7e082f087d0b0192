#pragma once

#include <QtCore/QByteArray>

// The encoding of the system's 8-bit texts, while one of these exists. Qt 5 can take any; with Qt 6 it is UTF-8,
// whatever the locale, and stays so.
class LocalEncoding
{
public:
    explicit LocalEncoding(const QByteArray &name);
    ~LocalEncoding();
    LocalEncoding(const LocalEncoding &) = delete;
    LocalEncoding &operator=(const LocalEncoding &) = delete;

    static bool canChange();
};
