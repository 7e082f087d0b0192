#pragma once

#include "e2e/Classroom.h"
#include "support/Text.h"

#include <QtCore/QFile>
#include <QtCore/QProcess>
#include <QtCore/QProcessEnvironment>
#include <QtCore/QTemporaryDir>
#include <QtTest/QtTest>

#include <csignal>
#include <sys/prctl.h>

// Writes a file into the folder and returns its path.
inline QString writeFile(const QTemporaryDir &folder, const QString &name, const QByteArray &bytes)
{
    QFile file(folder.filePath(name));
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
        qWarning("cannot write %s", qPrintable(file.fileName()));
    return file.fileName();
}

// tarvo-presenter as a child process, with what it wrote. It is killed when the object goes.
//
// Waiting lets the event loop of the test turn.
class PresenterProcess : public QProcess
{
public:
    static constexpr int LIMIT_MS = 80000;

    PresenterProcess()
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"TARVO_PASSWORD"_s, u"secret"_s);
        setProcessEnvironment(environment);
        connect(this, &QProcess::readyReadStandardOutput, this,
                [this] { m_output += QString::fromUtf8(readAllStandardOutput()); });
        connect(this, &QProcess::readyReadStandardError, this,
                [this] { m_errors += QString::fromUtf8(readAllStandardError()); });
    }
    ~PresenterProcess() override
    {
        kill();
        waitForFinished();
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

    // The exit code, or -1 when it crashed or did not end in time.
    int ended()
    {
        const bool hasEnded =
            QTest::qWaitFor([this] { return state() == QProcess::NotRunning; }, LIMIT_MS);
        return hasEnded && exitStatus() == QProcess::NormalExit ? exitCode() : -1;
    }
    bool says(const QString &text)
    {
        return QTest::qWaitFor(
                   [&] { return m_output.contains(text) || state() == QProcess::NotRunning; },
                   LIMIT_MS)
            && m_output.contains(text);
    }

    QString output() const { return m_output; }
    QString errors() const { return m_errors; }
    QStringList lines() const { return m_output.split(QLatin1Char('\n')); }

protected:
    void setupChildProcess() override { prctl(PR_SET_PDEATHSIG, SIGKILL); }

private:
    QString m_output;
    QString m_errors;
};
