#pragma once

#include <QtCore/QString>
#include <QtCore/QVector>
#include <QtWidgets/QFrame>

class QLabel;
class QPushButton;

namespace Desktop
{

// What has gone wrong and what to do, at the edge of the window. It takes the focus from nobody, counts
// what happens again instead of saying it again, and goes when it is dismissed.
class FailureBar : public QFrame
{
    Q_OBJECT
    Q_DISABLE_COPY(FailureBar)

public:
    // What is kept; of more, the oldest are forgotten.
    static constexpr int MAX_ENTRIES = 20;

    explicit FailureBar(QWidget *parent = nullptr);

public Q_SLOTS:
    void add(const QString &message, const QString &advice);
    // The failure shown is read; the one before it is shown again, if there is one.
    void dismiss();
    void clear();

private:
    struct Entry {
        QString message;
        QString advice;
        int count;
    };

    void showLatest();

    QVector<Entry> m_entries; // the latest last
    QLabel *m_message;
    QLabel *m_advice;
    QPushButton *m_dismiss;
};

} // namespace Desktop
