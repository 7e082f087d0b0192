#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QCoreApplication>
#include <QtCore/QString>
#include <QtGui/QImage>

class QIODevice;

namespace Desktop
{

// A picture as the devices get it: a PNG image of at most 1920 by 1080 pixels. Made on a worker thread.
// Pictures come from anybody, so their size is looked at before they are decoded.
class PictureFile
{
    Q_DECLARE_TR_FUNCTIONS(Desktop::PictureFile)

public:
    PictureFile() = default;

    static PictureFile fromFile(const QString &fileName);
    // An encoded picture, such as the clipboard holds.
    static PictureFile fromBytes(QByteArray bytes);
    static PictureFile fromImage(const QImage &image);

    const QByteArray &png() const { return m_png; }
    const QImage &preview() const { return m_preview; }
    // Why there is no picture, in a sentence; empty when there is one.
    const QString &error() const { return m_error; }

private:
    static PictureFile failure(const QString &error);
    static PictureFile read(QIODevice &device);

    QByteArray m_png;
    QImage m_preview;
    QString m_error;
};

} // namespace Desktop
