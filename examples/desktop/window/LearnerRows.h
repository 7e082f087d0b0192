#pragma once

#include <QtCore/QIdentityProxyModel>

namespace Desktop
{

// The learners as a list shows and reads them: names made harmless, or hidden, with what each has done in
// words.
class LearnerRows : public QIdentityProxyModel
{
    Q_OBJECT
    Q_DISABLE_COPY(LearnerRows)

public:
    enum Status {
        Here,     // nothing has been asked yet
        Waiting,  // here, and has not answered
        Answered, // has answered
        Away      // not connected, and has not answered
    };

    enum Role {
        StatusRole = Qt::UserRole + 100
    };

    explicit LearnerRows(QAbstractItemModel *learners, QObject *parent = nullptr);

    bool areNamesHidden() const { return m_areNamesHidden; }
    void setNamesHidden(bool areHidden);
    // Whether the session has had something to answer.
    bool isAsked() const { return m_isAsked; }
    void setAsked(bool isAsked);

    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;

    static QString statusText(Status status);

private:
    void tellAllChanged();
    QString name(const QModelIndex &index) const;
    Status status(const QModelIndex &index) const;

    bool m_areNamesHidden = false;
    bool m_isAsked = false;
};

} // namespace Desktop
