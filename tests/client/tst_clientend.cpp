// The end of a client in a slot of its own signals or its channel's, or while its session is being
// stopped: whoever deletes it, from wherever, the service is told once, nobody hears of it twice, and
// nothing is left behind.

#include "client/KeepAliveTimer.h"
#include "client/SessionTest.h"

#include "collab/CollaborationMessageHandler.h"
#include "support/LogCapture.h"

#include <QtCore/QTimer>

#include <functional>

namespace
{

using Slot = std::function<void()>;
// Connects a signal of the client or the channel to a slot.
using Listen = std::function<void(SessionTest &, const Slot &)>;
// Makes that signal come.
using Provoke = std::function<void(SessionTest &)>;

template<typename Signal> Listen ofChannel(Signal signal)
{
    return [signal](SessionTest &test, const Slot &slot) {
        QObject::connect(test.channel.data(), signal, qApp, [slot] { slot(); });
    };
}

const Listen CLOSED = ofChannel(&PresenterCollab::connectionClosed);
const Listen PROCESSED = [](SessionTest &test, const Slot &slot) {
    QObject::connect(test.client.data(), &PresenterClient::requestProcessed, qApp, slot);
};

QString collabMessage(const char *fields)
{
    return uR"({"type":"message","address":"TOKEN","body":{%1}})"_s.arg(QString::fromUtf8(fields));
}

Provoke message(const char *fields)
{
    return [text = collabMessage(fields)](SessionTest &test) {
        test.bus->send(text);
        test.bus->send(text); // a second one behind it must find nobody
    };
}

// Keeps a handler's object alive only as long as its own destructor has not begun.
class Derived : public PresenterClient
{
public:
    Derived(const QString &server, int *handled)
        : PresenterClient(nullptr, server), m_handled(handled)
    {
    }
    void sendTo(const QByteArray &path)
    {
        doRequest(false, QUrl(getServerUrl() + QString::fromUtf8(path)), QByteArray(),
                  static_cast<SuccessHandler>(&Derived::onSuccess),
                  static_cast<FailureHandler>(&Derived::onFailure), false);
    }

private:
    void onSuccess(QString) { ++*m_handled; }
    void onFailure(QNetworkReply *, QString) { ++*m_handled; }

    int *m_handled;
};

} // namespace

Q_DECLARE_METATYPE(Listen)
Q_DECLARE_METATYPE(Provoke)

class tst_ClientEnd : public SessionTest
{
    Q_OBJECT

private Q_SLOTS:
    void deletedInASlot_data();
    void deletedInASlot();
    void deletedInASlotOfTheStopItself_data();
    void deletedInASlotOfTheStopItself();
    void deletedWhileTheStopIsOutAwaitsIt();
    void nothingIsEmittedWhileTheClientGoes();
    void handlersOfADerivedClassAreForgotten();
    void keepAliveDoesNotEndTheWaitForTheStop();
    void noKeepAliveLeavesWhileTheClientGoes();
    void clientLoggedOutInConnectionClosedWhileItStops();
};

void tst_ClientEnd::deletedInASlot_data()
{
    QTest::addColumn<Listen>("listen");
    QTest::addColumn<Provoke>("provoke");
    QTest::addColumn<QString>("how");
    const auto row = [](const char *name, const Listen &listen, const Provoke &provoke) {
        for (const char *how : {"delete", "delete later"})
            QTest::addRow("%s: %s", name, how) << listen << provoke << how;
    };
    row(
        "requestProcessed",
        [](SessionTest &test, const Slot &slot) {
            test.service->expect(LEARNERS, TOKEN_BODY);
            PROCESSED(test, slot);
        },
        [](SessionTest &test) { test.client->doGetLearners(); });
    row("connectionClosed, lost", CLOSED, [](SessionTest &test) { test.bus->closeConnection(); });
    row("connectionClosed, by the channel's close", CLOSED,
        [](SessionTest &test) { test.channel->close(); });
    row("connectionClosed, by the client's end", CLOSED,
        [](SessionTest &test) { delete test.client; });
    row("destroyed of the channel", ofChannel(&QObject::destroyed),
        [](SessionTest &test) { delete test.channel; });
    row("learnerJoin", ofChannel(&PresenterCollab::learnerJoin),
        message(R"("type":"join","from":"d1","data":"{}")"));
    row("learnerPollResponse", ofChannel(&PresenterCollab::learnerPollResponse),
        message(R"("type":"pollResponse","from":"d1","data":"{}")"));
    row("learnerUnregister", ofChannel(&PresenterCollab::learnerUnregister),
        message(R"("action":"unregister","client":{"type":"user","token":"d1"})"));
    row("learnerUnregister, removed", ofChannel(&PresenterCollab::learnerUnregister),
        [](SessionTest &test) { test.channel->removeLearner(u"d1"_s); });
    row("controllerRegister", ofChannel(&PresenterCollab::controllerRegister),
        message(R"("action":"unregister","client":{"type":"controller"})"));
    row("remoteControl", ofChannel(&PresenterCollab::remoteControl),
        message(R"("type":"nextCard","from":"r1","data":"{}")"));
    row("unhandledMessage", ofChannel(&PresenterCollab::unhandledMessage),
        message(R"("type":"unknown","data":"{}")"));
    row(
        "learnerGetQuestion of the handler",
        [](SessionTest &test, const Slot &slot) {
            connect(test.channel->messageHandler(),
                    &CollaborationMessageHandler::learnerGetQuestion, qApp, [slot] { slot(); });
        },
        message(R"("type":"questionGet","from":"d1","data":"{}")"));
}

