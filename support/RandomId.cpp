#include "support/RandomId.h"

#include <ctime>

namespace Tarvo
{

namespace
{

constexpr char ALPHABET[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
constexpr int ALPHABET_SIZE = sizeof(ALPHABET) - 1;
constexpr int ID_LENGTH = 8;

} // namespace

QString randomId()
{
    // Qt marks its process-wide generator deprecated. The ids are defined by it and by its seed, so
    // it stays, here and nowhere else.
    QT_WARNING_PUSH
    QT_WARNING_DISABLE_DEPRECATED
    qsrand(static_cast<uint>(std::time(nullptr)));
    QString id;
    id.reserve(ID_LENGTH);
    for (int i = 0; i < ID_LENGTH; ++i)
        id.append(QLatin1Char(ALPHABET[qrand() % ALPHABET_SIZE]));
    QT_WARNING_POP
    return id;
}

} // namespace Tarvo
