#pragma once

#include "host/LiveClass.h"

#include <QtWidgets/QWidget>

#include <functional>

class QLabel;

namespace Desktop
{

// A widget with which the teacher does something in a class, which must outlive it. Enables and disables
// what it offers as the class changes, and tells what failed.
class LessonPanel : public QWidget
{
    Q_OBJECT

public:
    explicit LessonPanel(Tarvo::LiveClass &live, QWidget *parent = nullptr);

Q_SIGNALS:
    // What failed, and what to do about it: sentences for the teacher.
    void failed(const QString &message, const QString &advice);
    // What the learners are being asked, once they are.
    void asked(const QString &text);

protected:
    // Called whenever state, activity or pause have changed. Sets what is enabled, and the tool tips.
    virtual void refresh() = 0;
    // Does `done` when it went well, and `otherwise` when it has been told that it failed.
    void follow(const Tarvo::Operation &operation, const std::function<void()> &done = {},
                const std::function<void()> &otherwise = {});
    // A line that wraps and takes what it shows for plain text, read out under this name.
    QLabel *addLine(const QString &accessibleName);

    Tarvo::LiveClass &m_live;
};

} // namespace Desktop
