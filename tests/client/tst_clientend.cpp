// The end of a client whose session is running: whoever deletes it, from wherever, the service is told
// once, nobody hears of it twice, and nothing is left behind.

#include "client/KeepAliveTimer.h"
#include "client/RunningSession.h"
#include "support/Text.h"

#include "collab/CollaborationMessageHandler.h"
#include "sockjs/RawWebSocketServer.h"
#include "support/LogCapture.h"
#include "support/ScriptedServer.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QProcess>
#include <QtCore/QTimer>

#include <functional>

namespace
{

// A wait that ends by itself takes 10 s; all that is ended otherwise must be well below.
constexpr int AT_ONCE_MS = 8000;

const QByteArray LOGOUT = "/vantora/login/logout";
const QByteArray LEARNERS = "/vantora/session/getusers";

using Slot = std::function<void()>;
// Connects a signal of the client or the channel to a slot.
using Listen = std::function<void(RunningSession &, const Slot &)>;
// Makes that signal come.
using Provoke = std::function<void(RunningSession &)>;

template<typename Signal> Listen ofChannel(Signal signal)
{
    return [signal](RunningSession &session, const Slot &slot) {
        QObject::connect(session.channel.data(), signal, qApp, [slot] { slot(); });
    };
}

Provoke message(const char *fields)
{
    return [fields](RunningSession &session) {
        const QString text =
            uR"({"type":"message","address":"TOKEN","body":{%1}})"_s.arg(QString::fromUtf8(fields));
        session.bus.send(text);
        session.bus.send(text); // a second one behind it must find nobody
    };
}

const Listen CLOSED = ofChannel(&PresenterCollab::connectionClosed);

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

class tst_ClientEnd : public QObject
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
    void stopAwaitsTheLastWord_data();
    void stopAwaitsTheLastWord();
    void lastWordThatNeverArrivesIsAwaitedForTwoSeconds();
    void deletedWhileTheLastWordIsAwaited();

    void processEnds_data();
    void processEnds();
    void sessionIsStoppedAfterAQuit_data();
    void sessionIsStoppedAfterAQuit();
};

void tst_ClientEnd::deletedInASlot_data()
{
    QTest::addColumn<Listen>("listen");
    QTest::addColumn<Provoke>("provoke");
    QTest::addColumn<bool>("asks");
    QTest::addColumn<QString>("how");

    const struct {
        const char *name;
        Listen listen;
        Provoke provoke;
        bool asks = false; // the service for something
    } cases[] = {
        {"requestProcessed",
         [](RunningSession &session, const Slot &slot) {
             connect(session.client.data(), &PresenterClient::requestProcessed, qApp, slot);
         },
         [](RunningSession &session) { session.client->doGetLearners(); }, true},
        {"connectionClosed, lost", CLOSED,
         [](RunningSession &session) { session.bus.closeConnection(); }},
        {"connectionClosed, by the channel's close", CLOSED,
         [](RunningSession &session) { session.channel->close(); }},
        {"connectionClosed, by the client's end", CLOSED,
         [](RunningSession &session) { delete session.client; }},
        {"destroyed of the channel",
         [](RunningSession &session, const Slot &slot) {
             connect(session.channel.data(), &QObject::destroyed, qApp, slot);
         },
         [](RunningSession &session) { delete session.channel; }},
        {"learnerJoin", ofChannel(&PresenterCollab::learnerJoin),
         message(R"("type":"join","from":"d1","data":"{}")")},
        {"learnerPollResponse", ofChannel(&PresenterCollab::learnerPollResponse),
         message(R"("type":"pollResponse","from":"d1","data":"{}")")},
        {"learnerUnregister", ofChannel(&PresenterCollab::learnerUnregister),
         message(R"("action":"unregister","client":{"type":"user","token":"d1"})")},
        {"learnerUnregister, removed", ofChannel(&PresenterCollab::learnerUnregister),
         [](RunningSession &session) { session.channel->removeLearner(u"d1"_s); }},
        {"controllerRegister", ofChannel(&PresenterCollab::controllerRegister),
         message(R"("action":"unregister","client":{"type":"controller"})")},
        {"remoteControl", ofChannel(&PresenterCollab::remoteControl),
         message(R"("type":"nextCard","from":"r1","data":"{}")")},
        {"unhandledMessage", ofChannel(&PresenterCollab::unhandledMessage),
         message(R"("type":"unknown","data":"{}")")},
        {"learnerGetQuestion of the handler",
         [](RunningSession &session, const Slot &slot) {
             connect(session.channel->messageHandler(),
                     &CollaborationMessageHandler::learnerGetQuestion, qApp, [slot] { slot(); });
         },
         message(R"("type":"questionGet","from":"d1","data":"{}")")},
    };
    for (const auto &each : cases) {
        for (const char *how : {"delete", "delete later"})
            QTest::addRow("%s: %s", each.name, how)
                << each.listen << each.provoke << each.asks << how;
    }
}

