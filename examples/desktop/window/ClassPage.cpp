#include "window/ClassPage.h"

#include "window/ClassActions.h"
#include "window/JoinCard.h"
#include "window/LearnersPanel.h"

#include <QtCore/QAbstractItemModel>
#include <QtWidgets/QDockWidget>
#include <QtWidgets/QLabel>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QStatusBar>
#include <QtWidgets/QVBoxLayout>

namespace Desktop
{

using Tarvo::LiveClass;

namespace
{

constexpr int TOLD_MS = 10000;
constexpr double START_SCALE = 1.5;

struct StatusRow {
    LiveClass::State state;
    const char *text;
};

// clang-format off
constexpr StatusRow STATUS_ROWS[] = {
    {LiveClass::SignedIn,     QT_TRANSLATE_NOOP("Desktop::ClassPage", "You are signed in. Start a class, and learners can join.")},
    {LiveClass::SigningIn,    QT_TRANSLATE_NOOP("Desktop::ClassPage", "You are being signed in.")},
    {LiveClass::SignInNeeded, QT_TRANSLATE_NOOP("Desktop::ClassPage", "The class waits for you to sign in again.")},
    {LiveClass::Starting,     QT_TRANSLATE_NOOP("Desktop::ClassPage", "The class is being started.")},
    {LiveClass::Live,         QT_TRANSLATE_NOOP("Desktop::ClassPage", "The class is running. Learners can join.")},
    {LiveClass::Reconnecting, QT_TRANSLATE_NOOP("Desktop::ClassPage", "The class is coming back.")},
    {LiveClass::Stopping,     QT_TRANSLATE_NOOP("Desktop::ClassPage", "The class is being stopped.")},
    {LiveClass::Ended,        QT_TRANSLATE_NOOP("Desktop::ClassPage", "The class is over. You can start another.")},
};
// clang-format on

QString statusOf(LiveClass::State state)
{
    for (const StatusRow &row : STATUS_ROWS) {
        if (row.state == state)
            return ClassPage::tr(row.text);
    }
    return QString();
}

} // namespace

ClassPage::ClassPage(LiveClass &live, ClassActions &actions, QWidget *parent)
    : QMainWindow(parent, Qt::Widget), m_live(live), m_card(new JoinCard(this)),
      m_status(new QLabel(this)), m_learners(new LearnersPanel(live, this))
{
    setDockOptions(AnimatedDocks | AllowNestedDocks | AllowTabbedDocks);
    setCentralWidget(newCentre(actions));
    buildStatusBar(actions);
    addPanel(m_learners, tr("Learners"), QStringLiteral("learnersPanel"), Qt::RightDockWidgetArea);
    connect(&live, &LiveClass::stateChanged, this, &ClassPage::refresh);
    const QAbstractItemModel *const results = live.results();
    connect(results, &QAbstractItemModel::rowsInserted, this, &ClassPage::shareRoom);
    connect(results, &QAbstractItemModel::rowsRemoved, this, &ClassPage::shareRoom);
    connect(results, &QAbstractItemModel::modelReset, this, &ClassPage::shareRoom);
    connect(&live, &LiveClass::activityChanged, this, &ClassPage::shareRoom);
    refresh();
}

QWidget *ClassPage::newCentre(ClassActions &actions)
{
    auto *const centre = new QWidget(this);
    QPushButton *const start = ClassActions::newButton(actions.start, centre);
    QFont large = start->font();
    large.setPointSizeF(large.pointSizeF() * START_SCALE);
    start->setFont(large);
    m_centre = new QVBoxLayout(centre);
    m_centre->setContentsMargins(0, 0, 0, 0);
    m_centre->addWidget(m_card, 1);
    m_centre->addWidget(start, 0, Qt::AlignHCenter);
    start->setFocus(); // as soon as the page is shown
    return centre;
}

void ClassPage::buildStatusBar(ClassActions &actions)
{
    m_status->setObjectName(QStringLiteral("classStatus"));
    m_status->setTextFormat(Qt::PlainText);
    statusBar()->setSizeGripEnabled(false);
    statusBar()->addWidget(m_status);
    for (QAction *const action :
         {actions.stop, actions.projector, actions.copyAddress, actions.signOut})
        statusBar()->addPermanentWidget(ClassActions::newButton(action, statusBar()));
}

void ClassPage::setResults(QWidget *results)
{
    m_results = results;
    m_centre->insertWidget(1, results, 1);
    shareRoom();
}

void ClassPage::tell(const QString &sentence)
{
    statusBar()->showMessage(sentence, TOLD_MS);
}

// Who joins reads the code first, and who answers the answers.
void ClassPage::shareRoom()
{
    const bool hasResults =
        m_live.activity() != LiveClass::NoActivity || m_live.results()->rowCount() > 0;
    m_card->setCompact(hasResults);
    m_centre->setStretchFactor(m_card, hasResults ? 0 : 1);
    if (m_results)
        m_results->setVisible(hasResults);
}

QDockWidget *ClassPage::addPanel(QWidget *panel, const QString &title, const QString &name,
                                 Qt::DockWidgetArea area, bool isBehind)
{
    auto *const dock = new QDockWidget(title, this);
    dock->setObjectName(name);
    dock->setAccessibleName(title);
    dock->setWidget(panel);
    addDockWidget(area, dock);
    if (isBehind && m_lastOfArea[area])
        tabifyDockWidget(m_lastOfArea[area], dock);
    m_lastOfArea[area] = dock;
    return dock;
}

void ClassPage::refresh()
{
    m_status->setText(statusOf(m_live.state()));
}

} // namespace Desktop