void tst_ClientEnd::deletedInASlot()
{
    QFETCH(Listen, listen);
    QFETCH(Provoke, provoke);
    QFETCH(QString, how);
    startSession();
    int ends = 0;
    connect(client.data(), &QObject::destroyed, this, [&] { ++ends; });
    listen(*this, [&] {
        if (how == QLatin1String("delete"))
            delete client;
        else if (client)
            client->deleteLater();
    });
    expectStop();

    provoke(*this);
    QTRY_VERIFY(client.isNull());
    QVERIFY(channel.isNull());
    QCOMPARE(ends, 1);
    QTRY_VERIFY(!bus->hasConnection());
}

void tst_ClientEnd::deletedInASlotOfTheStopItself_data()
{
    QTest::addColumn<Listen>("listen");
    QTest::addColumn<bool>("logout");
    QTest::newRow("connectionClosed of a stop") << CLOSED << false;
    QTest::newRow("connectionClosed of a logout") << CLOSED << true;
    QTest::newRow("requestProcessed of a stop") << PROCESSED << false;
    QTest::newRow("requestProcessed of a logout") << PROCESSED << true;
}

void tst_ClientEnd::deletedInASlotOfTheStopItself()
{
    QFETCH(Listen, listen);
    QFETCH(bool, logout);
    startSession();
    listen(*this, [&] { delete client; });
    expectStop();
    QVERIFY(!(logout ? client->doLogout() : client->doStopSession()));
    QVERIFY(client.isNull());
    QVERIFY(channel.isNull());
}

void tst_ClientEnd::deletedWhileTheStopIsOutAwaitsIt()
{
    startSession();
    bool answered = false;
    expectStop().hold().meanwhile([&] {
        QTimer::singleShot(50, service.get(), [&] {
            answered = true;
            service->release();
        });
        delete client;
        QVERIFY(answered);
    });
    QVERIFY(!client->doStopSession());
    QVERIFY(client.isNull());
}

void tst_ClientEnd::nothingIsEmittedWhileTheClientGoes()
{
    startSession();
    const PresenterCollab *first = channel;
    expectAll(startOperations(bus->url()));
    QVERIFY(openChannel());
    QTRY_COMPARE(bus->messages().size(), 6);
    const PresenterCollab *second = channel;

    int ends = 0;
    QSignalSpy processed(client.data(), &PresenterClient::requestProcessed);
    QSignalSpy firstClosed(first, &PresenterCollab::connectionClosed);
    QSignalSpy secondClosed(second, &PresenterCollab::connectionClosed);
    QSignalSpy joined(second, &PresenterCollab::learnerJoin);
    QSignalSpy asked(second->messageHandler(), &CollaborationMessageHandler::learnerGetQuestion);
    for (const QObject *each : std::initializer_list<const QObject *>{client, first, second})
        connect(each, &QObject::destroyed, this, [&] { ++ends; });
    expectStop().hold().meanwhile([&] { service->release(); });
    bus->send(collabMessage(R"("type":"join","from":"d1","data":"{}")"));
    bus->send(collabMessage(R"("type":"questionGet","from":"d1","data":"{}")"));
    delete client;
    QCOMPARE(processed.count() + firstClosed.count() + secondClosed.count(), 0);
    QCOMPARE(joined.count() + asked.count(), 0);
    QCOMPARE(ends, 3);
}

void tst_ClientEnd::handlersOfADerivedClassAreForgotten()
{
    int handled = 0;
    delete client;
    auto *derived = new Derived(service->url(), &handled);
    client = derived;
    startSession();
    const int before = service->requests().size();
    service->expect("/x").hold();
    derived->sendTo("/x");
    QTRY_COMPARE(service->requests().size(), before + 1);
    service->expect("/y").hold().meanwhile([&] { service->release(); });
    derived->sendTo("/y");
    QTRY_COMPARE(service->requests().size(), before + 2);
    QTRY_COMPARE(handled, 1); // the first; the second is open

    // Both its answer and one that fails come during the wait for the stop.
    expectStop().hold().meanwhile([&] {
        service->release();
        QTimer::singleShot(50, service.get(), [&] { service->release(); });
    });
    LogCapture log;
    delete client;
    QCOMPARE(handled, 1);
    QCOMPARE(log.startingWith(u"[REST Response]"_s).size(), 2);
}

void tst_ClientEnd::keepAliveDoesNotEndTheWaitForTheStop()
{
    startSession();
    const int before = service->requests().size();
    service->expect("/x").hold();
    ask("/x");
    QTRY_COMPARE(service->requests().size(), before + 1);
    bool answered = false;
    expectStop().hold().meanwhile([&] {
        service->release(); // the other one
        QTimer::singleShot(100, service.get(), [&] {
            answered = true;
            service->release();
        });
    });
    delete client;
    QVERIFY(answered);
}

void tst_ClientEnd::noKeepAliveLeavesWhileTheClientGoes()
{
    startSession();
    keepAliveTimer(*client).start(20);
    expectStop().hold().meanwhile(
        [&] { QTimer::singleShot(200, service.get(), [&] { service->release(); }); });
    delete client;
}

void tst_ClientEnd::clientLoggedOutInConnectionClosedWhileItStops()
{
    startSession();
    bool inner = false;
    connect(channel.data(), &PresenterCollab::connectionClosed, this,
            [&] { inner = client->doLogout(); });
    expectStop();
    service->expect(LOGOUT, "{}");
    expectStop(); // the outer one still names the session that it was asked to stop
    QVERIFY(client->doStopSession());
    QVERIFY(inner);
    QVERIFY(!client->isLoggedIn());
    QVERIFY(client->getSessionToken().isNull());
}

QTEST_GUILESS_MAIN(tst_ClientEnd)
#include "tst_clientend.moc"
