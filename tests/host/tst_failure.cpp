// What a teacher reads of a failure.
#include "host/Failure.h"

#include "support/Text.h"

#include <QtCore/QMetaEnum>
#include <QtCore/QTranslator>
#include <QtTest/QtTest>

using Tarvo::Action;
using Tarvo::Failure;

namespace
{

// Translates whatever it is asked for in the context of failures.
class Brackets : public QTranslator
{
public:
    bool isEmpty() const override { return false; }
    QString translate(const char *context, const char *text, const char *, int) const override
    {
        return qstrcmp(context, "Tarvo::Failure") == 0 ? u"<"_s + QString::fromUtf8(text) + u">"_s
                                                       : QString();
    }
};

void reasonColumns()
{
    QTest::addColumn<Failure::Reason>("reason");
    QTest::addColumn<QString>("text");
}

void row(Failure::Reason reason, const QString &text)
{
    QTest::newRow(QMetaEnum::fromType<Failure::Reason>().valueToKey(reason)) << reason << text;
}

void row(Action::Type action, const QString &message)
{
    QTest::newRow(QMetaEnum::fromType<Action::Type>().valueToKey(action)) << action << message;
}

} // namespace

class tst_Failure : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void noFailureSaysNothing();
    void failureKeepsWhatItIsMadeOf();
    void everyReasonIsTold_data();
    void everyReasonIsTold();
    void everyReasonHasAdvice_data();
    void everyReasonHasAdvice();
    void everyReasonIsInTheTable();
    void everyActionIsTold_data();
    void everyActionIsTold();
    void everyActionIsInTheTable();
    void keyFollowsInBrackets_data();
    void keyFollowsInBrackets();
    void unsendableIsNamed_data();
    void unsendableIsNamed();
    void onlyLostConnectionsAreRepeatable();
    void textsCanBeTranslated();
    void propertiesAreReadByName();
};

void tst_Failure::noFailureSaysNothing()
{
    const Failure none;
    QVERIFY(!none);
    QCOMPARE(none.action(), Action::None);
    QCOMPARE(none.reason(), Failure::NoReason);
    QCOMPARE(none.key(), QString());
    QCOMPARE(none.message(), QString());
    QCOMPARE(none.advice(), QString());
    QVERIFY(!none.isRepeatable());
    QCOMPARE(Failure(Action::SignIn, Failure::NoReason, u"a.error.b"_s).message(), QString());
}

void tst_Failure::failureKeepsWhatItIsMadeOf()
{
    const Failure failure(Action::Start, Failure::RefusedByService,
                          u"session.error.foreignSession"_s);
    QVERIFY(bool(failure));
    QCOMPARE(failure.action(), Action::Start);
    QCOMPARE(failure.reason(), Failure::RefusedByService);
    QCOMPARE(failure.key(), u"session.error.foreignSession"_s);
}

void tst_Failure::everyReasonIsTold_data()
{
    reasonColumns();
    row(Failure::NoReason, QString());
    row(Failure::Refused, u"The classroom service takes no connections."_s);
    row(Failure::NameNotFound, u"No classroom service is known by this address."_s);
    row(Failure::Unreachable, u"The network has no way to the classroom service."_s);
    row(Failure::Tls, u"The connection to the classroom service is not safe."_s);
    row(Failure::UntrustedRoot, u"This computer does not trust the classroom service yet."_s);
    row(Failure::ProxyTrouble, u"The proxy of the network does not let the connection through."_s);
    row(Failure::SignInPage, u"The network shows a page of its own instead of the service."_s);
    row(Failure::Maintenance, u"The classroom service is busy or under maintenance."_s);
    row(Failure::Silent, u"The classroom service did not answer in time."_s);
    row(Failure::ConnectionLost, u"The connection to the classroom service broke off."_s);
    row(Failure::UnexpectedAnswer, u"The answer did not make sense."_s);
    row(Failure::RefusedByService, u"The classroom service does not allow it."_s);
    row(Failure::SignInRefused, u"The classroom service does not accept what was entered."_s);
    row(Failure::SignInOver, u"You are no longer signed in."_s);
    row(Failure::SessionOver, u"The classroom service no longer knows this class."_s);
    row(Failure::EndedByService, u"The classroom service has ended the class."_s);
    row(Failure::EndedByRemote, u"The class was stopped from the remote control."_s);
    row(Failure::NotRegistered, u"You are not registered yet."_s);
    row(Failure::NotStarted, u"The classroom service did not confirm the start of the class."_s);
    row(Failure::NotJoined, u"This computer could not join the class."_s);
    row(Failure::ChannelNotOpened, u"The connection to the learners could not be opened."_s);
    row(Failure::StopUnconfirmed, u"The classroom service did not confirm the end of the class."_s);
    row(Failure::NotAllowed, u"This is not possible at the moment."_s);
    row(Failure::NotConnected, u"There is no connection at the moment."_s);
    row(Failure::InvalidArgument, u"What was entered cannot be sent."_s);
    row(Failure::UnknownDevice, u"Answers came from a device that is not in the class."_s);
    row(Failure::ForeignCommand, u"A device that is no remote control sent commands like one."_s);
    row(Failure::Abandoned, u"The class has ended meanwhile."_s);
}

