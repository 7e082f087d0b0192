#pragma once

#include "host/TurnMeter.h"

#include <QtCore/QMap>
#include <QtCore/QMetaEnum>
#include <QtWidgets/QApplication>

// An application that measures the processor's work for each event of its thread, with all slots that the
// event calls, and knows the worst by their places. Work that has been named goes by that name.
class EventMeter : public QApplication
{
public:
    EventMeter(int &argc, char **argv) : QApplication(argc, argv) { }
    static EventMeter *self() { return static_cast<EventMeter *>(instance()); }

    // Work of the toolkit's own: events go by this name for as long as it lives.
    class Named
    {
    public:
        explicit Named(const QString &name) { self()->m_name = name; }
        ~Named() { self()->m_name.clear(); }
        Q_DISABLE_COPY_MOVE(Named)
    };

    bool notify(QObject *receiver, QEvent *event) override
    {
        // Events of every thread come by.
        if (QThread::currentThread() != thread() || m_depth > 0)
            return QApplication::notify(receiver, event);
        const QString place = m_name.isEmpty() ? placeOf(receiver, event) : m_name;
        const Stretch stretch;
        ++m_depth;
        const bool isTaken = QApplication::notify(receiver, event);
        --m_depth;
        const double cpu = stretch.cpu();
        double &worst = m_worst[place];
        worst = qMax(worst, cpu);
        return isTaken;
    }

    // The longest time of each place in milliseconds since the last time.
    QMap<QString, double> take() { return std::exchange(m_worst, {}); }

private:
    static QString placeOf(const QObject *receiver, const QEvent *event)
    {
        static const QMetaEnum types = QMetaEnum::fromType<QEvent::Type>();
        return QStringLiteral("%1 \"%2\": %3")
            .arg(QLatin1String(receiver->metaObject()->className()), receiver->objectName(),
                 QLatin1String(types.valueToKey(event->type())));
    }

    int m_depth = 0;
    QString m_name;
    QMap<QString, double> m_worst;
};
