#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QObject>
#include <QtCore/QString>

QT_BEGIN_NAMESPACE
class QSocketNotifier;
QT_END_NAMESPACE

namespace Host
{

class Terminal;

// Lines from standard input: typed at the terminal's prompt when it has one, else as they stand in
// the pipe or file.
class Input : public QObject
{
    Q_OBJECT

public:
    explicit Input(Terminal &terminal, QObject *parent = nullptr);

    void start();
    // Whether standard input is a device that has nothing to say, such as /dev/null, or closed.
    static bool isNone();

Q_SIGNALS:
    void line(const QString &text);
    void ended();

private:
    void read();
    void split(const QByteArray &chunk);
    void finish();

    Terminal &m_terminal;
    QSocketNotifier *m_notifier = nullptr;
    QByteArray m_unfinished; // the line whose end has not been read yet
};

} // namespace Host