void tst_Failure::everyReasonIsTold()
{
    QFETCH(Failure::Reason, reason);
    QTEST(Failure(Action::None, reason).message(), "text");
}

void tst_Failure::everyReasonHasAdvice_data()
{
    reasonColumns();
    row(Failure::NoReason, QString());
    row(Failure::Refused, u"Wait a moment, then try again."_s);
    row(Failure::NameNotFound, u"Check the service's address and the network connection."_s);
    row(Failure::Unreachable, u"Check that this computer is connected to the network."_s);
    row(Failure::Tls, u"Check this computer's date and time, then ask your administrator."_s);
    row(Failure::UntrustedRoot, u"Ask your administrator to install the service's certificate."_s);
    row(Failure::ProxyTrouble, u"Check the proxy settings, or ask your administrator."_s);
    row(Failure::SignInPage, u"Open a web browser, sign in to the network, then try again."_s);
    row(Failure::Maintenance, u"Wait a few minutes, then try again."_s);
    row(Failure::Silent, u"Check the network connection, then try again."_s);
    row(Failure::ConnectionLost, u"Check the network connection, then try again."_s);
    row(Failure::UnexpectedAnswer, u"Check the service's address, then try again."_s);
    row(Failure::RefusedByService, u"Try again. If it stays so, tell your administrator."_s);
    row(Failure::SignInRefused, u"Check what you have entered, then sign in again."_s);
    row(Failure::SignInOver, u"Sign in again."_s);
    row(Failure::SessionOver, u"Start a new class."_s);
    row(Failure::EndedByService, u"Start a new class."_s);
    row(Failure::EndedByRemote, u"Start a new class to go on."_s);
    row(Failure::NotRegistered, u"Complete the registration."_s);
    row(Failure::NotStarted, u"Start the class again."_s);
    row(Failure::NotJoined, u"Start the class again."_s);
    row(Failure::ChannelNotOpened, u"Try again. If it stays so, ask your administrator."_s);
    row(Failure::StopUnconfirmed, u"Just go on: the class has ended on this computer."_s);
    row(Failure::NotAllowed, u"Check that you are signed in and the class is running."_s);
    row(Failure::NotConnected, u"Wait until the connection is back, then try again."_s);
    row(Failure::InvalidArgument, u"Correct it, then try again."_s);
    row(Failure::UnknownDevice, u"If answers are missing, ask the learner to join again."_s);
    row(Failure::ForeignCommand, u"If it happens again, remove that learner from the class."_s);
    row(Failure::Abandoned, u"Start a new class, then try again."_s);
}

void tst_Failure::everyReasonHasAdvice()
{
    QFETCH(Failure::Reason, reason);
    QTEST(Failure(Action::None, reason).advice(), "text");
}

void tst_Failure::everyReasonIsInTheTable()
{
    const QMetaEnum reasons = QMetaEnum::fromType<Failure::Reason>();
    QCOMPARE(reasons.keyCount(), 29);
    for (int i = 1; i < reasons.keyCount(); ++i) {
        const Failure failure(Action::None, static_cast<Failure::Reason>(reasons.value(i)));
        QVERIFY2(failure.message().size() > 10, reasons.key(i));
        QVERIFY2(failure.advice().size() > 10, reasons.key(i));
    }
}

