#include "lesson/Recipients.h"

#include "texts/ShownText.h"

#include <QtGui/QStandardItemModel>

namespace Desktop
{

namespace
{

using Tarvo::LiveClass;

enum Role {
    DeviceRole = Qt::UserRole,
    NameRole,
    GoneRole
};

} // namespace

Recipients::Recipients(LiveClass &live, QWidget *parent)
    : QComboBox(parent), m_items(new QStandardItemModel(this))
{
    m_items->appendRow(new QStandardItem(tr("Everybody")));
    setModel(m_items);
    setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    setMinimumContentsLength(12);
    setAccessibleName(tr("Who the message is for"));
    const QAbstractItemModel &learners = *live.learners();
    for (int row = 0; row < learners.rowCount(); ++row) {
        const QModelIndex learner = learners.index(row, 0);
        if (learner.data(LiveClass::PresentRole).toBool())
            add(learner.data(LiveClass::DeviceIdRole).toString(), learner.data().toString(),
                learner.data(LiveClass::DeviceTypeRole).toString());
    }
    connect(&live, &LiveClass::learnerJoined, this, [this](const Tarvo::Learner &learner) {
        add(learner.deviceId, learner.userName, learner.deviceType);
    });
    connect(&live, &LiveClass::learnerLeft, this, &Recipients::leave);
    connect(this, QOverload<int>::of(&QComboBox::currentIndexChanged), this, &Recipients::choose);
}

QString Recipients::deviceId() const
{
    return currentData(DeviceRole).toString();
}

QString Recipients::name() const
{
    return currentData(NameRole).toString();
}

bool Recipients::isGone() const
{
    return currentData(GoneRole).toBool();
}

void Recipients::add(const QString &deviceId, const QString &name, const QString &deviceType)
{
    QStandardItem *&item = m_byDevice[deviceId];
    const bool isNew = !item;
    if (isNew)
        item = new QStandardItem;
    const QString shown = shownText(name);
    const QString device = shownText(deviceType);
    item->setText(device.isEmpty() ? shown
                                   : tr("%1 (%2)").arg(quotedText(name), quotedText(deviceType)));
    item->setData(deviceId, DeviceRole);
    item->setData(shown, NameRole);
    item->setData(false, GoneRole);
    if (isNew)
        m_items->appendRow(item);
    if (deviceId == m_chosen)
        Q_EMIT changed();
}

void Recipients::leave(const QString &deviceId)
{
    QStandardItem *item = m_byDevice.value(deviceId);
    if (!item)
        return;
    if (deviceId == m_chosen) {
        item->setData(true, GoneRole);
        item->setText(tr("%1 (has left)").arg(quotedText(item->data(NameRole).toString())));
        Q_EMIT changed();
        return;
    }
    m_byDevice.remove(deviceId);
    m_items->removeRow(item->row());
}

void Recipients::choose()
{
    const QString before = m_chosen;
    m_chosen = deviceId();
    if (before == m_chosen)
        return;
    if (QStandardItem *item = m_byDevice.value(before); item && item->data(GoneRole).toBool())
        leave(before);
    Q_EMIT changed();
}

} // namespace Desktop
