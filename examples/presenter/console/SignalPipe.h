#pragma once

#include <QtCore/QObject>

QT_BEGIN_NAMESPACE
class QSocketNotifier;
QT_END_NAMESPACE

namespace Host
{

// Brings process signals into the event loop: the handler writes one byte into a pipe, which is all
// that is safe there, and the loop reads it. One object at a time.
class SignalPipe : public QObject
{
    Q_OBJECT

public:
    explicit SignalPipe(QObject *parent = nullptr);
    ~SignalPipe() override;
    Q_DISABLE_COPY_MOVE(SignalPipe)

Q_SIGNALS:
    void interrupted();   // SIGINT
    void terminated();    // SIGTERM, SIGHUP or SIGQUIT
    void screenChanged(); // the window has a new size
    void continued();     // the process was stopped, and somebody else had the terminal

private:
    void readPending();
    void tell(int number);

    QSocketNotifier *m_notifier = nullptr;
};

} // namespace Host
