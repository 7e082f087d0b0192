#include "AskedLine.h"

#include <QtCore/QElapsedTimer>

using namespace Scripted;

// What the receiving line makes of a connection that ends, and what its first request carries.
class tst_ReceivingLineConnections : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void firstRequestCarriesItsCookies();
    void halfALineEndIsTheBeginningOfAnAnswer();
    void resetLongAfterARequestIsTheServersAnswer();
    void connectionThatLastedIsFollowedByNoPause();
};

void tst_ReceivingLineConnections::firstRequestCarriesItsCookies()
{
    QNetworkCookie cookie("JSESSIONID", "1a");
    cookie.setDomain(localhost());
    cookie.setPath(u"/"_s);
    AskedLine run({{expectRequest()}}, {cookie});
    QVERIFY(run.hasAsked());
    QCOMPARE(headerOf(run.server.requests(0).at(0), "Cookie"), QByteArray("JSESSIONID=1a;"));
}

// A request whose answer has begun is not asked again.
void tst_ReceivingLineConnections::halfALineEndIsTheBeginningOfAnAnswer()
{
    AskedLine run({{expectRequest(), send("\r"), close()}});
    QTRY_COMPARE(run.ended.size(), 1);
    QCOMPARE(
        run.ended.at(0),
        (QList<QVariant>{
            1006, u"The connection to the server broke: The remote host closed the connection"_s}));
    QCOMPARE(run.server.connectionCount(), 1);
}

// A reset that crosses a request comes within a second.
void tst_ReceivingLineConnections::resetLongAfterARequestIsTheServersAnswer()
{
    AskedLine run(
        {{expectRequest(), send(reply("o\n")), expectRequest(), pause(1500), Scripted::abort()}});
    QTRY_COMPARE(run.ended.size(), 1);
    QCOMPARE(
        run.ended.at(0),
        (QList<QVariant>{1006, u"The connection to the server broke: Connection reset by peer"_s}));
    QCOMPARE(run.server.connectionCount(), 1);
}

// The shortest pause takes 250 ms; one attempt without it shows that there is none.
void tst_ReceivingLineConnections::connectionThatLastedIsFollowedByNoPause()
{
    qint64 shortest = 250;
    for (int attempt = 0; attempt < 3 && shortest >= 250; ++attempt) {
        AskedLine run({{expectRequest(), send(reply("o\n")), close()},
                       {expectRequest(), pause(1200), send(reply("")), close()},
                       {expectRequest()}});
        QVERIFY(run.hasAsked(2));
        QElapsedTimer sinceLost;
        connect(run.connection(), &QTcpSocket::readChannelFinished, this,
                [&] { sinceLost.start(); });
        QVERIFY(run.hasAsked(3));
        QVERIFY(sinceLost.isValid());
        shortest = qMin(shortest, sinceLost.elapsed());
    }
    QVERIFY(shortest < 250);
}

QTEST_GUILESS_MAIN(tst_ReceivingLineConnections)
#include "tst_receivinglineconnections.moc"
