#include "lesson/PicturePanel.h"

#include "lesson/Availability.h"
#include "lesson/InBackground.h"

#include <QShortcut>
#include <QtCore/QMimeData>
#include <QtGui/QClipboard>
#include <QtGui/QDropEvent>
#include <QtGui/QGuiApplication>
#include <QtGui/QPixmap>
#include <QtWidgets/QFileDialog>
#include <QtWidgets/QGridLayout>
#include <QtWidgets/QLabel>
#include <QtWidgets/QPushButton>

namespace Desktop
{

namespace
{

constexpr int LEAST_PREVIEW = 120; // pixels high

// An encoded picture can be looked at before it is decoded; the toolkit's own image cannot.
QByteArray encodedPicture(const QMimeData &data)
{
    for (const char *format : {"image/png", "image/jpeg", "image/bmp", "image/gif"}) {
        if (data.hasFormat(QLatin1String(format)))
            return data.data(QLatin1String(format));
    }
    return QByteArray();
}

bool mayHoldPicture(const QMimeData &data)
{
    return data.hasUrls() || data.hasImage() || !encodedPicture(data).isEmpty();
}

} // namespace

PicturePanel::PicturePanel(Tarvo::LiveClass &live, QWidget *parent)
    : LessonPanel(live, parent), m_preview(addLine(tr("Preview of the picture"))),
      m_news(addLine(tr("What became of the picture"))),
      m_show(new QPushButton(tr("Show to the class"), this)),
      m_background(new QPushButton(tr("Behind the next poll"), this))
{
    setAcceptDrops(true);
    m_preview->setAlignment(Qt::AlignCenter);
    m_preview->setMinimumHeight(LEAST_PREVIEW);
    m_preview->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Expanding);
    m_preview->setFrameShape(QFrame::StyledPanel);
    m_preview->setText(tr("Open a picture, paste one, or drop one here."));
    m_background->setCheckable(true);
    addButtons();
    connect(m_show, &QPushButton::clicked, this, &PicturePanel::showToClass);
    connect(m_background, &QPushButton::toggled, this, [this](bool isBehind) {
        Q_EMIT backgroundChanged(isBehind ? picture() : QByteArray());
    });
    refresh();
}

void PicturePanel::addButtons()
{
    auto *open = new QPushButton(tr("Open picture…"), this);
    open->setToolTip(tr("Choose a file with a picture."));
    auto *paste = new QPushButton(tr("Paste"), this);
    paste->setToolTip(tr("Take the picture from the clipboard (Ctrl+V)."));
    connect(open, &QPushButton::clicked, this, &PicturePanel::choose);
    connect(paste, &QPushButton::clicked, this, &PicturePanel::paste);
    auto *shortcut = new QShortcut(QKeySequence::Paste, this);
    shortcut->setContext(Qt::WidgetWithChildrenShortcut);
    connect(shortcut, &QShortcut::activated, this, &PicturePanel::paste);
    auto *layout = new QGridLayout(this);
    layout->addWidget(open, 0, 0);
    layout->addWidget(paste, 0, 1);
    layout->addWidget(m_preview, 1, 0, 1, 2);
    layout->addWidget(m_show, 2, 0);
    layout->addWidget(m_background, 2, 1);
    layout->addWidget(m_news, 3, 0, 1, 2);
    layout->setRowStretch(1, 1);
}

// ---- Getting one ---------------------------------------------------------------------------------

void PicturePanel::choose()
{
    auto *dialog = new QFileDialog(
        this, tr("Open Picture"), QString(),
        tr("Pictures (*.png *.jpg *.jpeg *.gif *.bmp *.webp *.tif *.tiff);;All files (*)"));
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setFileMode(QFileDialog::ExistingFile);
    connect(dialog, &QFileDialog::fileSelected, this, &PicturePanel::open);
    dialog->open();
}

void PicturePanel::open(const QString &fileName)
{
    read([fileName] { return PictureFile::fromFile(fileName); });
}

void PicturePanel::paste()
{
    if (const QMimeData *data = QGuiApplication::clipboard()->mimeData())
        receive(*data);
}

void PicturePanel::dragEnterEvent(QDragEnterEvent *event)
{
    if (mayHoldPicture(*event->mimeData()))
        event->acceptProposedAction();
}

void PicturePanel::dropEvent(QDropEvent *event)
{
    event->acceptProposedAction();
    receive(*event->mimeData());
}

// Browsers add an address to a picture, so the picture comes first.
void PicturePanel::receive(const QMimeData &data)
{
    if (const QByteArray bytes = encodedPicture(data); !bytes.isEmpty())
        return read([bytes] { return PictureFile::fromBytes(bytes); });
    const QUrl url = data.urls().value(0);
    if (url.isLocalFile() && url.host().isEmpty()) // a host's name would open a network folder
        return open(url.toLocalFile());
    if (data.hasImage()) {
        const auto image = qvariant_cast<QImage>(data.imageData());
        return read([image] { return PictureFile::fromImage(image); });
    }
    Q_EMIT failed(url.isEmpty() ? tr("There is no picture in the clipboard.")
                                : tr("Pictures are not fetched from the network."),
                  tr("Copy the picture itself, or save it to a file and open that."));
}

void PicturePanel::read(const std::function<PictureFile()> &work)
{
    const int reading = ++m_reading;
    m_news->setText(tr("The picture is being read."));
    inBackground<PictureFile>(this, work, [this, reading](const PictureFile &picture) {
        if (reading == m_reading)
            take(picture);
    });
}

void PicturePanel::take(const PictureFile &picture)
{
    m_news->clear();
    if (picture.error().isEmpty()) {
        m_picture = picture;
        drawPreview();
        refresh();
        if (m_background->isChecked())
            Q_EMIT backgroundChanged(m_picture.png());
    }
    Q_EMIT opened();
    if (!picture.error().isEmpty())
        Q_EMIT failed(picture.error(), tr("Choose another picture; the one before is kept."));
}

// ---- Using it ------------------------------------------------------------------------------------

void PicturePanel::showToClass()
{
    if (!m_show->isEnabled())
        return;
    m_news->setText(tr("The picture is on its way."));
    follow(
        m_live.showImage(picture()), [this] { m_news->setText(tr("The class sees the picture.")); },
        [this] { m_news->setText(tr("The picture was not shown.")); });
}

void PicturePanel::releaseBackground()
{
    m_background->setChecked(false);
}

void PicturePanel::resizeEvent(QResizeEvent *event)
{
    LessonPanel::resizeEvent(event);
    drawPreview();
}

void PicturePanel::drawPreview()
{
    const QImage &preview = m_picture.preview();
    if (preview.isNull())
        return;
    const QSize room = m_preview->contentsRect().size();
    m_preview->setPixmap(QPixmap::fromImage(preview.scaled(
        preview.size().boundedTo(room), Qt::KeepAspectRatio, Qt::SmoothTransformation)));
}

void PicturePanel::refresh()
{
    const QString none = picture().isEmpty() ? tr("There is no picture yet.") : QString();
    const QString whyNot = Availability::whyNotTell(m_live);
    allow(m_show, none.isEmpty() ? whyNot : none, tr("Show the picture on every device."));
    allow(m_background, none, tr("The next poll is asked on this picture."));
}

} // namespace Desktop
