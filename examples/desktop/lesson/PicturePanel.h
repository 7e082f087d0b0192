#pragma once

#include "lesson/LessonPanel.h"
#include "lesson/PictureFile.h"

#include <functional>

class QLabel;
class QMimeData;
class QPushButton;

namespace Desktop
{

// A picture for the devices: from a file, pasted or dropped; looked at, shown to the class, or put
// behind the next poll. Nothing is fetched from the network.
class PicturePanel : public LessonPanel
{
    Q_OBJECT

public:
    explicit PicturePanel(Tarvo::LiveClass &live, QWidget *parent = nullptr);

    // A PNG image; empty without a picture.
    QByteArray picture() const { return m_picture.png(); }

public Q_SLOTS:
    // Asks for a file.
    void choose();
    // Pictures are read on a worker thread; the latest one counts.
    void open(const QString &fileName);
    void paste();
    void showToClass();
    // The picture is no longer behind the next poll.
    void releaseBackground();

Q_SIGNALS:
    // A picture has been read, well or not.
    void opened();
    // What lies behind the next poll: a PNG image, or nothing.
    void backgroundChanged(const QByteArray &png);

protected:
    void dragEnterEvent(QDragEnterEvent *event) override;
    void dropEvent(QDropEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;

private:
    void refresh() override;
    void addButtons();
    void receive(const QMimeData &data);
    void read(const std::function<PictureFile()> &work);
    void take(const PictureFile &picture);
    void drawPreview();

    QLabel *m_preview;
    QLabel *m_news;
    QPushButton *m_show;
    QPushButton *m_background;
    PictureFile m_picture;
    int m_reading = 0; // the latest picture that was asked for
};

} // namespace Desktop
