#include "window/FailureBar.h"

#include "window/Bars.h"

#include <QtWidgets/QHBoxLayout>
#include <QtWidgets/QLabel>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QVBoxLayout>

#include <algorithm>

namespace Desktop
{

FailureBar::FailureBar(QWidget *parent)
    : QFrame(parent), m_message(newBarLabel(this, true)), m_advice(newBarLabel(this, false)),
      m_dismiss(new QPushButton(tr("Dismiss"), this))
{
    paintAsBar(this, BarKind::Trouble);
    m_message->setObjectName(QStringLiteral("failureMessage"));
    m_advice->setObjectName(QStringLiteral("failureAdvice"));
    m_dismiss->setObjectName(QStringLiteral("failureDismiss"));
    m_dismiss->setShortcut(Qt::Key_Escape);
    m_dismiss->setToolTip(tr("Dismiss this message (Esc)"));
    auto *const words = new QVBoxLayout;
    words->addWidget(m_message);
    words->addWidget(m_advice);
    auto *const all = new QHBoxLayout(this);
    all->addLayout(words, 1);
    all->addWidget(m_dismiss);
    connect(m_dismiss, &QPushButton::clicked, this, &FailureBar::dismiss);
    hide();
}

void FailureBar::add(const QString &message, const QString &advice)
{
    const auto isSame = [&](const Entry &entry) {
        return entry.message == message && entry.advice == advice;
    };
    const auto former = std::find_if(m_entries.begin(), m_entries.end(), isSame);
    Entry entry{message, advice, 1};
    if (former != m_entries.end()) {
        entry.count += former->count;
        m_entries.erase(former);
    }
    m_entries.append(entry);
    if (m_entries.size() > MAX_ENTRIES)
        m_entries.removeFirst();
    showLatest();
    announce(this, message + QLatin1Char(' ') + advice);
}

void FailureBar::dismiss()
{
    if (!m_entries.isEmpty())
        m_entries.removeLast();
    showLatest();
}

void FailureBar::clear()
{
    m_entries.clear();
    showLatest();
}

void FailureBar::showLatest()
{
    if (!m_entries.isEmpty()) {
        const Entry &latest = m_entries.constLast();
        m_message->setText(latest.count == 1
                               ? latest.message
                               : tr("%1 (%2 times)").arg(latest.message).arg(latest.count));
        m_advice->setText(latest.advice);
        const int others = m_entries.size() - 1;
        m_dismiss->setText(others == 0 ? tr("Dismiss") : tr("Dismiss (%1 more)").arg(others));
        m_dismiss->setShortcut(Qt::Key_Escape); // a new text takes it away
    }
    setVisible(!m_entries.isEmpty());
}

} // namespace Desktop
