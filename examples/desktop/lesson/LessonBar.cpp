#include "lesson/LessonBar.h"

#include "lesson/Availability.h"
#include "lesson/PollEditor.h"

#include "model/OrdinalType.h"
#include "model/PollType.h"

#include <QtCore/QEvent>
#include <QtGui/QPainter>
#include <QtGui/QPixmap>
#include <QtWidgets/QMenu>
#include <QtWidgets/QToolButton>

namespace Desktop
{

using Tarvo::LiveClass;
using Tarvo::OrdinalType;
using Tarvo::PollType;

struct LessonBar::Poll {
    PollType::POLL_TYPE kind;
    OrdinalType::ORDINAL_TYPE labels;
    int count;
};

namespace
{

constexpr int LETTERS = 26;
constexpr int LONGEST_SCALE = 10;
constexpr int STEPS_OF_OPINION = 5; // of agreement or confidence

} // namespace

LessonBar::LessonBar(LiveClass &live, QWidget *parent)
    : QToolBar(tr("Polls"), parent), m_live(live), m_menu(new QMenu(tr("&Polls"), this))
{
    setObjectName(QStringLiteral("lessonBar")); // by which a window remembers where it was
    setAccessibleName(tr("Polls"));
    m_menu->setToolTipsVisible(true);
    const Poll trueFalse{PollType::TRUE_FALSE, OrdinalType::TRUE_FALSE, 2};
    addAction(addPoll(m_menu, tr("&True or false"), trueFalse, QStringLiteral("Ctrl+1")));
    addYesNo();
    addNumbersOf(addChoice(tr("&Choices"), tr("Ask which of several choices is right.")),
                 PollType::MULTIPLE);
    addScales();
    const Poll text{PollType::TEXT, OrdinalType::GENERIC, 0};
    addAction(addPoll(m_menu, tr("Te&xt"), text, QStringLiteral("Ctrl+5")));
    addNumbersOf(addChoice(tr("S&ort"), tr("Have several things put in order.")), PollType::SORT);
    addOthers();
    addEnds();
    showKeyboardFocus();
    connect(&live, &LiveClass::stateChanged, this, &LessonBar::refresh);
    connect(&live, &LiveClass::activityChanged, this, &LessonBar::refresh);
    connect(&live, &LiveClass::pausedChanged, this, &LessonBar::refresh);
    refresh();
}

// ---- Polls ---------------------------------------------------------------------------------------

// A menu in the bar and in the bar's menu.
QMenu *LessonBar::addChoice(const QString &title, const QString &tip)
{
    QMenu *menu = m_menu->addMenu(title);
    menu->setToolTipsVisible(true);
    m_beginnings.append({menu->menuAction(), tip});
    addAction(menu->menuAction());
    return menu;
}

QAction *LessonBar::addPoll(QMenu *into, const QString &text, const Poll &poll, const QString &keys)
{
    QAction *action = into->addAction(text, this, [this, poll] { start(poll); });
    action->setShortcut(QKeySequence(keys));
    QString plain = text;
    plain.remove(QLatin1Char('&'));
    m_beginnings.append({action, tr("Start a poll: %1").arg(plain)});
    return action;
}

void LessonBar::addYesNo()
{
    QMenu *menu = addChoice(tr("&Yes or no"), tr("Ask for yes or no."));
    const auto kind = PollType::YES_NO_OTHER;
    addPoll(menu, tr("&Yes, no"), {kind, OrdinalType::YES_NO, 2}, QStringLiteral("Ctrl+2"));
    addPoll(menu, tr("Yes, no, &maybe"), {kind, OrdinalType::YES_NO_MAYBE, 3});
    addPoll(menu, tr("Yes, no, &unsure"), {kind, OrdinalType::YES_NO_UNSURE, 3});
    addPoll(menu, tr("Yes, no, &other"), {kind, OrdinalType::YES_NO_OTHER, 3});
}

// The letter of the last option is the key to press.
void LessonBar::addNumbersOf(QMenu *menu, int kind)
{
    for (int count = 2; count <= LETTERS; ++count) {
        const QString text = tr("A to &%1").arg(QChar('A' + count - 1));
        const bool isUsual = kind == PollType::MULTIPLE && count == 4;
        addPoll(menu, text, {PollType::POLL_TYPE(kind), OrdinalType::ALPHA_UPPER, count},
                isUsual ? QStringLiteral("Ctrl+3") : QString());
    }
}

// Devices number the steps from 0 on.
void LessonBar::addScales()
{
    QMenu *menu = addChoice(tr("Sca&le"), tr("Ask how much, on a scale."));
    for (int last = 1; last <= LONGEST_SCALE; ++last) {
        addPoll(menu, last < LONGEST_SCALE ? tr("0 to &%1").arg(last) : tr("0 to 1&0"),
                {PollType::SCALE, OrdinalType::NUMBER, last + 1},
                last == 5 ? QStringLiteral("Ctrl+4") : QString());
    }
    menu->addSeparator();
    addPoll(menu, tr("&Agreement"), {PollType::SCALE, OrdinalType::AGREEMENT, STEPS_OF_OPINION});
    addPoll(menu, tr("&Confidence"), {PollType::SCALE, OrdinalType::CONFIDENCE, STEPS_OF_OPINION});
}

void LessonBar::addOthers()
{
    QMenu *menu = addChoice(tr("&More"), tr("Ask for something else."));
    const auto labels = OrdinalType::GENERIC;
    addPoll(menu, tr("A &number"), {PollType::NUMBER, labels, 0}, QStringLiteral("Ctrl+6"));
    addPoll(menu, tr("&Words"), {PollType::WORD_SEED, labels, 0}, QStringLiteral("Ctrl+7"));
    addPoll(menu, tr("A &drawing"), {PollType::CREATIVE, labels, 0}, QStringLiteral("Ctrl+8"));
    addPoll(menu, tr("A &formula"), {PollType::MATH_FORMULA, labels, 0}, QStringLiteral("Ctrl+9"));
}

void LessonBar::addEnds()
{
    m_menu->addSeparator();
    addSeparator();
    m_onPicture = m_menu->addAction(tr("On the p&icture"));
    m_onPicture->setCheckable(true);
    connect(m_onPicture, &QAction::toggled, this, [this](bool isWanted) {
        if (isWanted || m_background.isEmpty())
            return;
        m_background.clear();
        refresh();
        Q_EMIT backgroundUsed();
    });
    m_pause = m_menu->addAction(tr("P&ause"), this, &LessonBar::pauseOrResume);
    m_pause->setShortcut(QKeySequence(QStringLiteral("Ctrl+P")));
    m_stop = m_menu->addAction(tr("&Stop"), this, [this] { follow(m_live.stopActivity()); });
    m_stop->setShortcut(QKeySequence(QStringLiteral("Ctrl+E")));
    addActions({m_onPicture, m_pause, m_stop});
}

// The toolkit's bars are for the mouse alone: here Tab reaches every button, and what hides the rest.
void LessonBar::showKeyboardFocus()
{
    const auto buttons = findChildren<QToolButton *>();
    for (QToolButton *button : buttons) {
        button->setFocusPolicy(Qt::StrongFocus);
        if (button->popupMode() == QToolButton::DelayedPopup)
            button->setPopupMode(QToolButton::InstantPopup);
    }
    drawExtension();
}

// The styles' own arrow is dark, also on a dark bar.
void LessonBar::drawExtension()
{
    auto *extension = findChild<QToolButton *>(QStringLiteral("qt_toolbar_ext_button"));
    if (!extension)
        return;
    QPixmap arrow(16, 16);
    arrow.fill(Qt::transparent);
    QPainter painter(&arrow);
    painter.setPen(palette().color(QPalette::ButtonText));
    painter.drawText(arrow.rect(), Qt::AlignCenter, QStringLiteral("\u00bb"));
    painter.end();
    extension->setIcon(arrow);
    extension->setAccessibleName(tr("More of the polls"));
}

void LessonBar::changeEvent(QEvent *event)
{
    QToolBar::changeEvent(event);
    if (event->type() == QEvent::PaletteChange)
        drawExtension();
}

void LessonBar::setBackground(const QByteArray &png)
{
    m_background = png;
    m_onPicture->setChecked(!png.isEmpty());
    refresh();
}

void LessonBar::start(const Poll &poll)
{
    const QString name = PollEditor::nameOf({poll.kind, poll.labels, poll.count, {}, {}});
    if (m_background.isEmpty()) {
        return follow(m_live.startPoll(poll.kind, poll.labels, poll.count),
                      [this, name] { Q_EMIT asked(name); });
    }
    follow(m_live.startPollWithImage(poll.kind, poll.labels, poll.count, m_background),
           [this, name] {
               m_onPicture->setChecked(false);
               Q_EMIT asked(name);
           });
}

void LessonBar::pauseOrResume()
{
    follow(m_live.isPaused() ? m_live.resume() : m_live.pause());
}

void LessonBar::follow(const Tarvo::Operation &operation, const std::function<void()> &done)
{
    operation.then(
        this,
        [done] {
            if (done)
                done();
        },
        [this](const Tarvo::Failure &failure) {
            Q_EMIT failed(failure.message(), failure.advice());
        });
}

// ---- What is possible ----------------------------------------------------------------------------

void LessonBar::refresh()
{
    const QString whyNotBegin = Availability::whyNotBegin(m_live);
    for (const auto &[action, tip] : qAsConst(m_beginnings))
        allow(action, whyNotBegin, tip);
    allow(m_onPicture,
          m_background.isEmpty() ? tr("Choose a picture and put it behind the next poll first.")
                                 : QString(),
          tr("The next poll is asked on the picture."));
    const bool isPaused = m_live.isPaused();
    m_pause->setText(isPaused ? tr("Resum&e") : tr("P&ause"));
    allow(m_pause, Availability::whyNotStop(m_live),
          isPaused ? tr("Let the devices go on.") : tr("Have the devices wait."));
    allow(m_stop, Availability::whyNotStop(m_live), tr("End what is running."));
}

} // namespace Desktop
