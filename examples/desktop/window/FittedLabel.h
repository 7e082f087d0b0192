#pragma once

#include <QtWidgets/QLabel>

namespace Desktop
{

// A line of plain text, as large as its place allows: what a whole room is to read.
class FittedLabel : public QLabel
{
    Q_OBJECT
    Q_DISABLE_COPY(FittedLabel)

public:
    // The smallest and the largest height of its letters, in pixels.
    FittedLabel(int smallest, int largest, QWidget *parent = nullptr);

    void setLine(const QString &text);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    void resizeEvent(QResizeEvent *event) override;

private:
    void fit();

    const int m_smallest;
    const int m_largest;
};

} // namespace Desktop
