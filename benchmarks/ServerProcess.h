#pragma once

#include <QtCore/QProcess>
#include <QtCore/QString>
#include <QtCore/QStringList>

// A server as a child process, which ends with this object.
class ServerProcess
{
public:
    // Starts the program and reads its first line, which ends in its address. Ends this program when
    // none comes.
    ServerProcess(const QString &program, const QStringList &arguments);
    ~ServerProcess();
    ServerProcess(const ServerProcess &) = delete;
    ServerProcess &operator=(const ServerProcess &) = delete;

    QString url() const { return m_url; }

    // The far end of a channel; farend.cpp tells what it does.
    static QString farEnd();

private:
    QProcess m_process;
    QString m_url;
};
