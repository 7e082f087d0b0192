#include "support/RandomId.h"

#include <QtCore/QRandomGenerator>

#include <ctime>
#include <random>

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
    const auto append = [&](auto number) { id += QLatin1Char(ALPHABET[number % ALPHABET_SIZE]); };
    const auto seed = static_cast<uint>(std::time(nullptr));
#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
    // The toolkit marks its process-wide generator deprecated. The ids are defined by it and by its
    // seed, so it stays, here and nowhere else.
    QT_WARNING_PUSH
    QT_WARNING_DISABLE_DEPRECATED
    qsrand(seed);
    for (int i = 0; i < ID_LENGTH; ++i)
        append(qrand());
    QT_WARNING_POP
#else
    // The same numbers, from the generator that the toolkit's was.
    std::minstd_rand generator(seed);
    for (int i = 0; i < ID_LENGTH; ++i)
        append(generator());
#endif
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
