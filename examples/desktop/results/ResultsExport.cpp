#include "results/ResultsExport.h"

#include "lesson/InBackground.h"
#include "results/ResultsSettings.h"
#include "texts/ShownText.h"

#include <QtCore/QDateTime>
#include <QtCore/QDir>
#include <QtCore/QFileInfo>
#include <QtCore/QSaveFile>
#include <QtGui/QClipboard>
#include <QtGui/QGuiApplication>
#include <QtWidgets/QFileDialog>

namespace Desktop
{

namespace
{

constexpr int MAX_FILE_NAME = 200;
constexpr const char *PICTURE_FORMAT = "PNG";

// Says what went wrong; nothing when it is written.
QString write(const QString &fileName, const ResultsExport::WriteCsv &content)
{
    QSaveFile file(fileName);
    const bool isWritten = file.open(QIODevice::WriteOnly) && content(&file) && file.commit();
    return isWritten ? QString() : file.errorString();
}

} // namespace

ResultsExport::ResultsExport(WriteCsv csv, Picture picture, QWidget *window)
    : QObject(window), m_csv(std::move(csv)), m_picture(std::move(picture)), m_window(window)
{
}

void ResultsExport::writeCsv(const QString &fileName)
{
    tell(fileName, write(fileName, m_csv));
}

// Packing the picture would hold up the window.
void ResultsExport::writePicture(const QString &fileName)
{
    const auto work = [fileName, picture = m_picture()] {
        return write(fileName,
                     [&picture](QIODevice *file) { return picture.save(file, PICTURE_FORMAT); });
    };
    inBackground<QString>(this, work,
                          [this, fileName](const QString &error) { tell(fileName, error); });
}

void ResultsExport::copyPicture()
{
    QGuiApplication::clipboard()->setImage(m_picture());
}

void ResultsExport::tell(const QString &fileName, const QString &error)
{
    if (error.isEmpty()) {
        ResultsSettings().setFolder(QFileInfo(fileName).absolutePath());
        Q_EMIT saved(fileName);
        return;
    }
    const QString name = quotedText(QDir::toNativeSeparators(fileName), MAX_FILE_NAME);
    Q_EMIT failed(
        tr("The results were not saved: the file %1 cannot be written (%2).").arg(name, error),
        tr("Choose another folder, or make room on the disk, and save again."));
}

void ResultsExport::askForCsv()
{
    QFileDialog *const dialog = askForFile(tr("Save everybody's answers, with names"),
                                           tr("Tables (*.csv)"), QStringLiteral("csv"));
    connect(dialog, &QFileDialog::fileSelected, this, &ResultsExport::writeCsv);
}

void ResultsExport::askForPicture()
{
    QFileDialog *const dialog = askForFile(tr("Save the diagram as a picture"),
                                           tr("Pictures (*.png)"), QStringLiteral("png"));
    connect(dialog, &QFileDialog::fileSelected, this, &ResultsExport::writePicture);
}

QFileDialog *ResultsExport::askForFile(const QString &title, const QString &filter,
                                       const QString &suffix)
{
    const QString proposed = proposal(suffix);
    auto *const dialog = new QFileDialog(m_window, title, QFileInfo(proposed).path(), filter);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setAcceptMode(QFileDialog::AcceptSave);
    dialog->setDefaultSuffix(suffix);
    dialog->selectFile(QFileInfo(proposed).fileName());
    dialog->open();
    return dialog;
}

QString ResultsExport::proposal(const QString &suffix)
{
    const QString now = QDateTime::currentDateTime().toString(QStringLiteral("yyyy-MM-dd-HHmm"));
    return QDir(ResultsSettings().folder())
        .filePath(QStringLiteral("%1-%2.%3").arg(tr("results"), now, suffix));
}

} // namespace Desktop
