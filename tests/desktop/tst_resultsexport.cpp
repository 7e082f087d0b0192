#include "ResultLists.h"
#include "host/LiveClass.h"
#include "results/ResultsExport.h"
#include "results/ResultsPanel.h"
#include "results/ResultsView.h"
#include "support/Text.h"

#include <QAction>
#include <QtGui/QClipboard>
#include <QtTest/QtTest>
#include <QtWidgets/QFileDialog>

#include <memory>

using namespace Desktop;

class tst_ResultsExport : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void csvIsWrittenWhole();
    void picturesAreLarge();
    void longListsMakeHigherPictures();
    void veryLongListsEndWithHowManyAreMissing();
    void picturesAreCopied();
    void whatCannotBeWrittenIsTold();
    void aBrokenExportLeavesTheFormerFile();
    void proposalsHaveDateAndFolder();
    void theDialogReturnsAtOnce();
    void aPanelHasItsActions();
    void theTeachersWishesAreRemembered();

private:
    QString path(const QString &name) const { return m_folder->filePath(name); }

    QWidget m_window; // would delete the export, too
    std::unique_ptr<QTemporaryDir> m_folder;
    std::unique_ptr<QStandardItemModel> m_results;
    std::unique_ptr<QStandardItemModel> m_learners;
    std::unique_ptr<ChartSource> m_source;
    std::unique_ptr<ResultsView> m_view;
    std::unique_ptr<ResultsExport> m_export;
    bool m_canWrite = true;
};

void tst_ResultsExport::init()
{
    m_folder = std::make_unique<QTemporaryDir>();
    QSettings::setPath(QSettings::IniFormat, QSettings::UserScope, m_folder->path());
    m_canWrite = true;
    m_view.reset();
    m_source.reset();
    m_results = std::make_unique<QStandardItemModel>();
    m_learners = std::make_unique<QStandardItemModel>();
    m_source = std::make_unique<ChartSource>(m_results.get(), m_learners.get());
    m_view = std::make_unique<ResultsView>(m_source.get());
    m_export = std::make_unique<ResultsExport>(
        [this](QIODevice *file) { return file->write("Name\r\nAda\r\n") == 11 && m_canWrite; },
        [this] {
            return m_view->picture({1920, 1080});
        },
        &m_window);
}

void tst_ResultsExport::csvIsWrittenWhole()
{
    m_export->writeCsv(path(u"a.csv"_s));
    QFile file(path(u"a.csv"_s));
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.readAll(), QByteArray("Name\r\nAda\r\n"));
}

void tst_ResultsExport::picturesAreLarge()
{
    addResult(m_results.get(), {u"q"_s, u"Is it?"_s, u"A"_s, u"A Yes"_s, 1, 1});
    QSignalSpy saved(m_export.get(), &ResultsExport::saved);
    m_export->writePicture(path(u"a.png"_s));
    QTRY_COMPARE(saved.count(), 1);
    const QImage picture(path(u"a.png"_s), "PNG");
    QCOMPARE(picture.size(), QSize(1920, 1080));
    const QColor blank = picture.pixelColor(0, 0);
    bool isBlank = true;
    for (int x = 0; x < picture.width(); ++x)
        isBlank = isBlank && picture.pixelColor(x, 300) == blank;
    QVERIFY(!isBlank);
}

void tst_ResultsExport::longListsMakeHigherPictures()
{
    for (int row = 0; row < 60; ++row) {
        const QString choice = QString::number(row);
        addResult(m_results.get(), {u"q"_s, u"Is it?"_s, choice, choice, 1, 60});
    }
    const QSize size = m_view->picture({1920, 1080}).size();
    QCOMPARE(size.width(), 1920);
    QVERIFY(size.height() > 2000);
}