void tst_Failure::everyActionIsTold_data()
{
    QTest::addColumn<Action::Type>("action");
    QTest::addColumn<QString>("message");
    row(Action::None, u"The class has ended meanwhile."_s);
    row(Action::SignIn, u"Signing in failed: the class has ended meanwhile."_s);
    row(Action::CompleteRegistration, u"Registering failed: the class has ended meanwhile."_s);
    row(Action::Start, u"Starting the class failed: the class has ended meanwhile."_s);
    row(Action::Stop, u"Stopping the class failed: the class has ended meanwhile."_s);
    row(Action::SignOut, u"Signing out failed: the class has ended meanwhile."_s);
    row(Action::StartPoll, u"Starting the poll failed: the class has ended meanwhile."_s);
    row(Action::Ask, u"Asking the question failed: the class has ended meanwhile."_s);
    row(Action::StartAssessment,
        u"Starting the assessment failed: the class has ended meanwhile."_s);
    row(Action::StopActivity, u"Stopping the activity failed: the class has ended meanwhile."_s);
    row(Action::Pause, u"Pausing the devices failed: the class has ended meanwhile."_s);
    row(Action::Resume, u"Ending the pause failed: the class has ended meanwhile."_s);
    row(Action::ShowImage, u"Showing the image failed: the class has ended meanwhile."_s);
    row(Action::UploadImage, u"Uploading the image failed: the class has ended meanwhile."_s);
    row(Action::ShowLesson, u"Showing the lesson failed: the class has ended meanwhile."_s);
    row(Action::ShowCard, u"Showing the card failed: the class has ended meanwhile."_s);
    row(Action::SendText, u"Sending the text failed: the class has ended meanwhile."_s);
    row(Action::RemoveLearner, u"Removing the learner failed: the class has ended meanwhile."_s);
    row(Action::ReconnectNow, u"Reconnecting failed: the class has ended meanwhile."_s);
}

void tst_Failure::everyActionIsTold()
{
    QFETCH(Action::Type, action);
    QTEST(Failure(action, Failure::Abandoned).message(), "message");
}

void tst_Failure::everyActionIsInTheTable()
{
    const QMetaEnum actions = QMetaEnum::fromType<Action::Type>();
    QCOMPARE(actions.keyCount(), 19);
    for (int i = 1; i < actions.keyCount(); ++i) {
        const Failure failure(static_cast<Action::Type>(actions.value(i)), Failure::Silent);
        QVERIFY2(failure.message().contains(u" failed: the classroom service did not "_s),
                 actions.key(i));
    }
}

void tst_Failure::keyFollowsInBrackets_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QString>("shown");

    const QString accents = QString(100, QChar(0xe9));
    const QString faces = u"\U0001F600"_s;
    QTest::newRow("none") << QString() << QString();
    QTest::newRow("plain") << u"login.error.wrongCredentials"_s
                           << u" [login.error.wrongCredentials]"_s;
    QTest::newRow("placeholders") << u"%1%2 100%"_s << u" [%1%2 100%]"_s;
    QTest::newRow("lines") << u"a\nb\r\nc\td"_s << u" [abcd]"_s;
    QTest::newRow("other lines") << u"a\u0085b\u2028c\u2029d"_s << u" [abcd]"_s;
    QTest::newRow("null and escape") << QString(u"a\0b\x1b[31m"_s) << u" [ab[31m]"_s;
    QTest::newRow("turned around") << u"a\u202eb\u2066c\u200fd"_s << u" [abcd]"_s;
    QTest::newRow("without width") << u"a\u200bb\ufeffc\u00add"_s << u" [abcd]"_s;
    QTest::newRow("half a character") << u"a"_s + QChar(0xd83d) + u"b"_s << u" [a\ufffdb]"_s;
    QTest::newRow("nothing visible") << u" \u200b\n "_s << QString();
    QTest::newRow("blanks around") << u"  a b  "_s << u" [a b]"_s;
    QTest::newRow("hundred") << accents << u" ["_s + accents + u"]"_s;
    QTest::newRow("hundred and one") << accents + u"x"_s << u" ["_s + accents + u"]"_s;
    QTest::newRow("cut before a pair")
        << QString(99, u'a') + faces << u" ["_s + QString(99, u'a') + u"]"_s;
    QTest::newRow("pair at the end")
        << QString(98, u'a') + faces << u" ["_s + QString(98, u'a') + faces + u"]"_s;
}

