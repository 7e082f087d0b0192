// What some versions of the toolkit do unless they are told otherwise, and the client never wants: redirects are
// not followed behind its back, and services are asked in HTTP/1.1, also where they offer HTTP/2.

#include "client/RequestTest.h"

#include "support/TestCertificates.h"

class tst_HttpDefaults : public RequestTest
{
    Q_OBJECT

private Q_SLOTS:
    void redirectIsTheReplyAndNothingElseIsAsked_data();
    void redirectIsTheReplyAndNothingElseIsAsked();
    void serviceThatOffersHttp2IsAskedInHttp1();
};

void tst_HttpDefaults::redirectIsTheReplyAndNothingElseIsAsked_data()
{
    QTest::addColumn<QByteArray>("status");
    for (const char *status : {"301 Moved Permanently", "302 Found", "303 See Other",
                               "307 Temporary Redirect", "308 Permanent Redirect"})
        QTest::addRow("%s", status) << QByteArray(status);
}

void tst_HttpDefaults::redirectIsTheReplyAndNothingElseIsAsked()
{
    QFETCH(QByteArray, status);
    RestService present;
    const QByteArray location = "Location: " + present.url(PATH).toUtf8() + "\r\n";
    service->expect(PATH, "a=b").status(status, "moved", location);
    QVERIFY(!client->request("a=b"));
    QCOMPARE(client->getLastReply().httpStatus, status.left(3).toInt());
    QCOMPARE(client->getLastReply().text, u"moved"_s);
    QCOMPARE(client->getLastReply().redirect, QUrl(present.url(PATH)));
    QCOMPARE(client->getServerUrl(), present.url());

    // Whatever was asked before this has come before it.
    present.expect(PATH);
    QVERIFY(client->request());
    QCOMPARE(present.requests().size(), 1);
    QCOMPARE(present.faults(), QStringList());
}

void tst_HttpDefaults::serviceThatOffersHttp2IsAskedInHttp1()
{
    TestCertificates authority;
    authority.trust();
    QSslConfiguration tls = authority.issue(u"localhost"_s).serverConfiguration();
    tls.setAllowedNextProtocols({"h2", "http/1.1"});
    serve(tls);
    service->expect(PATH);
    QVERIFY(client->request());
    QVERIFY(service->lastRequest().requestLine().endsWith(" HTTP/1.1"));
}

QTEST_GUILESS_MAIN(tst_HttpDefaults)
#include "tst_httpdefaults.moc"
