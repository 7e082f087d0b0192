#include "window/LearnersPanel.h"

#include "window/AskBack.h"
#include "window/LearnerDelegate.h"
#include "window/LearnerRows.h"

#include "texts/ShownText.h"

#include <QAction>
#include <QtWidgets/QLabel>
#include <QtWidgets/QListView>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QVBoxLayout>

namespace Desktop
{

using Tarvo::LiveClass;

namespace
{

constexpr int COUNT_AFTER_MS = 50;
constexpr int LIST_WIDTH = 210; // a name, and what its owner has done

} // namespace

LearnersPanel::LearnersPanel(LiveClass &live, QWidget *parent)
    : QWidget(parent), m_live(live), m_rows(new LearnerRows(live.learners(), this)),
      m_count(new QLabel(this)), m_list(new QListView(this)),
      m_remove(new QAction(tr("Remove from the class..."), this)),
      m_removeButton(new QPushButton(tr("Remove..."), this))
{
    m_count->setObjectName(QStringLiteral("learnerCount"));
    m_count->setTextFormat(Qt::PlainText);
    m_count->setWordWrap(true);
    m_list->setObjectName(QStringLiteral("learners"));
    m_list->setAccessibleName(tr("Learners"));
    m_list->setModel(m_rows);
    m_list->setItemDelegate(new LearnerDelegate(m_list));
    m_list->setUniformItemSizes(true);
    m_list->setMinimumWidth(LIST_WIDTH);
    m_list->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    m_list->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_list->setContextMenuPolicy(Qt::ActionsContextMenu);
    m_list->addAction(m_remove);
    m_remove->setObjectName(QStringLiteral("removeLearner"));
    m_remove->setShortcut(Qt::Key_Delete);
    m_remove->setShortcutContext(Qt::WidgetShortcut);
    m_removeButton->setObjectName(QStringLiteral("removeLearnerButton"));
    m_removeButton->setToolTip(tr("Sends the selected learner's device away (Delete)"));
    auto *const layout = new QVBoxLayout(this);
    layout->addWidget(m_count);
    layout->addWidget(m_list, 1);
    layout->addWidget(m_removeButton);

    m_countSoon.setSingleShot(true);
    m_countSoon.setInterval(COUNT_AFTER_MS);
    connect(&m_countSoon, &QTimer::timeout, this, &LearnersPanel::count);
    const auto countSoon = [this] {
        if (!m_countSoon.isActive())
            m_countSoon.start();
    };
    for (const auto change : {&QAbstractItemModel::rowsInserted, &QAbstractItemModel::rowsRemoved})
        connect(m_rows, change, this, countSoon);
    connect(m_rows, &QAbstractItemModel::dataChanged, this, countSoon);
    connect(&live, &LiveClass::activityChanged, this, &LearnersPanel::noteActivity);
    connect(&live, &LiveClass::sessionCodeChanged, this, &LearnersPanel::noteActivity);
    connect(&live, &LiveClass::stateChanged, this, &LearnersPanel::updateActions);
    connect(m_list->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            &LearnersPanel::updateActions);
    connect(m_remove, &QAction::triggered, this, &LearnersPanel::askToRemove);
    connect(m_removeButton, &QPushButton::clicked, this, &LearnersPanel::askToRemove);
    count();
    updateActions();
}

void LearnersPanel::setNamesHidden(bool areHidden)
{
    m_rows->setNamesHidden(areHidden);
}

// What ran last is still shown until the session ends.
void LearnersPanel::noteActivity()
{
    if (m_live.activity() != LiveClass::NoActivity)
        m_rows->setAsked(true);
    else if (m_live.sessionCode().isEmpty())
        m_rows->setAsked(false);
    m_countSoon.start();
}

void LearnersPanel::count()
{
    int here = 0;
    int answered = 0;
    int awayAnswered = 0;
    for (int row = 0; row < m_rows->rowCount(); ++row) {
        const QModelIndex index = m_rows->index(row, 0);
        const bool isHere = index.data(LiveClass::PresentRole).toBool();
        const bool hasAnswered = index.data(LiveClass::AnsweredRole).toBool();
        here += isHere ? 1 : 0;
        answered += hasAnswered ? 1 : 0;
        awayAnswered += hasAnswered && !isHere ? 1 : 0;
    }
    m_count->setText(countText(here, answered, awayAnswered));
}

// Who has answered and is away now counts among those who were asked.
QString LearnersPanel::countText(int here, int answered, int awayAnswered) const
{
    if (m_rows->isAsked())
        return tr("%1 of %2 have answered").arg(answered).arg(here + awayAnswered);
    return here == 0 ? tr("Nobody is here")
        : here == 1  ? tr("1 learner is here")
                     : tr("%1 learners are here").arg(here);
}

void LearnersPanel::askToRemove()
{
    const QModelIndex learner = m_list->currentIndex();
    if (!m_remove->isEnabled() || !learner.isValid())
        return;
    const QString device = learner.data(LiveClass::DeviceIdRole).toString();
    const Question question{
        tr("Remove %1 from the class?").arg(quotedText(learner.data().toString())),
        tr("The learner's device leaves the class at once."), tr("&Remove")};
    askBack(this, question, [this, device] { m_live.removeLearner(device); });
}

void LearnersPanel::updateActions()
{
    const bool isPossible =
        m_live.state() == LiveClass::Live && m_list->selectionModel()->hasSelection();
    m_remove->setEnabled(isPossible);
    m_removeButton->setEnabled(isPossible);
}

} // namespace Desktop
