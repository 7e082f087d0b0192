#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QString>

namespace Host
{

// A file that a command or a person names.
struct NamedFile {
    QByteArray bytes;
    QString error; // why it was not read; empty when it was
};

// Reads a file of up to 10 MB. With a folder it has to be an ordinary file in that folder or below it,
// once all links are followed: nothing else is even opened. Without one it is whatever can be read.
NamedFile readNamed(const QString &fileName, const QString &folder);

// Why a file that is there would not be read because of the folder; empty otherwise.
QString whyNotFrom(const QString &folder, const QString &fileName);

} // namespace Host
