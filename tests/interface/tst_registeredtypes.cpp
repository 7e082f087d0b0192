// The names under which values cross threads and reach connections made by text. They are known as
// soon as the library is loaded: nothing of it is made or called in this program.

#include "client/PresenterClient.h"
#include "model/Learner.h"
#include "model/RemoteControlMessage.h"
#include "sockjs/XHRRequest.h"

#include <QtTest/QtTest>

class tst_RegisteredTypes : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void namesAreKnown_data();
    void namesAreKnown();
    void shortNamesAreTheHosts();
};

void tst_RegisteredTypes::initTestCase()
{
    // Named only, so that the program needs the library at all.
    QCOMPARE(PresenterClient::staticMetaObject.className(), "PresenterClient");
}

void tst_RegisteredTypes::namesAreKnown_data()
{
    QTest::addColumn<int>("size");
    QTest::newRow("QStringMap") << int(sizeof(QStringMap));
    QTest::newRow("Tarvo::Learner") << int(sizeof(Tarvo::Learner));
    QTest::newRow("Tarvo::RemoteControlMessage") << int(sizeof(Tarvo::RemoteControlMessage));
}

void tst_RegisteredTypes::namesAreKnown()
{
    QFETCH(int, size);
    const int type = QMetaType::type(QTest::currentDataTag());
    QVERIFY(type != QMetaType::UnknownType);
    QCOMPARE(QMetaType::sizeOf(type), size);
}

// A host may have types of these names of its own.
void tst_RegisteredTypes::shortNamesAreTheHosts()
{
    QCOMPARE(QMetaType::type("Learner"), int(QMetaType::UnknownType));
    QCOMPARE(QMetaType::type("RemoteControlMessage"), int(QMetaType::UnknownType));
}

QTEST_GUILESS_MAIN(tst_RegisteredTypes)
#include "tst_registeredtypes.moc"
