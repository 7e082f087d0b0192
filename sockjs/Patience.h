#pragma once

#include <QtCore/QObject>
#include <QtCore/QTimer>

// A deadline that is fair when the host has kept its event loop from turning: what has arrived
// meanwhile is looked at once more before the time counts as over.
class Patience : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(Patience)

public:
    // Enough for all that waits in the event queue and in the system's buffers.
    static constexpr int LAST_LOOK_MS = 100;

    explicit Patience(QObject *parent = nullptr);

    // With `lastLookMs` 0 the time is over on the dot.
    void start(int ms, int lastLookMs = LAST_LOOK_MS);
    // The same, but an end that comes sooner already stays.
    void startOrShorten(int ms);
    void stop();
    bool isActive() const { return m_timer.isActive(); }

Q_SIGNALS:
    void ended();

private:
    void onTimeout();

    QTimer m_timer{this};
    int m_lastLookMs = 0; // 0 once it has begun
};
