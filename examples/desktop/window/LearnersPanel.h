#pragma once

#include "host/LiveClass.h"

#include <QtCore/QTimer>
#include <QtWidgets/QWidget>

class QAction;
class QLabel;
class QListView;
class QPushButton;

namespace Desktop
{

class LearnerRows;

// Who is in the class, who has answered and who has not, and how many; learners can be sent away from here.
class LearnersPanel : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY(LearnersPanel)

public:
    explicit LearnersPanel(Tarvo::LiveClass &live, QWidget *parent = nullptr);

public Q_SLOTS:
    // Names are not for everybody who sees the screen.
    void setNamesHidden(bool areHidden);

private:
    void noteActivity();
    void count();
    QString countText(int here, int answered, int awayAnswered) const;
    void askToRemove();
    void updateActions();

    Tarvo::LiveClass &m_live;
    LearnerRows *m_rows;
    QLabel *m_count;
    QListView *m_list;
    QAction *m_remove;
    QPushButton *m_removeButton;
    QTimer m_countSoon; // many rows change together
};

} // namespace Desktop
