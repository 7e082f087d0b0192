#pragma once

#include "lesson/LessonPanel.h"

class QComboBox;
class QLabel;
class QPlainTextEdit;
class QPushButton;

namespace Desktop
{

class Recipients;

// A text for everybody or for one learner. What is typed stays until it has left: through losses of the
// connection, and whoever comes and goes.
class MessagePanel : public LessonPanel
{
    Q_OBJECT

public:
    explicit MessagePanel(Tarvo::LiveClass &live, QWidget *parent = nullptr);

public Q_SLOTS:
    void send();

private:
    void refresh() override;
    void addFields();
    void sendOnCtrlEnter();
    QString whyNotSend() const;
    void hasLeft(const QString &text, const QString &whom);

    Recipients *m_recipients;
    QComboBox *m_option;
    QPlainTextEdit *m_text;
    QPushButton *m_send;
    QLabel *m_news;
    bool m_isSending = false;
};

} // namespace Desktop
