#pragma once

#include "EventMeter.h"
#include "WindowStage.h"

#include "results/ChartSource.h"

#include <QtWidgets/QComboBox>
#include <QtWidgets/QFileDialog>
#include <QtWidgets/QMenuBar>
#include <QtWidgets/QTabBar>

// The window as a teacher uses it through a lesson: with the mouse, and with what is typed.
class LessonWindow : public WindowStage
{
public:
    explicit LessonWindow(const QStringList &options = {}) : WindowStage(options)
    {
        activate(window.get());
    }

    // What is seen in the window and called so by screen readers, or by the text on it.
    template<typename Widget> Widget *seen(const QString &name) const
    {
        for (Widget *const one : window->template findChildren<Widget *>()) {
            const QString text = one->property("text").toString().remove(u'&');
            if (one->isVisible() && (one->accessibleName() == name || text == name))
                return one;
        }
        qWarning("There is no %s to be seen", qPrintable(name));
        return nullptr;
    }
    void press(const QString &buttonText) const
    {
        QTest::mouseClick(seen<QAbstractButton>(buttonText), Qt::LeftButton);
    }
    void typeInto(const QString &name, const QString &text) const
    {
        auto *const field = seen<QWidget>(name);
        QTest::mouseClick(field, Qt::LeftButton);
        field->setFocus(); // a scroll area's own
        QTest::keyClicks(field, text);
    }
    void keys(int key, Qt::KeyboardModifiers with = Qt::ControlModifier) const
    {
        activate(window.get());
        QTest::keyClick(window.get(), Qt::Key(key), with);
    }
    // A tab of whatever has tabs.
    void turnTo(const QString &title) const
    {
        for (QTabBar *const bar : window->findChildren<QTabBar *>()) {
            for (int tab = 0; bar->isVisible() && tab < bar->count(); ++tab) {
                if (bar->tabText(tab).remove(u'&') == title)
                    return QTest::mouseClick(bar, Qt::LeftButton, {}, bar->tabRect(tab).center());
            }
        }
        qWarning("There is no tab %s", qPrintable(title));
    }
    // An entry of the menus, by their titles from the menu bar on.
    void choose(const QStringList &path) const
    {
        QMenuBar *const bar = window->menuBar();
        QAction *entry = named(bar->actions(), path.first());
        QTest::mouseClick(bar, Qt::LeftButton, {}, bar->actionGeometry(entry).center());
        for (const QString &title : path.mid(1)) {
            QMenu *const menu = entry->menu();
            entry = named(menu->actions(), title);
            QTest::mouseClick(menu, Qt::LeftButton, {}, menu->actionGeometry(entry).center());
            QVERIFY2(!entry->menu() || QTest::qWaitFor([&] { return entry->menu()->isVisible(); }),
                     qPrintable(title));
        }
    }
    // Gives the file dialog that is open a name. What it does until then is the toolkit's work.
    bool give(const QString &fileName) const
    {
        auto *const dialog = window->findChild<QFileDialog *>();
        if (!dialog)
            return false;
        auto *const field = dialog->findChild<QLineEdit *>(u"fileNameEdit"_s);
        {
            const EventMeter::Named toolkit(u"file dialog"_s);
            activate(dialog);
            field->selectAll();
            QTest::keyClicks(field, fileName);
        }
        QTest::keyClick(field, Qt::Key_Return);
        return QTest::qWaitFor([this] { return !window->findChild<QFileDialog *>(); });
    }
    bool openFile(const QString &buttonText, const QString &fileName) const
    {
        {
            const EventMeter::Named toolkit(u"file dialog"_s);
            press(buttonText);
        }
        return give(fileName);
    }

    Desktop::ChartSource &chart() const { return *window->findChild<Desktop::ChartSource *>(); }
    // What the class has answered, by what the devices call it.
    QMap<QString, int> counts() const
    {
        QMap<QString, int> counts;
        const QAbstractItemModel &results = *host->results();
        for (int row = 0; row < results.rowCount(); ++row) {
            const QModelIndex index = results.index(row, 0);
            counts[index.data(LiveClass::ChoiceRole).toString()] +=
                index.data(LiveClass::CountRole).toInt();
        }
        return counts;
    }
    bool runs(LiveClass::Activity activity) const
    {
        return QTest::qWaitFor([&] { return host->activity() == activity; }, LIMIT_MS);
    }
    bool counted(const QString &words) const
    {
        return QTest::qWaitFor([&] { return text(u"learnerCount"_s) == words; }, LIMIT_MS);
    }

    // There may be nobody who gives windows the focus.
    static void activate(QWidget *which)
    {
        which->activateWindow();
        QApplication::setActiveWindow(which);
        (void)QTest::qWaitForWindowActive(which);
    }

private:
    static QAction *named(const QList<QAction *> &actions, const QString &title)
    {
        for (QAction *const action : actions) {
            if (action->text().remove(u'&') == title)
                return action;
        }
        qWarning("There is no menu entry %s", qPrintable(title));
        return nullptr;
    }
};
