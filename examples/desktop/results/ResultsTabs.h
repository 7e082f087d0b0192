#pragma once

#include "results/ChartSource.h"

#include <QtCore/QTimer>
#include <QtWidgets/QWidget>

class QAction;
class QComboBox;
class QTabWidget;

namespace Desktop
{

class ResultsView;

// The answers as a diagram, as a table, and by learner, with a row to choose the question when there are
// several. While answers are hidden, only the diagram is there, which says so; while names are, the table
// by learner is not. Does not own the source.
class ResultsTabs : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY(ResultsTabs)

public:
    explicit ResultsTabs(ChartSource *source, QWidget *parent = nullptr);

    const ResultsView *view() const { return m_view; }
    QAction *previousAction() const { return m_previous; }
    QAction *nextAction() const { return m_next; }

private:
    QWidget *questionRow();
    void follow();
    void listQuestions();

    ChartSource *const m_source;
    ResultsView *const m_view;
    QTabWidget *const m_tabs;
    QAction *const m_previous;
    QAction *const m_next;
    QComboBox *const m_questions;
    QWidget *const m_questionRow;
    QTimer m_changes;
};

} // namespace Desktop
