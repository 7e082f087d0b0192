#include "window/ProjectorView.h"

#include "window/JoinCard.h"

#include <QtGui/QGuiApplication>
#include <QtGui/QKeyEvent>
#include <QtGui/QScreen>
#include <QtGui/QWindow>
#include <QtWidgets/QVBoxLayout>

namespace Desktop
{

namespace
{

constexpr int MARGIN = 48;

QScreen *otherScreenThan(const QScreen *screen)
{
    const QList<QScreen *> screens = QGuiApplication::screens();
    for (QScreen *const other : screens) {
        if (other != screen)
            return other;
    }
    return nullptr;
}

} // namespace

ProjectorView::ProjectorView(QWidget *parent)
    : QWidget(parent, Qt::Window), m_card(new JoinCard(this))
{
    setObjectName(QStringLiteral("projectorView"));
    setWindowTitle(tr("Code of the class"));
    setAccessibleName(windowTitle());
    auto *const layout = new QVBoxLayout(this);
    layout->setContentsMargins(MARGIN, MARGIN, MARGIN, MARGIN);
    layout->addWidget(m_card);
}

void ProjectorView::setSession(const QString &server, const QString &code)
{
    m_card->setSession(server, code);
    if (code.isEmpty())
        close();
}

void ProjectorView::toggle()
{
    if (isVisible()) {
        close();
        return;
    }
    if (const QScreen *const other = otherScreenThan(parentWidget()->window()->screen()))
        setGeometry(other->geometry());
    showFullScreen();
    activateWindow();
}

void ProjectorView::keyPressEvent(QKeyEvent *event)
{
    if (event->key() == Qt::Key_Escape || event->key() == Qt::Key_F11)
        close();
    else
        QWidget::keyPressEvent(event);
}

void ProjectorView::mouseReleaseEvent(QMouseEvent *)
{
    close();
}

} // namespace Desktop
