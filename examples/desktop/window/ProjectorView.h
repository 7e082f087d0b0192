#pragma once

#include <QtWidgets/QWidget>

namespace Desktop
{

class JoinCard;

// The code and its QR code on a whole screen, for the projector. Owned by the window that it belongs to;
// Escape, F11 or a click close it.
class ProjectorView : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY(ProjectorView)

public:
    explicit ProjectorView(QWidget *parent);

    void setSession(const QString &server, const QString &code);
    // Opens it, on another screen than the teacher's when there is one; or closes it.
    void toggle();

protected:
    void keyPressEvent(QKeyEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;

private:
    JoinCard *m_card;
};

} // namespace Desktop
