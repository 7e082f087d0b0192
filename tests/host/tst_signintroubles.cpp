#include "ClassStage.h"
#include "Faults.h"
#include "sockjs/DeadPort.h"
#include "support/ScriptedServer.h"
#include "support/TestCertificates.h"

#include "client/PresenterClient.h"

using namespace Tarvo;

// Signing in when the network, the service or the teacher is wrong: what is told, and that the next, right
// sign-in works.
class tst_SignInTroubles : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void failureIsToldAndTheNextSignInWorks_data();
    void failureIsToldAndTheNextSignInWorks();
    void wrongPasswordIsSentOnce_data();
    void wrongPasswordIsSentOnce();
    void whatCannotBeSentIsNotSent_data();
    void whatCannotBeSentIsNotSent();
    void unknownRootIsNotTrusted();
    void expiredCertificateDoesNotHold();
    void rootThatIsTrustedMakesItWork();
    void redirectToTheServiceIsFollowedOnce();
    void redirectToAPageInBetweenIsTold_data();
    void redirectToAPageInBetweenIsTold();
    void newUserRegisters();
    void refusedRegistrationIsTold();
    void codeThatIsUnknownIsRefused();
    void registrationWithoutASignInIsNotAllowed();
    void deviceTokenSignsIn();
    void deviceTokenThatIsUnknownIsRefused();

private:
    const DeadPort m_nobody;
};

namespace
{

const QString CHECK = u"/vantora"_s;
const QString SUBMIT = u"/vantora/login/submit"_s;

const QByteArray PORTAL = "<html><body>Please accept our terms.</body></html>";

QByteArray redirectTo(const QString &url)
{
    return Scripted::reply(QByteArray(), "302 Found", "Location: " + url.toUtf8() + "\r\n");
}

QString urlOf(const ScriptedServer &server)
{
    return u"http://127.0.0.1:%1"_s.arg(server.port());
}

Operation signIn(LiveClass &host, const QString &server)
{
    return host.signIn(server, u"teacher"_s, u"secret"_s);
}

} // namespace

// ---- The way to the service ----------------------------------------------------------------------

void tst_SignInTroubles::failureIsToldAndTheNextSignInWorks_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QJsonObject>("fault");
    QTest::addColumn<QString>("server"); // the service's own when empty
    QTest::addColumn<Failure::Reason>("reason");
    const QString nowhere = u"http://no-such-host.invalid"_s;
    const QString dead = u"http://127.0.0.1:%1"_s.arg(m_nobody);
    QTest::newRow("name not found")
        << QString() << QJsonObject() << nowhere << Failure::NameNotFound;
    QTest::newRow("nobody listens") << QString() << QJsonObject() << dead << Failure::Refused;
    QTest::newRow("page in between") << CHECK << PAGE << QString() << Failure::SignInPage;
    QTest::newRow("maintenance") << CHECK << BUSY << QString() << Failure::Maintenance;
    QTest::newRow("broken service") << CHECK << BROKEN << QString() << Failure::Maintenance;
    QTest::newRow("broken connection") << CHECK << HUNG_UP << QString() << Failure::ConnectionLost;
    QTest::newRow("silence") << CHECK << LATE << QString() << Failure::Silent;
    QTest::newRow("page later") << SUBMIT << PAGE << QString() << Failure::SignInPage;
    QTest::newRow("maintenance later") << SUBMIT << BUSY << QString() << Failure::Maintenance;
    QTest::newRow("broken later") << SUBMIT << BROKEN << QString() << Failure::Maintenance;
    QTest::newRow("hung up later") << SUBMIT << HUNG_UP << QString() << Failure::ConnectionLost;
    QTest::newRow("silent later") << SUBMIT << LATE << QString() << Failure::Silent;
}

void tst_SignInTroubles::failureIsToldAndTheNextSignInWorks()
{
    QFETCH(QString, path);
    QFETCH(QJsonObject, fault);
    QFETCH(QString, server);
    ClassStage stage;
    stage.fault(path, fault);
    if (fault == LATE)
        stage.host->setSilenceLimit(SHORT_SILENCE_MS);
    QSignalSpy failed(stage.host.get(), &LiveClass::failed);
    const Operation operation = signIn(*stage.host, server.isEmpty() ? stage.proxy.url() : server);
    QTEST(ClassStage::failureOf(operation), "reason");
    QCOMPARE(stage.host->state(), LiveClass::SignedOut);
    QTEST(stage.host->reason(), "reason");
    QCOMPARE(stage.host->userName(), QString());
    QTRY_COMPARE(failed.size(), 1);

    stage.classroom.remove(u"faults"_s);
    stage.host->setSilenceLimit(ClassStage::LIMIT_MS);
    QVERIFY(ClassStage::succeeds(stage.signIn()));
    QCOMPARE(stage.host->state(), LiveClass::SignedIn);
    QCOMPARE(stage.host->reason(), Failure::NoReason);
}

// ---- Who signs in --------------------------------------------------------------------------------

void tst_SignInTroubles::wrongPasswordIsSentOnce_data()
{
    QTest::addColumn<bool>("keepsPassword");
    QTest::newRow("forgotten") << false;
    QTest::newRow("kept") << true;
}

