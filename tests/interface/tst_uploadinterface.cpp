// The upload of PresenterClient by name.

#include "client/PresenterClient.h"

#include "interface/Functions.h"
#include "interface/Members.h"

#include <QtTest/QtTest>

using Client = PresenterClient;

namespace
{

// What derived classes may use.
struct Derived : Client {
    using Client::uploadResourceResponse;
};

} // namespace

QVector<Extent> extents(const Client &client);

// clang-format off
template struct Members<Client,
    member<PresenterCollab *>(&Client::collab), // the session's last
    member<QString>(&Client::resourceId),
    member<QString>(&Client::resourcePath)>;
// clang-format on

class tst_UploadInterface : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void functions();
    void membersFollowEachOther();
};

// clang-format off
void tst_UploadInterface::functions()
{
    QVERIFY(has<bool (Client::*)(QString, QByteArray, QString *, QString *)>(&Client::doUploadResource));
    QVERIFY(has<QString (Client::*)(QString, QString, bool)>(&Client::addMultipartValue));
    QVERIFY(has<void (Client::*)(QString)>(&Derived::uploadResourceResponse));
    QVERIFY(has<int (Client::*)(QString, QString *)>(&Client::LzmaDecompress64));
}
// clang-format on

void tst_UploadInterface::membersFollowEachOther()
{
    const Client client(nullptr, u"http://localhost"_s);
    QCOMPARE(outOfPlace(extents(client)), QString());
}

QTEST_GUILESS_MAIN(tst_UploadInterface)
#include "tst_uploadinterface.moc"
