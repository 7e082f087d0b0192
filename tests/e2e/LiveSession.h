#pragma once

#include "e2e/Classroom.h"
#include "e2e/Transports.h"
#include "support/Slowness.h"
#include "support/Text.h"

#include "client/PresenterClient.h"
#include "collab/PresenterCollab.h"

#include <QtCore/QPointer>
#include <QtTest/QSignalSpy>
#include <QtTest/QtTest>

#include <algorithm>
#include <memory>

// How long anything may take that needs the network, a polling cycle or the service's decoding, on a
// machine that is busy with other tests.
constexpr int LONG_MS = 60000 * std::min(SLOWNESS, 3);

const QStringList EVERY_TRANSPORT{u"websocket"_s, u"xhr-streaming"_s, u"xhr-polling"_s};
const QStringList HTTP_TRANSPORTS{u"xhr-streaming"_s, u"xhr-polling"_s};

// The rows of lessons, which are to hold on every way to the collaboration server.
inline void addLessonRows()
{
    addTransportRows();
    addRobustRows(EVERY_TRANSPORT);
}
inline void addLessonAndTlsRows()
{
    addTransportRows();
    QTest::newRow("websocket, TLS") << u"websocket"_s << true << false;
    QTest::newRow("xhr-polling, TLS") << u"xhr-polling"_s << true << false;
    addRobustRows(EVERY_TRANSPORT);
}
// The same where one of the default transport's ways stands for all.
inline void addWebSocketAndRobustRows()
{
    addWayColumns();
    QTest::newRow("websocket") << u"websocket"_s << false << false;
    addRobustRows(EVERY_TRANSPORT);
}
inline void addRobustOnlyRows(const QStringList &transports = EVERY_TRANSPORT)
{
    addWayColumns();
    addRobustRows(transports);
}

// A classroom as the row says, trusted by this process if it speaks TLS.
class Far
{
public:
    explicit Far(bool tls, const QStringList &options = {})
    {
        if (tls) {
            m_certificates = std::make_unique<TestCertificates>();
            m_certificates->trust();
            const auto identity = m_certificates->issue(u"localhost"_s);
            m_classroom = std::make_unique<Classroom>(options, &identity);
        } else {
            m_classroom = std::make_unique<Classroom>(options);
        }
    }
    explicit Far(const Way &way, const QStringList &options = {})
        : Far(way.isTls, way.isRobust ? options + QStringList{u"--stock"_s} : options)
    {
    }
    Classroom *operator->() const { return m_classroom.get(); }
    Classroom &operator*() const { return *m_classroom; }
    const TestCertificates *certificates() const { return m_certificates.get(); }

private:
    std::unique_ptr<TestCertificates> m_certificates;
    std::unique_ptr<Classroom> m_classroom;
};

// A session run by the library, as a host does it.
class LiveSession
{
public:
    LiveSession(Classroom &classroom, const QString &transport)
        : client(std::make_unique<PresenterClient>(nullptr, classroom.url()))
    {
        if (!transport.isEmpty())
            client->setSockJSOverrideProtocols({transport});
    }
    LiveSession(Classroom &classroom, const Way &way) : LiveSession(classroom, way.transport)
    {
        client->setRobustTransport(way.isRobust);
    }

    // Signs in, starts the session and waits until its channel is open.
    bool open() { return create() && openChannel(); }
    bool openChannel() { return startChannel() && awaitChannel(); }
    // The steps of open(). With the robust transport a channel that has been started opens by itself.
    bool create()
    {
        return client->checkServer(QString(), QString())
            && client->doLogin(u"teacher"_s, u"secret"_s) && client->doStartSession(QString());
    }
    bool startChannel()
    {
        PresenterCollab *made = nullptr;
        if (!client->startWebsocket(&made))
            return false;
        channel = made;
        return true;
    }
    bool awaitChannel()
    {
        return QTest::qWaitFor([this] { return !channel || channel->isConnected(); }, LONG_MS)
            && channel;
    }

    QString token() const { return client->getSessionToken(); }

    std::unique_ptr<PresenterClient> client;
    QPointer<PresenterCollab> channel; // a child of the client
};

// Opens a session and waits until what is published to its presenters arrives.
inline bool openRegistered(LiveSession &session, Classroom &classroom)
{
    return session.open()
        && classroom.journal(u"register"_s, {{u"address"_s, session.token() + u".presenter"_s}})
               .size()
        == 1;
}

// Opens a session and waits until the classroom's learners are there; the host has heard of them.
inline bool openWithLearners(LiveSession &session, int count)
{
    if (!session.open())
        return false;
    QSignalSpy joined(session.channel, &PresenterCollab::learnerJoin);
    return QTest::qWaitFor([&joined, count] { return joined.count() == count; }, LONG_MS);
}