// Services lock teachers out who try too often.
void tst_SignInTroubles::wrongPasswordIsSentOnce()
{
    QFETCH(bool, keepsPassword);
    ClassStage stage;
    stage.host->setKeepPassword(keepsPassword);
    const Operation operation = stage.signIn(u"guessed"_s);
    QCOMPARE(ClassStage::failureOf(operation), Failure::SignInRefused);
    QCOMPARE(operation.failure().key(), u"login.error.wrongCredentials"_s);
    QCOMPARE(stage.host->reason(), Failure::SignInRefused);
    QCOMPARE(stage.host->state(), LiveClass::SignedOut);
    QCOMPARE(stage.classroom.requestsTo(SUBMIT), 1);
    QVERIFY(ClassStage::succeeds(stage.signIn()));
    QCOMPARE(stage.classroom.requestsTo(SUBMIT), 2);
}

void tst_SignInTroubles::whatCannotBeSentIsNotSent_data()
{
    QTest::addColumn<QString>("user");
    QTest::addColumn<QString>("password");
    QTest::newRow("quotation mark") << u"teacher"_s << u"sec\"ret"_s;
    QTest::newRow("backslash") << u"teacher"_s << u"sec\\ret"_s;
    QTest::newRow("quotation mark in the name") << u"\"teacher\""_s << u"secret"_s;
}

void tst_SignInTroubles::whatCannotBeSentIsNotSent()
{
    QFETCH(QString, user);
    QFETCH(QString, password);
    ClassStage stage;
    const Operation operation = stage.host->signIn(stage.proxy.url(), user, password);
    QCOMPARE(ClassStage::failureOf(operation), Failure::InvalidArgument);
    QCOMPARE(stage.host->reason(), Failure::InvalidArgument);
    QCOMPARE(stage.host->state(), LiveClass::SignedOut);
    QCOMPARE(stage.proxy.connections(), 0);
    QVERIFY(ClassStage::succeeds(stage.signIn()));
}

// ---- Certificates --------------------------------------------------------------------------------

void tst_SignInTroubles::unknownRootIsNotTrusted()
{
    TestCertificates certificates;
    const auto identity = certificates.issue(u"localhost"_s);
    Classroom classroom({}, &identity);
    LiveClass host;
    QCOMPARE(ClassStage::failureOf(signIn(host, classroom.url())), Failure::UntrustedRoot);
    QCOMPARE(host.reason(), Failure::UntrustedRoot);
    QCOMPARE(host.state(), LiveClass::SignedOut);
    QCOMPARE(classroom.countNow(u"request"_s), 0);

    host.setTrustedCertificates({certificates.root()});
    QVERIFY(ClassStage::succeeds(signIn(host, classroom.url())));
    QCOMPARE(host.state(), LiveClass::SignedIn);
}

void tst_SignInTroubles::expiredCertificateDoesNotHold()
{
    TestCertificates certificates;
    const auto identity = certificates.issueExpired(u"localhost"_s);
    Classroom classroom({}, &identity);
    LiveClass host;
    host.setTrustedCertificates({certificates.root()});
    QCOMPARE(ClassStage::failureOf(signIn(host, classroom.url())), Failure::Tls);
    QCOMPARE(host.reason(), Failure::Tls);
    QCOMPARE(classroom.countNow(u"request"_s), 0);
}

void tst_SignInTroubles::rootThatIsTrustedMakesItWork()
{
    TestCertificates certificates;
    const auto identity = certificates.issue(u"localhost"_s);
    Classroom classroom({}, &identity);
    LiveClass host;
    host.setTrustedCertificates({certificates.root()});
    QVERIFY(ClassStage::succeeds(signIn(host, classroom.url())));
    QVERIFY(ClassStage::succeeds(host.start()));
    QCOMPARE(host.state(), LiveClass::Live);
    QVERIFY(ClassStage::succeeds(host.stop()));
}

// ---- Redirects -----------------------------------------------------------------------------------

void tst_SignInTroubles::redirectToTheServiceIsFollowedOnce()
{
    ClassStage stage;
    ScriptedServer former;
    former.onConnection(
        {Scripted::expectRequest(), Scripted::send(redirectTo(stage.proxy.url() + CHECK))});
    QVERIFY(former.listen());
    QVERIFY(ClassStage::succeeds(signIn(*stage.host, urlOf(former))));
    QCOMPARE(former.requests().size(), 1);
    QCOMPARE(stage.classroom.requestsTo(CHECK), 1);
    QVERIFY(ClassStage::succeeds(stage.host->start()));
    QCOMPARE(stage.host->state(), LiveClass::Live);
}

void tst_SignInTroubles::redirectToAPageInBetweenIsTold_data()
{
    QTest::addColumn<QByteArray>("next");
    QTest::newRow("page") << Scripted::reply(PORTAL);
    QTest::newRow("another redirect") << redirectTo(u"http://127.0.0.1/next"_s);
}

