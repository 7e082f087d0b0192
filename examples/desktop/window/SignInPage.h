#pragma once

#include "window/Options.h"

#include "host/LiveClass.h"

#include <QtWidgets/QWidget>

class QGridLayout;
class QLabel;
class QLineEdit;
class QPushButton;

namespace Desktop
{

class Settings;

// Where the teacher signs in. Server, user and the school's certificate are remembered once the service has
// accepted them; the password is forgotten as soon as it has been handed over.
class SignInPage : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY(SignInPage)

public:
    // Both outlive the page.
    SignInPage(Tarvo::LiveClass &live, Settings &settings, QWidget *parent = nullptr);

    // Fills in what the command line says, in place of what is remembered.
    void take(const Options &options);
    // The server that the teacher has signed in at, or is about to.
    QString server() const { return m_signedInServer; }

public Q_SLOTS:
    // Signs in with what the page holds, or says beside the field what is missing.
    void submit();
    // Ends a sign-in that is under way.
    void cancel();
    // The same teacher signs in again, while a session waits for it.
    void signInAgain(const QString &password);

Q_SIGNALS:
    // The service has accepted the teacher, from this page.
    void signedIn();

private:
    void build();
    void addButtons(QGridLayout *grid, int row);
    void addTrouble(QGridLayout *grid, int row);
    QLineEdit *addField(const QString &label, const QString &name, QGridLayout *grid, int row);
    void chooseRootFile();
    void setBusy(bool isBusy);
    // Says what is wrong and puts the cursor where it is to be mended.
    void complain(const QString &message, const QString &advice, QLineEdit *where);
    bool check();
    void signIn();
    void hasFailed(const Tarvo::Failure &failure);
    void hasSucceeded();

    Tarvo::LiveClass &m_live;
    Settings &m_settings;
    Tarvo::Operation m_signIn;
    QString m_signedInServer;
    QLineEdit *m_server = nullptr;
    QLineEdit *m_user = nullptr;
    QLineEdit *m_password = nullptr;
    QLineEdit *m_rootFile = nullptr;
    QPushButton *m_choose = nullptr;
    QPushButton *m_submit = nullptr;
    QPushButton *m_cancel = nullptr;
    QLabel *m_progress = nullptr;
    QLabel *m_message = nullptr;
    QLabel *m_advice = nullptr;
};

} // namespace Desktop
