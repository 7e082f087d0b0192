#pragma once

#include "host/LiveClass.h"

#include <QtCore/QList>
#include <QtCore/QObject>

class QAction;
class QDockWidget;
class QMenu;

namespace Desktop
{

class CardsPanel;
class ClassPage;
class LessonBar;
class PicturePanel;
class ResultsPanel;

// Everything that stands around the code of a class: polls, pictures, cards, messages and results, each in
// its place, and connected with each other. Owned by the page, as the panels are.
class ClassPanels : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(ClassPanels)

public:
    ClassPanels(Tarvo::LiveClass &live, ClassPage *page);

    // Gives the panels the sizes that they have when nothing is remembered.
    void arrange();
    // What menus offer.
    QMenu *pollMenu() const;
    QList<QAction *> viewActions() const;
    QList<QAction *> exportActions() const;

Q_SIGNALS:
    // Something went wrong in one of them, in sentences for the teacher.
    void failed(const QString &message, const QString &advice);

private:
    void addLesson(Tarvo::LiveClass &live, ClassPage *page);
    void connectPicture(CardsPanel *cards);
    void followNames(ClassPage *page);
    void showAsked(Tarvo::LiveClass &live, ClassPage *page);
    template<typename Panel> Panel *telling(Panel *panel);

    ClassPage *m_page;
    LessonBar *m_bar;
    ResultsPanel *m_results;
    PicturePanel *m_picture;
    QDockWidget *m_lessonDock = nullptr;
};

} // namespace Desktop
