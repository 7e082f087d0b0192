#include "ClassroomName.h"

#include <QtCore/QLatin1String>

#include <atomic>
#include <cstring>

#include <dlfcn.h>
#include <netdb.h>

namespace
{

constexpr char NAME[] = "classroom.test";
std::atomic<bool> isKnown{true};

} // namespace

QString classroomName()
{
    return QLatin1String(NAME);
}

void setClassroomNameKnown(bool known)
{
    isKnown = known;
}

// The program's own comes before the system's, for Qt's libraries, too.
extern "C" Q_DECL_EXPORT int getaddrinfo(const char *name, const char *service,
                                         const addrinfo *hints, addrinfo **found)
{
    static const auto ask =
        reinterpret_cast<decltype(&getaddrinfo)>(dlsym(RTLD_NEXT, "getaddrinfo"));
    if (!name || std::strcmp(name, NAME) != 0)
        return ask(name, service, hints, found);
    return isKnown ? ask("127.0.0.1", service, hints, found) : EAI_NONAME;
}
