#pragma once

#include "host/LiveClass.h"

#include <QtCore/QHash>
#include <QtWidgets/QComboBox>

class QStandardItem;
class QStandardItemModel;

namespace Desktop
{

// Who a text is for: everybody, or one of the learners who are there. A learner who was chosen and has
// gone stays chosen, as gone: nobody else gets by mistake what was meant for one.
class Recipients : public QComboBox
{
    Q_OBJECT

public:
    explicit Recipients(Tarvo::LiveClass &live, QWidget *parent = nullptr);

    // Empty for everybody.
    QString deviceId() const;
    // The chosen learner's name on one line.
    QString name() const;
    bool isGone() const;

Q_SIGNALS:
    // Somebody else is chosen, or who is chosen has gone or come back.
    void changed();

private:
    void add(const QString &deviceId, const QString &name, const QString &deviceType);
    void leave(const QString &deviceId);
    void choose();

    QStandardItemModel *m_items;
    QHash<QString, QStandardItem *> m_byDevice;
    QString m_chosen; // the device
};

} // namespace Desktop