void tst_ClientEnd::deletedInASlot()
{
    QFETCH(Listen, listen);
    QFETCH(Provoke, provoke);
    QFETCH(bool, asks);
    QFETCH(QString, how);
    RunningSession session;
    QVERIFY(session.start(new PresenterClient(nullptr, session.service.url())));
    int ends = 0;
    connect(session.client.data(), &QObject::destroyed, this, [&] { ++ends; });
    listen(session, [&] {
        if (how == QLatin1String("delete"))
            delete session.client;
        else if (session.client)
            session.client->deleteLater();
    });
    if (asks)
        session.service.expect(LEARNERS, RunningSession::STOP_BODY);
    session.expectStop();

    provoke(session);
    QTRY_VERIFY(session.client.isNull());
    QVERIFY(session.channel.isNull());
    QCOMPARE(ends, 1);
    QTRY_VERIFY(!session.bus.hasConnection());
    QCOMPARE(session.service.faults(), QStringList()); // one stop, and nothing else
}

void tst_ClientEnd::deletedInASlotOfTheStopItself_data()
{
    QTest::addColumn<Listen>("listen");
    QTest::addColumn<bool>("logout");
    const Listen processed = [](RunningSession &session, const Slot &slot) {
        connect(session.client.data(), &PresenterClient::requestProcessed, qApp, slot);
    };
    QTest::newRow("connectionClosed of a stop") << CLOSED << false;
    QTest::newRow("connectionClosed of a logout") << CLOSED << true;
    QTest::newRow("requestProcessed of a stop") << processed << false;
    QTest::newRow("requestProcessed of a logout") << processed << true;
}

void tst_ClientEnd::deletedInASlotOfTheStopItself()
{
    QFETCH(Listen, listen);
    QFETCH(bool, logout);
    RunningSession session;
    QVERIFY(session.start(new PresenterClient(nullptr, session.service.url())));
    listen(session, [&] { delete session.client; });
    session.expectStop();
    QVERIFY(!(logout ? session.client->doLogout() : session.client->doStopSession()));
    QVERIFY(session.client.isNull());
    QVERIFY(session.channel.isNull());
    QCOMPARE(session.service.faults(), QStringList());
}

void tst_ClientEnd::deletedWhileTheStopIsOutAwaitsIt()
{
    RunningSession session;
    QVERIFY(session.start(new PresenterClient(nullptr, session.service.url())));
    bool answered = false;
    session.expectStop().hold().meanwhile([&] {
        QTimer::singleShot(50, &session.service, [&] {
            answered = true;
            session.service.release();
        });
        delete session.client;
        QVERIFY(answered);
    });
    QElapsedTimer clock;
    clock.start();
    QVERIFY(!session.client->doStopSession());
    QVERIFY(clock.elapsed() < AT_ONCE_MS);
    QVERIFY(session.client.isNull());
    QCOMPARE(session.service.faults(), QStringList());
}

