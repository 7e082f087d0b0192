#include "window/MainWindow.h"

#include "window/AskBack.h"
#include "window/ClassActions.h"
#include "window/ClassPage.h"
#include "window/ClassPanels.h"
#include "window/ConnectionBanner.h"
#include "window/FailureBar.h"
#include "window/JoinCard.h"
#include "window/ProjectorView.h"
#include "window/Settings.h"
#include "window/SignInPage.h"

#include <QActionGroup>
#include <QtGui/QClipboard>
#include <QtGui/QCloseEvent>
#include <QtGui/QGuiApplication>
#include <QtWidgets/QDockWidget>
#include <QtWidgets/QMenuBar>
#include <QtWidgets/QStackedWidget>
#include <QtWidgets/QVBoxLayout>

namespace Desktop
{

using Tarvo::Action;
using Tarvo::Failure;
using Tarvo::LiveClass;

namespace
{

constexpr int FIRST_WIDTH = 1280;
constexpr int FIRST_HEIGHT = 780;
constexpr int MAX_TOLD = 20;

} // namespace

MainWindow::MainWindow(LiveClass &live, Settings &settings, QWidget *parent)
    : QMainWindow(parent), m_live(live), m_settings(settings),
      m_actions(new ClassActions(live, this)), m_banner(new ConnectionBanner(live, this)),
      m_pages(new QStackedWidget(this)), m_signIn(new SignInPage(live, settings, this)),
      m_class(new ClassPage(live, *m_actions, this)), m_panels(new ClassPanels(live, m_class)),
      m_failures(new FailureBar(this)), m_projector(new ProjectorView(this))
{
    setWindowTitle(tr("Tarvo"));
    build();
    buildMenus();
    Theme::apply(settings.theme());
    resize(FIRST_WIDTH, FIRST_HEIGHT);
    restoreGeometry(settings.geometry());

    connect(m_banner, &ConnectionBanner::passwordGiven, m_signIn, &SignInPage::signInAgain);
    connect(m_signIn, &SignInPage::signedIn, this, [this] {
        if (m_startsClass)
            m_live.start();
        m_startsClass = false;
    });
    connect(m_actions->projector, &QAction::triggered, m_projector, &ProjectorView::toggle);
    connect(m_actions->copyAddress, &QAction::triggered, this, &MainWindow::copyAddress);
    connect(&live, &LiveClass::stateChanged, this, &MainWindow::showPage);
    connect(&live, &LiveClass::sessionCodeChanged, this, &MainWindow::showSession);
    connect(&live, &LiveClass::failed, this, &MainWindow::showClassFailure);
    connect(m_panels, &ClassPanels::failed, this, &MainWindow::showPanelFailure);
    showPage();
    showSession();
}

MainWindow::~MainWindow()
{
    m_settings.setWindow(saveGeometry(),
                         m_arePanelsArranged ? m_class->saveState() : m_settings.panels());
}

void MainWindow::build()
{
    m_pages->addWidget(m_signIn);
    m_pages->addWidget(m_class);
    auto *const all = new QWidget(this);
    auto *const layout = new QVBoxLayout(all);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(m_banner);
    layout->addWidget(m_pages, 1);
    layout->addWidget(m_failures);
    setCentralWidget(all);
}

void MainWindow::take(const Options &options)
{
    m_startsClass = options.start;
    m_signIn->take(options);
}

// ---- What goes wrong -----------------------------------------------------------------------------

void MainWindow::showClassFailure(const Failure &failure)
{
    const bool isInBanner =
        failure.action() == Action::None && failure.reason() == Failure::SignInOver;
    if (failure.action() == Action::SignIn || isInBanner) // told where the teacher signs in
        return;
    m_told.append(failure.message());
    if (m_told.size() > MAX_TOLD)
        m_told.removeFirst();
    m_failures->add(failure.message(), failure.advice());
}

// The class has told before what became of the panel's calls.
void MainWindow::showPanelFailure(const QString &message, const QString &advice)
{
    if (!m_told.contains(message))
        m_failures->add(message, advice);
}

// ---- Menus ---------------------------------------------------------------------------------------

void MainWindow::buildMenus()
{
    QMenu *const classMenu = menuBar()->addMenu(tr("&Class"));
    classMenu->addActions({m_actions->start, m_actions->stop, m_actions->projector,
                           m_actions->copyAddress, m_actions->signOut});
    classMenu->addSeparator();
    QAction *const quit = classMenu->addAction(tr("&Quit"), this, &MainWindow::close);
    quit->setShortcut(QKeySequence(tr("Ctrl+Q")));
    menuBar()->addMenu(m_panels->pollMenu());
    QMenu *const results = menuBar()->addMenu(tr("&Results"));
    QMenu *const view = menuBar()->addMenu(tr("&View"));
    auto *const panels = new QMenu(tr("&Panels"), this);
    addPanels(panels, results, view);
    view->addMenu(panels);
    buildThemeMenu(view->addMenu(tr("&Colours")));
}

void MainWindow::buildThemeMenu(QMenu *menu)
{
    struct Row {
        Theme::Mode mode;
        QString text;
    };
    const Row rows[] = {{Theme::System, tr("As the &system")},
                        {Theme::Light, tr("&Light")},
                        {Theme::Dark, tr("&Dark")}};
    auto *const group = new QActionGroup(this);
    for (const Row &row : rows) {
        QAction *const action = group->addAction(row.text);
        const Theme::Mode mode = row.mode;
        action->setCheckable(true);
        action->setChecked(mode == m_settings.theme());
        menu->addAction(action);
        connect(action, &QAction::triggered, this, [this, mode] {
            m_settings.setTheme(mode);
            Theme::apply(mode);
        });
    }
}

void MainWindow::addPanels(QMenu *panels, QMenu *results, QMenu *view)
{
    results->addActions(m_panels->exportActions());
    view->addActions(m_panels->viewActions());
    view->addSeparator();
    const auto docks = m_class->findChildren<QDockWidget *>(QString(), Qt::FindDirectChildrenOnly);
    for (const QDockWidget *const dock : docks)
        panels->addAction(dock->toggleViewAction());
}

// ---- What the class tells ------------------------------------------------------------------------

bool MainWindow::hasSession() const
{
    return !m_live.sessionCode().isEmpty();
}

void MainWindow::showPage()
{
    const LiveClass::State state = m_live.state();
    if (state == LiveClass::Stopping) // the sign-in ends where it began, and so does the class
        return;
    const bool isSignIn =
        state == LiveClass::SignedOut || (state == LiveClass::SigningIn && !hasSession());
    QWidget *const page = isSignIn ? static_cast<QWidget *>(m_signIn) : m_class;
    m_pages->setCurrentWidget(page);
    if (!isSignIn) // it has its size as soon as it is shown
        QMetaObject::invokeMethod(this, &MainWindow::arrangePanels, Qt::QueuedConnection);
}

void MainWindow::arrangePanels()
{
    if (!m_arePanelsArranged && !m_class->restoreState(m_settings.panels()))
        m_panels->arrange();
    m_arePanelsArranged = true;
}

void MainWindow::showSession()
{
    m_class->card()->setSession(m_signIn->server(), m_live.sessionCode());
    m_projector->setSession(m_signIn->server(), m_live.sessionCode());
}

void MainWindow::copyAddress()
{
    QGuiApplication::clipboard()->setText(m_class->card()->joinAddress());
}

// ---- The end -------------------------------------------------------------------------------------

void MainWindow::closeEvent(QCloseEvent *event)
{
    if (m_mayClose || !hasSession()) {
        m_projector->close();
        event->accept();
        return;
    }
    event->ignore();
    const Question question{tr("Stop the class and quit?"),
                            tr("The class is running. All learners leave it."),
                            tr("&Stop and quit")};
    askBack(this, question, [this] {
        m_mayClose = true; // the class stops its session when it goes
        close();
    });
}

} // namespace Desktop
