#include "lessonfiles/NamedFile.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Host
{

namespace
{

// The service takes no larger picture.
constexpr int MAX_MEGABYTES = 10;
constexpr qint64 MAX_BYTES = MAX_MEGABYTES * 1000 * 1000;

bool isBelow(const QString &folder, const QString &path)
{
    const QString begin = folder.endsWith(QLatin1Char('/')) ? folder : folder + QLatin1Char('/');
    return !folder.isEmpty() && path.startsWith(begin);
}

NamedFile refused(const QString &fileName, const QString &why)
{
    return {{}, QStringLiteral("%1: %2").arg(fileName, why)};
}

NamedFile readFrom(QFile &file, const QString &fileName)
{
    NamedFile result{file.read(MAX_BYTES + 1), {}};
    if (file.error() != QFileDevice::NoError)
        return refused(fileName, file.errorString());
    if (result.bytes.size() <= MAX_BYTES)
        return result;
    return refused(fileName,
                   QStringLiteral("The file is larger than %1 MB, and the service takes no more; "
                                  "make it smaller.")
                       .arg(MAX_MEGABYTES));
}

// By the path without links, and not waiting for anybody: a pipe without a writer would take for ever.
int openOrdinary(const QString &path)
{
    const int descriptor = ::open(QFile::encodeName(path).constData(),
                                  O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    struct stat status {
    };
    if (descriptor < 0 || (::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode)))
        return descriptor;
    ::close(descriptor);
    return -1;
}

} // namespace

QString whyNotFrom(const QString &folder, const QString &fileName)
{
    const QFileInfo file(fileName);
    if (folder.isEmpty() || !file.exists())
        return QString();
    if (!isBelow(QFileInfo(folder).canonicalFilePath(), file.canonicalFilePath())) {
        return QStringLiteral("%1: The file is not in the lesson's folder %2; put it there, or let "
                              "the lesson read all files with --allow-files.")
            .arg(fileName, QDir::toNativeSeparators(folder));
    }
    // A folder, a pipe, a device; isFile() follows links.
    return file.isFile() ? QString()
                         : QStringLiteral("%1: This is no ordinary file; name another one, or let "
                                          "the lesson read everything with --allow-files.")
                               .arg(fileName);
}

NamedFile readNamed(const QString &fileName, const QString &folder)
{
    QFile file(fileName);
    if (folder.isEmpty()) {
        return file.open(QIODevice::ReadOnly) ? readFrom(file, fileName)
                                              : refused(fileName, file.errorString());
    }
    if (const QString why = whyNotFrom(folder, fileName); !why.isEmpty())
        return {{}, why};
    const int descriptor = openOrdinary(QFileInfo(fileName).canonicalFilePath());
    if (descriptor < 0)
        return refused(fileName, qt_error_string());
    file.open(descriptor, QIODevice::ReadOnly, QFileDevice::AutoCloseHandle);
    return readFrom(file, fileName);
}

} // namespace Host
