#include "window/LearnerRows.h"

#include "texts/ShownText.h"

#include "host/LiveClass.h"

namespace Desktop
{

using Tarvo::LiveClass;

LearnerRows::LearnerRows(QAbstractItemModel *learners, QObject *parent)
    : QIdentityProxyModel(parent)
{
    setSourceModel(learners);
}

void LearnerRows::setNamesHidden(bool areHidden)
{
    if (m_areNamesHidden == areHidden)
        return;
    m_areNamesHidden = areHidden;
    tellAllChanged();
}

void LearnerRows::setAsked(bool isAsked)
{
    if (m_isAsked == isAsked)
        return;
    m_isAsked = isAsked;
    tellAllChanged();
}

void LearnerRows::tellAllChanged()
{
    if (rowCount() > 0)
        Q_EMIT dataChanged(index(0, 0), index(rowCount() - 1, 0));
}

QVariant LearnerRows::data(const QModelIndex &index, int role) const
{
    switch (role) {
    case Qt::DisplayRole:
        return name(index);
    case Qt::ToolTipRole:
        return plainToolTip(name(index));
    case Qt::AccessibleTextRole:
        return tr("%1, %2").arg(name(index), statusText(status(index)));
    case StatusRole:
        return status(index);
    default:
        return QIdentityProxyModel::data(index, role);
    }
}

QString LearnerRows::statusText(Status status)
{
    switch (status) {
    case Answered:
        return tr("has answered");
    case Away:
        return tr("is away");
    case Waiting:
        return tr("no answer yet");
    default:
        return tr("is here");
    }
}

QString LearnerRows::name(const QModelIndex &index) const
{
    if (m_areNamesHidden)
        return tr("Learner %1").arg(index.row() + 1);
    const QString name = shownText(QIdentityProxyModel::data(index, Qt::DisplayRole).toString());
    return name.isEmpty() ? tr("Nameless learner") : name;
}

LearnerRows::Status LearnerRows::status(const QModelIndex &index) const
{
    if (QIdentityProxyModel::data(index, LiveClass::AnsweredRole).toBool())
        return Answered;
    if (!QIdentityProxyModel::data(index, LiveClass::PresentRole).toBool())
        return Away;
    return m_isAsked ? Waiting : Here;
}

} // namespace Desktop
