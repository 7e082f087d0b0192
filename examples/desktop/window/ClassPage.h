#pragma once

#include "host/LiveClass.h"

#include <QtWidgets/QMainWindow>

class QDockWidget;
class QLabel;
class QVBoxLayout;

namespace Desktop
{

class ClassActions;
class JoinCard;
class LearnersPanel;

// The class: how to join it and the results in the middle, and the panels around them, each of which can be
// moved, closed and opened again. A window inside the window, so that the panels are there with the class only.
class ClassPage : public QMainWindow
{
    Q_OBJECT
    Q_DISABLE_COPY(ClassPage)

public:
    ClassPage(Tarvo::LiveClass &live, ClassActions &actions, QWidget *parent = nullptr);

    // A panel with a title at one side; behind the one that is there already when `isBehind`. The name is
    // what the remembered arrangement knows it by.
    QDockWidget *addPanel(QWidget *panel, const QString &title, const QString &name,
                          Qt::DockWidgetArea area, bool isBehind = false);
    // What was answered; has most of the middle as soon as there is a question.
    void setResults(QWidget *results);
    // Shows for a while what somebody else did.
    void tell(const QString &sentence);
    JoinCard *card() const { return m_card; }
    LearnersPanel *learners() const { return m_learners; }

private:
    QWidget *newCentre(ClassActions &actions);
    void buildStatusBar(ClassActions &actions);
    void shareRoom();
    void refresh();

    Tarvo::LiveClass &m_live;
    JoinCard *m_card;
    QLabel *m_status;
    LearnersPanel *m_learners;
    QVBoxLayout *m_centre = nullptr;
    QWidget *m_results = nullptr;
    QDockWidget *m_lastOfArea[16] = {};
};

} // namespace Desktop