void tst_ResultsExport::veryLongListsEndWithHowManyAreMissing()
{
    for (int row = 0; row < 1000; ++row) {
        const QString choice = QString::number(row);
        addResult(m_results.get(), {u"q"_s, u"Is it?"_s, choice, choice, 1, 1000});
    }
    QCOMPARE(m_view->picture({1920, 1080}).size(), QSize(1920, 12000));
}

void tst_ResultsExport::picturesAreCopied()
{
    m_export->copyPicture();
    QCOMPARE(QGuiApplication::clipboard()->image().size(), QSize(1920, 1080));
}

void tst_ResultsExport::whatCannotBeWrittenIsTold()
{
    QSignalSpy failed(m_export.get(), &ResultsExport::failed);
    const QString file = path(u"missing/a.csv"_s);
    m_export->writeCsv(file);
    QCOMPARE(failed.count(), 1);
    QCOMPARE(
        failed.at(0).at(0).toString(),
        u"The results were not saved: the file %1 cannot be written (No such file or directory)."_s
            .arg(file));
    QCOMPARE(failed.at(0).at(1).toString(),
             u"Choose another folder, or make room on the disk, and save again."_s);
}

void tst_ResultsExport::aBrokenExportLeavesTheFormerFile()
{
    QSignalSpy saved(m_export.get(), &ResultsExport::saved);
    QSignalSpy failed(m_export.get(), &ResultsExport::failed);
    m_export->writePicture(path(u"a"_s));
    QTRY_COMPARE(saved.count(), 1);
    m_canWrite = false;
    m_export->writeCsv(path(u"a"_s));
    QCOMPARE(failed.count(), 1);
    QCOMPARE(QImage(path(u"a"_s), "PNG").size(), QSize(1920, 1080));
}

void tst_ResultsExport::proposalsHaveDateAndFolder()
{
    QVERIFY(QDir(m_folder->path()).mkdir(u"lessons"_s));
    m_export->writeCsv(path(u"lessons/a.csv"_s));
    const QRegularExpression name(
        u"^%1/lessons/results-[0-9]{4}-[0-9]{2}-[0-9]{2}-[0-9]{4}\\.png$"_s.arg(
            QRegularExpression::escape(m_folder->path())));
    QVERIFY2(name.match(ResultsExport::proposal(u"png"_s)).hasMatch(),
             qPrintable(ResultsExport::proposal(u"png"_s)));
}

void tst_ResultsExport::theDialogReturnsAtOnce()
{
    m_export->askForCsv();
    QPointer<QFileDialog> dialog = m_window.findChild<QFileDialog *>();
    QVERIFY(dialog);
    QVERIFY(dialog->isVisible());
    Q_EMIT dialog->fileSelected(path(u"chosen.csv"_s));
    QVERIFY(QFile::exists(path(u"chosen.csv"_s)));
    dialog->close();
    QTRY_VERIFY(!dialog);
}

void tst_ResultsExport::aPanelHasItsActions()
{
    Tarvo::LiveClass live;
    const ResultsPanel panel(live);
    QStringList names;
    const QList<QAction *> actions = panel.viewActions() + panel.exportActions();
    for (const QAction *const action : actions)
        names.append(action->objectName());
    QCOMPARE(
        names,
        QStringList({u"hideNames"_s, u"hideUntilClosed"_s, u"previousQuestion"_s, u"nextQuestion"_s,
                     u"exportCsv"_s, u"exportPicture"_s, u"copyPicture"_s}));
}

void tst_ResultsExport::theTeachersWishesAreRemembered()
{
    Tarvo::LiveClass live;
    {
        const ResultsPanel panel(live);
        QVERIFY(!panel.viewActions().at(0)->isChecked());
        panel.viewActions().at(0)->trigger();
        panel.viewActions().at(1)->trigger();
    }
    const ResultsPanel panel(live);
    QVERIFY(panel.viewActions().at(0)->isChecked());
    QVERIFY(panel.viewActions().at(1)->isChecked());
}

QTEST_MAIN(tst_ResultsExport)
#include "tst_resultsexport.moc"
