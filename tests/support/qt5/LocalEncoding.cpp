#include "support/LocalEncoding.h"

#include <QtCore/QTextCodec>

namespace
{

QTextCodec *before = nullptr;

} // namespace

LocalEncoding::LocalEncoding(const QByteArray &name)
{
    before = QTextCodec::codecForLocale();
    QTextCodec *codec = QTextCodec::codecForName(name);
    Q_ASSERT(codec);
    QTextCodec::setCodecForLocale(codec);
}

LocalEncoding::~LocalEncoding()
{
    QTextCodec::setCodecForLocale(before);
}

bool LocalEncoding::canChange()
{
    return true;
}
