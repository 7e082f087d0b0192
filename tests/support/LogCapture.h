#pragma once

#include <QtCore/QMutex>
#include <QtCore/QString>
#include <QtCore/QStringList>

// Collects what is written to the Qt debug stream, from any thread, while the object lives; the
// earlier message handler is put back when it goes. One at a time.
class LogCapture
{
public:
    LogCapture()
    {
        lines().clear();
        s_previous = qInstallMessageHandler(&LogCapture::handle);
    }
    ~LogCapture() { qInstallMessageHandler(s_previous); }
    LogCapture(const LogCapture &) = delete;
    LogCapture &operator=(const LogCapture &) = delete;

    // Every message so far, oldest first, without category or time.
    QStringList messages() const
    {
        QMutexLocker lock(&mutex());
        return lines();
    }
    bool contains(const QString &message) const { return messages().contains(message); }
    int count(const QString &message) const { return messages().count(message); }
    QStringList startingWith(const QString &prefix) const
    {
        QStringList found;
        for (const QString &message : messages()) {
            if (message.startsWith(prefix))
                found.append(message);
        }
        return found;
    }
    void clear()
    {
        QMutexLocker lock(&mutex());
        lines().clear();
    }

private:
    static void handle(QtMsgType, const QMessageLogContext &, const QString &message)
    {
        QMutexLocker lock(&mutex());
        lines().append(message);
    }
    static QStringList &lines()
    {
        static QStringList list;
        return list;
    }
    static QMutex &mutex()
    {
        static QMutex instance;
        return instance;
    }
    static inline QtMessageHandler s_previous = nullptr;
};
