#include "support/ScriptedServer.h"
#include "support/Text.h"

#include <QtNetwork/QSslSocket>
#include <QtTest/QtTest>

using namespace Scripted;

// The far end that the other tests rely on: it fails when it is told something unscripted.
class tst_ScriptedServer : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void scriptIsPlayedAndBytesAreKept();
    void otherBytesThanExpectedAreAFailure();
    void unscriptedConnectionIsAFailure();
    void connectionThatNeverComesIsAFailure();
    void tlsIsSpokenWithTheGivenCertificate();
    void expiredCertificateIsExpired();
    void intermediateStandsInTheChain();
};

void tst_ScriptedServer::scriptIsPlayedAndBytesAreKept()
{
    ScriptedServer server;
    server.onConnection({expect("one"), send("1"), expectRequest(), sendBytewise("23"),
                         expectMatch("end"), expectEnd()});
    QVERIFY(server.listen());

    QTcpSocket socket;
    socket.connectToHost(u"127.0.0.1"_s, server.port());
    QVERIFY(socket.waitForConnected(10000));
    socket.write("onePOST / HTTP/1.1\r\nContent-Length: 2\r\n\r\n{}");
    QByteArray answer;
    while (answer.size() < 3 && socket.waitForReadyRead(10000))
        answer += socket.readAll();
    QCOMPARE(answer, QByteArray("123"));
    socket.write("the end");
    socket.disconnectFromHost();
    QVERIFY(socket.state() == QAbstractSocket::UnconnectedState
            || socket.waitForDisconnected(10000));

    QVERIFY2(server.finished(), qPrintable(server.failure()));
    QCOMPARE(server.requests(0),
             QList<QByteArray>({"POST / HTTP/1.1\r\nContent-Length: 2\r\n\r\n{}"}));
    QCOMPARE(server.received(0),
             QByteArray("onePOST / HTTP/1.1\r\nContent-Length: 2\r\n\r\n{}the end"));
}

void tst_ScriptedServer::otherBytesThanExpectedAreAFailure()
{
    ScriptedServer server;
    server.onConnection({expect("one")});
    QVERIFY(server.listen());
    QTcpSocket socket;
    socket.connectToHost(u"127.0.0.1"_s, server.port());
    QVERIFY(socket.waitForConnected(10000));
    socket.write("two");
    QVERIFY(socket.waitForBytesWritten(10000));
    QVERIFY(!server.finished());
    QCOMPARE(server.failure(), u"connection 0: expected\none\ngot\ntwo"_s);
}

void tst_ScriptedServer::unscriptedConnectionIsAFailure()
{
    ScriptedServer server;
    QVERIFY(server.listen());
    QTcpSocket socket;
    socket.connectToHost(u"127.0.0.1"_s, server.port());
    QVERIFY(socket.waitForConnected(10000));
    QTRY_COMPARE(server.failure(), u"connection 0 was not scripted"_s);
}

void tst_ScriptedServer::connectionThatNeverComesIsAFailure()
{
    ScriptedServer server;
    server.setDeadline(100);
    server.onConnection({});
    QVERIFY(server.listen());
    QVERIFY(!server.finished());
}

void tst_ScriptedServer::tlsIsSpokenWithTheGivenCertificate()
{
    TestCertificates certificates;
    certificates.trust();
    ScriptedServer server;
    server.setCertificate(certificates.issue(u"localhost"_s));
    server.onConnection({expect("hello"), send("world"), close()});
    QVERIFY(server.listen());

    QSslSocket socket;
    socket.connectToHostEncrypted(u"127.0.0.1"_s, server.port());
    QVERIFY2(socket.waitForEncrypted(20000), qPrintable(socket.errorString()));
    socket.write("hello");
    QVERIFY(socket.waitForReadyRead(20000));
    QCOMPARE(socket.readAll(), QByteArray("world"));
    QVERIFY2(server.finished(), qPrintable(server.failure()));
    QCOMPARE(server.received(0), QByteArray("hello"));
}

void tst_ScriptedServer::expiredCertificateIsExpired()
{
    TestCertificates certificates;
    const QSslCertificate leaf = certificates.issueExpired(u"localhost"_s).chain().value(0);
    QVERIFY(!leaf.isNull());
    QVERIFY(leaf.expiryDate() < QDateTime::currentDateTime());
}

void tst_ScriptedServer::intermediateStandsInTheChain()
{
    TestCertificates certificates;
    const QList<QSslCertificate> chain =
        certificates.issueThroughIntermediate(u"localhost"_s).chain();
    QCOMPARE(chain.size(), 2);
    QCOMPARE(chain.at(0).issuerInfo(QSslCertificate::CommonName),
             QStringList{u"Test Intermediate"_s});
    QCOMPARE(chain.at(1).issuerInfo(QSslCertificate::CommonName), QStringList{u"Test Root"_s});
}

QTEST_GUILESS_MAIN(tst_ScriptedServer)
#include "tst_scriptedserver.moc"
