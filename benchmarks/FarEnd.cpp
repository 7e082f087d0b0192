#include "benchmarks/FarEnd.h"

#include <QtCore/QCoreApplication>

FarEnd::FarEnd()
{
    m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    m_process.start(QCoreApplication::applicationDirPath() + QStringLiteral("/farend"),
                    QStringList());
    if (!m_process.waitForStarted() || !m_process.waitForReadyRead())
        qFatal("The far end does not start.");
    const int port = m_process.readLine().trimmed().toInt();
    m_url = QStringLiteral("http://127.0.0.1:%1").arg(port);
}

FarEnd::~FarEnd()
{
    m_process.closeWriteChannel();
    m_process.waitForFinished();
}
