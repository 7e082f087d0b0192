// The TLS policy of PresenterClient by name: one protected slot.

#include "client/PresenterClient.h"

#include "interface/Functions.h"
#include "interface/MetaObject.h"

#include <QtTest/QtTest>

using Client = PresenterClient;

namespace
{

// What derived classes may use.
struct Derived : Client {
    using Client::slotSslErrors;
};

} // namespace

class tst_TlsPolicyInterface : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void slotTakesTheReplyAndItsErrors();
};

void tst_TlsPolicyInterface::slotTakesTheReplyAndItsErrors()
{
    const QMetaObject &meta = Client::staticMetaObject;
    QVERIFY(has<void (Client::*)(QNetworkReply *, QList<QSslError>)>(&Derived::slotSslErrors));
    QCOMPARE(
        describe(meta.method(meta.indexOfSlot("slotSslErrors(QNetworkReply*,QList<QSslError>)"))),
        u"protected slot void slotSslErrors(QNetworkReply* reply, QList<QSslError> errors)"_s);
}

QTEST_GUILESS_MAIN(tst_TlsPolicyInterface)
#include "tst_tlspolicyinterface.moc"
