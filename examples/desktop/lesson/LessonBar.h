#pragma once

#include "host/LiveClass.h"

#include <QtWidgets/QToolBar>

#include <functional>

class QMenu;

namespace Desktop
{

// Starts, stops and pauses polls of every kind. Its menu has the same actions, for a window that is too
// narrow for the bar.
class LessonBar : public QToolBar
{
    Q_OBJECT

public:
    explicit LessonBar(Tarvo::LiveClass &live, QWidget *parent = nullptr);

    // Owned by the bar.
    QMenu *menu() const { return m_menu; }

public Q_SLOTS:
    // The next poll is asked on this PNG image; an empty one for no picture.
    void setBackground(const QByteArray &png);

protected:
    void changeEvent(QEvent *event) override;

Q_SIGNALS:
    // What failed, and what to do about it: sentences for the teacher.
    void failed(const QString &message, const QString &advice);
    // The kind of poll that has begun; the teacher asks by word of mouth.
    void asked(const QString &text);
    // The picture has been used for a poll, or is not wanted any more.
    void backgroundUsed();

private:
    struct Poll;

    QMenu *addChoice(const QString &title, const QString &tip);
    QAction *addPoll(QMenu *into, const QString &text, const Poll &poll, const QString &keys = {});
    void addYesNo();
    void addNumbersOf(QMenu *menu, int kind);
    void addScales();
    void addOthers();
    void addEnds();
    void showKeyboardFocus();
    void drawExtension();

    void start(const Poll &poll);
    void pauseOrResume();
    void follow(const Tarvo::Operation &operation, const std::function<void()> &done = {});
    void refresh();

    Tarvo::LiveClass &m_live;
    QMenu *m_menu;
    QList<QPair<QAction *, QString>> m_beginnings; // with what they do
    QAction *m_onPicture = nullptr;
    QAction *m_pause = nullptr;
    QAction *m_stop = nullptr;
    QByteArray m_background;
};

} // namespace Desktop
