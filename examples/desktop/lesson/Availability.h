#pragma once

#include "host/LiveClass.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QString>

class QAction;
class QWidget;

namespace Desktop
{

// Why something cannot be asked of the class now, in a sentence for the teacher; empty when it can.
class Availability
{
    Q_DECLARE_TR_FUNCTIONS(Desktop::Availability)

public:
    // Something for the learners: a picture, a text, a card, or a poll in place of the running one.
    static QString whyNotTell(const Tarvo::LiveClass &live);
    // A poll or an assessment.
    static QString whyNotBegin(const Tarvo::LiveClass &live);
    // The end of what is running, or a pause: made up for when the connection is back.
    static QString whyNotStop(const Tarvo::LiveClass &live);
    static QString whyNotPause(const Tarvo::LiveClass &live);
    static QString whyNotResume(const Tarvo::LiveClass &live);
};

// Enables it when there is no reason why not; the tool tip says that reason, or what it does.
void allow(QWidget *widget, const QString &whyNot, const QString &what);
void allow(QAction *action, const QString &whyNot, const QString &what);

} // namespace Desktop
