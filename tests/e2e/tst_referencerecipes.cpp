#include "Recipes.h"
#include "e2e/LiveSession.h"
#include "sockjs/TunnelProxy.h"
#include "support/LogCapture.h"
#include "support/Text.h"

#include "compression/Lzma.h"
#include "host/LiveClass.h"

#include <QtCore/QLoggingCategory>

using Tarvo::LiveClass;

// The snippets of the reference, each against a far end.
class tst_ReferenceRecipes : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup() { QLoggingCategory::setFilterRules(QString()); }

    void newUserRegistersAndTeaches();
    void newUserRegistersWithoutTheKit();
    void schoolIsTrustedByItsRootAlone();
    void proxyTakesEverything();
    void lostChannelComesBack();
    void answersAreTimed();
    void onlyRequestsAreLogged();
    void onlyWarningsAreHeard();
    void failuresReachTheTeacher();
    void reasonsAreToldInWords();
    void windowHearsOfTheThread();
    void payloadIsReadable();
    void unknownMessageIsHeard();
};

namespace
{

const QString TEACHER = u"teacher"_s;
const QString SECRET = u"secret"_s;

bool comesTo(const LiveClass &lesson, LiveClass::State state)
{
    return QTest::qWaitFor([&] { return lesson.state() == state; }, LONG_MS);
}

// Nothing is left out of what the user has to complete; they agree.
QString agree(const QString &data)
{
    return data;
}

} // namespace

// ---- Recipes -------------------------------------------------------------------------------------

void tst_ReferenceRecipes::newUserRegistersAndTeaches()
{
    Classroom classroom;
    LiveClass lesson;
    Reference::signInWithOAuth(lesson, classroom.url(), u"new-carla"_s, agree);
    QVERIFY(comesTo(lesson, LiveClass::Live));
    QCOMPARE(lesson.userName(), u"new-carla"_s);
}

void tst_ReferenceRecipes::newUserRegistersWithoutTheKit()
{
    Classroom classroom;
    PresenterClient client(nullptr, classroom.url());
    QVERIFY(!Reference::signInWithOAuth(client, u"nobody"_s, agree));
    QVERIFY(Reference::signInWithOAuth(client, u"new-carla"_s, agree));
    QCOMPARE(client.doGetUserName(), u"new-carla"_s);
}

void tst_ReferenceRecipes::schoolIsTrustedByItsRootAlone()
{
    TestCertificates certificates;
    const auto identity = certificates.issue(u"localhost"_s);
    Classroom classroom({}, &identity);
    LiveClass lesson;
    const auto stranger = lesson.signIn(classroom.url(), TEACHER, SECRET);
    QVERIFY(QTest::qWaitFor([&] { return stranger.isFinished(); }, LONG_MS));
    QCOMPARE(stranger.failure().reason(), Tarvo::Failure::UntrustedRoot);

    Reference::trustTheSchool(lesson, certificates.rootFile());
    lesson.signIn(classroom.url(), TEACHER, SECRET).then(&lesson, [&] { lesson.start(); });
    QVERIFY(comesTo(lesson, LiveClass::Live));
}

// Whatever the name of the service is, the proxy leads to ours.
void tst_ReferenceRecipes::proxyTakesEverything()
{
    TestCertificates certificates;
    const auto identity = certificates.issue(u"localhost"_s, u"DNS:classroom.invalid"_s);
    Classroom classroom({}, &identity);
    TunnelProxy proxy(quint16(QUrl(classroom.url()).port()));
    proxy.credentials = QByteArray("school:let me out").toBase64();
    LiveClass lesson;
    Reference::trustTheSchool(lesson, certificates.rootFile());
    Reference::goThroughTheProxy(lesson, u"127.0.0.1"_s, proxy.port(), u"school"_s,
                                 u"let me out"_s);
    const QString url = u"https://classroom.invalid:"_s + classroom.url().section(u':', -1);
    lesson.signIn(url, TEACHER, SECRET).then(&lesson, [&] { lesson.start(); });
    QVERIFY(comesTo(lesson, LiveClass::Live));
    QVERIFY(proxy.tunnels >= 2); // the service's, and the channel's
}

void tst_ReferenceRecipes::lostChannelComesBack()
{
    Classroom classroom;
    LiveSession session(classroom, Way{u"websocket"_s, false, true});
    QVERIFY(session.open());
    Reference::comeBack(*session.client, session.channel);
    classroom.remove(u"connections"_s);
    QTRY_VERIFY_WITH_TIMEOUT(!session.channel->isConnected(), LONG_MS);
    classroom.post(u"learners"_s, {{u"count"_s, 2}});
    QTRY_COMPARE_WITH_TIMEOUT(session.client->getLearners().size(), 2, LONG_MS);
    QVERIFY(session.channel->isConnected());
}