void tst_Failure::keyFollowsInBrackets()
{
    QFETCH(QString, key);
    QFETCH(QString, shown);
    QCOMPARE(Failure(Action::SignIn, Failure::SignInOver, key).message(),
             u"Signing in failed: you are no longer signed in."_s + shown);
}

void tst_Failure::unsendableIsNamed_data()
{
    QTest::addColumn<QString>("detail");
    QTest::addColumn<QString>("message");

    QTest::newRow("nothing") << QString()
                             << u"Showing the lesson failed: what was entered cannot be sent."_s;
    QTest::newRow("what") << u"the lesson's name"_s << u"The lesson's name cannot be sent."_s;
    QTest::newRow("what and why")
        << u"the lesson's name: it holds a double quote"_s
        << u"The lesson's name cannot be sent: it holds a double quote."_s;
    QTest::newRow("placeholders") << u"%2 %1: %1"_s << u"%2 %1 cannot be sent: %1."_s;
    QTest::newRow("lines") << u"the\n name"_s << u"The name cannot be sent."_s;
}

void tst_Failure::unsendableIsNamed()
{
    QFETCH(QString, detail);
    const Failure failure(Action::ShowLesson, Failure::InvalidArgument, QString(), detail);
    QTEST(failure.message(), "message");
    QCOMPARE(failure.advice(), u"Correct it, then try again."_s);
}

void tst_Failure::onlyLostConnectionsAreRepeatable()
{
    const QMetaEnum reasons = QMetaEnum::fromType<Failure::Reason>();
    QStringList repeatable;
    for (int i = 0; i < reasons.keyCount(); ++i) {
        if (Failure(Action::Ask, static_cast<Failure::Reason>(reasons.value(i))).isRepeatable())
            repeatable.append(QString::fromLatin1(reasons.key(i)));
    }
    QCOMPARE(repeatable, QStringList{u"NotConnected"_s});
}

void tst_Failure::textsCanBeTranslated()
{
    Brackets translator;
    QCoreApplication::installTranslator(&translator);
    const Failure failure(Action::Ask, Failure::Abandoned, u"a.error.b"_s);
    QCOMPARE(failure.message(),
             u"<Asking the question failed: <the class has ended meanwhile>>. [a.error.b]"_s);
    QCOMPARE(failure.advice(), u"<Start a new class, then try again.>"_s);
    QCOMPARE(Failure(Action::Ask, Failure::InvalidArgument, {}, u"the text"_s).message(),
             u"<The text cannot be sent>."_s);
    QCoreApplication::removeTranslator(&translator);
}

void tst_Failure::propertiesAreReadByName()
{
    const Failure failure(Action::Pause, Failure::NotConnected, u"a.error.b"_s);
    const QMetaObject &meta = Failure::staticMetaObject;
    const auto read = [&](const char *name) {
        return meta.property(meta.indexOfProperty(name)).readOnGadget(&failure);
    };
    QCOMPARE(read("action").value<Action::Type>(), Action::Pause);
    QCOMPARE(read("reason").value<Failure::Reason>(), Failure::NotConnected);
    QCOMPARE(read("key"), QVariant(u"a.error.b"_s));
    QCOMPARE(
        read("message"),
        QVariant(
            u"Pausing the devices failed: there is no connection at the moment. [a.error.b]"_s));
    QCOMPARE(read("advice"), QVariant(u"Wait until the connection is back, then try again."_s));
    QCOMPARE(read("repeatable"), QVariant(true));
}

QTEST_GUILESS_MAIN(tst_Failure)
#include "tst_failure.moc"
