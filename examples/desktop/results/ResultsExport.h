#pragma once

#include <QtCore/QIODevice>
#include <QtCore/QObject>
#include <QtCore/QString>
#include <QtGui/QImage>

#include <functional>

class QFileDialog;
class QWidget;

namespace Desktop
{

// Takes results out of the window: into a CSV file, a picture, the clipboard. Files are whole or not there
// at all. Proposes names with the date, and the folder that was chosen last.
class ResultsExport : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(ResultsExport)

public:
    using WriteCsv = std::function<bool(QIODevice *)>;
    using Picture = std::function<QImage()>;

    // `window` is what its dialogs belong to, and owns it.
    ResultsExport(WriteCsv csv, Picture picture, QWidget *window);

    // failed() tells what went wrong.
    void writeCsv(const QString &fileName);
    // Returns before it is written.
    void writePicture(const QString &fileName);
    void copyPicture();

    // Ask for the file first, and return at once.
    void askForCsv();
    void askForPicture();

    // "results-2026-11-22-2050.csv" in the folder of the last export.
    static QString proposal(const QString &suffix);

Q_SIGNALS:
    void saved(const QString &fileName);
    // What went wrong, and what to do.
    void failed(const QString &message, const QString &advice);

private:
    void tell(const QString &fileName, const QString &error);
    QFileDialog *askForFile(const QString &title, const QString &filter, const QString &suffix);

    const WriteCsv m_csv;
    const Picture m_picture;
    QWidget *const m_window;
};

} // namespace Desktop
