#include "results/ResultsPanel.h"

#include "results/ResultsExport.h"
#include "results/ResultsSettings.h"
#include "results/ResultsTabs.h"
#include "results/ResultsView.h"

#include "host/LiveClass.h"

#include <QAction>
#include <QtWidgets/QVBoxLayout>

namespace Desktop
{

namespace
{

// For a projector, a page or a slide.
constexpr QSize PICTURE_SIZE(1920, 1080);

} // namespace

ResultsPanel::ResultsPanel(Tarvo::LiveClass &live, QWidget *parent)
    : QWidget(parent), m_live(live),
      m_source(new ChartSource(live.results(), live.learners(), this)),
      m_tabs(new ResultsTabs(m_source, this)),
      m_export(new ResultsExport([&live](QIODevice *file) { return live.exportCsv(file); },
                                 [this] { return m_tabs->view()->picture(PICTURE_SIZE); }, this)),
      m_hideNames(new QAction(tr("Hide &names"), this)),
      m_hideUntilClosed(new QAction(tr("Hide results &until the poll is closed"), this))
{
    auto *const layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_tabs);
    makeViewActions();
    makeExportActions();
    connect(&live, &Tarvo::LiveClass::activityChanged, this, &ResultsPanel::followActivity);
    connect(m_export, &ResultsExport::failed, this, &ResultsPanel::failed);
    followActivity();
}

QList<QAction *> ResultsPanel::viewActions() const
{
    return {m_hideNames, m_hideUntilClosed, m_tabs->previousAction(), m_tabs->nextAction()};
}

void ResultsPanel::setAsked(const QString &text)
{
    m_source->setAsked(text);
}

void ResultsPanel::makeViewActions()
{
    m_hideNames->setObjectName(QStringLiteral("hideNames"));
    m_hideNames->setCheckable(true);
    connect(m_hideNames, &QAction::toggled, this, [this](bool areHidden) {
        m_source->setNamesHidden(areHidden);
        ResultsSettings().setNamesHidden(areHidden);
    });
    m_hideNames->setChecked(ResultsSettings().areNamesHidden());

    m_hideUntilClosed->setObjectName(QStringLiteral("hideUntilClosed"));
    m_hideUntilClosed->setCheckable(true);
    connect(m_hideUntilClosed, &QAction::toggled, this, [this](bool isHidden) {
        m_source->setHiddenUntilClosed(isHidden);
        ResultsSettings().setHiddenUntilClosed(isHidden);
    });
    m_hideUntilClosed->setChecked(ResultsSettings().isHiddenUntilClosed());
}

void ResultsPanel::makeExportActions()
{
    addExport(QStringLiteral("exportCsv"), tr("Save &answers as a table (CSV)…"),
              &ResultsExport::askForCsv);
    addExport(QStringLiteral("exportPicture"), tr("Save &diagram as a picture (PNG)…"),
              &ResultsExport::askForPicture);
    addExport(QStringLiteral("copyPicture"), tr("&Copy diagram as a picture"),
              &ResultsExport::copyPicture);
}

void ResultsPanel::addExport(const QString &name, const QString &text, void (ResultsExport::*act)())
{
    auto *const action = new QAction(text, this);
    action->setObjectName(name);
    connect(action, &QAction::triggered, m_export, act);
    m_exportActions.append(action);
}

void ResultsPanel::followActivity()
{
    m_source->setRunning(m_live.activity() != Tarvo::LiveClass::NoActivity);
}

} // namespace Desktop
