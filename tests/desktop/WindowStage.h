#pragma once

#include "host/ClassStage.h"

#include "window/MainWindow.h"
#include "window/Settings.h"

#include <QAction>
#include <QtCore/QTemporaryDir>
#include <QtWidgets/QLabel>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QListView>
#include <QtWidgets/QMessageBox>
#include <QtWidgets/QPushButton>

#include <memory>

// A user's home that nobody has used the program in before.
struct Home {
    Home()
    {
        QSettings::setPath(QSettings::IniFormat, QSettings::UserScope, folder.path());
        qputenv("XDG_DATA_HOME", folder.path().toLocal8Bit());
        settings = std::make_unique<Desktop::Settings>();
    }

    QTemporaryDir folder;
    std::unique_ptr<Desktop::Settings> settings;
};

// The program's window in front of a service, with settings of its own, and what a teacher sees and does.
class WindowStage : public ClassStage
{
public:
    explicit WindowStage(const QStringList &options = {})
        : ClassStage(options), window(std::make_unique<Desktop::MainWindow>(*host, *home.settings))
    {
        window->show();
    }
    ~WindowStage() { window.reset(); }
    Q_DISABLE_COPY_MOVE(WindowStage)

    template<typename Widget> Widget *find(const QString &name) const
    {
        // What is in the window itself comes before what stands over it.
        Widget *const inside = window->centralWidget()->findChild<Widget *>(name);
        return inside ? inside : window->findChild<Widget *>(name);
    }
    QString text(const QString &label) const { return find<QLabel>(label)->text(); }
    QLineEdit *field(const QString &name) const { return find<QLineEdit>(name); }
    QPushButton *button(const QString &name) const { return find<QPushButton>(name); }
    QAction *action(const QString &name) const { return find<QAction>(name); }
    void click(const QString &name) const { QTest::mouseClick(button(name), Qt::LeftButton); }
    // What is in a field gives way to what is typed.
    void type(const QString &name, const QString &text) const
    {
        field(name)->selectAll();
        QTest::keyClicks(field(name), text);
    }

    // As the teacher does it on the page.
    void fillIn(const QString &password = u"secret"_s) const
    {
        type(u"server"_s, proxy.url());
        type(u"user"_s, u"teacher"_s);
        type(u"password"_s, password);
    }
    bool signInHere()
    {
        fillIn();
        QTest::keyClick(field(u"password"_s), Qt::Key_Return);
        return is(LiveClass::SignedIn);
    }
    bool startHere() { return signInHere() && (click(u"startButton"_s), is(LiveClass::Live)); }

    // The box that asks back; none when nothing is asked.
    QMessageBox *question() const { return window->findChild<QMessageBox *>(); }
    // Answers it with the button of that text, as its mnemonics have it.
    bool answer(const QString &text) const
    {
        const QMessageBox *const box = question();
        if (!box)
            return false;
        const auto buttons = box->buttons();
        for (QAbstractButton *const button : buttons) {
            if (QString(button->text()).remove(u'&') != text)
                continue;
            QTest::mouseClick(button, Qt::LeftButton);
            return QTest::qWaitFor([this] { return !question(); });
        }
        return false;
    }

    Home home;
    std::unique_ptr<Desktop::MainWindow> window;
};
