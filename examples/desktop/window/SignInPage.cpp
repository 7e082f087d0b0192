#include "window/SignInPage.h"

#include "window/Bars.h"
#include "window/RootFile.h"
#include "window/ServerAddress.h"
#include "window/Settings.h"

#include <QtWidgets/QFileDialog>
#include <QtWidgets/QFrame>
#include <QtWidgets/QGridLayout>
#include <QtWidgets/QLabel>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QVBoxLayout>

namespace Desktop
{

using Tarvo::Failure;

namespace
{

constexpr int FORM_WIDTH = 560;
constexpr double TITLE_SCALE = 1.8;

QLabel *newTitle(const QString &text, QWidget *parent)
{
    auto *const title = new QLabel(text, parent);
    QFont font = title->font();
    font.setPointSizeF(font.pointSizeF() * TITLE_SCALE);
    font.setBold(true);
    title->setFont(font);
    return title;
}

// What was entered is at hand here, so that it can be named.
QString messageOf(const Failure &failure)
{
    if (failure.key() == QLatin1String("login.error.wrongCredentials"))
        return SignInPage::tr("The user or the password is wrong.");
    return failure.message();
}

QString adviceOf(const Failure &failure)
{
    if (failure.key() == QLatin1String("login.error.wrongCredentials"))
        return SignInPage::tr("Type both again; capitals matter.");
    if (failure.reason() == Failure::UntrustedRoot)
        return SignInPage::tr("If your school gave you a file with its certificate, choose it "
                              "above. Otherwise ask your administrator for it.");
    return failure.advice();
}

} // namespace

SignInPage::SignInPage(Tarvo::LiveClass &live, Settings &settings, QWidget *parent)
    : QWidget(parent), m_live(live), m_settings(settings)
{
    build();
    m_server->setText(settings.server());
    m_user->setText(settings.user());
    m_rootFile->setText(settings.rootFile());
    connect(m_submit, &QPushButton::clicked, this, &SignInPage::submit);
    connect(m_cancel, &QPushButton::clicked, this, &SignInPage::cancel);
    connect(m_choose, &QPushButton::clicked, this, &SignInPage::chooseRootFile);
    for (QLineEdit *const field : {m_server, m_user, m_password, m_rootFile})
        connect(field, &QLineEdit::returnPressed, this, &SignInPage::submit);
    setBusy(false);
    (m_server->text().isEmpty() ? m_server : m_password)->setFocus();
}

void SignInPage::build()
{
    auto *const form = new QWidget(this);
    form->setMaximumWidth(FORM_WIDTH);
    auto *const grid = new QGridLayout(form);
    grid->addWidget(newTitle(tr("Sign in to your class"), form), 0, 0, 1, 3);
    m_server = addField(tr("S&erver"), QStringLiteral("server"), grid, 1);
    m_user = addField(tr("&User"), QStringLiteral("user"), grid, 2);
    m_password = addField(tr("Pass&word"), QStringLiteral("password"), grid, 3);
    m_rootFile = addField(tr("School cer&tificate"), QStringLiteral("rootFile"), grid, 4);
    m_server->setPlaceholderText(tr("https://classroom.example"));
    m_password->setEchoMode(QLineEdit::Password);
    m_rootFile->setPlaceholderText(tr("Only if your school gave you one"));
    m_rootFile->setToolTip(tr("A file with the school's own root certificate, PEM or DER"));
    m_choose = new QPushButton(tr("Ch&oose..."), form);
    m_choose->setAccessibleName(tr("Choose the file with the school's certificate"));
    grid->addWidget(m_choose, 4, 2);

    addButtons(grid, 5);
    addTrouble(grid, 6);

    auto *const centre = new QGridLayout(this);
    centre->addWidget(form, 1, 1);
    for (const int side : {0, 2}) {
        centre->setRowStretch(side, 1);
        centre->setColumnStretch(side, 1);
    }
    centre->setColumnStretch(1, 4);
}

void SignInPage::addButtons(QGridLayout *grid, int row)
{
    QWidget *const form = grid->parentWidget();
    m_submit = new QPushButton(tr("Sign &in"), form);
    m_submit->setObjectName(QStringLiteral("submit"));
    m_cancel = new QPushButton(tr("C&ancel"), form);
    m_cancel->setObjectName(QStringLiteral("cancel"));
    m_progress = newBarLabel(form, false);
    m_progress->setObjectName(QStringLiteral("progress"));
    auto *const buttons = new QHBoxLayout;
    buttons->addWidget(m_progress, 1);
    buttons->addWidget(m_cancel);
    buttons->addWidget(m_submit);
    grid->addLayout(buttons, row, 1, 1, 2);
}

void SignInPage::addTrouble(QGridLayout *grid, int row)
{
    auto *const trouble = new QFrame(grid->parentWidget());
    trouble->setObjectName(QStringLiteral("signInTrouble"));
    paintAsBar(trouble, BarKind::Trouble);
    m_message = newBarLabel(trouble, true);
    m_advice = newBarLabel(trouble, false);
    m_message->setObjectName(QStringLiteral("signInMessage"));
    m_advice->setObjectName(QStringLiteral("signInAdvice"));
    auto *const words = new QVBoxLayout(trouble);
    words->addWidget(m_message);
    words->addWidget(m_advice);
    grid->addWidget(trouble, row, 0, 1, 3);
    trouble->hide();
}

QLineEdit *SignInPage::addField(const QString &label, const QString &name, QGridLayout *grid,
                                int row)
{
    auto *const field = new QLineEdit(grid->parentWidget());
    auto *const title = new QLabel(label, grid->parentWidget());
    title->setBuddy(field);
    field->setObjectName(name);
    field->setAccessibleName(QString(label).remove(QLatin1Char('&')));
    grid->addWidget(title, row, 0);
    grid->addWidget(field, row, 1, 1, name == QLatin1String("rootFile") ? 1 : 2);
    return field;
}

void SignInPage::take(const Options &options)
{
    if (!options.server.isEmpty())
        m_server->setText(options.server);
    if (!options.user.isEmpty())
        m_user->setText(options.user);
    if (!options.caFile.isEmpty())
        m_rootFile->setText(options.caFile);
    m_password->setText(options.password);
    if (!options.transports.isEmpty())
        m_live.setTransports(options.transports);
    if (options.canSignIn())
        submit();
}

void SignInPage::chooseRootFile()
{
    auto *const dialog = new QFileDialog(this, tr("The school's certificate"));
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setFileMode(QFileDialog::ExistingFile);
    dialog->setNameFilters({tr("Certificates (*.pem *.crt *.cer *.der)"), tr("All files (*)")});
    connect(dialog, &QFileDialog::fileSelected, m_rootFile, &QLineEdit::setText);
    dialog->open();
}

// ---- Signing in ----------------------------------------------------------------------------------

void SignInPage::submit()
{
    if (m_submit->isEnabled() && check())
        signIn();
}

bool SignInPage::check()
{
    const ServerAddress address(m_server->text());
    const RootFile roots(m_rootFile->text());
    if (!address.isValid())
        complain(tr("Signing in needs the service's address."), address.complaint(), m_server);
    else if (m_user->text().isEmpty())
        complain(tr("Signing in needs a user."), tr("Type the name that you sign in with."),
                 m_user);
    else if (m_password->text().isEmpty())
        complain(tr("Signing in needs a password."), tr("Type your password."), m_password);
    else if (!roots.complaint().isEmpty())
        complain(roots.complaint(), tr("Choose another file, or leave the field empty."),
                 m_rootFile);
    else {
        m_server->setText(address.text());
        m_live.setTrustedCertificates(roots.certificates());
        return true;
    }
    return false;
}

void SignInPage::signIn()
{
    m_message->parentWidget()->hide();
    m_signedInServer = m_server->text();
    setBusy(true);
    m_signIn = m_live.signIn(m_server->text(), m_user->text(), m_password->text());
    m_signIn.then(
        this, [this] { hasSucceeded(); }, [this](const Failure &failure) { hasFailed(failure); });
}

void SignInPage::signInAgain(const QString &password)
{
    m_live.signIn(m_signedInServer, m_settings.user(), password);
}

void SignInPage::cancel()
{
    m_signIn.abandon();
    m_live.signOut();
    setBusy(false);
    m_password->setFocus();
}

void SignInPage::hasSucceeded()
{
    m_password->clear();
    m_settings.setAccount(m_server->text(), m_user->text(), m_rootFile->text());
    setBusy(false);
    Q_EMIT signedIn();
}

void SignInPage::hasFailed(const Failure &failure)
{
    setBusy(false);
    QLineEdit *const where = failure.reason() == Failure::UntrustedRoot ? m_rootFile : m_password;
    complain(messageOf(failure), adviceOf(failure), where);
}

// ---- What it shows -------------------------------------------------------------------------------

void SignInPage::setBusy(bool isBusy)
{
    for (QWidget *const widget : std::initializer_list<QWidget *>{m_server, m_user, m_password,
                                                                  m_rootFile, m_choose, m_submit})
        widget->setEnabled(!isBusy);
    m_cancel->setVisible(isBusy);
    m_progress->setText(isBusy ? tr("Signing in...") : QString());
    m_progress->setVisible(isBusy);
    if (isBusy)
        m_cancel->setFocus();
}

void SignInPage::complain(const QString &message, const QString &advice, QLineEdit *where)
{
    QWidget *const trouble = m_message->parentWidget();
    m_message->setText(message);
    m_advice->setText(advice);
    trouble->show();
    announce(trouble, message + QLatin1Char(' ') + advice);
    where->setFocus();
    where->selectAll();
}

} // namespace Desktop
