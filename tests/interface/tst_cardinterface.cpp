// Card by name. Its property names are keys of the JSON.

#include "model/Card.h"

#include "interface/Functions.h"
#include "interface/Members.h"
#include "interface/MetaObject.h"

#include <QtTest/QtTest>

using Tarvo::Card;

QVector<Extent> extents(const Card &card);

// clang-format off
template struct Members<Card,
    member<bool>(&Card::m_active),
    member<bool>(&Card::m_autoSend),
    member<QVariantList>(&Card::m_components),
    member<bool>(&Card::m_hasRendered),
    member<QString>(&Card::m_id),
    member<bool>(&Card::m_isTeacherCard),
    member<QString>(&Card::m_notes),
    member<int>(&Card::m_ordinal),
    member<bool>(&Card::m_primary),
    member<bool>(&Card::m_pristine),
    member<QString>(&Card::m_remoteId),
    member<QVariantMap>(&Card::m_segment),
    member<QVariantMap>(&Card::m_styles),
    member<QVariantList>(&Card::m_tracks),
    member<QString>(&Card::m_type),
    member<bool>(&Card::m_visible)>;
// clang-format on

class tst_CardInterface : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cardFunctions();
    void cardMembersFollowEachOther();
    void cardMetaObject();
};

// clang-format off
void tst_CardInterface::cardFunctions()
{
    QVERIFY((std::is_base_of_v<QObject, Card>));
    QVERIFY((std::is_constructible_v<Card, QObject *>));
    QVERIFY(!std::is_default_constructible_v<Card>);

    QVERIFY(has<bool (Card::*)() const>(&Card::active));
    QVERIFY(has<bool (Card::*)() const>(&Card::autoSend));
    QVERIFY(has<QVariantList (Card::*)() const>(&Card::components));
    QVERIFY(has<bool (Card::*)() const>(&Card::hasRendered));
    QVERIFY(has<QString (Card::*)() const>(&Card::id));
    QVERIFY(has<bool (Card::*)() const>(&Card::isTeacherCard));
    QVERIFY(has<QString (Card::*)() const>(&Card::notes));
    QVERIFY(has<int (Card::*)() const>(&Card::ordinal));
    QVERIFY(has<bool (Card::*)() const>(&Card::primary));
    QVERIFY(has<bool (Card::*)() const>(&Card::pristine));
    QVERIFY(has<QString (Card::*)() const>(&Card::remoteId));
    QVERIFY(has<QVariantMap (Card::*)() const>(&Card::segment));
    QVERIFY(has<QVariantMap (Card::*)() const>(&Card::styles));
    QVERIFY(has<QVariantList (Card::*)() const>(&Card::tracks));
    QVERIFY(has<QString (Card::*)() const>(&Card::type));
    QVERIFY(has<bool (Card::*)() const>(&Card::visible));

    QVERIFY(has<void (Card::*)(bool)>(&Card::setactive));
    QVERIFY(has<void (Card::*)(bool)>(&Card::setautoSend));
    QVERIFY(has<void (Card::*)(QVariantList)>(&Card::setcomponents));
    QVERIFY(has<void (Card::*)(bool)>(&Card::sethasRendered));
    QVERIFY(has<void (Card::*)(QString)>(&Card::setid));
    QVERIFY(has<void (Card::*)(bool)>(&Card::setisTeacherCard));
    QVERIFY(has<void (Card::*)(QString)>(&Card::setnotes));
    QVERIFY(has<void (Card::*)(int)>(&Card::setordinal));
    QVERIFY(has<void (Card::*)(bool)>(&Card::setprimary));
    QVERIFY(has<void (Card::*)(bool)>(&Card::setpristine));
    QVERIFY(has<void (Card::*)(QString)>(&Card::setremoteId));
    QVERIFY(has<void (Card::*)(QVariantMap)>(&Card::setsegment));
    QVERIFY(has<void (Card::*)(QVariantMap)>(&Card::setstyles));
    QVERIFY(has<void (Card::*)(QVariantList)>(&Card::settracks));
    QVERIFY(has<void (Card::*)(QString)>(&Card::settype));
    QVERIFY(has<void (Card::*)(bool)>(&Card::setvisible));
    QVERIFY(has<void (Card::*)(QString)>(&Card::setBackgroundImage));
}

void tst_CardInterface::cardMembersFollowEachOther()
{
    const Card object(nullptr);
    QCOMPARE(outOfPlace(extents(object), sizeof(QObject)), QString());
}

void tst_CardInterface::cardMetaObject()
{
    compareMetaObject(Card::staticMetaObject, "Tarvo::Card: QObject", {
        "public slot void setactive(bool active)",
        "public slot void setautoSend(bool autoSend)",
        "public slot void setcomponents(QVariantList components)",
        "public slot void sethasRendered(bool hasRendered)",
        "public slot void setid(QString id)",
        "public slot void setisTeacherCard(bool isTeacherCard)",
        "public slot void setnotes(QString notes)",
        "public slot void setordinal(int ordinal)",
        "public slot void setprimary(bool primary)",
        "public slot void setpristine(bool pristine)",
        "public slot void setremoteId(QString remoteId)",
        "public slot void setsegment(QVariantMap segment)",
        "public slot void setstyles(QVariantMap styles)",
        "public slot void settracks(QVariantList tracks)",
        "public slot void settype(QString type)",
        "public slot void setvisible(bool visible)",
        "public slot void setBackgroundImage(QString url)",
    }, {
        "bool active READ WRITE",
        "bool autoSend READ WRITE",
        "QVariantList components READ WRITE",
        "bool hasRendered READ WRITE",
        "QString id READ WRITE",
        "bool isTeacherCard READ WRITE",
        "QString notes READ WRITE",
        "int ordinal READ WRITE",
        "bool primary READ WRITE",
        "bool pristine READ WRITE",
        "QString remoteId READ WRITE",
        "QVariantMap segment READ WRITE",
        "QVariantMap styles READ WRITE",
        "QVariantList tracks READ WRITE",
        "QString type READ WRITE",
        "bool visible READ WRITE",
    });
}
// clang-format on

QTEST_GUILESS_MAIN(tst_CardInterface)
#include "tst_cardinterface.moc"
