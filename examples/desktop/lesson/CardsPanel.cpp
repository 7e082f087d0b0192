#include "lesson/CardsPanel.h"

#include "lesson/Availability.h"

#include <QtWidgets/QFormLayout>
#include <QtWidgets/QHBoxLayout>
#include <QtWidgets/QLabel>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QSpinBox>

namespace Desktop
{

namespace
{

using Tarvo::LiveClass;

constexpr int MAX_CARDS = 10000; // the class takes no more
constexpr int MAX_NAME = 200;

QSpinBox *numberOf(const QString &accessibleName, QWidget *parent)
{
    auto *box = new QSpinBox(parent);
    box->setRange(1, MAX_CARDS);
    box->setKeyboardTracking(false); // 12 is not told as 1 first
    box->setAccessibleName(accessibleName);
    return box;
}

} // namespace

CardsPanel::CardsPanel(LiveClass &live, QWidget *parent)
    : LessonPanel(live, parent), m_id(new QLineEdit(this)), m_name(new QLineEdit(this)),
      m_show(new QPushButton(tr("Show lesson"), this)),
      m_card(numberOf(tr("Number of the card"), this)),
      m_total(numberOf(tr("How many cards there are"), this)),
      m_previous(new QPushButton(tr("Previous card"), this)),
      m_next(new QPushButton(tr("Next card"), this)), m_remote(addLine(tr("Remote controller"))),
      m_news(addLine(tr("What the remote did")))
{
    addFields();
    m_card->setMaximum(1);
    m_remote->setText(tr("No remote controller is there."));
    connect(m_show, &QPushButton::clicked, this, &CardsPanel::showLesson);
    connect(m_id, &QLineEdit::returnPressed, this, &CardsPanel::showLesson);
    connect(m_name, &QLineEdit::returnPressed, this, &CardsPanel::showLesson);
    connect(m_previous, &QPushButton::clicked, this, &CardsPanel::previousCard);
    connect(m_next, &QPushButton::clicked, this, &CardsPanel::nextCard);
    const auto changed = QOverload<int>::of(&QSpinBox::valueChanged);
    connect(m_card, changed, this, &CardsPanel::showCard);
    connect(m_total, changed, this, [this](int total) {
        const QSignalBlocker once(m_card);
        m_card->setMaximum(total);
        showCard();
    });
    connect(&live, &LiveClass::stateChanged, this, &CardsPanel::stateChanged);
    connect(&live, &LiveClass::remoteCommand, this, &CardsPanel::remoteCame);
    connect(&live, &LiveClass::remoteChanged, this, [this](bool isThere) {
        m_remote->setText(isThere ? tr("A remote controller is there.")
                                  : tr("No remote controller is there."));
    });
    refresh();
}

void CardsPanel::addFields()
{
    m_id->setMaxLength(MAX_NAME);
    m_id->setAccessibleName(tr("Id of the lesson"));
    m_name->setMaxLength(MAX_NAME);
    m_name->setAccessibleName(tr("Name of the lesson"));
    auto *cards = new QHBoxLayout;
    cards->addWidget(m_card);
    cards->addWidget(new QLabel(tr("of"), this));
    cards->addWidget(m_total);
    cards->addStretch();
    auto *turn = new QHBoxLayout;
    turn->addWidget(m_previous);
    turn->addWidget(m_next);
    auto *form = new QFormLayout(this);
    form->addRow(tr("Lesson id"), m_id);
    form->addRow(tr("Lesson name"), m_name);
    form->addRow(m_show);
    form->addRow(tr("Card"), cards);
    qobject_cast<QLabel *>(form->labelForField(cards))->setBuddy(m_card);
    form->addRow(turn);
    form->addRow(m_remote);
    form->addRow(m_news);
}

int CardsPanel::card() const
{
    return m_card->value();
}

int CardsPanel::total() const
{
    return m_total->value();
}

void CardsPanel::showLesson()
{
    if (m_show->isEnabled())
        follow(m_live.showLesson(m_id->text(), m_name->text()));
}

void CardsPanel::nextCard()
{
    turnTo(card() + 1);
}

void CardsPanel::previousCard()
{
    turnTo(card() - 1);
}

void CardsPanel::turnTo(int number)
{
    m_card->setValue(number); // stays between the first and the last
}

void CardsPanel::showCard()
{
    refresh();
    if (m_live.state() == LiveClass::Live)
        follow(m_live.showCard(card(), total()));
}

// A session that begins knows of no lesson yet.
void CardsPanel::stateChanged()
{
    const bool begins = m_wasStarting && m_live.state() == LiveClass::Live;
    m_wasStarting = m_live.state() == LiveClass::Starting;
    if (!begins)
        return;
    if (!m_id->text().isEmpty())
        showLesson();
    if (total() > 1)
        showCard();
}

void CardsPanel::remoteCame(const QString &command)
{
    if (command == QLatin1String("nextCard") || command == QLatin1String("previousCard")) {
        turnTo(card() + (command == QLatin1String("nextCard") ? 1 : -1));
        tell(tr("The remote turned to card %1 of %2.").arg(card()).arg(total()));
    } else if (command == QLatin1String("pushCurrentCard")) {
        tell(tr("The remote wants the class to see card %1.").arg(card()));
        Q_EMIT pushWanted();
    } else if (command == QLatin1String("lockAll")) {
        lock(true);
    } else if (command == QLatin1String("unlockAll")) {
        lock(false);
    }
}

// Devices are locked while something runs that can be paused.
void CardsPanel::lock(bool locked)
{
    const QString whyNot =
        locked ? Availability::whyNotPause(m_live) : Availability::whyNotResume(m_live);
    if (!whyNot.isEmpty())
        return tell((locked ? tr("The remote wants to lock the devices. %1")
                            : tr("The remote wants to unlock the devices. %1"))
                        .arg(whyNot));
    follow(locked ? m_live.pause() : m_live.resume());
    tell(locked ? tr("The remote locked the devices.") : tr("The remote unlocked the devices."));
}

void CardsPanel::tell(const QString &sentence)
{
    m_news->setText(sentence);
    Q_EMIT told(sentence);
}

void CardsPanel::refresh()
{
    const QString whyNot = Availability::whyNotTell(m_live);
    allow(m_show, whyNot, tr("Show the lesson on the remote controllers."));
    allow(m_previous, card() > 1 ? QString() : tr("This is the first card."),
          tr("Go back by one card."));
    allow(m_next, card() < total() ? QString() : tr("This is the last card."),
          tr("Go on by one card."));
}

} // namespace Desktop
