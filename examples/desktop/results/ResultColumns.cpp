#include "results/ResultColumns.h"

#include "results/ResultPages.h"
#include "results/ResultSentences.h"

#include "host/LiveClass.h"
#include "texts/ShownText.h"

#include <QtCore/QLocale>

namespace Desktop
{

using Tarvo::LiveClass;

namespace
{

// A cell shows no more; the tool tip and the words for screen readers have the whole text.
constexpr int MAX_CELL = 300;

Qt::Alignment alignmentOf(bool isNumber)
{
    return (isNumber ? Qt::AlignRight : Qt::AlignLeft) | Qt::AlignVCenter;
}

} // namespace

ColumnsModel::ColumnsModel(QAbstractItemModel *list, int columns, QObject *parent)
    : QAbstractTableModel(parent), m_list(list), m_columns(columns), m_rowCount(list->rowCount())
{
    // What the list has told, this tells in turn: its own rows count.
    connect(list, &QAbstractItemModel::rowsInserted, this,
            [this](const QModelIndex &, int first, int last) {
                beginInsertRows({}, first, last);
                m_rowCount += last - first + 1;
                endInsertRows();
            });
    connect(list, &QAbstractItemModel::rowsRemoved, this,
            [this](const QModelIndex &, int first, int last) {
                beginRemoveRows({}, first, last);
                m_rowCount -= last - first + 1;
                endRemoveRows();
            });
    connect(list, &QAbstractItemModel::dataChanged, this,
            [this](const QModelIndex &first, const QModelIndex &last) {
                Q_EMIT dataChanged(index(first.row(), 0), index(last.row(), m_columns - 1));
            });
    connect(list, &QAbstractItemModel::modelReset, this, [this] {
        beginResetModel();
        m_rowCount = m_list->rowCount();
        endResetModel();
    });
}

int ColumnsModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : m_rowCount;
}

int ColumnsModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : m_columns;
}

QVariant ColumnsModel::listed(int row, int role) const
{
    return m_list->index(row, 0).data(role);
}

ResultColumns::ResultColumns(QAbstractItemModel *results, QObject *parent)
    : ColumnsModel(results, COLUMNS, parent)
{
}

QVariant ResultColumns::data(const QModelIndex &index, int role) const
{
    if (!index.isValid())
        return {};
    const int row = index.row();
    switch (role) {
    case Qt::DisplayRole:
        return shown(row, index.column());
    case Qt::ToolTipRole:
        return plainToolTip(listed(row, LiveClass::LabelRole).toString());
    case Qt::AccessibleTextRole:
        return inWords(row);
    case Qt::TextAlignmentRole:
        return static_cast<int>(alignmentOf(index.column() != AnswerColumn));
    case SORT_ROLE:
        return sortValue(row, index.column());
    case QUESTION_ROLE:
        return listed(row, LiveClass::QuestionRole);
    default:
        return {};
    }
}

QVariant ResultColumns::shown(int row, int column) const
{
    if (column == CountColumn)
        return QLocale().toString(listed(row, LiveClass::CountRole).toInt());
    if (column == ShareColumn)
        return ResultSentences::percentage(listed(row, LiveClass::ShareRole).toDouble());
    return shownText(listed(row, LiveClass::LabelRole).toString(), MAX_CELL);
}

QVariant ResultColumns::sortValue(int row, int column) const
{
    return listed(row, column == AnswerColumn ? LiveClass::LabelRole : LiveClass::CountRole);
}

QString ResultColumns::inWords(int row) const
{
    ResultRow result;
    result.label = listed(row, LiveClass::LabelRole).toString();
    result.count = listed(row, LiveClass::CountRole).toInt();
    result.share = listed(row, LiveClass::ShareRole).toDouble();
    return ResultSentences::row(result, listed(row, LiveClass::RespondentsRole).toInt());
}

QVariant ResultColumns::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return {};
    const QString titles[] = {tr("Answer"), tr("Count"), tr("Share")};
    return section < COLUMNS ? titles[section] : QVariant();
}

LearnerColumns::LearnerColumns(QAbstractItemModel *learners, QObject *parent)
    : ColumnsModel(learners, COLUMNS, parent)
{
}

QVariant LearnerColumns::data(const QModelIndex &index, int role) const
{
    if (!index.isValid())
        return {};
    const QString name = listed(index.row(), LiveClass::NameRole).toString();
    const QString answer = answerOf(index.row());
    const QString text = index.column() == NameColumn ? name : answer;
    switch (role) {
    case Qt::DisplayRole:
        return shownText(text, MAX_CELL);
    case Qt::ToolTipRole:
        return plainToolTip(text);
    case Qt::AccessibleTextRole:
        return tr("%1: %2").arg(quotedText(name, name.size()), quotedText(answer, answer.size()));
    case SORT_ROLE:
        return text;
    default:
        return {};
    }
}

QString LearnerColumns::answerOf(int row) const
{
    if (!listed(row, LiveClass::AnsweredRole).toBool())
        return tr("(no answer yet)");
    return listed(row, LiveClass::LastAnswerRole).toString();
}

QVariant LearnerColumns::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return {};
    const QString titles[] = {tr("Learner"), tr("Last answer")};
    return section < COLUMNS ? titles[section] : QVariant();
}

} // namespace Desktop
