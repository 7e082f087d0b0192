#include "lesson/AssessmentPanel.h"

#include "lesson/Availability.h"
#include "lesson/InBackground.h"
#include "texts/ShownText.h"

#include <QtCore/QFileInfo>
#include <QtWidgets/QFileDialog>
#include <QtWidgets/QHBoxLayout>
#include <QtWidgets/QLabel>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QVBoxLayout>

namespace Desktop
{

namespace
{

using Host::AssessmentFile;

// Opening a pipe would wait for somebody who writes to it.
AssessmentFile readOrdinary(const QString &fileName)
{
    const QFileInfo file(fileName);
    if (file.exists() && !file.isFile())
        return {{}, AssessmentPanel::tr("%1: This is no ordinary file.").arg(quotedText(fileName))};
    return Host::readAssessment(fileName, QString());
}

} // namespace

AssessmentPanel::AssessmentPanel(Tarvo::LiveClass &live, QWidget *parent)
    : LessonPanel(live, parent), m_summary(addLine(tr("The chosen assessment"))),
      m_start(new QPushButton(tr("Start assessment"), this)),
      m_stop(new QPushButton(tr("Stop assessment"), this))
{
    auto *open = new QPushButton(tr("Open assessment…"), this);
    open->setToolTip(tr("Choose a file with an assessment."));
    m_summary->setText(tr("No assessment is open."));
    connect(open, &QPushButton::clicked, this, &AssessmentPanel::choose);
    connect(m_start, &QPushButton::clicked, this, &AssessmentPanel::start);
    connect(m_stop, &QPushButton::clicked, this, &AssessmentPanel::stop);
    auto *buttons = new QHBoxLayout;
    buttons->addWidget(m_start);
    buttons->addWidget(m_stop);
    auto *layout = new QVBoxLayout(this);
    layout->addWidget(open);
    layout->addWidget(m_summary);
    layout->addLayout(buttons);
    layout->addStretch();
    refresh();
}

void AssessmentPanel::choose()
{
    auto *dialog = new QFileDialog(this, tr("Open Assessment"), QString(),
                                   tr("Assessments (*.json);;All files (*)"));
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setFileMode(QFileDialog::ExistingFile);
    connect(dialog, &QFileDialog::fileSelected, this, &AssessmentPanel::open);
    dialog->open();
}

void AssessmentPanel::open(const QString &fileName)
{
    const int reading = ++m_reading;
    inBackground<AssessmentFile>(
        this, [fileName] { return readOrdinary(fileName); },
        [this, fileName, reading](const AssessmentFile &file) {
            if (reading == m_reading)
                take(fileName, file);
        });
}

void AssessmentPanel::take(const QString &fileName, const AssessmentFile &file)
{
    if (file.error.isEmpty()) {
        m_assessment = file.assessment;
        const QString title = file.assessment.title.isEmpty() ? QFileInfo(fileName).fileName()
                                                              : file.assessment.title;
        const int count = file.assessment.questions.size();
        m_summary->setText(shownText(title) + QLatin1Char('\n')
                           + (count == 1 ? tr("One question") : tr("%1 questions").arg(count)));
        refresh();
    }
    Q_EMIT opened();
    if (!file.error.isEmpty()) {
        Q_EMIT failed(tr("The assessment could not be read: %1").arg(file.error),
                      tr("Mend the file, or choose another one."));
    }
}

void AssessmentPanel::start()
{
    if (m_start->isEnabled())
        follow(m_live.startAssessment(m_assessment),
               [this, title = m_assessment.title] { Q_EMIT asked(title); });
}

void AssessmentPanel::stop()
{
    if (m_stop->isEnabled())
        follow(m_live.stopActivity());
}

void AssessmentPanel::refresh()
{
    QString whyNotStart = Availability::whyNotBegin(m_live);
    if (m_assessment.questions.isEmpty())
        whyNotStart = tr("No assessment is open.");
    allow(m_start, whyNotStart, tr("Give the questions to every device."));
    QString whyNotStop = Availability::whyNotStop(m_live);
    if (whyNotStop.isEmpty() && m_live.activity() != Tarvo::LiveClass::Assessment)
        whyNotStop = tr("No assessment is running.");
    allow(m_stop, whyNotStop, tr("End the assessment on every device."));
}

} // namespace Desktop
