#include "benchmarks/ServerProcess.h"

#include <QtCore/QCoreApplication>

ServerProcess::ServerProcess(const QString &program, const QStringList &arguments)
{
    m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    m_process.start(program, arguments);
    if (!m_process.waitForStarted() || !m_process.waitForReadyRead())
        qFatal("%s does not start.", qPrintable(program));
    m_url = QString::fromUtf8(m_process.readLine().trimmed().split(' ').last());
}

ServerProcess::~ServerProcess()
{
    m_process.terminate();
    m_process.waitForFinished();
}

QString ServerProcess::farEnd()
{
    return QCoreApplication::applicationDirPath() + QStringLiteral("/farend");
}
