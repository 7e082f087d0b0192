// What is read from a reply of the service about why something failed.
#include "host/ReplyReason.h"

#include "support/Text.h"

#include <QtTest/QtTest>

using Tarvo::errorKeyOf;
using Tarvo::Failure;
using Tarvo::reasonOf;
using Error = QNetworkReply::NetworkError;
using Reply = PresenterClient::Reply;

namespace
{

const QString SUCCESS =
    uR"({"success":true,"infoMsgs":[],"infoMsgKeys":[],"errorMsgKeys":[],"data":{}})"_s;
const QString PAGE =
    u"\n<!DOCTYPE html><html><body>Welcome to the school's network</body></html>"_s;

// How the service refuses something.
QString refusal(const QString &key)
{
    return uR"({"success":false,"infoMsgs":[],"infoMsgKeys":[],"errorMsgKeys":[")"_s + key
        + uR"("],"data":{}})"_s;
}

// What the toolkit makes of a status.
Error errorOf(int status)
{
    switch (status) {
    case 400:
        return Error::ProtocolInvalidOperationError;
    case 401:
        return Error::AuthenticationRequiredError;
    case 403:
        return Error::ContentAccessDenied;
    case 404:
        return Error::ContentNotFoundError;
    case 407:
        return Error::ProxyAuthenticationRequiredError;
    case 500:
        return Error::InternalServerError;
    case 501:
        return Error::OperationNotImplementedError;
    case 503:
        return Error::ServiceUnavailableError;
    }
    return status >= 500 ? Error::UnknownServerError
        : status >= 400  ? Error::UnknownContentError
                         : Error::NoError;
}

Reply answer(int status, const QString &text)
{
    Reply reply;
    reply.error = errorOf(status);
    reply.httpStatus = status;
    reply.text = text;
    return reply;
}

// The name of the reason, for messages that can be read.
QString nameOf(Failure::Reason reason)
{
    return QString::fromLatin1(QMetaEnum::fromType<Failure::Reason>().valueToKey(reason));
}

} // namespace

class tst_ReplyReason : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void errorsOnTheWay_data();
    void errorsOnTheWay();
    void errorsOnTheWayGoBeforeWhatHasCome();
    void missingRoot_data();
    void missingRoot();
    void statuses_data();
    void statuses();
    void errorsWithoutStatus_data();
    void errorsWithoutStatus();
    void keys_data();
    void keys();
    void keyWithStatus_data();
    void keyWithStatus();
    void earlierKeyCountsWhereAnErrorHasNone();
    void redirects_data();
    void redirects();
    void waitingTimes_data();
    void waitingTimes();
    void bodies_data();
    void bodies();
    void nothingCameIsSilence();
    void errorKey_data();
    void errorKey();
    void largeBodiesAreNotRead();
};

void tst_ReplyReason::errorsOnTheWay_data()
{
    QTest::addColumn<Error>("error");
    QTest::addColumn<QString>("reason");
    const auto row = [](Error error, const QString &reason) {
        QTest::newRow(QMetaEnum::fromType<Error>().valueToKey(error)) << error << reason;
    };

    row(Error::ConnectionRefusedError, u"Refused"_s);
    row(Error::RemoteHostClosedError, u"ConnectionLost"_s);
    row(Error::HostNotFoundError, u"NameNotFound"_s);
    row(Error::TimeoutError, u"Silent"_s);
    row(Error::OperationCanceledError, u"Silent"_s);
    row(Error::SslHandshakeFailedError, u"Tls"_s);
    row(Error::TemporaryNetworkFailureError, u"Unreachable"_s);
    row(Error::NetworkSessionFailedError, u"Unreachable"_s);
    row(Error::BackgroundRequestNotAllowedError, u"Unreachable"_s);
    row(Error::TooManyRedirectsError, u"SignInPage"_s);
    row(Error::InsecureRedirectError, u"SignInPage"_s);
    row(Error::UnknownNetworkError, u"Unreachable"_s);
    row(Error::ProxyConnectionRefusedError, u"ProxyTrouble"_s);
    row(Error::ProxyConnectionClosedError, u"ProxyTrouble"_s);
    row(Error::ProxyNotFoundError, u"ProxyTrouble"_s);
    row(Error::ProxyTimeoutError, u"ProxyTrouble"_s);
    row(Error::ProxyAuthenticationRequiredError, u"ProxyTrouble"_s);
    row(Error::UnknownProxyError, u"ProxyTrouble"_s);
    row(Error::ContentReSendError, u"ConnectionLost"_s);
    QTest::newRow("one of later days") << static_cast<Error>(42) << u"ConnectionLost"_s;
}

