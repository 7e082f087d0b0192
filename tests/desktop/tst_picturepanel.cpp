#include "LessonStage.h"
#include "lesson/PicturePanel.h"

#include <QtCore/QBuffer>
#include <QtCore/QMimeData>
#include <QtGui/QClipboard>
#include <QtGui/QDropEvent>
#include <QtGui/QImage>
#include <QtWidgets/QApplication>
#include <QtWidgets/QLabel>
#include <QtWidgets/QPushButton>

using namespace Desktop;
using Tarvo::LiveClass;

// Pictures from files, the clipboard and other windows.
class tst_PicturePanel : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void fileIsShownToTheClassAsSmallPng();
    void pastedPictureIsTaken();
    void droppedFileIsTaken();
    void nothingIsFetchedFromTheNetwork();
    void whatIsNoPictureIsRefusedInWords_data();
    void whatIsNoPictureIsRefusedInWords();
    void refusedPictureLeavesTheOneBefore();
    void pictureStandsBehindTheNextPollUntilItIsUsed();
};

namespace
{

using Stage = LessonStage<PicturePanel>;

QByteArray encoded(const QSize &size, const char *format)
{
    QImage image(size, QImage::Format_RGB32);
    image.fill(Qt::darkGreen);
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, format);
    return bytes;
}

void putBigEndian(QByteArray &bytes, int at, quint32 value)
{
    for (int i = 0; i < 4; ++i)
        bytes[at + i] = char(value >> (24 - 8 * i));
}

// A file of a hundred bytes that says it is 60,000 pixels wide and high.
QByteArray pngBomb()
{
    QByteArray bytes = encoded({1, 1}, "PNG");
    putBigEndian(bytes, 16, 60000);
    putBigEndian(bytes, 20, 60000);
    quint32 crc = 0xffffffff;
    for (int i = 12; i < 29; ++i) {
        crc ^= quint8(bytes[i]);
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc >> 1) ^ (crc & 1 ? 0xedb88320 : 0);
    }
    putBigEndian(bytes, 29, ~crc);
    return bytes;
}

void drop(QWidget *onto, const QMimeData &data)
{
    QDragEnterEvent enter(QPoint(5, 5), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(onto, &enter);
    QDropEvent event(QPointF(5, 5), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(onto, &event);
}

QSize sizeOf(const Stage &stage)
{
    return QImage::fromData(stage.widget->picture(), "PNG").size();
}

} // namespace

void tst_PicturePanel::fileIsShownToTheClassAsSmallPng()
{
    Stage stage;
    QVERIFY(stage.goLive());
    QVERIFY(!stage.child<QPushButton>(u"Show to the class"_s)->isEnabled());
    stage.widget->open(stage.write(u"large.jpg"_s, encoded({4000, 2000}, "JPEG")));
    QTRY_COMPARE(sizeOf(stage), QSize(1920, 960));
    stage.press(u"Show to the class"_s, Qt::Key_Space);
    QTRY_COMPARE(stage.child<QLabel>(u"What became of the picture"_s)->text(),
                 u"The class sees the picture."_s);
    const QUrl shown(stage.classroom.shownImage());
    QCOMPARE(stage.classroom.download(shown.path() + u'?' + shown.query()),
             stage.widget->picture());
    QCOMPARE(stage.failures, QStringList());
}

void tst_PicturePanel::pastedPictureIsTaken()
{
    Stage stage;
    QImage image(30, 20, QImage::Format_RGB32);
    image.fill(Qt::blue);
    QApplication::clipboard()->setImage(image);
    stage.press(u"Paste"_s, Qt::Key_Space);
    QTRY_COMPARE(sizeOf(stage), QSize(30, 20));
    QCOMPARE(QImage::fromData(stage.widget->picture()).pixelColor(3, 3), QColor(Qt::blue));
}

void tst_PicturePanel::droppedFileIsTaken()
{
    Stage stage;
    QMimeData data;
    data.setUrls({QUrl::fromLocalFile(stage.write(u"a b.png"_s, encoded({40, 30}, "PNG")))});
    drop(stage.widget.get(), data);
    QTRY_COMPARE(sizeOf(stage), QSize(40, 30));
}

void tst_PicturePanel::nothingIsFetchedFromTheNetwork()
{
    Stage stage;
    QMimeData data;
    data.setUrls({QUrl(stage.classroom.url() + u"/picture.png"_s)});
    drop(stage.widget.get(), data);
    data.setUrls({QUrl(u"file://machine/share/picture.png"_s)});
    drop(stage.widget.get(), data);
    QCOMPARE(stage.failures,
             (QStringList{u"Pictures are not fetched from the network."_s,
                          u"Pictures are not fetched from the network."_s}));
    QCOMPARE(stage.classroom.requestsTo(u"/picture.png"_s), 0);
}

void tst_PicturePanel::whatIsNoPictureIsRefusedInWords_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QString>("why");
    const QString unreadable = u"This is no picture that can be read; PNG and JPEG can."_s;
    QTest::newRow("text") << QByteArray("not a picture") << unreadable;
    QTest::newRow("drawing program")
        << QByteArray("<svg xmlns='http://www.w3.org/2000/svg'/>") << unreadable;
    QTest::newRow("bomb") << pngBomb()
                          << u"The picture has 60000 by 60000 pixels, more than 40 million."_s;
    QTest::newRow("cut") << encoded({300, 300}, "PNG").left(60)
                         << u"The picture does not say how large it is."_s;
    QTest::newRow("huge") << QByteArray(40'000'001, 'x') << u" is larger than 40 MB."_s;
    QTest::newRow("missing") << QByteArray() << u" cannot be opened: No such file or directory."_s;
}

void tst_PicturePanel::whatIsNoPictureIsRefusedInWords()
{
    QFETCH(QByteArray, bytes);
    QFETCH(QString, why);
    Stage stage;
    stage.widget->open(bytes.isEmpty() ? stage.folder.filePath(u"none.png"_s)
                                       : stage.write(u"wrong.png"_s, bytes));
    QTRY_COMPARE(stage.failures.size(), 1);
    QVERIFY2(stage.failures.first().endsWith(why), qPrintable(stage.failures.first()));
    QCOMPARE(stage.widget->picture(), QByteArray());
}

void tst_PicturePanel::refusedPictureLeavesTheOneBefore()
{
    Stage stage;
    stage.widget->open(stage.write(u"good.png"_s, encoded({40, 30}, "PNG")));
    QTRY_COMPARE(sizeOf(stage), QSize(40, 30));
    stage.widget->open(stage.write(u"bad.png"_s, "oops"));
    QTRY_COMPARE(stage.failures.size(), 1);
    QCOMPARE(sizeOf(stage), QSize(40, 30));
}

void tst_PicturePanel::pictureStandsBehindTheNextPollUntilItIsUsed()
{
    Stage stage;
    QSignalSpy backgrounds(stage.widget.get(), &PicturePanel::backgroundChanged);
    stage.widget->open(stage.write(u"good.png"_s, encoded({40, 30}, "PNG")));
    QTRY_COMPARE(sizeOf(stage), QSize(40, 30));
    stage.press(u"Behind the next poll"_s, Qt::Key_Space);
    QCOMPARE(backgrounds.size(), 1);
    QCOMPARE(backgrounds[0][0].toByteArray(), stage.widget->picture());
    stage.widget->releaseBackground();
    QCOMPARE(backgrounds.size(), 2);
    QCOMPARE(backgrounds[1][0].toByteArray(), QByteArray());
}

QTEST_MAIN(tst_PicturePanel)
#include "tst_picturepanel.moc"
