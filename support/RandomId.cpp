#include "support/RandomId.h"

#include "support/Toolkit.h"

#include <QtCore/QRandomGenerator>

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
    QString id;
    id.reserve(ID_LENGTH);
    SeededNumbers numbers(static_cast<uint>(std::time(nullptr)));
    for (int i = 0; i < ID_LENGTH; ++i)
        id += QLatin1Char(ALPHABET[numbers.next() % ALPHABET_SIZE]);
    return id;
}

QString uniqueRandomId()
{
    QString id;
    id.reserve(ID_LENGTH);
    for (int i = 0; i < ID_LENGTH; ++i)
        id += QLatin1Char(ALPHABET[QRandomGenerator::system()->bounded(ALPHABET_SIZE)]);
    return id;
}

} // namespace Tarvo
