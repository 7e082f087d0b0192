#include "LessonStage.h"
#include "lesson/AssessmentPanel.h"
#include "lesson/CardsPanel.h"
#include "lesson/MessagePanel.h"

#include <QtWidgets/QComboBox>
#include <QtWidgets/QLabel>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QPlainTextEdit>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QSpinBox>

using namespace Desktop;
using Tarvo::LiveClass;

// Assessments, cards for the remote, and messages.
class tst_LessonPanels : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void assessmentIsStartedAndStopped();
    void wrongAssessmentsSayWhatIsWrong_data();
    void wrongAssessmentsSayWhatIsWrong();
    void lessonAndCardAreOnTheRemote();
    void remoteTurnsTheCard();
    void remoteLocksTheDevices();
    void messageGoesToEverybodyByCtrlEnter();
    void messageGoesToOneLearnerAsChosen();
    void textSurvivesTheLossOfTheConnection();
    void textSurvivesThatTheLearnerLeaves();
    void hostileNamesAreOneLineOfPlainText();
};

namespace
{

using AssessmentStage = LessonStage<AssessmentPanel>;
using CardsStage = LessonStage<CardsPanel>;
using MessageStage = LessonStage<MessagePanel>;

const QByteArray RIVERS(R"({"title": "<b>Rivers</b>", "questions": [
    {"kind": "text", "instructions": "Which?"}, {"kind": "number", "instructions": "How long?"}]})");

void type(const MessageStage &stage, const QString &text)
{
    QTest::keyClicks(stage.child<QPlainTextEdit>(u"Text of the message"_s), text);
}

void sendByKey(MessageStage &stage)
{
    stage.press(u"Text of the message"_s, Qt::Key_Return, Qt::ControlModifier);
}

QString typed(const MessageStage &stage)
{
    return stage.child<QPlainTextEdit>(u"Text of the message"_s)->toPlainText();
}

QString newsOf(const MessageStage &stage)
{
    return stage.child<QLabel>(u"What became of the message"_s)->text();
}

} // namespace

void tst_LessonPanels::assessmentIsStartedAndStopped()
{
    AssessmentStage stage;
    QVERIFY(stage.goLive());
    QVERIFY(!stage.child<QPushButton>(u"Start assessment"_s)->isEnabled());
    stage.widget->open(stage.write(u"rivers.json"_s, RIVERS));
    const auto *summary = stage.child<QLabel>(u"The chosen assessment"_s);
    QTRY_COMPARE(summary->text(), u"<b>Rivers</b>\n2 questions"_s);
    QCOMPARE(summary->textFormat(), Qt::PlainText);
    stage.press(u"Start assessment"_s, Qt::Key_Space);
    QVERIFY(stage.runs(LiveClass::Assessment));
    QCOMPARE(stage.classroom.received(u"assessmentStart"_s).size(), 1);
    QVERIFY(!stage.child<QPushButton>(u"Start assessment"_s)->isEnabled());
    QTest::mouseClick(stage.child<QPushButton>(u"Stop assessment"_s), Qt::LeftButton);
    QVERIFY(stage.runs(LiveClass::NoActivity));
    QCOMPARE(stage.classroom.received(u"assessmentStop"_s).size(), 1);
    QCOMPARE(stage.failures, QStringList());
}

void tst_LessonPanels::wrongAssessmentsSayWhatIsWrong_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QString>("why");
    QTest::newRow("damaged") << QByteArray("{\"questions\": [") << u"not JSON, at byte 15"_s;
    QTest::newRow("empty") << QByteArray("{}") << u"'questions' is a list of at least one"_s;
    QTest::newRow("kind") << QByteArray(R"({"questions": [{"kind": "riddle"}]})")
                          << u"question 1: there is no kind of question 'riddle'"_s;
    QTest::newRow("huge") << QByteArray(10'000'001, ' ') << u"larger than 10 MB"_s;
    QTest::newRow("missing") << QByteArray() << u"No such file"_s;
}

