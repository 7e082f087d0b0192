#include "LessonStage.h"
#include "lesson/LessonBar.h"

#include <QtWidgets/QMainWindow>
#include <QtWidgets/QMenu>
#include <QtWidgets/QToolButton>

using namespace Desktop;
using Tarvo::LiveClass;

// Polls by the bar, by its menu and by keys.
class tst_LessonBar : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void pollsReachTheDevices();
    void everyOtherKindIsAccepted();
    void pauseAndStopAreAtTheirKeys();
    void whatIsNotPossibleSaysWhy_data();
    void whatIsNotPossibleSaysWhy();
    void pollStandsOnThePictureOnce();
    void tabReachesEveryButton();
    void menuHasEverythingThatTheBarHas();
};

namespace
{

QAction *actionOf(const QMenu &menu, const QStringList &path)
{
    for (QAction *action : menu.actions()) {
        if (action->text().remove(u'&') != path.first())
            continue;
        return path.size() == 1 ? action : actionOf(*action->menu(), path.mid(1));
    }
    qWarning("There is no %s", qPrintable(path.join(u" > "_s)));
    return nullptr;
}

QList<QAction *> pollsOf(const QMenu &menu)
{
    QList<QAction *> polls;
    for (QAction *action : menu.actions()) {
        if (action->menu())
            polls += pollsOf(*action->menu());
        else if (action->toolTip().startsWith(u"Start a poll"_s))
            polls.append(action);
    }
    return polls;
}

class BarStage : public LessonStage<LessonBar>
{
public:
    void trigger(const QStringList &path) { actionOf(*widget->menu(), path)->trigger(); }
    bool stop() { return succeeds(host->stopActivity()) && runs(LiveClass::NoActivity); }
};

} // namespace

void tst_LessonBar::pollsReachTheDevices()
{
    struct Poll {
        QStringList path;
        QString type;
        QString labels;
        QStringList choices;
    };
    const QStringList yesNo{u"A"_s, u"B"_s};
    const Poll polls[] = {
        {{u"True or false"_s}, u"true-false"_s, u"true-false"_s, yesNo},
        {{u"Yes or no"_s, u"Yes, no, maybe"_s},
         u"yes-no-other"_s,
         u"yes-no-maybe"_s,
         {u"A"_s, u"B"_s, u"?"_s}},
        {{u"Choices"_s, u"A to C"_s}, u"multiple"_s, u"alpha-upper"_s, {u"A"_s, u"B"_s, u"C"_s}},
        {{u"Scale"_s, u"0 to 2"_s}, u"scale"_s, u"number"_s, {u"0"_s, u"1"_s, u"2"_s}},
        {{u"Sort"_s, u"A to B"_s}, u"sort"_s, u"alpha-upper"_s, yesNo},
        {{u"Text"_s}, u"text"_s, QString(), {}},
        {{u"More"_s, u"A number"_s}, u"number"_s, QString(), {}},
    };
    BarStage stage;
    QVERIFY(stage.goLive());
    int asked = 0;
    for (const Poll &poll : polls) {
        stage.trigger(poll.path);
        QVERIFY(stage.runs(LiveClass::Poll));
        const QJsonValue question =
            stage.classroom.received(u"questionStart"_s, ++asked).last()[u"data"_s];
        QStringList choices;
        for (const QJsonValue &option : question[u"activityOptions"_s].toArray())
            choices.append(option[u"id"_s].toString());
        QCOMPARE(question[u"type"_s].toString(), poll.type);
        QCOMPARE(question[u"metadata"_s][u"ordinalType"_s].toString(), poll.labels);
        QCOMPARE(choices, poll.choices);
        QVERIFY(stage.stop());
    }
    QCOMPARE(stage.failures, QStringList());
}

void tst_LessonBar::everyOtherKindIsAccepted()
{
    BarStage stage;
    QVERIFY(stage.goLive());
    const QList<QAction *> shown = pollsOf(*stage.widget->menu());
    QCOMPARE(shown.size(), 1 + 4 + 25 + 12 + 1 + 25 + 4);
    for (const QString &key : {u"Ctrl+7"_s, u"Ctrl+8"_s, u"Ctrl+9"_s}) {
        for (QAction *poll : shown) {
            if (poll->shortcut() != QKeySequence(key))
                continue;
            poll->trigger();
            QVERIFY2(stage.runs(LiveClass::Poll), qPrintable(key));
            QVERIFY(stage.stop());
        }
    }
    QCOMPARE(stage.failures, QStringList());
}