void tst_ReplyReason::errorsOnTheWay()
{
    QFETCH(Error, error);
    Reply reply;
    reply.error = error;
    QTEST(nameOf(reasonOf(reply, QString())), "reason");
}

void tst_ReplyReason::errorsOnTheWayGoBeforeWhatHasCome()
{
    Reply reply = answer(200, SUCCESS);
    reply.error = Error::RemoteHostClosedError;
    QCOMPARE(reasonOf(reply, QString()), Failure::ConnectionLost);
    reply = answer(403, refusal(u"login.error.wrongCredentials"_s));
    reply.error = Error::TimeoutError;
    QCOMPARE(reasonOf(reply, u"login.error.wrongCredentials"_s), Failure::Silent);
}

void tst_ReplyReason::missingRoot_data()
{
    QTest::addColumn<Error>("error");
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("reason");

    const QString missing = u"SSLRootCertificateMissing"_s;
    const QString other = u"login.error.wrongCredentials"_s;
    QTest::newRow("root missing") << Error::SslHandshakeFailedError << missing
                                  << u"UntrustedRoot"_s;
    QTest::newRow("no key") << Error::SslHandshakeFailedError << QString() << u"Tls"_s;
    QTest::newRow("an earlier key") << Error::SslHandshakeFailedError << other << u"Tls"_s;
    QTest::newRow("missed earlier") << Error::HostNotFoundError << missing << u"NameNotFound"_s;
}

void tst_ReplyReason::missingRoot()
{
    QFETCH(Error, error);
    QFETCH(QString, key);
    Reply reply;
    reply.error = error;
    QTEST(nameOf(reasonOf(reply, key)), "reason");
}

void tst_ReplyReason::statuses_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<QString>("reason");
    const auto row = [](int status, const QString &reason) {
        QTest::addRow("%d", status) << status << reason;
    };

    row(300, u"SignInPage"_s);
    row(302, u"SignInPage"_s);
    row(307, u"SignInPage"_s);
    row(399, u"SignInPage"_s);
    row(400, u"RefusedByService"_s);
    row(401, u"SignInOver"_s);
    row(403, u"RefusedByService"_s);
    row(404, u"RefusedByService"_s);
    row(407, u"ProxyTrouble"_s);
    row(413, u"RefusedByService"_s);
    row(429, u"Maintenance"_s);
    row(499, u"RefusedByService"_s);
    row(500, u"Maintenance"_s);
    row(501, u"Maintenance"_s);
    row(502, u"Maintenance"_s);
    row(503, u"Maintenance"_s);
    row(504, u"Maintenance"_s);
    row(511, u"SignInPage"_s);
    row(599, u"Maintenance"_s);
}

void tst_ReplyReason::statuses()
{
    QFETCH(int, status);
    QFETCH(QString, reason);
    for (const QString &text : {QString(), PAGE, SUCCESS})
        QCOMPARE(nameOf(reasonOf(answer(status, text), QString())), reason);
}

void tst_ReplyReason::errorsWithoutStatus_data()
{
    QTest::addColumn<Error>("error");
    QTest::addColumn<QString>("reason");

    QTest::newRow("content") << Error::ContentAccessDenied << u"RefusedByService"_s;
    QTest::newRow("credentials") << Error::AuthenticationRequiredError << u"SignInOver"_s;
    QTest::newRow("server") << Error::InternalServerError << u"Maintenance"_s;
    QTest::newRow("unknown server") << Error::UnknownServerError << u"Maintenance"_s;
    QTest::newRow("protocol") << Error::ProtocolFailure << u"UnexpectedAnswer"_s;
    QTest::newRow("unknown protocol") << Error::ProtocolUnknownError << u"UnexpectedAnswer"_s;
}

void tst_ReplyReason::errorsWithoutStatus()
{
    QFETCH(Error, error);
    Reply reply;
    reply.error = error;
    QTEST(nameOf(reasonOf(reply, QString())), "reason");
}

