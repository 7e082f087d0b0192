#include "support/LocalEncoding.h"

LocalEncoding::LocalEncoding(const QByteArray &) { }

LocalEncoding::~LocalEncoding() = default;

bool LocalEncoding::canChange()
{
    return false;
}
