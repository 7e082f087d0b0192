#pragma once

#include "results/ChartSource.h"

#include <QtCore/QList>
#include <QtWidgets/QWidget>

class QAction;

namespace Tarvo
{
class LiveClass;
}

namespace Desktop
{

class ResultsExport;
class ResultsTabs;

// What a class has answered, as part of a window: the diagram, the tables, and the actions about them for
// the window's menus. Results stay until the next activity begins. Does not own the class, which has to live
// longer.
class ResultsPanel : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY(ResultsPanel)

public:
    explicit ResultsPanel(Tarvo::LiveClass &live, QWidget *parent = nullptr);

    // "hideNames", which whoever else shows names should obey, "hideUntilClosed", "previousQuestion" and
    // "nextQuestion".
    QList<QAction *> viewActions() const;
    // "exportCsv", "exportPicture" and "copyPicture".
    QList<QAction *> exportActions() const { return m_exportActions; }

public Q_SLOTS:
    // What is being asked. Questions for free answers have no text here before somebody answers.
    void setAsked(const QString &text);

Q_SIGNALS:
    void failed(const QString &message, const QString &advice);

private:
    void makeViewActions();
    void makeExportActions();
    void addExport(const QString &name, const QString &text, void (ResultsExport::*act)());
    void followActivity();

    Tarvo::LiveClass &m_live;
    ChartSource *const m_source;
    ResultsTabs *const m_tabs;
    ResultsExport *const m_export;
    QAction *const m_hideNames;
    QAction *const m_hideUntilClosed;
    QList<QAction *> m_exportActions;
};

} // namespace Desktop
