#include "client/ServiceTest.h"

#include "support/Slowness.h"

void ServiceTest::init()
{
    startClock();
    service.reset(new RestService);
}

void ServiceTest::cleanup()
{
    QCOMPARE(service->faults().join(QLatin1Char('\n')), QString());
    QVERIFY2(m_clock.elapsed() < SLOWNESS * m_limitMs,
             qPrintable(QString::number(m_clock.elapsed())));
}

void ServiceTest::expectAll(const QVector<Operation> &operations)
{
    for (const Operation &each : operations)
        service->expect(each.path, each.body).json(each.reply);
}

void ServiceTest::addReplyColumns()
{
    QTest::addColumn<QByteArray>("status");
    QTest::addColumn<QByteArray>("reply");
}

void ServiceTest::addReply(const char *name, const QByteArray &status, const QByteArray &reply)
{
    QTest::newRow(name) << status << reply;
}
