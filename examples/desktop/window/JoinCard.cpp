#include "window/JoinCard.h"

#include "window/FittedLabel.h"
#include "window/QrCodeView.h"
#include "window/ServerAddress.h"

#include <QtWidgets/QHBoxLayout>
#include <QtWidgets/QVBoxLayout>

namespace Desktop
{

namespace
{

constexpr int GROUP = 3;
constexpr int COMPACT_HEIGHT = 148; // the QR code can still be read by a camera nearby
constexpr ushort NO_BREAK_SPACE = 0x00A0;

// The same between every digit, so that a screen reader does not make a number of it.
QString spelt(const QString &code)
{
    QStringList signs;
    for (const QChar sign : code)
        signs.append(QString(sign));
    return signs.join(QLatin1Char(' '));
}

} // namespace

JoinCard::JoinCard(QWidget *parent)
    : QWidget(parent), m_code(new FittedLabel(28, 420, this)),
      m_address(new FittedLabel(13, 90, this)), m_qrCode(new QrCodeView(this)),
      m_hint(new QLabel(this))
{
    m_code->setObjectName(QStringLiteral("sessionCode"));
    m_address->setObjectName(QStringLiteral("joinAddress"));
    m_hint->setObjectName(QStringLiteral("joinHint"));
    QFont bold = m_code->font();
    bold.setBold(true);
    m_code->setFont(bold);
    m_hint->setTextFormat(Qt::PlainText);
    m_hint->setWordWrap(true);
    m_hint->setAlignment(Qt::AlignCenter);

    auto *const words = new QVBoxLayout;
    m_address->setAlignment(Qt::AlignHCenter | Qt::AlignTop);
    words->addWidget(m_code, 5);
    words->addWidget(m_address, 3);
    words->addWidget(m_hint);
    auto *const all = new QHBoxLayout(this);
    all->addLayout(words, 3);
    all->addWidget(m_qrCode, 2);
    setSession(QString(), QString());
}

void JoinCard::setSession(const QString &server, const QString &code)
{
    const ServerAddress address(server);
    m_joinAddress = address.joinAddress(code);
    m_code->setLine(code.isEmpty() ? tr("No class is running") : grouped(code));
    m_code->setAlignment(Qt::AlignHCenter | (code.isEmpty() ? Qt::AlignVCenter : Qt::AlignBottom));
    m_code->setAccessibleName(code.isEmpty() ? QString() : tr("Class code %1").arg(spelt(code)));
    m_address->setLine(m_joinAddress);
    m_address->setAccessibleName(m_joinAddress.isEmpty() ? tr("No address to join at yet")
                                                         : m_joinAddress);
    m_address->setVisible(!m_joinAddress.isEmpty());
    m_qrCode->setText(m_joinAddress);
    m_qrCode->setVisible(!m_joinAddress.isEmpty());
    m_hint->setText(
        tr("This address is for devices on this computer only. Sign in with the computer's "
           "address in the network, so that others can join."));
    m_isOfThisMachine = address.isOfThisMachine();
    showHint();
}

void JoinCard::setCompact(bool isCompact)
{
    m_isCompact = isCompact;
    setMaximumHeight(isCompact ? COMPACT_HEIGHT : QWIDGETSIZE_MAX);
    m_qrCode->setMaximumWidth(isCompact ? COMPACT_HEIGHT : QWIDGETSIZE_MAX);
    showHint();
}

void JoinCard::showHint()
{
    m_hint->setVisible(!m_joinAddress.isEmpty() && m_isOfThisMachine && !m_isCompact);
}

QString JoinCard::grouped(const QString &code)
{
    QString text = code;
    for (int i = GROUP; i < code.size(); i += GROUP)
        text.insert(i + i / GROUP - 1, QChar(NO_BREAK_SPACE));
    return text;
}

} // namespace Desktop
