#pragma once

#include "host/LiveClass.h"

#include <QtCore/QTimer>
#include <QtWidgets/QFrame>

class QLabel;
class QLineEdit;
class QPushButton;

namespace Desktop
{

// What stands between the class and its learners, while something does: the connection is coming back, or
// the teacher has to sign in again, or the session is over. Says why and what happens next; takes the focus
// from nobody.
class ConnectionBanner : public QFrame
{
    Q_OBJECT
    Q_DISABLE_COPY(ConnectionBanner)

public:
    explicit ConnectionBanner(Tarvo::LiveClass &live, QWidget *parent = nullptr);

Q_SIGNALS:
    // The teacher wants to sign in again, for the session that is waiting.
    void passwordGiven(const QString &password);

private:
    void refresh();
    void showReconnecting();
    void showSignIn(bool isBusy);
    void showEnded();
    void say(const QString &what, const QString &next);
    void givePassword();
    QString reason() const;
    // "Trying again in 7 s, attempt 3."
    QString nextAttempt() const;

    Tarvo::LiveClass &m_live;
    QTimer m_seconds;
    QLabel *m_what;
    QLabel *m_next;
    QPushButton *m_now;
    QWidget *m_signIn;
    QLabel *m_passwordLabel;
    QLineEdit *m_password;
    QPushButton *m_submit;
    Tarvo::LiveClass::State m_announced = Tarvo::LiveClass::SignedOut;
};

} // namespace Desktop
