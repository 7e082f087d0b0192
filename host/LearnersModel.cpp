#include "host/LearnersModel.h"

#include "host/LiveClass.h"

#include <QtCore/QPointer>

#include <algorithm>
#include <utility>

namespace Tarvo
{

namespace
{

// What can change about a row.
enum Aspect : int {
    Identity = 1,
    Presence = 2,
    Answer = 4
};

// The roles that tell these aspects.
QVector<int> rolesOf(int aspects)
{
    QVector<int> roles;
    if (aspects & Identity)
        roles << Qt::DisplayRole << LiveClass::NameRole << LiveClass::DeviceTypeRole;
    if (aspects & Presence)
        roles << LiveClass::PresentRole;
    if (aspects & Answer)
        roles << LiveClass::AnsweredRole << LiveClass::LastAnswerRole;
    return roles;
}

} // namespace

struct LearnersModel::Row {
    Learner learner;
    QString lastAnswer;
    bool isPresent = true;
    bool hasAnswered = false;
    int changed = 0; // aspects that have changed since they were told
};

LearnersModel::LearnersModel(QObject *parent) : QAbstractListModel(parent) { }

int LearnersModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(m_rows.size());
}

QVariant LearnersModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || index.row() >= rowCount())
        return {};
    const Row &row = *m_rows[static_cast<std::size_t>(index.row())];
    switch (role) {
    case Qt::DisplayRole:
        return row.learner.userName.isEmpty() ? row.learner.deviceId : row.learner.userName;
    case LiveClass::NameRole:
        return row.learner.userName;
    case LiveClass::DeviceTypeRole:
        return row.learner.deviceType;
    case LiveClass::DeviceIdRole:
        return row.learner.deviceId;
    case LiveClass::PresentRole:
        return row.isPresent;
    case LiveClass::AnsweredRole:
        return row.hasAnswered;
    case LiveClass::LastAnswerRole:
        return row.lastAnswer;
    default:
        return {};
    }
}

QHash<int, QByteArray> LearnersModel::roleNames() const
{
    return {{Qt::DisplayRole, QByteArrayLiteral("display")},
            {LiveClass::NameRole, QByteArrayLiteral("name")},
            {LiveClass::DeviceTypeRole, QByteArrayLiteral("deviceType")},
            {LiveClass::DeviceIdRole, QByteArrayLiteral("deviceId")},
            {LiveClass::PresentRole, QByteArrayLiteral("present")},
            {LiveClass::AnsweredRole, QByteArrayLiteral("answered")},
            {LiveClass::LastAnswerRole, QByteArrayLiteral("lastAnswer")}};
}

void LearnersModel::join(const QVector<Learner> &learners)
{
    const std::vector<Row *> fresh = takeIn(learners);
    if (fresh.empty())
        return;
    const int first = rowCount();
    beginInsertRows({}, first, first + static_cast<int>(fresh.size()) - 1);
    m_rows.insert(m_rows.end(), fresh.begin(), fresh.end());
    endInsertRows();
}

std::vector<LearnersModel::Row *> LearnersModel::takeIn(const QVector<Learner> &learners)
{
    std::vector<Row *> fresh;
    for (const Learner &learner : learners) {
        if (const std::shared_ptr<Row> known = m_rowOf.value(learner.deviceId)) {
            comeBack(known.get(), learner);
        } else if (m_rowOf.size() < MAX_ROWS) {
            const auto row = std::make_shared<Row>();
            row->learner = learner;
            m_rowOf.insert(learner.deviceId, row);
            fresh.push_back(row.get());
        }
    }
    return fresh;
}

void LearnersModel::comeBack(Row *row, const Learner &learner)
{
    const Learner &former = row->learner;
    if (!row->isPresent)
        change(row, Presence);
    if (former.userName != learner.userName || former.deviceType != learner.deviceType)
        change(row, Identity);
    row->isPresent = true;
    row->learner = learner;
}

void LearnersModel::leave(const QString &deviceId)
{
    const std::shared_ptr<Row> row = m_rowOf.value(deviceId);
    if (!row || !row->isPresent)
        return;
    row->isPresent = false;
    change(row.get(), Presence);
}

void LearnersModel::remove(const QString &deviceId)
{
    const std::shared_ptr<Row> row = m_rowOf.value(deviceId);
    const auto shown = std::find(m_rows.begin(), m_rows.end(), row.get());
    if (shown == m_rows.end())
        return;
    const int index = static_cast<int>(shown - m_rows.begin());
    removeRange(index, index);
}

void LearnersModel::clear()
{
    if (!m_rows.empty())
        removeRange(0, rowCount() - 1);
}

void LearnersModel::beginActivity()
{
    for (Row *const row : m_rows) {
        if (!row->hasAnswered)
            continue;
        row->hasAnswered = false;
        row->lastAnswer.clear();
        change(row, Answer);
    }
    const QPointer<LearnersModel> self(this); // whom whoever is told may delete
    for (int end = rowCount(); self && end > 0;)
        end = removeLastGone(end);
    if (self)
        m_nameOfGone.clear();
}

// Whole ranges at once and from the end, so that little is moved for each.
int LearnersModel::removeLastGone(int end)
{
    const auto isPresent = [this](int row) {
        return m_rows[static_cast<std::size_t>(row)]->isPresent;
    };
    end = std::min(end, rowCount());
    while (end > 0 && isPresent(end - 1))
        --end;
    int first = end;
    while (first > 0 && !isPresent(first - 1))
        --first;
    if (first < end)
        removeRange(first, end - 1);
    return first;
}

void LearnersModel::removeRange(int first, int last)
{
    beginRemoveRows({}, first, last);
    const auto begin = m_rows.begin() + first;
    const auto end = m_rows.begin() + last + 1;
    for (auto row = begin; row != end; ++row) {
        const Learner learner = (*row)->learner;
        if (m_nameOfGone.size() < MAX_ROWS)
            m_nameOfGone.insert(learner.deviceId, learner.userName);
        m_rowOf.remove(learner.deviceId);
    }
    m_rows.erase(begin, end);
    m_isChanged = true; // a flush() that is under way may pass over the rows that have moved up
    endRemoveRows();
}

void LearnersModel::answer(const QString &deviceId, const QString &answer)
{
    const std::shared_ptr<Row> row = m_rowOf.value(deviceId);
    if (!row)
        return;
    row->hasAnswered = true;
    row->lastAnswer = answer;
    change(row.get(), Answer);
}

void LearnersModel::change(Row *row, int aspects)
{
    row->changed |= aspects;
    m_isChanged = true;
}

void LearnersModel::flush()
{
    if (!m_isChanged)
        return;
    m_isChanged = false;
    // Whoever is told may delete the model, or remove rows.
    const QPointer<LearnersModel> self(this);
    for (int row = 0; self && row < rowCount();)
        row = tellChange(row);
}

int LearnersModel::tellChange(int from)
{
    const int count = rowCount();
    int first = from;
    while (first < count && m_rows[static_cast<std::size_t>(first)]->changed == 0)
        ++first;
    int end = first;
    int aspects = 0;
    for (; end < count && m_rows[static_cast<std::size_t>(end)]->changed != 0; ++end)
        aspects |= std::exchange(m_rows[static_cast<std::size_t>(end)]->changed, 0);
    if (end > first)
        Q_EMIT dataChanged(index(first), index(end - 1), rolesOf(aspects));
    return end;
}

QString LearnersModel::nameOf(const QString &deviceId) const
{
    const std::shared_ptr<Row> row = m_rowOf.value(deviceId);
    return row ? row->learner.userName : m_nameOfGone.value(deviceId);
}

} // namespace Tarvo
