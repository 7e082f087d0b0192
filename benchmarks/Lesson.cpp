#include "benchmarks/Lesson.h"

#include <QtCore/QRandomGenerator>

QByteArray Lesson::text(int bytes)
{
    static const char *const names[] = {"Ada", "Zoe",   "Mehmet", "Ingrid",
                                        "Li",  "Tomas", "Amara",  "Jo"};
    QRandomGenerator generator(1);
    QByteArray text;
    text.reserve(bytes + 200);
    while (text.size() < bytes) {
        text += "{\"deviceId\":\"" + QByteArray::number(generator.generate64(), 16)
            + "\",\"userName\":\"" + names[generator.bounded(8)] + "\",\"pollId\":\"poll-"
            + QByteArray::number(generator.bounded(100))
            + "\",\"responseTime\":" + QByteArray::number(generator.bounded(60000))
            + ",\"pick\":{\"blob\":[\"" + QByteArray::number(generator.bounded(4)) + "\"]}},";
    }
    text.truncate(bytes);
    return text;
}