void tst_LessonBar::pauseAndStopAreAtTheirKeys()
{
    BarStage stage;
    QMainWindow window;
    window.addToolBar(stage.widget.get());
    window.show();
    QVERIFY(QTest::qWaitForWindowActive(&window));
    QVERIFY(stage.goLive());
    QTest::keyClick(&window, Qt::Key_3, Qt::ControlModifier);
    QVERIFY(stage.runs(LiveClass::Poll));
    QTest::keyClick(&window, Qt::Key_P, Qt::ControlModifier);
    QTRY_VERIFY(stage.host->isPaused());
    QCOMPARE(stage.classroom.received(u"pause"_s).size(), 1);
    QTest::keyClick(&window, Qt::Key_P, Qt::ControlModifier);
    QTRY_VERIFY(!stage.host->isPaused());
    QTest::keyClick(&window, Qt::Key_E, Qt::ControlModifier);
    QVERIFY(stage.runs(LiveClass::NoActivity));
    QCOMPARE(stage.classroom.received(u"pollStop"_s).size(), 1);
    window.removeToolBar(stage.widget.get());
    stage.widget->setParent(nullptr);
}

void tst_LessonBar::whatIsNotPossibleSaysWhy_data()
{
    QTest::addColumn<LiveClass::State>("state");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("stop");
    const QString noClass = u"No class is running; start one first."_s;
    QTest::newRow("SignedOut") << LiveClass::SignedOut << noClass << noClass;
    QTest::newRow("Live") << LiveClass::Live << u"Start a poll: Text (Ctrl+5)"_s
                          << u"Nothing is running."_s;
    QTest::newRow("Reconnecting")
        << LiveClass::Reconnecting
        << u"The connection is gone; this is possible again when it is back."_s
        << u"Nothing is running."_s;
    QTest::newRow("Ended") << LiveClass::Ended << noClass << noClass;
}

void tst_LessonBar::whatIsNotPossibleSaysWhy()
{
    QFETCH(LiveClass::State, state);
    BarStage stage;
    QVERIFY(stage.enter(state));
    const QAction *text = actionOf(*stage.widget->menu(), {u"Text"_s});
    QTEST(text->toolTip(), "text");
    QCOMPARE(text->isEnabled(), state == LiveClass::Live);
    const QAction *stop = actionOf(*stage.widget->menu(), {u"Stop"_s});
    QTEST(stop->toolTip(), "stop");
    QVERIFY(!stop->isEnabled());
}

void tst_LessonBar::pollStandsOnThePictureOnce()
{
    BarStage stage;
    QSignalSpy used(stage.widget.get(), &LessonBar::backgroundUsed);
    QVERIFY(stage.goLive());
    stage.widget->setBackground(QByteArray("\x89PNG\r\n\x1a\n, for all that devices care"));
    QVERIFY(actionOf(*stage.widget->menu(), {u"On the picture"_s})->isChecked());
    stage.trigger({u"Text"_s});
    QVERIFY(stage.runs(LiveClass::Poll));
    const auto background = [&stage](int number) {
        const QJsonValue question =
            stage.classroom.received(u"questionStart"_s, number).last()[u"data"_s];
        return question[u"card"_s][u"styles"_s][u"backgroundImage"_s].toString();
    };
    QVERIFY(background(1).startsWith(u"url('"_s + stage.proxy.url()));
    QTRY_COMPARE(used.size(), 1);
    QVERIFY(stage.stop());
    stage.trigger({u"Text"_s});
    QVERIFY(stage.runs(LiveClass::Poll));
    QCOMPARE(background(2), QString());
}

void tst_LessonBar::tabReachesEveryButton()
{
    BarStage stage;
    int buttons = 0;
    for (const QToolButton *button : stage.widget->findChildren<QToolButton *>()) {
        QVERIFY2(button->focusPolicy() & Qt::TabFocus, qPrintable(button->text()));
        ++buttons;
    }
    QVERIFY(buttons >= 10);
}

void tst_LessonBar::menuHasEverythingThatTheBarHas()
{
    BarStage stage;
    const auto inMenu = stage.widget->menu()->actions();
    for (QAction *action : stage.widget->actions())
        QVERIFY2(action->isSeparator() || inMenu.contains(action), qPrintable(action->text()));
}

QTEST_MAIN(tst_LessonBar)
#include "tst_lessonbar.moc"
