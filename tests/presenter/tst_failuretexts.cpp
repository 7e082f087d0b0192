#include "FailureText.h"
#include "support/Text.h"

#include <QtTest/QtTest>

using namespace Host;
using Tarvo::Action;
using Tarvo::Failure;

// What the user reads when the way into the class fails. How such a text comes about and reaches
// standard error is shown by the tests against the classroom.
class tst_FailureTexts : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyTroubleOnTheWayHasItsText_data();
    void everyTroubleOnTheWayHasItsText();
    void aCommandsFailureIsOneLine();
};

Q_DECLARE_METATYPE(Tarvo::Action::Type)

void tst_FailureTexts::everyTroubleOnTheWayHasItsText_data()
{
    QTest::addColumn<Action::Type>("action");
    QTest::addColumn<Failure::Reason>("reason");
    QTest::addColumn<QString>("what");
    QTest::addColumn<QString>("advice");
    const auto row = [](Action::Type action, Failure::Reason reason, const char *what,
                        const char *advice) {
        QTest::newRow(what) << action << reason << QString::fromUtf8(what)
                            << QString::fromUtf8(advice);
    };
    const char *otherServer =
        "Signing in failed: what answers at https://there is not the classroom service.";
    const char *checkAddress = "Check name, port and path in --server. A guest network may want "
                               "you to sign in with a web browser first.";
    row(Action::SignIn, Failure::Refused,
        "Signing in failed: the classroom service takes no connections.",
        "Check the port in --server, and whether the service runs.");
    row(Action::SignIn, Failure::NameNotFound,
        "Signing in failed: no classroom service is known by this address.",
        "Check the name in --server, and the network.");
    row(Action::SignIn, Failure::Unreachable,
        "Signing in failed: the network has no way to the classroom service.",
        "Check the address in --server, and the network.");
    row(Action::SignIn, Failure::Tls,
        "Signing in failed: the connection to the classroom service is not safe.",
        "Check that --server names an https port, and this computer's date and time; the "
        "certificate may have expired, too. --verbose tells.");
    row(Action::SignIn, Failure::UntrustedRoot,
        "Signing in failed: this computer does not trust the classroom service yet.",
        "Have the root of the service's certificate installed on this computer, or name its file "
        "with --ca.");
    row(Action::SignIn, Failure::Silent,
        "Signing in failed: the classroom service did not answer in time.",
        "Check the port in --server, and the network.");
    row(Action::SignIn, Failure::ConnectionLost,
        "Signing in failed: the connection to the classroom service broke off.",
        "Check whether --server has to begin with https://, and the network.");
    row(Action::SignIn, Failure::Maintenance,
        "Signing in failed: the classroom service is busy or under maintenance.",
        "Try again in a few minutes. If it stays so, check name, port and path in --server.");
    row(Action::SignIn, Failure::SignInRefused,
        "Signing in failed: the classroom service does not accept what was entered.",
        "Check --user and the password (TARVO_PASSWORD).");
    row(Action::SignIn, Failure::RefusedByService, otherServer, checkAddress);
    row(Action::SignIn, Failure::SignInPage, otherServer, checkAddress);
    row(Action::SignIn, Failure::UnexpectedAnswer, otherServer, checkAddress);
    row(Action::Start, Failure::RefusedByService,
        "Starting the class failed: the classroom service does not allow it.",
        "Try again in a moment; --verbose shows what the service answered.");
    row(Action::Start, Failure::ChannelNotOpened,
        "Starting the class failed: the connection to the learners could not be opened.",
        "Check the network, or name another transport with --transport. --verbose tells why.");
    row(Action::None, Failure::SessionOver, "The classroom service no longer knows this class.",
        "Start a new class.");
}

void tst_FailureTexts::everyTroubleOnTheWayHasItsText()
{
    QFETCH(Action::Type, action);
    QFETCH(Failure::Reason, reason);
    QFETCH(QString, what);
    QFETCH(QString, advice);
    QCOMPARE(describe(Failure(action, reason), u"https://there"_s), QStringList({what, advice}));
}

void tst_FailureTexts::aCommandsFailureIsOneLine()
{
    QCOMPARE(describe(Failure(Action::StartPoll, Failure::NotConnected)),
             u"Starting the poll failed: there is no connection at the moment. Wait until the "
             "connection is back, then try again."_s);
}

QTEST_GUILESS_MAIN(tst_FailureTexts)
#include "tst_failuretexts.moc"
