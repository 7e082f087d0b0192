#pragma once

#include <QtCore/QString>

#include <functional>

class QWidget;

namespace Desktop
{

// A question before something that cannot be taken back.
struct Question {
    QString text;    // what is asked
    QString details; // what comes of it
    QString yes;     // what the button says that does it
};

// Asks it in a box over the widget's window and returns at once; `yes` is called when the answer is yes
// and the widget is still there. Enter is no.
void askBack(QWidget *over, const Question &question, std::function<void()> yes);

} // namespace Desktop