void tst_SignInTroubles::redirectToAPageInBetweenIsTold()
{
    QFETCH(QByteArray, next);
    ClassStage stage;
    ScriptedServer portal;
    ScriptedServer network;
    portal.onEveryOther({Scripted::expectRequest(), Scripted::send(next)});
    QVERIFY(portal.listen());
    network.onEveryOther({Scripted::expectRequest(), Scripted::send(redirectTo(urlOf(portal)))});
    QVERIFY(network.listen());
    const Operation operation = signIn(*stage.host, urlOf(network));
    QCOMPARE(ClassStage::failureOf(operation), Failure::SignInPage);
    QCOMPARE(stage.host->reason(), Failure::SignInPage);
    QCOMPARE(stage.host->state(), LiveClass::SignedOut);
    const QList<QByteArray> asked = network.requests() + portal.requests();
    QCOMPARE(asked.size(), 2);
    QVERIFY(!asked.join().contains("secret"));
    QVERIFY(ClassStage::succeeds(stage.signIn()));
}

// ---- OAuth, device tokens ------------------------------------------------------------------------

void tst_SignInTroubles::newUserRegisters()
{
    ClassStage stage;
    QSignalSpy needed(stage.host.get(), &LiveClass::registrationNeeded);
    const Operation operation =
        stage.host->signInWithOAuth(stage.proxy.url(), u"example"_s, u"new-carla"_s);
    QCOMPARE(ClassStage::failureOf(operation), Failure::NotRegistered);
    QCOMPARE(stage.host->reason(), Failure::NotRegistered);
    QCOMPARE(stage.host->state(), LiveClass::SignedOut);
    QCOMPARE(needed.size(), 1);

    const QString data = needed.first().first().toString();
    QVERIFY(data.contains(u"new-carla"_s));
    QVERIFY(ClassStage::succeeds(stage.host->completeRegistration(data)));
    QCOMPARE(stage.host->state(), LiveClass::SignedIn);
    QCOMPARE(stage.host->userName(), u"new-carla"_s);
    QVERIFY(ClassStage::succeeds(stage.host->start()));
}

void tst_SignInTroubles::refusedRegistrationIsTold()
{
    ClassStage stage;
    const Operation operation =
        stage.host->signInWithOAuth(stage.proxy.url(), u"example"_s, u"new-carla"_s);
    QCOMPARE(ClassStage::failureOf(operation), Failure::NotRegistered);
    const Operation completed =
        stage.host->completeRegistration(u"{\"registrationToken\":\"none\"}"_s);
    QCOMPARE(ClassStage::failureOf(completed), Failure::SignInRefused);
    QCOMPARE(completed.failure().key(), u"register.error.unknownRegistration"_s);
    QCOMPARE(stage.host->state(), LiveClass::SignedOut);
    QVERIFY(ClassStage::succeeds(stage.signIn()));
}

void tst_SignInTroubles::codeThatIsUnknownIsRefused()
{
    ClassStage stage;
    const Operation operation =
        stage.host->signInWithOAuth(stage.proxy.url(), u"example"_s, u"nobody"_s);
    QCOMPARE(ClassStage::failureOf(operation), Failure::SignInRefused);
    QCOMPARE(stage.host->state(), LiveClass::SignedOut);
    QVERIFY(ClassStage::succeeds(
        stage.host->signInWithOAuth(stage.proxy.url(), u"example"_s, u"teacher"_s)));
    QCOMPARE(stage.host->userName(), u"teacher"_s);
}

void tst_SignInTroubles::registrationWithoutASignInIsNotAllowed()
{
    ClassStage stage;
    QCOMPARE(ClassStage::failureOf(stage.host->completeRegistration(u"{}"_s)), Failure::NotAllowed);
    QCOMPARE(stage.host->state(), LiveClass::SignedOut);
    QCOMPARE(stage.proxy.connections(), 0);
    QVERIFY(ClassStage::succeeds(stage.signIn()));
}

void tst_SignInTroubles::deviceTokenSignsIn()
{
    ClassStage stage;
    PresenterClient client(nullptr, stage.classroom.url());
    const QString token =
        client.doGetAccessToken(u"teacher"_s, u"secret"_s, u"device-1"_s, u"Laptop"_s);
    QVERIFY(!token.isEmpty());
    QVERIFY(ClassStage::succeeds(
        stage.host->signInWithDeviceToken(stage.proxy.url(), u"teacher"_s, u"device-1"_s, token)));
    QCOMPARE(stage.host->userName(), u"teacher"_s);
}

void tst_SignInTroubles::deviceTokenThatIsUnknownIsRefused()
{
    ClassStage stage;
    const Operation operation = stage.host->signInWithDeviceToken(stage.proxy.url(), u"teacher"_s,
                                                                  u"device-1"_s, u"none"_s);
    QCOMPARE(ClassStage::failureOf(operation), Failure::SignInRefused);
    QCOMPARE(operation.failure().key(), u"login.error.wrongDeviceToken"_s);
    QCOMPARE(stage.classroom.requestsTo(SUBMIT), 1);
    QVERIFY(ClassStage::succeeds(stage.signIn()));
}

QTEST_MAIN(tst_SignInTroubles)

#include "tst_signintroubles.moc"
