#pragma once

#include "lesson/LessonPanel.h"

#include "lessonfiles/AssessmentFile.h"

class QLabel;
class QPushButton;

namespace Desktop
{

// An assessment from a file: what it holds, its start and its end. docs/presenter.md describes the file.
class AssessmentPanel : public LessonPanel
{
    Q_OBJECT

public:
    explicit AssessmentPanel(Tarvo::LiveClass &live, QWidget *parent = nullptr);

public Q_SLOTS:
    // Asks for a file.
    void choose();
    // Reads the file on a worker thread. One that cannot be read leaves the former assessment as it is.
    void open(const QString &fileName);
    void start();
    void stop();

Q_SIGNALS:
    // The file has been read, well or not.
    void opened();

private:
    void refresh() override;
    void take(const QString &fileName, const Host::AssessmentFile &file);

    QLabel *m_summary;
    QPushButton *m_start;
    QPushButton *m_stop;
    Tarvo::Assessment m_assessment;
    int m_reading = 0; // the latest file that was asked for
};

} // namespace Desktop