void tst_ReferenceRecipes::answersAreTimed()
{
    Classroom classroom(words(u"--learners 2 --think 100"_s));
    LiveSession session(classroom, u"websocket"_s);
    QVERIFY(openWithLearners(session, 2));
    QList<qint64> times;
    Reference::measure(session.channel, [&](const QString &, qint64 ms) { times.append(ms); });
    QTRY_COMPARE_WITH_TIMEOUT(times.size(), 2, LONG_MS);
    for (const qint64 ms : qAsConst(times))
        QVERIFY2(ms >= 90 && ms < LONG_MS, qPrintable(QString::number(ms)));
}

void tst_ReferenceRecipes::onlyRequestsAreLogged()
{
    Classroom classroom;
    Reference::keepOnlyRequests();
    LogCapture log;
    LiveSession session(classroom, u"websocket"_s);
    QVERIFY(session.open());
    QVERIFY(!log.startingWith(u"[REST Response]"_s).isEmpty());
    QCOMPARE(log.startingWith(u"[SockJSConnector]"_s), QStringList());
}

void tst_ReferenceRecipes::onlyWarningsAreHeard()
{
    LogCapture log;
    Reference::keepOnlyWarnings();
    const QLoggingCategory ours("tarvo.rest");
    qCDebug(ours, "a reply");
    qCWarning(ours, "a warning");
    qDebug("the host's own");
    QCOMPARE(log.messages(), QStringList({u"a warning"_s, u"the host's own"_s}));
}

// ---- Troubles, threads, the wire -----------------------------------------------------------------

void tst_ReferenceRecipes::failuresReachTheTeacher()
{
    Classroom classroom;
    LiveClass lesson;
    QStringList shown;
    Reference::tellTheTeacher(lesson, [&](const QString &text) { shown.append(text); });
    lesson.signIn(classroom.url(), TEACHER, u"wrong"_s);
    QTRY_COMPARE_WITH_TIMEOUT(shown.size(), 1, LONG_MS);
    QVERIFY2(shown.first().startsWith(u"Signing in failed"_s), qPrintable(shown.first()));

    lesson.signIn(classroom.url(), TEACHER, SECRET).then(&lesson, [&] { lesson.start(); });
    QVERIFY(comesTo(lesson, LiveClass::Live));
    classroom.remove(u"connections"_s);
    QVERIFY(comesTo(lesson, LiveClass::Reconnecting));
    lesson.sendText(u"Wait."_s);
    QTRY_VERIFY_WITH_TIMEOUT(shown.contains(u"Not now: the connection is coming back."_s), LONG_MS);
}

void tst_ReferenceRecipes::reasonsAreToldInWords()
{
    Classroom classroom;
    PresenterClient client(nullptr, classroom.url());
    QVERIFY(!client.doLogin(TEACHER, u"wrong"_s));
    QCOMPARE(Reference::whyNot(client), u"The service says login.error.wrongCredentials"_s);

    client.setRequestTimeout(300);
    classroom.post(u"faults"_s, {{u"path"_s, u"/vantora/login/submit"_s}, {u"delayMs"_s, 3000}});
    QVERIFY(!client.doLogin(TEACHER, SECRET));
    QCOMPARE(Reference::whyNot(client), u"The service does not answer"_s);
}

void tst_ReferenceRecipes::windowHearsOfTheThread()
{
    Classroom classroom;
    QString shown;
    QThread *heardOn = nullptr;
    QObject window;
    Reference::teachOnAThread(&window, classroom.url(), [&](const QString &text) {
        shown = text;
        heardOn = QThread::currentThread();
    });
    QTRY_COMPARE_WITH_TIMEOUT(shown, u"signed in"_s, LONG_MS);
    QCOMPARE(heardOn, QThread::currentThread());
}

void tst_ReferenceRecipes::payloadIsReadable()
{
    QString block;
    QVERIFY(Lzma::compress64(u"{\"pick\":{\"answer\":\"A\"}}"_s, &block));
    QVERIFY(Reference::unpacked(block).contains(u"\"answer\": \"A\""_s));
    QCOMPARE(Reference::unpacked(u"AAAA"_s), QString());
}

void tst_ReferenceRecipes::unknownMessageIsHeard()
{
    Classroom classroom;
    LiveSession session(classroom, u"websocket"_s);
    QVERIFY(openRegistered(session, classroom));
    QStringList heard;
    Reference::hearTheUnknown(session.channel, [&](const QString &text) { heard.append(text); });
    classroom.post(u"publish"_s,
                   {{u"address"_s, u".presenter"_s},
                    {u"body"_s, QJsonObject{{u"type"_s, u"hand"_s}, {u"from"_s, u"d1"_s}}},
                    {u"text"_s, uR"({"isRaised":true})"_s}});
    QTRY_COMPARE_WITH_TIMEOUT(heard.size(), 1, LONG_MS);
    QVERIFY2(heard.first().startsWith(u"hand from d1: {"_s), qPrintable(heard.first()));
    QVERIFY(heard.first().contains(u"\"isRaised\": true"_s));
}

QTEST_GUILESS_MAIN(tst_ReferenceRecipes)
#include "tst_referencerecipes.moc"
