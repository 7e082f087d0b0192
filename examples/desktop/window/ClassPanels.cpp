#include "window/ClassPanels.h"

#include "window/ClassPage.h"
#include "window/LearnersPanel.h"

#include "lesson/AssessmentPanel.h"
#include "lesson/CardsPanel.h"
#include "lesson/LessonBar.h"
#include "lesson/MessagePanel.h"
#include "lesson/PicturePanel.h"
#include "lesson/PreparedPolls.h"
#include "results/ResultsPanel.h"

#include <QAction>
#include <QtWidgets/QDockWidget>
#include <QtWidgets/QScrollArea>

namespace Desktop
{

namespace
{

constexpr int MAX_SIDE_WIDTH = 430; // their tabs have room for their titles
constexpr int SIDE_PERCENT = 34;
constexpr int LEARNERS_HEIGHT = 240;
constexpr int LESSON_HEIGHT = 400;

// On a small screen the panels give way, and not the code or the results.
QScrollArea *scrolled(QWidget *panel, const QString &title)
{
    auto *const area = new QScrollArea;
    area->setWidget(panel);
    area->setWidgetResizable(true);
    area->setFrameShape(QFrame::NoFrame);
    area->setFocusPolicy(Qt::NoFocus); // what is in it has the focus
    area->setAccessibleName(title);
    return area;
}

} // namespace

ClassPanels::ClassPanels(Tarvo::LiveClass &live, ClassPage *page)
    : QObject(page), m_page(page), m_bar(telling(new LessonBar(live, page))),
      m_results(telling(new ResultsPanel(live, page))),
      m_picture(telling(new PicturePanel(live, page)))
{
    page->addToolBar(m_bar);
    m_results->setObjectName(QStringLiteral("resultsPanel"));
    page->setResults(m_results);
    addLesson(live, page);
    followNames(page);
    showAsked(live, page);
}

void ClassPanels::addLesson(Tarvo::LiveClass &live, ClassPage *page)
{
    auto *const cards = telling(new CardsPanel(live, page));
    struct Row {
        QWidget *panel;
        QString title;
        const char *name;
    };
    const Row rows[] = {
        {telling(new PreparedPolls(live, page)), tr("Questions"), "questionsPanel"},
        {telling(new AssessmentPanel(live, page)), tr("Assessment"), "assessmentPanel"},
        {m_picture, tr("Picture"), "picturePanel"},
        {telling(new MessagePanel(live, page)), tr("Message"), "messagePanel"},
        {cards, tr("Cards"), "cardsPanel"},
    };
    for (const Row &row : rows) {
        QDockWidget *const dock =
            page->addPanel(scrolled(row.panel, row.title), row.title, QLatin1String(row.name),
                           Qt::RightDockWidgetArea, m_lessonDock != nullptr);
        m_lessonDock = m_lessonDock ? m_lessonDock : dock;
    }
    m_lessonDock->raise();
    connectPicture(cards);
}

void ClassPanels::arrange()
{
    auto *const learners = m_page->findChild<QDockWidget *>(QStringLiteral("learnersPanel"));
    const int width = qMin(MAX_SIDE_WIDTH, m_page->width() * SIDE_PERCENT / 100);
    m_page->resizeDocks({learners, m_lessonDock}, {width, width}, Qt::Horizontal);
    m_page->resizeDocks({learners, m_lessonDock}, {LEARNERS_HEIGHT, LESSON_HEIGHT}, Qt::Vertical);
}

void ClassPanels::connectPicture(CardsPanel *cards)
{
    connect(m_picture, &PicturePanel::backgroundChanged, m_bar, &LessonBar::setBackground);
    connect(m_bar, &LessonBar::backgroundUsed, m_picture, &PicturePanel::releaseBackground);
    connect(cards, &CardsPanel::pushWanted, m_picture, &PicturePanel::showToClass);
    connect(cards, &CardsPanel::told, m_page, &ClassPage::tell);
}

void ClassPanels::followNames(ClassPage *page)
{
    const auto *const hideNames = m_results->findChild<QAction *>(QStringLiteral("hideNames"));
    connect(hideNames, &QAction::toggled, page->learners(), &LearnersPanel::setNamesHidden);
    page->learners()->setNamesHidden(hideNames->isChecked());
}

// Of a question that nobody has answered the class's results do not know the text yet.
void ClassPanels::showAsked(Tarvo::LiveClass &live, ClassPage *page)
{
    const auto panels = page->findChildren<LessonPanel *>();
    for (const LessonPanel *const panel : panels)
        connect(panel, &LessonPanel::asked, m_results, &ResultsPanel::setAsked);
    connect(m_bar, &LessonBar::asked, m_results, &ResultsPanel::setAsked);
    connect(&live, &Tarvo::LiveClass::sessionCodeChanged, m_results, [this, &live] {
        if (!live.sessionCode().isEmpty()) // the next class has been asked nothing
            m_results->setAsked(QString());
    });
}

template<typename Panel> Panel *ClassPanels::telling(Panel *panel)
{
    connect(panel, &Panel::failed, this, &ClassPanels::failed);
    return panel;
}

QMenu *ClassPanels::pollMenu() const
{
    return m_bar->menu();
}

QList<QAction *> ClassPanels::viewActions() const
{
    return m_results->viewActions();
}

QList<QAction *> ClassPanels::exportActions() const
{
    return m_results->exportActions();
}

} // namespace Desktop
