#include "lesson/LessonPanel.h"

#include <QtWidgets/QLabel>

namespace Desktop
{

using Tarvo::LiveClass;

LessonPanel::LessonPanel(LiveClass &live, QWidget *parent) : QWidget(parent), m_live(live)
{
    connect(&live, &LiveClass::stateChanged, this, [this] { refresh(); });
    connect(&live, &LiveClass::activityChanged, this, [this] { refresh(); });
    connect(&live, &LiveClass::pausedChanged, this, [this] { refresh(); });
}

void LessonPanel::follow(const Tarvo::Operation &operation, const std::function<void()> &done,
                         const std::function<void()> &otherwise)
{
    operation.then(
        this,
        [done] {
            if (done)
                done();
        },
        [this, otherwise](const Tarvo::Failure &failure) {
            if (otherwise)
                otherwise();
            Q_EMIT failed(failure.message(), failure.advice());
        });
}

QLabel *LessonPanel::addLine(const QString &accessibleName)
{
    auto *label = new QLabel(this);
    label->setTextFormat(Qt::PlainText);
    label->setWordWrap(true);
    label->setAccessibleName(accessibleName);
    return label;
}

} // namespace Desktop
