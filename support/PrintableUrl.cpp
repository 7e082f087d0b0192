#include "support/PrintableUrl.h"

#include <QtCore/QRegularExpression>

namespace Tarvo
{

QString withoutUserInfo(QString text)
{
    // Not static: a client may outlive what a function keeps.
    const QRegularExpression userInfo(QStringLiteral("(?<=://)[^/?#]*@"));
    return text.remove(userInfo);
}

} // namespace Tarvo