void tst_LessonPanels::wrongAssessmentsSayWhatIsWrong()
{
    QFETCH(QByteArray, bytes);
    QFETCH(QString, why);
    AssessmentStage stage;
    stage.widget->open(bytes.isEmpty() ? stage.folder.filePath(u"none.json"_s)
                                       : stage.write(u"wrong.json"_s, bytes));
    QTRY_COMPARE(stage.failures.size(), 1);
    QVERIFY2(stage.failures.first().contains(why), qPrintable(stage.failures.first()));
}

void tst_LessonPanels::lessonAndCardAreOnTheRemote()
{
    CardsStage stage;
    QVERIFY(stage.goLive());
    QSignalSpy done(stage.host.get(), &LiveClass::operationFinished);
    QTest::keyClicks(stage.child<QLineEdit>(u"Id of the lesson"_s), u"L-7"_s);
    QTest::keyClicks(stage.child<QLineEdit>(u"Name of the lesson"_s), u"Rivers"_s);
    stage.press(u"Name of the lesson"_s, Qt::Key_Return);
    stage.child<QSpinBox>(u"How many cards there are"_s)->setValue(3);
    stage.press(u"Next card"_s, Qt::Key_Space);
    QCOMPARE(stage.widget->card(), 2);
    QTRY_COMPARE(done.size(), 3);
    stage.classroom.post(u"remote"_s, {{u"command"_s, u"requestLessonInfo"_s}});
    const QJsonValue lesson = stage.classroom.receivedOne(u"currentLesson"_s);
    QCOMPARE(lesson[u"text"_s].toString(), uR"({"lessonId":"L-7", "name":"Rivers"})"_s);
    const QJsonValue card = stage.classroom.receivedOne(u"currentCard"_s);
    QCOMPARE(
        card[u"text"_s].toString(),
        uR"({"currentCard":"2", "cards": [{"name":"1"},{"name":"2"},{"name":"3"}], "totalCards":"3"})"_s);
    QTRY_COMPARE(stage.child<QLabel>(u"Remote controller"_s)->text(),
                 u"A remote controller is there."_s);
}

void tst_LessonPanels::remoteTurnsTheCard()
{
    CardsStage stage;
    QSignalSpy told(stage.widget.get(), &CardsPanel::told);
    QSignalSpy pushed(stage.widget.get(), &CardsPanel::pushWanted);
    QVERIFY(stage.goLive());
    stage.child<QSpinBox>(u"How many cards there are"_s)->setValue(2);
    for (const QString &command :
         {u"nextCard"_s, u"nextCard"_s, u"previousCard"_s, u"pushCurrentCard"_s})
        stage.classroom.post(u"remote"_s, {{u"command"_s, command}});
    QTRY_COMPARE(told.size(), 4);
    QCOMPARE(told[0][0].toString(), u"The remote turned to card 2 of 2."_s);
    QCOMPARE(told[1][0].toString(), u"The remote turned to card 2 of 2."_s);
    QCOMPARE(told[2][0].toString(), u"The remote turned to card 1 of 2."_s);
    QCOMPARE(told[3][0].toString(), u"The remote wants the class to see card 1."_s);
    QCOMPARE(pushed.size(), 1);
    QCOMPARE(stage.failures, QStringList());
}

void tst_LessonPanels::remoteLocksTheDevices()
{
    CardsStage stage;
    QSignalSpy told(stage.widget.get(), &CardsPanel::told);
    QVERIFY(stage.goLive());
    stage.classroom.post(u"remote"_s, {{u"command"_s, u"lockAll"_s}});
    QTRY_COMPARE(told.size(), 1);
    QCOMPARE(told[0][0].toString(), u"The remote wants to lock the devices. Nothing is running."_s);
    QVERIFY(ClassStage::succeeds(stage.host->ask(u"Why?"_s, Tarvo::PollType::TEXT)));
    QVERIFY(stage.runs(LiveClass::Poll));
    stage.classroom.post(u"remote"_s, {{u"command"_s, u"lockAll"_s}});
    QTRY_VERIFY(stage.host->isPaused());
    stage.classroom.post(u"remote"_s, {{u"command"_s, u"unlockAll"_s}});
    QTRY_VERIFY(!stage.host->isPaused());
    QCOMPARE(stage.classroom.received(u"resume"_s).size(), 1);
}

