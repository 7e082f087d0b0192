#pragma once

#include <QtCore/QVariant>
#include <QtCore/QtGlobal>
#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
#include <QtCore/QTextCodec>
#endif

#include <random>

// What the toolkit's versions 5 and 6 have under different names, or only one of them has. Nothing else looks at
// the version.
namespace Tarvo
{

#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)

// The toolkit marks its process-wide generator deprecated. Ids are defined by it and by its seed, so it stays, here
// and nowhere else.
QT_WARNING_PUSH
QT_WARNING_DISABLE_DEPRECATED
class SeededNumbers
{
public:
    explicit SeededNumbers(uint seed) { qsrand(seed); }
    uint next() { return uint(qrand()); }
};
QT_WARNING_POP

inline bool isLocalEncodingUtf8()
{
    constexpr int UTF8_MIB = 106;
    const QTextCodec *codec = QTextCodec::codecForLocale();
    return codec && codec->mibEnum() == UTF8_MIB;
}

#else

// The same numbers, from the generator that the toolkit's was.
class SeededNumbers
{
public:
    explicit SeededNumbers(uint seed) : m_generator(seed) { }
    uint next() { return uint(m_generator()); }

private:
    std::minstd_rand m_generator;
};

// Whatever the locale says.
inline bool isLocalEncodingUtf8()
{
    return true;
}

#endif

// Qt 6 also takes a text for a list, of its letters.
inline bool isList(const QVariant &value)
{
    const int type = value.userType();
    return type != QMetaType::QString && type != QMetaType::QByteArray
        && value.canConvert<QVariantList>();
}

} // namespace Tarvo
