#pragma once

#include "results/ChartLayout.h"
#include "results/ChartSource.h"
#include "results/ChartTheme.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QTimer>
#include <QtCore/QVector>
#include <QtWidgets/QAbstractScrollArea>

namespace Desktop
{

// The answers as a diagram that can be read across a room. Follows its source at most 30 times a second and
// repaints the lines that tell something else; bars glide to their new length where the desktop wants
// animation. Screen readers get it as a description in sentences, at most every few seconds. Does not own
// the source.
class ResultsView : public QAbstractScrollArea
{
    Q_OBJECT
    Q_DISABLE_COPY(ResultsView)

public:
    explicit ResultsView(ChartSource *source, QWidget *parent = nullptr);

    // The whole diagram, what does not fit into the window included, with the window's colours.
    QImage picture(const QSize &size) const;

protected:
    void paintEvent(QPaintEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;
    void scrollContentsBy(int dx, int dy) override;
    void keyPressEvent(QKeyEvent *event) override;
    void changeEvent(QEvent *event) override;
    bool viewportEvent(QEvent *event) override;

private:
    void follow();
    void arrange();
    void takeRows();
    void animate();
    void beginGlide(const QVector<ChartRow> &former, int formerFirst);
    void describe();
    int scrolled() const;
    QRect rectOfRow(int row) const;
    double shareNow(int index) const;
    double progress() const;
    ChartTheme theme() const { return ChartTheme::of(palette()); }

    ChartSource *const m_source;
    ChartLayout m_layout;
    ChartHead m_head;
    // The lines that can be seen.
    int m_first = 0;
    QVector<ChartRow> m_rows;
    int m_rowCount = 0;
    QString m_questionId;

    QVector<double> m_formerShares; // of the same lines, where their bars glide from
    QElapsedTimer m_glide;
    QTimer m_changes;
    QTimer m_frames;
    QTimer m_words;
};

} // namespace Desktop