void tst_ClientEnd::nothingIsEmittedWhileTheClientGoes()
{
    RunningSession session;
    QVERIFY(session.start(new PresenterClient(nullptr, session.service.url())));
    const PresenterCollab *first = session.channel;
    session.expectStart();
    PresenterCollab *second = nullptr;
    QVERIFY(session.client->startWebsocket(&second));
    QTRY_COMPARE(session.bus.messages().size(), 6);
    const auto *handler = second->messageHandler();

    int ends = 0;
    QSignalSpy processed(session.client.data(), &PresenterClient::requestProcessed);
    QSignalSpy firstClosed(first, &PresenterCollab::connectionClosed);
    QSignalSpy secondClosed(second, &PresenterCollab::connectionClosed);
    QSignalSpy joined(second, &PresenterCollab::learnerJoin);
    QSignalSpy asked(handler, &CollaborationMessageHandler::learnerGetQuestion);
    for (const QObject *each :
         {static_cast<const QObject *>(session.client), static_cast<const QObject *>(first),
          static_cast<const QObject *>(second)})
        connect(each, &QObject::destroyed, this, [&] { ++ends; });
    session.expectStop().hold().meanwhile([&] { session.service.release(); });
    session.bus.send(
        uR"({"type":"message","address":"TOKEN","body":{"type":"join","from":"d1","data":"{}"}})"_s);
    session.bus.send(
        uR"({"type":"message","address":"TOKEN","body":{"type":"questionGet","from":"d1","data":"{}"}})"_s);
    delete session.client;
    QCOMPARE(processed.count() + firstClosed.count() + secondClosed.count(), 0);
    QCOMPARE(joined.count() + asked.count(), 0);
    QCOMPARE(ends, 3);
    QCOMPARE(session.service.faults(), QStringList());
}

void tst_ClientEnd::handlersOfADerivedClassAreForgotten()
{
    RunningSession session;
    int handled = 0;
    auto *client = new Derived(session.service.url(), &handled);
    QVERIFY(session.start(client));
    const int before = session.service.requests().size();
    session.service.expect("/x").hold();
    client->sendTo("/x");
    QTRY_COMPARE(session.service.requests().size(), before + 1);
    session.service.expect("/y").hold().meanwhile([&] { session.service.release(); });
    client->sendTo("/y");
    QTRY_COMPARE(session.service.requests().size(), before + 2);
    QTRY_COMPARE(handled, 1); // the first; the second is open

    // Both its answer and one that fails come during the wait for the stop.
    session.expectStop().hold().meanwhile([&] {
        session.service.release();
        QTimer::singleShot(50, &session.service, [&] { session.service.release(); });
    });
    LogCapture log;
    delete client;
    QCOMPARE(handled, 1);
    QCOMPARE(log.startingWith(u"[REST Response]"_s).size(), 2);
    QCOMPARE(session.service.faults(), QStringList());
}

void tst_ClientEnd::keepAliveDoesNotEndTheWaitForTheStop()
{
    RunningSession session;
    QVERIFY(session.start(new PresenterClient(nullptr, session.service.url())));
    const int before = session.service.requests().size();
    session.service.expect("/x").hold();
    session.client->doRequest(false, QUrl(session.service.url() + "/x"), QByteArray(), nullptr,
                              nullptr, false);
    QTRY_COMPARE(session.service.requests().size(), before + 1);
    bool answered = false;
    session.expectStop().hold().meanwhile([&] {
        session.service.release(); // the other one
        QTimer::singleShot(100, &session.service, [&] {
            answered = true;
            session.service.release();
        });
    });
    delete session.client;
    QVERIFY(answered);
    QCOMPARE(session.service.faults(), QStringList());
}

void tst_ClientEnd::noKeepAliveLeavesWhileTheClientGoes()
{
    RunningSession session;
    QVERIFY(session.start(new PresenterClient(nullptr, session.service.url())));
    keepAliveTimer(*session.client).start(20);
    session.expectStop().hold().meanwhile(
        [&] { QTimer::singleShot(200, &session.service, [&] { session.service.release(); }); });
    delete session.client;
    QCOMPARE(session.service.faults(), QStringList());
}

