#include "lesson/MessagePanel.h"

#include "lesson/Availability.h"
#include "lesson/Recipients.h"
#include "texts/ShownText.h"

#include <QShortcut>
#include <QtWidgets/QFormLayout>
#include <QtWidgets/QLabel>
#include <QtWidgets/QPlainTextEdit>
#include <QtWidgets/QPushButton>

namespace Desktop
{

namespace
{

using Tarvo::LiveClass;

// More than anybody reads on a device, and it goes to each of them.
constexpr int MAX_CHARACTERS = 10000;

} // namespace

MessagePanel::MessagePanel(LiveClass &live, QWidget *parent)
    : LessonPanel(live, parent), m_recipients(new Recipients(live, this)),
      m_option(new QComboBox(this)), m_text(new QPlainTextEdit(this)),
      m_send(new QPushButton(tr("Send"), this)), m_news(addLine(tr("What became of the message")))
{
    addFields();
    connect(m_send, &QPushButton::clicked, this, &MessagePanel::send);
    connect(m_text, &QPlainTextEdit::textChanged, this, [this] { refresh(); });
    connect(m_recipients, &Recipients::changed, this, [this] {
        m_news->setText(m_recipients->isGone()
                            ? tr("%1 has left. Your text is kept; choose somebody else, or wait.")
                                  .arg(quotedText(m_recipients->name()))
                            : QString());
        refresh();
    });
    sendOnCtrlEnter();
    refresh();
}

void MessagePanel::addFields()
{
    m_option->addItem(tr("Learners can close it"), LiveClass::PlainText);
    m_option->addItem(tr("Learners cannot close it"), LiveClass::FixedText);
    m_option->addItem(tr("As part of the review"), LiveClass::ReviewText);
    m_option->setAccessibleName(tr("How the message is shown"));
    m_text->setTabChangesFocus(true);
    m_text->setAccessibleName(tr("Text of the message"));
    m_text->setPlaceholderText(tr("Ctrl+Enter sends the message."));
    auto *form = new QFormLayout(this);
    form->setFieldGrowthPolicy(QFormLayout::AllNonFixedFieldsGrow);
    form->addRow(tr("To"), m_recipients);
    form->addRow(tr("Shown so"), m_option);
    form->addRow(m_text);
    form->addRow(m_send);
    form->addRow(m_news);
}

void MessagePanel::sendOnCtrlEnter()
{
    for (const QKeySequence &key :
         {QKeySequence(Qt::CTRL | Qt::Key_Return), QKeySequence(Qt::CTRL | Qt::Key_Enter)}) {
        auto *shortcut = new QShortcut(key, m_text);
        shortcut->setContext(Qt::WidgetShortcut);
        connect(shortcut, &QShortcut::activated, this, &MessagePanel::send);
    }
}

QString MessagePanel::whyNotSend() const
{
    if (const QString why = Availability::whyNotTell(m_live); !why.isEmpty())
        return why;
    if (m_isSending)
        return tr("The message before is on its way.");
    if (m_recipients->isGone())
        return tr("The chosen learner has left.");
    if (m_text->document()->characterCount() - 1 > MAX_CHARACTERS)
        return tr("The text is longer than %1 characters.").arg(MAX_CHARACTERS);
    return m_text->document()->isEmpty() ? tr("There is no text yet.") : QString();
}

void MessagePanel::send()
{
    if (!whyNotSend().isEmpty())
        return;
    m_isSending = true;
    m_news->clear();
    refresh();
    const QString text = m_text->toPlainText();
    const auto option = LiveClass::TextOption(m_option->currentData().toInt());
    const QString whom = m_recipients->deviceId();
    const QString name = whom.isEmpty() ? tr("everybody") : m_recipients->name();
    follow(
        whom.isEmpty() ? m_live.sendText(text, option) : m_live.sendTextTo(whom, text, option),
        [this, text, name] { hasLeft(text, name); },
        [this] {
            m_isSending = false;
            m_news->setText(tr("The message was not sent. Your text is kept."));
            refresh();
        });
}

void MessagePanel::hasLeft(const QString &text, const QString &whom)
{
    m_isSending = false;
    if (m_text->toPlainText() == text) // and not what has been typed since
        m_text->clear();
    m_news->setText(tr("Sent to %1.").arg(quotedText(whom)));
    refresh();
}

void MessagePanel::refresh()
{
    allow(m_send, whyNotSend(), tr("Send the message (Ctrl+Enter)."));
}

} // namespace Desktop
