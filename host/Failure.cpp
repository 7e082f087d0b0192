#include "host/Failure.h"

#include <cstddef>
#include <string>

namespace Tarvo
{

namespace
{

// The longest word of a stranger's, such as the service's key, that a message shows, in characters.
const int MAX_FOREIGN_LENGTH = 100;

struct Text {
    int of; // a reason or an action
    const char *text;
};

template<std::size_t N> QString translated(const Text (&texts)[N], int of)
{
    for (const Text &row : texts) {
        if (row.of == of)
            return Failure::tr(row.text);
    }
    return QString();
}

bool isVisible(uint character)
{
    const QChar::Category category = QChar::category(character);
    return QChar::isPrint(character) && category != QChar::Separator_Line
        && category != QChar::Separator_Paragraph;
}

// What others have written, without what would break the line, turn it around or hide in it.
QString plain(const QString &foreign)
{
    QString text;
    const std::u32string characters = foreign.toStdU32String();
    for (const char32_t character : characters) {
        const QString one = QString::fromStdU32String({character});
        if (text.size() + one.size() > MAX_FOREIGN_LENGTH)
            break;
        if (isVisible(character))
            text += one;
    }
    return text.trimmed();
}

QString withCapital(QString sentence)
{
    if (!sentence.isEmpty())
        sentence[0] = sentence.at(0).toUpper();
    return sentence;
}

// "the lesson's name: it holds a double quote" says what cannot be sent, and why; the why may be missing.
QString unsendable(const QString &detail)
{
    const int colon = detail.indexOf(QLatin1String(": "));
    const QString what = withCapital(plain(detail.left(colon)));
    if (colon < 0)
        return Failure::tr("%1 cannot be sent").arg(what);
    return Failure::tr("%1 cannot be sent: %2").arg(what, plain(detail.mid(colon + 2)));
}

} // namespace

Failure::Failure(Action::Type action, Reason reason, const QString &key, const QString &detail)
    : m_action(action), m_reason(reason), m_key(key), m_detail(detail)
{
}

QString Failure::message() const
{
    if (m_reason == NoReason)
        return QString();
    const QString key = plain(m_key);
    return key.isEmpty() ? sentence() + QLatin1Char('.')
                         : QStringLiteral("%1. [%2]").arg(sentence(), key);
}

QString Failure::sentence() const
{
    if (m_reason == InvalidArgument && !m_detail.isEmpty())
        return unsendable(m_detail);
    const QString begin = beginning();
    return begin.isEmpty() ? withCapital(clause()) : begin.arg(clause());
}

// What stands in front of the reason; empty when it happened by itself.
QString Failure::beginning() const
{
    static const Text TEXTS[] = {
        {Action::SignIn, QT_TR_NOOP("Signing in failed: %1")},
        {Action::CompleteRegistration, QT_TR_NOOP("Registering failed: %1")},
        {Action::Start, QT_TR_NOOP("Starting the class failed: %1")},
        {Action::Stop, QT_TR_NOOP("Stopping the class failed: %1")},
        {Action::SignOut, QT_TR_NOOP("Signing out failed: %1")},
        {Action::StartPoll, QT_TR_NOOP("Starting the poll failed: %1")},
        {Action::Ask, QT_TR_NOOP("Asking the question failed: %1")},
        {Action::StartAssessment, QT_TR_NOOP("Starting the assessment failed: %1")},
        {Action::StopActivity, QT_TR_NOOP("Stopping the activity failed: %1")},
        {Action::Pause, QT_TR_NOOP("Pausing the devices failed: %1")},
        {Action::Resume, QT_TR_NOOP("Ending the pause failed: %1")},
        {Action::ShowImage, QT_TR_NOOP("Showing the image failed: %1")},
        {Action::UploadImage, QT_TR_NOOP("Uploading the image failed: %1")},
        {Action::ShowLesson, QT_TR_NOOP("Showing the lesson failed: %1")},
        {Action::ShowCard, QT_TR_NOOP("Showing the card failed: %1")},
        {Action::SendText, QT_TR_NOOP("Sending the text failed: %1")},
        {Action::RemoveLearner, QT_TR_NOOP("Removing the learner failed: %1")},
        {Action::ReconnectNow, QT_TR_NOOP("Reconnecting failed: %1")},
    };
    return translated(TEXTS, m_action);
}

// The reason as the end of a sentence.
QString Failure::clause() const
{
    static const Text TEXTS[] = {
        {Refused, QT_TR_NOOP("the classroom service takes no connections")},
        {NameNotFound, QT_TR_NOOP("no classroom service is known by this address")},
        {Unreachable, QT_TR_NOOP("the network has no way to the classroom service")},
        {Tls, QT_TR_NOOP("the connection to the classroom service is not safe")},
        {UntrustedRoot, QT_TR_NOOP("this computer does not trust the classroom service yet")},
        {ProxyTrouble, QT_TR_NOOP("the proxy of the network does not let the connection through")},
        {SignInPage, QT_TR_NOOP("the network shows a page of its own instead of the service")},
        {Maintenance, QT_TR_NOOP("the classroom service is busy or under maintenance")},
        {Silent, QT_TR_NOOP("the classroom service did not answer in time")},
        {ConnectionLost, QT_TR_NOOP("the connection to the classroom service broke off")},
        {UnexpectedAnswer, QT_TR_NOOP("the answer did not make sense")},
        {RefusedByService, QT_TR_NOOP("the classroom service does not allow it")},
        {SignInRefused, QT_TR_NOOP("the classroom service does not accept what was entered")},
        {SignInOver, QT_TR_NOOP("you are no longer signed in")},
        {SessionOver, QT_TR_NOOP("the classroom service no longer knows this class")},
        {EndedByService, QT_TR_NOOP("the classroom service has ended the class")},
        {EndedByRemote, QT_TR_NOOP("the class was stopped from the remote control")},
        {NotRegistered, QT_TR_NOOP("you are not registered yet")},
        {NotStarted, QT_TR_NOOP("the classroom service did not confirm the start of the class")},
        {NotJoined, QT_TR_NOOP("this computer could not join the class")},
        {ChannelNotOpened, QT_TR_NOOP("the connection to the learners could not be opened")},
        {StopUnconfirmed, QT_TR_NOOP("the classroom service did not confirm the end of the class")},
        {NotAllowed, QT_TR_NOOP("this is not possible at the moment")},
        {NotConnected, QT_TR_NOOP("there is no connection at the moment")},
        {InvalidArgument, QT_TR_NOOP("what was entered cannot be sent")},
        {UnknownDevice, QT_TR_NOOP("answers came from a device that is not in the class")},
        {ForeignCommand, QT_TR_NOOP("a device that is no remote control sent commands like one")},
        {Abandoned, QT_TR_NOOP("the class has ended meanwhile")},
    };
    return translated(TEXTS, m_reason);
}

QString Failure::advice() const
{
    static const Text TEXTS[] = {
        {Refused, QT_TR_NOOP("Wait a moment, then try again.")},
        {NameNotFound, QT_TR_NOOP("Check the service's address and the network connection.")},
        {Unreachable, QT_TR_NOOP("Check that this computer is connected to the network.")},
        {Tls, QT_TR_NOOP("Check this computer's date and time, then ask your administrator.")},
        {UntrustedRoot, QT_TR_NOOP("Ask your administrator to install the service's certificate.")},
        {ProxyTrouble, QT_TR_NOOP("Check the proxy settings, or ask your administrator.")},
        {SignInPage, QT_TR_NOOP("Open a web browser, sign in to the network, then try again.")},
        {Maintenance, QT_TR_NOOP("Wait a few minutes, then try again.")},
        {Silent, QT_TR_NOOP("Check the network connection, then try again.")},
        {ConnectionLost, QT_TR_NOOP("Check the network connection, then try again.")},
        {UnexpectedAnswer, QT_TR_NOOP("Check the service's address, then try again.")},
        {RefusedByService, QT_TR_NOOP("Try again. If it stays so, tell your administrator.")},
        {SignInRefused, QT_TR_NOOP("Check what you have entered, then sign in again.")},
        {SignInOver, QT_TR_NOOP("Sign in again.")},
        {SessionOver, QT_TR_NOOP("Start a new class.")},
        {EndedByService, QT_TR_NOOP("Start a new class.")},
        {EndedByRemote, QT_TR_NOOP("Start a new class to go on.")},
        {NotRegistered, QT_TR_NOOP("Complete the registration.")},
        {NotStarted, QT_TR_NOOP("Start the class again.")},
        {NotJoined, QT_TR_NOOP("Start the class again.")},
        {ChannelNotOpened, QT_TR_NOOP("Try again. If it stays so, ask your administrator.")},
        {StopUnconfirmed, QT_TR_NOOP("Just go on: the class has ended on this computer.")},
        {NotAllowed, QT_TR_NOOP("Check that you are signed in and the class is running.")},
        {NotConnected, QT_TR_NOOP("Wait until the connection is back, then try again.")},
        {InvalidArgument, QT_TR_NOOP("Correct it, then try again.")},
        {UnknownDevice, QT_TR_NOOP("If answers are missing, ask the learner to join again.")},
        {ForeignCommand, QT_TR_NOOP("If it happens again, remove that learner from the class.")},
        {Abandoned, QT_TR_NOOP("Start a new class, then try again.")},
    };
    return translated(TEXTS, m_reason);
}

} // namespace Tarvo
