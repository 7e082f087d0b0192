#include "window/QrCodeView.h"

#include <QtGui/QPainter>

#include <memory>
#include <qrencode.h>

namespace Desktop
{

namespace
{

constexpr int PREFERRED_SIDE = 300;
constexpr int SMALLEST_SIDE = 120; // some cameras need three pixels a module
constexpr uchar DARK_BIT = 1;

using Code = std::unique_ptr<QRcode, decltype(&QRcode_free)>;

Code codeOf(const QByteArray &text)
{
    const auto *bytes = reinterpret_cast<const unsigned char *>(text.constData());
    return {QRcode_encodeData(text.size(), bytes, 0, QR_ECLEVEL_M), &QRcode_free};
}

} // namespace

QrCodeView::QrCodeView(QWidget *parent) : QWidget(parent)
{
    QSizePolicy policy(QSizePolicy::Expanding, QSizePolicy::Expanding);
    setSizePolicy(policy);
}

void QrCodeView::setText(const QString &text)
{
    m_modules = 0;
    m_isDark.clear();
    const Code code = codeOf(text.toUtf8());
    if (!text.isEmpty() && code) {
        m_modules = code->width;
        for (int i = 0; i < m_modules * m_modules; ++i)
            m_isDark.append((code->data[i] & DARK_BIT) ? 1 : 0);
    }
    setAccessibleName(m_modules ? tr("QR code of the address %1").arg(text) : tr("No QR code yet"));
    update();
}

QSize QrCodeView::sizeHint() const
{
    return {PREFERRED_SIDE, PREFERRED_SIDE};
}

QSize QrCodeView::minimumSizeHint() const
{
    return {SMALLEST_SIDE, SMALLEST_SIDE};
}

bool QrCodeView::isDark(int x, int y) const
{
    return m_isDark.at(y * m_modules + x) != 0;
}

void QrCodeView::paintEvent(QPaintEvent *)
{
    if (m_modules == 0)
        return;
    // In the screen's own pixels, so that all modules have the same size.
    const qreal ratio = devicePixelRatioF();
    const QSize screen = (QSizeF(size()) * ratio).toSize();
    const int across = m_modules + 2 * QUIET_ZONE;
    const int module = qMax(1, qMin(screen.width(), screen.height()) / across);
    QPainter painter(this);
    painter.scale(1 / ratio, 1 / ratio);
    painter.translate((screen.width() - across * module) / 2,
                      (screen.height() - across * module) / 2);
    painter.fillRect(0, 0, across * module, across * module, Qt::white);
    for (int y = 0; y < m_modules; ++y) {
        for (int x = 0; x < m_modules; ++x) {
            if (isDark(x, y))
                painter.fillRect((x + QUIET_ZONE) * module, (y + QUIET_ZONE) * module, module,
                                 module, Qt::black);
        }
    }
}

} // namespace Desktop
