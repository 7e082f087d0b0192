// A host that was built once, with the headers of version 1.0, and runs with every later library of the same major
// version. It is not changed when the library is: what it uses, other hosts use.

#include "Part.h"

#include "support/TarvoVersion.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QDebug>

static bool runsWithItsLibrary()
{
    const QVersionNumber version = Tarvo::libraryVersion();
    EXPECT(version.majorVersion() == TARVO_VERSION_MAJOR);
    EXPECT(version >= QVersionNumber::fromString(QStringLiteral(TARVO_VERSION_STR)));
    return true;
}

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    const bool runs = runsWithItsLibrary() && usesCodec() && usesContent() && usesChannel()
        && usesTransports() && usesClient() && usesKit();
    if (!runs)
        return 1;
    qInfo() << "a host of" << TARVO_VERSION_STR << "runs";
    return 0;
}
