#pragma once

#include <QtCore/QByteArray>
#include <QtWidgets/QWidget>

namespace Desktop
{

// A QR code, black on white whatever the window's colours are, as cameras want it: with its quiet zone,
// and with modules of whole pixels. Not to be painted over, and nothing to be clicked.
class QrCodeView : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY(QrCodeView)

public:
    // What a camera needs around the code to find it, in modules.
    static constexpr int QUIET_ZONE = 4;

    explicit QrCodeView(QWidget *parent = nullptr);

    // What the code says; nothing is drawn for an empty text.
    void setText(const QString &text);
    // How many modules the code has on a side; 0 without a text.
    int modules() const { return m_modules; }

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    bool isDark(int x, int y) const;

    int m_modules = 0;
    QByteArray m_isDark; // row by row, 1 for a dark module
};

} // namespace Desktop
