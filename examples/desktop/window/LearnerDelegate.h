#pragma once

#include <QtWidgets/QStyledItemDelegate>

namespace Desktop
{

// Draws a learner: a shape for what the learner has done, the name, and the same in words at the end.
class LearnerDelegate : public QStyledItemDelegate
{
    Q_OBJECT
    Q_DISABLE_COPY(LearnerDelegate)

public:
    using QStyledItemDelegate::QStyledItemDelegate;

    void paint(QPainter *painter, const QStyleOptionViewItem &option,
               const QModelIndex &index) const override;
    QSize sizeHint(const QStyleOptionViewItem &option, const QModelIndex &index) const override;
};

} // namespace Desktop