void tst_ReplyReason::keys_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("reason");
    const auto row = [](const QString &key, const QString &reason) {
        QTest::newRow(qUtf8Printable(key)) << key << reason;
    };

    row(u"login.error.wrongCredentials"_s, u"SignInRefused"_s);
    row(u"login.error.wrongDeviceToken"_s, u"SignInRefused"_s);
    row(u"login.error.wrongOAuthCode"_s, u"SignInRefused"_s);
    row(u"register.error.unknownRegistration"_s, u"SignInRefused"_s);
    row(u"login.error.notSignedIn"_s, u"SignInOver"_s);
    row(u"session.error.unknownSession"_s, u"SessionOver"_s);
    row(u"session.error.unknown"_s, u"SessionOver"_s);
    row(u"session.error.foreignSession"_s, u"RefusedByService"_s);
    row(u"request.error.missingField"_s, u"RefusedByService"_s);
    row(u"login.error.locked"_s, u"RefusedByService"_s);
}

void tst_ReplyReason::keys()
{
    QFETCH(QString, key);
    QFETCH(QString, reason);
    for (const int status : {200, 400, 403, 404, 500})
        QCOMPARE(nameOf(reasonOf(answer(status, refusal(key)), QString())), reason);
}

void tst_ReplyReason::keyWithStatus_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("reason");

    const QString wrong = u"login.error.wrongCredentials"_s;
    QTest::newRow("wrong password with 401") << 401 << wrong << u"SignInRefused"_s;
    QTest::newRow("anything with 401")
        << 401 << u"request.error.httpCredentials"_s << u"SignInOver"_s;
    QTest::newRow("wrong password with 503") << 503 << wrong << u"Maintenance"_s;
    QTest::newRow("wrong password with 429") << 429 << wrong << u"Maintenance"_s;
    QTest::newRow("wrong password with 407") << 407 << wrong << u"ProxyTrouble"_s;
    QTest::newRow("wrong password with 511") << 511 << wrong << u"SignInPage"_s;
}

void tst_ReplyReason::keyWithStatus()
{
    QFETCH(int, status);
    QFETCH(QString, key);
    QTEST(nameOf(reasonOf(answer(status, refusal(key)), QString())), "reason");
}

void tst_ReplyReason::earlierKeyCountsWhereAnErrorHasNone()
{
    const QString earlier = u"login.error.wrongCredentials"_s;
    QCOMPARE(reasonOf(answer(403, QString()), earlier), Failure::SignInRefused);
    QCOMPARE(reasonOf(answer(404, refusal(u"session.error.unknownSession"_s)), earlier),
             Failure::SessionOver);
    QCOMPARE(reasonOf(answer(200, SUCCESS), earlier), Failure::NoReason);
    QCOMPARE(reasonOf(answer(200, PAGE), earlier), Failure::SignInPage);
}

void tst_ReplyReason::redirects_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<QString>("text");

    QTest::newRow("to a page") << 302 << PAGE;
    QTest::newRow("without a body") << 307 << QString();
    QTest::newRow("followed") << 200 << SUCCESS;
    QTest::newRow("followed, to a page") << 200 << PAGE;
    QTest::newRow("followed, to an error") << 503 << QString();
}

void tst_ReplyReason::redirects()
{
    QFETCH(int, status);
    QFETCH(QString, text);
    Reply reply = answer(status, text);
    reply.redirect = QUrl(u"http://login.example.com/"_s);
    QCOMPARE(reasonOf(reply, QString()), Failure::SignInPage);
}

void tst_ReplyReason::waitingTimes_data()
{
    QTest::addColumn<int>("status");
    QTest::addColumn<int>("retryAfter");
    QTest::addColumn<QString>("reason");

    QTest::newRow("error, none") << 403 << -1 << u"RefusedByService"_s;
    QTest::newRow("error, at once") << 403 << 0 << u"Maintenance"_s;
    QTest::newRow("error, later") << 403 << 120 << u"Maintenance"_s;
    QTest::newRow("success, later") << 200 << 120 << u"NoReason"_s;
}

