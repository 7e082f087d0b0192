// The kit's values are known to the meta-type system as soon as the library is loaded, so that they
// travel in queued connections, signal spies and QML.
#include "host/LiveClass.h"

#include <QtCore/QCoreApplication>

namespace
{

void registerTypes()
{
    qRegisterMetaType<Tarvo::Action::Type>();
    qRegisterMetaType<Tarvo::Assessment>();
    qRegisterMetaType<Tarvo::Failure>();
    qRegisterMetaType<Tarvo::Failure::Reason>();
    qRegisterMetaType<Tarvo::LiveClass::Activity>();
    qRegisterMetaType<Tarvo::LiveClass::State>();
    qRegisterMetaType<Tarvo::Operation>();
}

} // namespace

Q_CONSTRUCTOR_FUNCTION(registerTypes)
