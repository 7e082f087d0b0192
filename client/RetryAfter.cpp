#include "client/RetryAfter.h"

#include <QtCore/QDateTime>
#include <QtCore/QLocale>
#include <QtCore/QString>

#include <algorithm>

namespace
{

constexpr int NOTHING = -1;
constexpr int LONGEST_S = 86400;

// The forms of a date in HTTP, behind the day of the week; the first is the one in use.
const QLatin1String DATE_FORMATS[] = {
    QLatin1String("dd MMM yyyy hh:mm:ss 'GMT'"),
    QLatin1String("dd-MMM-yy hh:mm:ss 'GMT'"),
    QLatin1String("MMM d hh:mm:ss yyyy"),
};

// The toolkit takes a year of two digits for one of the last century.
constexpr int FIRST_YEAR = 1970;
constexpr int CENTURY = 100;

// Not valid when the text is no date.
QDateTime httpDate(const QByteArray &text)
{
    const QString words = QString::fromLatin1(text).simplified().section(QLatin1Char(' '), 1);
    for (const QLatin1String format : DATE_FORMATS) {
        QDateTime date = QLocale::c().toDateTime(words, format);
        if (!date.isValid())
            continue;
        if (date.date().year() < FIRST_YEAR)
            date = date.addYears(CENTURY);
        return QDateTime(date.date(), date.time(), Qt::UTC);
    }
    return QDateTime();
}

bool isNumber(const QByteArray &text)
{
    return !text.isEmpty()
        && std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

} // namespace

// A date is compared with the server's own clock where it tells the time; ours may be wrong.
int retryAfterSeconds(const QByteArray &retryAfter, const QByteArray &date)
{
    const QByteArray text = retryAfter.trimmed();
    if (text.isEmpty())
        return NOTHING; // nearly every reply: not to be tried as every form of a date
    if (isNumber(text)) {
        bool fits = false;
        const int seconds = text.toInt(&fits);
        return fits ? std::min(seconds, LONGEST_S) : LONGEST_S;
    }
    const QDateTime then = httpDate(text);
    if (!then.isValid())
        return NOTHING;
    QDateTime now = httpDate(date);
    if (!now.isValid())
        now = QDateTime::currentDateTimeUtc();
    const qint64 seconds = now.secsTo(then);
    return seconds < 0 ? NOTHING : int(std::min<qint64>(seconds, LONGEST_S));
}
