// CollaborationMessageHandler by name.

#include "collab/CollaborationMessageHandler.h"

#include "interface/Functions.h"
#include "interface/Members.h"
#include "interface/MetaObject.h"

#include <QtTest/QtTest>

using Handler = CollaborationMessageHandler;

namespace
{

using Action = void (Handler::*)(QVariantMap);
using Data = void (Handler::*)(QVariantMap, QVariant);

// What derived classes may use.
struct Derived : Handler {
    using Handler::actionRegister;
    using Handler::actionUnregister;
    using Handler::dataGetQuestion;
    using Handler::dataJoin;
    using Handler::dataPollResponse;
    using Handler::dataQuestionResponse;
    using Handler::dataRemote;
    using Handler::onHandleMessage;
};

} // namespace

QVector<Extent> extents(const Handler &handler);
const QMap<QString, Action> &actionsOf(const Handler &handler);
const QMap<QString, Data> &dataTypesOf(const Handler &handler);

template<QMap<QString, Action> Handler::*Actions, QMap<QString, Data> Handler::*DataTypes>
struct Tables {
    friend const QMap<QString, Action> &actionsOf(const Handler &handler)
    {
        return handler.*Actions;
    }
    friend const QMap<QString, Data> &dataTypesOf(const Handler &handler)
    {
        return handler.*DataTypes;
    }
};
template struct Tables<&Handler::actions, &Handler::dataTypes>;

// clang-format off
template struct Members<Handler,
    member<QMap<QString, Action>>(&Handler::actions),
    member<QMap<QString, Data>>(&Handler::dataTypes)>;
// clang-format on

class tst_DispatchInterface : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void functions();
    void handlersAreForDerivedClasses();
    void signalsTakeQualifiedTypes();
    void membersFollowEachOther();
    void actionTable();
    void dataTypeTable();
    void metaObject();
};

// clang-format off
void tst_DispatchInterface::functions()
{
    QVERIFY((std::is_base_of_v<QObject, Handler>));
    QVERIFY((std::is_constructible_v<Handler, QObject *>));

    QVERIFY(has<QVariant (Handler::*)(QVariantMap)>(&Handler::getDataValue));
}

void tst_DispatchInterface::handlersAreForDerivedClasses()
{
    QVERIFY(has<void (Handler::*)(QString)>(&Derived::onHandleMessage));

    QVERIFY(has<void (Handler::*)(QVariantMap)>(&Derived::actionRegister));
    QVERIFY(has<void (Handler::*)(QVariantMap)>(&Derived::actionUnregister));
    QVERIFY(has<void (Handler::*)(QVariantMap, QVariant)>(&Derived::dataJoin));
    QVERIFY(has<void (Handler::*)(QVariantMap, QVariant)>(&Derived::dataPollResponse));
    QVERIFY(has<void (Handler::*)(QVariantMap, QVariant)>(&Derived::dataQuestionResponse));
    QVERIFY(has<void (Handler::*)(QVariantMap, QVariant)>(&Derived::dataGetQuestion));
    QVERIFY(has<void (Handler::*)(QVariantMap, QVariant)>(&Derived::dataRemote));
}

void tst_DispatchInterface::signalsTakeQualifiedTypes()
{
    QVERIFY(has<void (Handler::*)(QString, QString, int, QString)>(&Handler::learnerPollResponse));
    QVERIFY(has<void (Handler::*)(Tarvo::Learner)>(&Handler::learnerJoin));
    QVERIFY(has<void (Handler::*)(QString)>(&Handler::learnerUnregister));
    QVERIFY(has<void (Handler::*)(bool)>(&Handler::controllerRegister));
    QVERIFY(has<void (Handler::*)(Tarvo::RemoteControlMessage)>(&Handler::remoteControl));
    QVERIFY(has<void (Handler::*)(QVariantMap, QVariant)>(&Handler::unhandledMessage));
    QVERIFY(has<void (Handler::*)(QString, int)>(&Handler::learnerGetQuestion));
}

void tst_DispatchInterface::membersFollowEachOther()
{
    const Handler handler(nullptr);
    QCOMPARE(outOfPlace(extents(handler), sizeof(QObject)), QString());
}

void tst_DispatchInterface::actionTable()
{
    const Handler handler(nullptr);
    const QMap<QString, Action> &actions = actionsOf(handler);
    QCOMPARE(actions.keys(), QStringList({u"unregister"_s}));
    QVERIFY(actions[u"unregister"_s] == &Derived::actionUnregister);
}

void tst_DispatchInterface::dataTypeTable()
{
    const QMap<QString, Data> expected{
        {u"join"_s, &Derived::dataJoin},
        {u"pollResponse"_s, &Derived::dataPollResponse},
        {u"questionResponse"_s, &Derived::dataQuestionResponse},
        {u"questionGet"_s, &Derived::dataGetQuestion},
        {u"stopSession"_s, &Derived::dataRemote},
        {u"requestLessonInfo"_s, &Derived::dataRemote},
        {u"requestLesson"_s, &Derived::dataRemote},
        {u"presenterActive"_s, &Derived::dataRemote},
        {u"pause"_s, &Derived::dataRemote},
        {u"resume"_s, &Derived::dataRemote},
        {u"lockAll"_s, &Derived::dataRemote},
        {u"unlockAll"_s, &Derived::dataRemote},
        {u"nextCard"_s, &Derived::dataRemote},
        {u"previousCard"_s, &Derived::dataRemote},
        {u"pushCurrentCard"_s, &Derived::dataRemote},
        {u"addImageCard"_s, &Derived::dataRemote},
    };
    const Handler handler(nullptr);
    QCOMPARE(dataTypesOf(handler).keys(), expected.keys());
    QVERIFY(dataTypesOf(handler) == expected);
}

void tst_DispatchInterface::metaObject()
{
    compareMetaObject(Handler::staticMetaObject, "CollaborationMessageHandler: QObject", {
        "public signal void learnerPollResponse(QString deviceId, QString pollId, int responseTime, QString answer)",
        "public signal void learnerJoin(Learner learner)",
        "public signal void learnerUnregister(QString deviceId)",
        "public signal void controllerRegister(bool isRegister)",
        "public signal void remoteControl(RemoteControlMessage Signal)",
        "public signal void unhandledMessage(QVariantMap jsonMessage, QVariant data)",
        "public signal void learnerGetQuestion(QString id, int questionId)",
        "protected slot void onHandleMessage(QString message)",
    });
}
// clang-format on

QTEST_GUILESS_MAIN(tst_DispatchInterface)
#include "tst_dispatchinterface.moc"
