#include "results/ResultsTabs.h"

#include "results/ResultsTable.h"
#include "results/ResultsView.h"

#include <QAction>
#include <QtCore/QSignalBlocker>
#include <QtWidgets/QComboBox>
#include <QtWidgets/QHBoxLayout>
#include <QtWidgets/QTabWidget>
#include <QtWidgets/QToolButton>
#include <QtWidgets/QVBoxLayout>

namespace Desktop
{

namespace
{

enum Tab : int {
    DiagramTab,
    TableTab,
    LearnersTab
};

constexpr int FOLLOW_MS = 100;

QToolButton *buttonFor(QAction *action, Qt::ArrowType arrow)
{
    auto *const button = new QToolButton;
    button->setDefaultAction(action);
    button->setArrowType(arrow);
    button->setAccessibleName(action->toolTip());
    button->setFocusPolicy(Qt::StrongFocus);
    return button;
}

} // namespace

ResultsTabs::ResultsTabs(ChartSource *source, QWidget *parent)
    : QWidget(parent), m_source(source), m_view(new ResultsView(source)), m_tabs(new QTabWidget),
      m_previous(new QAction(tr("&Previous question"), this)),
      m_next(new QAction(tr("Ne&xt question"), this)), m_questions(new QComboBox),
      m_questionRow(questionRow())
{
    m_tabs->setDocumentMode(true);
    m_tabs->setAccessibleName(tr("Results"));
    m_tabs->addTab(m_view, tr("&Diagram"));
    m_tabs->addTab(new ResultsTable(source), tr("&Table"));
    m_tabs->addTab(new LearnersTable(source->learners()), tr("By &learner"));
    auto *const layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(m_questionRow);
    layout->addWidget(m_tabs, 1);

    m_changes.setSingleShot(true);
    m_changes.setInterval(FOLLOW_MS);
    connect(&m_changes, &QTimer::timeout, this, &ResultsTabs::follow);
    connect(source, &ChartSource::changed, this, [this] {
        if (!m_changes.isActive())
            m_changes.start();
    });
    follow();
}

QWidget *ResultsTabs::questionRow()
{
    m_previous->setObjectName(QStringLiteral("previousQuestion"));
    m_previous->setShortcut(Qt::ALT | Qt::Key_PageUp);
    m_next->setObjectName(QStringLiteral("nextQuestion"));
    m_next->setShortcut(Qt::ALT | Qt::Key_PageDown);
    connect(m_previous, &QAction::triggered, this,
            [this] { m_source->setCurrentPage(m_source->currentPage() - 1); });
    connect(m_next, &QAction::triggered, this,
            [this] { m_source->setCurrentPage(m_source->currentPage() + 1); });
    m_questions->setAccessibleName(tr("Question"));
    m_questions->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    connect(m_questions, QOverload<int>::of(&QComboBox::currentIndexChanged), m_source,
            &ChartSource::setCurrentPage);

    auto *const row = new QWidget;
    auto *const layout = new QHBoxLayout(row);
    layout->addWidget(buttonFor(m_previous, Qt::LeftArrow));
    layout->addWidget(m_questions, 1);
    layout->addWidget(buttonFor(m_next, Qt::RightArrow));
    return row;
}

void ResultsTabs::follow()
{
    listQuestions();
    const bool isHidden = m_source->areAnswersHidden();
    m_tabs->setTabVisible(TableTab, !isHidden);
    m_tabs->setTabVisible(LearnersTab, !isHidden && !m_source->areNamesHidden());
    m_questionRow->setVisible(m_source->pageCount() > 1);
    m_previous->setEnabled(m_source->currentPage() > 0);
    m_next->setEnabled(m_source->currentPage() + 1 < m_source->pageCount());
}

void ResultsTabs::listQuestions()
{
    // Rather than anew: who is choosing one keeps the open list.
    const QSignalBlocker silence(m_questions);
    for (int page = 0; page < m_source->pageCount(); ++page) {
        const QString title = m_source->titleOf(page);
        if (page == m_questions->count())
            m_questions->addItem(title);
        else if (m_questions->itemText(page) != title)
            m_questions->setItemText(page, title);
    }
    while (m_questions->count() > m_source->pageCount())
        m_questions->removeItem(m_questions->count() - 1);
    m_questions->setCurrentIndex(m_source->pageCount() > 0 ? m_source->currentPage() : -1);
}

} // namespace Desktop