void tst_ClientEnd::clientLoggedOutInConnectionClosedWhileItStops()
{
    RunningSession session;
    PresenterClient client(nullptr, session.service.url());
    QVERIFY(session.start(&client));
    bool inner = false;
    connect(session.channel.data(), &PresenterCollab::connectionClosed, this,
            [&] { inner = client.doLogout(); });
    session.expectStop();
    session.service.expect(LOGOUT, "{}");
    session.expectStop(); // the outer one still names the session that it was asked to stop
    QVERIFY(client.doStopSession());
    QVERIFY(inner);
    QVERIFY(!client.isLoggedIn());
    QVERIFY(client.getSessionToken().isNull());
    QCOMPARE(session.service.faults(), QStringList());
}

// ---- The channel's last word ----------------------------------------------------------------------

// A collaboration server that does not say what has reached it.
struct SilentChannel {
    RunningSession session;
    RawWebSocketServer server;
    PresenterCollab *channel = nullptr;

    bool start()
    {
        server.answersPings = false;
        server.behindHandshake = RawWebSocketServer::text("o");
        session.client = new PresenterClient(nullptr, session.service.url());
        session.expectSignIn("websocket", "http://127.0.0.1:" + QByteArray::number(server.port()));
        return RunningSession::begin(*session.client, &channel)
            && QTest::qWaitFor([this] { return server.frames.size() == 3; }); // it has registered
    }
    int requests() const { return session.service.requests().size(); }
    // The ping that asks whether everything before it has arrived.
    bool isAsked() const
    {
        return !server.frames.isEmpty() && server.frames.last().opcode == RawWebSocketServer::PING;
    }
    void answer()
    {
        server.client->write(
            RawWebSocketServer::frame(RawWebSocketServer::PONG, server.frames.last().payload));
        QObject::connect(server.client, &QTcpSocket::readyRead, server.client,
                         &QTcpSocket::disconnectFromHost); // the close frame
    }
};

void tst_ClientEnd::stopAwaitsTheLastWord_data()
{
    QTest::addColumn<QString>("how");
    QTest::newRow("stop") << "stop";
    QTest::newRow("logout") << "logout";
    QTest::newRow("destructor") << "destructor";
    QTest::newRow("stop of a channel that was closed before") << "closed before";
}

void tst_ClientEnd::stopAwaitsTheLastWord()
{
    QFETCH(QString, how);
    SilentChannel silent;
    QVERIFY(silent.start());
    RunningSession &session = silent.session;
    const int before = silent.requests();
    session.expectStop();
    if (how == QLatin1String("logout"))
        session.service.expect(LOGOUT, "{}");

    bool answered = false;
    QTimer::singleShot(500, &session.service, [&] {
        QVERIFY(silent.isAsked());
        QCOMPARE(silent.requests(), before);
        answered = true;
        silent.answer();
    });
    QElapsedTimer clock;
    clock.start();
    if (how == QLatin1String("closed before"))
        silent.channel->close();
    if (how == QLatin1String("logout"))
        QVERIFY(session.client->doLogout());
    else if (how != QLatin1String("destructor"))
        QVERIFY(session.client->doStopSession());
    delete session.client;
    QVERIFY(answered);
    QVERIFY2(clock.elapsed() < 1900, qPrintable(QString::number(clock.elapsed())));
    QCOMPARE(session.service.faults(), QStringList());
}

void tst_ClientEnd::lastWordThatNeverArrivesIsAwaitedForTwoSeconds()
{
    SilentChannel silent;
    QVERIFY(silent.start());
    silent.session.expectStop();
    QElapsedTimer clock;
    clock.start();
    QVERIFY(silent.session.client->doStopSession());
    // The channel gives up by a coarse timer of its own, which may be early.
    QVERIFY2(clock.elapsed() >= 1850, qPrintable(QString::number(clock.elapsed())));
    QVERIFY2(clock.elapsed() < 3500, qPrintable(QString::number(clock.elapsed())));
    delete silent.session.client;
    QCOMPARE(silent.session.service.faults(), QStringList());
}

void tst_ClientEnd::deletedWhileTheLastWordIsAwaited()
{
    SilentChannel silent;
    QVERIFY(silent.start());
    QTimer::singleShot(100, &silent.session.service, [&] {
        QTimer::singleShot(100, &silent.session.service, [&] { silent.answer(); });
        silent.session.expectStop(); // once
        delete silent.session.client;
    });
    QVERIFY(!silent.session.client->doStopSession());
    QVERIFY(silent.session.client.isNull());
    QCOMPARE(silent.session.service.faults(), QStringList());
}

