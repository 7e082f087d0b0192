#include "ClassroomName.h"
#include "OutageProxy.h"
#include "support/ScriptedServer.h"
#include "support/Text.h"

#include <QtNetwork/QHostInfo>
#include <QtTest/QtTest>

#include <cerrno>

#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

using namespace Scripted;

// The proxy that the other tests rely on. No test lets its event loop turn: the proxy needs none.
class tst_OutageProxy : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void passesBothWays();
    void brokenConnectionsEnd_data();
    void brokenConnectionsEnd();
    void newConnectionsFail_data();
    void newConnectionsFail();
    void samePortServesAfterwards_data();
    void samePortServesAfterwards();
    void stalledBytesComeAfterwards();
    void muteConnectionsStayMute();
    void mutedConnectionsEndNowhere();
    void nameIsGone();
    void repliesComeLateAndInOrder();
    void endComesLateToo();

private:
    ScriptedServer m_server;
};

namespace
{

using Mode = OutageProxy::Mode;

const QByteArray SILENCE = "(silence)";
const QByteArray END = "(end)";
const QByteArray RESET = "(reset)";
const QByteArray REFUSED = "(refused)";
constexpr int A_WHILE_MS = 200;
constexpr int LONG_MS = 10000;

// A client that waits for what it hears.
class Client
{
public:
    explicit Client(const OutageProxy &proxy) : m_socket(::socket(AF_INET, SOCK_STREAM, 0))
    {
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_port = htons(proxy.port());
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        m_isRefused =
            ::connect(m_socket, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0;
    }
    ~Client() { ::close(m_socket); }
    Q_DISABLE_COPY_MOVE(Client)

    void say(const QByteArray &words)
    {
        const auto sent =
            ::send(m_socket, words.constData(), std::size_t(words.size()), MSG_NOSIGNAL);
        m_isReset = sent < 0 && errno == ECONNRESET; // told only once
    }
    // The next bytes, or what comes in their place.
    QByteArray hear(int waitMs = LONG_MS)
    {
        const timeval wait = {waitMs / 1000, 1000L * (waitMs % 1000)};
        ::setsockopt(m_socket, SOL_SOCKET, SO_RCVTIMEO, &wait, sizeof wait);
        char bytes[1000];
        const auto length = m_isRefused ? 0 : ::recv(m_socket, bytes, sizeof bytes, 0);
        if (length > 0)
            return QByteArray(bytes, int(length));
        if (m_isRefused)
            return REFUSED;
        if (m_isReset || (length < 0 && errno == ECONNRESET))
            return RESET;
        return length == 0 ? END : SILENCE;
    }
    QByteArray ask(const QByteArray &words, int waitMs = LONG_MS)
    {
        say(words);
        return hear(waitMs);
    }

private:
    int m_socket;
    bool m_isRefused;
    bool m_isReset = false;
};

} // namespace

Q_DECLARE_METATYPE(OutageProxy::Mode)

void tst_OutageProxy::initTestCase()
{
    m_server.onEveryOther({expect("a"), send("A"), expect("b"), send("B"), close()});
    QVERIFY(m_server.listen());
}

void tst_OutageProxy::passesBothWays()
{
    OutageProxy proxy(m_server.port());
    Client client(proxy);
    QCOMPARE(client.ask("a"), QByteArray("A"));
    QCOMPARE(client.ask("b"), QByteArray("B"));
    QCOMPARE(client.hear(), END);
    QCOMPARE(proxy.connections(), 1);
}

void tst_OutageProxy::brokenConnectionsEnd_data()
{
    QTest::addColumn<Mode>("mode");
    QTest::addColumn<QByteArray>("heard");
    QTest::newRow("restart") << Mode::Restart << END;
    QTest::newRow("reset") << Mode::Reset << RESET;
    QTest::newRow("bad gateway") << Mode::BadGateway << END;
    QTest::newRow("name gone") << Mode::NameGone << END;
}

void tst_OutageProxy::brokenConnectionsEnd()
{
    QFETCH(Mode, mode);
    OutageProxy proxy(m_server.port());
    Client client(proxy);
    QCOMPARE(client.ask("a"), QByteArray("A"));
    proxy.setMode(mode);
    QTEST(client.hear(), "heard");
}

void tst_OutageProxy::newConnectionsFail_data()
{
    QTest::addColumn<Mode>("mode");
    QTest::addColumn<QByteArray>("heard");
    QTest::newRow("restart") << Mode::Restart << REFUSED;
    QTest::newRow("reset") << Mode::Reset << RESET;
    QTest::newRow("bad gateway") << Mode::BadGateway << QByteArray("HTTP/1.1 502 Bad");
    QTest::newRow("name gone") << Mode::NameGone << REFUSED;
}

void tst_OutageProxy::newConnectionsFail()
{
    QFETCH(Mode, mode);
    OutageProxy proxy(m_server.port());
    proxy.setMode(mode);
    Client client(proxy);
    QTEST(client.ask("GET / HTTP/1.1\r\n\r\n").left(16), "heard");
}

void tst_OutageProxy::samePortServesAfterwards_data()
{
    QTest::addColumn<Mode>("mode");
    QTest::newRow("restart") << Mode::Restart;
    QTest::newRow("reset") << Mode::Reset;
    QTest::newRow("stall") << Mode::Stall;
    QTest::newRow("mute") << Mode::Mute;
    QTest::newRow("bad gateway") << Mode::BadGateway;
    QTest::newRow("name gone") << Mode::NameGone;
}

void tst_OutageProxy::samePortServesAfterwards()
{
    QFETCH(Mode, mode);
    OutageProxy proxy(m_server.port());
    const Client before(proxy);
    proxy.setMode(mode);
    const Client meanwhile(proxy);
    proxy.setMode(Mode::Pass);
    Client after(proxy);
    QCOMPARE(after.ask("a"), QByteArray("A"));
}

void tst_OutageProxy::stalledBytesComeAfterwards()
{
    OutageProxy proxy(m_server.port());
    Client before(proxy);
    proxy.setMode(Mode::Stall);
    Client meanwhile(proxy);
    QCOMPARE(before.ask("a", A_WHILE_MS), SILENCE);
    QCOMPARE(meanwhile.ask("a", A_WHILE_MS), SILENCE);
    proxy.setMode(Mode::Pass);
    QCOMPARE(before.hear(), QByteArray("A"));
    QCOMPARE(meanwhile.hear(), QByteArray("A"));
}

void tst_OutageProxy::muteConnectionsStayMute()
{
    OutageProxy proxy(m_server.port());
    Client before(proxy);
    QCOMPARE(before.ask("a"), QByteArray("A"));
    proxy.setMode(Mode::Mute);
    Client meanwhile(proxy);
    proxy.setMode(Mode::Pass);
    QCOMPARE(before.ask("b", A_WHILE_MS), SILENCE);
    QCOMPARE(meanwhile.ask("a", A_WHILE_MS), SILENCE);
}

// Nobody tells a client that the way to its server is forgotten.
void tst_OutageProxy::mutedConnectionsEndNowhere()
{
    OutageProxy proxy(m_server.port());
    Client client(proxy);
    QCOMPARE(client.ask("a"), QByteArray("A"));
    proxy.setMode(Mode::Mute);
    proxy.setMode(Mode::Restart);
    QCOMPARE(client.hear(A_WHILE_MS), SILENCE);
}

void tst_OutageProxy::nameIsGone()
{
    const QList<QHostAddress> local{QHostAddress(QHostAddress::LocalHost)};
    OutageProxy proxy(m_server.port());
    QCOMPARE(proxy.url(), u"http://classroom.test:%1"_s.arg(proxy.port()));
    proxy.setMode(Mode::NameGone);
    QCOMPARE(QHostInfo::fromName(classroomName()).error(), QHostInfo::HostNotFound);
    proxy.setMode(Mode::Pass);
    QCOMPARE(QHostInfo::fromName(classroomName()).addresses(), local);
}

void tst_OutageProxy::repliesComeLateAndInOrder()
{
    OutageProxy proxy(m_server.port());
    proxy.delayReplies(300);
    Client client(proxy);
    QElapsedTimer clock;
    clock.start();
    client.say("a");
    QTest::qSleep(100);
    client.say("b");
    QCOMPARE(client.hear(), QByteArray("A"));
    QVERIFY(clock.elapsed() >= 300);
    QCOMPARE(client.hear(), QByteArray("B"));
    QVERIFY(clock.elapsed() >= 400);
}

void tst_OutageProxy::endComesLateToo()
{
    OutageProxy proxy(m_server.port());
    Client client(proxy);
    QCOMPARE(client.ask("a"), QByteArray("A"));
    proxy.delayReplies(300);
    QElapsedTimer clock;
    clock.start();
    QCOMPARE(client.ask("b"), QByteArray("B"));
    QCOMPARE(client.hear(), END);
    QVERIFY(clock.elapsed() >= 300);
}

QTEST_GUILESS_MAIN(tst_OutageProxy)

#include "tst_outageproxy.moc"
