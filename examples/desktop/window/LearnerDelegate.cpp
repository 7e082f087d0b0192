#include "window/LearnerDelegate.h"

#include "window/LearnerRows.h"

#include <QtGui/QPainter>
#include <QtWidgets/QApplication>

namespace Desktop
{

namespace
{

constexpr int GAP = 6;
constexpr double LINE_WIDTH = 2;

// A disc with a tick, an empty circle, or a dash: they differ without their colours.
void drawShape(QPainter *painter, const QRectF &box, LearnerRows::Status status, const QColor &ink,
               const QColor &paper)
{
    const QRectF circle = box.adjusted(1, 1, -1, -1);
    painter->setPen(QPen(ink, LINE_WIDTH));
    painter->setBrush(status == LearnerRows::Answered ? QBrush(ink) : QBrush(Qt::NoBrush));
    if (status == LearnerRows::Away) {
        painter->drawLine(QPointF(circle.left(), circle.center().y()),
                          QPointF(circle.right(), circle.center().y()));
        return;
    }
    painter->drawEllipse(circle);
    if (status != LearnerRows::Answered)
        return;
    const auto at = [&circle](double x, double y) {
        return QPointF(circle.left() + x * circle.width(), circle.top() + y * circle.height());
    };
    const QPointF tick[] = {at(0.25, 0.52), at(0.43, 0.7), at(0.76, 0.32)};
    painter->setPen(QPen(paper, LINE_WIDTH, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter->drawPolyline(tick, 3);
}

} // namespace

void LearnerDelegate::paint(QPainter *painter, const QStyleOptionViewItem &option,
                            const QModelIndex &index) const
{
    QStyleOptionViewItem row = option;
    initStyleOption(&row, index);
    const QString name = row.text;
    row.text.clear();
    const QStyle *const style = row.widget ? row.widget->style() : QApplication::style();
    style->drawControl(QStyle::CE_ItemViewItem, &row, painter, row.widget);

    const bool isSelected = row.state & QStyle::State_Selected;
    const QColor ink = row.palette.color(isSelected ? QPalette::HighlightedText : QPalette::Text);
    const QColor paper = row.palette.color(isSelected ? QPalette::Highlight : QPalette::Base);
    const auto status = LearnerRows::Status(index.data(LearnerRows::StatusRole).toInt());
    const QString words = LearnerRows::statusText(status);
    const QRect inner = row.rect.adjusted(GAP, 0, -GAP, 0);
    const int side = row.fontMetrics.ascent();
    const int wordsWidth = row.fontMetrics.horizontalAdvance(words);
    const QRect nameBox = inner.adjusted(side + GAP, 0, -wordsWidth - GAP, 0);

    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    drawShape(painter, QRectF(inner.left(), inner.center().y() - side / 2.0, side, side), status,
              ink, paper);
    painter->setPen(ink);
    painter->setFont(row.font);
    painter->drawText(nameBox, Qt::AlignVCenter | Qt::TextSingleLine,
                      row.fontMetrics.elidedText(name, Qt::ElideRight, nameBox.width()));
    painter->drawText(inner, Qt::AlignVCenter | Qt::AlignRight | Qt::TextSingleLine, words);
    painter->restore();
}

QSize LearnerDelegate::sizeHint(const QStyleOptionViewItem &option, const QModelIndex &) const
{
    const QString words = LearnerRows::statusText(LearnerRows::Waiting);
    return {option.fontMetrics.horizontalAdvance(words) * 2, option.fontMetrics.height() + GAP + 2};
}

} // namespace Desktop
