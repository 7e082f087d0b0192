#include "results/ChartPainter.h"

#include <QtCore/QLocale>
#include <QtGui/QFontMetricsF>
#include <QtGui/QPainter>
#include <QtGui/QTextLayout>

#include <QtCore/QtMath>

namespace Desktop
{

namespace
{

constexpr double LARGEST_PICTURE = 12000; // pixels; more is no picture any more

// Lines of so many characters as are needed, at most so many; the last one takes what is left, cut to its
// width.
class BoxedText
{
public:
    BoxedText(const QString &text, const QFont &font, double width, int mostLines) : m_metrics(font)
    {
        QTextOption option;
        option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
        option.setTextDirection(text.isRightToLeft() ? Qt::RightToLeft : Qt::LeftToRight);
        // On the side where its script begins.
        option.setAlignment(text.isRightToLeft() ? Qt::AlignRight : Qt::AlignLeft);
        QTextLayout whole(text, font);
        whole.setTextOption(option);
        whole.beginLayout();
        int start = 0;
        while (m_lines.size() < mostLines) {
            QTextLine line = whole.createLine();
            if (!line.isValid())
                break;
            line.setLineWidth(width);
            start = line.textStart();
            const bool isLast = m_lines.size() + 1 == mostLines;
            m_lines.append(isLast ? m_metrics.elidedText(text.mid(start), Qt::ElideRight, width)
                                  : text.mid(start, line.textLength()));
        }
        whole.endLayout();
        m_alignment = option.alignment();
        m_direction = option.textDirection();
    }

    double height() const { return m_lines.size() * m_metrics.lineSpacing(); }
    const QStringList &lines() const { return m_lines; }
    double lineSpacing() const { return m_metrics.lineSpacing(); }
    Qt::Alignment alignment() const { return m_alignment; }
    Qt::LayoutDirection direction() const { return m_direction; }

private:
    const QFontMetricsF m_metrics;
    QStringList m_lines;
    Qt::Alignment m_alignment;
    Qt::LayoutDirection m_direction = Qt::LeftToRight;
};

} // namespace

ChartPainter::ChartPainter(QPainter *painter, const ChartLayout &layout, const ChartTheme &theme)
    : m_painter(painter), m_layout(layout), m_theme(theme)
{
    m_painter->setRenderHint(QPainter::TextAntialiasing);
}

double ChartPainter::textHeight(const QString &text, const QFont &font, double width, int mostLines)
{
    return text.isEmpty() ? 0 : BoxedText(text, font, width, mostLines).height();
}

void ChartPainter::drawHead(const ChartHead &head, const QSize &size)
{
    drawText(head.question, m_layout.questionFont(), m_layout.questionRect(),
             ChartLayout::mostQuestionLines(), m_theme.text);
    drawText(head.figures, m_layout.figuresFont(), m_layout.figuresRect(),
             ChartLayout::mostFiguresLines(), m_theme.quietText);
    const QRectF left = m_layout.figuresRect();
    const QRectF notice(left.left(), m_layout.top(), left.width(), size.height() - m_layout.top());
    drawText(head.notice, m_layout.rowFont(), notice, 2, m_theme.text);
}

void ChartPainter::drawRow(const ChartRow &row, const QRectF &rect, int lines, double share)
{
    m_painter->save();
    m_painter->setClipRect(rect, Qt::IntersectClip); // piled-up accents stay in their line
    const QRectF label = m_layout.labelRect(rect, row.isFree, lines);
    drawText(row.label, m_layout.rowFont(), label, lines, m_theme.text);
    drawText(row.names, m_layout.nameFont(), m_layout.namesRect(label), 1, m_theme.quietText);
    if (row.isFree)
        m_painter->fillRect(QRectF(label.left(), rect.bottom() - 1, rect.width(), 1),
                            m_theme.track);
    else
        drawBar(m_layout.barRect(rect), share, m_theme.bars.at(row.colour % m_theme.bars.size()));
    m_painter->setFont(m_layout.rowFont());
    m_painter->setPen(m_theme.text);
    m_painter->setLayoutDirection(Qt::LeftToRight);
    m_painter->drawText(m_layout.numbersRect(rect),
                        Qt::AlignRight | Qt::AlignVCenter | Qt::TextSingleLine, row.figures);
    m_painter->restore();
}

void ChartPainter::drawBar(QRectF bar, double share, const QColor &color)
{
    m_painter->fillRect(bar, m_theme.track);
    bar.setWidth(bar.width() * qBound(0.0, share, 1.0));
    m_painter->fillRect(bar, color);
}

void ChartPainter::drawText(const QString &text, const QFont &font, const QRectF &rect,
                            int mostLines, const QColor &color)
{
    if (text.isEmpty())
        return;
    const BoxedText boxed(text, font, rect.width(), mostLines);
    m_painter->setFont(font);
    m_painter->setPen(color);
    m_painter->setLayoutDirection(boxed.direction());
    // Shorter texts stand in the middle of their height.
    double top = rect.top() + qMax(0.0, (rect.height() - boxed.height()) / 2);
    for (const QString &line : boxed.lines()) {
        m_painter->drawText(QRectF(rect.left(), top, rect.width(), boxed.lineSpacing()),
                            Qt::AlignAbsolute | boxed.alignment() | Qt::TextSingleLine, line);
        top += boxed.lineSpacing();
    }
}

QImage ChartPainter::picture(const ChartSource &source, const QSize &size, const QFont &font,
                             const ChartTheme &theme)
{
    const ChartLayout layout(source, size, font);
    const bool isCut = layout.top() + layout.rowsHeight() > LARGEST_PICTURE;
    // The last of those that begin in the picture makes room for how many are missing.
    const int lines = isCut ? layout.rowAt(LARGEST_PICTURE - layout.top()) - 1 : layout.rowCount();
    const double end = isCut ? LARGEST_PICTURE : layout.top() + layout.rowsHeight();

    QImage image(size.width(), qMax(size.height(), qCeil(end)), QImage::Format_RGB32);
    image.fill(theme.ground);
    QPainter painter(&image);
    ChartPainter chart(&painter, layout, theme);
    chart.drawHead(source.head(), image.size());
    const QVector<ChartRow> rows = source.rows(0, lines);
    for (int row = 0; row < rows.size(); ++row) {
        chart.drawRow(rows.at(row), layout.rowRect(row).translated(0, layout.top()),
                      layout.labelLines(row), rows.at(row).share);
    }
    if (isCut) {
        const QString further = QLocale().toString(source.rowCount() - lines);
        const QRectF rect = layout.rowRect(lines).translated(0, layout.top());
        chart.drawText(ChartSource::tr("And more answers: %1").arg(further), layout.rowFont(),
                       layout.labelRect(rect, true, 1), 1, theme.quietText);
    }
    return image;
}

} // namespace Desktop
