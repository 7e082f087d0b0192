#pragma once

#include "host/LiveClass.h"

#include <QtCore/QObject>

class QAction;
class QPushButton;
class QWidget;

namespace Desktop
{

// What can be done with a class as a whole, for menus, keys and buttons. Each is enabled while the class's
// state allows it; what ends something asks back first.
class ClassActions : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(ClassActions)

public:
    // Questions are asked over `window`, which owns the actions.
    ClassActions(Tarvo::LiveClass &live, QWidget *window);

    QAction *start;
    QAction *stop;
    QAction *signOut;
    QAction *projector;   // the code on a whole screen; connected by whoever shows it
    QAction *copyAddress; // the same for the address to join at

    // A button that does what the action does, and is enabled when it is. Its letter is the menu's alone.
    static QPushButton *newButton(QAction *action, QWidget *parent);

private:
    QAction *add(const QString &text, const QKeySequence &key, const QString &name);
    void refresh();
    void askToStop();
    void askToSignOut();
    bool isRunning() const;

    Tarvo::LiveClass &m_live;
    QWidget *m_window;
};

} // namespace Desktop
