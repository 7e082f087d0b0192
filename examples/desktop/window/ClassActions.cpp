#include "window/ClassActions.h"

#include "window/AskBack.h"

#include <QAction>
#include <QtWidgets/QPushButton>

namespace Desktop
{

using Tarvo::LiveClass;

ClassActions::ClassActions(LiveClass &live, QWidget *window)
    : QObject(window),
      start(add(tr("&Start class"), QKeySequence(tr("Ctrl+N")), QStringLiteral("start"))),
      stop(add(tr("S&top class..."), QKeySequence(tr("Ctrl+Shift+E")), QStringLiteral("stop"))),
      signOut(add(tr("Sign &out"), QKeySequence(tr("Ctrl+Shift+O")), QStringLiteral("signOut"))),
      projector(
          add(tr("Show code &large"), QKeySequence(Qt::Key_F11), QStringLiteral("projector"))),
      copyAddress(add(tr("&Copy address"), QKeySequence(tr("Ctrl+Shift+C")),
                      QStringLiteral("copyAddress"))),
      m_live(live), m_window(window)
{
    connect(start, &QAction::triggered, &live, [&live] { live.start(); });
    connect(stop, &QAction::triggered, this, &ClassActions::askToStop);
    connect(signOut, &QAction::triggered, this, &ClassActions::askToSignOut);
    connect(&live, &LiveClass::stateChanged, this, &ClassActions::refresh);
    connect(&live, &LiveClass::sessionCodeChanged, this, &ClassActions::refresh);
    refresh();
}

QPushButton *ClassActions::newButton(QAction *action, QWidget *parent)
{
    auto *const button = new QPushButton(action->iconText(), parent);
    button->setObjectName(action->objectName() + QStringLiteral("Button"));
    button->setToolTip(action->toolTip());
    const auto follow = [button, action] {
        button->setEnabled(action->isEnabled());
        button->setVisible(action->isVisible());
    };
    connect(button, &QPushButton::clicked, action, &QAction::trigger);
    connect(action, &QAction::changed, button, follow);
    follow();
    return button;
}

QAction *ClassActions::add(const QString &text, const QKeySequence &key, const QString &name)
{
    auto *const action = new QAction(text, this);
    action->setObjectName(name);
    action->setShortcut(key);
    action->setToolTip(
        tr("%1 (%2)").arg(action->toolTip(), key.toString(QKeySequence::NativeText)));
    return action;
}

void ClassActions::refresh()
{
    const LiveClass::State state = m_live.state();
    const bool canStart = state == LiveClass::SignedIn || state == LiveClass::Ended;
    const bool hasCode = !m_live.sessionCode().isEmpty();
    start->setEnabled(canStart);
    start->setVisible(canStart || state == LiveClass::SignedOut);
    stop->setEnabled(isRunning());
    stop->setVisible(!start->isVisible());
    signOut->setEnabled(canStart || isRunning());
    projector->setEnabled(hasCode);
    copyAddress->setEnabled(hasCode);
}

bool ClassActions::isRunning() const
{
    const LiveClass::State state = m_live.state();
    return state == LiveClass::Starting || state == LiveClass::Live
        || state == LiveClass::Reconnecting || state == LiveClass::SignInNeeded;
}

void ClassActions::askToStop()
{
    const Question question{
        tr("Stop the class?"),
        tr("All learners leave it. Answers are kept here until the next class starts."),
        tr("&Stop the class")};
    askBack(m_window, question, [this] { m_live.stop(); });
}

void ClassActions::askToSignOut()
{
    if (!isRunning()) {
        m_live.signOut();
        return;
    }
    const Question question{tr("Sign out?"),
                            tr("The class is running. Signing out stops it, and all "
                               "learners leave it."),
                            tr("&Stop and sign out")};
    askBack(m_window, question, [this] { m_live.signOut(); });
}

} // namespace Desktop