// ---- The application's end ------------------------------------------------------------------------

void tst_ClientEnd::sessionIsStoppedAfterAQuit_data()
{
    QTest::addColumn<QString>("how");
    QTest::newRow("stop") << "stop";
    QTest::newRow("logout") << "logout";
    QTest::newRow("destructor") << "destructor";
    QTest::newRow("after the loop") << "after the loop";
}

void tst_ClientEnd::sessionIsStoppedAfterAQuit()
{
    QFETCH(QString, how);
    RunningSession session;
    QVERIFY(session.start(new PresenterClient(nullptr, session.service.url())));
    connect(session.channel.data(), &PresenterCollab::connectionClosed, qApp,
            &QCoreApplication::quit);
    session.expectStop();
    if (how == QLatin1String("logout"))
        session.service.expect(LOGOUT, "{}");

    bool result = false;
    QTimer::singleShot(0, session.client.data(), [&] {
        if (how == QLatin1String("stop"))
            result = session.client->doStopSession();
        else if (how == QLatin1String("logout"))
            result = session.client->doLogout();
        else if (how == QLatin1String("destructor"))
            session.bus.closeConnection();
        else
            QCoreApplication::quit();
    });
    QCoreApplication::exec();
    if (how == QLatin1String("after the loop"))
        result = session.client->doStopSession();
    QCOMPARE(result, how != QLatin1String("destructor"));
    delete session.client;
    QCOMPARE(session.service.faults(), QStringList());
}

void tst_ClientEnd::processEnds_data()
{
    QTest::addColumn<QString>("owner");
    QTest::addColumn<QByteArray>("transport");
    for (const char *transport : {"websocket", "xhr-polling"}) {
        const auto row = [&](const char *owner, const char *argument) {
            QTest::addRow("%s, %s", owner, transport) << argument << QByteArray(transport);
        };
        row("client of the application", "application");
        row("client that outlives the application", "heap");
        row("client that outlives main()", "static");
    }
}

// No events are delivered any more when the application object goes, so nothing can be sent either; but
// the process ends, and does not wait for what cannot come.
void tst_ClientEnd::processEnds()
{
    constexpr int LIMIT_MS = 1000;
    QFETCH(QString, owner);
    QFETCH(QByteArray, transport);
    RunningSession session;
    ScriptedServer polled; // opens the session, and keeps the poll that follows
    polled.onConnection({Scripted::expectRequest(), Scripted::send(Scripted::reply("o\n")),
                         Scripted::expectRequest(), Scripted::expectEnd()});
    const Scripted::Step noContent = Scripted::send(Scripted::reply("", "204 No Content"));
    polled.onConnection({Scripted::expectRequest(), noContent, Scripted::expectRequest(), noContent,
                         Scripted::expectRequest(), noContent});
    QVERIFY(polled.listen());
    const bool polling = transport == "xhr-polling";
    session.expectSignIn(transport,
                         polling ? "http://127.0.0.1:" + QByteArray::number(polled.port())
                                 : QByteArray());
    QProcess host;
    QElapsedTimer clock;
    connect(&host, &QProcess::readyReadStandardOutput, this, [&] { clock.start(); });
    host.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    host.start(QStringLiteral(TARVO_ENDING_HOST), {session.service.url(), owner});
    QVERIFY(host.waitForStarted());
    QTRY_VERIFY_WITH_TIMEOUT(clock.isValid(), 20000);
    QTRY_COMPARE_WITH_TIMEOUT(host.state(), QProcess::NotRunning, AT_ONCE_MS);
    QVERIFY2(clock.elapsed() < LIMIT_MS, qPrintable(QString::number(clock.elapsed())));
    QCOMPARE(host.exitStatus(), QProcess::NormalExit);
    QCOMPARE(host.exitCode(), 0);
    QCOMPARE(session.service.faults(), QStringList());
}

QTEST_GUILESS_MAIN(tst_ClientEnd)
#include "tst_clientend.moc"
