#include "lesson/PictureFile.h"

#include <QtCore/QBuffer>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtGui/QImageReader>

namespace Desktop
{

namespace
{

constexpr int MEGA = 1000 * 1000;
constexpr int MAX_FILE_MB = 40;
// Four bytes each while the picture is decoded.
constexpr int MAX_MEGAPIXELS = 40;
// The service takes no larger upload.
constexpr int MAX_PNG_MB = 10;

constexpr QSize DEVICE_SIZE(1920, 1080);
constexpr QSize PREVIEW_SIZE(480, 270);

QSize fitting(const QSize &size, const QSize &bounds)
{
    const bool fits = size.width() <= bounds.width() && size.height() <= bounds.height();
    return fits ? size : size.scaled(bounds, Qt::KeepAspectRatio).expandedTo(QSize(1, 1));
}

QImage scaledInto(const QImage &image, const QSize &bounds)
{
    const QSize size = fitting(image.size(), bounds);
    return size == image.size()
        ? image
        : image.scaled(size, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
}

// Formats that are programs rather than pixels may name other files, or take for ever.
bool hasPixels(const QByteArray &format)
{
    static const QList<QByteArray> formats{"png", "jpeg", "jpg", "gif", "bmp", "webp", "tiff",
                                           "tif", "ico",  "pbm", "pgm", "ppm", "xbm"};
    return formats.contains(format);
}

// In place of a picture that is to turn: what the reader scales lies as it is in the file.
QSize boundsFor(const QImageReader &reader)
{
    const bool turns = reader.transformation() & QImageIOHandler::TransformationRotate90;
    return turns ? DEVICE_SIZE.transposed() : DEVICE_SIZE;
}

} // namespace

PictureFile PictureFile::failure(const QString &error)
{
    PictureFile picture;
    picture.m_error = error;
    return picture;
}

PictureFile PictureFile::fromFile(const QString &fileName)
{
    const QFileInfo info(fileName);
    if (info.exists() && !info.isFile()) // a pipe would never end
        return failure(tr("%1 is no ordinary file.").arg(fileName));
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly))
        return failure(tr("%1 cannot be opened: %2.").arg(fileName, file.errorString()));
    if (file.size() > qint64(MAX_FILE_MB) * MEGA)
        return failure(tr("%1 is larger than %2 MB.").arg(fileName).arg(MAX_FILE_MB));
    return read(file);
}

PictureFile PictureFile::fromBytes(QByteArray bytes)
{
    if (bytes.size() > MAX_FILE_MB * MEGA)
        return failure(tr("The picture is larger than %1 MB.").arg(MAX_FILE_MB));
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::ReadOnly);
    return read(buffer);
}

PictureFile PictureFile::read(QIODevice &device)
{
    QImageReader reader(&device);
    reader.setDecideFormatFromContent(true);
    reader.setAutoTransform(true);
    if (!reader.canRead() || !hasPixels(reader.format()))
        return failure(tr("This is no picture that can be read; PNG and JPEG can."));
    const QSize size = reader.size();
    if (size.isEmpty())
        return failure(tr("The picture does not say how large it is."));
    if (qint64(size.width()) * size.height() > qint64(MAX_MEGAPIXELS) * MEGA) {
        return failure(tr("The picture has %1 by %2 pixels, more than %3 million.")
                           .arg(size.width())
                           .arg(size.height())
                           .arg(MAX_MEGAPIXELS));
    }
    reader.setScaledSize(fitting(size, boundsFor(reader)));
    const QImage image = reader.read();
    if (image.isNull())
        return failure(tr("The picture is damaged: %1.").arg(reader.errorString()));
    return fromImage(image);
}

PictureFile PictureFile::fromImage(const QImage &image)
{
    if (image.isNull())
        return failure(tr("There is no picture."));
    const QImage scaled = scaledInto(image, DEVICE_SIZE);
    PictureFile picture;
    QBuffer buffer(&picture.m_png);
    buffer.open(QIODevice::WriteOnly);
    if (!scaled.save(&buffer, "PNG"))
        return failure(tr("The picture cannot be made a PNG image."));
    if (picture.m_png.size() > MAX_PNG_MB * MEGA)
        return failure(tr("The picture takes more than %1 MB.").arg(MAX_PNG_MB));
    picture.m_preview = scaledInto(scaled, PREVIEW_SIZE);
    return picture;
}

} // namespace Desktop