void tst_ReplyReason::waitingTimes()
{
    QFETCH(int, status);
    QFETCH(int, retryAfter);
    Reply reply = answer(status, SUCCESS);
    reply.retryAfter = retryAfter;
    QTEST(nameOf(reasonOf(reply, QString())), "reason");
}

void tst_ReplyReason::bodies_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("reason");

    QTest::newRow("the service's") << SUCCESS << u"NoReason"_s;
    QTest::newRow("any object") << u" {} "_s << u"NoReason"_s;
    QTest::newRow("page") << PAGE << u"SignInPage"_s;
    QTest::newRow("script") << u"<script>location='/login'</script>"_s << u"SignInPage"_s;
    QTest::newRow("empty") << QString() << u"UnexpectedAnswer"_s;
    QTest::newRow("blanks") << u" \r\n"_s << u"UnexpectedAnswer"_s;
    QTest::newRow("words") << u"Welcome"_s << u"UnexpectedAnswer"_s;
    QTest::newRow("list") << u"[]"_s << u"UnexpectedAnswer"_s;
    QTest::newRow("number") << u"1"_s << u"UnexpectedAnswer"_s;
    QTest::newRow("cut off") << SUCCESS.left(40) << u"UnexpectedAnswer"_s;
    QTest::newRow("two objects") << u"{}{}"_s << u"UnexpectedAnswer"_s;
    QTest::newRow("nested too deep") << QString(100000, u'[') << u"UnexpectedAnswer"_s;
}

void tst_ReplyReason::bodies()
{
    QFETCH(QString, text);
    QTEST(nameOf(reasonOf(answer(200, text), QString())), "reason");
}

void tst_ReplyReason::nothingCameIsSilence()
{
    QCOMPARE(reasonOf(Reply(), QString()), Failure::Silent);
}

void tst_ReplyReason::errorKey_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("key");

    const QString longKey = u"login.error."_s + QString(188, u'x');
    QTest::newRow("success") << SUCCESS << QString();
    QTest::newRow("refusal") << refusal(u"login.error.wrongCredentials"_s)
                             << u"login.error.wrongCredentials"_s;
    QTest::newRow("no error") << refusal(u"login.info.welcome"_s) << QString();
    QTest::newRow("first only") << uR"({"errorMsgKeys":["a","b.error.c"]})"_s << QString();
    QTest::newRow("first of two") << uR"({"errorMsgKeys":["a.error.b","c.error.d"]})"_s
                                  << u"a.error.b"_s;
    QTest::newRow("last list of many")
        << u"{"_s + uR"("errorMsgKeys":["a.error.b"],)"_s.repeated(40)
            + uR"("errorMsgKeys":["c.error.d"]})"_s
        << u"c.error.d"_s;
    QTest::newRow("a bare text") << uR"({"errorMsgKeys":"a.error.b"})"_s << QString();
    QTest::newRow("no text") << uR"({"errorMsgKeys":[{"error":1}]})"_s << QString();
    QTest::newRow("list") << uR"(["a.error.b"])"_s << QString();
    QTest::newRow("page") << PAGE << QString();
    QTest::newRow("empty") << QString() << QString();
    QTest::newRow("two hundred") << refusal(longKey) << longKey;
    QTest::newRow("longer") << refusal(longKey + u"yz"_s) << longKey;
}

void tst_ReplyReason::errorKey()
{
    QFETCH(QString, text);
    QTEST(errorKeyOf(answer(403, text)), "key");
}

void tst_ReplyReason::largeBodiesAreNotRead()
{
    const QString filling(2 * 1024 * 1024, u' ');
    const QString key = u"session.error.unknownSession"_s;
    QCOMPARE(errorKeyOf(answer(404, refusal(key) + filling)), QString());
    QCOMPARE(reasonOf(answer(404, refusal(key) + filling), QString()), Failure::RefusedByService);
    QCOMPARE(reasonOf(answer(200, SUCCESS + filling), QString()), Failure::NoReason);
    QCOMPARE(reasonOf(answer(200, u"{"_s + filling), QString()), Failure::UnexpectedAnswer);
    QCOMPARE(reasonOf(answer(200, PAGE + filling), QString()), Failure::SignInPage);
}

QTEST_GUILESS_MAIN(tst_ReplyReason)
#include "tst_replyreason.moc"
