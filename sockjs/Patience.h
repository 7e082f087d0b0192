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
    explicit Patience(QObject *parent = nullptr);

    void start(int ms);
    void stop();
    bool isActive() const { return m_timer.isActive(); }

Q_SIGNALS:
    void ended();

private:
    void onTimeout();

    QTimer m_timer{this};
    bool m_isLastLook = false;
};
