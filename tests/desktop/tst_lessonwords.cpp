#include "LessonWindow.h"
#include "e2e/Guest.h"

#include <QtCore/QJsonDocument>
#include <QtGui/QAccessible>
#include <QtWidgets/QAbstractSpinBox>

using namespace Desktop;
using Tarvo::LiveClass;

// What the window tells in words: to people, whatever learners are called, and to screen readers.
class tst_LessonWords : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void questionIsShownBeforeTheFirstAnswer();
    void hostileNamesStayText();
    void everyControlHasANameOfItsOwn();
};

namespace
{

const QChar OVERRIDE(0x202e); // what follows runs from right to left

// Learners who send what no page of the service would.
void say(LessonWindow &stage, const QString &device, const QString &type, const QJsonObject &said)
{
    const QByteArray text = QJsonDocument(said).toJson(QJsonDocument::Compact);
    stage.classroom.post(u"publish"_s,
                         {{u"address"_s, u".presenter"_s},
                          {u"body"_s, QJsonObject{{u"from"_s, device}, {u"type"_s, type}}},
                          {u"text"_s, QString::fromUtf8(text)}});
}

// Buttons of one group that are called the same, and fields whose label leads nowhere.
QStringList unclear(const QWidget &window)
{
    QStringList found;
    QMap<QPair<QObject *, QString>, int> buttons;
    for (const QAbstractButton *const button : window.findChildren<QAbstractButton *>()) {
        if (!button->isVisible())
            continue;
        auto *const spoken =
            QAccessible::queryAccessibleInterface(const_cast<QAbstractButton *>(button));
        const QString name = spoken->text(QAccessible::Name);
        if (name.isEmpty() || ++buttons[{button->parent(), name}] > 1)
            found.append(u"button \"%1\" in %2"_s.arg(
                name, QLatin1String(button->parent()->metaObject()->className())));
    }
    for (const QLabel *const label : window.findChildren<QLabel *>()) {
        if (label->isVisible() && label->text().contains(u'&') && !label->buddy()
            && label->textFormat() != Qt::PlainText)
            found.append(u"label "_s + label->text());
    }
    return found;
}

QStringList namelessViews(const QWidget &window)
{
    QStringList found;
    for (QWidget *const widget : window.findChildren<QWidget *>()) {
        const bool isReached = widget->isVisible() && widget->focusPolicy() & Qt::TabFocus
            && !widget->focusProxy() && !qobject_cast<QAbstractSpinBox *>(widget->parent());
        auto *const spoken = QAccessible::queryAccessibleInterface(widget);
        if (isReached && spoken->text(QAccessible::Name).isEmpty())
            found.append(QLatin1String(widget->metaObject()->className()) + u' '
                         + widget->objectName());
    }
    return found;
}

} // namespace

void tst_LessonWords::questionIsShownBeforeTheFirstAnswer()
{
    LessonWindow stage;
    QVERIFY(stage.startHere());
    stage.keys(Qt::Key_5);
    QVERIFY(stage.runs(LiveClass::Poll));
    QTRY_COMPARE(stage.chart().head().question, u"Text"_s);
    stage.keys(Qt::Key_E);
    QVERIFY(stage.runs(LiveClass::NoActivity));

    stage.turnTo(u"Questions"_s);
    stage.press(u"Add"_s);
    stage.typeInto(u"Text of the question"_s, u"Why?"_s);
    auto *const kind = stage.seen<QComboBox>(u"Kind of the poll"_s);
    QTest::keyClicks(kind, u"Te"_s);
    QCOMPARE(kind->currentText(), u"Text"_s);
    Q_EMIT kind->activated(kind->currentIndex());
    stage.press(u"Ask"_s);
    QVERIFY(stage.runs(LiveClass::Poll));
    QTRY_COMPARE(stage.chart().head().question, u"Why?"_s);
    QVERIFY(stage.chart().head().figures.startsWith(u"Nobody has answered yet."_s));
}

void tst_LessonWords::hostileNamesStayText()
{
    LessonWindow stage;
    QVERIFY(stage.startHere());
    const QString name = u"<b>Eve</b>%1%2"_s + OVERRIDE + u"live\n\U0001F600"_s;
    say(stage, u"d1"_s, u"join"_s, {{u"userName"_s, name}, {u"deviceType"_s, u"tablet"_s}});
    QVERIFY(stage.counted(u"1 learner is here"_s));
    const QString shown = u"<b>Eve</b>%1%2live \U0001F600"_s;
    const auto *const list = stage.find<QListView>(u"learners"_s);
    QCOMPARE(list->model()->index(0, 0).data().toString(), shown);
    stage.turnTo(u"Message"_s);
    const QString offered = stage.seen<QComboBox>(u"Who the message is for"_s)->itemText(1);
    QVERIFY2(offered.endsWith(u" (tablet)"_s) && !offered.contains(OVERRIDE), qPrintable(offered));
    QVERIFY(stage.window->grab().width() > 0); // all of it is drawn
}

void tst_LessonWords::everyControlHasANameOfItsOwn()
{
    LessonWindow stage;
    const auto complaints = [&stage] {
        return (namelessViews(*stage.window) + unclear(*stage.window)).join(u'\n');
    };
    QCOMPARE(complaints(), QString());
    QVERIFY(stage.startHere());
    for (const QString &panel :
         {u"Questions"_s, u"Assessment"_s, u"Picture"_s, u"Message"_s, u"Cards"_s}) {
        stage.turnTo(panel);
        QVERIFY2(complaints().isEmpty(), qPrintable(panel + u":\n"_s + complaints()));
    }
    for (const QString &tab : {u"Table"_s, u"By learner"_s}) {
        stage.turnTo(tab);
        QVERIFY2(complaints().isEmpty(), qPrintable(tab + u":\n"_s + complaints()));
    }
    stage.loseSignIn();
    QVERIFY(stage.is(LiveClass::SignInNeeded));
    QTRY_VERIFY(stage.field(u"bannerPassword"_s)->isVisible());
    QCOMPARE(complaints(), QString());
    stage.type(u"bannerPassword"_s, u"secret"_s);
    QTest::keyClick(stage.field(u"bannerPassword"_s), Qt::Key_Return);
    QVERIFY(stage.is(LiveClass::Live));
}

int main(int argc, char **argv)
{
    QCoreApplication::setAttribute(Qt::AA_Use96Dpi);
    EventMeter application(argc, argv);
    silenceTheLibrary();
    tst_LessonWords test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_lessonwords.moc"
