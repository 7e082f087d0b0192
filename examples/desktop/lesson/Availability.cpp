#include "lesson/Availability.h"

#include <QAction>
#include <QtGui/QKeySequence>
#include <QtWidgets/QWidget>

namespace Desktop
{

using Tarvo::LiveClass;

QString Availability::whyNotTell(const LiveClass &live)
{
    switch (live.state()) {
    case LiveClass::Live:
        return QString();
    case LiveClass::Reconnecting:
        return tr("The connection is gone; this is possible again when it is back.");
    case LiveClass::SignInNeeded:
        return tr("The service no longer knows who is signed in; sign in again first.");
    case LiveClass::Starting:
        return tr("The class is about to start.");
    case LiveClass::Stopping:
        return tr("The class is about to end.");
    default:
        return tr("No class is running; start one first.");
    }
}

QString Availability::whyNotBegin(const LiveClass &live)
{
    const QString why = whyNotTell(live);
    if (!why.isEmpty() || live.activity() == LiveClass::NoActivity)
        return why;
    return live.activity() == LiveClass::Poll ? tr("A poll is running; stop it first.")
                                              : tr("An assessment is running; stop it first.");
}

QString Availability::whyNotStop(const LiveClass &live)
{
    const bool isHeard = live.state() == LiveClass::Live || live.state() == LiveClass::Reconnecting
        || live.state() == LiveClass::SignInNeeded;
    if (!isHeard)
        return whyNotTell(live);
    return live.activity() == LiveClass::NoActivity ? tr("Nothing is running.") : QString();
}

QString Availability::whyNotPause(const LiveClass &live)
{
    const QString why = whyNotStop(live);
    return why.isEmpty() && live.isPaused() ? tr("The devices are paused already.") : why;
}

QString Availability::whyNotResume(const LiveClass &live)
{
    const QString why = whyNotStop(live);
    return why.isEmpty() && !live.isPaused() ? tr("The devices are not paused.") : why;
}

void allow(QWidget *widget, const QString &whyNot, const QString &what)
{
    widget->setEnabled(whyNot.isEmpty());
    widget->setToolTip(whyNot.isEmpty() ? what : whyNot);
}

void allow(QAction *action, const QString &whyNot, const QString &what)
{
    const QString keys = action->shortcut().toString(QKeySequence::NativeText);
    const QString tip = keys.isEmpty() ? what : QStringLiteral("%1 (%2)").arg(what, keys);
    action->setEnabled(whyNot.isEmpty());
    action->setToolTip(whyNot.isEmpty() ? tip : whyNot);
}

} // namespace Desktop