void tst_LessonPanels::messageGoesToEverybodyByCtrlEnter()
{
    MessageStage stage;
    QVERIFY(stage.goLive());
    QVERIFY(!stage.child<QPushButton>(u"Send"_s)->isEnabled());
    type(stage, u"Look up, \"please\""_s);
    sendByKey(stage);
    QTRY_COMPARE(typed(stage), QString());
    QCOMPARE(newsOf(stage), u"Sent to everybody."_s);
    const QJsonValue data = stage.classroom.receivedOne(u"dialogShow"_s)[u"data"_s];
    QCOMPARE(data.toObject(),
             (QJsonObject{{u"text"_s, u"Look up, \"please\""_s}, {u"isDismissible"_s, true}}));
}

void tst_LessonPanels::messageGoesToOneLearnerAsChosen()
{
    MessageStage stage;
    QVERIFY(stage.goLive());
    QVERIFY(stage.hasLearner() || stage.host->learners()->rowCount() == 2);
    auto *whom = stage.child<QComboBox>(u"Who the message is for"_s);
    QTRY_COMPARE(whom->count(), 3);
    whom->setFocus();
    QTest::keyClick(whom, Qt::Key_Down);
    QTest::keyClick(stage.child<QComboBox>(u"How the message is shown"_s), Qt::Key_Down);
    type(stage, u"You, there"_s);
    sendByKey(stage);
    QTRY_COMPARE(typed(stage), QString());
    const QJsonArray received = stage.classroom.received(u"dialogShow"_s);
    QCOMPARE(received.size(), 1);
    QCOMPARE(received.first()[u"data"_s].toObject(),
             (QJsonObject{{u"text"_s, u"You, there"_s}, {u"isDismissible"_s, false}}));
    QCOMPARE(received.first()[u"deviceId"_s].toString(), stage.classroom.deviceId(0));
}

void tst_LessonPanels::textSurvivesTheLossOfTheConnection()
{
    MessageStage stage;
    QVERIFY(stage.enter(LiveClass::Live));
    type(stage, u"Half a sen"_s);
    stage.proxy.setMode(OutageProxy::Restart);
    QVERIFY(stage.is(LiveClass::Reconnecting));
    const auto *send = stage.child<QPushButton>(u"Send"_s);
    QVERIFY(!send->isEnabled());
    QCOMPARE(send->toolTip(), u"The connection is gone; this is possible again when it is back."_s);
    sendByKey(stage);
    type(stage, u"tence"_s);
    stage.proxy.setMode(OutageProxy::Pass);
    QVERIFY(stage.is(LiveClass::Live));
    QCOMPARE(typed(stage), u"Half a sentence"_s);
    QVERIFY(send->isEnabled());
}

void tst_LessonPanels::textSurvivesThatTheLearnerLeaves()
{
    MessageStage stage;
    QVERIFY(stage.goLive());
    auto *whom = stage.child<QComboBox>(u"Who the message is for"_s);
    QTRY_COMPARE(whom->count(), 2);
    whom->setCurrentIndex(1);
    const QString name = stage.host->learners()->index(0, 0).data().toString();
    type(stage, u"Well done"_s);
    stage.classroom.remove(u"learners"_s);
    QTRY_COMPARE(newsOf(stage),
                 name + u" has left. Your text is kept; choose somebody else, or wait."_s);
    QVERIFY(!stage.child<QPushButton>(u"Send"_s)->isEnabled());
    sendByKey(stage);
    QCOMPARE(typed(stage), u"Well done"_s);
    whom->setCurrentIndex(0);
    QCOMPARE(whom->count(), 1);
    QVERIFY(stage.child<QPushButton>(u"Send"_s)->isEnabled());
}

void tst_LessonPanels::hostileNamesAreOneLineOfPlainText()
{
    MessageStage stage;
    const auto *whom = stage.child<QComboBox>(u"Who the message is for"_s);
    const QString name = u"<img src=x>\nEve\u202Eevil\u0007"_s;
    Q_EMIT stage.host->learnerJoined({u"d1"_s, name, u"tablet"_s});
    QCOMPARE(whom->itemText(1), u"<img src=x> Eveevil (tablet)"_s);
}

QTEST_MAIN(tst_LessonPanels)
#include "tst_lessonpanels.moc"
