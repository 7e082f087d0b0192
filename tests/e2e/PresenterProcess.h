#pragma once

#include "e2e/Classroom.h"
#include "e2e/HostProcess.h"
#include "support/Text.h"

#include <QtCore/QFile>
#include <QtCore/QProcessEnvironment>
#include <QtCore/QTemporaryDir>

// Writes a file into the folder and returns its path.
inline QString writeFile(const QTemporaryDir &folder, const QString &name, const QByteArray &bytes)
{
    QFile file(folder.filePath(name));
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
        qWarning("cannot write %s", qPrintable(file.fileName()));
    return file.fileName();
}

// tarvo-presenter as a child process.
class PresenterProcess : public HostProcess
{
public:
    PresenterProcess()
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"TARVO_PASSWORD"_s, u"secret"_s);
        setProcessEnvironment(environment);
    }

    // Against a classroom, as its teacher, and further arguments.
    void run(const Classroom &classroom, const QStringList &arguments)
    {
        runWith(QStringList{u"--server"_s, classroom.url(), u"--user"_s, u"teacher"_s} + arguments);
    }
    void runWith(const QStringList &arguments)
    {
        start(QStringLiteral(PRESENTER_PROGRAM), arguments);
    }
    // The same with commands on standard input, which ends behind them.
    void runPiped(const Classroom &classroom, const QByteArray &commands,
                  const QStringList &arguments = {})
    {
        run(classroom, arguments);
        write(commands);
        closeWriteChannel();
    }

    // All but what it says when stopping takes more than half a second, as on a busy machine.
    QString output() const
    {
        return HostProcess::output().remove(u"Stopping ..., Ctrl-C again to give up\n"_s);
    }
};
