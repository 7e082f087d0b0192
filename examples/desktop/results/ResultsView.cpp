#include "results/ResultsView.h"

#include "results/ChartPainter.h"
#include "texts/ShownText.h"

#include <QtGui/QHelpEvent>
#include <QtGui/QKeyEvent>
#include <QtGui/QPaintEvent>
#include <QtGui/QPainter>
#include <QtWidgets/QScrollBar>
#include <QtWidgets/QStyle>
#include <QtWidgets/QToolTip>

#include <cmath>

namespace Desktop
{

namespace
{

constexpr int FRAME_MS = 34; // at most 30 a second
constexpr int WORDS_MS = 3000;
constexpr int MINIMAL_WIDTH = 320;
constexpr int MINIMAL_HEIGHT = 200;

} // namespace

ResultsView::ResultsView(ChartSource *source, QWidget *parent)
    : QAbstractScrollArea(parent), m_source(source)
{
    setAccessibleName(tr("Results"));
    setFrameShape(NoFrame);
    setFocusPolicy(Qt::StrongFocus);
    setMinimumSize(MINIMAL_WIDTH, MINIMAL_HEIGHT);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    viewport()->setAttribute(Qt::WA_OpaquePaintEvent);

    m_changes.setSingleShot(true);
    m_changes.setInterval(FRAME_MS);
    connect(&m_changes, &QTimer::timeout, this, &ResultsView::follow);
    m_frames.setInterval(FRAME_MS);
    connect(&m_frames, &QTimer::timeout, this, &ResultsView::animate);
    m_words.setSingleShot(true);
    m_words.setInterval(WORDS_MS);
    connect(&m_words, &QTimer::timeout, this, &ResultsView::describe);
    connect(source, &ChartSource::changed, this, [this] {
        if (!m_changes.isActive())
            m_changes.start();
        if (!m_words.isActive())
            m_words.start();
    });
    arrange();
    describe();
}

QImage ResultsView::picture(const QSize &size) const
{
    return ChartPainter::picture(*m_source, size, font(), theme());
}

void ResultsView::follow()
{
    const QVector<ChartRow> former = m_rows;
    const int formerFirst = m_first;
    const int formerCount = m_rowCount;
    const ChartHead formerHead = m_head;
    const ChartLayout formerLayout = m_layout;
    const QString formerQuestion = m_questionId;
    arrange();
    if (m_questionId != formerQuestion) {
        verticalScrollBar()->setValue(0);
        m_formerShares.clear();
        m_glide.invalidate();
        viewport()->update();
        return;
    }
    beginGlide(former, formerFirst);
    if (m_rowCount != formerCount || !(m_head == formerHead) || !m_layout.isSameAs(formerLayout)
        || m_first != formerFirst) {
        viewport()->update();
        return;
    }
    for (int index = 0; index < m_rows.size(); ++index) {
        if (!(m_rows.at(index) == former.value(index)))
            viewport()->update(rectOfRow(m_first + index));
    }
}

void ResultsView::arrange()
{
    m_layout = ChartLayout(*m_source, viewport()->size(), font());
    m_head = m_source->head();
    m_rowCount = m_source->rowCount();
    m_questionId = m_source->currentQuestionId();
    const int room = qMax(1, static_cast<int>(viewport()->height() - m_layout.top()));
    QScrollBar *const bar = verticalScrollBar();
    bar->setRange(0, qMax(0, static_cast<int>(std::ceil(m_layout.rowsHeight())) - room));
    bar->setPageStep(room);
    bar->setSingleStep(m_layout.step());
    takeRows();
}

void ResultsView::takeRows()
{
    m_first = m_layout.rowAt(scrolled());
    const int last = m_layout.rowAt(scrolled() + viewport()->height() - m_layout.top());
    m_rows = m_source->rows(m_first, qMin(last + 1, m_layout.rowCount()) - m_first);
}

void ResultsView::beginGlide(const QVector<ChartRow> &former, int formerFirst)
{
    const int duration = style()->styleHint(QStyle::SH_Widget_Animation_Duration, nullptr, this);
    QVector<double> from;
    bool isMoving = false;
    for (int index = 0; index < m_rows.size(); ++index) {
        const bool isSame = formerFirst == m_first && index < former.size();
        const double formerGoal = isSame ? former.at(index).share : m_rows.at(index).share;
        const double at = m_formerShares.value(index, formerGoal);
        from.append(isSame ? at + (formerGoal - at) * progress() : formerGoal);
        isMoving = isMoving || !qFuzzyCompare(1 + from.last(), 1 + m_rows.at(index).share);
    }
    m_formerShares.clear();
    m_glide.invalidate();
    if (duration <= 0 || !isMoving || !isVisible())
        return;
    m_formerShares = from;
    m_glide.start();
    m_frames.start();
}

void ResultsView::animate()
{
    const bool isOver = progress() >= 1;
    for (int index = 0; index < m_rows.size(); ++index) {
        const double goal = m_rows.at(index).share;
        if (!qFuzzyCompare(1 + m_formerShares.value(index, goal), 1 + goal))
            viewport()->update(rectOfRow(m_first + index));
    }
    if (!isOver)
        return;
    m_frames.stop();
    m_formerShares.clear();
    m_glide.invalidate();
}

double ResultsView::progress() const
{
    const int duration = style()->styleHint(QStyle::SH_Widget_Animation_Duration, nullptr, this);
    if (!m_glide.isValid() || duration <= 0)
        return 1;
    return qMin(1.0, static_cast<double>(m_glide.elapsed()) / duration);
}

double ResultsView::shareNow(int index) const
{
    const double goal = m_rows.at(index).share;
    const double from = m_formerShares.value(index, goal);
    return from + (goal - from) * progress();
}

void ResultsView::describe()
{
    const QString words = m_source->inWords();
    if (words != accessibleDescription())
        setAccessibleDescription(words);
}

int ResultsView::scrolled() const
{
    return verticalScrollBar()->value();
}

QRect ResultsView::rectOfRow(int row) const
{
    return m_layout.rowRect(row).translated(0, m_layout.top() - scrolled()).toAlignedRect();
}

void ResultsView::paintEvent(QPaintEvent *event)
{
    QPainter painter(viewport());
    const ChartTheme colors = theme();
    painter.fillRect(event->rect(), colors.ground);
    ChartPainter chart(&painter, m_layout, colors);
    const QRect below(0, static_cast<int>(m_layout.top()), viewport()->width(),
                      viewport()->height());
    if (event->rect().top() < below.top() || m_rows.isEmpty())
        chart.drawHead(m_head, viewport()->size());
    painter.setClipRect(below, Qt::IntersectClip); // scrolled lines stay below the question
    for (int index = 0; index < m_rows.size(); ++index) {
        const QRectF rect =
            m_layout.rowRect(m_first + index).translated(0, m_layout.top() - scrolled());
        if (event->region().intersects(rect.toAlignedRect()))
            chart.drawRow(m_rows.at(index), rect, m_layout.labelLines(m_first + index),
                          shareNow(index));
    }
}

void ResultsView::resizeEvent(QResizeEvent *event)
{
    QAbstractScrollArea::resizeEvent(event);
    m_formerShares.clear();
    arrange();
}

void ResultsView::scrollContentsBy(int dx, int dy)
{
    Q_UNUSED(dx)
    Q_UNUSED(dy)
    m_formerShares.clear();
    takeRows();
    viewport()->update();
}

void ResultsView::keyPressEvent(QKeyEvent *event)
{
    if (event->key() == Qt::Key_Home)
        verticalScrollBar()->setValue(0);
    else if (event->key() == Qt::Key_End)
        verticalScrollBar()->setValue(verticalScrollBar()->maximum());
    else
        QAbstractScrollArea::keyPressEvent(event);
}

void ResultsView::changeEvent(QEvent *event)
{
    QAbstractScrollArea::changeEvent(event);
    const QEvent::Type type = event->type();
    if (type == QEvent::FontChange || type == QEvent::PaletteChange
        || type == QEvent::StyleChange) {
        arrange();
        viewport()->update();
    }
}

bool ResultsView::viewportEvent(QEvent *event)
{
    if (event->type() != QEvent::ToolTip)
        return QAbstractScrollArea::viewportEvent(event);
    const auto *const help = static_cast<QHelpEvent *>(event);
    const double below = help->pos().y() - m_layout.top();
    const int row = below < 0 ? -1 : m_layout.rowAt(below + scrolled());
    QToolTip::showText(help->globalPos(), plainToolTip(m_source->wholeText(row)), viewport());
    return true;
}

} // namespace Desktop
