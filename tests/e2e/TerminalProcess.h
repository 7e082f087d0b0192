#pragma once

#include "e2e/PresenterProcess.h"
#include "examples/presenter/console/Utf8Reader.h"

#include <QtCore/QSocketNotifier>

#include <cstdlib>
#include <fcntl.h>
#include <memory>
#include <sys/ioctl.h>
#include <unistd.h>

// A terminal of 60 columns and 12 rows, of which the test holds the other end.
class TerminalProcess : public PresenterProcess
{
public:
    TerminalProcess() : m_master(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC))
    {
        grantpt(m_master);
        unlockpt(m_master);
        const winsize size{12, 60, 0, 0};
        ioctl(m_master, TIOCSWINSZ, &size);
        m_slaveName = ptsname(m_master);
        setInChild([this] { takeTerminal(); });
        // Standard input and output are replaced below; this keeps QProcess from making pipes.
        setInputChannelMode(QProcess::ForwardedInputChannel);
        setProcessChannelMode(QProcess::ForwardedChannels);
        m_notifier = std::make_unique<QSocketNotifier>(m_master, QSocketNotifier::Read);
        connect(m_notifier.get(), &QSocketNotifier::activated, this, [this] { takeScreen(); });
    }
    ~TerminalProcess() override
    {
        kill();
        waitForFinished();
        m_notifier.reset();
        ::close(m_master);
    }

    void type(const QByteArray &keys)
    {
        const ssize_t written = ::write(m_master, keys.constData(), size_t(keys.size()));
        QCOMPARE(int(written), keys.size());
    }
    bool shows(const QString &text)
    {
        return QTest::qWaitFor([&] { return m_screen.contains(text); }, LIMIT_MS);
    }
    QString screen() const { return m_screen; }
    void forget() { m_screen.clear(); }

private:
    void takeTerminal() const
    {
        setsid();
        const int slave = ::open(m_slaveName.constData(), O_RDWR); // becomes the terminal
        for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
            dup2(slave, descriptor);
        ::close(slave);
    }
    void takeScreen()
    {
        char bytes[4096];
        const ssize_t count = ::read(m_master, bytes, sizeof(bytes));
        if (count > 0)
            m_screen += m_reader.read(QByteArray(bytes, int(count)));
        else
            m_notifier->setEnabled(false); // the program has ended
    }

    int m_master;
    QByteArray m_slaveName;
    std::unique_ptr<QSocketNotifier> m_notifier;
    Host::Utf8Reader m_reader;
    QString m_screen;
};
