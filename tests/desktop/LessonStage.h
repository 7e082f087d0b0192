#pragma once

#include "host/ClassStage.h"

#include <QtCore/QTemporaryDir>
#include <QtWidgets/QWidget>

// A live class with one simulated learner, and a widget in it; what it told of failures.
template<typename Widget> class LessonStage : public ClassStage
{
public:
    LessonStage() : widget(std::make_unique<Widget>(*host))
    {
        QObject::connect(widget.get(), &Widget::failed, widget.get(),
                         [this](const QString &message, const QString &advice) {
                             failures.append(message);
                             advices.append(advice);
                         });
        widget->resize(500, 700);
        widget->show();
    }
    // The widget goes first: the class outlives it.
    ~LessonStage() { widget.reset(); }
    Q_DISABLE_COPY_MOVE(LessonStage)

    bool goLive() { return enter(LiveClass::Live) && hasLearner(); }
    bool runs(LiveClass::Activity activity) const
    {
        return QTest::qWaitFor([&] { return host->activity() == activity; }, LIMIT_MS);
    }

    // The widget's child by what a screen reader calls it, or by the text on a button.
    template<typename Child> Child *child(const QString &name) const
    {
        for (Child *one : widget->template findChildren<Child *>()) {
            const QString text = one->property("text").toString().remove(u'&');
            if (one->accessibleName() == name || text == name)
                return one;
        }
        qWarning("There is no %s", qPrintable(name));
        return nullptr;
    }
    // Types a key at the widget that is called so.
    void press(const QString &name, Qt::Key key, Qt::KeyboardModifiers with = Qt::NoModifier)
    {
        auto *target = child<QWidget>(name);
        target->setFocus();
        QTest::keyClick(target, key, with);
    }

    QString write(const QString &name, const QByteArray &bytes)
    {
        QFile file(folder.filePath(name));
        if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
            qWarning("%s could not be written", qPrintable(name));
        return file.fileName();
    }

    QTemporaryDir folder;
    std::unique_ptr<Widget> widget;
    QStringList failures;
    QStringList advices;
};

inline QByteArray contentsOf(const QString &fileName)
{
    QFile file(fileName);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}
