#include "Messages.h"
#include "support/LogCapture.h"

#include <QtTest/QtTest>

// What the message handler does with an action that only derived classes dispatch, and with texts that swell
// when they are read.
class tst_HandlerCalls : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void registrationIsForDerivedClasses_data();
    void registrationIsForDerivedClasses();
    void messageThatSwellsIsNone();
    void payloadThatSwellsIsPassedOnAsItCame_data();
    void payloadThatSwellsIsPassedOnAsItCame();
};

namespace
{

class RegisteringHandler : public CollaborationMessageHandler
{
public:
    using CollaborationMessageHandler::actionRegister;
    using CollaborationMessageHandler::CollaborationMessageHandler;
};

// Ten mebibytes that would take more than 480 once read.
QByteArray swelling()
{
    return '[' + QByteArray("[0],").repeated(2500000) + "0]";
}

} // namespace

void tst_HandlerCalls::registrationIsForDerivedClasses_data()
{
    QTest::addColumn<QString>("type");
    QTest::addColumn<QStringList>("events");
    QTest::addColumn<QStringList>("lines");
    QTest::newRow("learner") << u"user"_s << QStringList() << QStringList{"REGISTER"};
    QTest::newRow("remote") << u"controller"_s << QStringList{"controllerRegister|true"}
                            << QStringList{"REGISTER CONTROLLER"};
    QTest::newRow("another") << u"presenter"_s << QStringList() << QStringList();
}

void tst_HandlerCalls::registrationIsForDerivedClasses()
{
    QFETCH(QString, type);
    QFETCH(QStringList, events);
    QFETCH(QStringList, lines);
    LogCapture log;
    auto *handler = new RegisteringHandler(nullptr);
    HandlerHost host(handler);
    handler->actionRegister({{u"client"_s, QVariantMap{{u"type"_s, type}}}});
    QCOMPARE(host.events, events);
    QCOMPARE(log.messages(), lines);
}

void tst_HandlerCalls::messageThatSwellsIsNone()
{
    HandlerHost host;
    const QString message = uR"({"body":{"from":"d1","type":"dance","data":"x","more":%1}})"_s;
    host.receive(message.arg(u"[[0]]"_s));
    QCOMPARE(host.events, QStringList{"unhandledMessage|dance"});
    host.receive(message.arg(QString::fromLatin1(swelling())));
    QCOMPARE(host.events.size(), 1);
}

void tst_HandlerCalls::payloadThatSwellsIsPassedOnAsItCame_data()
{
    QTest::addColumn<bool>("isList");
    QTest::newRow("text") << false;
    QTest::newRow("list") << true;
}

void tst_HandlerCalls::payloadThatSwellsIsPassedOnAsItCame()
{
    QFETCH(bool, isList);
    const QByteArray block = Samples::packed(swelling());
    HandlerHost host;
    LogCapture log;
    QCOMPARE(host.receivePayload(isList ? list64(block) : text64(block)), u"as it came"_s);
    QCOMPARE(log.count(isList ? listLine : rawLine), 1);
}

QTEST_GUILESS_MAIN(tst_HandlerCalls)
#include "tst_handlercalls.moc"
