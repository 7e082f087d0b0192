#pragma once

#include "window/Options.h"
#include "window/Theme.h"

#include "host/LiveClass.h"

#include <QtWidgets/QMainWindow>

class QMenu;
class QStackedWidget;

namespace Desktop
{

class ClassActions;
class ClassPage;
class ClassPanels;
class ConnectionBanner;
class FailureBar;
class ProjectorView;
class Settings;
class SignInPage;

// The program's window: the page to sign in on, then the class; what stands between the class and its
// learners above, and what went wrong below. Remembers where it was.
class MainWindow : public QMainWindow
{
    Q_OBJECT
    Q_DISABLE_COPY(MainWindow)

public:
    // Both outlive the window.
    MainWindow(Tarvo::LiveClass &live, Settings &settings, QWidget *parent = nullptr);
    ~MainWindow() override;

    // Does what the command line asks for.
    void take(const Options &options);

protected:
    void closeEvent(QCloseEvent *event) override;

private:
    void build();
    void buildMenus();
    void buildThemeMenu(QMenu *menu);
    void addPanels(QMenu *panels, QMenu *results, QMenu *view);
    void showClassFailure(const Tarvo::Failure &failure);
    void showPanelFailure(const QString &message, const QString &advice);
    void showPage();
    void arrangePanels();
    void showSession();
    void copyAddress();
    bool hasSession() const;

    Tarvo::LiveClass &m_live;
    Settings &m_settings;
    ClassActions *m_actions;
    ConnectionBanner *m_banner;
    QStackedWidget *m_pages;
    SignInPage *m_signIn;
    ClassPage *m_class;
    ClassPanels *m_panels;
    FailureBar *m_failures;
    ProjectorView *m_projector;
    QStringList m_told;         // the latest failures of the class
    bool m_startsClass = false; // once the teacher is signed in
    bool m_arePanelsArranged = false;
    bool m_mayClose = false;
};

} // namespace Desktop
