#include "window/ConnectionBanner.h"

#include "window/Bars.h"

#include <QtWidgets/QHBoxLayout>
#include <QtWidgets/QLabel>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QVBoxLayout>

namespace Desktop
{

using Tarvo::Action;
using Tarvo::Failure;
using Tarvo::LiveClass;

namespace
{

constexpr int SECOND_MS = 1000;
constexpr int TICK_MS = 250; // so that no second is skipped

} // namespace

ConnectionBanner::ConnectionBanner(LiveClass &live, QWidget *parent)
    : QFrame(parent), m_live(live), m_what(newBarLabel(this, true)),
      m_next(newBarLabel(this, false)), m_now(new QPushButton(tr("Try &now"), this)),
      m_signIn(new QWidget(this)), m_passwordLabel(new QLabel(m_signIn)),
      m_password(new QLineEdit(m_signIn)), m_submit(new QPushButton(tr("Sign &in"), m_signIn))
{
    paintAsBar(this, BarKind::Notice);
    m_what->setObjectName(QStringLiteral("bannerReason"));
    m_next->setObjectName(QStringLiteral("bannerNext"));
    m_now->setObjectName(QStringLiteral("bannerNow"));
    m_password->setObjectName(QStringLiteral("bannerPassword"));
    m_submit->setObjectName(QStringLiteral("bannerSignIn"));
    m_now->setAccessibleName(tr("Try to connect now"));
    m_password->setEchoMode(QLineEdit::Password);
    m_passwordLabel->setBuddy(m_password);
    m_passwordLabel->setTextFormat(Qt::PlainText);

    auto *const fields = new QHBoxLayout(m_signIn);
    fields->setContentsMargins(0, 0, 0, 0);
    fields->addWidget(m_passwordLabel);
    fields->addWidget(m_password);
    fields->addWidget(m_submit);
    auto *const words = new QVBoxLayout;
    words->addWidget(m_what);
    words->addWidget(m_next);
    auto *const all = new QHBoxLayout(this);
    all->addLayout(words, 1);
    all->addWidget(m_signIn);
    all->addWidget(m_now);

    m_seconds.setInterval(TICK_MS);
    connect(&m_seconds, &QTimer::timeout, this, &ConnectionBanner::refresh);
    connect(m_now, &QPushButton::clicked, &live, [&live] { live.reconnectNow(); });
    connect(m_submit, &QPushButton::clicked, this, &ConnectionBanner::givePassword);
    connect(m_password, &QLineEdit::returnPressed, this, &ConnectionBanner::givePassword);
    connect(&live, &LiveClass::stateChanged, this, &ConnectionBanner::refresh);
    connect(&live, &LiveClass::attemptChanged, this, &ConnectionBanner::refresh);
    connect(&live, &LiveClass::reasonChanged, this, &ConnectionBanner::refresh);
    refresh();
}

void ConnectionBanner::refresh()
{
    const LiveClass::State state = m_live.state();
    const bool isInSession = !m_live.sessionCode().isEmpty();
    const bool isReconnecting = state == LiveClass::Reconnecting;
    const bool isSigningIn = state == LiveClass::SigningIn && isInSession;
    const bool isSignInNeeded = state == LiveClass::SignInNeeded || isSigningIn;
    const bool hasEnded = state == LiveClass::Ended && m_live.reason() != Failure::NoReason;
    m_now->setVisible(isReconnecting);
    m_signIn->setVisible(isSignInNeeded);
    if (isReconnecting)
        showReconnecting();
    else if (isSignInNeeded)
        showSignIn(isSigningIn);
    else if (hasEnded)
        showEnded();
    setVisible(isReconnecting || isSignInNeeded || hasEnded);
    if (isVisibleTo(parentWidget()) && m_announced != state)
        announce(this, m_what->text());
    m_announced = state;
    if (isReconnecting && m_live.nextAttemptAt().isValid())
        m_seconds.start();
    else
        m_seconds.stop();
}

void ConnectionBanner::showReconnecting()
{
    say(reason(), nextAttempt());
    m_now->setEnabled(m_live.nextAttemptAt().isValid());
}

void ConnectionBanner::showSignIn(bool isBusy)
{
    say(reason(),
        isBusy ? tr("Signing in...")
               : tr("The class waits: learners and answers are kept. Sign in again to go on."));
    m_passwordLabel->setText(
        tr("Pass&word of %1:")
            .arg(m_live.userName().replace(QLatin1Char('&'), QLatin1String("&&"))));
    m_password->setAccessibleName(tr("Password of %1").arg(m_live.userName()));
    m_password->setEnabled(!isBusy);
    m_submit->setEnabled(!isBusy);
}

void ConnectionBanner::showEnded()
{
    say(reason(), Failure(Action::None, m_live.reason()).advice());
}

void ConnectionBanner::say(const QString &what, const QString &next)
{
    if (!what.isEmpty())
        m_what->setText(what);
    m_next->setText(next);
}

QString ConnectionBanner::reason() const
{
    return Failure(Action::None, m_live.reason()).message();
}

QString ConnectionBanner::nextAttempt() const
{
    const QDateTime next = m_live.nextAttemptAt();
    if (!next.isValid())
        return tr("Trying to come back, attempt %1.").arg(m_live.attempt());
    const qint64 ms = qMax<qint64>(0, QDateTime::currentDateTime().msecsTo(next));
    const qint64 seconds = (ms + SECOND_MS - 1) / SECOND_MS;
    return tr("Trying again in %1 s, attempt %2.").arg(seconds).arg(m_live.attempt());
}

void ConnectionBanner::givePassword()
{
    const QString password = m_password->text();
    if (password.isEmpty() || !m_submit->isEnabled())
        return;
    m_password->clear();
    Q_EMIT passwordGiven(password);
}

} // namespace Desktop
