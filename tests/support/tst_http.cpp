#include "support/Http.h"

#include <QtTest/QtTest>

class tst_Http : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void userInfoIsLeftOut_data();
    void userInfoIsLeftOut();
};

void tst_Http::userInfoIsLeftOut_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("printed");
    const auto row = [](const char *text, const char *printed) {
        QTest::newRow(text) << QString::fromUtf8(text) << QString::fromUtf8(printed);
    };
    const auto same = [&](const char *text) { row(text, text); };
    same("");
    same("http://h");
    same("http://h/a@b");
    same("http://h?a@b");
    same("http://h#a@b");
    same("mail a@b");
    row("http://u@h", "http://h");
    row("http://u:p@h:80/x", "http://h:80/x");
    row("https://u:@[::1]/x@y", "https://[::1]/x@y");
    row("ws://u:p@q@h/", "ws://h/");
    row("ws://u:p q@h/", "ws://h/");
    row("http://ü:ö@h", "http://h");
    row("no http://a:b@c/ and https://d:e@f/ left", "no http://c/ and https://f/ left");
}

void tst_Http::userInfoIsLeftOut()
{
    QFETCH(QString, text);
    QFETCH(QString, printed);
    QCOMPARE(Tarvo::withoutUserInfo(text), printed);
}

QTEST_GUILESS_MAIN(tst_Http)
#include "tst_http.moc"
