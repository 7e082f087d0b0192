#pragma once

#include "lesson/LessonPanel.h"

class QLabel;
class QLineEdit;
class QPushButton;
class QSpinBox;

namespace Desktop
{

// What remote controllers show of the lesson, and what they are obeyed in: turning the card, and pausing
// the devices. What is typed here is shown to them when a class begins, too.
class CardsPanel : public LessonPanel
{
    Q_OBJECT

public:
    explicit CardsPanel(Tarvo::LiveClass &live, QWidget *parent = nullptr);

    int card() const;
    int total() const;

public Q_SLOTS:
    void showLesson();
    void nextCard();
    void previousCard();

Q_SIGNALS:
    // The remote wants the class to see the card that is up.
    void pushWanted();
    // What the remote did, in a sentence.
    void told(const QString &sentence);

private:
    void refresh() override;
    void addFields();
    void stateChanged();
    void turnTo(int number);
    void showCard();
    void remoteCame(const QString &command);
    void lock(bool locked);
    void tell(const QString &sentence);

    QLineEdit *m_id;
    QLineEdit *m_name;
    QPushButton *m_show;
    QSpinBox *m_card;
    QSpinBox *m_total;
    QPushButton *m_previous;
    QPushButton *m_next;
    QLabel *m_remote;
    QLabel *m_news;
    bool m_wasStarting = false;
};

} // namespace Desktop
